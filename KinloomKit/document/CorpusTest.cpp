// Reads every real file of the corpus folder and checks what its manifest's byte facts imply:
// the encoding chosen, the byte-order mark, the notes, the line breaks and the number of lines.
// The folder is ../shared/corpus or KINLOOM_CORPUS; without it the test skips itself.
#include "document/Files.h"
#include "document/GedcomReader.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>

using namespace kinloom;

namespace {

const std::string repairNote = "Some bytes weren\u2019t valid UTF-8 and were replaced with \uFFFD.";
const std::string anselIsUTF8Note =
    "The file says ANSEL but its text is UTF-8; it was read (and will be saved) as UTF-8.";
const std::string anselReplacedNote =
    "Some ANSEL bytes had no known character and were replaced with \uFFFD.";
const std::string asciiIsUTF8Note = "The file says ASCII but has UTF-8 characters; read as UTF-8.";
const std::string asciiIsOtherNote = "The file says ASCII but has other characters; read as Windows-1252.";
const std::string notUTF8Note = "The file says UTF-8 but has bytes that aren\u2019t; read as Windows-1252.";

std::filesystem::path corpusFolder()
{
    if (const char* folder = std::getenv("KINLOOM_CORPUS"))
        return folder;
    return KINLOOM_CORPUS_DEFAULT;
}

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
    std::size_t lf = 0, crlf = 0, cr = 0;

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
                facts.lf += n, facts.cr += n;
        }
    }
    return facts;
}

std::string upper(std::string text)
{
    for (char& c : text)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

/// Bytes that no ANSEL table holds.
bool hasUnknownAnselByte(const std::string& bytes)
{
    for (unsigned char b : bytes) {
        const bool unknown = (b >= 0x80 && b <= 0xA0) || b == 0xAF || b == 0xBB || (b >= 0xC9 && b <= 0xCE) ||
                             (b >= 0xD0 && b <= 0xDF) || b == 0xFC || b == 0xFD || b == 0xFF;
        if (unknown)
            return true;
    }
    return false;
}

struct Expected
{
    TextEncoding encoding;
    bool hasBOM = false;
    std::vector<std::string> notes;
};

Expected expectedReading(const Facts& facts, const std::string& bytes)
{
    if (facts.has("UTF-8 BOM"))
        return {TextEncoding::utf8, true,
                facts.has("NOT valid UTF-8") ? std::vector{repairNote} : std::vector<std::string>{}};
    if (facts.has("UTF-16LE BOM"))
        return {TextEncoding::utf16LE, true, {}};
    if (facts.has("UTF-16BE BOM"))
        return {TextEncoding::utf16BE, true, {}};
    if (facts.has("UTF-16LE (no BOM"))
        return {TextEncoding::utf16LE, false, {}};
    if (facts.has("UTF-16BE (no BOM"))
        return {TextEncoding::utf16BE, false, {}};

    const bool ascii = facts.has("pure ASCII") || facts.bytes == 0;
    const bool utf8 = ascii || (facts.has("valid UTF-8") && !facts.has("NOT valid UTF-8"));
    const std::string declared = upper(facts.declared);
    if (declared == "ANSEL") {
        if (!ascii && utf8)
            return {TextEncoding::utf8, false, {anselIsUTF8Note}};
        return {TextEncoding::ansel, false,
                hasUnknownAnselByte(bytes) ? std::vector{anselReplacedNote} : std::vector<std::string>{}};
    }
    static const std::map<std::string, TextEncoding> singleByte = {
        {"ANSI", TextEncoding::windows1252},
        {"WINDOWS-1252", TextEncoding::windows1252},
        {"CP1252", TextEncoding::windows1252},
        {"WINDOWS", TextEncoding::windows1252},
        {"IBM WINDOWS", TextEncoding::windows1252},
        {"ISO-8859-1", TextEncoding::latin1},
        {"ISO8859-1", TextEncoding::latin1},
        {"LATIN1", TextEncoding::latin1},
        {"LATIN-1", TextEncoding::latin1},
        {"MACINTOSH", TextEncoding::macRoman},
        {"MACROMAN", TextEncoding::macRoman},
        {"IBMPC", TextEncoding::ibmPC},
        {"IBM PC", TextEncoding::ibmPC},
        {"IBM DOS", TextEncoding::ibmPC},
    };
    // Code page 437 and Latin-1 decode every byte; Windows-1252 falls back to Latin-1 silently.
    if (const auto found = singleByte.find(declared); found != singleByte.end())
        return {found->second, false, {}};
    if (declared == "ASCII") {
        if (ascii)
            return {TextEncoding::ascii, false, {}};
        return utf8 ? Expected{TextEncoding::utf8, false, {asciiIsUTF8Note}}
                    : Expected{TextEncoding::windows1252, false, {asciiIsOtherNote}};
    }
    return utf8 ? Expected{TextEncoding::utf8, false, {}}
                : Expected{TextEncoding::windows1252, false, {notUTF8Note}};
}

} // namespace

TEST(CorpusTest, EveryFileReadsAsItsBytesImply)
{
    const std::filesystem::path folder = corpusFolder();
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
        const Expected expected = expectedReading(facts, *bytes);

        const GedcomDocument document = GedcomReader::read(*bytes);
        EXPECT_EQ(document.encoding, expected.encoding) << displayName(document.encoding);
        EXPECT_EQ(document.hasBOM, expected.hasBOM);
        EXPECT_EQ(document.readNotes, expected.notes);

        const std::size_t breaks = facts.lf + facts.crlf + facts.cr;
        const bool finalBreak = breaks > 0 && !facts.has("no final newline");
        EXPECT_EQ(document.endsWithNewline, finalBreak);
        EXPECT_EQ(document.nextID - 1,
                  static_cast<std::int64_t>(breaks + (finalBreak || facts.bytes == 0 ? 0 : 1)));
        EXPECT_EQ(document.lineEnding, GedcomReader::chooseLineEnding(facts.lf, facts.crlf, facts.cr));

        // Every node is its line as read, in order.
        const std::string text = TextEncodings::decode(*bytes).text;
        const auto split = GedcomReader::splitLines(text);
        EXPECT_EQ(split.lf, facts.lf);
        EXPECT_EQ(split.crlf, facts.crlf);
        EXPECT_EQ(split.cr, facts.cr);
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
