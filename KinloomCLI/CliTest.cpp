#include "KinloomCLI/Cli.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <fstream>
#include <sstream>
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

class CliTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_folder = std::filesystem::temp_directory_path() / ("kinloom-cli-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
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
                        "Reading notes:\n"
                        "  - The file says ASCII but has UTF-8 characters; read as UTF-8.\n");

    const Outcome json = runCli({"info", path, "--json"});
    EXPECT_EQ(json.status, Cli::done);
    const auto parsed = nlohmann::json::parse(json.out);
    EXPECT_EQ(parsed["encoding"], "UTF-8");
    EXPECT_EQ(parsed["encodingRawValue"], "utf8");
    EXPECT_EQ(parsed["lines"], 7);
    EXPECT_EQ(parsed["records"], 3);
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

    // Into another folder; a folder that is not there is a clear failure and writes nothing.
    std::filesystem::create_directory(m_folder / "out");
    EXPECT_EQ(runCli({"tidy", path, "--out", (m_folder / "out").string()}).status, Cli::done);
    EXPECT_EQ(contents(m_folder / "out" / "Smith (tidied).ged"), original);
    const Outcome missing = runCli({"tidy", path, "--out", (m_folder / "nowhere").string()});
    EXPECT_EQ(missing.status, Cli::usage);
    EXPECT_EQ(missing.err, "No such file or directory\n");
    EXPECT_FALSE(std::filesystem::exists(m_folder / "nowhere"));
}
