// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/TextEncoding.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using kinloom::TextEncoding;
using kinloom::TextEncodings::DecodedText;
namespace TextEncodings = kinloom::TextEncodings;

namespace {

using namespace std::string_literals;

std::string header(std::string_view charValue, std::string_view note)
{
    return "0 HEAD\n1 CHAR " + std::string(charValue) + "\n0 @N1@ NOTE " + std::string(note) + "\n0 TRLR\n";
}

std::string headerWithoutChar(std::string_view note)
{
    return "0 HEAD\n1 GEDC\n0 @N1@ NOTE " + std::string(note) + "\n0 TRLR\n";
}

} // namespace

TEST(TextEncodingNames, DisplayAndRawValues)
{
    struct Case
    {
        TextEncoding encoding;
        std::string_view display;
        std::string_view raw;
    };
    const std::vector<Case> cases{
        {TextEncoding::utf8, "UTF-8", "utf8"},
        {TextEncoding::utf16LE, "UTF-16 (little-endian)", "utf16LE"},
        {TextEncoding::utf16BE, "UTF-16 (big-endian)", "utf16BE"},
        {TextEncoding::ansel, "ANSEL", "ansel"},
        {TextEncoding::ascii, "ASCII", "ascii"},
        {TextEncoding::windows1252, "ANSI (Windows-1252)", "windows1252"},
        {TextEncoding::macRoman, "Mac Roman", "macRoman"},
        {TextEncoding::ibmPC, "IBM PC", "ibmPC"},
        {TextEncoding::latin1, "Latin-1", "latin1"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(kinloom::displayName(c.encoding), c.display);
        EXPECT_EQ(kinloom::rawValue(c.encoding), c.raw);
        EXPECT_EQ(kinloom::textEncodingFromRawValue(c.raw), c.encoding);
    }
    EXPECT_EQ(kinloom::textEncodingFromRawValue("UTF-8"), std::nullopt);
    EXPECT_EQ(kinloom::textEncodingFromRawValue("Windows1252"), std::nullopt);
}

TEST(TextEncodingDecode, EveryBranch)
{
    struct Case
    {
        std::string name;
        std::string bytes;
        DecodedText expected;
    };
    const std::string repaired = "Some bytes weren’t valid UTF-8 and were replaced with �.";
    const std::vector<Case> cases{
        {"utf8 mark",
         "\xEF\xBB\xBF"
         "0 HEAD\n",
         {"0 HEAD\n", TextEncoding::utf8, true, {}}},
        {"utf8 mark, repaired",
         "\xEF\xBB\xBFZo\xEB\n",
         {"Zo�\n", TextEncoding::utf8, true, {repaired}, {{0, "Zo\xEB"}}}},
        {"utf8 mark wins over CHAR",
         "\xEF\xBB\xBF" + header("ANSEL", "\xC3\xA9"),
         {header("ANSEL", "é"), TextEncoding::utf8, true, {}}},
        {"utf16LE mark",
         "\xFF\xFE"
         "0\0 \0\xE9\0"s,
         {"0 é", TextEncoding::utf16LE, true, {}}},
        {"utf16BE mark, surrogate pair",
         "\xFE\xFF\0A\xD8\x3D\xDE\x00"s,
         {"A😀", TextEncoding::utf16BE, true, {}}},
        {"utf16LE unmarked", "0\0 \0H\0\x3D\xD8\x00\xDE"s, {"0 H😀", TextEncoding::utf16LE, false, {}}},
        {"utf16BE unmarked",
         "\0"
         "0\0 \x01\x41"s,
         {"0 Ł", TextEncoding::utf16BE, false, {}}},
        {"utf16LE odd length",
         "\xFF\xFE"
         "A\0B"s,
         {"A�", TextEncoding::utf16LE, true, {}, {{0, "A\0B"s}}}},
        {"utf16LE lone surrogate",
         "A\0\x00\xD8"
         "B\0"s,
         {"A�B",
          TextEncoding::utf16LE,
          false,
          {},
          {{0, "A\0\x00\xD8"
               "B\0"s}}}},
        {"ansel",
         header("ANSEL", "Zo\xE8"
                         "e \xB1\xE2od\xE2z"),
         {header("ANSEL", "Zoe\u0308 \u0142o\u0301dz\u0301"), TextEncoding::ansel, false, {}}},
        {"ansel, pure ascii",
         header("ansel", "Zoe"),
         {header("ansel", "Zoe"), TextEncoding::ansel, false, {}}},
        {"ansel, unknown byte",
         header("ANSEL", "a\xA0"),
         {header("ANSEL", "a�"),
          TextEncoding::ansel,
          false,
          {"Some ANSEL bytes had no known character and were replaced with �."},
          {{2, "0 @N1@ NOTE a\xA0"}}}},
        {"ansel that is utf8",
         header("ANSEL", "Zo\xC3\xAB"),
         {header("ANSEL", "Zoë"),
          TextEncoding::utf8,
          false,
          {"The file says ANSEL but its text is UTF-8; it was read (and will be saved) as UTF-8."}}},
        {"windows1252",
         header("ANSI", "\x80 Zo\xEB \x93x\x94"),
         {header("ANSI", "€ Zoë “x”"), TextEncoding::windows1252, false, {}}},
        {"windows1252, an undefined byte read as Latin-1 reads it",
         header("Windows-1252", "Zo\xEB\x81"),
         {header("Windows-1252", "Zoë\u0081"), TextEncoding::windows1252, false, {}}},
        {"windows1252, pure ascii",
         header("CP1252", "Zoe"),
         {header("CP1252", "Zoe"), TextEncoding::windows1252, false, {}}},
        {"macRoman",
         header("MACINTOSH", "Zo\x91 \xB6"),
         {header("MACINTOSH", "Zoë ∂"), TextEncoding::macRoman, false, {}}},
        {"ibmPC",
         header("IBM PC", "Zo\x89 \xB0"),
         {header("IBM PC", "Zoë ░"), TextEncoding::ibmPC, false, {}}},
        {"latin1",
         header("ISO-8859-1", "Zo\xEB \xA4"),
         {header("ISO-8859-1", "Zoë ¤"), TextEncoding::latin1, false, {}}},
        {"ascii", header("ASCII", "Zoe"), {header("ASCII", "Zoe"), TextEncoding::ascii, false, {}}},
        {"ascii that is utf8",
         header("ASCII", "\xC3\xA9"),
         {header("ASCII", "é"),
          TextEncoding::utf8,
          false,
          {"The file says ASCII but has UTF-8 characters; read as UTF-8."}}},
        {"ascii that is not utf8",
         header("ASCII", "\xE9\x81"),
         {header("ASCII", "é\u0081"),
          TextEncoding::windows1252,
          false,
          {"The file says ASCII but has other characters; read as Windows-1252."}}},
        {"no CHAR, ascii",
         headerWithoutChar("Zoe"),
         {headerWithoutChar("Zoe"), TextEncoding::utf8, false, {}}},
        {"no CHAR, utf8",
         headerWithoutChar("Zo\xC3\xAB"),
         {headerWithoutChar("Zoë"), TextEncoding::utf8, false, {}}},
        {"UNICODE, not utf8",
         header("UNICODE", "Zo\xEB"),
         {header("UNICODE", "Zoë"),
          TextEncoding::windows1252,
          false,
          {"The file says UTF-8 but has bytes that aren’t; read as Windows-1252."}}},
        {"empty", "", {"", TextEncoding::utf8, false, {}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(TextEncodings::decode(c.bytes), c.expected);
    }
}

// One U+FFFD per maximal subpart: the longest start that could still have become a character.
TEST(TextEncodingDecode, RepairsEachMaximalSubpart)
{
    const std::vector<std::pair<std::string, std::string>> cases{
        {"a\xE2\x82", "a�"}, // cut off at the end
        {"\xE2\x82"
         "b",
         "�b"}, // cut off before a letter
        {"\xF0\x9F\x98"
         "b",
         "�b"},                          // three of four
        {"\xE0\x80", "��"},              // overlong lead: the second byte starts afresh
        {"\xED\xA0\x80", "���"},         // surrogate
        {"\xF4\x90\x80\x80", "����"},    // above U+10FFFF
        {"\xC0\xAF\xFF", "���"},         // never-valid bytes
        {"\xC3\xA9\x80\xC3\xA9", "é�é"}, // stray continuation between good ones
    };
    for (const auto& [bytes, text] : cases) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(TextEncodings::decode("\xEF\xBB\xBF" + bytes).text, text);
    }
}

TEST(TextEncodingDeclared, FindsCharInsideTheHeader)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases{
        {"0 HEAD\r1 SOUR X\r1 CHAR ANSEL\r0 TRLR\r", "ANSEL"},
        {"0 HEAD\r\n1 CHAR IBM PC\r\n", "IBM PC"},
        {"  0   HEAD\n\t1 CHAR  ANSEL \n", " ANSEL "},
        {"0 @N1@ NOTE x\n1 CHAR ANSI\n0 HEAD\n1 CHAR LATIN1\n", "LATIN1"},
        {"0 HEAD\n1CHAR ANSI\n1 @@ CHAR ANSI\n2 CHAR ASCII\n", "ASCII"},
        {"0 HEAD\n1 CHAR", ""},
        {"0 HEAD\n1 SOUR X\n0 @I1@ INDI\n1 CHAR ANSEL\n", std::nullopt},
        {"0 head\n1 CHAR ANSEL\n", std::nullopt},
        {"1 CHAR ANSEL\n", std::nullopt},
        {"", std::nullopt},
    };
    for (const auto& [bytes, value] : cases) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(TextEncodings::declaredCharValue(bytes), value);
    }
}

