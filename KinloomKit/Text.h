#pragma once

#include <string_view>

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

} // namespace kinloom::Text
