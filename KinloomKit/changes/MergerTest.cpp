// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes/Merger.h"

#include "changes/FixApplier.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "output/Report.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

using Pairs = std::vector<std::pair<std::string, std::string>>;
using Lines = std::vector<std::string>;

const std::string merged = "Merged @I2@ into @I1@.";

} // namespace

TEST(MergerTest, LineClasses)
{
    struct Case
    {
        const char* name;
        std::string kept;    ///< lines of @I1@
        std::string removed; ///< lines of @I2@
        Lines lines;         ///< after "Merged @I2@ into @I1@."
        std::string keptAfter;
    };
    const std::string name = "1 NAME Mary /Smith/\n";
    const std::string change = "1 CHAN\n2 DATE 1 JAN 2020\n";
    const Case cases[] = {
        {"housekeeping and an equal name",
         name + change,
         name + "1 RIN 7\n" + change,
         {"  dropped @I2@\u2019s RIN line (record housekeeping)",
          "  dropped @I2@\u2019s CHAN line (record housekeeping)"},
         name + change},
        {"unknown sex taken over", name + "1 SEX U\n", "1 SEX F\n", {"  SEX U \u2192 F"}, name + "1 SEX F\n"},
        {"blank sex taken over", "1 SEX\n", "1 SEX  m \n", {"  SEX  \u2192 m"}, "1 SEX m\n"},
        {"conflicting sex kept as a note",
         name + "1 SEX M\n" + change,
         "1 SEX F\n",
         {"  + 1 NOTE Merged from @I2@, which had SEX F"},
         name + "1 SEX M\n1 NOTE Merged from @I2@, which had SEX F\n" + change},
        {"same sex in another case, and an unknown one",
         "1 SEX F\n",
         "1 SEX f\n1 SEX U\n1 SEX\n",
         {},
         "1 SEX F\n"},
        {"sex where the kept record has none", name, "1 SEX F\n", {"  + 1 SEX F"}, name + "1 SEX F\n"},
        {"an equal sex gives its citation",
         name + "1 SEX M\n",
         "1 SEX M\n2 SOUR @S1@\n3 PAGE entry 12\n",
         {"   (under 1 SEX M) + 2 SOUR @S1@", "   (under 1 SEX M) + 3 PAGE entry 12"},
         name + "1 SEX M\n2 SOUR @S1@\n3 PAGE entry 12\n"},
        {"an unknown sex gives its citation",
         "1 SEX F\n",
         "1 SEX U\n2 SOUR @S2@\n",
         {"   (under 1 SEX F) + 2 SOUR @S2@"},
         "1 SEX F\n2 SOUR @S2@\n"},
        {"an unknown sex with a citation where the kept record has none",
         name,
         "1 SEX U\n2 SOUR @S2@\n",
         {"  + 1 SEX U", "  + 2 SOUR @S2@"},
         name + "1 SEX U\n2 SOUR @S2@\n"},
        {"a sex taken over brings its citation",
         "1 SEX U\n2 NOTE asked\n",
         "1 SEX F\n2 NOTE asked\n2 SOUR @S1@\n",
         {"  SEX U \u2192 F", "   (under 1 SEX F) + 2 SOUR @S1@"},
         "1 SEX F\n2 NOTE asked\n2 SOUR @S1@\n"},
        {"a conflicting sex keeps its citation with the note",
         name + "1 SEX M\n" + change,
         "1 SEX F\n2 SOUR @S1@\n3 PAGE entry 12\n",
         {"  + 1 NOTE Merged from @I2@, which had SEX F", "  + 2 SOUR @S1@", "  + 3 PAGE entry 12"},
         name + "1 SEX M\n1 NOTE Merged from @I2@, which had SEX F\n2 SOUR @S1@\n3 PAGE entry 12\n" + change},
        {"a new line with its sub-lines goes before the change date",
         name + change,
         "1 DEAT\n2 DATE 1950\n2 PLAC Leeds\n",
         {"  + 1 DEAT", "  + 2 DATE 1950", "  + 2 PLAC Leeds"},
         name + "1 DEAT\n2 DATE 1950\n2 PLAC Leeds\n" + change},
        {"an identical line with its sub-lines is already there",
         "1 BIRT\n2 DATE 1890\n",
         "1 BIRT\n2 DATE 1890\n",
         {},
         "1 BIRT\n2 DATE 1890\n"},
        {"an agreeing line gives its extra sub-lines",
         "1 BIRT\n2 DATE 1890\n1 BIRT\n2 DATE 1891\n",
         "1 BIRT\n2 DATE 1890\n2 PLAC Leeds\n3 MAP\n",
         {"   (under 1 BIRT) + 2 PLAC Leeds", "   (under 1 BIRT) + 3 MAP"},
         "1 BIRT\n2 DATE 1890\n2 PLAC Leeds\n3 MAP\n1 BIRT\n2 DATE 1891\n"},
        {"a citation gives what the kept one lacks, deeper down",
         "1 BIRT\n2 DATE 1890\n2 SOUR @S1@\n3 PAGE 4\n",
         "1 BIRT\n2 SOUR @S1@\n3 PAGE 4\n3 QUAY 3\n",
         {"   (under 1 BIRT / 2 SOUR @S1@) + 3 QUAY 3"},
         "1 BIRT\n2 DATE 1890\n2 SOUR @S1@\n3 PAGE 4\n3 QUAY 3\n"},
        {"births with different dates are two facts",
         "1 BIRT\n2 DATE 1891\n2 SOUR @S1@\n",
         "1 BIRT\n2 DATE 1890\n2 SOUR @S1@\n",
         {"  + 1 BIRT", "  + 2 DATE 1890", "  + 2 SOUR @S1@"},
         "1 BIRT\n2 DATE 1891\n2 SOUR @S1@\n1 BIRT\n2 DATE 1890\n2 SOUR @S1@\n"},
        {"citations of other pages are two citations",
         "1 SOUR @S1@\n2 PAGE 4\n",
         "1 SOUR @S1@\n2 PAGE 9\n",
         {"  + 1 SOUR @S1@", "  + 2 PAGE 9"},
         "1 SOUR @S1@\n2 PAGE 4\n1 SOUR @S1@\n2 PAGE 9\n"},
        {"a line two kept lines agree with stays its own unless one has it all",
         "1 RESI\n2 DATE 1881\n1 RESI\n2 DATE 1891\n",
         "1 RESI\n2 PLAC Leeds\n1 RESI\n",
         {"  + 1 RESI", "  + 2 PLAC Leeds"},
         "1 RESI\n2 DATE 1881\n1 RESI\n2 DATE 1891\n1 RESI\n2 PLAC Leeds\n"},
        {"a line with fewer sub-lines adds nothing",
         "1 BIRT\n2 DATE 1890\n",
         "1 BIRT\n",
         {},
         "1 BIRT\n2 DATE 1890\n"},
        {"different continuations make another line",
         "1 NOTE a\n2 CONC b\n2 SOUR @S1@\n",
         "1 NOTE a\n2 CONC c\n2 SOUR @S1@\n",
         {"  + 1 NOTE a", "  + 2 CONC c", "  + 2 SOUR @S1@"},
         "1 NOTE a\n2 CONC b\n2 SOUR @S1@\n1 NOTE a\n2 CONC c\n2 SOUR @S1@\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        GedcomDocument document =
            GedcomReader::read("0 HEAD\n0 @I1@ INDI\n" + c.kept + "0 @I2@ INDI\n" + c.removed + "0 TRLR\n");
        const std::int64_t nextID = document.nextID;
        const auto results = Merger::merge({{"@I1@", "@I2@"}}, document);
        ASSERT_EQ(results.size(), 1u);
        ASSERT_TRUE(results[0]);
        Lines expected = {merged};
        expected.insert(expected.end(), c.lines.begin(), c.lines.end());
        EXPECT_EQ(*results[0], expected);
        EXPECT_EQ(GedcomWriter::render(document), "0 HEAD\n0 @I1@ INDI\n" + c.keptAfter + "0 TRLR\n");
        const bool noted = c.keptAfter.find("1 NOTE Merged") != std::string::npos;
        EXPECT_EQ(document.nextID, nextID + (noted ? 1 : 0));
    }
}

TEST(MergerTest, RepointsEveryLinkAndDropsRepeats)
{
    GedcomDocument document = GedcomReader::read("0 HEAD\n"
                                                 "0 @I1@ INDI\n1 NAME Mary /Smith/\n1 FAMC @F1@\n"
                                                 "0 @I2@ INDI\n1 NAME Mary /Smith/\n1 FAMC @F1@\n"
                                                 "1 ASSO @I3@\n"
                                                 "0 @I3@ INDI\n1 NAME Ann /Lee/\n1 ASSO @I2@\n2 RELA Friend\n"
                                                 "0 @F1@ FAM\n1 CHIL @I1@\n1 CHIL @I2@\n2 _FREL Adopted\n"
                                                 "1 CHIL @I2@\n"
                                                 "0 @N1@ NOTE See @I2@\n"
                                                 "0 TRLR\n");
    std::vector<std::optional<Merger::Outcome>> outcomes;
    const auto results = Merger::merge({{"@I1@", "@I2@"}}, document, &outcomes);
    ASSERT_TRUE(results[0]);
    EXPECT_EQ(*results[0],
              (Lines{merged, "  + 1 ASSO @I3@", "  3 links to @I2@ now point to Mary Smith (@I1@)",
                     "  2 repeated links removed"}));
    // The first of repeated lines stays and takes what only a repeat said; a value that merely
    // mentions the xref is not a pointer.
    EXPECT_EQ(GedcomWriter::render(document), "0 HEAD\n"
                                              "0 @I1@ INDI\n1 NAME Mary /Smith/\n1 FAMC @F1@\n1 ASSO @I3@\n"
                                              "0 @I3@ INDI\n1 NAME Ann /Lee/\n1 ASSO @I1@\n2 RELA Friend\n"
                                              "0 @F1@ FAM\n1 CHIL @I1@\n2 _FREL Adopted\n"
                                              "0 @N1@ NOTE See @I2@\n"
                                              "0 TRLR\n");
    ASSERT_TRUE(outcomes[0]);
    EXPECT_EQ(*outcomes[0], (Merger::Outcome{{"1 ASSO @I3@"}, 2, {}, 3, {}}));
}

TEST(MergerTest, ABatchFollowsChainsAndSkipsWhatIsGone)
{
    GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 FAMS @F1@\n"
                                                 "0 @I2@ INDI\n1 NAME Ann /Lee/\n1 FAMS @F2@\n1 FAMS @F2@\n"
                                                 "0 @I3@ INDI\n1 NAME Ann /Leigh/\n"
                                                 "0 @F1@ FAM\n1 WIFE @I1@\n"
                                                 "0 @F2@ FAM\n1 WIFE @I2@\n"
                                                 "0 @F3@ FAM\n1 WIFE @I1@\n1 CHIL @I2@\n");
    const Pairs pairs = {{"@I2@", "@I1@"}, {"@I1@", "@I9@"}, {"@I3@", "@I2@"}, {"@I2@", "@I3@"},
                         {"@I3@", "@I3@"}, {"@F1@", "@I3@"}, {"@I8@", "@I9@"}, {"@F1@", "@F2@"}};
    const auto results = Merger::merge(pairs, document);
    ASSERT_EQ(results.size(), pairs.size());
    for (std::size_t i : {1, 3, 4, 5, 6})
        EXPECT_FALSE(results[i]) << i;
    // Links end where the chain ends, also links on lines that moved twice (@I2@'s FAMS @F2@, now
    // @I3@'s); @I2@, kept and then merged itself, brings its repeated line along once.
    const std::vector<std::optional<Lines>> expected = {
        Lines{"Merged @I1@ into @I2@.", "  + 1 FAMS @F1@", "  2 links to @I1@ now point to Ann Leigh (@I3@)"},
        std::nullopt,
        Lines{"Merged @I2@ into @I3@.", "  + 1 NAME Ann /Lee/", "  + 1 FAMS @F2@", "  + 1 FAMS @F1@",
              "  2 links to @I2@ now point to Ann Leigh (@I3@)"},
        std::nullopt,
        std::nullopt,
        std::nullopt,
        std::nullopt,
        Lines{"Merged @F2@ into @F1@.", "  + 1 WIFE @I2@", "  1 link to @F2@ now points to @F1@ FAM",
              "  2 repeated links removed"},
    };
    EXPECT_EQ(results, expected);
    EXPECT_EQ(GedcomWriter::render(document),
              "0 @I3@ INDI\n1 NAME Ann /Leigh/\n1 NAME Ann /Lee/\n1 FAMS @F1@\n"
              "0 @F1@ FAM\n1 WIFE @I3@\n"
              "0 @F3@ FAM\n1 WIFE @I3@\n1 CHIL @I3@\n");
}

