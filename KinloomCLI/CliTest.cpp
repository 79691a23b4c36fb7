// SPDX-License-Identifier: GPL-3.0-or-later
#include "KinloomCLI/Cli.h"

#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <latch>
#include <set>
#include <sstream>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

using namespace kinloom;

namespace {

struct Outcome
{
    int status;
    std::string out;
    std::string err;
};

Outcome runCli(const std::vector<std::string>& arguments)
{
    std::ostringstream out, err;
    const int status = Cli::run(arguments, out, err);
    return {status, out.str(), err.str()};
}

/// The address space this process has mapped, in bytes.
std::uint64_t mappedBytes()
{
    std::ifstream statm("/proc/self/statm");
    std::uint64_t pages = 0;
    statm >> pages;
    return pages * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

class CliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("kinloom-cli-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
        // Decisions go to a store of the test's own, never the user's.
        setenv("XDG_DATA_HOME", (m_folder / "data").c_str(), 1);
    }
    void TearDown() override { std::filesystem::remove_all(m_folder); }

    std::string write(const std::string& name, const std::string& bytes)
    {
        const auto path = m_folder / name;
        std::ofstream(path, std::ios::binary) << bytes;
        return path.string();
    }

    std::filesystem::path m_folder;
};

} // namespace

TEST_F(CliTest, EncodingOptionReadsInTheNamedEncoding)
{
    // "Stanisław" in Windows-1250, under a header that names another code page.
    const std::string path = write("pl.ged", "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR ANSEL\n"
                                             "0 @I1@ INDI\n1 NAME Stanis\xb3"
                                             "aw /Nowak/\n0 TRLR\n");
    for (const char* name : {"windows-1250", "Windows-1250", "CP1250", "windows1250"}) {
        const Outcome outcome = runCli({"info", path, "--json", "--encoding", name});
        ASSERT_EQ(outcome.status, Cli::done) << name << ": " << outcome.err;
        EXPECT_EQ(nlohmann::json::parse(outcome.out)["encoding"], "Windows-1250 (Central European)") << name;
    }
    const Outcome mac = runCli({"info", path, "--json", "--encoding", "mac roman"});
    EXPECT_EQ(nlohmann::json::parse(mac.out)["encoding"], "Mac Roman");

    const Outcome unknown = runCli({"info", path, "--encoding", "Klingon"});
    EXPECT_EQ(unknown.status, Cli::usage);
    EXPECT_NE(
        unknown.err.find("Kinloom doesn\u2019t know the encoding \u201CKlingon\u201D. Use one of UTF-8, "
                         "UTF-16LE, UTF-16BE, ANSEL,"),
        std::string::npos)
        << unknown.err;
    EXPECT_NE(unknown.err.find("Windows-1250, Windows-1251,"), std::string::npos);
    EXPECT_TRUE(unknown.out.empty());
}

TEST_F(CliTest, InfoPrintsWhatTheReaderLearnt)
{
    const std::string path =
        write("Smith.ged", "0 HEAD\r\n1 GEDC\r\n2 VERS 5.5.1\r\n1 CHAR ASCII\r\n0 @I1@ INDI\r\n"
                           "1 NAME Ren\xC3\xA9 /Smith/\r\n0 TRLR");
    const Outcome text = runCli({"info", path});
    EXPECT_EQ(text.status, Cli::done);
    EXPECT_EQ(text.out, "File:            Smith.ged\n"
                        "Version:         GEDCOM 5.5.1\n"
                        "Encoding:        UTF-8\n"
                        "Byte-order mark: no\n"
                        "Line ending:     CRLF (no final line break)\n"
                        "Lines:           7\n"
                        "Records:         3\n"
                        "People:          1\n"
                        "Families:        0\n"
                        "Sources:         0\n"
                        "Other records:   0\n"
                        "DATE values:     0\n"
                        "PLAC values:     0\n"
                        "Reading notes:\n"
                        "  - The file says ASCII but has UTF-8 characters; read as UTF-8.\n");

    const Outcome json = runCli({"info", path, "--json"});
    EXPECT_EQ(json.status, Cli::done);
    const auto parsed = nlohmann::json::parse(json.out);
    EXPECT_EQ(parsed["encoding"], "UTF-8");
    EXPECT_EQ(parsed["encodingRawValue"], "utf8");
    EXPECT_EQ(parsed["lines"], 7);
    EXPECT_EQ(parsed["records"], 3);
    EXPECT_EQ(parsed["people"], 1);
    EXPECT_EQ(parsed["dates"], 0);
    EXPECT_EQ(parsed["lineEnding"], "CRLF");
    EXPECT_EQ(parsed["readNotes"].size(), 1u);
}

TEST_F(CliTest, RefusalsAndStatuses)
{
    const std::string notGedcom = write("hello.ged", "Hello, world!\r\n");
    const std::string empty = write("empty.ged", "");
    struct Case
    {
        std::vector<std::string> arguments;
        int status;
        std::string err;
    };
    const Case cases[] = {
        {{"info", (m_folder / "missing.ged").string()},
         Cli::unreadable,
         "Couldn\u2019t read \u201Cmissing.ged\u201D: No such file or directory\n"},
        {{"info", m_folder.string()},
         Cli::unreadable,
         "Couldn\u2019t read \u201C" + m_folder.filename().string() + "\u201D: Is a directory\n"},
        {{"info", notGedcom},
         Cli::unreadable,
         "\u201Chello.ged\u201D doesn\u2019t look like a family-tree (GEDCOM) file.\n"},
        {{"info", empty},
         Cli::unreadable,
         "\u201Cempty.ged\u201D doesn\u2019t look like a family-tree (GEDCOM) file.\n"},
        {{"info", notGedcom, "--xml"}, Cli::usage, ""},
        {{"info"}, Cli::usage, ""},
        {{"frobnicate"}, Cli::usage, ""},
        {{}, Cli::usage, ""},
        {{"sample", notGedcom},
         Cli::usage,
         "\u201Chello.ged\u201D already exists. Choose a new name: the original and other files are never "
         "overwritten.\n"},
        {{"sample", (m_folder / "x.ged").string(), "--people", "ten"}, Cli::usage, ""},
        {{"sample", (m_folder / "x.ged").string(), "--seed"}, Cli::usage, ""},
    };
    for (const Case& c : cases) {
        const Outcome outcome = runCli(c.arguments);
        EXPECT_EQ(outcome.status, c.status) << outcome.err;
        if (!c.err.empty()) {
            EXPECT_EQ(outcome.err, c.err);
        }
        EXPECT_EQ(outcome.out, "");
    }
    // Nothing was written over or beside the refused files.
    EXPECT_EQ(std::filesystem::file_size(notGedcom), 15u);
    EXPECT_FALSE(std::filesystem::exists(m_folder / "x.ged"));
}

