// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/DuplicateFinder.h"

#include "changes/FixApplier.h"
#include "changes/Merger.h"
#include "checks/Checks.h"
#include "checks/NameWords.h"
#include "checks/SoundCodes.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <iterator>
#include <queue>
#include <set>
#include <thread>
#include <tuple>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>
#include <utf8proc.h>

namespace kinloom {
namespace DuplicateFinder {
namespace {

// ---- text ----

bool isAsciiBlank(std::uint32_t c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isAsciiBlank(static_cast<unsigned char>(text.front())))
        text.remove_prefix(1);
    while (!text.empty() && isAsciiBlank(static_cast<unsigned char>(text.back())))
        text.remove_suffix(1);
    return text;
}

using Text::equalIgnoringCase;

/// `appendNormalized` for ASCII text: folding changes nothing there beyond the case, so most names
/// skip the tables.
void appendNormalizedAscii(std::string_view text, std::string& out)
{
    bool blank = !out.empty();
    for (char c : text) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
        if ((c >= 'a' && c <= 'z') || (c >= '0' && c <= '9')) {
            if (blank && !out.empty())
                out += ' ';
            blank = false;
            out += c;
        } else if (isAsciiBlank(static_cast<unsigned char>(c)) || c == '_') {
            // Some programs join the words of a name with underscores: "of_Hanover", "Henry_VIII".
            blank = true;
        }
    }
}

/// Appends the words of `text`, normalised, to `out`, a blank between them and any words before.
void appendNormalized(std::string_view text, std::string& out)
{
    if (Text::isAscii(text)) {
        appendNormalizedAscii(text, out);
        return;
    }
    bool blank = !out.empty();
    auto letter = [&](const char* bytes, std::size_t length) {
        if (blank && !out.empty())
            out += ' ';
        blank = false;
        out.append(bytes, length);
    };
    Text::forEachFolded(text, [&](const Text::FoldedCharacter& character) {
        // Digits stay: "Son_1" and "Son_2" are two names.
        if (character.kind == Text::FoldedCharacter::Kind::letter ||
            character.kind == Text::FoldedCharacter::Kind::digit)
            letter(character.utf8.data(), character.utf8.size());
        else if (character.kind == Text::FoldedCharacter::Kind::blank || character.scalar == U'_')
            blank = true;
    });
}

std::string_view firstWord(std::string_view given)
{
    return given.substr(0, given.find(' '));
}

using Text::characters;

double jaroWinkler(std::u32string_view a, std::u32string_view b)
{
    if (a.empty() || b.empty())
        return 0;
    const std::size_t longer = std::max(a.size(), b.size());
    const std::size_t window = longer / 2 >= 1 ? longer / 2 - 1 : 0;
    std::vector<char> matchedA(a.size()), matchedB(b.size());
    std::size_t matches = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const std::size_t from = i > window ? i - window : 0;
        const std::size_t to = std::min(b.size(), i + window + 1);
        for (std::size_t j = from; j < to; ++j) {
            if (!matchedB[j] && a[i] == b[j]) {
                matchedA[i] = matchedB[j] = 1;
                ++matches;
                break;
            }
        }
    }
    if (matches == 0)
        return 0;
    std::size_t outOfOrder = 0;
    for (std::size_t i = 0, j = 0; i < a.size(); ++i) {
        if (!matchedA[i])
            continue;
        while (!matchedB[j])
            ++j;
        if (a[i] != b[j])
            ++outOfOrder;
        ++j;
    }
    const double m = static_cast<double>(matches);
    const double t = static_cast<double>(outOfOrder) / 2;
    const double jaro =
        (m / static_cast<double>(a.size()) + m / static_cast<double>(b.size()) + (m - t) / m) / 3;
    std::size_t prefix = 0;
    while (prefix < 4 && prefix < a.size() && prefix < b.size() && a[prefix] == b[prefix])
        ++prefix;
    return jaro + static_cast<double>(prefix) * 0.1 * (1 - jaro);
}

/// The similarity of two given names that differ, which rests on their first words alone, whose
/// groups in the name-form table are known.
double firstWordSimilarity(std::string_view a, std::string_view b, std::string_view groupA,
                           std::string_view groupB)
{
    if (groupA == groupB)
        return a == b ? 0.92 : 0.85;
    const std::u32string x = characters(a), y = characters(b);
    if ((x.size() == 1 && !y.empty() && y.front() == x.front()) ||
        (y.size() == 1 && !x.empty() && x.front() == y.front()))
        return 0.6;
    const double similarity = jaroWinkler(x, y);
    return similarity < 0.88 ? 0 : similarity * 0.9;
}

double firstWordSimilarity(std::string_view a, std::string_view b)
{
    return firstWordSimilarity(a, b, detail::canonicalGivenName(a), detail::canonicalGivenName(b));
}

/// The numbers in a normalised name, each run of digits followed by a blank: names that differ in
/// a number are different names ("son1", "son2").
std::string numbersOf(std::string_view name)
{
    std::string numbers;
    for (std::size_t i = 0; i < name.size(); ++i) {
        if (name[i] >= '0' && name[i] <= '9') {
            numbers += name[i];
            if (i + 1 == name.size() || name[i + 1] < '0' || name[i + 1] > '9')
                numbers += ' ';
        }
    }
    return numbers;
}

std::vector<std::string_view> wordsOf(std::string_view text)
{
    std::vector<std::string_view> list;
    for (std::size_t from = 0; from < text.size();) {
        const std::size_t blank = std::min(text.find(' ', from), text.size());
        if (blank > from)
            list.push_back(text.substr(from, blank - from));
        from = blank + 1;
    }
    return list;
}

/// How two given names agree; the kinds after `spelling` look past the first words.
enum class Agreement : std::uint8_t
{
    none,
    same,
    firstWords, ///< the first words equal, later ones not
    otherForm,  ///< the first words a nickname or another language's form of one name
    initial,
    spelling,
    reordered,
    leftOut,
    initials,
};

struct GivenNames
{
    double similarity = 0;
    Agreement agreement = Agreement::none;
};

/// Given names split into words, each with its group in the name-form table, looked up once for
/// every comparison of the words.
struct GivenWords
{
    std::vector<std::string_view> words;
    std::vector<std::string_view> groups;

    explicit GivenWords(std::string_view text) : words(wordsOf(text))
    {
        groups.reserve(words.size());
        for (const std::string_view word : words)
            groups.push_back(detail::canonicalGivenName(word));
    }
};

/// Whether word `i` of `x` and word `k` of `y` can be one name: one group, or an initial and a
/// word it starts.
bool wordsAgree(const GivenWords& x, std::size_t i, const GivenWords& y, std::size_t k, bool& initial)
{
    if (x.groups[i] == y.groups[k])
        return true;
    const std::string_view a = x.words[i], b = y.words[k];
    if ((a.size() == 1 && b.starts_with(a)) || (b.size() == 1 && a.starts_with(b))) {
        initial = true;
        return true;
    }
    return false;
}

// Written out in another order, with a name left out, or as initials, given names agree less than
// when the first names agree: below a nickname, above an initial alone. An initial never
// contradicts the name it starts.
constexpr double reorderedSimilarity = 0.8;
constexpr double leftOutSimilarity = 0.75;
constexpr double initialsSimilarity = 0.7;

/// How two given names agree. `firstWords`, when known, is `firstWordSimilarity` of their first
/// words.
GivenNames compareGivenNames(std::string_view a, std::string_view b,
                             std::optional<double> firstWords = std::nullopt)
{
    const GivenWords x(a), y(b);
    if (x.words.empty() || y.words.empty())
        return {};
    if (x.words == y.words)
        return {1.0, Agreement::same};
    if (numbersOf(a) != numbersOf(b))
        return {};
    // The first words as the caller split them: from the start of each name.
    const bool known = firstWords && x.words.front().data() == a.data() && y.words.front().data() == b.data();
    GivenNames result{
        known ? *firstWords
              : firstWordSimilarity(x.words.front(), y.words.front(), x.groups.front(), y.groups.front()),
        Agreement::none};
    if (x.groups.front() == y.groups.front())
        result.agreement = x.words.front() == y.words.front() ? Agreement::firstWords : Agreement::otherForm;
    else if (result.similarity > 0)
        result.agreement = result.similarity == 0.6 ? Agreement::initial : Agreement::spelling;
    if (x.words.size() == 1 && y.words.size() == 1)
        return result;

    const GivenWords& shorter = x.words.size() <= y.words.size() ? x : y;
    const GivenWords& longer = x.words.size() <= y.words.size() ? y : x;
    // Word by word from the first, as "J. W." and "John William" or "John W." and "John William".
    bool initial = false;
    bool inOrder = true;
    for (std::size_t k = 0; k < shorter.words.size() && inOrder; ++k)
        inOrder = wordsAgree(shorter, k, longer, k, initial);
    if (inOrder && result.agreement != Agreement::otherForm) {
        if (initial && shorter.words.size() >= 2) {
            result.similarity = std::max(result.similarity, initialsSimilarity);
            result.agreement = Agreement::initials;
        } else if (result.agreement == Agreement::firstWords && !initial) {
            result.agreement = Agreement::leftOut;
        }
        return result;
    }
    // Every name of the shorter list somewhere in the longer: "William John" and "John William",
    // "Mary" and "Anna Mary".
    if (result.similarity >= reorderedSimilarity || shorter.words.front().size() < 2)
        return result;
    std::vector<char> used(longer.words.size());
    for (std::size_t i = 0; i < shorter.words.size(); ++i) {
        bool found = false;
        for (std::size_t k = 0; k < longer.words.size() && !found; ++k) {
            bool isInitial = false;
            if (!used[k] && wordsAgree(shorter, i, longer, k, isInitial) &&
                (!isInitial || shorter.words[i].size() == 1)) {
                used[k] = 1;
                found = true;
            }
        }
        if (!found)
            return result;
    }
    if (shorter.words.size() == longer.words.size())
        return {reorderedSimilarity, Agreement::reordered};
    return {std::max(result.similarity, leftOutSimilarity), Agreement::leftOut};
}