TEST(MergerTest, FamiliesMergeTheSameWay)
{
    GedcomDocument document =
        GedcomReader::read("0 @I1@ INDI\n1 NAME John /Smith/\n1 FAMS @F1@\n1 FAMS @F2@\n"
                           "0 @I2@ INDI\n1 NAME Mary /Jones/\n1 FAMS @F2@\n1 FAMS @F1@\n"
                           "0 @I3@ INDI\n1 NAME Tom /Smith/\n1 FAMC @F2@\n"
                           "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 MARR\n2 DATE 1880\n"
                           "1 CHAN\n2 DATE 1 JAN 2020\n"
                           "0 @F2@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 MARR\n2 PLAC Leeds\n"
                           "1 CHIL @I3@\n");
    const auto results = Merger::merge({{"@F1@", "@F2@"}}, document);
    ASSERT_TRUE(results[0]);
    EXPECT_EQ(*results[0],
              (Lines{"Merged @F2@ into @F1@.", "   (under 1 MARR) + 2 PLAC Leeds", "  + 1 CHIL @I3@",
                     "  3 links to @F2@ now point to @F1@ FAM", "  2 repeated links removed"}));
    EXPECT_EQ(GedcomWriter::render(document),
              "0 @I1@ INDI\n1 NAME John /Smith/\n1 FAMS @F1@\n"
              "0 @I2@ INDI\n1 NAME Mary /Jones/\n1 FAMS @F1@\n"
              "0 @I3@ INDI\n1 NAME Tom /Smith/\n1 FAMC @F1@\n"
              "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 MARR\n2 DATE 1880\n2 PLAC Leeds\n"
              "1 CHIL @I3@\n1 CHAN\n2 DATE 1 JAN 2020\n");
}

