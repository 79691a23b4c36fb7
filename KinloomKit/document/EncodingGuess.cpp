// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/EncodingGuess.h"

#include <utf8proc.h>

#include <algorithm>
#include <array>
#include <string>
#include <unordered_set>
#include <vector>

namespace kinloom::EncodingGuess {
namespace {

// Enough words to judge a file by, and a bound on the work for large files.
constexpr std::size_t maxWords = 4000;

bool isAsciiLetter(unsigned char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

/// The distinct words (runs of ASCII letters and bytes of 0x80 and above) that hold a high byte.
std::vector<std::string_view> highWords(std::string_view bytes)
{
    std::unordered_set<std::string_view> seen;
    std::vector<std::string_view> words;
    const auto* p = reinterpret_cast<const unsigned char*>(bytes.data());
    const std::size_t n = bytes.size();
    std::size_t i = 0;
    while (i < n && words.size() < maxWords) {
        while (i < n && p[i] < 0x80)
            ++i;
        if (i >= n)
            break;
        std::size_t start = i;
        while (start > 0 && isAsciiLetter(p[start - 1]))
            --start;
        std::size_t end = i;
        while (end < n && (p[end] >= 0x80 || isAsciiLetter(p[end])))
            ++end;
        const std::string_view word = bytes.substr(start, end - start);
        if (seen.insert(word).second)
            words.push_back(word);
        i = end;
    }
    return words;
}

enum class Script : std::uint8_t
{
    none,
    latin,
    greek,
    cyrillic,
    hebrew,
    arabic,
    thai,
    other
};

Script scriptOf(char32_t c)
{
    if (c < 0x250 || (c >= 0x1E00 && c <= 0x1EFF))
        return Script::latin;
    if ((c >= 0x370 && c <= 0x3FF) || (c >= 0x1F00 && c <= 0x1FFF))
        return Script::greek;
    if (c >= 0x400 && c <= 0x52F)
        return Script::cyrillic;
    if (c >= 0x590 && c <= 0x5FF)
        return Script::hebrew;
    if (c >= 0x600 && c <= 0x6FF)
        return Script::arabic;
    if (c >= 0xE00 && c <= 0xE7F)
        return Script::thai;
    return Script::other;
}

/// Whether no language writes the word: a character with no meaning, a control character, a mark
/// with no letter, letters of two scripts, a symbol after a letter, a Latin word made mostly of
/// accented letters, or a capital after a small letter in a Greek or Cyrillic word.
bool isImplausible(std::string_view text)
{
    const auto* p = reinterpret_cast<const utf8proc_uint8_t*>(text.data());
    auto left = static_cast<utf8proc_ssize_t>(text.size());
    Script script = Script::none;
    bool previousIsLetter = false;
    bool previousIsLower = false;
    bool symbolAfterLetter = false;
    std::size_t letters = 0;
    std::size_t accented = 0;
    while (left > 0) {
        utf8proc_int32_t scalar = 0;
        const utf8proc_ssize_t length = utf8proc_iterate(p, left, &scalar);
        if (length <= 0)
            return true;
        p += length;
        left -= length;
        const auto c = static_cast<char32_t>(scalar);
        const utf8proc_category_t category = utf8proc_category(scalar);
        switch (category) {
        case UTF8PROC_CATEGORY_LU:
        case UTF8PROC_CATEGORY_LL:
        case UTF8PROC_CATEGORY_LT:
        case UTF8PROC_CATEGORY_LO: {
            if (symbolAfterLetter)
                return true;
            const Script own = scriptOf(c);
            if (script != Script::none && own != script)
                return true;
            script = own;
            const bool lower = category == UTF8PROC_CATEGORY_LL;
            if (own != Script::latin && category == UTF8PROC_CATEGORY_LU && previousIsLetter &&
                previousIsLower)
                return true;
            ++letters;
            if (own == Script::latin && c >= 0x80)
                ++accented;
            previousIsLetter = true;
            previousIsLower = lower;
            break;
        }
        case UTF8PROC_CATEGORY_LM:
            // Modifier letters (primes, apostrophes) belong to no script of their own.
            break;
        case UTF8PROC_CATEGORY_MN:
        case UTF8PROC_CATEGORY_MC:
        case UTF8PROC_CATEGORY_ME:
            if (!previousIsLetter)
                return true;
            break;
        case UTF8PROC_CATEGORY_CC:
        case UTF8PROC_CATEGORY_CF:
        case UTF8PROC_CATEGORY_CO:
        case UTF8PROC_CATEGORY_CN:
        case UTF8PROC_CATEGORY_CS:
            return true;
        case UTF8PROC_CATEGORY_PD:
        case UTF8PROC_CATEGORY_PI:
        case UTF8PROC_CATEGORY_PF:
            // Apostrophes, quotation marks and hyphens sit inside words ("O’Brien", "Anne-Marie").
            previousIsLetter = false;
            break;
        default:
            if (c == 0xFFFD)
                return true;
            if (c == 0x00B4 || c == 0x00B7 || c == 0x0060 || c == 0x00B0) {
                // An acute accent written for an apostrophe, the middle dot of Catalan "l·l", and
                // the degree sign of "N°".
                previousIsLetter = false;
                break;
            }
            // No language ends a word in a symbol or a box drawing: "И│" is how KOI8-R reads an
            // "é" followed by a byte Windows-1252 leaves undefined.
            if (previousIsLetter)
                return true;
            if (letters > 0)
                symbolAfterLetter = true;
            previousIsLetter = false;
            break;
        }
    }
    return script == Script::latin && accented >= 3 && 2 * accented > letters;
}

std::size_t countImplausible(const std::vector<std::string_view>& words, TextEncoding encoding)
{
    std::size_t count = 0;
    for (const std::string_view word : words) {
        if (isImplausible(TextEncodings::decodeBytes(word, encoding)))
            ++count;
    }
    return count;
}

/// Whether the high bytes are mostly ANSEL marks written before a letter: text in ANSEL, whatever
/// the other code pages make of it.
bool looksLikeAnsel(std::string_view bytes)
{
    std::size_t high = 0;
    std::size_t markBeforeLetter = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (byte < 0x80)
            continue;
        ++high;
        if (byte >= 0xE0 && byte <= 0xFE && i + 1 < bytes.size() &&
            isAsciiLetter(static_cast<unsigned char>(bytes[i + 1])))
            ++markBeforeLetter;
    }
    return high > 0 && 2 * markBeforeLetter >= high;
}

// The code pages family-tree files are written in, most common first: ties go to the earlier.
constexpr std::array<TextEncoding, 8> candidates{
    TextEncoding::windows1252, TextEncoding::windows1250, TextEncoding::windows1251,
    TextEncoding::windows1253, TextEncoding::windows1254, TextEncoding::windows1257,
    TextEncoding::koi8R,       TextEncoding::iso8859_2,
};

/// The words read in an encoding, one after the other.
std::string readingOf(const std::vector<std::string_view>& words, TextEncoding encoding)
{
    std::string text;
    for (const std::string_view word : words) {
        text += TextEncodings::decodeBytes(word, encoding);
        text += ' ';
    }
    return text;
}

} // namespace

std::size_t implausibleWords(std::string_view bytes, TextEncoding encoding)
{
    return countImplausible(highWords(bytes), encoding);
}

std::optional<TextEncoding> betterReading(std::string_view bytes, TextEncoding taken,
                                          std::optional<TextEncoding> hint)
{
    const std::vector<std::string_view> words = highWords(bytes);
    const std::size_t takenCount = countImplausible(words, taken);
    if (takenCount == 0)
        return std::nullopt;
    if (taken == TextEncoding::ansel && looksLikeAnsel(bytes))
        return std::nullopt;
    // An ANSEL file is given up only on more than one odd word: one unknown byte is no evidence.
    if (taken == TextEncoding::ansel && takenCount < 2)
        return std::nullopt;
    std::vector<std::pair<TextEncoding, std::size_t>> counts;
    const auto consider = [&](TextEncoding candidate) {
        if (candidate != taken)
            counts.emplace_back(candidate, countImplausible(words, candidate));
    };
    if (hint)
        consider(*hint);
    for (const TextEncoding candidate : candidates)
        consider(candidate);
    std::optional<TextEncoding> best;
    std::size_t bestCount = takenCount;
    for (const auto& [candidate, count] : counts) {
        if (count < bestCount) {
            best = candidate;
            bestCount = count;
        }
    }
    // A reading is given up only for one that is far better, so a few odd words in a file never
    // move it to another code page; and only when the code pages that do as well read the words
    // alike, for otherwise the words do not say which it is.
    if (!best || bestCount * 4 > takenCount)
        return std::nullopt;
    const std::string reading = readingOf(words, *best);
    for (const auto& [candidate, count] : counts) {
        if (count == bestCount && candidate != *best && readingOf(words, candidate) != reading)
            return std::nullopt;
    }
    return best;
}

} // namespace kinloom::EncodingGuess
