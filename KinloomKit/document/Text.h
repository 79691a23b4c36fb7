// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

// Small text helpers shared by the engine. Blanks here are the ASCII white-space characters:
// GEDCOM's own separators.
namespace kinloom::Text {

[[nodiscard]] constexpr bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

/// The text without blanks at either end.
[[nodiscard]] constexpr std::string_view trimmed(std::string_view text)
{
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// The text between curly double quotes, as findings and change lines quote what a file says.
[[nodiscard]] inline std::string quoted(std::string_view text)
{
    return "\u201C" + std::string(text) + "\u201D";
}

/// Whether two texts are equal but for the case of ASCII letters.
[[nodiscard]] constexpr bool equalIgnoringCase(std::string_view a, std::string_view b)
{
    auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

/// The words of the text: the runs between blanks.
[[nodiscard]] std::vector<std::string_view> words(std::string_view text);

/// Whether every byte is below 0x80.
[[nodiscard]] bool isAscii(std::string_view text);

/// The characters of UTF-8 text; a byte that does not start a character stands for itself.
[[nodiscard]] std::u32string characters(std::string_view text);

/// One character of text folded for comparing: case, diacritics and width taken away.
struct FoldedCharacter
{
    enum class Kind : std::uint8_t
    {
        letter,
        digit,
        blank,
        other
    };
    Kind kind = Kind::other;
    char32_t scalar = 0;
    std::string_view utf8; ///< the character in lower case, for letters and digits
};

/// Visits the characters of the text folded for comparing names and places. Text that is not
/// valid UTF-8 (the reader repairs what it reads, so only hand-made input) keeps its ASCII only.
void forEachFolded(std::string_view text, const std::function<void(const FoldedCharacter&)>& visit);

} // namespace kinloom::Text