TEST(MergerTest, Preview)
{
    const GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n1 NAME Mary /Smith/\n1 SEX M\n1 BIRT\n"
                                                       "2 DATE 1890\n1 FAMC @F1@\n"
                                                       "0 @I2@ INDI\n1 NAME Mary /Smith/\n1 SEX F\n1 BIRT\n"
                                                       "2 DATE 1890\n2 PLAC Leeds\n1 DEAT\n2 DATE 1950\n"
                                                       "1 FAMC @F1@\n1 CHAN\n2 DATE 1 JAN 2020\n"
                                                       "0 @F1@ FAM\n");
    const std::vector<PreviewLine> expected = {
        {"Sex differs (M here, F there): kept as a note.", std::nullopt,
         "1 NOTE Merged from @I2@, which had SEX F"},
        {"Added to Mary Smith (@I1@) under 1 BIRT", std::nullopt, "2 PLAC Leeds"},
        {"Added to Mary Smith (@I1@)", std::nullopt, "1 DEAT / 2 DATE 1950"},
        {"Already in Mary Smith (@I1@): 4 lines", std::nullopt, std::nullopt},
        {"Dropped (only described the merged record)", "1 CHAN / 2 DATE 1 JAN 2020", std::nullopt},
        {"Record @I2@ is removed; links to it will point to @I1@", "0 @I2@ INDI", std::nullopt},
    };
    EXPECT_EQ(Merger::preview(document, "@I1@", "@I2@"), expected);
    EXPECT_EQ(Merger::preview(document.record(0), document.record(1)), expected);
    EXPECT_TRUE(Merger::preview(document, "@I1@", "@I9@").empty());
    EXPECT_TRUE(Merger::preview(document, "@I1@", "@I1@").empty());
    EXPECT_TRUE(Merger::preview(document, "@I1@", "@F1@").empty());

    const GedcomDocument unknown = GedcomReader::read("0 @I1@ INDI\n1 SEX U\n0 @I2@ INDI\n1 SEX F\n");
    EXPECT_EQ(Merger::preview(unknown, "@I1@", "@I2@"),
              (std::vector<PreviewLine>{
                  {"Added to @I1@ INDI", "1 SEX U", "1 SEX F"},
                  {"Record @I2@ is removed; links to it will point to @I1@", "0 @I2@ INDI", std::nullopt}}));
}

