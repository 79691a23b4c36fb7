// SPDX-License-Identifier: GPL-3.0-or-later
// Reads every real file of the corpus folder and checks what its manifest's byte facts imply:
// the encoding chosen (pinned here), the byte-order mark, the notes, the line breaks, the number
// of lines, and that an unchanged save gives the bytes back with uniform line breaks.
// The folder is ../shared/corpus or KINLOOM_CORPUS; without it the test skips itself.
#include "sample/Corpus.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

using namespace kinloom;

namespace {

const std::string repairNote = "Some bytes weren\u2019t valid UTF-8 and were replaced with \uFFFD.";
const std::string anselReplacedNote =
    "Some ANSEL bytes had no known character and were replaced with \uFFFD.";

std::vector<std::string> splitOn(const std::string& text, char separator)
{
    std::vector<std::string> parts;
    std::stringstream stream(text);
    std::string part;
    while (std::getline(stream, part, separator))
        parts.push_back(part);
    return parts;
}

/// One manifest row: what the bytes of a file are, as recorded when it was collected.
struct Facts
{
    std::string file;
    std::size_t bytes = 0;
    std::string declared; ///< the CHAR value, empty when none
    std::string looks;    ///< the "bytes look like" column
    std::size_t lf = 0, crlf = 0, cr = 0, lfcr = 0;

