// SPDX-License-Identifier: GPL-3.0-or-later
#include "family/GedcomDates.h"

#define PCRE2_CODE_UNIT_WIDTH 8
#include <pcre2.h>
#include <utf8proc.h>

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <memory>
#include <system_error>
#include <utility>

namespace kinloom {
namespace {

using namespace std::string_view_literals;
using Fix = DateNormalization::Fix;
using Ambiguous = DateNormalization::Ambiguous;

// ---------------------------------------------------------------------------------------------
// Characters

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char lowered(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool allDigits(std::string_view text)
{
    return !text.empty() && std::all_of(text.begin(), text.end(), isDigit);
}

/// The value of one to `maxDigits` ASCII digits; none for anything else.
std::optional<int> digitsValue(std::string_view text, std::size_t maxDigits)
{
    if (text.empty() || text.size() > maxDigits)
        return std::nullopt;
    int value = 0;
    for (char c : text) {
        if (!isDigit(c))
            return std::nullopt;
        value = value * 10 + (c - '0');
    }
    return value;
}

std::size_t codePointCount(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// Length of the white-space character (Unicode White_Space) starting at `i`, or 0. Values pasted
/// from elsewhere carry no-break and other wide blanks as often as tabs.
std::size_t spaceLengthAt(std::string_view text, std::size_t i)
{
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[k]); };
    const unsigned char c = byte(i);
    if (c == ' ' || (c >= 0x09 && c <= 0x0D))
        return 1;
    const std::size_t left = text.size() - i;
    if (c == 0xC2)
        return left >= 2 && (byte(i + 1) == 0x85 || byte(i + 1) == 0xA0) ? 2 : 0;
    if (c < 0xE1 || c > 0xE3 || left < 3)
        return 0;
    const unsigned char c1 = byte(i + 1);
    const unsigned char c2 = byte(i + 2);
    switch (c) {
    case 0xE1: // U+1680
        return c1 == 0x9A && c2 == 0x80 ? 3 : 0;
    case 0xE2: // U+2000–200A, 2028, 2029, 202F, 205F
        if (c1 == 0x80)
            return (c2 >= 0x80 && c2 <= 0x8A) || c2 == 0xA8 || c2 == 0xA9 || c2 == 0xAF ? 3 : 0;
        return c1 == 0x81 && c2 == 0x9F ? 3 : 0;
    default: // U+3000
        return c1 == 0x80 && c2 == 0x80 ? 3 : 0;
    }
}

/// Length of the white-space character ending just before `end`, or 0.
std::size_t spaceLengthBefore(std::string_view text, std::size_t end)
{
    for (std::size_t length = 1; length <= 3 && length <= end; ++length) {
        if (spaceLengthAt(text, end - length) == length)
            return length;
    }
    return 0;
}

std::string_view trimmedSpace(std::string_view text)
{
    const auto plain = [](char c) { return c > ' ' && c < '\x7F'; };
    if (text.empty() || (plain(text.front()) && plain(text.back())))
        return text;
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t length = spaceLengthAt(text, start);
        if (length == 0)
            break;
        start += length;
    }
    std::size_t end = text.size();
    while (end > start) {
        const std::size_t length = spaceLengthBefore(text, end);
        if (length == 0)
            break;
        end -= length;
    }
    return text.substr(start, end - start);
}

std::string collapsedSpace(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    bool pendingBlank = false;
    for (std::size_t i = 0; i < text.size();) {
        if (const std::size_t length = spaceLengthAt(text, i)) {
            pendingBlank = true;
            i += length;
            continue;
        }
        if (pendingBlank && !result.empty())
            result += ' ';
        pendingBlank = false;
        result += text[i++];
    }
    return result;
}

std::string_view trimmedBlanks(std::string_view text)
{
    while (!text.empty() && text.front() == ' ')
        text.remove_prefix(1);
    while (!text.empty() && text.back() == ' ')
        text.remove_suffix(1);
    return text;
}

/// Letters whose capital is written with two or more letters (ß → SS, ﬁ → FI, Greek with a
/// subscript iota): they change when upper-cased although they have no one-letter capital.
constexpr std::pair<char32_t, char32_t> multiLetterCapitals[] = {
    {0x00DF, 0x00DF}, {0x0149, 0x0149}, {0x01F0, 0x01F0}, {0x0390, 0x0390}, {0x03B0, 0x03B0},
    {0x0587, 0x0587}, {0x1E96, 0x1E9A}, {0x1F50, 0x1F50}, {0x1F52, 0x1F52}, {0x1F54, 0x1F54},
    {0x1F56, 0x1F56}, {0x1F80, 0x1FAF}, {0x1FB2, 0x1FB4}, {0x1FB6, 0x1FB7}, {0x1FBC, 0x1FBC},
    {0x1FC2, 0x1FC4}, {0x1FC6, 0x1FC7}, {0x1FCC, 0x1FCC}, {0x1FD2, 0x1FD3}, {0x1FD6, 0x1FD7},
    {0x1FE2, 0x1FE4}, {0x1FE6, 0x1FE7}, {0x1FF2, 0x1FF4}, {0x1FF6, 0x1FF7}, {0x1FFC, 0x1FFC},
    {0xFB00, 0xFB06}, {0xFB13, 0xFB17},
};

/// Whether upper-casing the text would change it. Bytes that are not UTF-8 stay as they are.
bool changesWhenUpperCased(std::string_view text)
{
    const auto* bytes = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    const auto size = static_cast<utf8proc_ssize_t>(text.size());
    for (utf8proc_ssize_t i = 0; i < size;) {
        if (bytes[i] < 0x80) {
            if (bytes[i] >= 'a' && bytes[i] <= 'z')
                return true;
            ++i;
            continue;
        }
        utf8proc_int32_t codePoint = 0;
        const utf8proc_ssize_t length = utf8proc_iterate(bytes + i, size - i, &codePoint);
        if (length <= 0) {
            ++i;
            continue;
        }
        i += length;
        if (utf8proc_toupper(codePoint) != codePoint)
            return true;
        for (const auto& [first, last] : multiLetterCapitals) {
            if (static_cast<char32_t>(codePoint) >= first && static_cast<char32_t>(codePoint) <= last)
                return true;
        }
    }
    return false;
}

// ---------------------------------------------------------------------------------------------
// Reading standard values

constexpr std::string_view standardMonths[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                               "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
// February always allows 29: the year's leap rule is not looked at.
constexpr int monthLimits[] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// Pieces of up to four characters are compared as one number (length included, so that a NUL
// byte cannot pass for nothing): the grammar reads millions of values, and its words are short.
constexpr std::uint64_t packed(std::string_view word)
{
    std::uint64_t value = word.size();
    for (char c : word)
        value = value << 8 | static_cast<unsigned char>(c);
    return value;
}

/// The piece as a number when it has one to four characters, else 0.
std::uint64_t packedPiece(std::string_view piece)
{
    return piece.size() <= 4 ? packed(piece) : 0;
}

constexpr auto packedMonths = [] {
    std::array<std::uint64_t, 12> months{};
    for (std::size_t i = 0; i < months.size(); ++i)
        months[i] = packed(standardMonths[i]);
    return months;
}();

int standardMonth(std::string_view piece)
{
    const std::uint64_t key = packedPiece(piece);
    for (std::size_t i = 0; i < packedMonths.size(); ++i) {
        if (packedMonths[i] == key)
            return static_cast<int>(i) + 1;
    }
    return 0;
}

/// Where one date starts and where it ends, in fractional years.
struct Span
{
    double low = 0;
    double high = 0;
};

/// Whether a piece names a calendar whose dates are read with the Gregorian numbers.
bool isReckonedCalendar(std::string_view piece)
{
    switch (piece.size()) {
    case 6:
        return piece == "JULIAN";
    case 9:
        return piece == "GREGORIAN";
    case 10:
        return piece == "@#DJULIAN@";
    case 13:
        return piece == "@#DGREGORIAN@";
    default:
        return false;
    }
}

/// One date from its pieces, read from the end: [calendar] [day] [month] year [epoch]. The
/// calendar is taken only where `calendarAllowed` (not after one written before the whole value).
std::optional<Span> readSingle(const std::string_view* pieces, std::size_t count, bool v7,
                               bool calendarAllowed = true)
{
    if (count > 1 && calendarAllowed && isReckonedCalendar(pieces[0])) {
        ++pieces;
        --count;
    }
    if (count == 0)
        return std::nullopt;
    bool beforeChrist = false;
    if (packedPiece(pieces[count - 1]) == (v7 ? packed("BCE") : packed("B.C."))) {
        beforeChrist = true;
        --count;
        if (count == 0)
            return std::nullopt;
    }

    std::string_view yearPiece = pieces[--count];
    bool dualYear = false;
    if (const std::size_t slash = yearPiece.find('/'); slash != std::string_view::npos) {
        // Only the presence of the second year matters, so any two characters will do; more
        // than one slash is not a dual year.
        const std::string_view second = yearPiece.substr(slash + 1);
        if (v7 || second.find('/') != std::string_view::npos || codePointCount(second) != 2)
            return std::nullopt;
        dualYear = true;
        yearPiece = yearPiece.substr(0, slash);
    }
    // Four digits at most, so reading them cannot overflow. Short years are read in any position.
    const std::optional<int> year = digitsValue(yearPiece, 4);
    if (!year)
        return std::nullopt;

    int month = 0;
    int day = 0;
    if (count > 0) {
        month = standardMonth(pieces[--count]);
        if (month == 0)
            return std::nullopt;
    }
    if (count > 0) {
        const std::optional<int> value = digitsValue(pieces[--count], 2);
        if (!value || *value < 1 || *value > monthLimits[month - 1])
            return std::nullopt;
        day = *value;
    }
    if (count > 0)
        return std::nullopt;

    const double y = beforeChrist ? -*year : *year;
    Span span;
    if (day > 0) {
        span.low = y + (month - 1) / 12.0 + (day - 1) / 372.0;
        span.high = span.low + 1.0 / 365;
    } else if (month > 0) {
        span.low = y + (month - 1) / 12.0;
        span.high = span.low + 1.0 / 12;
    } else {
        span.low = y;
        span.high = span.low + 1;
    }
    if (dualYear)
        span.high += 1;
    return span;
}

/// The value without a calendar written before all of it ("@#DJULIAN@ ABT 1700"), and whether
/// there was one.
std::string_view withoutCalendarPrefix(std::string_view value, bool& stripped)
{
    if (value.empty() || (value[0] != '@' && value[0] != 'G' && value[0] != 'J'))
        return value;
    for (const std::string_view prefix : {"@#DGREGORIAN@ "sv, "@#DJULIAN@ "sv, "GREGORIAN "sv, "JULIAN "sv}) {
        if (value.starts_with(prefix)) {
            stripped = true;
            return value.substr(prefix.size());
        }
    }
    return value;
}

/// The words after which a date begins.
constexpr std::string_view dateKeywords[] = {"ABT", "CAL", "EST", "BEF", "AFT",
                                             "TO",  "INT", "BET", "AND", "FROM"};

// A readable value has at most twelve pieces (BET, calendar and four, AND, calendar and four);
// only an INT phrase has more, and it needs no more than the pieces before its "(".
constexpr std::size_t maxPieces = 16;

/// `reversed`, when given, is set when a BET or FROM range's second date lies wholly before its
/// first: such a range is grammatical, and reads as the span of both its dates.
std::optional<DateRange> readGrammar(std::string_view value, bool v7, bool* reversed = nullptr)
{
    // Each date may carry its own calendar, unless one stands before the whole value.
    bool calendarBefore = false;
    value = withoutCalendarPrefix(value, calendarBefore);
    const bool calendarAllowed = !calendarBefore;

    // Split at every blank; an empty piece anywhere (leading, trailing or doubled blank) spoils
    // the whole value, so the scan goes on past the pieces it keeps.
    std::array<std::string_view, maxPieces> pieces;
    std::size_t count = 0;
    bool overflow = false;
    for (std::size_t start = 0, i = 0; i <= value.size(); ++i) {
        if (i < value.size() && value[i] != ' ')
            continue;
        if (i == start)
            return std::nullopt;
        if (count < maxPieces)
            pieces[count++] = value.substr(start, i - start);
        else
            overflow = true;
        start = i + 1;
    }

    const std::uint64_t head = packedPiece(pieces[0]);
    const std::string_view* rest = pieces.data() + 1;
    const std::size_t restCount = count - 1;
    if (head == packed("INT")) {
        if (v7 || value.back() != ')')
            return std::nullopt;
        for (std::size_t i = 1; i < count; ++i) {
            if (pieces[i].front() == '(') {
                const std::optional<Span> date = readSingle(rest, i - 1, false, calendarAllowed);
                if (!date)
                    return std::nullopt;
                return DateRange{date->low, date->high};
            }
        }
        return std::nullopt;
    }
    if (overflow)
        return std::nullopt;

    switch (head) {
    case packed("ABT"):
    case packed("EST"):
    case packed("CAL"): {
        const std::optional<Span> date = readSingle(rest, restCount, v7, calendarAllowed);
        if (!date)
            return std::nullopt;
        const double margin = head == packed("CAL") ? 1 : 2;
        return DateRange{date->low - margin, date->high + margin};
    }
    case packed("BEF"):
    case packed("TO"): {
        const std::optional<Span> date = readSingle(rest, restCount, v7, calendarAllowed);
        if (!date)
            return std::nullopt;
        return DateRange{std::nullopt, date->low};
    }
    case packed("AFT"): {
        const std::optional<Span> date = readSingle(rest, restCount, v7, calendarAllowed);
        if (!date)
            return std::nullopt;
        return DateRange{date->high, std::nullopt};
    }
    case packed("BET"):
    case packed("FROM"): {
        const std::uint64_t separator = head == packed("BET") ? packed("AND") : packed("TO");
        std::size_t split = 1;
        while (split < count && packedPiece(pieces[split]) != separator)
            ++split;
        if (split == count) {
            if (head == packed("BET"))
                return std::nullopt;
            const std::optional<Span> date = readSingle(rest, restCount, v7, calendarAllowed);
            if (!date)
                return std::nullopt;
            return DateRange{date->high, std::nullopt};
        }
        const std::optional<Span> first = readSingle(rest, split - 1, v7, calendarAllowed);
        const std::optional<Span> second =
            readSingle(pieces.data() + split + 1, count - split - 1, v7, calendarAllowed);
        if (!first || !second)
            return std::nullopt;
        if (reversed)
            *reversed = second->high <= first->low;
        return DateRange{std::min(first->low, second->low), std::max(first->high, second->high)};
    }
    default: {
        const std::optional<Span> date = readSingle(pieces.data(), count, v7, calendarAllowed);
        if (!date)
            return std::nullopt;
        return DateRange{date->low, date->high};
    }
    }
}

bool isKept(std::string_view value, bool v7)
{
    return readGrammar(value, v7) || GedcomDates::isDatePhrase(value) || GedcomDates::isOtherCalendar(value);
}

// ---------------------------------------------------------------------------------------------
// Converting other writings. Everything here works on ASCII-lower-cased text; the standard text
// is assembled from the numbers and words found, never copied from the input.

struct MonthWord
{
    std::string_view word;
    int month;
};

// Built at compile time: read by every thread, written by none.
constexpr MonthWord monthWords[] = {
    {"january", 1},   {"february", 2},  {"march", 3},  {"april", 4},     {"may", 5},
    {"june", 6},      {"july", 7},      {"august", 8}, {"september", 9}, {"october", 10},
    {"november", 11}, {"december", 12}, {"jan", 1},    {"feb", 2},       {"mar", 3},
    {"apr", 4},       {"jun", 6},       {"jul", 7},    {"aug", 8},       {"sep", 9},
    {"oct", 10},      {"nov", 11},      {"dec", 12},   {"sept", 9},      {"febr", 2},
};

int monthFromWord(std::string_view word)
{
    for (const MonthWord& entry : monthWords) {
        if (entry.word.size() == word.size() && entry.word.front() == word.front() && entry.word == word)
            return entry.month;
    }
    return 0;
}

struct Qualifier
{
    std::string_view word;
    std::string_view keyword;
};

constexpr Qualifier qualifiers[] = {
    {"approximately", "ABT"}, {"approx.", "ABT"}, {"approx", "ABT"},     {"about", "ABT"}, {"abt.", "ABT"},
    {"abt", "ABT"},           {"circa", "ABT"},   {"ca.", "ABT"},        {"ca", "ABT"},    {"c.", "ABT"},
    {"around", "ABT"},        {"~", "ABT"},       {"calculated", "CAL"}, {"calc.", "CAL"}, {"calc", "CAL"},
    {"cal.", "CAL"},          {"cal", "CAL"},     {"estimated", "EST"},  {"est.", "EST"},  {"est", "EST"},
    {"before", "BEF"},        {"bef.", "BEF"},    {"bef", "BEF"},        {"<", "BEF"},     {"after", "AFT"},
    {"aft.", "AFT"},          {"aft", "AFT"},     {">", "AFT"},
};

struct RangeForm
{
    std::string_view word;
    std::string_view keyword;
    std::string_view separatorKeyword;
    std::array<std::string_view, 3> separators; ///< tried in this order
};

constexpr RangeForm rangeForms[] = {
    {"between", "BET", "AND", {" and ", " - ", "-"}},
    {"bet", "BET", "AND", {" and ", " - ", "-"}},
    {"from", "FROM", "TO", {" to ", " - ", "-"}},
};

constexpr std::string_view epochEndings[] = {" b.c.", " b.c", " bce", " bc", "b.c.", "bce"};
constexpr std::string_view ordinalEndings[] = {"st", "nd", "rd", "th"};

/// Whether `text` begins with `word` as a whole word: "ca" does not begin "calc 1890".
bool beginsWithWord(std::string_view text, std::string_view word)
{
    return text.size() >= word.size() && text.front() == word.front() && text.starts_with(word) &&
           (text.size() == word.size() || !isLetter(word.back()) || !isLetter(text[word.size()]));
}

/// A few texts without a heap-allocated list: candidate readings are never more than four.
template <std::size_t capacity>
struct Texts
{
    std::array<std::string, capacity> items;
    std::size_t count = 0;

    void add(std::string text) { items[count++] = std::move(text); }
};

/// The standard readings of one date, at most two (an all-number date read both ways).
using Readings = Texts<2>;
/// The standard readings of a whole value: a range of two dates read both ways gives four.
using Candidates = Texts<4>;

std::string joined(std::initializer_list<std::string_view> parts)
{
    std::string text;
    std::size_t size = 0;
    for (const std::string_view part : parts)
        size += part.size() + 1;
    text.reserve(size);
    for (const std::string_view part : parts) {
        if (!text.empty())
            text += ' ';
        text += part;
    }
    return text;
}

/// A day of 0 is written out, for the standard reading to refuse it.
std::string dateText(std::optional<int> day, int month, std::string_view year, std::string_view dualYear,
                     std::string_view epoch)
{
    std::string text;
    text.reserve(24);
    if (day) {
        text += std::to_string(*day);
        text += ' ';
    }
    if (month > 0) {
        text += standardMonths[month - 1];
        text += ' ';
    }
    text += year;
    if (!dualYear.empty()) {
        text += '/';
        text += dualYear;
    }
    text += epoch;
    return text;
}

/// Splits "1890-03-12" or "1890-03": a four-digit year, then one or two digits once or twice.
bool splitIso(std::string_view text, std::string_view& year, std::string_view& month, std::string_view& day)
{
    if (text.size() < 6 || text[4] != '-' || !allDigits(text.substr(0, 4)))
        return false;
    year = text.substr(0, 4);
    const std::string_view rest = text.substr(5);
    const std::size_t dash = rest.find('-');
    month = rest.substr(0, dash);
    day = dash == std::string_view::npos ? std::string_view() : rest.substr(dash + 1);
    return month.size() <= 2 && allDigits(month) &&
           (dash == std::string_view::npos || (day.size() <= 2 && allDigits(day)));
}

/// Splits an all-number date into its three numbers, separated by "/", "." or "-" (mixed alike).
bool splitNumbers(std::string_view text, std::array<std::string_view, 3>& parts)
{
    std::size_t count = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= text.size(); ++i) {
        if (i < text.size() && text[i] != '/' && text[i] != '.' && text[i] != '-')
            continue;
        if (count == 3)
            return false;
        parts[count] = text.substr(start, i - start);
        if (!allDigits(parts[count]))
            return false;
        ++count;
        start = i + 1;
    }
    return count == 3;
}

/// A number found among words: its digits, whether an ordinal ending followed, its dual year.
struct WordNumber
{
    std::string_view digits;
    std::string_view dualYear;
    bool ordinal = false;
};

bool isWordSeparator(char c)
{
    return c == ' ' || c == ',' || c == '.' || c == '-' || c == '/';
}

/// How many digits follow the slash of a dual year after `year` (which ends at `at`): two
/// ("1750/51"), or four when they are the next year written in full ("1637/1638"); 0 when there is
/// no dual year. A second year other than the next one is not a dual year but two dates, and so is
/// the next year written in full after 1752, when the last calendars to change had changed: there
/// "1815/1816" means one year or the other.
std::size_t dualYearWidth(std::string_view text, std::size_t at, std::string_view year)
{
    if (at >= text.size() || text[at] != '/')
        return 0;
    std::size_t end = at + 1;
    while (end < text.size() && isDigit(text[end]))
        ++end;
    if (end < text.size() && !isWordSeparator(text[end]))
        return 0;
    const std::string_view second = text.substr(at + 1, end - at - 1);
    if (second.size() == 2)
        return 2;
    const int first = *digitsValue(year, 4);
    return second.size() == 4 && first <= GedcomDates::lastDualYear && digitsValue(second, 4) == first + 1
               ? 4
               : 0;
}

/// "12 march 1890", "march 12th, 1890", "3rd of may 1901", "12-mar-1890", "mar. 1890", "1890".
void convertWordDate(std::string_view text, bool v7, std::string_view epoch, Readings& out)
{
    std::array<WordNumber, 2> numbers;
    std::size_t numberCount = 0;
    int month = 0;
    for (std::size_t i = 0; i < text.size();) {
        const char c = text[i];
        if (isWordSeparator(c)) {
            ++i;
        } else if (isDigit(c)) {
            std::size_t end = i;
            while (end < text.size() && isDigit(text[end]))
                ++end;
            if (end - i > 4 || numberCount == numbers.size())
                return;
            WordNumber number{text.substr(i, end - i), {}, false};
            if (const std::size_t width = dualYearWidth(text, end, number.digits)) {
                if (v7) // GEDCOM 7 has no dual years
                    return;
                // The standard keeps the second year's last two digits: 1637/1638 is 1637/38.
                number.dualYear = text.substr(end + width - 1, 2);
                end += width + 1;
            } else if (end < text.size() && isLetter(text[end])) {
                std::size_t wordEnd = end;
                while (wordEnd < text.size() && isLetter(text[wordEnd]))
                    ++wordEnd;
                const std::string_view word = text.substr(end, wordEnd - end);
                if (std::find(std::begin(ordinalEndings), std::end(ordinalEndings), word) !=
                    std::end(ordinalEndings)) {
                    number.ordinal = true;
                    end = wordEnd;
                }
            }
            numbers[numberCount++] = number;
            i = end;
        } else if (isLetter(c)) {
            std::size_t end = i;
            while (end < text.size() && isLetter(text[end]))
                ++end;
            const std::string_view word = text.substr(i, end - i);
            // "of" only joins a day to its month ("3rd of may").
            if (word != "of") {
                const int found = monthFromWord(word);
                if (found == 0 || month != 0)
                    return;
                month = found;
            }
            i = end;
        } else {
            return;
        }
    }

    const auto isYear = [](const WordNumber& number, bool shortAllowed) {
        return !number.ordinal && (shortAllowed || number.digits.size() >= 3);
    };
    const auto isDay = [](const WordNumber& number) {
        return number.digits.size() <= 2 && number.dualYear.empty();
    };
    if (month == 0) {
        // A year alone is taken as written, however short, as the standard form would take it.
        if (numberCount == 1 && isYear(numbers[0], true))
            out.add(dateText(std::nullopt, 0, numbers[0].digits, numbers[0].dualYear, epoch));
        return;
    }
    // Beside a month the year must have three or four digits: the century of "mar 90" cannot be
    // known, and a guess would be a silent error in the tree. An era ending ("12 mar 44 bc") says
    // which number is the year and that it is meant as written.
    const bool era = !epoch.empty();
    if (numberCount == 1 && isYear(numbers[0], era)) {
        out.add(dateText(std::nullopt, month, numbers[0].digits, numbers[0].dualYear, epoch));
    } else if (numberCount == 2) {
        for (std::size_t yearIndex = era ? 1 : 0; yearIndex < 2; ++yearIndex) {
            const WordNumber& year = numbers[yearIndex];
            const WordNumber& day = numbers[1 - yearIndex];
            if (isYear(year, era) && isDay(day)) {
                out.add(dateText(*digitsValue(day.digits, 2), month, year.digits, year.dualYear, epoch));
                return;
            }
        }
    }
}

/// The readings of one date written some other way.
void convertDate(std::string_view text, bool v7, NumericDateOrder order, Readings& out)
{
    text = trimmedBlanks(text);
    std::string_view epoch;
    for (const std::string_view ending : epochEndings) {
        if (text.ends_with(ending)) {
            text = trimmedBlanks(text.substr(0, text.size() - ending.size()));
            epoch = v7 ? " BCE"sv : " B.C."sv;
            break;
        }
    }
    if (text.empty())
        return;

    std::string_view year, month, day;
    if (splitIso(text, year, month, day)) {
        const int monthValue = *digitsValue(month, 2);
        if (monthValue >= 1 && monthValue <= 12)
            out.add(dateText(day.empty() ? std::nullopt : digitsValue(day, 2), monthValue, year, {}, epoch));
        return;
    }

    std::array<std::string_view, 3> parts;
    if (splitNumbers(text, parts)) {
        // Days and months have one or two digits; a two-digit year is refused like "mar 90".
        if (parts[0].size() > 2 || parts[1].size() > 2 || parts[2].size() < 3 || parts[2].size() > 4)
            return;
        const int first = *digitsValue(parts[0], 2);
        const int second = *digitsValue(parts[1], 2);
        // Read both ways the day-first reading comes first.
        if (order != NumericDateOrder::monthFirst && second >= 1 && second <= 12)
            out.add(dateText(first, second, parts[2], {}, epoch));
        if (order != NumericDateOrder::dayFirst && first >= 1 && first <= 12)
            out.add(dateText(second, first, parts[2], {}, epoch));
        return;
    }

    convertWordDate(text, v7, epoch, out);
}

/// Candidate standard readings of a whole value (calendar prefix already taken off). A leading
/// qualifier word wins over range words; each date is then tried as an era ending, an ISO date,
/// an all-number date and last as words, the first form that fits deciding.
void convertValue(std::string_view text, bool v7, NumericDateOrder order, Candidates& out)
{
    text = trimmedBlanks(text);
    for (const Qualifier& qualifier : qualifiers) {
        if (beginsWithWord(text, qualifier.word)) {
            Readings readings;
            convertDate(text.substr(qualifier.word.size()), v7, order, readings);
            for (std::size_t i = 0; i < readings.count; ++i)
                out.add(joined({qualifier.keyword, readings.items[i]}));
            return;
        }
    }

    const RangeForm* form = nullptr;
    for (const RangeForm& candidate : rangeForms) {
        if (beginsWithWord(text, candidate.word)) {
            form = &candidate;
            break;
        }
    }
    if (!form) {
        Readings readings;
        convertDate(text, v7, order, readings);
        for (std::size_t i = 0; i < readings.count; ++i)
            out.add(std::move(readings.items[i]));
        return;
    }

    const std::string_view rest = text.substr(form->word.size());
    for (const std::string_view separator : form->separators) {
        const std::size_t at = rest.find(separator);
        if (at == std::string_view::npos)
            continue;
        Readings first, second;
        convertDate(rest.substr(0, at), v7, order, first);
        convertDate(rest.substr(at + separator.size()), v7, order, second);
        for (std::size_t i = 0; i < first.count; ++i) {
            for (std::size_t j = 0; j < second.count; ++j)
                out.add(joined({form->keyword, first.items[i], form->separatorKeyword, second.items[j]}));
        }
        return;
    }
    // "from 1850" stands alone; a "between" without its second date says nothing.
    if (form->keyword == "FROM") {
        Readings readings;
        convertDate(rest, v7, order, readings);
        for (std::size_t i = 0; i < readings.count; ++i)
            out.add(joined({"FROM", readings.items[i]}));
    }
}

bool beginsWithUpperCased(std::string_view text, std::string_view prefix)
{
    if (text.size() < prefix.size())
        return false;
    for (std::size_t i = 0; i < prefix.size(); ++i) {
        const char c = text[i];
        const char upper = c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
        if (upper != prefix[i])
            return false;
    }
    return true;
}

DateNormalization normalizeValue(std::string_view value, bool v7, NumericDateOrder order)
{
    if (isKept(value, v7))
        return {DateNormalization::Standard{}};
    std::string collapsed = collapsedSpace(value);
    if (!collapsed.empty() && collapsed != value && isKept(collapsed, v7))
        return {Fix{std::move(collapsed)}};

    std::string_view rest = collapsed;
    std::string_view prefix;
    for (const std::string_view candidate : {"@#DGREGORIAN@"sv, "@#DJULIAN@"sv, "GREGORIAN"sv, "JULIAN"sv}) {
        if (beginsWithUpperCased(rest, candidate)) {
            rest.remove_prefix(candidate.size());
            prefix = candidate;
        }
    }
    std::string lower(trimmedBlanks(rest));
    std::transform(lower.begin(), lower.end(), lower.begin(), lowered);

    Candidates candidates;
    convertValue(lower, v7, order, candidates);
    std::size_t kept = 0;
    for (std::size_t i = 0; i < candidates.count; ++i) {
        std::string& candidate = candidates.items[i];
        // The prefix goes back with a blank: without one the value would not read.
        if (!prefix.empty())
            candidate = joined({prefix, candidate});
        // Equal readings (03/03/1890 read both ways) are one reading, not an ambiguity.
        const auto keptEnd = candidates.items.begin() + static_cast<std::ptrdiff_t>(kept);
        if ((readGrammar(candidate, v7) || GedcomDates::isDatePhrase(candidate)) &&
            std::find(candidates.items.begin(), keptEnd, candidate) == keptEnd) {
            if (i != kept)
                candidates.items[kept] = std::move(candidate);
            ++kept;
        }
    }
    if (kept == 1)
        return {Fix{std::move(candidates.items[0])}};
    if (kept > 1) {
        return {Ambiguous{
            {std::make_move_iterator(candidates.items.begin()),
             std::make_move_iterator(candidates.items.begin() + static_cast<std::ptrdiff_t>(kept))}}};
    }
    return {DateNormalization::Unrecognized{}};
}

// ---------------------------------------------------------------------------------------------
// Dates among other words

constexpr std::string_view eraWords[] = {"ad", "a.d.", "a.d", "ce", "c.e.", "c.e"};

/// The length of the run of digits that ends just before `end`.
std::size_t digitsBefore(std::string_view word, std::size_t end)
{
    std::size_t start = end;
    while (start > 0 && isDigit(word[start - 1]))
        --start;
    return end - start;
}

/// The length of the run of digits that starts at `start`.
std::size_t digitsFrom(std::string_view word, std::size_t start)
{
    std::size_t end = start;
    while (end < word.size() && isDigit(word[end]))
        ++end;
    return end - start;
}

/// The value, blanks collapsed, without its question marks of doubt ("1908 ?", "1908?", "1908 (?)",
/// "? MAR 1908") and its words for the Christian era ("23 AD", "A.D. 23"). None when it has neither, or
/// when a question mark may stand for digits: only a whole year of four digits may carry one.
std::optional<std::string> withoutDoubtAndEra(std::string_view value)
{
    const std::string collapsed = collapsedSpace(value);
    std::string rest;
    bool changed = false;
    for (std::size_t start = 0; start < collapsed.size();) {
        const std::size_t end = std::min(collapsed.find(' ', start), collapsed.size());
        std::string_view word = std::string_view(collapsed).substr(start, end - start);
        start = end + 1;
        const std::size_t first = word.find_first_not_of('?');
        if (first == std::string_view::npos || word == "(?)" || word == "[?]") {
            changed = true;
            continue;
        }
        const std::size_t last = word.find_last_not_of('?') + 1;
        if ((first > 0 && isDigit(word[first]) && digitsFrom(word, first) != 4) ||
            (last < word.size() && isDigit(word[last - 1]) && digitsBefore(word, last) != 4))
            return std::nullopt;
        changed = changed || first > 0 || last < word.size();
        word = word.substr(first, last - first);
        std::string lower(word);
        std::transform(lower.begin(), lower.end(), lower.begin(), lowered);
        if (std::find(std::begin(eraWords), std::end(eraWords), lower) != std::end(eraWords)) {
            changed = true;
            continue;
        }
        if (!rest.empty())
            rest += ' ';
        rest += word;
    }
    if (!changed)
        return std::nullopt;
    return rest;
}

/// Whether a standard value is one date: no qualifier, no range, no interpretation.
bool isPlainDate(std::string_view value)
{
    bool calendarBefore = false;
    value = withoutCalendarPrefix(value, calendarBefore);
    const std::string_view head = value.substr(0, value.find(' '));
    return std::find(std::begin(dateKeywords), std::end(dateKeywords), head) == std::end(dateKeywords);
}

/// The range a normalization leads to: its fix's, or the span of all its readings.
std::optional<DateRange> rangeOf(const DateNormalization& normalization, bool v7)
{
    if (const auto* fix = std::get_if<Fix>(&normalization.value))
        return readGrammar(fix->value, v7);
    const auto* ambiguous = std::get_if<Ambiguous>(&normalization.value);
    if (!ambiguous)
        return std::nullopt;
    DateRange combined;
    bool first = true;
    for (const std::string& reading : ambiguous->readings) {
        const DateRange range = readGrammar(reading, v7).value_or(DateRange{});
        if (first) {
            combined = range;
            first = false;
            continue;
        }
        combined.low =
            combined.low && range.low ? std::optional(std::min(*combined.low, *range.low)) : std::nullopt;
        combined.high =
            combined.high && range.high ? std::optional(std::max(*combined.high, *range.high)) : std::nullopt;
    }
    return combined;
}

// ---------------------------------------------------------------------------------------------
// Styles

/// A pattern compiled once, JIT-compiled where the machine allows, searched without allocating.
class Pattern
{
public:
    explicit Pattern(const char* source)
    {
        int error = 0;
        PCRE2_SIZE offset = 0;
        // UTF with Unicode properties: \d, \s and \b know the letters and blanks of every script,
        // and text that is not valid UTF-8 is still searched rather than refused.
        m_code = pcre2_compile(reinterpret_cast<PCRE2_SPTR>(source), PCRE2_ZERO_TERMINATED,
                               PCRE2_UTF | PCRE2_UCP | PCRE2_MATCH_INVALID_UTF, &error, &offset, nullptr);
        if (!m_code) {
            std::fprintf(stderr, "date pattern %s does not compile (error %d)\n", source, error);
            std::abort();
        }
        m_jit = pcre2_jit_compile(m_code, PCRE2_JIT_COMPLETE) == 0;
    }
    ~Pattern() { pcre2_code_free(m_code); }
    Pattern(const Pattern&) = delete;
    Pattern& operator=(const Pattern&) = delete;

