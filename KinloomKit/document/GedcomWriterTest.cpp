// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomWriter.h"

#include "document/Files.h"
#include "document/GedcomReader.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

using namespace kinloom;
using namespace std::string_literals;

namespace {

const std::string fallbackNoteASCII =
    "Some text has no ASCII form, so the file was saved as UTF-8 (its CHAR line now says UTF-8).";

} // namespace

TEST(GedcomWriterTest, UnchangedDocumentsComeBackAsRead)
{
    const std::string cases[] = {
        "0 HEAD\r\n1 CHAR UTF-8\r\n0 TRLR\r\n",
        "0 HEAD\r\n1 CHAR UTF-8\r\n0 TRLR",
        "\xEF\xBB\xBF"
        "0 HEAD\n  1 SEX M  \n\nrubbish\n0 TRLR\n",
        "0 HEAD\r1 CHAR ANSEL\r0 @I1@ INDI\r1 NAME \xE2"
        "e\xE8\xE5"
        "a /\xA2/\r0 TRLR\r",
        "\xFF\xFE"
        "0\0 \0H\0E\0A\0D\0\n\0"s,
        "0 HEAD\n1 CHAR ANSI\n1 NOTE \x80 \xE9 \x93quoted\x94\n",
        "0 HEAD\n1 CHAR ANSI\n1 NOTE \x81\x80\xE9\n",
        "",
        "\n",
    };
    for (const std::string& bytes : cases) {
        const GedcomDocument document = GedcomReader::read(bytes);
        const GedcomWriter::Output output = GedcomWriter::write(document);
        EXPECT_EQ(output.data, bytes);
        EXPECT_EQ(output.encoding, document.encoding);
        EXPECT_EQ(output.note, std::nullopt);
    }
}

TEST(GedcomWriterTest, EditedLinesAreRenderedAtTheirDepth)
{
    GedcomDocument document =
        GedcomReader::read("0 @I1@ INDI\r\n1 NAME John  /Smith/\r\n1 BIRT\r\n  2 DATE 1890\r\n");
    const GedcomNode note = document.newNode("NOTE", "added");
    ASSERT_TRUE(document.update(4, [](GedcomNode& date) { date.setValue("12 MAR 1890"); }));
    ASSERT_TRUE(document.update(3, [&](GedcomNode& birth) { birth.children().push_back(note); }));
    EXPECT_EQ(GedcomWriter::render(document),
              "0 @I1@ INDI\r\n1 NAME John  /Smith/\r\n1 BIRT\r\n2 DATE 12 MAR 1890\r\n2 NOTE added\r\n");
}

TEST(GedcomWriterTest, MixedBreaksAreWrittenWithTheChosenOne)
{
    const GedcomDocument document = GedcomReader::read("0 HEAD\r\n1 CHAR UTF-8\n0 @I1@ INDI\r\n0 TRLR\r");
    EXPECT_EQ(GedcomWriter::write(document).data, "0 HEAD\r\n1 CHAR UTF-8\r\n0 @I1@ INDI\r\n0 TRLR\r\n");
}

TEST(GedcomWriterTest, FallsBackToUTF8WithoutTouchingTheDocument)
{
    GedcomDocument document =
        GedcomReader::read("0 HEAD\n1 CHAR ASCII\n0 @I1@ INDI\n1 NAME Rene /Smith/\n0 TRLR\n");
    ASSERT_EQ(document.encoding, TextEncoding::ascii);
    ASSERT_TRUE(document.update(4, [](GedcomNode& name) { name.setValue("Ren\xC3\xA9 /Smith/"); }));
    const GedcomDocument before = document;

    const GedcomWriter::Output output = GedcomWriter::write(document);
    EXPECT_EQ(output.data, "0 HEAD\n1 CHAR UTF-8\n0 @I1@ INDI\n1 NAME Ren\xC3\xA9 /Smith/\n0 TRLR\n");
    EXPECT_EQ(output.encoding, TextEncoding::utf8);
    EXPECT_EQ(output.note, fallbackNoteASCII);
    EXPECT_EQ(document, before);

    // No byte-order mark in this path, and a file without CHAR gets none added.
    GedcomDocument marked = GedcomReader::read("\xFF\xFE"
                                               "0\0 \0H\0E\0A\0D\0\n\0"s);
    marked.encoding = TextEncoding::ansel;
    ASSERT_TRUE(marked.update(1, [](GedcomNode& head) { head.setValue("\xE4\xB8\xAD"); }));
    const GedcomWriter::Output ansel = GedcomWriter::write(marked);
    EXPECT_EQ(ansel.data, "0 HEAD \xE4\xB8\xAD\n");
    EXPECT_EQ(ansel.note,
              "Some text has no ANSEL form, so the file was saved as UTF-8 (its CHAR line now says UTF-8).");
}