    bool has(std::string_view phrase) const { return looks.find(phrase) != std::string::npos; }
};

Facts parseFacts(const std::map<std::string, std::string>& row)
{
    Facts facts;
    facts.file = row.at("file");
    facts.bytes = std::stoul(row.at("bytes"));
    facts.looks = row.at("bytes_look_like");
    const std::string& header = row.at("header_says");
    if (const std::size_t at = header.find("CHAR="); at != std::string::npos) {
        std::string value = header.substr(at + 5);
        value = value.substr(0, value.find_first_of(";("));
        while (!value.empty() && value.back() == ' ')
            value.pop_back();
        if (value != "(none)" && !value.empty())
            facts.declared = value;
    }
    // "line ends: CRLF x72943, LF x20 (MIXED); ..." with LFCR meaning a line feed then a carriage return.
    if (const std::size_t at = facts.looks.find("line ends: "); at != std::string::npos) {
        const std::string list = facts.looks.substr(at + 11, facts.looks.find(';', at) - at - 11);
        for (const std::string& item : splitOn(list, ',')) {
            std::istringstream words(item);
            std::string kind, count;
            words >> kind >> count;
            if (count.size() < 2 || count[0] != 'x')
                continue;
            const std::size_t n = std::stoul(count.substr(1));
            if (kind == "LF")
                facts.lf += n;
            else if (kind == "CRLF")
                facts.crlf += n;
            else if (kind == "CR")
                facts.cr += n;
            else if (kind == "LFCR")
                facts.lfcr += n;
        }
    }
    return facts;
}

/// What each file's bytes call for: the encoding it is read in, and the notes said about it.
struct Expected
{
    TextEncoding encoding;
    std::vector<std::string> notes;
};

const std::map<std::string, Expected>& pinned()
{
    using enum TextEncoding;
    static const std::map<std::string, Expected> table = {
        {"5.5.1 sample 3.ged", {utf8, {}}},
        {"555SAMPLE.GED", {utf8, {}}},
        {"555SAMPLE16LE.GED", {utf16LE, {}}},
        {"ALLGED.GED", {ascii, {}}},
        {"ANSEL.GED", {ansel, {}}},
        {"Issue 64.ged", {ansel, {}}},
        {"Issue 80.ged", {ansel, {}}},
        {"Kennedy+Family.ged", {windows1252, {}}},
        {"LTERCR.GED", {ascii, {}}},
        {"LTERCRLF.GED", {ascii, {}}},
        {"LTERLF.GED", {ascii, {}}},
        {"MINIMAL555.GED", {utf8, {}}},
        {"Prophet+Mohommad+Family+Tree.ged", {windows1252, {}}},
        {"REMARR.GED", {utf8, {}}},
        {"SSMARR.GED", {utf8, {}}},
        {"Simpsons Cartoon.ged", {utf8, {}}},
        {"TGC551.ged", {ansel, {anselReplacedNote}}},
        {"TGC551LF.ged", {ansel, {anselReplacedNote}}},
        {"TGC55C.ged", {ansel, {anselReplacedNote}}},
        {"The Kennedy Family.ged", {utf8, {}}},
        {"UHLBOMCL.GED", {utf16BE, {}}},
        {"ULHBOMCL.GED", {utf16LE, {}}},
        {"US+Presidents+Trees+I.ged", {ibmPC, {}}},
        {"Wikipedia+Gods+not+Yet+Connected.ged", {utf8, {}}},
        {"Yuan+Dynasty.ged", {utf8, {}}},
        {"ansel_specified.ged", {ansel, {}}},
        {"ansel_specified_malformed_atend.ged", {ansel, {}}},
        {"blank-lines.ged", {utf8, {}}},
        {"char_ascii_2.ged", {latin1, {}}},
        {"char_utf16be-1.ged", {utf16BE, {}}},
        {"char_utf16be-2.ged", {utf16BE, {}}},
        {"char_utf16le-1.ged", {utf16LE, {}}},
        {"char_utf8-2.ged", {utf8, {}}},
        {"cp1252-crlf.ged", {windows1252, {}}},
        {"escapes.ged", {utf8, {}}},
        {"extensions.ged", {utf8, {}}},
        {"issue102_100levels.ged", {ansel, {}}},
        {"maximal70.ged", {utf8, {}}},
        {"minimal70.ged", {utf8, {}}},
        {"not_ged.ged", {utf8, {}}},
        {"notes71.ged", {utf8, {}}},
        {"remarriage1.ged", {utf8, {}}},
        {"royal92.ged", {ansel, {}}},
        {"shakespeare.ged", {utf8, {}}},
        {"superlongline-ansel.ged", {ansel, {}}},
        {"test_agelong_ansel(win1251).ged",
         {windows1251,
          {"The file says ANSEL but its text looks like Windows-1251 (Cyrillic); it was read (and will be "
           "saved) "
           "as Windows-1251."}}},
        {"test_ahn_ansi(win1250).ged", {windows1250, {}}},
        {"test_empty.ged", {utf8, {}}},
        {"test_famhist.ged", {utf8, {}}},
        {"test_gc4j_utf8.ged",
         {utf8, {"The file says ANSI but its text is UTF-8; it was read (and will be saved) as UTF-8."}}},
        {"test_geni_badlines.ged", {utf8, {}}},
        {"test_heredis.ged", {ansel, {}}},
        {"tiny-1.ged", {utf8, {}}},
        {"unicode-littleendian-crlf.ged", {utf16LE, {}}},
        {"unicode-littleendian-cronly.ged", {utf16LE, {}}},
        {"utf16be.ged", {utf16BE, {}}},
        {"utf16le_specified_incorrect.ged", {utf8, {}}},
        {"utf8-nobom-lf.ged", {utf8, {}}},
        {"utf8-unicode.ged", {utf8, {}}},
        {"utf8.ged", {utf8, {}}},
        {"utf8_bom_malformed.ged", {utf8, {repairNote}}},
        {"utf8_cr_nobom.ged", {utf8, {}}},
        {"v7_encoding_mismatch.ged", {utf16LE, {}}},
        {"willis-unicode-littleendian.ged", {utf16LE, {}}},
    };
    return table;
}

/// The bytes (after any byte-order mark) as lines split at LF, CRLF and CR, in bytes or in the
/// two-byte units of UTF-16, each followed by one ending; the final one only when the file ends
/// with a break.
std::string withUniformBreaks(std::string_view bytes, TextEncoding encoding, const std::string& ending)
{
    const bool utf16 = encoding == TextEncoding::utf16LE || encoding == TextEncoding::utf16BE;
    const std::size_t unit = utf16 ? 2 : 1;
    const auto valueAt = [&](std::size_t i) -> unsigned {
        const auto* p = reinterpret_cast<const unsigned char*>(bytes.data() + i);
        if (!utf16)
            return p[0];
        return encoding == TextEncoding::utf16BE ? (p[0] << 8) | p[1] : (p[1] << 8) | p[0];
    };
    std::string out;
    std::size_t start = 0;
    std::size_t i = 0;
    while (i + unit <= bytes.size()) {
        const unsigned value = valueAt(i);
        if (value != '\n' && value != '\r') {
            i += unit;
            continue;
        }
        out.append(bytes.substr(start, i - start));
        out += ending;
        const bool crlf = value == '\r' && i + 2 * unit <= bytes.size() && valueAt(i + unit) == '\n';
        const bool lfcr = value == '\n' && i + 2 * unit <= bytes.size() && valueAt(i + unit) == '\r';
        i += (crlf || lfcr ? 2 : 1) * unit;
        start = i;
    }
    out.append(bytes.substr(start));
    return out;
}

} // namespace