    [[nodiscard]] bool search(std::string_view text) const
    {
        // One small match block per thread; only whether there is a match is wanted.
        thread_local const std::unique_ptr<pcre2_match_data, decltype(&pcre2_match_data_free)> data(
            pcre2_match_data_create(1, nullptr), &pcre2_match_data_free);
        const auto* subject = reinterpret_cast<PCRE2_SPTR>(text.empty() ? "" : text.data());
        const int result = m_jit ? pcre2_jit_match(m_code, subject, text.size(), 0, 0, data.get(), nullptr)
                                 : pcre2_match(m_code, subject, text.size(), 0, 0, data.get(), nullptr);
        return result >= 0;
    }

private:
    pcre2_code* m_code = nullptr;
    bool m_jit = false;
};

struct StylePatterns
{
    Pattern iso{R"(^\s*\d{4}-\d{1,2}(-\d{1,2})?\s*$)"};
    Pattern numbers{R"(\d{1,2}[/.-]\d{1,2}[/.-]\d{2,4})"};
    Pattern lowerWords{
        R"(^(abt|about|circa|ca|c\.|approx|bef|before|aft|after|bet|between|est|cal|from|to)\b)"};
    Pattern monthFirst{R"(^[a-z]+\.? \d{1,2},? \d{3,4})"};
};

const StylePatterns& stylePatterns()
{
    static const StylePatterns patterns;
    return patterns;
}

/// An ASCII-lower-cased copy, on the stack when short. The patterns' letters are all ASCII, so
/// lowering other scripts would change no match.
class LowerCopy
{
public:
    explicit LowerCopy(std::string_view text)
    {
        char* target = m_small.data();
        if (text.size() > m_small.size()) {
            m_large.resize(text.size());
            target = m_large.data();
        }
        std::transform(text.begin(), text.end(), target, lowered);
        m_view = {target, text.size()};
    }
    [[nodiscard]] std::string_view view() const { return m_view; }

private:
    std::array<char, 128> m_small{};
    std::string m_large;
    std::string_view m_view;
};

std::string_view styleOfUnread(std::string_view value)
{
    if (GedcomDates::isDatePhrase(value) || GedcomDates::isOtherCalendar(value))
        return GedcomDates::allStyles[0];
    const LowerCopy lower(value);
    const std::string_view l = lower.view();
    const StylePatterns& patterns = stylePatterns();
    if (patterns.iso.search(l))
        return GedcomDates::allStyles[1];
    if (patterns.numbers.search(l))
        return GedcomDates::allStyles[2];
    if (changesWhenUpperCased(value) && patterns.lowerWords.search(l))
        return GedcomDates::allStyles[3];
    if (patterns.monthFirst.search(l))
        return GedcomDates::allStyles[4];
    if (std::any_of(value.begin(), value.end(), [](char c) { return c >= 'a' && c <= 'z'; }))
        return GedcomDates::allStyles[5];
    if (value.starts_with(' ') || value.ends_with(' ') || value.find("  "sv) != std::string_view::npos)
        return GedcomDates::allStyles[6];
    return GedcomDates::allStyles[7];
}

// ---------------------------------------------------------------------------------------------
// Numeric order

enum class Evidence : std::uint8_t
{
    none,
    dayFirst,
    monthFirst
};

/// What one DATE value says about the order. Blanks around the value are ignored.
Evidence numericEvidence(std::string_view value)
{
    value = trimmedSpace(value);
    std::array<std::uint64_t, 3> numbers{};
    std::size_t count = 0;
    std::size_t start = 0;
    for (std::size_t i = 0; i <= value.size(); ++i) {
        if (i < value.size() && value[i] != '/' && value[i] != '.' && value[i] != '-')
            continue;
        const std::string_view part = value.substr(start, i - start);
        if (count == 3 || !allDigits(part))
            return Evidence::none;
        // A number too large to hold makes the value no evidence at all.
        if (std::from_chars(part.data(), part.data() + part.size(), numbers[count]).ec != std::errc())
            return Evidence::none;
        ++count;
        start = i + 1;
    }
    if (count != 3 || numbers[2] < 32)
        return Evidence::none;
    if (numbers[0] >= 13 && numbers[1] <= 12)
        return Evidence::dayFirst;
    if (numbers[1] >= 13 && numbers[0] <= 12)
        return Evidence::monthFirst;
    return Evidence::none;
}

} // namespace

