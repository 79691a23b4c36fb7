// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes/FixApplier.h"

#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

#include <set>

using namespace kinloom;

namespace {

Edit setValue(std::int64_t node, std::optional<std::string> from, std::optional<std::string> to)
{
    return {Edit::SetValue{node, std::move(from), std::move(to)}};
}

Edit removal(std::int64_t node)
{
    return {Edit::Remove{node}};
}

Edit addition(std::string record, std::optional<std::int64_t> under, std::string tag,
              std::optional<std::string> value)
{
    return {Edit::Add{std::move(record), under, std::move(tag), std::move(value), std::nullopt}};
}

Fix fix(std::string id, std::vector<Edit> edits)
{
    return {id, "Fix " + id, std::move(edits), {}, false};
}

std::string replaced(std::string text, const std::string& from, const std::string& to)
{
    const std::size_t at = text.find(from);
    EXPECT_NE(at, std::string::npos) << from;
    return at == std::string::npos ? text : text.replace(at, from.size(), to);
}

// Node ids are line numbers.
const std::string tree = "0 HEAD\n"                 // 1
                         "1 CHAR UTF-8\n"           // 2
                         "0 @I1@ INDI\n"            // 3
                         "1 NAME John /Smith/\n"    // 4
                         "1 BIRT\n"                 // 5
                         "2 DATE 12  MAR 1890\n"    // 6
                         "2 PLAC Leeds\n"           // 7
                         "1 NOTE First\n"           // 8
                         "2 CONT second\n"          // 9
                         "2 CONC  half\n"           // 10
                         "2 SOUR @S1@\n"            // 11
                         "1 CHAN\n"                 // 12
                         "2 DATE 1 JAN 2020\n"      // 13
                         "0 @I2@ INDI\n"            // 14
                         "1 NAME //\n"              // 15
                         "0 @F1@ FAM\n"             // 16
                         "1 HUSB @I1@\n"            // 17
                         "0 @S1@ SOUR\n"            // 18
                         "1 TITL Parish register\n" // 19
                         "0 TRLR\n";                // 20

} // namespace