TEST_F(CliTest, HelpVersionAndUnknownOptions)
{
    const std::string path = write("tree.ged", SampleTree::sampleText());
    struct Case
    {
        std::vector<std::string> arguments;
        int status;
        std::string outStart; ///< what stdout starts with
        std::string err;
    };
    const std::string checkUsage =
        "usage: kinloom-cli check FILE [--json] [--report OUT.txt|OUT.pdf] [OPTIONS] "
        "[--fail-on warning|error]\nkinloom-cli check --help shows its options and "
        "examples.\n";
    const Case cases[] = {
        {{"--help"}, Cli::done, "usage: kinloom-cli info FILE", ""},
        {{"-h"}, Cli::done, "usage: kinloom-cli info FILE", ""},
        {{"--version"}, Cli::done, "kinloom-cli " KINLOOM_VERSION "\n", ""},
        // A command's help wins over the rest of its command line, which is not run.
        {{"check", "--help"}, Cli::done, "usage: kinloom-cli check FILE", ""},
        {{"tidy", path, "--fix", "all", "-h"}, Cli::done, "usage: kinloom-cli tidy FILE", ""},
        {{"help", "dismiss"}, Cli::done, "usage: kinloom-cli dismiss FILE ID...", ""},
        {{"check", path, "--frobnicate"},
         Cli::usage,
         "",
         "kinloom-cli: unknown option --frobnicate\n" + checkUsage},
        {{"check", path, "-x"}, Cli::usage, "", "kinloom-cli: unknown option -x\n" + checkUsage},
        {{"check", path, "--report"}, Cli::usage, "", "kinloom-cli: --report needs a value\n" + checkUsage},
        {{"kinds", "--json"},
         Cli::usage,
         "",
         "kinloom-cli: unknown option --json\nusage: kinloom-cli kinds\nkinloom-cli kinds --help shows its "
         "options and examples.\n"},
        {{"--frobnicate"}, Cli::usage, "", ""},
    };
    for (const Case& c : cases) {
        const Outcome outcome = runCli(c.arguments);
        EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.arguments) << outcome.err;
        EXPECT_TRUE(outcome.out.starts_with(c.outStart)) << outcome.out;
        EXPECT_EQ(outcome.out.empty(), c.outStart.empty()) << outcome.out;
        if (!c.err.empty()) {
            EXPECT_EQ(outcome.err, c.err);
        }
    }
    EXPECT_TRUE(runCli({"--frobnicate"}).err.starts_with("kinloom-cli: unknown option --frobnicate\nusage:"));
    EXPECT_FALSE(std::filesystem::exists(m_folder / "tree (tidied).ged"));
}

// Each command's help lists only options the command takes, and gives examples.
TEST_F(CliTest, HelpListsOnlyOptionsTheCommandTakes)
{
    for (const std::string command : {"info", "check", "tidy", "sample", "dismiss", "undismiss", "kinds"}) {
        const std::string help = runCli({command, "--help"}).out;
        EXPECT_NE(help.find("  kinloom-cli " + command, help.find("\nExamples:\n")), std::string::npos)
            << help;
        std::istringstream lines(help);
        for (std::string line; std::getline(lines, line);) {
            if (!line.starts_with("  --"))
                continue;
            const std::string option = line.substr(2, line.find(' ', 2) - 2);
            const Outcome outcome = runCli({command, option});
            EXPECT_EQ(outcome.err.find("unknown option"), std::string::npos) << command << " " << option;
        }
    }
}

TEST_F(CliTest, KindsListsEveryKindOfFinding)
{
    const Outcome outcome = runCli({"kinds"});
    EXPECT_EQ(outcome.status, Cli::done);
    EXPECT_TRUE(outcome.out.starts_with("dup               duplicates       The same person twice\n"
                                        "dupfam            duplicates       Same couple, two families\n"))
        << outcome.out;
    EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), allFindingKinds().size());
}

TEST_F(CliTest, SampleRefusesMorePeopleThanMemoryHolds)
{
    const std::string path = (m_folder / "huge.ged").string();
    const Outcome outcome = runCli({"sample", path, "--people", "99999999999"});
    EXPECT_EQ(outcome.status, Cli::usage);
    EXPECT_TRUE(
        outcome.err.starts_with("kinloom-cli: a tree of 99999999999 people needs more memory than this "
                                "computer has available; it has room for about "))
        << outcome.err;
    EXPECT_EQ(outcome.out, "");
    EXPECT_FALSE(std::filesystem::exists(path));
}

TEST_F(CliTest, SampleWritesTreesThatRead)
{
    const std::string small = (m_folder / "Sample Tree.ged").string();
    ASSERT_EQ(runCli({"sample", small}).status, Cli::done);
    const Outcome info = runCli({"info", small, "--json"});
    ASSERT_EQ(info.status, Cli::done);
    const auto parsed = nlohmann::json::parse(info.out);
    EXPECT_EQ(parsed["version"], "GEDCOM 5.5.1");
    EXPECT_EQ(parsed["encoding"], "UTF-8");
    EXPECT_TRUE(parsed["readNotes"].empty());

    const std::string synthetic = (m_folder / "synthetic.ged").string();
    ASSERT_EQ(runCli({"sample", synthetic, "--people", "200", "--seed", "7"}).status, Cli::done);
    EXPECT_EQ(runCli({"info", synthetic}).status, Cli::done);
}