std::string_view rawValue(NumericDateOrder order)
{
    switch (order) {
    case NumericDateOrder::dayFirst:
        return "dayFirst";
    case NumericDateOrder::monthFirst:
        return "monthFirst";
    case NumericDateOrder::automatic:
        break;
    }
    return "auto";
}

std::optional<NumericDateOrder> numericDateOrderFromRawValue(std::string_view raw)
{
    for (const NumericDateOrder order : allNumericDateOrders) {
        if (rawValue(order) == raw)
            return order;
    }
    return std::nullopt;
}

namespace GedcomDates {

std::optional<DateRange> readStandard(std::string_view value, bool v7)
{
    return readGrammar(value, v7);
}

std::optional<DateRange> range(std::string_view value, NumericDateOrder order, bool v7)
{
    value = trimmedSpace(value);
    if (std::optional<DateRange> read = readGrammar(value, v7))
        return read;
    return rangeOf(normalizeValue(value, v7, order), v7);
}

DateNormalization normalize(std::string_view value, bool v7, NumericDateOrder order)
{
    return normalizeValue(value, v7, order);
}

bool isReversedRange(std::string_view value, bool v7)
{
    bool reversed = false;
    return (value.starts_with("BET ") || value.starts_with("FROM ") || value.find(" BET ") != value.npos ||
            value.find(" FROM ") != value.npos) &&
           readGrammar(value, v7, &reversed) && reversed;
}

std::string_view style(std::string_view value, bool v7)
{
    if (readGrammar(value, v7))
        return allStyles[0];
    return styleOfUnread(value);
}

DateReading read(std::string_view value, bool v7, NumericDateOrder order)
{
    const std::string_view trimmed = trimmedSpace(value);
    if (trimmed.size() == value.size()) {
        if (std::optional<DateRange> direct = readGrammar(value, v7))
            return {direct, {DateNormalization::Standard{}}, allStyles[0]};
        DateReading reading{std::nullopt, normalizeValue(value, v7, order), styleOfUnread(value)};
        reading.range = rangeOf(reading.normalization, v7);
        return reading;
    }
    // Blanks at the ends can matter to the standard reading itself (a dual year takes any two
    // characters, "1750/5" and a tab among them), so the range is found as `range` finds it.
    return {range(value, order, v7), normalizeValue(value, v7, order), style(value, v7)};
}

bool isOtherCalendar(std::string_view value)
{
    const auto isEscape = [](std::string_view word) {
        return word.starts_with("@#D") && !word.starts_with("@#DGREGORIAN@") &&
               !word.starts_with("@#DJULIAN@");
    };
    const auto isName = [](std::string_view word) {
        return word == "HEBREW" || word == "FRENCH_R" || (word.size() > 1 && word.front() == '_');
    };
    // An escape before the whole value counts when something follows its closing "@".
    if (isEscape(value)) {
        const std::size_t close = value.find('@', 3);
        return close != std::string_view::npos &&
               value.find_first_not_of(' ', close + 1) != std::string_view::npos;
    }

    // Otherwise a calendar may stand before the value or before any of its dates: after a
    // qualifier, or on either side of a range. It counts only with a date after it.
    std::array<std::string_view, maxPieces> words;
    std::size_t count = 0;
    for (std::size_t i = 0; i < value.size() && count < words.size();) {
        const std::size_t start = value.find_first_not_of(' ', i);
        if (start == std::string_view::npos)
            break;
        const std::size_t end = std::min(value.find(' ', start), value.size());
        words[count++] = value.substr(start, end - start);
        i = end;
    }
    const auto isKeyword = [](std::string_view word) {
        return std::find(std::begin(dateKeywords), std::end(dateKeywords), word) != std::end(dateKeywords);
    };
    for (std::size_t i = 0; i + 1 < count; ++i) {
        const std::string_view word = words[i];
        if ((i > 0 && !isKeyword(words[i - 1])) || !(isName(word) || (i > 0 && isEscape(word))))
            continue;
        // The 5.5.1 escape of the French calendar holds a blank: "@#DFRENCH R@".
        const std::size_t after = word == "@#DFRENCH" && words[i + 1] == "R@" ? i + 2 : i + 1;
        if (after < count && !isKeyword(words[after]))
            return true;
    }
    return false;
}

bool isDatePhrase(std::string_view value)
{
    return value.size() > 1 && value.front() == '(' && value.back() == ')';
}

std::optional<std::string> eitherYear(std::string_view value)
{
    const std::string_view text = trimmedSpace(value);
    if (text.size() != 9 || text[4] != '/')
        return std::nullopt;
    const std::optional<int> first = digitsValue(text.substr(0, 4), 4);
    const std::optional<int> second = digitsValue(text.substr(5), 4);
    if (!first || !second || *second != *first + 1 || *first <= lastDualYear)
        return std::nullopt;
    return "BET " + std::string(text.substr(0, 4)) + " AND " + std::string(text.substr(5));
}

bool hasDateElement(std::string_view value)
{
    for (std::size_t i = 0; i < value.size();) {
        if (isDigit(value[i]))
            return true;
        if (!isLetter(value[i])) {
            ++i;
            continue;
        }
        std::string word;
        for (; i < value.size() && isLetter(value[i]); ++i)
            word += lowered(value[i]);
        if (monthFromWord(word) != 0)
            return true;
    }
    return false;
}

std::optional<WordsDate> dateInWords(std::string_view value, bool v7, NumericDateOrder order)
{
    const std::optional<std::string> rest = withoutDoubtAndEra(value);
    if (!rest || rest->empty())
        return std::nullopt;
    DateNormalization normalization = normalizeValue(*rest, v7, order);
    if (std::holds_alternative<Ambiguous>(normalization.value))
        return WordsDate{};
    std::string date;
    if (auto* fix = std::get_if<Fix>(&normalization.value))
        date = std::move(fix->value);
    else if (std::holds_alternative<DateNormalization::Standard>(normalization.value))
        date = *rest;
    // A phrase says no more than the words did; another calendar is a date, but not one to reckon with.
    if (date.empty() || isDatePhrase(date))
        return std::nullopt;
    const bool plain = readGrammar(date, v7) && isPlainDate(date);
    return WordsDate{std::move(date), plain};
}

NumericDateOrder decideNumericOrder(const GedcomDocument& document)
{
    bool dayFirst = false;
    bool monthFirst = false;
    document.walk([&](NodeView node) {
        if (dayFirst && monthFirst)
            return;
        if (node.tag() != "DATE")
            return;
        const std::optional<std::string_view> value = node.value();
        if (!value)
            return;
        switch (numericEvidence(*value)) {
        case Evidence::dayFirst:
            dayFirst = true;
            break;
        case Evidence::monthFirst:
            monthFirst = true;
            break;
        case Evidence::none:
            break;
        }
    });
    if (dayFirst != monthFirst)
        return dayFirst ? NumericDateOrder::dayFirst : NumericDateOrder::monthFirst;
    return NumericDateOrder::automatic;
}

} // namespace GedcomDates
} // namespace kinloom
