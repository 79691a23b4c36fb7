// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// Codes for how a surname sounds that forgive the spellings of other languages: the six-digit codes
// of the Daitch–Mokotoff system, which read "sch", "sz" and "cz" as one sound and give a
// letter that sounds two ways ("c" in Cohen and in Cieślak) a code for each.
namespace kinloom::SoundCodes {

/// The Daitch–Mokotoff codes of a normalised surname (lower case, no diacritics), each six digits,
/// sorted, at most eight; none when it has no letters a to z. Two surnames sound alike when any of
/// their codes are equal.
[[nodiscard]] std::vector<std::string> daitchMokotoff(std::string_view surname);

/// The same codes packed as numbers (the digits read as a decimal number), sorted.
[[nodiscard]] std::vector<std::uint32_t> daitchMokotoffPacked(std::string_view surname);

} // namespace kinloom::SoundCodes
