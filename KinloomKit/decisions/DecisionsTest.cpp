// SPDX-License-Identifier: GPL-3.0-or-later
#include "decisions/Decisions.h"

#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "document/TextEncoding.h"
#include "family/TreeIndex.h"

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <unistd.h>

using namespace kinloom;

namespace {

// Hélène has two dates written oddly; John died before he was born; Ann's date is fixable.
const std::string tree =
    "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n"
    "0 @I1@ INDI\n1 _UID 0A1B2C3D\n1 NAME H\u00E9l\u00E8ne /Girard/\n1 SEX F\n"
    "1 BIRT\n2 DATE abt. 1890\n1 DEAT\n2 DATE abt. 1950\n"
    "1 NOTE She kept the letters, which went to her niece\n2 CONC  in 1951.\n"
    "1 CHAN\n2 DATE 1 JAN 2020\n"
    "0 @I2@ INDI\n1 NAME John /Smith/\n1 SEX M\n1 BIRT\n2 DATE 1900\n1 DEAT\n2 DATE 1850\n"
    "0 @I3@ INDI\n1 NAME Ann /Smith/\n1 SEX F\n1 BIRT\n2 DATE 3 march 1905\n0 TRLR\n";

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size())
        text.replace(at, from.size(), to);
    return text;
}

ScanResult scanned(const GedcomDocument& document)
{
    ScanOptions options;
    options.currentYear = 2026;
    return Scanner::scan(document, options);
}

/// The cleaned copy the tidy path writes: the chosen fixes applied, written and read back.
std::string tidied(const std::string& bytes, const std::function<bool(const Issue&)>& choose)
{
    const GedcomDocument document = GedcomReader::read(bytes);
    std::vector<Fix> fixes;
    for (const Issue& issue : scanned(document).issues) {
        if (issue.fix && !issue.fix->needsReview && choose(issue))
            fixes.push_back(*issue.fix);
    }
    return GedcomWriter::write(FixApplier::apply(fixes, document, 1).document).data;
}

bool names(const Issue& issue, const char* kind, const char* detail)
{
    return kindOf(issue.id) == kind && issue.detail.find(detail) != std::string::npos;
}

} // namespace

TEST(DecisionsTest, DecidedFindingsStayHiddenWhereverTheTreeGoesUntilARecordChanges)
{
    const GedcomDocument original = GedcomReader::read(tree);
    const ScanResult first = scanned(original);
    std::vector<Issue> chosen;
    for (const Issue& issue : first.issues) {
        if (names(issue, "date", "abt. 1890") || kindOf(issue.id) == "imp-death")
            chosen.push_back(issue);
    }
    ASSERT_EQ(chosen.size(), 2u);
    std::vector<Decision> decisions;
    for (const DecisionKey& key : Decisions::keys(original, chosen))
        decisions.push_back({key, "title"});
    EXPECT_EQ(decisions[0].key.kind, "date");
    EXPECT_EQ(decisions[0].key.records, std::vector<std::string>{"0A1B2C3D"});
    EXPECT_EQ(decisions[0].key.at, "BIRT DATE: abt. 1890");
    EXPECT_EQ(decisions[1].key.records, std::vector<std::string>{"@I2@"});
    EXPECT_EQ(decisions[1].key.at, "#0");
    EXPECT_EQ(decisions[1].key.fingerprint.size(), 16u);

    struct Variant
    {
        const char* name;
        std::function<std::string()> bytes;
        bool birthHidden; ///< Hélène's birth date, dismissed
        bool johnHidden;  ///< John's death before birth, dismissed
    };
    const Variant variants[] = {
        {"read again", [] { return tree; }, true, true},
        {"exported in UTF-16 with CRLF, accents decomposed, CHAN and CONC written anew",
         [] {
             std::string text = replaced(tree, "1 CHAR UTF-8", "1 CHAR UNICODE");
             text = replaced(text, "H\u00E9l\u00E8ne", "He\u0301le\u0300ne");
             text = replaced(text, "2 DATE 1 JAN 2020", "2 DATE 5 MAY 2025\n3 TIME 10:00");
             text = replaced(text, "her niece\n2 CONC  in 1951.", "her\n2 CONC  niece in 1951.");
             return std::string("\xFF\xFE") +
                    *TextEncodings::encode(replaced(text, "\n", "\r\n"), TextEncoding::utf16LE);
         },
         true, true},
        {"Hélène renumbered, found by her _UID", [] { return replaced(tree, "@I1@", "@I7@"); }, true, true},
        {"John renumbered, who has no _UID", [] { return replaced(tree, "@I2@", "@I9@"); }, true, false},
        {"John's birth date corrected", [] { return replaced(tree, "2 DATE 1900", "2 DATE 1901"); }, true,
         false},
        {"a parent added for Hélène",
         [] {
             return replaced(tree, "1 SEX F\n1 BIRT\n2 DATE abt", "1 SEX F\n1 FAMC @F1@\n1 BIRT\n2 DATE abt");
         },
         false, true},
        {"the cleaned copy with Ann's date fixed",
         [] { return tidied(tree, [](const Issue& issue) { return names(issue, "date", "march"); }); }, true,
         true},
        // Fixing Hélène's death date changes her record, so the decision about her birth date lapses.
        {"the cleaned copy with every fix", [] { return tidied(tree, [](const Issue&) { return true; }); },
         false, true},
    };
    for (const Variant& variant : variants) {
        const GedcomDocument document = GedcomReader::read(variant.bytes());
        const ScanResult result = scanned(document);
        const std::vector<bool> hidden = Decisions::decided(document, result.issues, decisions);
        // Records found through the index are the ones found by reading the file.
        const TreeIndex index = TreeIndex::build(document);
        EXPECT_EQ(Decisions::decided(document, result.issues, decisions, &index), hidden) << variant.name;
        std::size_t birth = 0, john = 0, others = 0;
        for (std::size_t i = 0; i < hidden.size(); ++i) {
            if (!hidden[i])
                continue;
            const Issue& issue = result.issues[i];
            ++(names(issue, "date", "abt. 1890") ? birth : kindOf(issue.id) == "imp-death" ? john : others);
        }
        EXPECT_EQ(birth, variant.birthHidden ? 1u : 0u) << variant.name;
        EXPECT_EQ(john, variant.johnHidden ? 1u : 0u) << variant.name;
        // Hélène's death date is a finding of the same kind on the same record, and stays.
        EXPECT_EQ(others, 0u) << variant.name;
    }
}