TEST(FixApplierTest, Passes)
{
    struct Case
    {
        const char* name;
        std::vector<Fix> fixes;
        std::vector<std::vector<std::string>> lines; ///< of each entry
        std::vector<std::string> skipped;
        std::string after;
    };
    const std::string date =
        "John Smith (@I1@) \u00B7 BIRT DATE: \u201C12  MAR 1890\u201D \u2192 \u201C12 MAR 1890\u201D";
    const Case cases[] = {
        {"a value set, then the line removed in the same batch",
         {fix("date", {setValue(6, "12  MAR 1890", "12 MAR 1890")}), fix("birth", {removal(5)})},
         {{date}, {"John Smith (@I1@): \u2212 1 BIRT / 2 DATE 12 MAR 1890 / 2 PLAC Leeds"}},
         {},
         replaced(tree, "1 BIRT\n2 DATE 12  MAR 1890\n2 PLAC Leeds\n", "")},
        {"the full value is compared and the continuations go",
         {fix("note", {setValue(8, "First\nsecond half", "One line")})},
         {{"John Smith (@I1@) \u00B7 NOTE: \u201CFirst\nsecond half\u201D \u2192 \u201COne line\u201D"}},
         {},
         replaced(tree, "1 NOTE First\n2 CONT second\n2 CONC  half\n", "1 NOTE One line\n")},
        {"a value that no longer matches",
         {fix("date", {setValue(6, "12 MAR 1890", "1 JAN 1900")}), fix("gone", {setValue(99, {}, "x")})},
         {},
         {"Fix date", "Fix gone"},
         tree},
        {"a value removed",
         {fix("place", {setValue(7, "Leeds", std::nullopt)})},
         {{"John Smith (@I1@) \u00B7 BIRT PLAC: \u201CLeeds\u201D \u2192 \u201C\u201D"}},
         {},
         replaced(tree, "2 PLAC Leeds\n", "2 PLAC\n")},
        {"the same line added twice lands once, before the change date",
         {fix("sex", {addition("@I1@", {}, "SEX", "M")}),
          fix("sex again", {addition("@I1@", {}, "SEX", "M")})},
         {{"John Smith (@I1@): + 1 SEX M"}},
         {"Fix sex again"},
         replaced(tree, "1 CHAN\n", "1 SEX M\n1 CHAN\n")},
        {"a line added under a line goes last there, shown under its path at its level",
         {fix("source", {addition("@I1@", 5, "SOUR", "@S1@")}),
          fix("end", {addition("@F1@", {}, "WIFE", "@I2@")})},
         {{"John Smith (@I1@) \u00B7 BIRT: + 2 SOUR @S1@"}, {"@F1@ FAM: + 1 WIFE @I2@"}},
         {},
         replaced(replaced(tree, "2 PLAC Leeds\n", "2 PLAC Leeds\n2 SOUR @S1@\n"), "1 HUSB @I1@\n",
                  "1 HUSB @I1@\n1 WIFE @I2@\n")},
        {"additions that cannot be made",
         {fix("no record", {addition("@I9@", {}, "SEX", "M")}),
          fix("no line", {addition("@I1@", 16, "PLAC", "x")}),
          fix("there", {addition("@I1@", {}, "NAME", "John /Smith/")}),
          fix("there below", {addition("@I1@", 5, "PLAC", "Leeds")})},
         {},
         {"Fix no record", "Fix no line", "Fix there", "Fix there below"},
         tree},
        {"a record removed by two fixes gives one line",
         {fix("family", {removal(16), removal(16)}), fix("family again", {removal(16)})},
         {{"Removed record @F1@ FAM"}},
         {"Fix family again"},
         replaced(tree, "0 @F1@ FAM\n1 HUSB @I1@\n", "")},
        {"a line of an unnamed person",
         {fix("name", {removal(15)}), fix("twice", {removal(15)}), fix("none", {removal(0)})},
         {{"Unnamed person (@I2@): \u2212 1 NAME //"}},
         {"Fix twice", "Fix none"},
         replaced(tree, "1 NAME //\n", "")},
        {"lines written anew, renamed or without the blanks before their value, unless already so",
         {fix("rename", {Edit::Rewrite{7, "PLAC", "_PLAC"}}),
          fix("trim", {Edit::Rewrite{10, "CONC", "CONC", true}}),
          fix("as is", {Edit::Rewrite{4, "NAME", "NAME"}, Edit::Rewrite{5, "DEAT", "_DEAT"}})},
         {{"John Smith (@I1@) \u00B7 BIRT PLAC: \u201C2 PLAC Leeds\u201D \u2192 \u201C2 _PLAC Leeds\u201D"},
          {"John Smith (@I1@) \u00B7 NOTE CONC: \u201C2 CONC  half\u201D \u2192 \u201C2 CONC half\u201D"}},
         {"Fix as is"},
         replaced(replaced(tree, "2 PLAC Leeds\n", "2 _PLAC Leeds\n"), "2 CONC  half\n", "2 CONC half\n")},
        {"a line given a value and written anew by one fix is one change",
         {fix("rebuild", {setValue(9, "second", "@S1@"), Edit::Rewrite{9, "CONT", "SOUR"}})},
         {{"John Smith (@I1@) \u00B7 NOTE CONT: \u201C2 CONT second\u201D \u2192 \u201C2 SOUR @S1@\u201D"}},
         {},
         replaced(tree, "2 CONT second\n", "2 SOUR @S1@\n")},
        {"lines added to the header by its tag, with lines below; a trailer only where there is none",
         {fix("header",
              {Edit::Add{"HEAD", {}, "GEDC", {}, {}, {{"VERS", "5.5.1"}}}, Edit::AddRecord{"", "TRLR"}})},
         {{"HEAD: + 1 GEDC / 2 VERS 5.5.1"}},
         {},
         replaced(tree, "1 CHAR UTF-8\n", "1 CHAR UTF-8\n1 GEDC\n2 VERS 5.5.1\n")},
        {"a fix of which only some edits fit",
         {fix("mixed", {setValue(6, "wrong", "x"), addition("@I2@", {}, "SEX", "F"), removal(99)})},
         {{"Unnamed person (@I2@): + 1 SEX F"}},
         {},
         replaced(tree, "1 NAME //\n", "1 NAME //\n1 SEX F\n")},
    };
    const GedcomDocument document = GedcomReader::read(tree);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const ApplyResult result = FixApplier::apply(c.fixes, document, 1);
        std::vector<std::vector<std::string>> lines;
        for (const ChangeEntry& entry : result.entries)
            lines.push_back(entry.lines);
        EXPECT_EQ(lines, c.lines);
        EXPECT_EQ(result.skipped, c.skipped);
        EXPECT_EQ(GedcomWriter::render(result.document), c.after);
    }
}

TEST(FixApplierTest, EntriesFollowTheFixesAndPoolSharedIDs)
{
    const GedcomDocument document = GedcomReader::read(tree);
    Fix shared = fix("place", {setValue(7, "Leeds", "Leeds, Yorkshire")});
    shared.title = "Second title of the shared id";
    const std::vector<Fix> fixes = {
        fix("place", {addition("@I2@", {}, "SEX", "F")}), // applied in the second pass
        fix("date", {setValue(6, "12  MAR 1890", "12 MAR 1890")}),
        fix("stale", {setValue(6, "12  MAR 1890", "13 MAR 1890")}),
        shared,
    };
    const ApplyResult result = FixApplier::apply(fixes, document, 7);
    const std::vector<ChangeEntry> expected = {
        {7,
         "place",
         "Fix place",
         {"John Smith (@I1@) \u00B7 BIRT PLAC: \u201CLeeds\u201D \u2192 \u201CLeeds, Yorkshire\u201D",
          "Unnamed person (@I2@): + 1 SEX F"}},
        {8,
         "date",
         "Fix date",
         {"John Smith (@I1@) \u00B7 BIRT DATE: \u201C12  MAR 1890\u201D \u2192 \u201C12 MAR 1890\u201D"}},
    };
    EXPECT_EQ(result.entries, expected);
    EXPECT_EQ(result.skipped, std::vector<std::string>{"Fix stale"});

    const ApplyResult empty = FixApplier::apply({}, document, 3);
    EXPECT_TRUE(empty.entries.empty());
    EXPECT_TRUE(empty.skipped.empty());
    EXPECT_EQ(empty.document, document);
}