// Whatever two records are merged, the preview and the merge read them the same way.
TEST(MergerTest, PreviewAgreesWithTheMerge)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::syntheticText(60, 4));
    std::vector<NodeView> people;
    for (NodeView record : document.records()) {
        if (record.tag() == "INDI")
            people.push_back(record);
    }
    ASSERT_GT(people.size(), 20u);
    for (std::size_t k = 0; k + 1 < people.size(); k += 2) {
        const NodeView keep = people[k], remove = people[k + 1];
        SCOPED_TRACE(std::string(*remove.xref()) + " into " + std::string(*keep.xref()));
        GedcomDocument copy = document;
        std::vector<std::optional<Merger::Outcome>> outcomes;
        (void)Merger::merge({{std::string(*keep.xref()), std::string(*remove.xref())}}, copy, &outcomes);
        ASSERT_TRUE(outcomes[0]);
        Merger::Outcome expected = Merger::outcome(keep, remove);
        expected.repointed = outcomes[0]->repointed;
        EXPECT_EQ(*outcomes[0], expected);

        // Moved lines, notes, lines already there and dropped lines, as the preview shows them.
        std::string moved, notes;
        std::size_t already = 0, dropped = 0;
        for (const PreviewLine& line : Merger::preview(keep, remove)) {
            if (line.context.starts_with("Added to") && !line.before)
                moved += (moved.empty() ? "" : " / ") + *line.after;
            if (line.context.starts_with("Sex differs (")) {
                // The note line, then the sub-lines it took with it.
                const std::size_t end = line.after->find(" / ");
                notes += line.after->substr(7, end == std::string::npos ? end : end - 7);
                if (end != std::string::npos)
                    moved += (moved.empty() ? "" : " / ") + line.after->substr(end + 3);
            }
            if (line.context.starts_with("Already in "))
                already = std::stoul(line.context.substr(line.context.rfind(": ") + 2));
            dropped += line.context == "Dropped (only described the merged record)";
        }
        std::string expectedMoved, expectedNotes;
        for (const std::string& line : expected.added)
            expectedMoved += (expectedMoved.empty() ? "" : " / ") + line;
        for (const std::string& note : expected.notes)
            expectedNotes += note;
        EXPECT_EQ(moved, expectedMoved);
        EXPECT_EQ(notes, expectedNotes);
        EXPECT_EQ(already, expected.alreadyThere);
        EXPECT_EQ(dropped, static_cast<std::size_t>(
                               std::count_if(expected.housekeeping.begin(), expected.housekeeping.end(),
                                             [](const auto& line) { return line[0] == '1'; })));
    }
}

