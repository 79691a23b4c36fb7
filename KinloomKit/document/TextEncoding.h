#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
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
    latin1
};

inline constexpr std::array<TextEncoding, 9> allTextEncodings{
    TextEncoding::utf8,     TextEncoding::utf16LE, TextEncoding::utf16BE,
    TextEncoding::ansel,    TextEncoding::ascii,   TextEncoding::windows1252,
    TextEncoding::macRoman, TextEncoding::ibmPC,   TextEncoding::latin1,
};

/// The name shown to the user ("ANSI (Windows-1252)").
[[nodiscard]] std::string_view displayName(TextEncoding encoding);
/// The stored name: the case name ("windows1252").
[[nodiscard]] std::string_view rawValue(TextEncoding encoding);
[[nodiscard]] std::optional<TextEncoding> textEncodingFromRawValue(std::string_view raw);

namespace TextEncodings {

/// What decoding a file's bytes gave: UTF-8 text, the encoding the document carries from now on,
/// whether a byte-order mark was present, and the reading notes in the order they arose.
struct DecodedText
{
    std::string text;
    TextEncoding encoding = TextEncoding::utf8;
    bool hasBOM = false;
    std::vector<std::string> notes;

    bool operator==(const DecodedText&) const = default;
};

/// Decodes a whole file. Never fails. Takes the bytes by value so that UTF-8 input becomes the text
/// without a copy.
[[nodiscard]] DecodedText decode(std::string bytes);

/// The encoding a header's CHAR value names (trimmed, case-insensitive), or none for UTF-8,
/// UNICODE and anything unknown.
[[nodiscard]] std::optional<TextEncoding> encodingFromCharValue(std::string_view charValue);

/// The value of the first CHAR line inside the first level-0 HEAD record of 8-bit bytes, if any.
[[nodiscard]] std::optional<std::string> declaredCharValue(std::string_view bytes);

/// Whether the bytes are well-formed UTF-8.
[[nodiscard]] bool isValidUTF8(std::string_view bytes);

/// UTF-8 text converted to an encoding's bytes (no byte-order mark), or none when some character
/// has no form in it. Nothing is ever dropped or substituted.
[[nodiscard]] std::optional<std::string> encode(std::string_view text, TextEncoding encoding);

} // namespace TextEncodings
} // namespace kinloom