TEST(DecisionsTest, ChangedAddsReplacesLiftsAndSorts)
{
    const DecisionKey a{"date", {"@I1@"}, "BIRT DATE: abt. 1890", "0000000000000001"};
    const DecisionKey b{"dup", {"@I1@", "@I2@"}, "#0-#1", "0000000000000002"};
    const std::vector<Decision> result =
        Decisions::changed({{b, "old"}, {a, "a"}}, std::vector<Decision>{{b, "new"}}, std::vector{a});
    EXPECT_EQ(result, (std::vector<Decision>{{b, "new"}}));
}

TEST(DecisionsTest, DefaultStoreFollowsTheDataFolder)
{
    const std::string home = std::getenv("HOME") ? std::getenv("HOME") : "";
    const char* data = std::getenv("XDG_DATA_HOME");
    const std::string savedData = data ? data : "";
    struct Case
    {
        const char* data;
        const char* home;
        std::string expected;
    };
    const Case cases[] = {
        {"/data", "/home/ann", "/data/kinloom/decisions.json"},
        {nullptr, "/home/ann", "/home/ann/.local/share/kinloom/decisions.json"},
        // A relative data folder is ignored.
        {"relative", "/home/ann", "/home/ann/.local/share/kinloom/decisions.json"},
        {nullptr, nullptr, ""},
    };
    for (const Case& c : cases) {
        c.data ? setenv("XDG_DATA_HOME", c.data, 1) : unsetenv("XDG_DATA_HOME");
        c.home ? setenv("HOME", c.home, 1) : unsetenv("HOME");
        EXPECT_EQ(Decisions::defaultStorePath().string(), c.expected);
    }
    data ? setenv("XDG_DATA_HOME", savedData.c_str(), 1) : unsetenv("XDG_DATA_HOME");
    setenv("HOME", home.c_str(), 1);
}

class DecisionStoreTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        m_folder =
            std::filesystem::temp_directory_path() / ("kinloom-decisions-test-" + std::to_string(getpid()));
        std::filesystem::create_directories(m_folder);
        m_store = m_folder / "decisions.json";
    }
    void TearDown() override
    {
        std::filesystem::permissions(m_store, std::filesystem::perms::owner_all, m_ignored);
        std::filesystem::remove_all(m_folder);
    }

    std::vector<std::string> listing() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder))
            names.push_back(entry.path().filename().string());
        std::sort(names.begin(), names.end());
        return names;
    }

    std::filesystem::path m_folder;
    std::filesystem::path m_store;
    std::error_code m_ignored;
};