TEST(GedcomWriterTest, ByteOrderMarksAreWrittenBack)
{
    struct Case
    {
        TextEncoding encoding;
        std::string expected;
    };
    const Case cases[] = {
        {TextEncoding::utf8, "\xEF\xBB\xBF"
                             "0 X\n"},
        {TextEncoding::utf16LE, std::string("\xFF\xFE"
                                            "0\0 \0X\0\n\0",
                                            10)},
        {TextEncoding::utf16BE, std::string("\xFE\xFF"
                                            "\0"
                                            "0\0 \0X\0\n",
                                            10)},
    };
    for (const Case& c : cases) {
        GedcomDocument document = GedcomReader::read("0 X\n");
        document.encoding = c.encoding;
        document.hasBOM = true;
        EXPECT_EQ(GedcomWriter::write(document).data, c.expected) << rawValue(c.encoding);
    }
}

// After one write, reading and writing again changes nothing, whatever the document held.
TEST(GedcomWriterTest, WritingIsStableOverGeneratedDocuments)
{
    std::mt19937 random(20261121);
    const std::vector<std::string> pieces = {"a",
                                             "Z",
                                             " ",
                                             "  ",
                                             "@",
                                             "@I1@",
                                             "/",
                                             "0",
                                             "7",
                                             "\xC3\xA9",
                                             "\xE2\x82\xAC",
                                             "\xC3\x9F",
                                             "e\xCC\x81",
                                             "\xCC\x88",
                                             "\xE4\xB8\xAD",
                                             "\xEF\xBF\xBD",
                                             "\xF0\x9F\x8C\xB3",
                                             "\xC2\x81",
                                             "\t",
                                             "\xC3\xBE"};
    const std::vector<std::string> tags = {"NAME", "NOTE", "DATE", "PLAC", "CONT", "CONC", "_X"};
    auto pick = [&](std::size_t n) { return static_cast<std::size_t>(random() % n); };
    auto phrase = [&] {
        std::string text;
        for (std::size_t i = pick(6); i > 0; --i)
            text += pieces[pick(pieces.size())];
        return text;
    };
    const std::string endings[] = {"\n", "\r\n", "\r"};
    // The CHAR line each encoding is read back by.
    const std::string charValues[] = {"UTF-8", "UNICODE",   "UNICODE", "ANSEL", "ASCII",
                                      "ANSI",  "MACINTOSH", "IBMPC",   "LATIN1"};
    for (int round = 0; round < 600; ++round) {
        const std::size_t encoding = pick(std::size(charValues));
        std::string source = "0 HEAD\n1 CHAR " + charValues[encoding] + "\n";
        for (std::size_t i = pick(8); i > 0; --i)
            source += std::to_string(pick(4)) + " " + tags[pick(tags.size())] + " x\n";
        GedcomDocument document = GedcomReader::read(source);
        document.encoding = allTextEncodings[encoding];
        document.hasBOM = pick(2) == 0;
        document.lineEnding = endings[pick(3)];
        document.endsWithNewline = pick(2) == 0;
        for (std::int64_t id = 3; id < document.nextID; ++id) {
            if (pick(2) == 0)
                (void)document.update(id, [&](GedcomNode& node) { node.setValue(phrase()); });
        }
        const GedcomWriter::Output first = GedcomWriter::write(document);
        const GedcomWriter::Output second = GedcomWriter::write(GedcomReader::read(first.data));
        ASSERT_EQ(second.data, first.data) << "round " << round << " in " << rawValue(document.encoding);
    }
}