TEST_F(CliTest, TidyWritesANumberedCopyAndChangeLog)
{
    const std::string original = "0 HEAD\r\n1 CHAR ANSEL\r\n0 @I1@ INDI\r\n1 NAME Ren\xE2"
                                 "e /D\xE8u/\r\n0 TRLR\r\n";
    const std::string path = write("Smith.ged", original);
    const Outcome first = runCli({"tidy", path});
    ASSERT_EQ(first.status, Cli::done) << first.err;
    EXPECT_EQ(first.out, "Saved \u201CSmith (tidied).ged\u201D and its change log.\n");
    const Outcome second = runCli({"tidy", path});
    ASSERT_EQ(second.status, Cli::done) << second.err;
    EXPECT_EQ(second.out, "Saved \u201CSmith (tidied) 2.ged\u201D and its change log.\n");

    auto contents = [](const std::filesystem::path& file) {
        std::ifstream stream(file, std::ios::binary);
        return std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    };
    EXPECT_EQ(contents(m_folder / "Smith.ged"), original);
    EXPECT_EQ(contents(m_folder / "Smith (tidied).ged"), original);
    EXPECT_EQ(contents(m_folder / "Smith (tidied) 2.ged"), original);
    const std::string log = contents(m_folder / "Smith (tidied) 2 change log.txt");
    EXPECT_TRUE(log.starts_with("# Kinloom change log\nOriginal: Smith.ged (not changed)\n"
                                "Cleaned copy: Smith (tidied) 2.ged\nSaved "))
        << log;
    EXPECT_TRUE(log.ends_with(". 0 changes.\n\nNo changes: the copy has the same content as the original.\n"))
        << log;
    EXPECT_TRUE(std::filesystem::exists(m_folder / "Smith (tidied) change log.txt"));

    // Into another folder.
    std::filesystem::create_directory(m_folder / "out");
    EXPECT_EQ(runCli({"tidy", path, "--out", (m_folder / "out").string()}).status, Cli::done);
    EXPECT_EQ(contents(m_folder / "out" / "Smith (tidied).ged"), original);
}

namespace {

// A header with every part GEDCOM 5.5.1 requires, and the submitter it names.
const std::string fullHeader =
    "0 HEAD\n1 SOUR Kinloom\n1 SUBM @U1@\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 CHAR UTF-8\n";
const std::string submitter = "0 @U1@ SUBM\n1 NAME Ann\n";
const std::string cleanTree =
    fullHeader + "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n" + submitter + "0 TRLR\n";
const std::string headlessTree = "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n0 TRLR\n";
const std::string privacyLine =
    "This report was made on this computer by Kinloom; the file was not changed or sent anywhere.\n";

} // namespace

TEST_F(CliTest, CheckPrintsTheReport)
{
    const std::string path =
        write("Unreadable.ged",
              fullHeader + "0 @I1@ INDI\n1 NAME John /Smith/\nHello\n1 SEX M\n" + submitter + "0 TRLR\n");
    const Outcome outcome = runCli({"check", path});
    EXPECT_EQ(outcome.status, Cli::done) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.starts_with("# Kinloom report: Unreadable.ged\nScanned ")) << outcome.out;
    EXPECT_NE(outcome.out.find(". GEDCOM 5.5.1, UTF-8, 14 lines.\n1 person, 0 families, 0 sources, 0 dates, "
                               "0 place names.\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_NE(outcome.out.find(
                  "\n## File (1)\n\n### Unreadable line kept as is (1)\n\nNote: Unreadable line kept as is\n"
                  "  In John Smith (@I1@): "
                  "\u201CHello\u201D. It is saved unchanged.\n"),
              std::string::npos)
        << outcome.out;
    EXPECT_TRUE(outcome.out.ends_with("\n\n" + privacyLine)) << outcome.out;

    const Outcome clean = runCli({"check", write("Clean.ged", cleanTree)});
    EXPECT_EQ(clean.status, Cli::done);
    EXPECT_TRUE(clean.out.ends_with("\n\nNo problems found.\n\n" + privacyLine)) << clean.out;
}

TEST_F(CliTest, CheckJSON)
{
    const std::string path = write("Headless.ged", headlessTree);
    const Outcome outcome = runCli({"check", path, "--json"});
    ASSERT_EQ(outcome.status, Cli::done) << outcome.err;
    const auto parsed = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(parsed["file"], "Headless.ged");
    const auto& statistics = parsed["statistics"];
    EXPECT_EQ(statistics["people"], 1);
    EXPECT_EQ(statistics["families"], 0);
    EXPECT_EQ(statistics["lines"], 4);
    EXPECT_EQ(statistics["version"], "GEDCOM (version not stated)");
    EXPECT_EQ(statistics["encoding"], "UTF-8");
    EXPECT_TRUE(statistics["dateStyles"].is_array());
    EXPECT_TRUE(statistics["numericOrder"].is_null());
    const nlohmann::json noHeader = {
        {"id", "file-nohead"},
        {"kind", "file-nohead"},
        {"category", "file"},
        {"severity", "warning"},
        {"title", "No header"},
        {"detail",
         "The file has no HEAD record. Most programs still read it, but it may not be a GEDCOM file."},
        {"records", nlohmann::json::array()},
        {"fix", nullptr},
        {"places", nullptr},
        {"match", nullptr},
    };
    EXPECT_EQ(parsed["findings"], nlohmann::json::array({noHeader}));

    // A date with a certain rewrite carries its fix as values a script can apply.
    const std::string dated = write("Dated.ged", "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n0 @I1@ INDI\n"
                                                 "1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 12  MAR 1890\n"
                                                 "0 TRLR\n");
    const Outcome withFix = runCli({"check", dated, "--json", "--numeric-order", "day-first"});
    ASSERT_EQ(withFix.status, Cli::done) << withFix.err;
    const auto findings = nlohmann::json::parse(withFix.out)["findings"];
    const auto date = std::find_if(findings.begin(), findings.end(),
                                   [](const nlohmann::json& finding) { return finding["id"] == "date-9"; });
    ASSERT_NE(date, findings.end()) << withFix.out;
    EXPECT_EQ((*date)["category"], "dateFormats");
    EXPECT_EQ((*date)["records"], nlohmann::json::array({"@I1@"}));
    const auto& fix = (*date)["fix"];
    EXPECT_EQ(fix["title"], "Write as \u201C12 MAR 1890\u201D");
    EXPECT_EQ(fix["needsReview"], false);
    EXPECT_EQ(
        fix["edits"],
        nlohmann::json::parse(R"([{"kind":"setValue","node":9,"from":"12  MAR 1890","to":"12 MAR 1890"}])"));
    ASSERT_EQ(fix["preview"].size(), 1u);
    EXPECT_EQ(fix["preview"][0]["before"], "12  MAR 1890");
    EXPECT_EQ(fix["preview"][0]["after"], "12 MAR 1890");
}