/// A normalised word as a reason writes it: "bill" is Bill.
std::string capitalised(std::string_view word)
{
    std::string text(word);
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

/// The reason that says how the given names agree beyond their spelling; empty when none does.
std::string givenNamesReason(std::string_view a, std::string_view b)
{
    switch (compareGivenNames(a, b).agreement) {
    case Agreement::otherForm: {
        // The form the group is known by is the one the other stands for.
        std::string_view x = firstWord(a), y = firstWord(b);
        if (detail::canonicalGivenName(x) == x)
            std::swap(x, y);
        return "Nickname or other form: " + capitalised(x) + " for " + capitalised(y);
    }
    case Agreement::reordered:
        return "Given names in another order";
    case Agreement::leftOut:
        return "A given name left out";
    case Agreement::initials:
        return "Initials match the given names";
    default:
        return {};
    }
}

/// The first sound code two surnames share; none when they share none.
std::optional<std::uint32_t> sharedSound(std::span<const std::uint32_t> a, std::span<const std::uint32_t> b)
{
    for (const std::uint32_t code : a) {
        if (std::find(b.begin(), b.end(), code) != b.end())
            return code;
    }
    return std::nullopt;
}

// ---- scoring ----

/// The reasons of a pair being written: for it, and against it.
struct Reasons
{
    std::vector<std::string> forPair;
    std::vector<std::string> against;
};

// The weight of each level of agreement, in bits: log2 of how much likelier the level is for one
// person recorded twice than for two people. They add up, with the base rate, to a pair's weight,
// which becomes the score as a probability. docs/duplicate-weights.md gives the reason of each.
namespace weight {
constexpr double base = -4.0;            ///< two people of alike names are rarely one
constexpr double givenSame = 3.0;        ///< the same given names
constexpr double givenPerLikeness = 2.0; ///< taken off for each unit of similarity below 1
constexpr double surnameSounds = -0.5;   ///< surnames alike by their sound code only
constexpr double surnameMissing = -1.0;  ///< a surname on one side only
constexpr double ordinalSame = 1.5;
constexpr double ordinalDifferent = -5.0;
constexpr double generationDifferent = -4.0;
constexpr double nicknameSame = 1.0;
constexpr double nicknameDifferent = -2.5;
constexpr double titleSame = 1.2;     ///< a title of more words than one: "King of Serbia"
constexpr double titleWordSame = 0.6; ///< a title of one word: "Princess"
constexpr double birthplaceSame = 1.0;
constexpr double birthplaceDifferent = -0.3;
constexpr double sameFamily = 3.0;        ///< children of one family whose births agree
constexpr double sameFamilyUndated = 1.5; ///< one of them without a birth: often a namesake sibling
constexpr double parentInCommon = 2.0;
constexpr double parentsAlike = 2.0;
constexpr double parentAlike = 0.8;
constexpr double parentsPartlyDifferent = -2.0;
constexpr double parentsDifferent = -3.5;
constexpr double spouseInCommon = 3.0;
constexpr double spousesPaired = 4.0;
constexpr double spouseAlike = 1.5;
constexpr double spousesDifferent = -1.5;
constexpr double childInCommon = 3.0;
constexpr double childrenAlike = 2.5; ///< two children or more of the same given names
constexpr double childAlike = 0.8;
constexpr double marriageSame = 3.0;    ///< married on the same day
constexpr double titleDifferent = -1.5; ///< titles change in a life, but rarely from one realm to another
constexpr double diedAChild = -3.0;     ///< one died a child, the other married
/// A name alone never makes a match: the facts and relatives must add at least this much for it.
constexpr double evidenceFloor = 1.0;
} // namespace weight

struct DateKind
{
    std::string_view lower;   ///< "birth"
    std::string_view capital; ///< "Birth"
    std::string_view near;    ///< a birth and a christening, or a death and a burial, close together
    double sameDay = 0;
    double sameMonth = 0;
    double sameYear = 0;
    double closeTogether = 0; ///< the two kinds of fact, days apart
    double rangesAgree = 0;   ///< ranges that overlap, the wider no more than five years
    double differentDay = 0;
    double differentMonth = 0;
    double oneYear = 0;
    double twoYears = 0;
    double rangesApart = 0;
};

constexpr DateKind birthKind{
    "birth", "Birth", "Birth and christening close", 3.5, 2.5, 2.0, 1.2, 1.9, -2.0, -2.0, -0.5, -1.0, -0.5};
constexpr DateKind deathKind{
    "death", "Death", "Death and burial close", 3.5, 2.5, 1.4, 1.2, 1.0, -2.5, -2.0, -0.5, -1.0, -0.5};

/// What a comparison has found so far: the weight, the part of it that facts and relatives gave
/// for the pair, and the reasons when they are written.
struct Tally
{
    double weight = weight::base;
    double evidence = 0;
    bool weighsAgainst = false; ///< some evidence weighs against
    /// How much more pairs of spouses or of parents, found later, could add.
    double lift = 0;
    std::vector<std::string>* reasons = nullptr;
    std::vector<std::string>* against = nullptr;

    /// Adds a name's weight, which is no evidence of its own.
    void name(double w) { weight += w; }

    /// Adds a fact's weight. Its text, a string or what makes one, is made only when the reasons
    /// are written: most pairs never become matches.
    template <class Text>
    void fact(double w, Text&& text)
    {
        weight += w;
        if (w > 0)
            evidence += w;
        weighsAgainst = weighsAgainst || w < 0;
        if (!reasons)
            return;
        std::vector<std::string>& list = w < 0 ? *against : *reasons;
        if constexpr (std::is_invocable_v<Text>)
            list.push_back(std::string(text()));
        else
            list.push_back(std::string(std::forward<Text>(text)));
    }
};

enum class Precision : std::uint8_t
{
    day,
    month,
    year,
    range,
    open
};

Precision precisionOf(const DatedFact& fact)
{
    if (!fact.bounded())
        return Precision::open;
    const double width = fact.high - fact.low;
    return width < 0.01   ? Precision::day
           : width < 0.09 ? Precision::month
           : width < 1.01 ? Precision::year
                          : Precision::range;
}

/// Whether two dates lie two or more years apart: open ends compare false, so a range open on the
/// side that matters never rules out.
template <class Fact>
bool yearsApart(const Fact& a, const Fact& b)
{
    return a->low >= b->high + 2 || b->low >= a->high + 2;
}

std::string bothDates(const DatedFact& a, const DatedFact& b)
{
    return " (" + std::string(a.date) + " / " + std::string(b.date) + ")";
}

/// Adds what two dated facts of one kind say; false when they rule the pair out.
bool compareDates(const std::optional<DatedFact>& a, const std::optional<DatedFact>& b, const DateKind& kind,
                  Tally& tally)
{
    if (!a || !b)
        return true;
    if (yearsApart(a, b))
        return false;
    const Precision pa = precisionOf(*a), pb = precisionOf(*b);
    if (pa == Precision::open || pb == Precision::open)
        return true;
    if (pa <= Precision::year && pb <= Precision::year) {
        const double middleA = (a->low + a->high) / 2, middleB = (b->low + b->high) / 2;
        const auto yearA = static_cast<long long>(std::floor(a->low));
        const auto yearB = static_cast<long long>(std::floor(b->low));
        // A birth and a christening, or a death and a burial, lie days apart.
        const bool otherKinds = a->primary != b->primary && pa <= Precision::month &&
                                pb <= Precision::month && std::abs(middleA - middleB) < 0.25;
        if (pa == Precision::day && pb == Precision::day && a->low == b->low) {
            tally.fact(kind.sameDay, [&] {
                return "Same " + std::string(kind.lower) + " date (" + std::string(a->date) + ")";
            });
        } else if (otherKinds) {
            tally.fact(kind.closeTogether, [&] { return std::string(kind.near) + bothDates(*a, *b); });
        } else if (yearA == yearB) {
            if (pa == Precision::year || pb == Precision::year) {
                tally.fact(kind.sameYear, [&] {
                    return "Same " + std::string(kind.lower) + " year (" + std::to_string(yearA) + ")";
                });
            } else if (std::floor((a->low - static_cast<double>(yearA)) * 12 + 1e-6) ==
                       std::floor((b->low - static_cast<double>(yearB)) * 12 + 1e-6)) {
                if (pa == Precision::day && pb == Precision::day)
                    tally.fact(kind.differentDay, [&] {
                        return "Different " + std::string(kind.lower) + " dates" + bothDates(*a, *b);
                    });
                else
                    tally.fact(kind.sameMonth, [&] {
                        return "Same " + std::string(kind.lower) + " month (" +
                               std::string(pa == Precision::month ? a->date : b->date) + ")";
                    });
            } else {
                tally.fact(kind.differentMonth, [&] {
                    return "Different " + std::string(kind.lower) + " dates" + bothDates(*a, *b);
                });
            }
        } else if (pa == Precision::day && pb == Precision::day &&
                   std::abs((a->low - static_cast<double>(yearA)) - (b->low - static_cast<double>(yearB))) >
                       1e-6) {
            // A year miscopied keeps its day and month; two days of different years are two events.
            tally.fact(kind.differentDay,
                       [&] { return "Different " + std::string(kind.lower) + " dates" + bothDates(*a, *b); });
        } else {
            const long long apart = yearA > yearB ? yearA - yearB : yearB - yearA;
            tally.fact(apart == 1 ? kind.oneYear : kind.twoYears, [&] {
                return std::string(kind.capital) + " years " + (apart == 1 ? "one" : "two") + " apart (" +
                       std::to_string(std::min(yearA, yearB)) + ", " +
                       std::to_string(std::max(yearA, yearB)) + ")";
            });
        }
        return true;
    }
    // A range on one side at least: ABT, EST, CAL, BET or a dual year.
    const double overlap = std::min(a->high, b->high) - std::max(a->low, b->low);
    const double wider = std::max(a->high - a->low, b->high - b->low);
    if (overlap > 0) {
        // As much as the other covers of the narrower range: ABT 1850 and 1851 agree fully, ABT
        // 1850 and ABT 1854 by a year of five.
        const double narrower = std::min(a->high - a->low, b->high - b->low);
        if (wider <= 5 + 1e-9)
            tally.fact(kind.rangesAgree * std::min(1.0, overlap / narrower), [&] {
                return equalIgnoringCase(a->date, b->date)
                           ? "Same " + std::string(kind.lower) + " date (" + std::string(a->date) + ")"
                           : std::string(kind.capital) + " dates agree" + bothDates(*a, *b);
            });
    } else {
        tally.fact(kind.rangesApart,
                   [&] { return std::string(kind.capital) + " dates apart" + bothDates(*a, *b); });
    }
    return true;
}

/// Whether a death lies wholly before a birth, whatever day either date means: a child named after
/// a sibling who died is not that sibling. A range's high end is exclusive; open ends never rule out.
template <class Fact>
bool diedBeforeBorn(const Fact& death, const Fact& birth)
{
    return death && birth && death->high <= birth->low;
}

bool sexesDiffer(char a, char b)
{
    return a != 0 && b != 0 && a != b;
}

std::size_t sharedCount(std::span<const std::string_view> a, std::span<const std::string_view> b)
{
    std::size_t shared = 0;
    for (std::size_t i = 0, j = 0; i < a.size() && j < b.size();) {
        if (a[i] < b[j]) {
            ++i;
        } else if (b[j] < a[i]) {
            ++j;
        } else {
            ++shared;
            ++i;
            ++j;
        }
    }
    return shared;
}

enum class Likeness : std::uint8_t
{
    unknown, ///< one has no name that says anything
    alike,
    differ
};

/// Whether two relatives can be one person by their names: first given names of one group, an
/// initial and a name it starts, or spelt alike; and, where `surnames` asks, surnames equal or of
/// one sound code (a woman may be named by her own surname in one record and her husband's in
/// the other, so a mother's or a wife's surname is not asked).
Likeness likeness(const Relative& x, const Relative& y, bool surnames, std::string_view ownX = {},
                  std::string_view ownY = {})
{
    if (x.person == y.person)
        return Likeness::alike;
    const std::string_view givenX = x.given(), givenY = y.given();
    if (givenX.empty() || givenY.empty())
        return Likeness::unknown;
    const std::string_view firstX = firstWord(givenX), firstY = firstWord(givenY);
    if (firstX != firstY && firstWordSimilarity(firstX, firstY) == 0)
        return Likeness::differ;
    const std::string_view surnameX = x.surname(), surnameY = y.surname();
    // Fathers who each bear their child's surname agree as far as the children's surnames do.
    if (surnames && !surnameX.empty() && !surnameY.empty() && surnameX != surnameY &&
        !(surnameX == ownX && surnameY == ownY)) {
        const std::string codeX = detail::soundex(surnameX);
        if (codeX.empty() || codeX != detail::soundex(surnameY))
            return Likeness::differ;
    }
    return Likeness::alike;
}

std::string namesOf(std::span<const Relative> relatives)
{
    std::string text;
    for (const Relative& relative : relatives)
        text += (text.empty() ? "" : " and ") + displayName(*relative.person);
    return text.empty() ? "none recorded" : text;
}

/// Adds what the recorded parents say, when the two are children of different families.
void compareParents(const Candidate& a, const Candidate& b, Tally& tally)
{
    if (a.parents.empty() || b.parents.empty())
        return;
    int alike = 0, differ = 0, inCommon = 0;
    for (const bool fathers : {true, false}) {
        bool any = false, someAlike = false, someUnknown = false, same = false;
        for (const Relative& x : fathers ? a.fatherList() : a.motherList()) {
            for (const Relative& y : fathers ? b.fatherList() : b.motherList()) {
                any = true;
                same = same || x.person == y.person;
                const Likeness l = likeness(x, y, fathers, a.surname, b.surname);
                someAlike = someAlike || l == Likeness::alike;
                someUnknown = someUnknown || l == Likeness::unknown;
            }
        }
        inCommon += same ? 1 : 0;
        if (someAlike)
            ++alike;
        else if (any && !someUnknown)
            ++differ;
    }
    if (differ > 0) {
        tally.fact(alike > 0 ? weight::parentsPartlyDifferent : weight::parentsDifferent,
                   [&] { return "Different parents: " + namesOf(a.parents) + " / " + namesOf(b.parents); });
    } else if (inCommon >= 2) {
        tally.fact(weight::sameFamily, "Parents in common");
    } else if (inCommon == 1) {
        tally.fact(weight::parentInCommon, "A parent in common");
        tally.lift = std::max(tally.lift, weight::sameFamily - weight::parentInCommon);
    } else if (alike >= 2) {
        tally.fact(weight::parentsAlike, "Parents with the same names");
        tally.lift = std::max(tally.lift, weight::sameFamily - weight::parentsAlike);
    } else if (alike == 1) {
        tally.fact(weight::parentAlike, "A parent with the same name");
        tally.lift = std::max(tally.lift, weight::sameFamily - weight::parentAlike);
    }
}

/// The marriage two records share the day of, even to spouses recorded as other people: one
/// marriage. Marriages on other days say nothing, as people remarry.
const DatedFact* sameMarriage(const Candidate& a, const Candidate& b)
{
    for (const DatedFact& x : a.marriages) {
        for (const DatedFact& y : b.marriages) {
            if (precisionOf(x) == Precision::day && precisionOf(y) == Precision::day && x.low == y.low)
                return &x;
        }
    }
    return nullptr;
}

/// Adds what the spouses say; `paired` when a spouse of each is itself likely one person.
void compareSpouses(const Candidate& a, const Candidate& b, bool paired, Tally& tally)
{
    if (const DatedFact* marriage = sameMarriage(a, b)) {
        tally.fact(weight::marriageSame,
                   [&] { return "Married on the same day (" + std::string(marriage->date) + ")"; });
        return;
    }
    if (a.spouses.empty() || b.spouses.empty())
        return;
    bool alike = false, unknown = false;
    for (const Relative& x : a.spouses) {
        for (const Relative& y : b.spouses) {
            if (x.person == y.person) {
                tally.fact(weight::spouseInCommon,
                           [&] { return "Same spouse (" + displayName(*x.person) + ")"; });
                return;
            }
            const Likeness l = likeness(x, y, true);
            alike = alike || l == Likeness::alike;
            unknown = unknown || l == Likeness::unknown;
        }
    }
    if (paired)
        tally.fact(weight::spousesPaired, "Spouses likely one person too");
    else if (alike)
        tally.fact(weight::spouseAlike, "Spouse with the same name");
    if (!paired && (alike || unknown))
        tally.lift = std::max(tally.lift, weight::spousesPaired - (alike ? weight::spouseAlike : 0.0));
    if (!paired && !alike && !unknown)
        tally.fact(weight::spousesDifferent,
                   [&] { return "Different spouses: " + namesOf(a.spouses) + " / " + namesOf(b.spouses); });
}

/// Adds what the children say: a child in common, or children of the same names (a second record
/// of a family, its children entered again).
void compareChildren(const Candidate& a, const Candidate& b, Tally& tally)
{
    for (const Relative& x : a.children) {
        for (const Relative& y : b.children) {
            if (x.person == y.person) {
                tally.fact(weight::childInCommon,
                           [&] { return "A child in common (" + displayName(*x.person) + ")"; });
                return;
            }
        }
    }
    std::string alike;
    int count = 0;
    for (const Relative& x : a.children) {
        for (const Relative& y : b.children) {
            if (!x.given().empty() && x.given() == y.given() && likeness(x, y, true) == Likeness::alike) {
                alike += (count++ == 0 ? "" : ", ") + capitalised(firstWord(x.given()));
                break;
            }
        }
    }
    if (count >= 2)
        tally.fact(weight::childrenAlike, [&] { return "Children with the same names (" + alike + ")"; });
    else if (count == 1)
        tally.fact(weight::childAlike, [&] { return "A child with the same name (" + alike + ")"; });
}

/// An ordinal as a reason writes it: VIII.
std::string upperRoman(int number)
{
    std::string text = NameWords::romanNumeral(number);
    for (char& c : text)
        c = static_cast<char>(c - 'a' + 'A');
    return text;
}

/// Adds what marks two of one name apart: an ordinal, Jr and Sr, a nickname.
void compareMarks(const Candidate& a, const Candidate& b, Tally& tally)
{
    if (a.ordinal != 0 && b.ordinal != 0) {
        if (a.ordinal == b.ordinal)
            tally.name(weight::ordinalSame);
        else
            tally.fact(weight::ordinalDifferent, [&] {
                return "Different ordinals (" + upperRoman(a.ordinal) + " / " + upperRoman(b.ordinal) + ")";
            });
    }
    if (a.generation != 0 && b.generation != 0 && a.generation != b.generation) {
        auto word = [](int generation) { return generation == 1 ? "the younger" : "the elder"; };
        tally.fact(weight::generationDifferent,
                   [&] { return std::string("One ") + word(a.generation) + ", one " + word(b.generation); });
    }
    if (!a.nickname.empty() && !b.nickname.empty()) {
        if (a.nickname == b.nickname)
            tally.name(weight::nicknameSame);
        else
            tally.fact(weight::nicknameDifferent, [&] {
                return "Different nicknames (" + capitalised(a.nickname) + " / " + capitalised(b.nickname) +
                       ")";
            });
    }
}

/// The birthplace as written, for a reason.
std::string birthPlaceOf(const Candidate& candidate)
{
    const EventFact* birth = LifeFacts(*candidate.person).birth;
    return std::string(trimmed(birth ? birth->place().value_or(std::string_view()) : std::string_view()));
}

/// Whether two places agree: the same parts, or the same first part (the one may add the county).
bool placesAgree(std::string_view a, std::string_view b)
{
    return a == b || a.substr(0, a.find(',')) == b.substr(0, b.find(','));
}

/// Two children of one family are one person only when nothing tells them apart: their given names
/// agree (not merely their first ones, as in Johann Georg and Johann Adam), and one has no birth or
/// the births agree, the one date equal to or within the other (12 MAR 1850 and 1850, ABT 1850).
bool oneChild(const Candidate& a, const Candidate& b)
{
    const Agreement names = compareGivenNames(a.given, b.given).agreement;
    if (names == Agreement::none || names == Agreement::firstWords)
        return false;
    if (!a.birth || !b.birth || !a.birth->bounded() || !b.birth->bounded())
        return true;
    auto within = [](const DatedFact& inner, const DatedFact& outer) {
        return inner.low >= outer.low && inner.high <= outer.high;
    };
    return within(*a.birth, *b.birth) || within(*b.birth, *a.birth);
}

double probability(double bits)
{
    return 1 / (1 + std::exp2(-bits));
}

bool sameWordCount(std::string_view a, std::string_view b)
{
    return std::count(a.begin(), a.end(), ' ') == std::count(b.begin(), b.end(), ' ');
}

/// How a pair is compared beyond its two candidates.
struct Context
{
    /// Whether relatives rule the pair out: asked only of the pairs that may be reported, as the
    /// relatives are looked for then.
    bool checkRelatives = true;
    bool spousesPaired = false; ///< a spouse of each is likely one person too
    bool parentsPaired = false; ///< a parent of each is likely one person too
    /// The two met through a record they share or a pair of their relatives, so a surname missing
    /// on one side is no reason to rule them out.
    bool linked = false;
};

/// Scores a pair whose given-name similarity is known; `a` comes first in the file. The reasons
/// are written only when asked for, since most pairs never become matches.
detail::Comparison evaluate(const Candidate& a, const Candidate& b, double similarity, Reasons* reasons,
                            Context context = {})
{
    using detail::Verdict;
    detail::Comparison result;
    auto out = [&](Verdict verdict) {
        result.verdict = verdict;
        return result;
    };
    if (sexesDiffer(a.sex, b.sex))
        return out(Verdict::differentSex);
    if (context.checkRelatives &&
        (std::binary_search(a.relatives.begin(), a.relatives.end(), b.person->xref) ||
         std::binary_search(b.relatives.begin(), b.relatives.end(), a.person->xref)))
        return out(Verdict::relatives);
    // Without surnames, a word more on one side may be the surname itself ("James //" and "James
    // Waldegrave //"): the given names must have as many words.
    if (similarity == 0 || (a.surname.empty() && b.surname.empty() && !sameWordCount(a.given, b.given)))
        return out(Verdict::givenNames);
    Tally tally;
    if (reasons) {
        tally.reasons = &reasons->forPair;
        tally.against = &reasons->against;
    }
    std::optional<std::uint32_t> sound;
    if (a.surname == b.surname)
        ;
    else if (context.linked && (a.surname.empty() || b.surname.empty()) && sameWordCount(a.given, b.given))
        tally.name(weight::surnameMissing); // a word more on one side may be the surname itself
    else if (!a.surnameCode.empty() && a.surnameCode == b.surnameCode)
        tally.name(weight::surnameSounds); // no code, as of a surname without Latin letters, is no likeness
    else if ((sound = sharedSound(a.surnameSounds, b.surnameSounds)))
        tally.name(weight::surnameSounds);
    else
        return out(Verdict::surnames);
    tally.name(weight::givenSame - weight::givenPerLikeness * (1 - similarity));
    const bool sameFamily = sharedCount(a.famc, b.famc) > 0;
    if (sameFamily && !oneChild(a, b))
        return out(Verdict::siblings);
    if (reasons) {
        std::vector<std::string>& list = reasons->forPair;
        const bool sameName = a.surname == b.surname && similarity == 1.0;
        if (sameName && a.otherScript != b.otherScript)
            list.push_back("Same name in another script");
        else if (sameName)
            list.push_back("Same name");
        else
            list.push_back("Similar names (" + displayName(*a.person) + " / " + displayName(*b.person) + ")");
        if (std::string given = givenNamesReason(a.given, b.given); !given.empty())
            list.push_back(std::move(given));
        if (!sameName && a.otherScript != b.otherScript)
            list.push_back("Names compared in Latin letters");
        if (sound) {
            std::array<char, 16> code{};
            std::snprintf(code.data(), code.size(), "%06u", static_cast<unsigned>(*sound));
            list.push_back("Surnames sound alike (Daitch\u2013Mokotoff code " + std::string(code.data()) +
                           ")");
        }
    }
    compareMarks(a, b, tally);

    if (!a.title.empty() && equalIgnoringCase(a.title, b.title)) {
        const bool words = a.title.find(' ') != std::string_view::npos;
        tally.fact(words ? weight::titleSame : weight::titleWordSame,
                   [&] { return "Same title (" + std::string(a.title) + ")"; });
    } else if (!a.title.empty() && !b.title.empty()) {
        tally.fact(weight::titleDifferent, [&] {
            return "Different titles (" + std::string(a.title) + " / " + std::string(b.title) + ")";
        });
    }
    if (!compareDates(a.birth, b.birth, birthKind, tally))
        return out(Verdict::births);
    if (!compareDates(a.death, b.death, deathKind, tally))
        return out(Verdict::deaths);
    if (diedBeforeBorn(a.death, b.birth) || diedBeforeBorn(b.death, a.birth))
        return out(Verdict::diedBeforeBorn);
    auto diedAChild = [](const Candidate& x) {
        return x.birth && x.death && x.birth->bounded() && x.death->bounded() &&
               x.death->high - x.birth->low < 14;
    };
    if ((diedAChild(a) && !b.spouses.empty()) || (diedAChild(b) && !a.spouses.empty()))
        tally.fact(weight::diedAChild, "One died a child, the other married");
    if (a.birthPlace && b.birthPlace) {
        if (placesAgree(*a.birthPlace, *b.birthPlace))
            tally.fact(weight::birthplaceSame, "Same birthplace");
        else
            tally.fact(weight::birthplaceDifferent, [&] {
                return "Different birthplaces (" + birthPlaceOf(a) + " / " + birthPlaceOf(b) + ")";
            });
    }
    if (context.parentsPaired && !sameFamily)
        tally.fact(weight::sameFamily, "Parents likely the same people too");
    else if (sameFamily && a.birth && b.birth && precisionOf(*a.birth) <= Precision::year &&
             precisionOf(*b.birth) <= Precision::year)
        tally.fact(weight::sameFamily, "Same parents");
    else if (sameFamily)
        tally.fact(weight::sameFamilyUndated, "Same parents");
    else
        compareParents(a, b, tally);
    compareSpouses(a, b, context.spousesPaired, tally);
    compareChildren(a, b, tally);
    if (tally.evidence < weight::evidenceFloor)
        return out(Verdict::littleEvidence);

    const bool keepA = a.size > b.size || (a.size == b.size && a.order < b.order);
    result.match.keep = std::string((keepA ? a : b).person->xref);
    result.match.remove = std::string((keepA ? b : a).person->xref);
    result.match.score = detail::roundScore(probability(tally.weight));
    result.weight = tally.weight;
    result.against = tally.weighsAgainst;
    result.lift = tally.lift;
    if (reasons) {
        result.match.reasons = std::move(reasons->forPair);
        result.match.against = std::move(reasons->against);
    }
    return result;
}

/// Whether `a` is the record kept over `b`: the larger, then the first in the file.
bool ranksAbove(std::size_t sizeA, std::size_t orderA, std::size_t sizeB, std::size_t orderB)
{
    return sizeA > sizeB || (sizeA == sizeB && orderA < orderB);
}

/// A match with the positions it is sorted by.
struct Found
{
    DuplicateMatch match;
    std::size_t keepOrder = 0;
    std::size_t removeOrder = 0;
};

/// What choosing among a person's matches reads of one.
struct Ends
{
    double score = 0;
    std::size_t keepOrder = 0;
    std::size_t removeOrder = 0;
    std::size_t keepSize = 0;
    std::size_t removeSize = 0;
};

/// How many matches each person is reported with at most: the match with the record that would be
/// kept over all its others (the largest, then the first in the file), and the best of the rest,
/// the highest scores first and of equal scores the record kept over the others. In a crowd of
/// look-alikes everyone is then matched with the crowd's top record, which no fix removes:
/// whatever order the merges run in, ticking every fix merges the whole crowd into it.
constexpr std::size_t bestMatches = 3;

/// Which of `count` matches (`ends(i)` of each) are among the `bestMatches` chosen by either of
/// their two people.
template <class EndsOf>
std::vector<std::uint8_t> chooseBest(std::size_t count, EndsOf ends)
{
    struct Pick
    {
        std::size_t person = 0;
        double score = 0;
        std::size_t partnerSize = 0;
        std::size_t partnerOrder = 0;
        std::size_t match = 0;
    };
    std::vector<Pick> picks;
    picks.reserve(2 * count);
    for (std::size_t i = 0; i < count; ++i) {
        const Ends e = ends(i);
        picks.push_back({e.keepOrder, e.score, e.removeSize, e.removeOrder, i});
        picks.push_back({e.removeOrder, e.score, e.keepSize, e.keepOrder, i});
    }
    std::sort(picks.begin(), picks.end(), [](const Pick& x, const Pick& y) {
        if (x.person != y.person)
            return x.person < y.person;
        if (x.score != y.score)
            return x.score > y.score;
        return ranksAbove(x.partnerSize, x.partnerOrder, y.partnerSize, y.partnerOrder);
    });
    std::vector<std::uint8_t> chosen(count);
    for (std::size_t begin = 0, end = 0; begin < picks.size(); begin = end) {
        std::size_t top = begin;
        for (end = begin; end < picks.size() && picks[end].person == picks[begin].person; ++end) {
            if (ranksAbove(picks[end].partnerSize, picks[end].partnerOrder, picks[top].partnerSize,
                           picks[top].partnerOrder))
                top = end;
        }
        chosen[picks[top].match] = 1;
        for (std::size_t i = begin, taken = 1; i < end && taken < bestMatches; ++i) {
            if (i != top) {
                chosen[picks[i].match] = 1;
                ++taken;
            }
        }
    }
    return chosen;
}

/// A pair that reached the threshold, before its reasons are written: kept small, as a crowd has
/// many more of them than are reported.
struct Scored
{
    std::uint32_t first = 0;  ///< slot of the candidate first in the file
    std::uint32_t second = 0; ///< slot of the other
    double similarity = 0;    ///< of the given names
    double score = 0;
    bool spousesPaired = false; ///< a spouse of each is likely one person as well
    bool parentsPaired = false; ///< a parent of each is likely one person as well
    bool linked = false;        ///< met through a shared record or a pair of relatives
    bool against = false;       ///< some evidence weighs against
};

/// Two people's positions as one number, whichever comes first.
std::uint64_t pairKey(std::size_t x, std::size_t y)
{
    return (static_cast<std::uint64_t>(std::min(x, y)) << 32) | std::max(x, y);
}

/// The weight, in bits, at which a pair's score reaches the threshold.
double thresholdWeight(double threshold)
{
    if (threshold <= 0)
        return -std::numeric_limits<double>::infinity();
    if (threshold >= 1)
        return std::numeric_limits<double>::infinity();
    return std::log2(threshold / (1 - threshold));
}

/// Scores a pair (`a` first in the file, the two at `slots` of their list) and keeps it when it
/// reaches the threshold, or when pairs of spouses or parents found later could lift it there; only
/// those pairs need the relatives, which `findRelatives` fills in when the candidates come without
/// them.
template <class FindRelatives>
void scorePair(const Candidate& a, const Candidate& b, std::pair<std::size_t, std::size_t> slots,
               double similarity, double threshold, std::vector<Scored>& scored, FindRelatives findRelatives,
               bool linked = false)
{
    // Whether two people are relatives is only asked of the pairs that may be reported.
    const detail::Comparison quick = evaluate(a, b, similarity, nullptr, {false, false, false, linked});
    if (quick.verdict != detail::Verdict::match)
        return;
    if (quick.match.score < threshold && quick.weight + quick.lift < thresholdWeight(threshold))
        return;
    findRelatives();
    if (std::binary_search(a.relatives.begin(), a.relatives.end(), b.person->xref) ||
        std::binary_search(b.relatives.begin(), b.relatives.end(), a.person->xref))
        return;
    Scored pair;
    pair.first = static_cast<std::uint32_t>(slots.first);
    pair.second = static_cast<std::uint32_t>(slots.second);
    pair.similarity = similarity;
    pair.score = quick.match.score;
    pair.linked = linked;
    pair.against = quick.against;
    scored.push_back(pair);
}

/// Lifts the pairs whose spouses are a pair as well, and drops the pairs that stay below the
/// threshold: a copy of a couple vouches for the other spouse's copy.
void pairCouples(std::vector<Scored>& scored, const std::vector<Candidate>& candidates, const Person* people,
                 double threshold)
{
    std::unordered_map<std::uint64_t, std::size_t> byPeople;
    auto key = pairKey;
    // Only people who married can be someone's spouse or parent, so only their pairs are looked up.
    auto married = [&](const Candidate& c) { return !c.spouses.empty() || !c.children.empty(); };
    for (std::size_t i = 0; i < scored.size(); ++i) {
        if (married(candidates[scored[i].first]) && married(candidates[scored[i].second]))
            byPeople.emplace(key(candidates[scored[i].first].order, candidates[scored[i].second].order), i);
    }
    if (byPeople.empty()) {
        std::erase_if(scored, [&](const Scored& pair) { return pair.score < threshold; });
        return;
    }
    constexpr std::size_t none = std::numeric_limits<std::size_t>::max();
    // The pair that the spouses, fathers or mothers of both make; none when they make none.
    auto pairOf = [&](std::span<const Relative> x, std::span<const Relative> y) {
        for (const Relative& one : x) {
            for (const Relative& other : y) {
                if (one.person == other.person)
                    continue;
                const auto at = byPeople.find(key(static_cast<std::size_t>(one.person - people),
                                                  static_cast<std::size_t>(other.person - people)));
                if (at != byPeople.end())
                    return at->second;
            }
        }
        return none;
    };
    std::vector<std::size_t> spouses(scored.size()), parents(scored.size());
    std::vector<double> lifted(scored.size());
    for (std::size_t i = 0; i < scored.size(); ++i) {
        const Candidate& a = candidates[scored[i].first];
        const Candidate& b = candidates[scored[i].second];
        spouses[i] = pairOf(a.spouses, b.spouses);
        parents[i] = pairOf(a.fatherList(), b.fatherList());
        if (parents[i] == none)
            parents[i] = pairOf(a.motherList(), b.motherList());
        if (spouses[i] != none)
            lifted[i] = evaluate(a, b, scored[i].similarity, nullptr, {false, true, false, scored[i].linked})
                            .match.score;
    }
    // A spouses' pair must hold on its own, or both pairs must have the same given names and
    // nothing against them: two pairs that are alike only in a nickname or a spelling never lift
    // each other. A parents' pair must hold on its own.
    auto clean = [&](const Scored& x) { return x.similarity >= 0.92 && !x.against; };
    std::vector<Scored> kept;
    for (std::size_t i = 0; i < scored.size(); ++i) {
        Scored pair = scored[i];
        const std::size_t j = spouses[i], k = parents[i];
        pair.spousesPaired =
            j != none && lifted[i] >= threshold &&
            (scored[j].score >= threshold || (lifted[j] >= threshold && clean(scored[j]) && clean(pair)));
        pair.parentsPaired = k != none && scored[k].score >= threshold;
        if (pair.spousesPaired || pair.parentsPaired) {
            const Candidate& a = candidates[pair.first];
            const Candidate& b = candidates[pair.second];
            pair.score = evaluate(a, b, pair.similarity, nullptr,
                                  {false, pair.spousesPaired, pair.parentsPaired, pair.linked})
                             .match.score;
        }
        if (pair.score >= threshold)
            kept.push_back(pair);
    }
    scored = std::move(kept);
}

std::vector<DuplicateMatch> sorted(std::vector<Found>& found)
{
    std::sort(found.begin(), found.end(), [](const Found& x, const Found& y) {
        if (x.match.score != y.match.score)
            return x.match.score > y.match.score;
        if (x.keepOrder != y.keepOrder)
            return x.keepOrder < y.keepOrder;
        return x.removeOrder < y.removeOrder;
    });
    std::vector<DuplicateMatch> matches;
    matches.reserve(found.size());
    for (Found& f : found)
        matches.push_back(std::move(f.match));
    return matches;
}

unsigned threadCount(unsigned threads)
{
    return threads != 0 ? threads : std::max(1u, std::thread::hardware_concurrency());
}

/// Runs `work(part)` for each part, the first on the calling thread.
template <class Work>
void inParts(unsigned parts, Work work)
{
    std::vector<std::thread> helpers;
    for (unsigned part = 1; part < parts; ++part)
        helpers.emplace_back(work, part);
    work(0u);
    for (std::thread& helper : helpers)
        helper.join();
}

// ---- storage for candidates ----

/// Items kept in chunks that never move, so views into them stay valid while more are added.
template <class T>
class Pool
{
public:
    std::span<const T> add(std::span<const T> items)
    {
        if (items.empty())
            return {};
        if (m_chunks.empty() || m_used + items.size() > m_capacity) {
            m_capacity = std::max(chunkSize, items.size());
            m_chunks.push_back(std::make_unique<T[]>(m_capacity));
            m_used = 0;
        }
        T* first = m_chunks.back().get() + m_used;
        std::copy(items.begin(), items.end(), first);
        m_used += items.size();
        return {first, items.size()};
    }

private:
    static constexpr std::size_t chunkSize = 1 << 16;
    std::vector<std::unique_ptr<T[]>> m_chunks;
    std::size_t m_used = 0;
    std::size_t m_capacity = 0;
};

/// What one slice of the people keeps its texts and lists in.
struct Slice
{
    Pool<char> texts;
    Pool<std::string_view> views;
    /// Normalised forms of names and places that are not plain ASCII, which need the tables, and
    /// whether they were written in another script.
    std::unordered_map<std::string_view, std::pair<std::string_view, bool>> folded;
    Pool<std::uint32_t> codes;
    std::unordered_map<std::string_view, std::span<const std::uint32_t>> sounds;
    std::unordered_map<std::string_view, std::optional<std::string_view>> places;
    Pool<Relative> relatives;
    /// Lists being gathered for one candidate, kept to save allocations.
    std::array<std::vector<std::string_view>, 4> scratch;
    std::array<std::vector<Relative>, 4> people;
    Pool<DatedFact> dates;
    std::vector<DatedFact> marriages;

    std::string_view text(std::string_view value)
    {
        const auto span = texts.add(std::span<const char>(value.data(), value.size()));
        return {span.data(), span.size()};
    }

    std::span<const std::string_view> list(std::vector<std::string_view>& items)
    {
        std::sort(items.begin(), items.end());
        items.erase(std::unique(items.begin(), items.end()), items.end());
        return views.add(items);
    }

    /// Appends a part of a name, normalised; true when it was written in another script, which
    /// is compared through its Latin letters.
    bool appendName(std::string_view part, std::string& out)
    {
        if (Text::isAscii(part)) {
            appendNormalizedAscii(part, out);
            return false;
        }
        auto [at, added] = folded.try_emplace(part);
        if (added) {
            const std::optional<std::string> latin = NameWords::inLatinLetters(part);
            at->second = {text(detail::normalizeName(latin ? *latin : part)), latin.has_value()};
        }
        if (!at->second.first.empty()) {
            if (!out.empty())
                out += ' ';
            out += at->second.first;
        }
        return at->second.second;
    }

    /// The Daitch–Mokotoff codes of a normalised surname, worked out once for each surname.
    std::span<const std::uint32_t> soundsOf(std::string_view surname)
    {
        auto [at, added] = sounds.try_emplace(surname);
        if (added) {
            const std::vector<std::uint32_t> list = SoundCodes::daitchMokotoffPacked(surname);
            at->second = codes.add(list);
        }
        return at->second;
    }

    /// The birthplace key: each part between commas normalised, empty parts dropped.
    std::optional<std::string_view> place(std::string_view value)
    {
        auto [at, added] = places.try_emplace(value);
        if (!added)
            return at->second;
        std::string key, part;
        for (std::size_t from = 0; from <= value.size();) {
            const std::size_t comma = std::min(value.find(',', from), value.size());
            part.clear();
            appendNormalized(value.substr(from, comma - from), part);
            if (!part.empty())
                key += (key.empty() ? "" : ",") + part;
            from = comma + 1;
        }
        at->second = key.empty() ? std::nullopt : std::optional<std::string_view>(text(key));
        return at->second;
    }
};

std::optional<DatedFact> datedFact(const EventFact* fact)
{
    if (!fact)
        return std::nullopt;
    const auto range = fact->range();
    if (!range)
        return std::nullopt;
    DatedFact dated;
    dated.date = trimmed(fact->date().value_or(std::string_view()));
    dated.primary = fact->tag() == "BIRT" || fact->tag() == "DEAT";
    dated.low = fact->low;
    dated.high = fact->high;
    return dated;
}

/// The numbers of a normalised name as one number, 0 when it has none; equal names give equal
/// keys, and names with unequal keys differ in a number.
/// A hash of a text (FNV-1a), never 0, so that 0 can stand for none.
std::uint32_t textKey(std::string_view text)
{
    std::uint32_t key = 2166136261u;
    for (const char c : text)
        key = (key ^ static_cast<unsigned char>(c)) * 16777619u;
    return key == 0 ? 1 : key;
}

std::uint32_t numbersKey(std::string_view name)
{
    if (std::none_of(name.begin(), name.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return 0;
    return textKey(numbersOf(name));
}

/// What marks one of a name apart from another: an ordinal, Jr or Sr, a nickname.
struct NameMarks
{
    std::uint8_t ordinal = 0;
    std::uint8_t generation = 0;
    std::string nickname; ///< normalised words
};

/// The NAME line of a person's first name: directly in a record as read, else among the lines.
std::optional<NodeView> firstNameLine(const Person& person)
{
    const NodeView record = person.record;
    const std::int64_t offset = person.names.front().nodeID - record.id();
    if (record.isConsecutivelyNumbered() && offset > 0 &&
        static_cast<std::size_t>(offset) < record.subtreeSize())
        return record.at(static_cast<std::uint32_t>(offset));
    for (const NodeView child : record.children()) {
        if (child.id() == person.names.front().nodeID)
            return child;
    }
    return std::nullopt;
}

/// Reads a word as a mark when it is one. Figures are an ordinal only last ("John 2nd"; elsewhere
/// they begin an epithet, "4th High Steward"), and single letters only where `letters` allows, as
/// they are mostly initials ("John V. Smith").
bool readMark(std::string_view word, bool last, bool letters, NameMarks& marks)
{
    if (const int generation = NameWords::generation(word)) {
        marks.generation = static_cast<std::uint8_t>(generation);
        return true;
    }
    if (const int ordinal = NameWords::romanOrdinal(word, letters)) {
        marks.ordinal = static_cast<std::uint8_t>(ordinal);
        return true;
    }
    if (last && NameWords::beginsEpithet(word) && word.front() >= '0' && word.front() <= '9') {
        marks.ordinal = static_cast<std::uint8_t>(std::min(255, std::atoi(std::string(word).c_str())));
        return true;
    }
    return false;
}

/// Drops from normalised given names the titles written before them ("mrs marianna" is marianna)
/// and the words of the name's own prefix and suffix parts (NPFX, NSFX), whose ordinal or Jr is
/// kept as a mark, as is a NICK. Nothing is left of a given name that was only titles.
void dropTitles(std::string& given, const Person& person, NameMarks& marks)
{
    const std::optional<NodeView> line = firstNameLine(person);
    std::vector<std::string> prefix, suffix;
    if (line && line->hasChildren()) {
        for (const NodeView part : line->children()) {
            const std::string_view tag = part.tag();
            if (tag == "NPFX" || tag == "NSFX") {
                for (std::string& word : NameWords::words(part.value().value_or(std::string_view())))
                    (tag == "NPFX" ? prefix : suffix).push_back(std::move(word));
            } else if (tag == "NICK" && marks.nickname.empty()) {
                marks.nickname = detail::normalizeName(part.value().value_or(std::string_view()));
            }
        }
    }
    for (std::size_t i = 0; i < suffix.size(); ++i)
        readMark(suffix[i], i + 1 == suffix.size(), true, marks);
    auto among = [](std::string_view word, const std::vector<std::string>& list) {
        return std::find(list.begin(), list.end(), word) != list.end();
    };
    std::size_t from = 0;
    while (from < given.size()) {
        const std::size_t end = std::min(given.find(' ', from), given.size());
        const std::string_view word = std::string_view(given).substr(from, end - from);
        if (!NameWords::isTitle(word) && !among(word, prefix))
            break;
        from = end + 1;
    }
    std::size_t to = from < given.size() ? given.size() : from;
    while (!suffix.empty() && to > from) {
        const std::size_t blank = given.rfind(' ', to - 1);
        const std::size_t start = blank == std::string::npos || blank < from ? from : blank + 1;
        if (!among(std::string_view(given).substr(start, to - start), suffix))
            break;
        to = start > from ? start - 1 : from;
    }
    if (from >= to) {
        given.clear();
    } else {
        given.resize(to);
        given.erase(0, from);
    }
}

/// A name's text without the nickname written in quotes, which it returns: `Ivan "Khromoy"`.
std::string_view withoutNickname(std::string_view text, std::string& rest)
{
    const std::size_t open = text.find('"');
    const std::size_t close = open == std::string_view::npos ? open : text.find('"', open + 1);
    if (close == std::string_view::npos)
        return {};
    rest.assign(text.substr(0, open));
    rest += ' ';
    rest += text.substr(close + 1);
    return text.substr(open + 1, close - open - 1);
}

void appendWord(std::string& text, std::string_view word)
{
    if (!text.empty())
        text += ' ';
    text += word;
}

/// Drops the particles that begin a surname of more words: "de lara" is lara, "van der berg" berg.
void dropParticles(std::string& surname)
{
    std::size_t from = 0;
    for (std::size_t blank; (blank = surname.find(' ', from)) != std::string::npos; from = blank + 1) {
        if (!NameWords::isParticle(std::string_view(surname).substr(from, blank - from)))
            break;
    }
    surname.erase(0, from);
}

/// Reads normalised given names word by word. The first word is a given name whatever it is.
/// After it, an ordinal or Jr is a mark; a particle begins the surname when the slashes hold none
/// ("Beatrix of Angus //", "Maud de Chaworth //") and an epithet otherwise; a rank, an office or
/// "the" begins an epithet ("Earl of Lancaster", "the Hardy"). An epithet is dropped but for its
/// marks ("the Elder"), and so is a particle that nothing follows ("Sancho de /Lara/").
void readGiven(std::string& given, std::string& surname, bool joined, NameMarks& marks)
{
    if (given.find(' ') == std::string::npos)
        return;
    const std::vector<std::string_view> words = wordsOf(given);
    if (words.size() < 2)
        return;
    std::string kept(words[0]), found;
    std::size_t i = 1;
    for (; i < words.size(); ++i) {
        // A single letter is an ordinal joined to the name ("Otto_I") or before a particle or an
        // epithet ("Edward I of England").
        const bool last = i + 1 == words.size();
        const bool letters =
            (joined && last) ||
            (!last && (NameWords::isParticle(words[i + 1]) || NameWords::beginsEpithet(words[i + 1])));
        if (readMark(words[i], last, letters, marks))
            continue;
        if (NameWords::isParticle(words[i])) {
            if (surname.empty()) {
                for (++i; i < words.size(); ++i) {
                    if (readMark(words[i], i + 1 == words.size(), joined, marks))
                        continue;
                    if (NameWords::beginsEpithet(words[i]))
                        break;
                    if (!(found.empty() && NameWords::isParticle(words[i])))
                        appendWord(found, words[i]);
                }
            }
            break;
        }
        if (NameWords::beginsEpithet(words[i]))
            break;
        appendWord(kept, words[i]);
    }
    for (; i < words.size(); ++i)
        readMark(words[i], i + 1 == words.size(), joined, marks);
    given = std::move(kept);
    if (!found.empty())
        surname = std::move(found);
}

char sexOf(const Person& person)
{
    const std::string_view sex = trimmed(person.sexValue().value_or(std::string_view()));
    if (sex.size() != 1)
        return 0;
    const char c = sex.front() == 'm' ? 'M' : sex.front() == 'f' ? 'F' : sex.front();
    return c == 'M' || c == 'F' ? c : 0;
}

} // namespace

struct Candidates::Storage
{
    std::vector<Slice> slices; ///< one for each thread
    /// Every person's first name as read; empty for a placeholder or a person without a name.
    std::vector<NameEntry> names;
    std::vector<std::int32_t> byPerson; ///< a person's candidate, or −1
};

namespace {

// Candidates are made in two steps, each reading the people in file order: first the names,
// sex and birth of everyone, which the pair loop reads; then the rest, which takes looking up
// other records and which the finder needs only for the people whose pairs get past the names.
// File order matters: relatives are mostly written close together, so the records looked up
// for one person are still at hand for the next.

std::pair<std::size_t, std::size_t> sliceOf(std::size_t size, unsigned part, unsigned parts)
{
    return {size * part / parts, size * (part + 1) / parts};
}

/// What is known of every candidate before the pairs are found: kept small, as there is one for
/// nearly every person.
struct Light
{
    const Person* person = nullptr;
    std::string_view name;                 ///< normalised given names, a blank, the surname
    std::span<const std::uint32_t> sounds; ///< Daitch–Mokotoff codes of the surname
    const EventFact* birth = nullptr;
    const EventFact* death = nullptr;
    std::uint32_t givenLength = 0;
    std::uint32_t code = 0;     ///< the surname code packed into one number
    std::uint32_t numbers = 0;  ///< `numbersKey` of the given names
    std::uint32_t nickname = 0; ///< `textKey` of the nickname; 0 without one
    char sex = 0;
    bool otherScript = false;
    bool surnameFromGiven = false; ///< the reading of a name without surname that takes its last word
    std::uint8_t ordinal = 0;
    std::uint8_t generation = 0;

    [[nodiscard]] std::string_view given() const { return name.substr(0, givenLength); }
    [[nodiscard]] std::string_view surname() const
    {
        return name.size() > givenLength ? name.substr(givenLength + 1) : std::string_view();
    }
};

std::uint32_t packedCode(std::string_view code)
{
    std::uint32_t packed = 0;
    for (char c : code)
        packed = (packed << 8) | static_cast<unsigned char>(c);
    return packed;
}

/// Every person's normalised name, and what the pair loop reads of each candidate, in file order.
std::vector<Light> prepare(const TreeIndex& index, Candidates::Storage& storage, unsigned parts)
{
    const std::size_t people = index.people.size();
    storage.slices.resize(parts);
    storage.names.assign(people, {});
    // Each slice writes its candidates from the slice's first position on; the gaps left by
    // people without a given name are closed afterwards.
    std::vector<Light> list(people);
    std::vector<std::size_t> counts(parts);
    std::vector<std::vector<Light>> otherReadings(parts);
    inParts(parts, [&](unsigned part) {
        Slice& slice = storage.slices[part];
        std::string name, surname, givenText;
        const auto [from, to] = sliceOf(people, part, parts);
        std::size_t at = from;
        for (std::size_t p = from; p < to; ++p) {
            const Person& person = index.people[p];
            if (person.names.empty())
                continue;
            const PersonName& first = person.names.front();
            // A placeholder is no name: the person is no candidate, and as a parent or spouse
            // no evidence.
            if (NameWords::isPlaceholderName(first.given()))
                continue;
            name.clear();
            surname.clear();
            NameMarks marks;
            const std::string_view nickname = withoutNickname(first.given(), givenText);
            bool otherScript = slice.appendName(nickname.empty() ? first.given() : givenText, name);
            if (!nickname.empty())
                marks.nickname = detail::normalizeName(nickname);
            if (!name.empty())
                dropTitles(name, person, marks);
            otherScript =
                slice.appendName(first.surname().value_or(std::string_view()), surname) || otherScript;
            dropParticles(surname);
            readGiven(name, surname, first.given().find('_') != std::string_view::npos, marks);
            if (!first.suffix().empty()) {
                for (const std::string_view word : wordsOf(detail::normalizeName(first.suffix())))
                    readMark(word, true, true, marks);
            }
            const auto givenLength = static_cast<std::uint32_t>(name.size());
            if (!surname.empty())
                appendWord(name, surname);
            const std::string_view text = slice.text(name);
            storage.names[p] = {text.data(), static_cast<std::uint32_t>(text.size()), givenLength};
            if (givenLength == 0)
                continue;
            Light& light = list[at++];
            light.person = &person;
            light.name = text;
            light.givenLength = givenLength;
            light.code = packedCode(detail::soundex(light.surname()));
            light.numbers = numbersKey(light.given());
            light.sounds = slice.soundsOf(light.surname());
            light.otherScript = otherScript;
            light.sex = sexOf(person);
            light.ordinal = marks.ordinal;
            light.generation = marks.generation;
            light.nickname = marks.nickname.empty() ? 0 : textKey(marks.nickname);
            const LifeFacts facts(person);
            light.birth = facts.birth;
            light.death = facts.death;
            // "Maud Chaworth //" is read a second time with its last word as the surname, to meet
            // "Maud /Chaworth/" in that surname's block.
            if (surname.empty()) {
                const std::size_t blank = light.name.rfind(' ');
                const std::string_view last =
                    blank == std::string_view::npos ? std::string_view() : light.name.substr(blank + 1);
                const std::string code = last.empty() ? std::string() : detail::soundex(last);
                if (!code.empty() && numbersKey(last) == 0) {
                    Light other = light;
                    other.givenLength = static_cast<std::uint32_t>(blank);
                    other.code = packedCode(code);
                    other.numbers = numbersKey(other.given());
                    other.sounds = slice.soundsOf(last);
                    other.surnameFromGiven = true;
                    otherReadings[part].push_back(other);
                }
            }
        }
        counts[part] = at - from;
    });
    std::size_t size = 0;
    for (unsigned part = 0; part < parts; ++part) {
        const std::size_t from = sliceOf(people, part, parts).first;
        if (size != from)
            std::move(list.begin() + static_cast<std::ptrdiff_t>(from),
                      list.begin() + static_cast<std::ptrdiff_t>(from + counts[part]),
                      list.begin() + static_cast<std::ptrdiff_t>(size));
        size += counts[part];
    }
    list.resize(size);
    for (const std::vector<Light>& readings : otherReadings)
        list.insert(list.end(), readings.begin(), readings.end());
    return list;
}

/// The xrefs of the people who cannot be one person with this one: its parents, spouses and
/// children, its ancestors up to great-great-grandparents, and its spouses' parents. Together with
/// the other's, these rule out descendants and children-in-law as well.
std::span<const std::string_view> relativesOf(const TreeIndex& index, const Person& person, Slice& slice)
{
    std::vector<std::string_view>& relatives = slice.scratch[3];
    relatives.clear();
    auto addParents = [&](const Person& child, std::vector<std::string_view>& into) {
        for (const FamilyLink& link : child.famc) {
            if (const Family* family = index.family(link.family)) {
                for (const auto& parent : {family->husband, family->wife}) {
                    if (parent && *parent != child.xref)
                        into.push_back(*parent);
                }
            }
        }
    };
    // Generation by generation; a broken tree may loop, so a generation is never followed far.
    constexpr int generations = 4;
    constexpr std::size_t widest = 64;
    std::vector<std::string_view> current{person.xref}, next;
    for (int generation = 0; generation < generations && !current.empty(); ++generation) {
        next.clear();
        for (const std::string_view xref : current) {
            if (const Person* someone = index.person(xref))
                addParents(*someone, next);
        }
        if (next.size() > widest)
            next.resize(widest);
        relatives.insert(relatives.end(), next.begin(), next.end());
        current.swap(next);
    }
    for (const FamilyLink& link : person.fams) {
        if (const Family* family = index.family(link.family)) {
            for (const auto& spouse : {family->husband, family->wife}) {
                if (spouse && *spouse != person.xref) {
                    relatives.push_back(*spouse);
                    if (const Person* other = index.person(*spouse))
                        addParents(*other, relatives);
                }
            }
            for (std::string_view child : family->children) {
                if (child != person.xref)
                    relatives.push_back(child);
            }
        }
    }
    return slice.list(relatives);
}

/// The nickname of a person's first name, as `prepare` reads it: in quotes, else its NICK part.
std::string nicknameOf(const Person& person)
{
    std::string rest;
    if (const std::string_view quoted = withoutNickname(person.names.front().given(), rest); !quoted.empty())
        return detail::normalizeName(quoted);
    if (const std::optional<NodeView> line = firstNameLine(person); line && line->hasChildren()) {
        for (const NodeView part : line->children()) {
            if (part.tag() == "NICK")
                return detail::normalizeName(part.value().value_or(std::string_view()));
        }
    }
    return {};
}

/// The candidate of a prepared person. The relatives are left out when not asked for: the
/// finder asks for them only for the pairs it reports.
void complete(const TreeIndex& index, const Candidates::Storage& storage, Slice& slice, const Light& light,
              Candidate& candidate, bool withRelatives)
{
    const Person& person = *light.person;
    candidate.person = &person;
    candidate.given = light.given();
    candidate.surname = light.surname();
    candidate.surnameCode = slice.text(detail::soundex(candidate.surname));
    candidate.surnameSounds = light.sounds;
    candidate.otherScript = light.otherScript;
    candidate.surnameFromGiven = light.surnameFromGiven;
    candidate.ordinal = light.ordinal;
    candidate.generation = light.generation;
    if (light.nickname != 0)
        candidate.nickname = slice.text(nicknameOf(person));
    for (const NodeView line : person.record.children()) {
        if (line.tag() == "TITL") {
            candidate.title = trimmed(line.value().value_or(std::string_view()));
            break;
        }
    }
    candidate.size = person.record.subtreeSize();
    candidate.order = static_cast<std::size_t>(&person - index.people.data());
    candidate.sex = light.sex;
    candidate.birth = datedFact(light.birth);
    candidate.death = datedFact(light.death);
    if (light.birth) {
        if (const auto place = light.birth->place())
            candidate.birthPlace = slice.place(*place);
    }

    std::vector<std::string_view>& famc = slice.scratch[0];
    std::vector<Relative>& parents = slice.people[0];
    std::vector<Relative>& spouses = slice.people[1];
    std::vector<Relative>& children = slice.people[2];
    std::vector<Relative>& mothers = slice.people[3];
    mothers.clear();
    famc.clear();
    children.clear();
    parents.clear();
    spouses.clear();
    auto add = [&](std::string_view xref, std::vector<Relative>& into) {
        if (const Person* other = index.person(xref))
            into.push_back({other, &storage.names[static_cast<std::size_t>(other - index.people.data())]});
    };
    for (const FamilyLink& link : person.famc) {
        famc.push_back(link.family);
        if (const Family* family = index.family(link.family)) {
            if (family->husband && *family->husband != person.xref)
                add(*family->husband, parents);
            if (family->wife && *family->wife != person.xref)
                add(*family->wife, mothers);
        }
    }
    std::vector<DatedFact>& marriages = slice.marriages;
    marriages.clear();
    for (const FamilyLink& link : person.fams) {
        if (const Family* family = index.family(link.family)) {
            for (const auto& spouse : {family->husband, family->wife}) {
                if (spouse && *spouse != person.xref)
                    add(*spouse, spouses);
            }
            for (const EventFact& event : family->events) {
                if (event.tag() == "MARR") {
                    if (const std::optional<DatedFact> marriage = datedFact(&event);
                        marriage && marriage->bounded())
                        marriages.push_back(*marriage);
                    break;
                }
            }
            for (const std::string_view child : family->children) {
                if (child != person.xref)
                    add(child, children);
            }
        }
    }
    candidate.famc = slice.list(famc);
    std::sort(children.begin(), children.end(),
              [](const Relative& x, const Relative& y) { return x.person < y.person; });
    children.erase(std::unique(children.begin(), children.end(),
                               [](const Relative& x, const Relative& y) { return x.person == y.person; }),
                   children.end());
    candidate.children = slice.relatives.add(children);
    candidate.marriages = slice.dates.add(marriages);
    candidate.fathers = static_cast<std::uint8_t>(std::min<std::size_t>(parents.size(), 255));
    parents.resize(candidate.fathers);
    parents.insert(parents.end(), mothers.begin(), mothers.end());
    candidate.parents = slice.relatives.add(parents);
    candidate.spouses = slice.relatives.add(spouses);
    if (withRelatives)
        candidate.relatives = relativesOf(index, person, slice);
}

/// The candidates of the prepared people whose slot is set (every one when `slots` is empty):
/// candidate `slots[i]` is made from `lights[i]`. Made in file order, a slice for each thread.
std::vector<Candidate> completeAll(const TreeIndex& index, Candidates::Storage& storage,
                                   const std::vector<Light>& lights, const std::vector<std::int32_t>& slots,
                                   std::size_t count, unsigned parts)
{
    std::vector<Candidate> list(count);
    inParts(parts, [&](unsigned part) {
        const auto [from, to] = sliceOf(lights.size(), part, parts);
        for (std::size_t i = from; i < to; ++i) {
            const std::int32_t slot = slots.empty() ? static_cast<std::int32_t>(i) : slots[i];
            if (slot >= 0)
                complete(index, storage, storage.slices[part], lights[i],
                         list[static_cast<std::size_t>(slot)], slots.empty());
        }
    });
    return list;
}

} // namespace

Candidates Candidates::build(const TreeIndex& index, unsigned threads)
{
    Candidates result;
    result.m_index = &index;
    auto storage = std::make_shared<Storage>();
    const unsigned parts = threadCount(threads);
    const std::vector<Light> lights = prepare(index, *storage, parts);
    result.list = completeAll(index, *storage, lights, {}, lights.size(), parts);
    storage->byPerson.assign(index.people.size(), -1);
    for (std::size_t i = 0; i < result.list.size(); ++i) {
        if (!result.list[i].surnameFromGiven)
            storage->byPerson[result.list[i].order] = static_cast<std::int32_t>(i);
    }
    result.m_storage = std::move(storage);
    return result;
}

const Candidate* Candidates::find(std::string_view xref) const
{
    const Person* person = m_index ? m_index->person(xref) : nullptr;
    if (!person)
        return nullptr;
    const std::int32_t at = m_storage->byPerson[static_cast<std::size_t>(person - m_index->people.data())];
    return at < 0 ? nullptr : &list[static_cast<std::size_t>(at)];
}

namespace {

// ---- blocking ----

/// A candidate as the pair loop reads it: small, and copied into its block.
struct Entry
{
    double low = 0;
    double high = 0;
    std::uint32_t candidate = 0; ///< index in the list, which is in file order
    std::uint32_t word = 0;      ///< first given name
    std::uint32_t canonical = 0; ///< the first given name through the nickname table
    std::uint32_t numbers = 0;   ///< `numbersKey` of the given names
    char sex = 0;
    bool bounded = false; ///< the birth range has both ends
};

/// Each distinct first given name once, with what the similarity of two of them needs.
struct Words
{
    std::vector<std::string_view> texts;
    std::unordered_map<std::string_view, std::uint32_t> ids;

    std::uint32_t id(std::string_view text)
    {
        auto [at, added] = ids.try_emplace(text, static_cast<std::uint32_t>(texts.size()));
        if (added)
            texts.push_back(text);
        return at->second;
    }
};

/// First-word similarities already worked out, by the pair of word ids (earlier person first):
/// a tree has few distinct given names, and Jaro-Winkler is the costly part of a comparison.
class SimilarityCache
{
public:
    explicit SimilarityCache(const Words& words) : m_words(words) {}

    double get(std::uint32_t a, std::uint32_t b)
    {
        const auto [at, added] = m_values.try_emplace((static_cast<std::uint64_t>(a) << 32) | b);
        if (added)
            at->second = firstWordSimilarity(m_words.texts[a], m_words.texts[b]);
        return at->second;
    }

private:
    const Words& m_words;
    std::unordered_map<std::uint64_t, double> m_values;
};

/// Two candidates whose names are alike, the first earlier in the file.
struct AlikePair
{
    std::uint32_t first = 0;
    std::uint32_t second = 0;
    double similarity = 0;
};

/// In a crowd of look-alikes (a tree imported many times over, a family of many children of one
/// name) comparing every pair would grow with the square of the crowd. There each person is
/// compared with at most `crowdNeighbours` people after it in birth order and with the
/// `crowdLeaders` best-ranked (largest, then first in the file) of those before it, so that every
/// one meets the record the crowd would be merged into.
constexpr std::size_t crowdNeighbours = 32;
constexpr std::size_t crowdLeaders = 4;

/// Finds, in one thread, the pairs of a block that get past the sex, the given names, the numbers
/// in the names and the births: the only pairs that can match.
class BlockScanner
{
public:
    BlockScanner(const TreeIndex& index, const std::vector<NameEntry>& names, const std::vector<Light>& list,
                 const Words& words, std::vector<std::int32_t>& needed)
        : m_index(index), m_names(names), m_list(list), m_words(words), m_needed(needed), m_cache(words),
          m_bucketOfWord(words.texts.size(), -1)
    {
        // Whether two first names are alike at all: 0 not known yet, 1 not, 2 alike. Small enough
        // for the processor's cache in any ordinary tree; a huge one asks the similarity cache.
        if (words.texts.size() <= 4096)
            m_known.assign(words.texts.size() * words.texts.size(), 0);
    }

    std::vector<AlikePair> found;
    std::vector<AlikePair> foundBySound; ///< in the blocks of a Daitch–Mokotoff code; may repeat
    std::size_t pairsScored = 0;

    /// `bySound`: the block gathers a Daitch–Mokotoff code, and only its pairs of different
    /// Soundex codes are compared, as the others meet in their Soundex block.
    void scan(std::span<const Entry> block, bool bySound)
    {
        m_bySound = bySound;
        m_out = bySound ? &foundBySound : &found;
        // A man and a woman never match: the men and the women are compared apart, each with the
        // people whose sex is not known, who meet each other in the first round only.
        for (const char sex : {'M', 'F'}) {
            m_skipUnknownPairs = sex == 'F';
            group(block, sex);
            // Names that differ in a number never match, so only the buckets of one number meet:
            // a block of thousands of numbered names ("Person1" … "Person9999") stays cheap.
            m_order.resize(m_used);
            for (std::size_t i = 0; i < m_used; ++i)
                m_order[i] = static_cast<std::uint32_t>(i);
            std::sort(m_order.begin(), m_order.end(), [&](std::uint32_t x, std::uint32_t y) {
                return std::tie(m_buckets[x].numbers, x) < std::tie(m_buckets[y].numbers, y);
            });
            // In a sound code's block the buckets hold one Soundex code each, and only buckets of
            // different codes meet: the rest met in their Soundex block.
            // What the pair loop reads first lies packed in order, so that a block of thousands of
            // first names is tried pair by pair at the speed of memory.
            m_packed.resize(m_used);
            for (std::size_t a = 0; a < m_used; ++a) {
                const Bucket& x = m_buckets[m_order[a]];
                m_packed[a] = {
                    x.letters, x.canonical,     x.numbers, x.code, static_cast<std::uint32_t>(x.length),
                    x.lead,    !x.later.empty()};
            }
            for (std::size_t a = 0; a < m_used; ++a) {
                Bucket& x = m_buckets[m_order[a]];
                if (!bySound)
                    compareWithin(x);
                const Packed& px = m_packed[a];
                for (std::size_t b = a + 1; b < m_used && m_packed[b].numbers == px.numbers; ++b) {
                    const Packed& py = m_packed[b];
                    if ((bySound && px.code == py.code) ||
                        (px.canonical != py.canonical && !px.later && !py.later && !mayBeSpeltAlike(px, py)))
                        continue;
                    Bucket& y = m_buckets[m_order[b]];
                    if (mayBeAlike(x, y))
                        compareAcross(x, y);
                }
            }
        }
        // A pair of people without a birth range can be reached through more than one key.
        std::sort(m_keyed.begin(), m_keyed.end(), [](const AlikePair& x, const AlikePair& y) {
            return std::tie(x.first, x.second) < std::tie(y.first, y.second);
        });
        m_keyed.erase(std::unique(m_keyed.begin(), m_keyed.end(),
                                  [](const AlikePair& x, const AlikePair& y) {
                                      return x.first == y.first && x.second == y.second;
                                  }),
                      m_keyed.end());
        m_out->insert(m_out->end(), m_keyed.begin(), m_keyed.end());
        m_keyed.clear();
    }

private:
    /// The people of a group with one first given name: births by their low end, then those
    /// without a range.
    struct Bucket
    {
        std::uint32_t word = 0;
        std::uint32_t canonical = 0;
        std::uint32_t numbers = 0;
        std::uint32_t code = 0; ///< the Soundex code, in a sound code's block
        /// The groups of the later given names of its people, as word ids: a person called by
        /// another of its names ("William John" and "John") is compared with that name's bucket.
        std::vector<std::uint32_t> later;
        /// The first name's characters counted by their code modulo 32, its length and first
        /// character: enough to rule out most pairs of names without Jaro-Winkler.
        std::array<std::uint8_t, 32> letters{};
        std::size_t length = 0;
        char32_t lead = 0;
        std::vector<Entry> entries;
        std::size_t bounded = 0;
        /// For a crowd: positions in `entries` by what a person without a birth range can still
        /// match on, each list best-ranked first. Made when first needed.
        std::unordered_map<std::uint64_t, std::vector<std::uint32_t>> keys;
        bool keyed = false;
    };

    /// The people before the one being compared whose births can still be its and who met only
    /// their nearest, best-ranked first.
    class Leaders
    {
    public:
        void clear()
        {
            m_ranked.clear();
            m_expiry = {};
        }

        /// `from` is where in the other list the person's own comparisons began.
        void add(std::size_t size, std::uint32_t order, std::uint32_t position, std::uint32_t from,
                 double high)
        {
            const Ranked ranked{size, order, position, from};
            m_ranked.insert(ranked);
            m_expiry.push({high + 2, ranked});
        }

        /// Forgets those born two or more years before `low`, and visits the best of the others
        /// with their position and where their comparisons began.
        template <class Visit>
        void forBest(double low, Visit visit)
        {
            while (!m_expiry.empty() && m_expiry.top().first <= low) {
                m_ranked.erase(m_expiry.top().second);
                m_expiry.pop();
            }
            std::size_t count = 0;
            for (auto at = m_ranked.begin(); at != m_ranked.end() && count < crowdLeaders; ++at, ++count)
                visit(at->position, at->from);
        }

    private:
        struct Ranked
        {
            std::size_t size = 0;
            std::uint32_t order = 0;
            std::uint32_t position = 0;
            std::uint32_t from = 0;
            bool operator<(const Ranked& other) const
            {
                return ranksAbove(size, order, other.size, other.order);
            }
        };
        struct Later
        {
            bool operator()(const std::pair<double, Ranked>& x, const std::pair<double, Ranked>& y) const
            {
                return x.first > y.first;
            }
        };
        std::set<Ranked> m_ranked;
        std::priority_queue<std::pair<double, Ranked>, std::vector<std::pair<double, Ranked>>, Later>
            m_expiry;
    };

    std::size_t sizeOf(const Entry& entry) const
    {
        return m_list[entry.candidate].person->record.subtreeSize();
    }

    void group(std::span<const Entry> block, char sex)
    {
        for (std::size_t i = 0; i < m_used; ++i)
            m_bucketOfWord[m_buckets[i].word] = -1;
        m_numbered.clear();
        m_used = 0;
        for (const Entry& entry : block) {
            if (entry.sex != sex && entry.sex != 0)
                continue;
            const std::uint32_t code = m_bySound ? m_list[entry.candidate].code : 0;
            std::int32_t& at =
                entry.numbers == 0 && !m_bySound
                    ? m_bucketOfWord[entry.word]
                    : m_numbered.try_emplace({(std::uint64_t{entry.word} << 32) | entry.numbers, code}, -1)
                          .first->second;
            if (at < 0) {
                at = static_cast<std::int32_t>(m_used++);
                if (m_buckets.size() < m_used)
                    m_buckets.emplace_back();
                Bucket& bucket = m_buckets[m_used - 1];
                bucket.word = entry.word;
                bucket.canonical = entry.canonical;
                bucket.numbers = entry.numbers;
                bucket.code = code;
                bucket.entries.clear();
                bucket.keys.clear();
                bucket.keyed = false;
                bucket.later.clear();
                bucket.letters.fill(0);
                const std::u32string chars = characters(m_words.texts[entry.word]);
                for (const char32_t c : chars) {
                    std::uint8_t& count = bucket.letters[c & 31];
                    count = static_cast<std::uint8_t>(std::min(255, count + 1));
                }
                bucket.length = chars.size();
                bucket.lead = chars.empty() ? 0 : chars.front();
            }
            Bucket& bucket = m_buckets[static_cast<std::size_t>(at)];
            bucket.entries.push_back(entry);
            const std::string_view given = m_list[entry.candidate].given();
            for (std::size_t from = given.find(' '); from != std::string_view::npos;) {
                const std::size_t next = given.find(' ', from + 1);
                const std::string_view word = given.substr(from + 1, next - from - 1);
                if (word.size() > 1) {
                    if (const auto id = m_words.ids.find(detail::canonicalGivenName(word));
                        id != m_words.ids.end())
                        bucket.later.push_back(id->second);
                }
                from = next;
            }
        }
        for (std::size_t i = 0; i < m_used; ++i) {
            std::vector<std::uint32_t>& later = m_buckets[i].later;
            std::sort(later.begin(), later.end());
            later.erase(std::unique(later.begin(), later.end()), later.end());
            std::vector<Entry>& entries = m_buckets[i].entries;
            std::sort(entries.begin(), entries.end(), [](const Entry& x, const Entry& y) {
                if (x.bounded != y.bounded)
                    return x.bounded;
                if (x.low != y.low)
                    return x.low < y.low;
                return x.candidate < y.candidate;
            });
            m_buckets[i].bounded =
                static_cast<std::size_t>(std::partition_point(entries.begin(), entries.end(),
                                                              [](const Entry& e) { return e.bounded; }) -
                                         entries.begin());
        }
    }

    /// A bucket as the pair loop reads it first.
    struct Packed
    {
        std::array<std::uint8_t, 32> letters{};
        std::uint32_t canonical = 0;
        std::uint32_t numbers = 0;
        std::uint32_t code = 0;
        std::uint32_t length = 0;
        char32_t lead = 0;
        bool later = false;
    };

    /// Whether two first names can be alike by their spelling: an initial and a name it starts,
    /// or names that Jaro-Winkler can find alike.
    template <class Names>
    static bool mayBeSpeltAlike(const Names& x, const Names& y)
    {
        if (x.length <= 1 || y.length <= 1)
            return x.lead == y.lead;
        // Jaro-Winkler reaches 0.88 only when the matched characters m, at most the characters the
        // two have in common, give m/|x| + m/|y| of at least 1.4, or 1.64 without a common prefix.
        unsigned common = 0;
        for (std::size_t k = 0; k < x.letters.size(); ++k)
            common += std::min(x.letters[k], y.letters[k]);
        const double lengths = static_cast<double>(x.length) * static_cast<double>(y.length);
        const double needed = (x.lead == y.lead ? 1.4 : 1.64) - 1e-9;
        return static_cast<double>(common) * static_cast<double>(x.length + y.length) >= needed * lengths;
    }

    /// Whether the people of two buckets can have given names with a similarity above 0: first
    /// names of one group, one person's later given name the other's first, or first names alike.
    bool mayBeAlike(const Bucket& x, const Bucket& y)
    {
        if (x.canonical == y.canonical || std::binary_search(x.later.begin(), x.later.end(), y.canonical) ||
            std::binary_search(y.later.begin(), y.later.end(), x.canonical))
            return true;
        // An initial is alike only to the names it starts.
        if (x.length <= 1 || y.length <= 1)
            return x.lead == y.lead;
        if (!mayBeSpeltAlike(x, y))
            return false;
        if (m_known.empty())
            return m_cache.get(x.word, y.word) != 0 || m_cache.get(y.word, x.word) != 0;
        return known(x.word, y.word) || known(y.word, x.word);
    }

    bool known(std::uint32_t a, std::uint32_t b)
    {
        std::uint8_t& state = m_known[a * m_words.texts.size() + b];
        if (state == 0)
            state = m_cache.get(a, b) == 0 ? 1 : 2;
        return state == 2;
    }

    // Sorted by the low end of the birth: once a later birth starts two years after an earlier
    // one's range ends, so do all after it, and the birth rule rules every such pair out.

    // A person whose own comparisons stopped at `crowdNeighbours` people still in its years
    // becomes a leader: the later people meet the best-ranked leaders as well.

    void compareWithin(Bucket& bucket)
    {
        const std::vector<Entry>& entries = bucket.entries;
        m_leaders[0].clear();
        for (std::size_t i = 0; i < bucket.bounded; ++i) {
            m_leaders[0].forBest(entries[i].low, [&](std::uint32_t position, std::uint32_t) {
                if (i - position > crowdNeighbours)
                    visit(entries[position], entries[i]);
            });
            const double limit = entries[i].high + 2;
            std::size_t j = i + 1;
            for (; j < bucket.bounded && j <= i + crowdNeighbours && entries[j].low < limit; ++j)
                visit(entries[i], entries[j]);
            if (j < bucket.bounded && j > i + crowdNeighbours && entries[j].low < limit)
                m_leaders[0].add(sizeOf(entries[i]), entries[i].candidate, static_cast<std::uint32_t>(i), 0,
                                 entries[i].high);
        }
        if (entries.size() - bucket.bounded <= crowdNeighbours) {
            for (std::size_t i = bucket.bounded; i < entries.size(); ++i) {
                for (std::size_t j = 0; j < i; ++j)
                    visit(entries[i], entries[j]);
            }
            return;
        }
        for (std::size_t i = bucket.bounded; i < entries.size(); ++i)
            visitByKeys(entries[i], bucket);
    }

    void compareAcross(Bucket& x, Bucket& y)
    {
        const std::vector<Entry>& a = x.entries;
        const std::vector<Entry>& b = y.entries;
        m_leaders[0].clear();
        m_leaders[1].clear();
        // The two lists merged by birth: each person against the later people of the other list,
        // and the leaders of the other list who have not met it.
        for (std::size_t i = 0, j = 0; i < x.bounded && j < y.bounded;) {
            if (a[i].low < b[j].low || (a[i].low == b[j].low && a[i].candidate < b[j].candidate)) {
                m_leaders[1].forBest(a[i].low, [&](std::uint32_t k, std::uint32_t from) {
                    if (i - from >= crowdNeighbours)
                        visit(b[k], a[i]);
                });
                const double limit = a[i].high + 2;
                std::size_t k = j;
                for (; k < y.bounded && k < j + crowdNeighbours && b[k].low < limit; ++k)
                    visit(a[i], b[k]);
                if (k < y.bounded && k >= j + crowdNeighbours && b[k].low < limit)
                    m_leaders[0].add(sizeOf(a[i]), a[i].candidate, static_cast<std::uint32_t>(i),
                                     static_cast<std::uint32_t>(j), a[i].high);
                ++i;
            } else {
                m_leaders[0].forBest(b[j].low, [&](std::uint32_t k, std::uint32_t from) {
                    if (j - from >= crowdNeighbours)
                        visit(a[k], b[j]);
                });
                const double limit = b[j].high + 2;
                std::size_t k = i;
                for (; k < x.bounded && k < i + crowdNeighbours && a[k].low < limit; ++k)
                    visit(b[j], a[k]);
                if (k < x.bounded && k >= i + crowdNeighbours && a[k].low < limit)
                    m_leaders[1].add(sizeOf(b[j]), b[j].candidate, static_cast<std::uint32_t>(j),
                                     static_cast<std::uint32_t>(i), b[j].high);
                ++j;
            }
        }
        if ((a.size() - x.bounded) + (b.size() - y.bounded) <= crowdNeighbours) {
            for (std::size_t i = x.bounded; i < a.size(); ++i) {
                for (const Entry& other : b)
                    visit(a[i], other);
            }
            for (std::size_t j = y.bounded; j < b.size(); ++j) {
                for (std::size_t i = 0; i < x.bounded; ++i)
                    visit(b[j], a[i]);
            }
            return;
        }
        for (std::size_t i = x.bounded; i < a.size(); ++i)
            visitByKeys(a[i], y);
        for (std::size_t j = y.bounded; j < b.size(); ++j)
            visitByKeys(b[j], x);
    }

    // Without a birth range the births add nothing, and a name alone never makes a match: only
    // shared parents (their family or their names), a spouse's name or a death in the same or the
    // next year lifts such a pair over the evidence floor (a birthplace needs a death as well).
    // These are the keys the people of a crowd without a birth range are compared by.

    enum class KeyKind : std::uint8_t
    {
        family,
        parent,
        spouse,
        death
    };

    static std::uint64_t key(KeyKind kind, std::string_view text)
    {
        return std::hash<std::string_view>{}(text)*4 + static_cast<std::uint64_t>(kind);
    }

    static std::uint64_t key(KeyKind kind, long long year)
    {
        return static_cast<std::uint64_t>(year) * 4 + static_cast<std::uint64_t>(kind);
    }

    /// The keys of a person; with `probing`, the neighbouring years of its death as well.
    void keysOf(const Entry& entry, bool probing, std::vector<std::uint64_t>& keys) const
    {
        keys.clear();
        const Light& light = m_list[entry.candidate];
        const Person& person = *light.person;
        auto name = [&](std::string_view xref, KeyKind kind) {
            if (const Person* other = m_index.person(xref)) {
                const std::string_view text =
                    m_names[static_cast<std::size_t>(other - m_index.people.data())].name();
                if (!text.empty())
                    keys.push_back(key(kind, text));
            }
        };
        for (const FamilyLink& link : person.famc) {
            keys.push_back(key(KeyKind::family, link.family));
            if (const Family* family = m_index.family(link.family)) {
                for (const auto& parent : {family->husband, family->wife}) {
                    if (parent && *parent != person.xref)
                        name(*parent, KeyKind::parent);
                }
            }
        }
        for (const FamilyLink& link : person.fams) {
            if (const Family* family = m_index.family(link.family)) {
                for (const auto& spouse : {family->husband, family->wife}) {
                    if (spouse && *spouse != person.xref)
                        name(*spouse, KeyKind::spouse);
                }
            }
        }
        // The year compared is the middle of a death range no wider than five years.
        if (const EventFact* death = light.death;
            death && !std::isnan(death->low) && !std::isnan(death->high) && death->high - death->low <= 5) {
            const auto year = static_cast<long long>(std::floor((death->low + death->high) / 2));
            keys.push_back(key(KeyKind::death, year));
            if (probing) {
                keys.push_back(key(KeyKind::death, year - 1));
                keys.push_back(key(KeyKind::death, year + 1));
            }
        }
        std::sort(keys.begin(), keys.end());
        keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
    }

    /// Compares a person without a birth range with the people of a bucket who share one of its
    /// keys, at most `crowdNeighbours` of each key, the best-ranked first.
    void visitByKeys(const Entry& entry, Bucket& bucket)
    {
        if (!bucket.keyed) {
            bucket.keyed = true;
            for (std::size_t i = 0; i < bucket.entries.size(); ++i) {
                keysOf(bucket.entries[i], false, m_keys);
                for (const std::uint64_t k : m_keys)
                    bucket.keys[k].push_back(static_cast<std::uint32_t>(i));
            }
            for (auto& [k, positions] : bucket.keys) {
                std::sort(positions.begin(), positions.end(), [&](std::uint32_t p, std::uint32_t q) {
                    const Entry& x = bucket.entries[p];
                    const Entry& y = bucket.entries[q];
                    return ranksAbove(sizeOf(x), x.candidate, sizeOf(y), y.candidate);
                });
            }
        }
        keysOf(entry, true, m_keys);
        for (const std::uint64_t k : m_keys) {
            const auto at = bucket.keys.find(k);
            if (at == bucket.keys.end())
                continue;
            const std::vector<std::uint32_t>& positions = at->second;
            for (std::size_t n = 0; n < positions.size() && n < crowdNeighbours; ++n) {
                const Entry& other = bucket.entries[positions[n]];
                if (other.candidate != entry.candidate)
                    visit(entry, other, &m_keyed);
            }
        }
    }

    void visit(const Entry& x, const Entry& y, std::vector<AlikePair>* into = nullptr)
    {
        if (m_skipUnknownPairs && x.sex == 0 && y.sex == 0)
            return;
        const Entry& first = x.candidate < y.candidate ? x : y;
        const Entry& second = x.candidate < y.candidate ? y : x;
        const Light& lightA = m_list[first.candidate];
        const Light& lightB = m_list[second.candidate];
        if ((m_bySound && lightA.code == lightB.code) || (lightA.surnameFromGiven && lightB.surnameFromGiven))
            return;
        ++pairsScored;
        if (lightA.numbers != lightB.numbers ||
            (lightA.numbers != 0 && numbersOf(lightA.given()) != numbersOf(lightB.given())))
            return;
        double similarity;
        if (first.word == second.word)
            similarity = lightA.given() == lightB.given() ? 1.0 : 0.92;
        else if (first.canonical == second.canonical)
            similarity = 0.85;
        else
            similarity = m_cache.get(first.word, second.word);
        // Given names in another order, left out or initialled agree less than the first names do.
        if (similarity < reorderedSimilarity && (lightA.given().find(' ') != std::string_view::npos ||
                                                 lightB.given().find(' ') != std::string_view::npos))
            similarity = compareGivenNames(lightA.given(), lightB.given(), similarity).similarity;
        if (similarity == 0)
            return;
        // Most pairs that get this far are people of one name who died years apart, or one who
        // died before the other was born: the death rules, asked here, spare making them whole
        // candidates. Open ends are NaN and compare false, as in the full comparison.
        const EventFact* deathA = lightA.death;
        const EventFact* deathB = lightB.death;
        if (deathA && deathB && (deathA->low >= deathB->high + 2 || deathB->low >= deathA->high + 2))
            return;
        if (diedBeforeBorn(deathA, lightB.birth) || diedBeforeBorn(deathB, lightA.birth))
            return;
        (into ? *into : *m_out).push_back({first.candidate, second.candidate, similarity});
        // A person is in one Soundex block but may be in blocks of its sound codes as well, which
        // another thread may be reading.
        std::atomic_ref<std::int32_t>(m_needed[first.candidate]).store(0, std::memory_order_relaxed);
        std::atomic_ref<std::int32_t>(m_needed[second.candidate]).store(0, std::memory_order_relaxed);
    }

    const TreeIndex& m_index;
    const std::vector<NameEntry>& m_names;
    const std::vector<Light>& m_list;
    const Words& m_words;
    std::vector<std::int32_t>& m_needed;
    SimilarityCache m_cache;
    std::vector<std::uint8_t> m_known;
    struct NumberedHash
    {
        std::size_t operator()(const std::pair<std::uint64_t, std::uint32_t>& key) const
        {
            return std::hash<std::uint64_t>{}(key.first * 0x9e3779b97f4a7c15ULL + key.second);
        }
    };

    std::vector<std::int32_t> m_bucketOfWord; ///< for names without numbers, outside sound codes' blocks
    /// By word and numbers, and by Soundex code as well in a sound code's block.
    std::unordered_map<std::pair<std::uint64_t, std::uint32_t>, std::int32_t, NumberedHash> m_numbered;
    std::vector<std::uint32_t> m_order;
    std::vector<Packed> m_packed;  ///< the buckets in `m_order`
    std::vector<Bucket> m_buckets; ///< the first m_used are the current group's
    std::size_t m_used = 0;
    bool m_skipUnknownPairs = false;
    bool m_bySound = false;
    std::vector<AlikePair>* m_out = &found;
    std::array<Leaders, 2> m_leaders;
    std::vector<std::uint64_t> m_keys;
    std::vector<AlikePair> m_keyed; ///< pairs found by key, which may be found twice
};

/// The candidates grouped by surname code, largest group first, with the first given names
/// numbered.
struct Blocks
{
    struct Range
    {
        std::size_t begin = 0;
        std::size_t end = 0;
        bool bySound = false; ///< a Daitch–Mokotoff code's block
    };

    Words words;
    std::vector<Entry> entries; ///< a block's entries lie together
    std::vector<Range> ranges;
};

/// What a block gathers: one surname code, or one surname that has none (no Latin letters), as
/// such surnames are alike only when they are equal.
struct BlockKey
{
    std::uint32_t code = 0;
    std::string_view surname; ///< when there is no code

    bool operator==(const BlockKey&) const = default;
};

struct BlockKeyHash
{
    std::size_t operator()(const BlockKey& key) const
    {
        return key.surname.empty() ? std::size_t{key.code} : std::hash<std::string_view>{}(key.surname);
    }
};

using BlockNumbers = std::unordered_map<BlockKey, std::uint32_t, BlockKeyHash>;

Blocks makeBlocks(const std::vector<Light>& lights, unsigned parts)
{
    // Names and codes are numbered in each slice first, then the numbers made one across slices.
    std::vector<Entry> entries(lights.size());
    std::vector<std::uint32_t> blockOf(lights.size());
    std::vector<Words> sliceWords(parts);
    std::vector<BlockNumbers> sliceCodes(parts);
    inParts(parts, [&](unsigned part) {
        const auto [from, to] = sliceOf(lights.size(), part, parts);
        for (std::size_t i = from; i < to; ++i) {
            const Light& light = lights[i];
            const std::string_view word = firstWord(light.given());
            Entry& entry = entries[i];
            entry.candidate = static_cast<std::uint32_t>(i);
            entry.word = sliceWords[part].id(word);
            entry.canonical = sliceWords[part].id(detail::canonicalGivenName(word));
            entry.numbers = light.numbers;
            entry.sex = light.sex;
            entry.bounded = light.birth && !std::isnan(light.birth->low) && !std::isnan(light.birth->high);
            entry.low = entry.bounded ? light.birth->low : 0;
            entry.high = entry.bounded ? light.birth->high : 0;
            const BlockKey key{light.code, light.code != 0 ? std::string_view() : light.surname()};
            auto& codes = sliceCodes[part];
            blockOf[i] = codes.try_emplace(key, static_cast<std::uint32_t>(codes.size())).first->second;
        }
    });
    Blocks blocks;
    BlockNumbers blockOfCode;
    std::vector<std::vector<std::uint32_t>> wordIDs(parts), blockIDs(parts);
    for (unsigned part = 0; part < parts; ++part) {
        for (std::string_view word : sliceWords[part].texts)
            wordIDs[part].push_back(blocks.words.id(word));
        blockIDs[part].resize(sliceCodes[part].size());
        for (const auto& [code, id] : sliceCodes[part])
            blockIDs[part][id] =
                blockOfCode.try_emplace(code, static_cast<std::uint32_t>(blockOfCode.size())).first->second;
    }
    inParts(parts, [&](unsigned part) {
        const auto [from, to] = sliceOf(lights.size(), part, parts);
        for (std::size_t i = from; i < to; ++i) {
            entries[i].word = wordIDs[part][entries[i].word];
            entries[i].canonical = wordIDs[part][entries[i].canonical];
            blockOf[i] = blockIDs[part][blockOf[i]];
        }
    });

    std::vector<std::size_t> ends(blockOfCode.size());
    for (const std::uint32_t block : blockOf)
        ++ends[block];
    blocks.ranges.resize(ends.size());
    for (std::size_t b = 0, begin = 0; b < ends.size(); begin += ends[b++])
        blocks.ranges[b] = {begin, begin};
    blocks.entries.resize(entries.size());
    for (std::size_t i = 0; i < entries.size(); ++i)
        blocks.entries[blocks.ranges[blockOf[i]].end++] = entries[i];

    // Surnames that Soundex parts but that sound alike by Daitch–Mokotoff ("Schwartz", "Szwarc"):
    // each code that surnames of more than one Soundex code share makes a block of its own. Most
    // codes have one Soundex code only; people in a row mostly share a surname, so its codes are
    // looked up once.
    struct Spread
    {
        std::uint32_t code = 0;
        bool mixed = false;
    };
    std::unordered_map<std::uint32_t, Spread> spreads;
    const std::uint32_t* lastSounds = nullptr;
    std::uint32_t lastCode = 0;
    for (const Light& light : lights) {
        if (light.code == 0 || (light.sounds.data() == lastSounds && light.code == lastCode))
            continue;
        lastSounds = light.sounds.data();
        lastCode = light.code;
        for (const std::uint32_t sound : light.sounds) {
            auto [at, added] = spreads.try_emplace(sound, Spread{light.code, false});
            at->second.mixed = at->second.mixed || at->second.code != light.code;
        }
    }
    std::unordered_map<std::uint32_t, std::vector<std::uint32_t>> members;
    std::vector<std::uint32_t> order; // of the codes, as first met, so that the blocks do not
                                      // depend on how the table is laid out
    for (std::size_t i = 0; i < lights.size(); ++i) {
        if (lights[i].code == 0)
            continue;
        for (const std::uint32_t sound : lights[i].sounds) {
            if (const auto at = spreads.find(sound); at != spreads.end() && at->second.mixed) {
                auto [list, added] = members.try_emplace(sound);
                if (added)
                    order.push_back(sound);
                list->second.push_back(static_cast<std::uint32_t>(i));
            }
        }
    }
    for (const std::uint32_t sound : order) {
        const std::vector<std::uint32_t>& list = members[sound];
        Blocks::Range range{blocks.entries.size(), blocks.entries.size() + list.size(), true};
        for (const std::uint32_t i : list)
            blocks.entries.push_back(entries[i]);
        blocks.ranges.push_back(range);
    }
    // The largest blocks first, so that the threads finish together.
    std::stable_sort(blocks.ranges.begin(), blocks.ranges.end(),
                     [](const auto& x, const auto& y) { return x.end - x.begin > y.end - y.begin; });
    return blocks;
}

} // namespace

namespace detail {

std::string normalizeName(std::string_view text)
{
    std::string out;
    appendNormalized(text, out);
    return out;
}

std::string soundex(std::string_view surname)
{
    // Codes of A to Z; 0 for the letters that are not coded.
    static constexpr std::string_view codes = "01230120022455012623010202";
    std::string code;
    char last = '0'; // the code of the letter before; '0' when it had none
    for (char c : surname) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
        if (c < 'A' || c > 'Z')
            continue;
        const char digit = codes[static_cast<std::size_t>(c - 'A')];
        if (code.empty()) {
            code += c;
            last = digit;
        } else if (digit != '0') {
            if (digit != last)
                code += digit;
            last = digit;
            if (code.size() == 4)
                break;
        } else if (c != 'H' && c != 'W') {
            // A vowel between two letters of one code lets the second through; H and W do not.
            last = '0';
        }
    }
    if (!code.empty())
        code.resize(4, '0');
    return code;
}

double jaroWinkler(std::string_view a, std::string_view b)
{
    return DuplicateFinder::jaroWinkler(characters(a), characters(b));
}

std::string_view canonicalGivenName(std::string_view word)
{
    return NameWords::givenNameGroup(word);
}

double givenNameSimilarity(std::string_view a, std::string_view b)
{
    return compareGivenNames(a, b).similarity;
}

double roundScore(double score)
{
    return std::round(score * 100) / 100;
}

Comparison compare(const Candidate& a, const Candidate& b)
{
    const bool aFirst = a.order <= b.order;
    const Candidate& first = aFirst ? a : b;
    const Candidate& second = aFirst ? b : a;
    Reasons reasons;
    return evaluate(first, second, givenNameSimilarity(first.given, second.given), &reasons);
}

/// Scores the pairs that the blocks cannot bring together, as a surname is missing on one side
/// ("Andreas //" and "Andreas /Leiningen/"), but that their records link: children of one family,
/// spouses of one person, parents of one child, and the spouses, children and parents of the
/// pairs found. Two rounds follow a couple found through its surnames to its children.
void scoreLinked(const TreeIndex& index, Candidates::Storage& storage, const std::vector<Light>& lights,
                 std::vector<std::int32_t>& slots, std::vector<Candidate>& candidates,
                 std::vector<std::uint8_t>& withRelatives, double threshold, std::vector<Scored>& all)
{
    const Person* people = index.people.data();
    std::vector<std::int32_t> lightOf(index.people.size(), -1);
    bool anyWithout = false;
    for (std::size_t i = 0; i < lights.size(); ++i) {
        if (!lights[i].surnameFromGiven) {
            lightOf[static_cast<std::size_t>(lights[i].person - people)] = static_cast<std::int32_t>(i);
            anyWithout = anyWithout || lights[i].surname().empty();
        }
    }
    if (!anyWithout)
        return;
    auto key = pairKey;
    std::unordered_set<std::uint64_t> seen;
    for (const Scored& pair : all)
        seen.insert(key(candidates[pair.first].order, candidates[pair.second].order));
    std::vector<std::pair<std::size_t, std::size_t>> wanted; // lights
    auto consider = [&](std::optional<std::string_view> x, std::optional<std::string_view> y) {
        const Person* first = x ? index.person(*x) : nullptr;
        const Person* second = y ? index.person(*y) : nullptr;
        if (!first || !second || first == second)
            return;
        const std::int32_t lx = lightOf[static_cast<std::size_t>(first - people)];
        const std::int32_t ly = lightOf[static_cast<std::size_t>(second - people)];
        if (lx < 0 || ly < 0)
            return;
        const Light& a = lights[static_cast<std::size_t>(lx)];
        const Light& b = lights[static_cast<std::size_t>(ly)];
        if (a.surname().empty() == b.surname().empty() || sexesDiffer(a.sex, b.sex) ||
            !seen.insert(
                     key(static_cast<std::size_t>(first - people), static_cast<std::size_t>(second - people)))
                 .second)
            return;
        wanted.emplace_back(static_cast<std::size_t>(lx), static_cast<std::size_t>(ly));
    };
    // Children of one family: each without a surname with the first few with one, so that a
    // family of thousands of children stays cheap.
    std::vector<std::string_view> withSurname, withoutSurname;
    for (const Family& family : index.families) {
        withSurname.clear();
        withoutSurname.clear();
        for (const std::string_view child : family.children) {
            const Person* person = index.person(child);
            const std::int32_t light = person ? lightOf[static_cast<std::size_t>(person - people)] : -1;
            if (light >= 0)
                (lights[static_cast<std::size_t>(light)].surname().empty() ? withoutSurname : withSurname)
                    .push_back(child);
        }
        for (const std::string_view x : withoutSurname) {
            for (std::size_t j = 0; j < withSurname.size() && j < crowdNeighbours; ++j)
                consider(x, withSurname[j]);
        }
    }
    // The husbands and the wives of two families of one spouse, or of one child.
    for (const Person& person : index.people) {
        for (const std::span<const FamilyLink> links : {person.fams, person.famc}) {
            for (std::size_t i = 0; i + 1 < links.size(); ++i) {
                const Family* one = index.family(links[i].family);
                for (std::size_t j = i + 1; one && j < links.size(); ++j) {
                    if (const Family* other = index.family(links[j].family)) {
                        consider(one->husband, other->husband);
                        consider(one->wife, other->wife);
                    }
                }
            }
        }
    }
    // A person without a surname meets the people of one first name with a surname whose birth and
    // death say the same: the same day of birth, or the same years of birth and death ("Rudolf //"
    // and "Rudolph /Austria/", both 1858 to 1889). Anything less would pair every wife known by her
    // given name alone with every namesake of her years.
    auto year = [](const EventFact* fact) -> long long {
        if (!fact || std::isnan(fact->low) || std::isnan(fact->high) || fact->high - fact->low >= 1.01)
            return std::numeric_limits<long long>::min();
        return static_cast<long long>(std::floor(fact->low));
    };
    auto agree = [&](const Light& x, const Light& y) {
        const bool days = x.birth->high - x.birth->low < 0.01 && y.birth->high - y.birth->low < 0.01;
        return days
                   ? x.birth->low == y.birth->low
                   : year(x.death) != std::numeric_limits<long long>::min() && year(x.death) == year(y.death);
    };
    // First names are grouped by their Soundex code, which spelling variants share (Rudolf, Rudolph).
    std::unordered_map<std::string, std::vector<std::size_t>> without, with;
    auto keyOf = [&](const Light& light) {
        return detail::soundex(firstWord(light.given())) + std::to_string(year(light.birth));
    };
    for (std::size_t i = 0; i < lights.size(); ++i) {
        if (!lights[i].surnameFromGiven && lights[i].surname().empty() &&
            year(lights[i].birth) != std::numeric_limits<long long>::min())
            without[keyOf(lights[i])].push_back(i);
    }
    for (std::size_t i = 0; i < lights.size() && !without.empty(); ++i) {
        if (lights[i].surnameFromGiven || lights[i].surname().empty() ||
            year(lights[i].birth) == std::numeric_limits<long long>::min())
            continue;
        if (std::string group = keyOf(lights[i]); without.contains(group))
            with[std::move(group)].push_back(i);
    }
    for (const auto& [group, list] : with) {
        for (const std::size_t i : without[group]) {
            std::size_t met = 0;
            for (std::size_t j = 0; j < list.size() && met < crowdNeighbours; ++j) {
                if (agree(lights[i], lights[list[j]])) {
                    consider(lights[i].person->xref, lights[list[j]].person->xref);
                    ++met;
                }
            }
        }
    }
    auto relativesOfPairs = [&](std::size_t from) {
        for (std::size_t p = from; p < all.size(); ++p) {
            const Candidate& a = candidates[all[p].first];
            const Candidate& b = candidates[all[p].second];
            for (const Relative& x : a.spouses) {
                for (const Relative& y : b.spouses)
                    consider(x.person->xref, y.person->xref);
            }
            for (const bool fathers : {true, false}) {
                for (const Relative& x : fathers ? a.fatherList() : a.motherList()) {
                    for (const Relative& y : fathers ? b.fatherList() : b.motherList())
                        consider(x.person->xref, y.person->xref);
                }
            }
            for (const Relative& x : a.children) {
                for (const Relative& y : b.children)
                    consider(x.person->xref, y.person->xref);
            }
        }
    };
    relativesOfPairs(0);
    Slice& slice = storage.slices.front();
    for (int round = 0; round < 2 && !wanted.empty(); ++round) {
        const std::size_t before = all.size();
        for (const auto& [x, y] : wanted) {
            for (const std::size_t light : {x, y}) {
                if (slots[light] < 0) {
                    slots[light] = static_cast<std::int32_t>(candidates.size());
                    candidates.emplace_back();
                    complete(index, storage, slice, lights[light], candidates.back(), true);
                    withRelatives.push_back(1);
                } else if (!withRelatives[static_cast<std::size_t>(slots[light])]) {
                    Candidate& candidate = candidates[static_cast<std::size_t>(slots[light])];
                    candidate.relatives = relativesOf(index, *candidate.person, slice);
                    withRelatives[static_cast<std::size_t>(slots[light])] = 1;
                }
            }
            auto first = static_cast<std::size_t>(slots[x]);
            auto second = static_cast<std::size_t>(slots[y]);
            if (candidates[second].order < candidates[first].order)
                std::swap(first, second);
            const double similarity = givenNameSimilarity(candidates[first].given, candidates[second].given);
            scorePair(
                candidates[first], candidates[second], {first, second}, similarity, threshold, all, [] {},
                true);
        }
        wanted.clear();
        relativesOfPairs(before);
    }
}

/// The pairs to report of those scored: lifted by their couples, a few for each person, with
/// their reasons written.
std::vector<DuplicateMatch> reported(std::vector<Scored>& all, const std::vector<Candidate>& candidates,
                                     const TreeIndex& index, double threshold)
{
    pairCouples(all, candidates, index.people.data(), threshold);
    const std::vector<std::uint8_t> chosen = chooseBest(all.size(), [&](std::size_t i) {
        const Candidate& a = candidates[all[i].first];
        const Candidate& b = candidates[all[i].second];
        const bool keepA = ranksAbove(a.size, a.order, b.size, b.order);
        const Candidate& keep = keepA ? a : b;
        const Candidate& remove = keepA ? b : a;
        return Ends{all[i].score, keep.order, remove.order, keep.size, remove.size};
    });
    std::vector<Found> found;
    for (std::size_t i = 0; i < all.size(); ++i) {
        if (!chosen[i])
            continue;
        const Candidate& a = candidates[all[i].first];
        const Candidate& b = candidates[all[i].second];
        Reasons reasons;
        Comparison comparison = evaluate(a, b, all[i].similarity, &reasons,
                                         {true, all[i].spousesPaired, all[i].parentsPaired, all[i].linked});
        const bool keepA = comparison.match.keep == a.person->xref;
        found.push_back({std::move(comparison.match), keepA ? a.order : b.order, keepA ? b.order : a.order});
    }
    return sorted(found);
}

// Only pairs that the rules rule out are never compared: people in no common block (their
// surnames differ and so do their Soundex and Daitch–Mokotoff codes), a man and a woman, first names with no
// similarity or other numbers, births or deaths two years apart, a death before the other's birth, and people
// without a birth range who share no family, parent's or spouse's name and no death year. So the
// result is what comparing every pair gives, except in a crowd of look-alikes, where each person
// meets its neighbours and the best-ranked.
std::vector<DuplicateMatch> find(const TreeIndex& index, double threshold, unsigned threads,
                                 Statistics* statistics)
{
    const unsigned parts = threadCount(threads);
    Candidates::Storage storage;
    const std::vector<Light> lights = prepare(index, storage, parts);
    Blocks blocks = makeBlocks(lights, parts);

    // The pairs whose names are alike and whose dates do not rule them out. `slots` marks the
    // people in them with 0, atomically, since a person's Soundex block and the blocks of its
    // sound codes may be read by different threads.
    std::vector<std::int32_t> slots(lights.size(), -1);
    std::vector<std::vector<AlikePair>> alike(parts);
    std::vector<AlikePair> alikeBySound;
    std::vector<std::vector<AlikePair>> bySound(parts);
    std::vector<std::size_t> pairsScored(parts);
    std::atomic<std::size_t> nextBlock{0};
    inParts(parts, [&](unsigned part) {
        BlockScanner scanner(index, storage.names, lights, blocks.words, slots);
        for (std::size_t next; (next = nextBlock++) < blocks.ranges.size();) {
            const Blocks::Range& range = blocks.ranges[next];
            scanner.scan(std::span<const Entry>(blocks.entries).subspan(range.begin, range.end - range.begin),
                         range.bySound);
        }
        alike[part] = std::move(scanner.found);
        bySound[part] = std::move(scanner.foundBySound);
        pairsScored[part] = scanner.pairsScored;
    });
    // The blocks are done with: what they hold goes before the candidates are made.
    if (statistics) {
        *statistics = {};
        statistics->candidates = lights.size();
        statistics->blocks = blocks.ranges.size();
        for (const Blocks::Range& range : blocks.ranges) {
            const std::size_t size = range.end - range.begin;
            statistics->largestBlock = std::max(statistics->largestBlock, size);
            statistics->pairsInBlocks += size * (size - 1) / 2;
        }
        for (const std::size_t scored : pairsScored)
            statistics->pairsScored += scored;
    }
    blocks = {};
    // A pair whose surnames share two sound codes is found in both blocks.
    for (const auto& part : bySound)
        alikeBySound.insert(alikeBySound.end(), part.begin(), part.end());
    std::sort(alikeBySound.begin(), alikeBySound.end(), [](const AlikePair& x, const AlikePair& y) {
        return std::tie(x.first, x.second) < std::tie(y.first, y.second);
    });
    alikeBySound.erase(std::unique(alikeBySound.begin(), alikeBySound.end(),
                                   [](const AlikePair& x, const AlikePair& y) {
                                       return x.first == y.first && x.second == y.second;
                                   }),
                       alikeBySound.end());

    // Only the people in those pairs become whole candidates, each in its slot.
    std::size_t count = 0;
    for (std::int32_t& slot : slots) {
        if (slot == 0)
            slot = static_cast<std::int32_t>(count++);
    }
    std::vector<Candidate> candidates = completeAll(index, storage, lights, slots, count, parts);

    // Each thread scores the pairs it found: its candidates are its own, so it alone fills in
    // their relatives.
    std::vector<std::uint8_t> withRelatives(candidates.size());
    std::vector<std::vector<Scored>> found(parts);
    auto scoreAll = [&](const std::vector<AlikePair>& pairs, unsigned part) {
        for (const AlikePair& pair : pairs) {
            auto first = static_cast<std::size_t>(slots[pair.first]);
            auto second = static_cast<std::size_t>(slots[pair.second]);
            if (candidates[second].order < candidates[first].order)
                std::swap(first, second);
            scorePair(candidates[first], candidates[second], {first, second}, pair.similarity, threshold,
                      found[part], [&] {
                          for (const std::size_t slot : {first, second}) {
                              if (!withRelatives[slot]) {
                                  candidates[slot].relatives =
                                      relativesOf(index, *candidates[slot].person, storage.slices[part]);
                                  withRelatives[slot] = 1;
                              }
                          }
                      });
        }
    };
    inParts(parts, [&](unsigned part) { scoreAll(alike[part], part); });
    // The pairs found by sound may hold any thread's candidates: scored once the threads are done.
    scoreAll(alikeBySound, 0);

    // In file order, so that what follows does not depend on which thread scored which pair.
    std::vector<Scored> all;
    for (auto& part : found)
        all.insert(all.end(), part.begin(), part.end());
    std::sort(all.begin(), all.end(), [&](const Scored& x, const Scored& y) {
        return std::pair(candidates[x.first].order, candidates[x.second].order) <
               std::pair(candidates[y.first].order, candidates[y.second].order);
    });
    scoreLinked(index, storage, lights, slots, candidates, withRelatives, threshold, all);
    return reported(all, candidates, index, threshold);
}

std::vector<DuplicateMatch> findComparingEveryPair(const TreeIndex& index, double threshold)
{
    const Candidates candidates = Candidates::build(index, 1);
    const std::vector<Candidate>& list = candidates.list;
    std::vector<Scored> all;
    for (std::size_t i = 0; i < list.size(); ++i) {
        for (std::size_t j = i + 1; j < list.size(); ++j) {
            const bool iFirst = list[i].order < list[j].order;
            const Candidate& a = iFirst ? list[i] : list[j];
            const Candidate& b = iFirst ? list[j] : list[i];
            // A name read with its last word as the surname meets only surnames between slashes.
            if (a.person == b.person || (a.surnameFromGiven && (b.surnameFromGiven || b.surname.empty())) ||
                (b.surnameFromGiven && a.surname.empty()))
                continue;
            scorePair(a, b, iFirst ? std::pair{i, j} : std::pair{j, i}, givenNameSimilarity(a.given, b.given),
                      threshold, all, [] {});
        }
    }
    return reported(all, list, index, threshold);
}

} // namespace detail

std::vector<DuplicateMatch> find(const TreeIndex& index, double threshold)
{
    return detail::find(index, threshold, 0, nullptr);
}

namespace {

/// The records with these xrefs, in one pass over the record list.
std::unordered_map<std::string, NodeView> recordsNamed(const GedcomDocument& document,
                                                       const std::set<std::string>& xrefs)
{
    std::unordered_map<std::string, NodeView> found;
    for (const NodeView record : document.records()) {
        const std::optional<std::string_view> xref = record.xref();
        if (xref && xrefs.contains(std::string(*xref)))
            found.try_emplace(std::string(*xref), record);
    }
    return found;
}

/// The pointers of the record's lines with one of these tags, in order.
std::vector<std::string> pointers(const NodeView* record, std::initializer_list<std::string_view> tags)
{
    std::vector<std::string> found;
    if (!record)
        return found;
    for (const NodeView line : record->children()) {
        const std::optional<std::string_view> value = line.value();
        if (value && TreeIndex::isPointer(*value) &&
            std::find(tags.begin(), tags.end(), line.tag()) != tags.end() &&
            std::find(found.begin(), found.end(), *value) == found.end())
            found.emplace_back(*value);
    }
    return found;
}

/// The first of these events that has a date, with the word that says which it is.
std::string datedEvent(NodeView record,
                       std::initializer_list<std::pair<std::string_view, std::string_view>> events)
{
    for (const auto& [tag, word] : events) {
        for (const NodeView line : record.children()) {
            if (line.tag() != tag)
                continue;
            const std::optional<NodeView> date = line.firstChild("DATE");
            const std::string_view text = date ? trimmed(date->value().value_or(std::string_view())) : "";
            if (!text.empty())
                return std::string(word) + std::string(text);
        }
    }
    return {};
}

/// A relative with its name's parts normalised, to compare with the other side's.
struct Named
{
    Kin kin;
    std::string given;
    std::string surname;
};

Named named(const std::string& xref, const std::unordered_map<std::string, NodeView>& records)
{
    Named found{{xref, xref}};
    const auto record = records.find(xref);
    if (record == records.end())
        return found;
    const std::optional<NodeView> nameLine = record->second.firstChild("NAME");
    const PersonName name = splitName(nameLine ? nameLine->value().value_or(std::string_view()) : "");
    found.kin.name = displayName(name);
    if (found.kin.name.empty())
        found.kin.name = "Unnamed person";
    found.given = detail::normalizeName(name.given());
    found.surname = detail::normalizeName(name.surname().value_or(std::string_view()));
    const std::string birth =
        datedEvent(record->second, {{"BIRT", "b. "}, {"CHR", "chr. "}, {"BAPM", "bapt. "}});
    const std::string death = datedEvent(record->second, {{"DEAT", "d. "}, {"BURI", "bur. "}});
    found.kin.dates = birth + (birth.empty() || death.empty() ? "" : ", ") + death;
    return found;
}

/// Whether two relatives' names could be one person's: like given names, and surnames that are
/// equal, sound alike or are missing on one side (a wife is often written under either surname).
bool alikeNames(const Named& x, const Named& y)
{
    const std::string code = detail::soundex(x.surname);
    return !x.given.empty() && detail::givenNameSimilarity(x.given, y.given) >= 0.85 &&
           (x.surname.empty() || y.surname.empty() || x.surname == y.surname ||
            (!code.empty() && code == detail::soundex(y.surname)));
}

std::vector<Kin> marked(const std::vector<Named>& list, const std::vector<Named>& other)
{
    std::vector<Kin> kin;
    for (const Named& one : list) {
        kin.push_back(one.kin);
        if (std::any_of(other.begin(), other.end(),
                        [&](const Named& two) { return two.kin.xref == one.kin.xref; }))
            kin.back().agreement = Kin::Agreement::sameRecord;
        else if (std::any_of(other.begin(), other.end(),
                             [&](const Named& two) { return alikeNames(one, two); }))
            kin.back().agreement = Kin::Agreement::alikeName;
    }
    return kin;
}

} // namespace

std::array<Kinfolk, 2> kinOf(const GedcomDocument& document, std::string_view first, std::string_view second)
{
    const std::array<std::string, 2> people{std::string(first), std::string(second)};
    const auto records = recordsNamed(document, {people[0], people[1]});
    const auto recordOf = [](const std::unordered_map<std::string, NodeView>& found,
                             const std::string& xref) {
        const auto at = found.find(xref);
        return at == found.end() ? nullptr : &at->second;
    };
    std::set<std::string> familyXrefs;
    for (const std::string& person : people) {
        for (std::string& family : pointers(recordOf(records, person), {"FAMC", "FAMS"}))
            familyXrefs.insert(std::move(family));
    }
    const auto families = recordsNamed(document, familyXrefs);

    // Per person: fathers, mothers, spouses and children by xref, each once.
    std::array<std::array<std::vector<std::string>, 4>, 2> roles;
    std::set<std::string> relatives;
    const auto add = [&](std::vector<std::string>& list, std::string xref, const std::string& person) {
        if (xref != person && std::find(list.begin(), list.end(), xref) == list.end()) {
            relatives.insert(xref);
            list.push_back(std::move(xref));
        }
    };
    for (std::size_t side = 0; side < 2; ++side) {
        const NodeView* person = recordOf(records, people[side]);
        for (const std::string& family : pointers(person, {"FAMC"})) {
            for (std::string& father : pointers(recordOf(families, family), {"HUSB"}))
                add(roles[side][0], std::move(father), people[side]);
            for (std::string& mother : pointers(recordOf(families, family), {"WIFE"}))
                add(roles[side][1], std::move(mother), people[side]);
        }
        for (const std::string& family : pointers(person, {"FAMS"})) {
            for (std::string& spouse : pointers(recordOf(families, family), {"HUSB", "WIFE"}))
                add(roles[side][2], std::move(spouse), people[side]);
            for (std::string& child : pointers(recordOf(families, family), {"CHIL"}))
                add(roles[side][3], std::move(child), people[side]);
        }
    }
    const auto relativeRecords = recordsNamed(document, relatives);

    // Parents (fathers and mothers together), spouses and children.
    std::array<std::array<std::vector<Named>, 3>, 2> found;
    for (std::size_t side = 0; side < 2; ++side) {
        for (std::size_t role = 0; role < 4; ++role) {
            for (const std::string& xref : roles[side][role])
                found[side][role == 0 ? 0 : role - 1].push_back(named(xref, relativeRecords));
        }
    }
    std::array<Kinfolk, 2> kin;
    for (std::size_t side = 0; side < 2; ++side) {
        const auto& own = found[side];
        const auto& other = found[1 - side];
        const Named self = named(people[side], records);
        kin[side] = {self.kin.name, self.kin.dates, marked(own[0], other[0]), marked(own[1], other[1]),
                     marked(own[2], other[2])};
    }
    return kin;
}

} // namespace DuplicateFinder