TEST(MergerTest, ThroughTheApplier)
{
    const GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SEX M\n"
                                                       "0 @I2@ INDI\n1 NAME Ann /Lee/\n1 SEX F\n"
                                                       "0 @I3@ INDI\n1 NAME Ann /Lee/\n");
    const std::vector<Fix> fixes = {
        {"dup-1", "Merge", {Edit{Edit::Merge{"@I1@", "@I2@"}}}, {}, true},
        {"dup-2", "Merge again", {Edit{Edit::Merge{"@I2@", "@I3@"}}}, {}, true},
        {"dup-3", "Merge the third", {Edit{Edit::Merge{"@I1@", "@I3@"}}}, {}, true},
    };
    const ApplyResult result = FixApplier::apply(fixes, document, 5);
    const std::vector<ChangeEntry> entries = {
        {5, "dup-1", "Merge", {merged, "  + 1 NOTE Merged from @I2@, which had SEX F"}},
        {6, "dup-3", "Merge the third", {"Merged @I3@ into @I1@."}},
    };
    EXPECT_EQ(result.entries, entries);
    EXPECT_EQ(result.skipped, std::vector<std::string>{"Merge again"});
    EXPECT_EQ(result.document.nextID, document.nextID + 1);
    EXPECT_EQ(GedcomWriter::render(result.document),
              "0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SEX M\n1 NOTE Merged from @I2@, which had SEX F\n");
}

// The citation under a removed SEX line that agrees with the kept one reaches the cleaned copy, and
// the change log says where it went.
TEST(MergerTest, ACitationUnderAnEqualSexReachesTheCopyAndTheLog)
{
    const GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n1 NAME Tom /Hart/\n1 SEX M\n"
                                                       "1 CHAN\n2 DATE 1 JAN 2020\n"
                                                       "0 @I2@ INDI\n1 NAME Tom /Hart/\n1 SEX M\n"
                                                       "2 SOUR @S1@\n3 PAGE entry 12\n"
                                                       "0 @S1@ SOUR\n1 TITL Parish register\n");
    const Fix fix{"dup-@I1@-@I2@", "Merge @I2@ into @I1@", {Edit{Edit::Merge{"@I1@", "@I2@"}}}, {}, true};
    const ApplyResult result = FixApplier::apply({fix}, document, 1);
    const Lines lines = {merged, "   (under 1 SEX M) + 2 SOUR @S1@", "   (under 1 SEX M) + 3 PAGE entry 12"};
    ASSERT_EQ(result.entries.size(), 1u);
    EXPECT_EQ(result.entries[0].lines, lines);
    EXPECT_EQ(GedcomWriter::render(result.document),
              "0 @I1@ INDI\n1 NAME Tom /Hart/\n1 SEX M\n2 SOUR @S1@\n3 PAGE entry 12\n"
              "1 CHAN\n2 DATE 1 JAN 2020\n"
              "0 @S1@ SOUR\n1 TITL Parish register\n");
    const std::string log =
        Report::changeLogText(result.entries, "Hart.ged", "Hart (tidied).ged", {}, std::nullopt);
    EXPECT_NE(log.find("    Merged @I2@ into @I1@.\n"
                       "       (under 1 SEX M) + 2 SOUR @S1@\n"
                       "       (under 1 SEX M) + 3 PAGE entry 12\n"),
              std::string::npos)
        << log;
}