TEST_F(CliTest, CheckJSONIsTheScanFindingByFinding)
{
    const std::string text = SampleTree::sampleText();
    const Outcome outcome = runCli({"check", write("Sample Tree.ged", text), "--json"});
    ASSERT_EQ(outcome.status, Cli::done) << outcome.err;
    // Written a finding at a time, yet laid out exactly as the whole document dumped at once.
    const auto parsed = nlohmann::ordered_json::parse(outcome.out);
    EXPECT_EQ(outcome.out, parsed.dump(2) + "\n");

    auto keys = [](const nlohmann::ordered_json& object) {
        std::vector<std::string> names;
        for (const auto& item : object.items())
            names.push_back(item.key());
        return names;
    };
    EXPECT_EQ(keys(parsed), (std::vector<std::string>{"file", "statistics", "findings"}));
    EXPECT_EQ(keys(parsed["statistics"]),
              (std::vector<std::string>{"people", "families", "sources", "otherRecords", "dates", "places",
                                        "placeSpellings", "distinctPlaces", "lines", "version", "encoding",
                                        "dateStyles", "numericOrder"}));

    const ScanResult result = Scanner::scan(GedcomReader::read(text));
    EXPECT_EQ(parsed["statistics"]["people"], result.stats.people);
    EXPECT_EQ(parsed["statistics"]["dateStyles"].size(), result.stats.dateStyles.size());
    const auto& findings = parsed["findings"];
    ASSERT_EQ(findings.size(), result.issues.size());
    std::size_t withFix = 0, withPlaces = 0, withMatch = 0;
    for (std::size_t i = 0; i < result.issues.size(); ++i) {
        const Issue& issue = result.issues[i];
        const auto& finding = findings[i];
        SCOPED_TRACE(issue.id);
        EXPECT_EQ(keys(finding), (std::vector<std::string>{"id", "kind", "category", "severity", "title",
                                                           "detail", "records", "fix", "places", "match"}));
        EXPECT_EQ(finding["id"], issue.id);
        EXPECT_EQ(finding["kind"], kindOf(issue.id));
        EXPECT_EQ(finding["category"], rawValue(issue.category));
        EXPECT_EQ(finding["title"], issue.title);
        EXPECT_EQ(finding["detail"], issue.detail);
        EXPECT_EQ(finding["records"], issue.records);
        EXPECT_EQ(finding["fix"].is_null(), !issue.fix);
        if (issue.fix) {
            ++withFix;
            EXPECT_EQ(finding["fix"]["id"], issue.fix->id);
            EXPECT_EQ(finding["fix"]["needsReview"], issue.fix->needsReview);
            EXPECT_EQ(finding["fix"]["edits"].size(), issue.fix->edits.size());
            EXPECT_EQ(finding["fix"]["preview"].size(), issue.fix->preview.size());
        }
        EXPECT_EQ(finding["places"].is_null(), !issue.places);
        if (issue.places) {
            ++withPlaces;
            EXPECT_EQ(finding["places"]["suggested"], issue.places->suggested);
        }
        EXPECT_EQ(finding["match"].is_null(), !issue.match);
        if (issue.match) {
            ++withMatch;
            EXPECT_EQ(finding["match"]["keep"], issue.match->keep);
            EXPECT_EQ(finding["match"]["score"], issue.match->score);
        }
    }
    // The sample tree has findings with each of the optional parts.
    EXPECT_GT(withFix, 0u);
    EXPECT_GT(withPlaces, 0u);
    EXPECT_GT(withMatch, 0u);
}

TEST_F(CliTest, ProgressGoesToTheTerminalOnly)
{
    const std::string text = SampleTree::sampleText();
    const std::string path = write("Sample Tree.ged", text);
    const std::string clear = "\r\x1B[K";
    struct Case
    {
        std::vector<std::string> arguments;
        std::vector<std::string> shown; ///< lines shown in this order, among others
    };
    const Case cases[] = {
        {{"info", path}, {"Reading Sample Tree.ged\u2026 100%", "Indexing people and families\u2026"}},
        {{"check", path, "--json"},
         {"Reading Sample Tree.ged\u2026 0%", "Checking the file\u2026 0%", "Checking place names\u2026",
          "Looking for duplicates\u2026 100%"}},
        {{"tidy", path, "--fix", "all", "--out", m_folder.string()},
         {"Looking for duplicates\u2026 100%", "Applying ", "Writing the cleaned copy\u2026 0%",
          "Writing the cleaned copy\u2026 100%"}},
        {{"info", write("Hello.ged", "Hello\n")}, {"Reading Hello.ged\u2026"}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.arguments));
        std::ostringstream out, err, terminal;
        Cli::run(c.arguments, out, err, {&terminal, 0});
        const std::string shown = terminal.str();
        std::size_t at = 0;
        for (const std::string& line : c.shown) {
            at = shown.find(clear + line, at);
            ASSERT_NE(at, std::string::npos) << line << " in " << shown;
        }
        // The line is cleared before the command prints anything, and nothing of it goes elsewhere.
        EXPECT_TRUE(shown.ends_with(clear));
        EXPECT_EQ(out.str().find_first_of("\r\x1B"), std::string::npos);
        EXPECT_EQ(err.str().find_first_of("\r\x1B"), std::string::npos);
    }

    // Smaller files than the threshold show nothing, and the output is the same either way.
    std::ostringstream out, err, terminal;
    ASSERT_EQ(Cli::run({"check", path, "--json"}, out, err, {&terminal, text.size()}), Cli::done);
    EXPECT_EQ(terminal.str(), "");
    EXPECT_EQ(out.str(), runCli({"check", path, "--json"}).out);
    EXPECT_EQ(out.str(), runCli({"check", path, "--json", "--threads", "1"}).out);
}

