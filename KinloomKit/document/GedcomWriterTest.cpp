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

std::filesystem::path corpusFolder()
{
    if (const char* folder = std::getenv("KINLOOM_CORPUS"))
        return folder;
    return KINLOOM_CORPUS_DEFAULT;
}

/// ANSEL bytes as the writer gives them back: a mark left at the end of a line (with no letter after
/// it to carry) reads the same as a mark on the line's last letter, and is written that way.
std::string anselMarksBeforeTheirLetter(std::string bytes)
{
    auto isMark = [](unsigned char b) { return b >= 0xE0 && b <= 0xFE; };
    for (std::size_t i = 1; i < bytes.size(); ++i) {
        if (!isMark(static_cast<unsigned char>(bytes[i])) ||
            isMark(static_cast<unsigned char>(bytes[i - 1])) || bytes[i - 1] == '\n' || bytes[i - 1] == '\r')
            continue;
        std::size_t end = i;
        while (end < bytes.size() && isMark(static_cast<unsigned char>(bytes[end])))
            ++end;
        if (end == bytes.size() || bytes[end] == '\n' || bytes[end] == '\r')
            std::rotate(bytes.begin() + static_cast<std::ptrdiff_t>(i - 1),
                        bytes.begin() + static_cast<std::ptrdiff_t>(i),
                        bytes.begin() + static_cast<std::ptrdiff_t>(end));
        i = end;
    }
    return bytes;
}

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

// Reading then writing every real file gives its bytes back, except where the reader had to
// change something: mixed line breaks are written with the one chosen ending, and text with
// replaced bytes is saved as UTF-8 when its own encoding has no form for U+FFFD.
TEST(GedcomWriterTest, CorpusRoundTrip)
{
    const std::filesystem::path folder = corpusFolder();
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "no corpus at " << folder;
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().extension() != ".ged" && entry.path().extension() != ".GED")
            continue;
        SCOPED_TRACE(entry.path().filename().string());
        std::string error;
        const std::string bytes = *Files::readFile(entry.path().string(), error);
        const GedcomDocument document = GedcomReader::read(bytes);
        const GedcomWriter::Output output = GedcomWriter::write(document);
        ++files;

        const std::string text = TextEncodings::decode(bytes).text;
        const GedcomReader::SplitText split = GedcomReader::splitLines(text);
        const bool mixed = (split.lf > 0) + (split.crlf > 0) + (split.cr > 0) > 1;
        const bool replaced = text.find("\xEF\xBF\xBD") != std::string::npos;
        if (!mixed && !replaced) {
            EXPECT_EQ(output.data,
                      document.encoding == TextEncoding::ansel ? anselMarksBeforeTheirLetter(bytes) : bytes);
            EXPECT_EQ(output.note, std::nullopt);
            continue;
        }
        // The rule: every line as read, each followed by the chosen ending.
        std::string expected;
        for (std::size_t i = 0; i < split.lines.size(); ++i) {
            std::string line(split.lines[i]);
            if (output.note && line.starts_with("1 CHAR ") && i > 0)
                line = "1 CHAR UTF-8";
            expected += line;
            if (i + 1 < split.lines.size() || document.endsWithNewline)
                expected += document.lineEnding;
        }
        if (output.note) {
            EXPECT_EQ(output.encoding, TextEncoding::utf8);
            EXPECT_EQ(output.data, expected);
        } else {
            const std::string mark = !document.hasBOM                             ? ""
                                     : document.encoding == TextEncoding::utf8    ? "\xEF\xBB\xBF"
                                     : document.encoding == TextEncoding::utf16LE ? "\xFF\xFE"
                                                                                  : "\xFE\xFF";
            EXPECT_EQ(output.data, mark + *TextEncodings::encode(expected, document.encoding));
        }
    }
    EXPECT_GT(files, 0u);
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
        const std::size_t encoding = pick(allTextEncodings.size());
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
