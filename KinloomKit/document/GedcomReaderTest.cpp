// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomReader.h"

#include "document/GedcomWriter.h"

#include <gtest/gtest.h>

using namespace kinloom;
using GedcomReader::Line;

namespace {

std::optional<std::string> text(const char* value)
{
    return std::string(value);
}

/// Every node of a document as "depth:id:tag" in pre-order.
std::vector<std::string> shape(const GedcomDocument& document)
{
    std::vector<std::string> out;
    document.walk([&](NodeView node, int depth) {
        out.push_back(std::to_string(depth) + ":" + std::to_string(node.id()) + ":" +
                      (node.isMalformed() ? "?" : std::string(node.tag())));
    });
    return out;
}

} // namespace

TEST(GedcomReaderTest, LineGrammar)
{
    struct Case
    {
        const char* line;
        std::optional<Line> expected;
    };
    const Case cases[] = {
        {"0 HEAD", Line{0, {}, "HEAD", {}}},
        {"1 NAME ", Line{1, {}, "NAME", text("")}},
        {"2 NOTE  two spaces", Line{2, {}, "NOTE", text(" two spaces")}},
        {"  1 SEX M", Line{1, {}, "SEX", text("M")}},
        {"\t1 SEX M", Line{1, {}, "SEX", text("M")}},
        {"0 @I1@ INDI", Line{0, text("@I1@"), "INDI", {}}},
        {"0   @I1@   INDI", Line{0, text("@I1@"), "INDI", {}}},
        {"0 @I 1@ INDI", Line{0, text("@I 1@"), "INDI", {}}},
        {"99 CONT @@ at-signs @ and trailing  ", Line{99, {}, "CONT", text("@@ at-signs @ and trailing  ")}},
        {"05 _TAG", Line{5, {}, "_TAG", {}}},
        {"1  DATE 1 JAN 1900", Line{1, {}, "DATE", text("1 JAN 1900")}},
        {"1 TAG\tx", Line{1, {}, "TAG\tx", {}}},
        {"1 FAMS @F1@", Line{1, {}, "FAMS", text("@F1@")}},
        {"123 TAG", std::nullopt},
        {"1\tTAG", std::nullopt},
        {"1", std::nullopt},
        {"1 ", std::nullopt},
        {"1TAG", std::nullopt},
        {"1 @I1@", std::nullopt},
        {"1 @I1@ ", std::nullopt},
        {"1 @I1 TAG", std::nullopt},
        {"1 @@ TAG", std::nullopt},
        {"1 @I1@TAG", std::nullopt},
        {"", std::nullopt},
        {"NAME John", std::nullopt},
        {"-1 TAG", std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(GedcomReader::parseLine(c.line), c.expected) << "line: \"" << c.line << "\"";
}

TEST(GedcomReaderTest, LineBreaksAndEnding)
{
    struct Case
    {
        std::string text;
        std::vector<std::string_view> lines;
        std::size_t lf, crlf, cr;
        bool endsWithNewline;
        std::string_view ending;
        std::size_t lfcr = 0;
    };
    const Case cases[] = {
        {"", {}, 0, 0, 0, false, "\n"},
        {"a", {"a"}, 0, 0, 0, false, "\n"},
        {"a\n", {"a"}, 1, 0, 0, true, "\n"},
        {"a\r\nb\r\n", {"a", "b"}, 0, 2, 0, true, "\r\n"},
        {"a\rb\r", {"a", "b"}, 0, 0, 2, true, "\r"},
        {"a\n\rb", {"a", "b"}, 0, 0, 0, false, "\n\r", 1},
        {"a\n\r\n\rb\n\r", {"a", "", "b"}, 0, 0, 0, true, "\n\r", 3},
        {"a\n\r\nb", {"a", "", "b"}, 1, 0, 0, false, "\n", 1},
        {"a\n\nb\n", {"a", "", "b"}, 3, 0, 0, true, "\n"},
        {"a\r\nb\nc\n", {"a", "b", "c"}, 2, 1, 0, true, "\n"},
        {"a\r\nb\r\nc\n", {"a", "b", "c"}, 1, 2, 0, true, "\r\n"},
        {"a\rb\rc\n", {"a", "b", "c"}, 1, 0, 2, true, "\r"},
        {"\r\r\n", {"", ""}, 0, 1, 1, true, "\r\n"},
        {"a long line that crosses sixteen bytes\rand more",
         {"a long line that crosses sixteen bytes", "and more"},
         0,
         0,
         1,
         false,
         "\r"},
    };
    for (const Case& c : cases) {
        const auto split = GedcomReader::splitLines(c.text);
        EXPECT_EQ(split.lines, c.lines) << c.text;
        EXPECT_EQ(split.lf, c.lf) << c.text;
        EXPECT_EQ(split.crlf, c.crlf) << c.text;
        EXPECT_EQ(split.cr, c.cr) << c.text;
        EXPECT_EQ(split.lfcr, c.lfcr) << c.text;
        EXPECT_EQ(split.endsWithNewline, c.endsWithNewline) << c.text;
        EXPECT_EQ(GedcomReader::chooseLineEnding(split.lf, split.crlf, split.cr, split.lfcr), c.ending)
            << c.text;

        const GedcomDocument document = GedcomReader::read(c.text);
        EXPECT_EQ(document.lineEnding, c.ending) << c.text;
        EXPECT_EQ(document.endsWithNewline, c.endsWithNewline) << c.text;
        EXPECT_EQ(document.nextID, static_cast<std::int64_t>(c.lines.size()) + 1) << c.text;
    }
}

TEST(GedcomReaderTest, SmallCRLFFile)
{
    const GedcomDocument document = GedcomReader::read("0 HEAD\r\n1 CHAR UTF-8\r\n0 TRLR");
    EXPECT_EQ(document.lineEnding, "\r\n");
    EXPECT_FALSE(document.endsWithNewline);
    EXPECT_EQ(document.nextID, 4);
    EXPECT_EQ(shape(document), (std::vector<std::string>{"0:1:HEAD", "1:2:CHAR", "0:3:TRLR"}));
    EXPECT_EQ(document.encoding, TextEncoding::utf8);
    EXPECT_TRUE(document.readNotes.empty());
}

TEST(GedcomReaderTest, TreeShapes)
{
    struct Case
    {
        const char* name;
        std::string text;
        std::vector<std::string> shape;
    };
    const Case cases[] = {
        {"levels nest and close",
         "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n0 @I1@ INDI\n1 NAME A\n0 TRLR\n",
         {"0:1:HEAD", "1:2:GEDC", "2:3:VERS", "1:4:CHAR", "0:5:INDI", "1:6:NAME", "0:7:TRLR"}},
        {"a level jump is a child of the open line",
         "0 @I1@ INDI\n3 NOTE deep\n2 NOTE less deep\n1 NAME A\n",
         {"0:1:INDI", "1:2:NOTE", "1:3:NOTE", "1:4:NAME"}},
        {"malformed lines join the open line and take no children",
         "0 HEAD\n\n1 CHAR UTF-8\nrubbish\n2 VERS x\n0 TRLR\n",
         {"0:1:HEAD", "1:2:?", "1:3:CHAR", "2:4:?", "2:5:VERS", "0:6:TRLR"}},
        {"malformed lines before any record are records",
         "\nHello, world!\n0 HEAD\n",
         {"0:1:?", "0:2:?", "0:3:HEAD"}},
        {"a first line of level 1 becomes a record when closed",
         "1 NAME stray\n2 GIVN x\n0 HEAD\n",
         {"0:1:NAME", "1:2:GIVN", "0:3:HEAD"}},
        {"a shallower line after a deep first record starts a new record",
         "2 A\n1 B\n2 C\n",
         {"0:1:A", "0:2:B", "1:3:C"}},
    };
    for (const Case& c : cases) {
        const GedcomDocument document = GedcomReader::read(c.text);
        EXPECT_EQ(shape(document), c.shape) << c.name;
    }
}

TEST(GedcomReaderTest, NodesKeepTheirLines)
{
    const GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n  1 SEX M\n\n1 NAME \n1 NOTE  x \n");
    ASSERT_EQ(document.recordCount(), 1u);
    const NodeView person = document.record(0);
    EXPECT_EQ(person.xref(), "@I1@");
    EXPECT_EQ(person.raw(), "0 @I1@ INDI");
    std::vector<NodeView> children(person.children().begin(), person.children().end());
    ASSERT_EQ(children.size(), 3u);
    EXPECT_EQ(children[0].raw(), "  1 SEX M");
    EXPECT_EQ(children[0].value(), "M");
    // The blank line belongs to the line open above it.
    const NodeView blank = *children[0].children().begin();
    EXPECT_TRUE(blank.isMalformed());
    EXPECT_EQ(blank.raw(), "");
    EXPECT_EQ(blank.tag(), "");
    EXPECT_EQ(blank.value(), std::nullopt);
    EXPECT_EQ(children[1].value(), "");
    EXPECT_EQ(children[2].value(), " x ");
    EXPECT_EQ(children[2].xref(), std::nullopt);
}

TEST(GedcomReaderTest, LongTagsAndDistantTags)
{
    // Tags too long or too far into the line for the compact fields are found by parsing again.
    const std::string longTag(300, 'T');
    const std::string blanks(70000, ' ');
    const std::string text = "0 " + longTag + " value\n" + blanks + "1 @X1@ " + longTag + "\n";
    const GedcomDocument document = GedcomReader::read(text);
    const NodeView first = document.record(0);
    EXPECT_EQ(first.tag(), longTag);
    EXPECT_EQ(first.value(), "value");
    const NodeView second = *first.children().begin();
    EXPECT_EQ(second.tag(), longTag);
    EXPECT_EQ(second.xref(), "@X1@");
    EXPECT_EQ(second.value(), std::nullopt);
}

TEST(GedcomReaderTest, PartsReadOnSeveralThreadsGiveTheSameDocument)
{
    const std::string utf16 =
        "\xFF\xFE" + *TextEncodings::encode("0 HEAD\r\n1 CHAR UNICODE\r\n0 @I1@ INDI\r\n"
                                            "1 NAME Zo\u00EB /B/\r\n0 TRLR\r\n",
                                            TextEncoding::utf16LE);
    struct Case
    {
        const char* name;
        std::string text;
    };
    const Case cases[] = {
        {"a CONC and CONT run",
         "0 HEAD\n0 @N1@ NOTE a\n1 CONC bb\n1 CONT ccc\n1 CONC dddd\n1 CONT eeeee\n1 CONC f\n0 TRLR\n"},
        {"level-0 lines at the very start and end", "0 HEAD\n1 CHAR UTF-8\n0 @I1@ INDI\n0 TRLR"},
        {"carriage returns alone", "0 HEAD\r1 GEDC\r2 VERS 5.5.1\r0 @I1@ INDI\r1 NAME A\r0 TRLR\r"},
        {"line feeds then carriage returns",
         "0 HEAD\n\r1 CHAR X\n\r\n\r0 @I1@ INDI\n\r0 @I2@ INDI\n\r0 TRLR\n\r"},
        {"runs of mixed breaks", "0 A\n\r\n\r\n0 B\r\r\n\n0 C\r\n\r0 D\n\n\r\r0 E\n"},
        {"UTF-16", utf16},
        {"malformed lines", "junk\n0 HEAD\nmore junk\n  0 @I1@ INDI\n00 X\n1 NAME\n\n0\n0 @\n0 TRLR\n"},
        {"no level-0 line", "1 NAME a\n2 GIVN b\nrubbish\n1 NAME c\n2 SURN d\n"},
        {"a line too long for the short fields",
         "0 HEAD\n0 @N1@ NOTE " + std::string(70000, 'x') + "\n1 CONT y\n0 " + std::string(40, 'T') + " v\n"},
        {"empty", ""},
    };
    for (const Case& c : cases) {
        const GedcomDocument single = GedcomReader::read(c.text, {.threads = 1});
        const std::string written = GedcomWriter::write(single).data;
        for (unsigned threads = 2; threads <= 9; ++threads) {
            const GedcomDocument parted = GedcomReader::read(c.text, {.threads = threads, .minPartBytes = 1});
            EXPECT_TRUE(parted == single) << c.name << ", " << threads << " threads";
            EXPECT_EQ(GedcomWriter::write(parted).data, written) << c.name << ", " << threads << " threads";
        }
    }
}