namespace Checks {

namespace {

Fix mergeFix(const std::string& id, const std::string& keep, const std::string& remove,
             std::vector<PreviewLine> preview)
{
    // A merge joins two records for good: the user looks at the pair before it is applied.
    return Fix{
        id, "Merge " + remove + " into " + keep, {Edit{Edit::Merge{keep, remove}}}, std::move(preview), true};
}

} // namespace

// The people in the finder's order, the likeliest pairs first; then the families in file order.
std::vector<Issue> duplicates(const TreeIndex& index, const GedcomDocument&, const ScanOptions& options,
                              unsigned threads)
{
    std::vector<Issue> issues;
    for (DuplicateMatch& match :
         DuplicateFinder::detail::find(index, options.duplicateThreshold, threads, nullptr)) {
        const Person* keep = index.person(match.keep);
        const Person* remove = index.person(match.remove);
        const bool keepFirst = match.keep < match.remove;
        const std::string id =
            "dup-" + (keepFirst ? match.keep : match.remove) + "-" + (keepFirst ? match.remove : match.keep);
        std::string reasons;
        for (const std::string& reason : match.reasons)
            reasons += (reasons.empty() ? "" : "; ") + reason;
        for (std::size_t i = 0; i < match.against.size(); ++i)
            reasons += (i == 0 ? ". Against: " : "; ") + match.against[i];
        Issue issue{id,
                    IssueCategory::duplicates,
                    Severity::warning,
                    std::string(match.likelihood()) + " the same person",
                    displayName(*keep) + " (" + match.keep + ") and " + displayName(*remove) + " (" +
                        match.remove + "): " + reasons + ".",
                    {match.keep, match.remove}};
        issue.fix = mergeFix(id, match.keep, match.remove, Merger::preview(keep->record, remove->record));
        issue.match = std::move(match);
        issues.push_back(std::move(issue));
    }

    // The same couple: husbands that are one person or a pair found above, and wives alike. Every
    // later family of a couple pairs with the couple's first family, which is the one kept. A
    // person stands for its pairs by the record they are all merged into.
    std::unordered_map<std::string_view, std::string_view> mergedInto;
    for (const Issue& issue : issues)
        mergedInto.emplace(issue.match->remove, issue.match->keep);
    auto mergedRecord = [&](std::string_view xref) {
        for (std::size_t steps = 0; steps < mergedInto.size(); ++steps) {
            const auto at = mergedInto.find(xref);
            if (at == mergedInto.end())
                break;
            xref = at->second;
        }
        return xref;
    };
    struct Couple
    {
        std::string_view husband, wife;
        std::size_t family;
        bool operator<(const Couple& other) const
        {
            return std::tie(husband, wife, family) < std::tie(other.husband, other.wife, other.family);
        }
    };
    std::vector<Couple> couples;
    for (std::size_t f = 0; f < index.families.size(); ++f) {
        const Family& family = index.families[f];
        if (family.husband && family.wife)
            couples.push_back({mergedRecord(*family.husband), mergedRecord(*family.wife), f});
    }
    std::sort(couples.begin(), couples.end());
    std::vector<std::pair<std::size_t, std::size_t>> repeated;
    for (std::size_t first = 0, i = 1; i < couples.size(); ++i) {
        if (couples[i].husband != couples[first].husband || couples[i].wife != couples[first].wife)
            first = i;
        else
            repeated.emplace_back(couples[first].family, couples[i].family);
    }
    std::sort(repeated.begin(), repeated.end());
    for (const auto& [first, second] : repeated) {
        const Family& kept = index.families[first];
        const Family& other = index.families[second];
        const bool sameRecords = kept.husband == other.husband && kept.wife == other.wife;
        const std::string keptXref(kept.xref), otherXref(other.xref);
        const std::string id = "dupfam-" + keptXref + "-" + otherXref;
        Issue issue{id,
                    IssueCategory::duplicates,
                    Severity::warning,
                    "Same couple, two families",
                    recordLabel(kept.record) + " and " + recordLabel(other.record) +
                        (sameRecords ? " have the same husband and wife."
                                     : " are likely the same couple: each spouse is likely one person."),
                    {keptXref, otherXref}};
        issue.fix = mergeFix(id, keptXref, otherXref, Merger::preview(kept.record, other.record));
        issues.push_back(std::move(issue));
    }
    return issues;
}

std::optional<Issue> keepingOther(const Issue& issue, const GedcomDocument& document)
{
    if (!issue.match || !issue.fix)
        return std::nullopt;
    std::vector<PreviewLine> preview = Merger::preview(document, issue.match->remove, issue.match->keep);
    if (preview.empty())
        return std::nullopt;
    Issue swapped = issue;
    std::swap(swapped.match->keep, swapped.match->remove);
    swapped.fix = mergeFix(issue.fix->id, swapped.match->keep, swapped.match->remove, std::move(preview));
    return swapped;
}

} // namespace Checks
} // namespace kinloom