TEST(TextEncodingDeclared, SpellingsAfterTrimAndUpperCase)
{
    const std::vector<std::pair<std::string_view, std::optional<TextEncoding>>> cases{
        {" ansel ", TextEncoding::ansel},
        {"Windows-1252", TextEncoding::windows1252},
        {"ibm windows", TextEncoding::windows1252},
        {"iso8859-1", TextEncoding::latin1},
        {"Latin-1", TextEncoding::latin1},
        {"MacRoman", TextEncoding::macRoman},
        {"IBM DOS", TextEncoding::ibmPC},
        {"IBMPC", TextEncoding::ibmPC},
        {"ascii\t", TextEncoding::ascii},
        {"UTF-8", std::nullopt},
        {"UNICODE", std::nullopt},
        {"", std::nullopt},
        {"IBM  PC", std::nullopt},
        {"ISO 8859-1", TextEncoding::latin1},
        {"CP1250", TextEncoding::windows1250},
        {"ms-1251", TextEncoding::windows1251},
        {"ISO_8859-5", TextEncoding::iso8859_5},
        {"latin9", TextEncoding::iso8859_15},
        {"IBM866", TextEncoding::dos866},
        {"ISO-8859-12", std::nullopt},
        {"CP1249", std::nullopt},
    };
    for (const auto& [value, encoding] : cases) {
        SCOPED_TRACE(value);
        EXPECT_EQ(TextEncodings::encodingFromCharValue(value), encoding);
    }
}

