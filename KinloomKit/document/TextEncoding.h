// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kinloom {

/// The character encodings a family-tree file can be read and saved in, in display order.
enum class TextEncoding : std::uint8_t
{
    utf8,
    utf16LE,
    utf16BE,
    ansel,
    ascii,
    windows1252,
    macRoman,
    ibmPC,
    latin1,
    // Code pages of other scripts and regions, in the spellings files declare them.
    windows1250,
    windows1251,
    windows1253,
    windows1254,
    windows1255,
    windows1256,
    windows1257,
    windows1258,
    iso8859_2,
    iso8859_3,
    iso8859_4,
    iso8859_5,
    iso8859_6,
    iso8859_7,
    iso8859_8,
    iso8859_9,
    iso8859_10,
    iso8859_11,
    iso8859_13,
    iso8859_14,
    iso8859_15,
    iso8859_16,
    koi8R,
    koi8U,
    dos850,
    dos852,
    dos866
};

/// Every encoding, in the order lists offered to the user show them.
extern const std::array<TextEncoding, 36> allTextEncodings;

/// The name shown to the user ("ANSI (Windows-1252)", "Windows-1250 (Central European)").
[[nodiscard]] std::string_view displayName(TextEncoding encoding);
/// The name without the region ("Windows-1250"), for sentences that name it twice.
[[nodiscard]] std::string_view shortName(TextEncoding encoding);
/// The stored name: the case name ("windows1252").
[[nodiscard]] std::string_view rawValue(TextEncoding encoding);
[[nodiscard]] std::optional<TextEncoding> textEncodingFromRawValue(std::string_view raw);
/// The encoding a user names: one of the raw values ("ansel", "windows1250") or a converter name
/// ("CP1251", "ISO-8859-2", "UTF-16LE"), case-insensitive; none when unknown.
[[nodiscard]] std::optional<TextEncoding> textEncodingFromUserName(std::string_view name);

namespace TextEncodings {

/// What decoding a file's bytes gave: UTF-8 text, the encoding the document carries from now on,
/// whether a byte-order mark was present, and the reading notes in the order they arose.
struct DecodedText
{
    std::string text;
    TextEncoding encoding = TextEncoding::utf8;
    bool hasBOM = false;
    std::vector<std::string> notes;
    /// Lines (by index from 0) whose text does not encode back to the bytes they were read from,
    /// with those bytes; ascending. Empty for almost every file.
    std::vector<std::pair<std::size_t, std::string>> keptLines;

    bool operator==(const DecodedText&) const = default;
};

/// Decodes a whole file. Never fails. Takes the bytes by value so that UTF-8 input becomes the text
/// without a copy. With `forced`, the bytes are read in that encoding and nothing is detected.
[[nodiscard]] DecodedText decode(std::string bytes, std::optional<TextEncoding> forced = std::nullopt);

/// The encoding a header's CHAR value names (trimmed, case-insensitive), or none for UTF-8,
/// UNICODE and anything unknown.
[[nodiscard]] std::optional<TextEncoding> encodingFromCharValue(std::string_view charValue);

/// What a file's header says about its characters.
struct HeaderFacts
{
    std::optional<std::string> charValue; ///< of the first CHAR line inside the first HEAD record
    std::optional<std::string> charVers;  ///< of the VERS line under that CHAR line
    std::optional<std::string> language;  ///< of the HEAD record's LANG line

    bool operator==(const HeaderFacts&) const = default;
};
[[nodiscard]] HeaderFacts headerFacts(std::string_view bytes);

/// The encoding a header declares: its CHAR value, with a code-page number under ANSI (and its
/// kin) taken from CHAR's VERS line or else from the header's language.
[[nodiscard]] std::optional<TextEncoding> declaredEncoding(const HeaderFacts& facts);

/// The value of the first CHAR line inside the first level-0 HEAD record of 8-bit bytes, if any.
[[nodiscard]] std::optional<std::string> declaredCharValue(std::string_view bytes);

/// 8-bit bytes as UTF-8 text in a single-byte or ANSEL encoding, each byte on its own (the
/// detector's use); bytes with no character become U+FFFD.
[[nodiscard]] std::string decodeBytes(std::string_view bytes, TextEncoding encoding);

/// Whether the bytes are well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view bytes);

/// UTF-8 text converted to an encoding's bytes (no byte-order mark), or none when some character
/// has no form in it. Nothing is ever dropped or substituted.
[[nodiscard]] std::optional<std::string> encode(std::string_view text, TextEncoding encoding);

} // namespace TextEncodings
} // namespace kinloom