TEST_F(DecisionStoreTest, SavesAndLoadsInPlace)
{
    EXPECT_EQ(Decisions::load(m_store).decisions.size(), 0u);
    const std::vector<Decision> decisions = {
        {{"dup", {"0A1B", "@I2@"}, "#0-#1", "00000000000000ff"}, "Not the same person"},
        {{"date-styles", {}, "", "0000000000000001"}, "Dates are written 7 ways"}};
    const auto nested = m_folder / "new" / "decisions.json";
    for (int round = 0; round < 2; ++round) {
        ASSERT_EQ(Decisions::save(nested, decisions), std::nullopt);
        const Decisions::Loaded loaded = Decisions::load(nested);
        EXPECT_EQ(loaded.decisions, decisions);
        EXPECT_EQ(loaded.problem, std::nullopt);
    }
    // Nothing is left beside the store.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(m_folder / "new"), {}), 1);
}

TEST_F(DecisionStoreTest, AStoreThatCannotBeUsedIsSetAsideAndNoDecisionsApply)
{
    const std::string quoted = "\u201C" + m_store.string() + "\u201D";
    const std::string notDecisions =
        "The decisions stored in " + quoted + " aren\u2019t readable as decisions";
    struct Case
    {
        const char* name;
        std::function<void()> make;
        std::string problem;
        std::vector<std::string> listing;
    };
    auto write = [this](const std::string& bytes) { std::ofstream(m_store, std::ios::binary) << bytes; };
    const std::vector<Case> cases = {
        {"not JSON",
         [&] { write("hello"); },
         notDecisions +
             ", so they were set aside as \u201Cdecisions (set aside).json\u201D and none of them apply.",
         {"decisions (set aside).json"}},
        {"cut short, beside one set aside before",
         [&] {
             std::ofstream(m_folder / "decisions (set aside).json") << "earlier";
             write("{\"decisions\": [{\"kind\": \"date\"");
         },
         notDecisions +
             ", so they were set aside as \u201Cdecisions (set aside) 2.json\u201D and none of them apply.",
         {"decisions (set aside) 2.json", "decisions (set aside).json"}},
        {"JSON of another shape",
         [&] { write("{\"decisions\": [{\"kind\": \"date\", \"records\": [1]}]}"); },
         notDecisions +
             ", so they were set aside as \u201Cdecisions (set aside).json\u201D and none of them apply.",
         {"decisions (set aside).json"}},
        {"a folder",
         [&] { std::filesystem::create_directory(m_store); },
         "The decisions stored in " + quoted +
             " couldn\u2019t be read (Is a directory), so they were set aside as \u201Cdecisions (set "
             "aside).json\u201D and none of them apply.",
         {"decisions (set aside).json"}},
    };
    for (const Case& c : cases) {
        c.make();
        const Decisions::Loaded loaded = Decisions::load(m_store);
        EXPECT_EQ(loaded.problem, c.problem) << c.name;
        EXPECT_TRUE(loaded.decisions.empty()) << c.name;
        EXPECT_EQ(listing(), c.listing) << c.name;
        // A new store can be saved in its place.
        EXPECT_EQ(Decisions::save(m_store, {}), std::nullopt) << c.name;
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directories(m_folder);
    }

    if (geteuid() != 0) {
        write("{\"decisions\": []}");
        std::filesystem::permissions(m_store, std::filesystem::perms::none);
        EXPECT_EQ(Decisions::load(m_store).problem,
                  "The decisions stored in " + quoted +
                      " couldn\u2019t be read (Permission denied), so they were set aside as "
                      "\u201Cdecisions (set aside).json\u201D and none of them apply.");
    }
}

TEST_F(DecisionStoreTest, AStoreThatCannotBeSetAsideIsNeverReplaced)
{
    std::ofstream(m_store) << "hello";
    EXPECT_EQ(Decisions::save(m_store, {}),
              "Couldn\u2019t save the decisions in \u201C" + m_store.string() +
                  "\u201D: the file there isn\u2019t readable as decisions and is never replaced.");
    std::string error;
    EXPECT_EQ(Files::readFile(m_store.string(), error), "hello");
    if (geteuid() != 0) {
        std::filesystem::permissions(m_folder,
                                     std::filesystem::perms::owner_read | std::filesystem::perms::owner_exec);
        const Decisions::Loaded loaded = Decisions::load(m_store);
        std::filesystem::permissions(m_folder, std::filesystem::perms::owner_all);
        EXPECT_EQ(loaded.problem,
                  "The decisions stored in \u201C" + m_store.string() +
                      "\u201D aren\u2019t readable as decisions and couldn\u2019t be set aside "
                      "(Permission denied), so none of them apply.");
        EXPECT_EQ(Files::readFile(m_store.string(), error), "hello");
    }
}