TEST_F(CliTest, CheckFailsOnSeverity)
{
    // Worst findings: a warning (no header), none, an error (died before being born).
    const std::string headless = write("Headless.ged", headlessTree);
    const std::string clean = write("Clean.ged", cleanTree);
    const std::string impossible =
        write("Impossible.ged", fullHeader +
                                    "0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1900\n1 DEAT\n"
                                    "2 DATE 1850\n" +
                                    submitter + "0 TRLR\n");
    struct Case
    {
        std::vector<std::string> flags;
        int headless;
        int clean;
        int impossible;
    };
    const Case cases[] = {
        {{}, Cli::done, Cli::done, Cli::done},
        {{"--fail-on", "warning"}, Cli::foundProblems, Cli::done, Cli::foundProblems},
        {{"--fail-on", "error"}, Cli::done, Cli::done, Cli::foundProblems},
        {{"--fail-on", "warning", "--json"}, Cli::foundProblems, Cli::done, Cli::foundProblems},
        {{"--fail-on", "warning", "--skip", "file-nohead", "--skip", "imp-death,imp-alive"},
         Cli::done,
         Cli::done,
         Cli::done},
    };
    for (const Case& c : cases) {
        for (const auto& [path, status] : {std::pair{headless, c.headless}, std::pair{clean, c.clean},
                                           std::pair{impossible, c.impossible}}) {
            std::vector<std::string> arguments = {"check", path};
            arguments.insert(arguments.end(), c.flags.begin(), c.flags.end());
            const Outcome outcome = runCli(arguments);
            EXPECT_EQ(outcome.status, status) << path << " " << testing::PrintToString(c.flags);
            // Failing still prints everything found.
            EXPECT_NE(outcome.out, "");
        }
    }
}