TEST(FixApplierTest, AFixAppliedTwiceIsSkippedTheSecondTime)
{
    const GedcomDocument document = GedcomReader::read(tree);
    const std::vector<Fix> batch = {fix("date", {setValue(6, "12  MAR 1890", "12 MAR 1890")}),
                                    fix("sex", {addition("@I1@", {}, "SEX", "M")}),
                                    fix("family", {removal(16)})};
    const ApplyResult first = FixApplier::apply(batch, document, 1);
    ASSERT_EQ(first.entries.size(), 3u);
    // The added line took the next id, and can be found by it.
    EXPECT_EQ(first.document.nextID, document.nextID + 1);
    EXPECT_EQ(first.document.find(document.nextID)->value(), "M");
    const ApplyResult second = FixApplier::apply(batch, first.document, 4);
    EXPECT_TRUE(second.entries.empty());
    EXPECT_EQ(second.skipped, (std::vector<std::string>{"Fix date", "Fix sex", "Fix family"}));
    EXPECT_EQ(second.document, first.document);
}

TEST(FixApplierTest, NeverChangesTheDocumentItWasGiven)
{
    const GedcomDocument document = GedcomReader::read(tree);
    const GedcomDocument copy = document;
    const std::string before = GedcomWriter::render(document);
    const ApplyResult result = FixApplier::apply(
        {fix("all", {setValue(8, "First\nsecond half", "x"), addition("@I1@", {}, "SEX", "M"), removal(5),
                     removal(18), Edit{Edit::Merge{"@I1@", "@I2@"}}})},
        document, 1);
    ASSERT_EQ(result.entries.size(), 1u);
    EXPECT_EQ(GedcomWriter::render(document), before);
    EXPECT_EQ(document, copy);
    EXPECT_NE(result.document, document);
}

// Applying every fix that needs no review leaves none of their findings behind, and the same
// batch applied again changes nothing.
TEST(FixApplierTest, ScanApplyRescan)
{
    std::vector<std::pair<std::string, std::string>> trees = {{"sample", SampleTree::sampleText()}};
    for (std::uint64_t seed : {1, 2, 3})
        trees.emplace_back("synthetic " + std::to_string(seed), SampleTree::syntheticText(300, seed));
    for (const auto& [name, text] : trees) {
        SCOPED_TRACE(name);
        const GedcomDocument document = GedcomReader::read(text);
        const ScanResult scanned = Scanner::scan(document);
        std::vector<Fix> batch;
        std::set<std::string> fixedFindings;
        for (const Issue& issue : scanned.issues) {
            if (issue.fix && !issue.fix->needsReview) {
                batch.push_back(*issue.fix);
                fixedFindings.insert(issue.id);
            }
        }
        const ApplyResult applied = FixApplier::apply(batch, document, 1);
        EXPECT_EQ(applied.entries.size() + applied.skipped.size() > 0, !batch.empty());
        for (const Issue& issue : Scanner::scan(applied.document).issues)
            EXPECT_FALSE(fixedFindings.contains(issue.id)) << issue.id << ": " << issue.title;

        const ApplyResult again = FixApplier::apply(batch, applied.document, 1);
        EXPECT_TRUE(again.entries.empty()) << again.entries.front().title;
        EXPECT_EQ(again.document, applied.document);
    }
}

// Inputs that once made a batch change a document it had already been applied to.
TEST(FixApplierTest, ABatchAppliedAgainChangesNothing)
{
    struct Case
    {
        std::string name;
        std::string bytes;
    };
    const std::vector<Case> cases{
        {"an added link to a record the batch merges away",
         "0 @I@ INDI\n1 NAME 2nd\n1 FAMC @F0@\r0 @4@ INDI\n1 NAME nd\n1 FAMC @F0@\r0 @F0@ FAM"},
        {"a value fix and a link on that value's own CONC line", "0 DATE\r1 CONC @L@"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        const GedcomDocument document = GedcomReader::read(c.bytes);
        std::vector<Fix> fixes;
        for (const Issue& issue : Scanner::scan(document, {}, 1).issues) {
            if (issue.fix)
                fixes.push_back(*issue.fix);
        }
        ASSERT_FALSE(fixes.empty());
        const ApplyResult once = FixApplier::apply(fixes, document, 1);
        EXPECT_FALSE(once.entries.empty());
        const ApplyResult twice = FixApplier::apply(fixes, once.document, 1);
        EXPECT_EQ(GedcomWriter::render(twice.document), GedcomWriter::render(once.document));
        EXPECT_TRUE(twice.entries.empty());
    }
}