TEST(CorpusTest, EveryFileReadsAsItsBytesImply)
{
    const std::filesystem::path folder = Corpus::folder();
    std::ifstream manifest(folder / "MANIFEST.tsv");
    if (!manifest)
        GTEST_SKIP() << "no corpus at " << folder;

    std::string line;
    std::getline(manifest, line);
    const std::vector<std::string> columns = splitOn(line, '\t');
    std::size_t files = 0;
    while (std::getline(manifest, line)) {
        const std::vector<std::string> cells = splitOn(line, '\t');
        std::map<std::string, std::string> row;
        for (std::size_t i = 0; i < columns.size() && i < cells.size(); ++i)
            row[columns[i]] = cells[i];
        const Facts facts = parseFacts(row);
        SCOPED_TRACE(facts.file);

        std::string error;
        const std::optional<std::string> bytes = Files::readFile((folder / facts.file).string(), error);
        ASSERT_TRUE(bytes) << error;
        ASSERT_EQ(bytes->size(), facts.bytes);
        const auto expected = pinned().find(facts.file);
        ASSERT_NE(expected, pinned().end()) << "not in the pinned table";

        const GedcomDocument document = GedcomReader::read(*bytes, {.threads = 1});
        // Read in parts on several threads, it is the same document.
        EXPECT_TRUE(GedcomReader::read(*bytes, {.threads = 3, .minPartBytes = 1}) == document);
        EXPECT_EQ(document.encoding, expected->second.encoding) << rawValue(document.encoding);
        EXPECT_EQ(document.hasBOM,
                  facts.has("UTF-8 BOM") || facts.has("UTF-16LE BOM") || facts.has("UTF-16BE BOM"));
        EXPECT_EQ(document.readNotes, expected->second.notes);

        // Saved unchanged, the file comes back byte for byte but for its line breaks, all now
        // the one chosen ending.
        const GedcomWriter::Output output = GedcomWriter::write(document);
        EXPECT_EQ(output.note, std::nullopt);
        const std::string ending = *TextEncodings::encode(
            document.lineEnding,
            document.encoding == TextEncoding::utf8 ? TextEncoding::utf8 : document.encoding);
        const std::size_t mark = !document.hasBOM ? 0 : document.encoding == TextEncoding::utf8 ? 3 : 2;
        EXPECT_EQ(output.data,
                  bytes->substr(0, mark) +
                      withUniformBreaks(std::string_view(*bytes).substr(mark), document.encoding, ending));

        const std::size_t breaks = facts.lf + facts.crlf + facts.cr + facts.lfcr;
        const bool finalBreak = breaks > 0 && !facts.has("no final newline");
        EXPECT_EQ(document.endsWithNewline, finalBreak);
        EXPECT_EQ(document.nextID - 1,
                  static_cast<std::int64_t>(breaks + (finalBreak || facts.bytes == 0 ? 0 : 1)));
        EXPECT_EQ(document.lineEnding,
                  GedcomReader::chooseLineEnding(facts.lf, facts.crlf, facts.cr, facts.lfcr));

        // Every node is its line as read, in order.
        const std::string text = TextEncodings::decode(*bytes).text;
        const auto split = GedcomReader::splitLines(text);
        EXPECT_EQ(split.lf, facts.lf);
        EXPECT_EQ(split.crlf, facts.crlf);
        EXPECT_EQ(split.cr, facts.cr);
        EXPECT_EQ(split.lfcr, facts.lfcr);
        std::int64_t id = 1;
        bool inOrder = true;
        document.walk([&](NodeView node) {
            inOrder =
                inOrder && node.id() == id && node.raw() == split.lines[static_cast<std::size_t>(id - 1)];
            ++id;
        });
        EXPECT_TRUE(inOrder);
        ++files;
    }
    EXPECT_GT(files, 0u);
}