TEST(TextEncodingUTF8, StrictValidation)
{
    const std::string block(16, 'a');
    const std::vector<std::pair<std::string, bool>> cases{
        {"", true},
        {block + block + "Zo\xC3\xAB", true},
        {"\x7F\xDF\xBF\xEF\xBF\xBF\xF4\x8F\xBF\xBF", true}, // the last of each length
        {"\xE0\xA0\x80\xF0\x90\x80\x80", true},             // the first without a shorter form
        {"\xC0\x80", false},
        {"\xE0\x9F\xBF", false},
        {"\xF0\x8F\xBF\xBF", false},
        {"\xED\xA0\x80", false},
        {"\xF4\x90\x80\x80", false},
        {"\xE2\x82", false},
        {block + "\x80", false},
        {std::string(31, 'a') + "\xFF", false},
        {block + "\xC3\xA9" + block + "\xC3", false},
    };
    for (const auto& [bytes, valid] : cases) {
        SCOPED_TRACE(bytes);
        EXPECT_EQ(TextEncodings::isValidUTF8(bytes), valid);
    }
}

TEST(TextEncodingEncode, RoundTripsThroughDecode)
{
    struct Case
    {
        TextEncoding encoding;
        std::string charValue;
        std::string note;
    };
    const std::vector<Case> cases{
        {TextEncoding::utf8, "UTF-8", "Zoë 😀"},
        {TextEncoding::utf16LE, "UNICODE", "Zoë 😀"},
        {TextEncoding::utf16BE, "UNICODE", "Zoë 😀"},
        {TextEncoding::ansel, "ANSEL", "Zoe\u0308 \u0141o\u0301dz\u0301 ß € \u0301"},
        {TextEncoding::ascii, "ASCII", "Zoe ~"},
        {TextEncoding::windows1252, "ANSI", "€ Zoë “x” Ÿ"},
        {TextEncoding::macRoman, "MACINTOSH", "Zoë ∂ π ‰"},
        {TextEncoding::ibmPC, "IBM PC", "Zoë ░ ╬ ƒ"},
        {TextEncoding::latin1, "LATIN1", "Zoë ÿ ¤"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(kinloom::rawValue(c.encoding));
        const std::string text = header(c.charValue, c.note);
        const auto bytes = TextEncodings::encode(text, c.encoding);
        ASSERT_TRUE(bytes.has_value());
        EXPECT_EQ(TextEncodings::decode(*bytes), (DecodedText{text, c.encoding, false, {}}));
    }
}

TEST(TextEncodingEncode, RefusesWhatTheEncodingLacks)
{
    const std::vector<std::pair<TextEncoding, std::string>> cases{
        {TextEncoding::ascii, "é"},
        {TextEncoding::windows1252, "Ł"},
        {TextEncoding::windows1252, "\u0093"}, // a control character Windows-1252 has no byte for
        {TextEncoding::macRoman, "Ł"},
        {TextEncoding::ibmPC, "€"},
        {TextEncoding::latin1, "€"},
        {TextEncoding::ansel, "中"},
        {TextEncoding::latin1, "a\xFF"},
        {TextEncoding::utf16LE, "a\xC3"},
        {TextEncoding::utf16BE, "\xED\xA0\x80"},
    };
    for (const auto& [encoding, text] : cases) {
        SCOPED_TRACE(std::string(kinloom::rawValue(encoding)) + " " + text);
        EXPECT_EQ(TextEncodings::encode(text, encoding), std::nullopt);
    }
}

TEST(TextEncodingDecode, ValidUTF8IsTakenOverWithoutACopy)
{
    std::string bytes = headerWithoutChar("Zoë") + std::string(4096, 'x');
    const std::string expected = bytes;
    const char* storage = bytes.data();
    const DecodedText decoded = TextEncodings::decode(std::move(bytes));
    EXPECT_EQ(decoded.text, expected);
    EXPECT_EQ(decoded.text.data(), storage);
}