TEST_F(CliTest, CheckWritesTheReportOnlyAsANewFile)
{
    const std::string path = write("Headless.ged", headlessTree);
    const std::string report = (m_folder / "Smith report.txt").string();
    const Outcome first = runCli({"check", path, "--report", report});
    ASSERT_EQ(first.status, Cli::done) << first.err;
    EXPECT_EQ(first.out, "Saved \u201CSmith report.txt\u201D.\n");
    std::ifstream stream(report, std::ios::binary);
    const std::string written((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    EXPECT_TRUE(written.starts_with("# Kinloom report: Headless.ged\n")) << written;
    EXPECT_NE(written.find("\nWarning: No header\n"), std::string::npos) << written;

    const Outcome again = runCli({"check", path, "--report", report});
    EXPECT_EQ(again.status, Cli::usage);
    EXPECT_EQ(again.out, "");
    EXPECT_EQ(again.err, "\u201CSmith report.txt\u201D already exists. Choose a new name: the original and "
                         "other files are never overwritten.\n");
    std::ifstream reread(report, std::ios::binary);
    EXPECT_EQ(std::string((std::istreambuf_iterator<char>(reread)), std::istreambuf_iterator<char>()),
              written);
}

TEST_F(CliTest, CheckRefusesBadArguments)
{
    const std::string path = write("Clean.ged", cleanTree);
    struct Case
    {
        std::vector<std::string> arguments;
        int status;
        std::string err;
    };
    const Case cases[] = {
        {{"check", path, "--report", (m_folder / "report.html").string()}, Cli::usage, ""},
        {{"check", path, "--fail-on", "note"}, Cli::usage, "kinloom-cli: --fail-on needs warning or error\n"},
        {{"check", path, "--numeric-order", "dayFirst"},
         Cli::usage,
         "kinloom-cli: --numeric-order needs auto, day-first or month-first\n"},
        {{"check", path, "--min-parent-age", "twelve"},
         Cli::usage,
         "kinloom-cli: --min-parent-age needs a number of years, not \u201Ctwelve\u201D\n"},
        {{"check", path, "--max-mother-age", "-3"}, Cli::usage, ""},
        {{"check", path, "--max-lifespan", "inf"}, Cli::usage, ""},
        {{"check", path, "--duplicate-threshold", "1.5"},
         Cli::usage,
         "kinloom-cli: --duplicate-threshold needs a score from 0 to 1, not \u201C1.5\u201D\n"},
        {{"check", path, "--skip", "dup,dates"},
         Cli::usage,
         "kinloom-cli: --skip names \u201Cdates\u201D, which is not a kind of finding; kinloom-cli kinds "
         "lists them\n"},
        {{"check", path, "--skip", "dup,"}, Cli::usage, ""},
        {{"check", path, "--threads", "0"},
         Cli::usage,
         "kinloom-cli: --threads needs a whole number from 1 to 1024, not \u201C0\u201D\n"},
        {{"info", path, "--threads", "two"}, Cli::usage, ""},
        {{"check"}, Cli::usage, ""},
        {{"check", (m_folder / "missing.ged").string()},
         Cli::unreadable,
         "Couldn\u2019t read \u201Cmissing.ged\u201D: No such file or directory\n"},
    };
    for (const Case& c : cases) {
        const Outcome outcome = runCli(c.arguments);
        EXPECT_EQ(outcome.status, c.status) << testing::PrintToString(c.arguments) << outcome.err;
        if (!c.err.empty()) {
            EXPECT_EQ(outcome.err, c.err);
        }
        EXPECT_EQ(outcome.out, "");
    }

    // Good values of every option are taken.
    const Outcome tuned =
        runCli({"check", path, "--numeric-order", "month-first", "--min-parent-age", "14", "--max-mother-age",
                "50", "--max-father-age", "75.5", "--max-lifespan", "110", "--duplicate-threshold", "0.8",
                "--skip", "dup,dupfam", "--skip", "dup", "--json"});
    EXPECT_EQ(tuned.status, Cli::done) << tuned.err;
    EXPECT_TRUE(nlohmann::json::parse(tuned.out)["findings"].empty()) << tuned.out;
}

namespace {

std::string contents(const std::filesystem::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    return std::string((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
}

// Node 9 is a date with a sure rewrite; node 11 one that can only be kept as a phrase (needs review).
const std::string datedTree =
    "0 HEAD\n1 SOUR X\n1 SUBM @U1@\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 CHAR "
    "UTF-8\n0 @I1@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1890-03-12\n1 DEAT\n"
    "2 DATE spring 1950\n0 @U1@ SUBM\n1 NAME A\n0 TRLR\n";

} // namespace

TEST_F(CliTest, TidyAppliesTheChosenFixes)
{
    const std::string path = write("Dated.ged", datedTree);
    struct Case
    {
        std::string what;
        std::string summary;
        std::string birth;          ///< the birth date in the copy
        std::string death;          ///< the death date in the copy
        std::string dismissed = {}; ///< a finding dismissed first, whose fix is applied only when named
        std::vector<std::string> skip = {}; ///< kinds left out of the run
    };
    const Case cases[] = {
        {"all", "Applied 1 fix.\n", "12 MAR 1890", "spring 1950"},
        {"dateFormats", "Applied 1 fix.\n", "12 MAR 1890", "spring 1950"},
        {"places,links", "Applied 0 fixes.\n", "1890-03-12", "spring 1950"},
        {"date-14", "Applied 1 fix.\n", "1890-03-12", "(spring 1950)"},
        {"dateFormats,date-14", "Applied 2 fixes.\n", "12 MAR 1890", "(spring 1950)"},
        {"dateFormats,places", "Applied 0 fixes.\n", "1890-03-12", "spring 1950", {}, {"--skip", "date"}},
        {"all,date-14", "Applied 1 fix.\n", "1890-03-12", "(spring 1950)", "date-12"},
        {"date-12", "Applied 1 fix.\n", "12 MAR 1890", "spring 1950", "date-12"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const std::filesystem::path folder = m_folder / c.what;
        std::filesystem::create_directory(folder);
        const std::string store = (folder / "decisions.json").string();
        if (!c.dismissed.empty()) {
            ASSERT_EQ(runCli({"dismiss", path, c.dismissed, "--decisions", store}).status, Cli::done);
        }
        std::vector<std::string> arguments = {"tidy",          path,          "--fix", c.what, "--out",
                                              folder.string(), "--decisions", store};
        arguments.insert(arguments.end(), c.skip.begin(), c.skip.end());
        const Outcome outcome = runCli(arguments);
        ASSERT_EQ(outcome.status, Cli::done) << outcome.err;
        EXPECT_EQ(outcome.out,
                  c.summary + "Saved \u201CDated (tidied).ged\u201D and its change log.\n" +
                      (c.dismissed.empty()
                           ? ""
                           : "1 finding hidden by earlier decisions; --show-dismissed lists them\n"));
        const std::string copy = contents(folder / "Dated (tidied).ged");
        EXPECT_NE(copy.find("\n2 DATE " + c.birth + "\n1 DEAT\n2 DATE " + c.death + "\n"), std::string::npos)
            << copy;
    }

    // The log lists each applied fix, and a check of the copy no longer finds what was fixed.
    const std::string log = contents(m_folder / "all" / "Dated (tidied) change log.txt");
    EXPECT_TRUE(log.ends_with(". 1 change.\n\n## 1. Write as \u201C12 MAR 1890\u201D\n"
                              "    John Smith (@I1@) \u00B7 BIRT DATE: \u201C1890-03-12\u201D \u2192 "
                              "\u201C12 MAR 1890\u201D\n"))
        << log;
    const Outcome recheck = runCli({"check", (m_folder / "all" / "Dated (tidied).ged").string(), "--json"});
    ASSERT_EQ(recheck.status, Cli::done);
    for (const auto& finding : nlohmann::json::parse(recheck.out)["findings"])
        EXPECT_NE(finding["id"], "date-12");
    EXPECT_EQ(contents(path), datedTree);
}

TEST_F(CliTest, DecisionsHideFindingsUntilLifted)
{
    const std::string path = write("Dated.ged", datedTree);
    const std::string other = (m_folder / "other.json").string();
    const std::string damaged = write("damaged.json", "{\"decisions\": [");
    const std::string hidden2 = "2 findings hidden by earlier decisions; --show-dismissed lists them\n";
    struct Step
    {
        std::vector<std::string> arguments;
        int status;
        std::string out; ///< what the output holds (all of it when it ends in a line break)
        std::string err;
        std::string notInOut = {};
    };
    const Step steps[] = {
        {{"dismiss", path, "date-12", "date-14"},
         Cli::done,
         "Dismissed 2 findings; check and tidy leave them out until one of their records changes.\n",
         ""},
        {{"check", path}, Cli::done, hidden2, "", "Date not in the standard form"},
        {{"check", path, "--json"}, Cli::done, "\"id\": \"date-styles\"", hidden2, "date-12"},
        {{"check", path, "--show-dismissed"},
         Cli::done,
         "Date not in the standard form (dismissed)",
         "",
         "hidden"},
        {{"check", path, "--json", "--show-dismissed"}, Cli::done, "\"id\": \"date-12\"", "", "(dismissed)"},
        // The only date warning was dismissed; another store has no decisions.
        {{"check", path, "--fail-on", "warning"}, Cli::done, hidden2, ""},
        {{"check", path, "--fail-on", "warning", "--decisions", other}, Cli::foundProblems, "", "", "hidden"},
        {{"undismiss", path, "date-12", "date-styles"}, Cli::done, "Brought back 1 finding.\n", ""},
        {{"check", path},
         Cli::done,
         "1 finding hidden by earlier decisions; --show-dismissed lists them\n",
         ""},
        {{"dismiss", path, "date-styles", "date-99"},
         Cli::usage,
         "",
         "kinloom-cli: \u201Cdate-99\u201D is not a finding of \u201CDated.ged\u201D; check --json lists "
         "their ids\n"},
        {{"dismiss", path}, Cli::usage, "", ""},
        {{"check", path, "--decisions", damaged},
         Cli::done,
         "",
         "The decisions stored in \u201C" + damaged +
             "\u201D aren\u2019t readable as decisions, so they were set aside as \u201Cdamaged (set "
             "aside).json\u201D and none of them apply.\n",
         "hidden"},
    };
    for (const Step& step : steps) {
        SCOPED_TRACE(step.arguments[0] + " " + (step.arguments.size() > 2 ? step.arguments[2] : ""));
        const Outcome outcome = runCli(step.arguments);
        EXPECT_EQ(outcome.status, step.status) << outcome.err;
        if (step.out.ends_with('\n')) {
            EXPECT_TRUE(outcome.out.ends_with(step.out)) << outcome.out;
        } else {
            EXPECT_NE(outcome.out.find(step.out), std::string::npos) << outcome.out;
        }
        if (!step.notInOut.empty()) {
            EXPECT_EQ(outcome.out.find(step.notInOut), std::string::npos) << outcome.out;
        }
        if (step.status == Cli::usage && step.err.empty())
            continue;
        EXPECT_EQ(outcome.err, step.err);
    }
    // The dismissed finding is marked in the JSON as such, and the store is the user's data folder's.
    const auto json = nlohmann::json::parse(runCli({"check", path, "--json", "--show-dismissed"}).out);
    for (const auto& finding : json["findings"])
        EXPECT_EQ(finding["dismissed"], finding["id"] == "date-14") << finding["id"];
    EXPECT_TRUE(std::filesystem::exists(m_folder / "data" / "kinloom" / "decisions.json"));
}

TEST_F(CliTest, TidySaysWhatWasSkipped)
{
    // Three records of one person: merging all three pairs leaves the last merge nothing to do.
    const std::string person = "1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 12 MAR 1890\n";
    const std::string path =
        write("Triple.ged", "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n0 @I1@ INDI\n" + person +
                                "0 @I2@ INDI\n" + person + "0 @I3@ INDI\n" + person + "0 TRLR\n");
    const Outcome reviewed = runCli({"tidy", path, "--fix", "duplicates"});
    ASSERT_EQ(reviewed.status, Cli::done) << reviewed.err;
    EXPECT_TRUE(reviewed.out.starts_with("Applied 0 fixes.\n")) << reviewed.out;

    const Outcome named = runCli({"tidy", path, "--fix", "dup-@I1@-@I2@,dup-@I1@-@I3@,dup-@I2@-@I3@"});
    ASSERT_EQ(named.status, Cli::done) << named.err;
    EXPECT_EQ(named.out,
              "Applied 2 fixes; 1 skipped because another change had already altered those lines.\n"
              "Saved \u201CTriple (tidied) 2.ged\u201D and its change log.\n");
    const std::string copy = contents(m_folder / "Triple (tidied) 2.ged");
    EXPECT_EQ(copy.find("@I2@"), std::string::npos) << copy;
    EXPECT_EQ(copy.find("@I3@"), std::string::npos) << copy;
}

TEST_F(CliTest, TidyTakesAPlaceFixByItsIdAndFixMoreThanOnce)
{
    // The place fix's id holds the comma of the place's name.
    const std::string path =
        write("Places.ged", "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n0 @I1@ INDI\n"
                            "1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 12  MAR 1890\n"
                            "2 PLAC M\u00FCnchen, Bayern\n1 DEAT\n2 PLAC M\u00FCnchen, Bayern\n"
                            "1 BURI\n2 PLAC Munchen,Bayern\n0 TRLR\n");
    const Outcome outcome = runCli({"tidy", path, "--fix", "place-munchen,bayern", "--fix", "dateFormats"});
    ASSERT_EQ(outcome.status, Cli::done) << outcome.err;
    EXPECT_EQ(outcome.out, "Applied 2 fixes.\nSaved \u201CPlaces (tidied).ged\u201D and its change log.\n");
    const std::string copy = contents(m_folder / "Places (tidied).ged");
    EXPECT_NE(copy.find("2 DATE 12 MAR 1890\n"), std::string::npos) << copy;
    EXPECT_NE(copy.find("1 BURI\n2 PLAC M\u00FCnchen, Bayern\n"), std::string::npos) << copy;

    // A value that is not one of the file's ids is still a comma list.
    const Outcome unknown = runCli({"tidy", path, "--fix", "place-munchen,bavaria"});
    EXPECT_EQ(unknown.status, Cli::usage);
    EXPECT_EQ(unknown.err,
              "kinloom-cli: --fix names \u201Cbavaria\u201D, which is neither a category nor a fix "
              "found in this file\n");

    // Other options take one value.
    const Outcome twice = runCli({"tidy", path, "--out", m_folder.string(), "--out", m_folder.string()});
    EXPECT_EQ(twice.status, Cli::usage);
    EXPECT_TRUE(twice.err.starts_with("kinloom-cli: --out can be given only once\n")) << twice.err;
}

TEST_F(CliTest, TidyRefusesBadChoices)
{
    const std::string path = write("Dated.ged", datedTree);
    struct Case
    {
        std::vector<std::string> arguments;
        std::string err;
    };
    const Case cases[] = {
        {{"--changelog", "html"}, "kinloom-cli: --changelog needs txt or pdf\n"},
        {{"--fix", "dateFormats,"},
         "kinloom-cli: --fix needs none, all, or a comma list of categories and fix ids\n"},
        {{"--fix", "none,all"},
         "kinloom-cli: --fix needs none, all, or a comma list of categories and fix ids\n"},
        {{"--fix", "date-10"},
         "kinloom-cli: --fix names \u201Cdate-10\u201D, which is neither a category nor a fix found in this "
         "file\n"},
        {{"--fix", "all", "--skip", "imp-never"},
         "kinloom-cli: --skip names \u201Cimp-never\u201D, which is not a kind of finding; kinloom-cli kinds "
         "lists them\n"},
        {{"--fix", "all", "--max-lifespan", "forever"},
         "kinloom-cli: --max-lifespan needs a number of years, not \u201Cforever\u201D\n"},
    };
    for (const Case& c : cases) {
        std::vector<std::string> arguments = {"tidy", path};
        arguments.insert(arguments.end(), c.arguments.begin(), c.arguments.end());
        const Outcome outcome = runCli(arguments);
        EXPECT_EQ(outcome.status, Cli::usage) << testing::PrintToString(c.arguments);
        EXPECT_EQ(outcome.err, c.err);
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "Dated (tidied).ged"));
    const Outcome text = runCli({"tidy", path, "--changelog", "txt", "--fix", "none"});
    EXPECT_EQ(text.status, Cli::done) << text.err;
    EXPECT_EQ(contents(m_folder / "Dated (tidied).ged"), datedTree);
}

TEST_F(CliTest, WritesReportsAndChangeLogsAsPDF)
{
    const std::string path = write("Dated.ged", datedTree);
    const std::string report = (m_folder / "Dated report.pdf").string();
    const Outcome checked = runCli({"check", path, "--report", report});
    ASSERT_EQ(checked.status, Cli::done) << checked.err;
    EXPECT_EQ(checked.out, "Saved \u201CDated report.pdf\u201D.\n");
    const std::string pdf = contents(report);
    EXPECT_TRUE(pdf.starts_with("%PDF-")) << pdf.substr(0, 20);
    const Outcome again = runCli({"check", path, "--report", report});
    EXPECT_EQ(again.status, Cli::usage);
    EXPECT_EQ(again.err, "\u201CDated report.pdf\u201D already exists. Choose a new name: the original and "
                         "other files are never overwritten.\n");
    EXPECT_EQ(contents(report), pdf);

    // The change log takes the copy's name and numbering, with the extension pdf.
    for (const char* copy : {"Dated (tidied)", "Dated (tidied) 2"}) {
        const Outcome tidied = runCli({"tidy", path, "--fix", "all", "--changelog", "pdf"});
        ASSERT_EQ(tidied.status, Cli::done) << tidied.err;
        EXPECT_TRUE(contents(m_folder / (std::string(copy) + " change log.pdf")).starts_with("%PDF-"))
            << copy;
    }
    EXPECT_FALSE(std::filesystem::exists(m_folder / "Dated (tidied) change log.txt"));
}

TEST_F(CliTest, SavingSaysWhereAndWhyItFailed)
{
    const std::string path = write("Smith.ged", cleanTree);
    const std::string nowhere = (m_folder / "nowhere").string();
    struct Case
    {
        std::vector<std::string> arguments;
        std::string err;
    };
    const Case cases[] = {
        {{"tidy", path, "--out", nowhere},
         "Couldn\u2019t save \u201CSmith (tidied).ged\u201D in \u201C" + nowhere +
             "\u201D: the folder doesn\u2019t exist.\n"},
        {{"tidy", path, "--out", path},
         "Couldn\u2019t save \u201CSmith (tidied).ged\u201D in \u201C" + path +
             "\u201D: that isn\u2019t a folder.\n"},
        {{"check", path, "--report", nowhere + "/Smith report.txt"},
         "Couldn\u2019t save \u201CSmith report.txt\u201D in \u201C" + nowhere +
             "\u201D: the folder doesn\u2019t exist.\n"},
        {{"sample", nowhere + "/Sample.ged"},
         "Couldn\u2019t save \u201CSample.ged\u201D in \u201C" + nowhere +
             "\u201D: the folder doesn\u2019t exist.\n"},
    };
    for (const Case& c : cases) {
        const Outcome outcome = runCli(c.arguments);
        EXPECT_EQ(outcome.status, Cli::usage) << testing::PrintToString(c.arguments);
        EXPECT_TRUE(outcome.err.starts_with(c.err)) << outcome.err;
        EXPECT_EQ(outcome.out, "");
    }
    EXPECT_FALSE(std::filesystem::exists(nowhere));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1);
}

TEST_F(CliTest, TidyRunsAtTheSameMomentTakeNumbersInTurn)
{
    const std::string path = write("Smith.ged", datedTree);
    constexpr int runs = 8;
    std::latch start(runs);
    std::vector<Outcome> outcomes(runs);
    std::vector<std::thread> threads;
    for (int i = 0; i < runs; ++i) {
        threads.emplace_back([&, i] {
            start.arrive_and_wait();
            outcomes[i] = runCli({"tidy", path, "--fix", "all"});
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    std::set<std::string> copies;
    for (const Outcome& outcome : outcomes) {
        ASSERT_EQ(outcome.status, Cli::done) << outcome.err;
        const std::string saved = "Saved \u201C";
        const std::size_t from = outcome.out.find(saved) + saved.size();
        copies.insert(outcome.out.substr(from, outcome.out.find("\u201D", from) - from));
    }
    std::set<std::string> expected = {"Smith (tidied).ged"};
    for (int n = 2; n <= runs; ++n)
        expected.insert("Smith (tidied) " + std::to_string(n) + ".ged");
    EXPECT_EQ(copies, expected);
    // Each copy is whole, and its change log carries its number and names it.
    const std::string fixed = contents(m_folder / "Smith (tidied).ged");
    EXPECT_NE(fixed.find("2 DATE 12 MAR 1890\n"), std::string::npos) << fixed;
    for (const std::string& copy : copies) {
        EXPECT_EQ(contents(m_folder / copy), fixed) << copy;
        const std::string log =
            contents(m_folder / (std::filesystem::path(copy).stem().string() + " change log.txt"));
        EXPECT_NE(log.find("\nCleaned copy: " + copy + "\n"), std::string::npos) << log;
    }
    // The original, the copies and their logs: no temporary file is left.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder), {}), 1 + 2 * runs);
}

TEST_F(CliTest, InputThatNeverEndsIsRefusedAndPipesRead)
{
    // Under a limit on the process's address space, so that refusing takes little memory and time.
    const auto limited = [](const std::string& command) {
        rlimit limit{};
        getrlimit(RLIMIT_AS, &limit);
        limit.rlim_cur = mappedBytes() + (std::uint64_t{512} << 20);
        setrlimit(RLIMIT_AS, &limit);
        const Outcome outcome = runCli({command, "/dev/zero"});
        std::cerr << outcome.err << std::flush;
        // Anything printed as a result fails the test.
        std::_Exit(outcome.out.empty() ? outcome.status : 100);
    };
    for (const std::string command : {"info", "check", "tidy"}) {
        EXPECT_EXIT(
            limited(command), testing::ExitedWithCode(Cli::unreadable),
            "^Couldn\u2019t read \u201Czero\u201D: The input never ends, or is too large to work on in "
            "this computer\u2019s memory\n$")
            << command;
    }

    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    // More than a pipe holds at once, so the tree arrives while it is read.
    std::thread writer([&] {
        for (int i = 0; i < 1000; ++i) {
            if (::write(ends[1], cleanTree.data(), cleanTree.size()) !=
                static_cast<ssize_t>(cleanTree.size()))
                break;
        }
        close(ends[1]);
    });
    const Outcome piped = runCli({"info", "/dev/fd/" + std::to_string(ends[0]), "--json"});
    writer.join();
    close(ends[0]);
    ASSERT_EQ(piped.status, Cli::done) << piped.err;
    EXPECT_EQ(nlohmann::json::parse(piped.out)["lines"], 13000);
}
