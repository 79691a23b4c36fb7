// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace kinloom::Ansel {

/// ANSEL bytes as UTF-8 text, with combining marks moved after the letter they sit on.
struct Decoded
{
    std::string text;
    bool replaced = false; ///< some byte had no character and became U+FFFD
    /// Encoding the text gives back these bytes. False when a byte had no character, a mark had no
    /// letter after it on its line, or ß was written with the byte the encoder does not write.
    bool exact = true;

    bool operator==(const Decoded&) const = default;
};

[[nodiscard]] Decoded decode(std::string_view bytes);

/// UTF-8 text as ANSEL bytes, or none when some character has no ANSEL form.
[[nodiscard]] std::optional<std::string> encode(std::string_view text);

/// The two fixed tables, keyed by byte (0x80 to 0xFF).
[[nodiscard]] std::optional<char32_t> combiningMark(std::uint8_t byte);
[[nodiscard]] std::optional<char32_t> spacingCharacter(std::uint8_t byte);

} // namespace kinloom::Ansel
