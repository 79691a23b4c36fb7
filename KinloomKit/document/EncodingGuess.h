// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/TextEncoding.h"

#include <cstddef>
#include <optional>
#include <string_view>

// Telling which code page 8-bit text was written in, by the words each reading gives: a wrong
// reading makes words no language writes (two scripts in one word, a symbol or control character
// between letters, a byte with no character), while the right one gives plain letters of one script.
namespace kinloom::EncodingGuess {

/// How many of the distinct words holding bytes of 0x80 and above read as no language writes them
/// in that encoding (single-byte or ANSEL).
[[nodiscard]] std::size_t implausibleWords(std::string_view bytes, TextEncoding encoding);

/// The code page that reads the words far better than `taken` does, or none when `taken` reads them
/// plausibly or no code page does better. `hint` (from the header's language) is tried first.
[[nodiscard]] std::optional<TextEncoding> betterReading(std::string_view bytes, TextEncoding taken,
                                                        std::optional<TextEncoding> hint = std::nullopt);

} // namespace kinloom::EncodingGuess
