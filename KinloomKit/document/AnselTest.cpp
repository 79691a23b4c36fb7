// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/Ansel.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace Ansel = kinloom::Ansel;

TEST(AnselTables, EntriesByByte)
{
    int spacing = 0;
    int combining = 0;
    for (unsigned byte = 0; byte < 256; ++byte) {
        const auto b = static_cast<std::uint8_t>(byte);
        const bool isSpacing = Ansel::spacingCharacter(b).has_value();
        const bool isCombining = Ansel::combiningMark(b).has_value();
        EXPECT_FALSE(isSpacing && isCombining) << byte;
        if (byte < 0xA1) {
            EXPECT_FALSE(isSpacing || isCombining) << byte;
        }
        spacing += isSpacing;
        combining += isCombining;
    }
    EXPECT_EQ(spacing, 39);
    EXPECT_EQ(combining, 29);

    const std::vector<std::pair<std::uint8_t, char32_t>> spacingRows{
        {0xA1, U'Ł'}, {0xA7, U'\u02B9'}, {0xAE, U'\u02BC'}, {0xB0, U'\u02BB'}, {0xBE, U'□'},
        {0xBF, U'■'}, {0xC7, U'ß'},      {0xC8, U'€'},      {0xCF, U'ß'},
    };
    for (const auto& [byte, scalar] : spacingRows)
        EXPECT_EQ(Ansel::spacingCharacter(byte), scalar) << int(byte);
    const std::vector<std::pair<std::uint8_t, char32_t>> markRows{
        {0xE0, U'\u0309'}, {0xEB, U'\uFE20'}, {0xF0, U'\u0327'}, {0xFB, U'\uFE23'}, {0xFE, U'\u0313'},
    };
    for (const auto& [byte, scalar] : markRows)
        EXPECT_EQ(Ansel::combiningMark(byte), scalar) << int(byte);
    for (const unsigned none : {0xAF, 0xBB, 0xC9, 0xCE, 0xD0, 0xDF, 0xFC, 0xFD, 0xFF}) {
        EXPECT_EQ(Ansel::spacingCharacter(static_cast<std::uint8_t>(none)), std::nullopt) << none;
        EXPECT_EQ(Ansel::combiningMark(static_cast<std::uint8_t>(none)), std::nullopt) << none;
    }
}

TEST(AnselDecode, MarksFollowTheirBase)
{
    struct Case
    {
        std::string bytes;
        std::string text;
        bool replaced;
        bool exact; ///< encoding the text gives the bytes back
    };
    const std::vector<Case> cases{
        {"\xE2"
         "e",
         "e\u0301", false, true},
        {"\xE8\xE5"
         "a",
         "a\u0308\u0304", false, true}, // marks keep their file order
        {"\xE2\xB2", "ø\u0301", false, true},
        {"x\xE2\nb", "x\u0301\nb", false, false}, // a mark before a break stays on its line
        {"\xE2\r\n", "\u0301\r\n", false, false},
        {"a\xE2", "a\u0301", false, false}, // left over at the end
        {"\xC7\xCF", "ßß", false, false},   // the writer spells ß with CF only
        {"\xCF", "ß", false, true},
        {"\xA0", "�", true, false},
        {"\xE2\xFC"
         "b",
         "�\u0301b", true, false},
        {"", "", false, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.bytes);
        EXPECT_EQ(Ansel::decode(c.bytes), (Ansel::Decoded{c.text, c.replaced, c.exact}));
        if (c.exact) {
            EXPECT_EQ(Ansel::encode(c.text), c.bytes);
        }
    }
}

TEST(AnselEncode, MarksGoBeforeTheirBase)
{
    const std::vector<std::pair<std::string, std::optional<std::string>>> cases{
        {"é", "\xE2"
              "e"}, // precomposed, decomposed on the way
        {"e\u0301", "\xE2"
                    "e"}, // as the decoder leaves it
        {"a\u0308\u0304", "\xE8\xE5"
                          "a"},
        {"ǘ", "\xE8\xE2"
              "u"}, // two marks from one scalar, in NFD order
        {"é\u0308", "\xE2\xE8"
                    "e"},  // decomposed marks first, then the following
        {"Ǿ", "\xE2\xA2"}, // base is a spacing character
        {"ß€", "\xCF\xC8"},
        {"\u0301\n", "\xE2\n"}, // no base: the mark alone
        {"a\n\u0301", "a\n\xE2"},
        {"\u0301b", std::nullopt}, // would come back as b with the mark
        {"中", std::nullopt},
        {"�", std::nullopt},
        {"e\u0345", std::nullopt}, // a mark ANSEL lacks
        {"a\xFF", std::nullopt},
    };
    for (const auto& [text, bytes] : cases) {
        SCOPED_TRACE(text);
        EXPECT_EQ(Ansel::encode(text), bytes);
    }
}

// Any text the decoder can produce from known bytes must survive a save and a fresh read.
TEST(AnselEncode, RoundTripsEveryDecodedText)
{
    std::vector<std::uint8_t> alphabet{'a', 'Z', ' ', '\n', '\r', 0x09};
    for (unsigned byte = 0x80; byte < 256; ++byte) {
        const auto b = static_cast<std::uint8_t>(byte);
        if (Ansel::spacingCharacter(b) || Ansel::combiningMark(b))
            alphabet.push_back(b);
    }
    std::uint32_t state = 12345;
    const auto nextRandom = [&] {
        state = state * 1664525u + 1013904223u;
        return state >> 8;
    };
    for (int round = 0; round < 5000; ++round) {
        std::string bytes;
        const auto length = nextRandom() % 10;
        for (std::uint32_t k = 0; k < length; ++k)
            bytes.push_back(static_cast<char>(alphabet[nextRandom() % alphabet.size()]));
        const std::string text = Ansel::decode(bytes).text;
        const auto encoded = Ansel::encode(text);
        ASSERT_TRUE(encoded.has_value()) << text;
        ASSERT_EQ(Ansel::decode(*encoded).text, text);
    }
}