// Lines whose text cannot give back their bytes are saved as those bytes while unchanged, so a file
// saved without edits is the file read, and only edited lines decide whether it must become UTF-8.
TEST(GedcomWriterTest, UnchangedLinesKeepTheirBytes)
{
    struct Case
    {
        std::string name;
        std::string bytes;
        TextEncoding encoding;
    };
    const std::vector<Case> cases{
        {"an ANSEL mark carried over a CONC line",
         "0 HEAD\r\n1 CHAR ANSEL\r\n0 @N1@ NOTE Elle s'arr\xE3\r\n1 CONC ete ici\r\n0 TRLR\r\n",
         TextEncoding::ansel},
        {"an ANSEL mark at the very end", "0 HEAD\r\n1 CHAR ANSEL\r\n0 @N1@ NOTE accent\xE1",
         TextEncoding::ansel},
        {"ANSEL bytes with no character",
         "0 HEAD\r\n1 CHAR ANSEL\r\n0 @N1@ NOTE Ren\xE2"
         "ee \xE1"
         "a midline \xCD and \xCE\r\n0 TRLR\r\n",
         TextEncoding::ansel},
        {"both ANSEL spellings of sharp s",
         "0 HEAD\r\n1 CHAR ANSEL\r\n0 @N1@ NOTE Stra\xC7"
         "e und Stra\xCF"
         "e\r\n",
         TextEncoding::ansel},
        {"an undefined Windows-1252 byte",
         "0 HEAD\r\n1 CHAR ANSI\r\n0 @I1@ INDI\r\n1 NAME Ren\xE9\x81 /D\x9Dupont/\r\n1 NOTE "
         "\x93quoted\x94\r\n0 TRLR\r\n",
         TextEncoding::windows1252},
        {"repaired UTF-8",
         "\xEF\xBB\xBF"
         "0 HEAD\n1 CHAR UTF-8\n0 @N1@ NOTE caf\xA9 cr\xC3\n0 TRLR\n",
         TextEncoding::utf8},
        {"UTF-16 with a lone surrogate",
         "\xFF\xFE"
         "0\0 \0H\0E\0A\0D\0\n\0"
         "1\0 \0N\0O\0T\0E\0 \0\x01\xD8x\0\n\0"s,
         TextEncoding::utf16LE},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const GedcomDocument document = GedcomReader::read(c.bytes);
        ASSERT_EQ(document.encoding, c.encoding) << displayName(document.encoding);
        const GedcomWriter::Output unchanged = GedcomWriter::write(document);
        EXPECT_EQ(unchanged.data, c.bytes);
        EXPECT_EQ(unchanged.note, std::nullopt);

        // An edit the encoding can write leaves every other line's bytes alone.
        GedcomDocument edited = document;
        const std::int64_t head = edited.record(0).id();
        edited.update(head,
                      [](GedcomNode& node) { node.children().push_back(GedcomNode(999, "NOTE", "x")); });
        const GedcomWriter::Output output = GedcomWriter::write(edited);
        EXPECT_EQ(output.encoding, c.encoding);
        EXPECT_EQ(output.note, std::nullopt);
        const GedcomDocument reread = GedcomReader::read(output.data);
        // The added line is the header's last; a case's own header may hold a NOTE before it.
        std::optional<std::string_view> added;
        for (const NodeView child : reread.record(0).children())
            added = child.value();
        EXPECT_EQ(added, "x");
        EXPECT_EQ(GedcomWriter::write(reread).data, output.data);

        // One the encoding cannot write sends the file to UTF-8, the kept lines as their text.
        if (c.encoding != TextEncoding::utf8 && c.encoding != TextEncoding::utf16LE) {
            edited.update(999, [](GedcomNode& node) { node.setValue("\u2603"); });
            const GedcomWriter::Output fallback = GedcomWriter::write(edited);
            EXPECT_EQ(fallback.encoding, TextEncoding::utf8);
            EXPECT_TRUE(fallback.note.has_value());
            EXPECT_TRUE(TextEncodings::isValidUTF8(fallback.data));
        }
    }
}
