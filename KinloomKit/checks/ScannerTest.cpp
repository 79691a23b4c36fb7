// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Scanner.h"

#include "changes/FixApplier.h"
#include "document/GedcomReader.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

/// The ids of the findings, or of those of one category.
std::vector<std::string> ids(const ScanResult& result, std::optional<IssueCategory> category = std::nullopt)
{
    std::vector<std::string> out;
    for (const Issue& issue : result.issues) {
        if (!category || issue.category == *category)
            out.push_back(issue.id);
    }
    return out;
}

// A header with every part GEDCOM 5.5.1 requires.
const std::string completeHeader =
    "0 HEAD\n1 SOUR Kinloom\n1 SUBM @U1@\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n"
    "1 CHAR UTF-8\n0 @U1@ SUBM\n1 NAME Ann\n";

const Issue* findIssue(const ScanResult& result, std::string_view id)
{
    for (const Issue& issue : result.issues) {
        if (issue.id == id)
            return &issue;
    }
    return nullptr;
}

} // namespace

TEST(ScannerTest, OptionDefaults)
{
    const ScanOptions options;
    EXPECT_EQ(options.numericOrder, NumericDateOrder::automatic);
    EXPECT_EQ(options.minParentAge, 12.0);
    EXPECT_EQ(options.maxMotherAge, 55.0);
    EXPECT_EQ(options.maxFatherAge, 80.0);
    EXPECT_EQ(options.maxLifespan, 120.0);
    EXPECT_EQ(options.duplicateThreshold, 0.65);
}

TEST(ScannerTest, RecordLabels)
{
    const GedcomDocument document = GedcomReader::read("0 @I1@ INDI\n1 NAME  Mary  /Smith/ \n"
                                                       "0 @I2@ INDI\n1 NAME\n1 NAME //\n"
                                                       "0 @I3@ INDI\n"
                                                       "0 INDI\n1 NAME Ann /Lee/\n"
                                                       "0 @F3@ FAM\n"
                                                       "0 HEAD\n");
    const std::vector<std::string> expected = {
        "Mary Smith (@I1@)", "Unnamed person (@I2@)", "@I3@ INDI", "Ann Lee (?)", "@F3@ FAM", "HEAD"};
    for (std::size_t i = 0; i < expected.size(); ++i)
        EXPECT_EQ(recordLabel(document.record(i)), expected[i]);
}

TEST(ScannerTest, StatisticsAndOrder)
{
    const GedcomDocument document =
        GedcomReader::read("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 DATE 1 JAN 2020\n"
                           "0 @I1@ INDI\n1 NAME John /Smith/\n1 BIRT\n2 DATE 12 MAR 1890\n"
                           "2 PLAC Leeds\n1 DEAT\n2 DATE 1880\n2 PLAC  \n"
                           "garbage\n"
                           "0 @I2@ INDI\n1 BIRT\n2 DATE abt 1850\n1 CHR\n2 DATE 1851\n"
                           "0 @F1@ FAM\n1 MARR\n2 DATE 13/04/1880\n"
                           "0 @S1@ SOUR\n0 @N1@ NOTE x\n0 TRLR\n");
    const ScanResult result = Scanner::scan(document);
    const TreeStats& stats = result.stats;
    EXPECT_EQ(stats.people, 2u);
    EXPECT_EQ(stats.families, 1u);
    EXPECT_EQ(stats.sources, 1u);
    EXPECT_EQ(stats.otherRecords, 1u);
    EXPECT_EQ(stats.dates, 5u);
    EXPECT_EQ(stats.places, 1u);
    EXPECT_EQ(stats.lines, 24u);
    EXPECT_EQ(stats.version, "GEDCOM 5.5.1");
    EXPECT_EQ(stats.encoding, "UTF-8");
    EXPECT_EQ(stats.numericOrder, NumericDateOrder::dayFirst);
    EXPECT_EQ(stats.dateStyles, (std::vector<DateStyleCount>{{"Standard (12 MAR 1890)", 3},
                                                             {"Numbers (03/12/1890)", 1},
                                                             {"Words in lower case (abt. 1890)", 1}}));
    // The checks' findings in the fixed order: file, date formats, impossible dates, missing
    // details, links and records.
    EXPECT_EQ(ids(result),
              (std::vector<std::string>{"file-line-13", "struct-header", "date-16", "date-21", "date-styles",
                                        "imp-death-@I1@", "imp-alive-@I2@", "miss-sex-@I1@", "miss-name-@I2@",
                                        "miss-sex-@I2@", "link-alone-@I1@", "link-alone-@I2@",
                                        "link-emptyfam-@F1@", "link-unused-@S1@", "link-unused-@N1@"}));

    ScanOptions monthFirst;
    monthFirst.numericOrder = NumericDateOrder::monthFirst;
    EXPECT_EQ(Scanner::scan(document, monthFirst).stats.numericOrder, std::nullopt);
}

TEST(ScannerTest, FileFindings)
{
    const std::string longLine(130, 'x');
    const GedcomDocument document =
        GedcomReader::read("\xEF\xBB\xBF"
                           "0 @I1@ INDI\n1 NAME Ann /Lee/\n" +
                           longLine + "\n\xC3\xA9t\xC3\xA9 \xFF\nrubbish\n0 TRLR\n");
    const ScanResult result = Scanner::scan(document);
    ASSERT_EQ(ids(result, IssueCategory::file),
              (std::vector<std::string>{"file-read-0", "file-line-3", "file-line-4", "file-line-5",
                                        "file-nohead"}));
    const Issue& note = result.issues[0];
    EXPECT_EQ(note, (Issue{"file-read-0", IssueCategory::file, Severity::info, "How the file was read",
                           "Some bytes weren\u2019t valid UTF-8 and were replaced with \uFFFD."}));
    EXPECT_EQ(result.issues[1],
              (Issue{"file-line-3",
                     IssueCategory::file,
                     Severity::info,
                     "Unreadable line kept as is",
                     "In Ann Lee (@I1@): \u201C" + std::string(120, 'x') + "\u201D. It is saved unchanged.",
                     {"@I1@"}}));
    EXPECT_EQ(result.issues[2].detail,
              "In Ann Lee (@I1@): \u201C\u00E9t\u00E9 \uFFFD\u201D. It is saved unchanged.");
    EXPECT_EQ(result.issues[4],
              (Issue{"file-nohead", IssueCategory::file, Severity::warning, "No header",
                     "The file has no HEAD record. Most programs still read it, but it may not be a "
                     "GEDCOM file."}));
    EXPECT_EQ(Scanner::scan(GedcomReader::read("Hello\n0 HEAD\n")).issues[0].detail,
              "In the file: \u201CHello\u201D. It is saved unchanged.");
    EXPECT_TRUE(Scanner::scan(GedcomReader::read(completeHeader + "0 TRLR\n")).issues.empty());
}

TEST(ScannerTest, DateFindings)
{
    const GedcomDocument document = GedcomReader::read("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n"
                                                       "0 @I1@ INDI\n1 NAME Mary /Smith/\n"
                                                       "1 BIRT\n2 DATE 12  MAR 1890\n"
                                                       "1 DEAT\n2 DATE 3/4/1890\n"
                                                       "1 BURI\n2 DATE sometime in  spring\n"
                                                       "1 EVEN\n2 DATE (a phrase)\n"
                                                       "1 RESI\n2 DATE in (spring 1950\n"
                                                       "1 CHAN\n2 DATE 14 Oct 2002\n");
    const ScanResult result = Scanner::scan(document);
    const std::string context = "Mary Smith (@I1@) \u00B7 ";

    // A change date another program wrote is one finding for the whole file, a note.
    const Issue* changes = findIssue(result, "date-chan");
    ASSERT_NE(changes, nullptr);
    EXPECT_EQ(changes->severity, Severity::info);
    EXPECT_EQ(changes->title, "1 change date written in another form");
    ASSERT_TRUE(changes->fix);
    EXPECT_EQ(changes->fix->edits, (std::vector<Edit>{Edit::SetValue{17, "14 Oct 2002", "14 OCT 2002"}}));
    EXPECT_EQ(findIssue(result, "date-17"), nullptr);

    // Blanks or letter case alone make a note, not a warning.
    const Issue* spaces = findIssue(result, "date-7");
    ASSERT_NE(spaces, nullptr);
    EXPECT_EQ(*spaces, (Issue{"date-7",
                              IssueCategory::dateFormats,
                              Severity::info,
                              "Date not in the standard form",
                              context + "BIRT DATE: \u201C12  MAR 1890\u201D",
                              {"@I1@"},
                              Fix{"date-7",
                                  "Write as \u201C12 MAR 1890\u201D",
                                  {Edit{Edit::SetValue{7, "12  MAR 1890", "12 MAR 1890"}}},
                                  {PreviewLine{context + "BIRT DATE", "12  MAR 1890", "12 MAR 1890"}},
                                  false}}));

    const Issue* twoWays = findIssue(result, "date-9");
    ASSERT_NE(twoWays, nullptr);
    EXPECT_EQ(twoWays->title, "Date reads two ways");
    EXPECT_EQ(twoWays->severity, Severity::warning);
    EXPECT_EQ(twoWays->detail,
              context + "DEAT DATE: \u201C3/4/1890\u201D could be 3 APR 1890 or 4 MAR 1890. Choose Day "
                        "first or Month first in Settings \u203A Checks to fix these.");
    EXPECT_EQ(twoWays->fix, std::nullopt);

    // Text with no year, month or day in it may belong elsewhere: no fix hides it as a phrase.
    const Issue* words = findIssue(result, "date-11");
    ASSERT_NE(words, nullptr);
    EXPECT_EQ(*words,
              (Issue{"date-11",
                     IssueCategory::dateFormats,
                     Severity::warning,
                     "Text where a date belongs",
                     context + "BURI DATE: \u201Csometime in  spring\u201D has no year, month or day. It "
                               "may belong in another field of the event, or in a note.",
                     {"@I1@"}}));

    EXPECT_EQ(findIssue(result, "date-13"), nullptr);
    const Issue* bracket = findIssue(result, "date-15");
    ASSERT_NE(bracket, nullptr);
    EXPECT_EQ(bracket->title, "Not a date Kinloom can read");
    EXPECT_EQ(bracket->fix, std::nullopt);

    // Nothing in the header is counted.
    const ScanResult seven = Scanner::scan(GedcomReader::read("0 HEAD\n1 GEDC\n2 VERS 7.0\n1 DATE nonsense\n"
                                                              "0 @I1@ INDI\n1 BIRT\n2 DATE sometime\n"));
    EXPECT_EQ(findIssue(seven, "date-4"), nullptr);
    EXPECT_EQ(seven.stats.dates, 1u);
}

// Values that do not read as they stand: what each is called and how it is fixed, and that the fix,
// applied, leaves nothing to report.
TEST(ScannerTest, UnreadableDates)
{
    struct Row
    {
        const char* value;
        bool v7;
        const char* title;
        const char* fix; // the fix's title; nullptr when there is none
        bool review = true;
    };
    const std::vector<Row> rows = {
        {"Machine operator, Ford Motor Co.", false, "Text where a date belongs", nullptr},
        {"STILLBORN", true, "Text where a date belongs", nullptr},
        {"1908 ?", false, "Date not in the standard form", "Write as \u201CINT 1908 (1908 ?)\u201D"},
        {"23  AD", false, "Date not in the standard form", "Write as \u201CINT 23 (23 AD)\u201D"},
        {"12 MAR 1637/1638 ?", false, "Date not in the standard form",
         "Write as \u201CINT 12 MAR 1637/38 (12 MAR 1637/1638 ?)\u201D"},
        {"1908 (?)", false, "Date not in the standard form", nullptr},
        {"1908 ?", true, "Date not in the standard form",
         "Write as \u201C1908\u201D with the phrase \u201C1908 ?\u201D"},
        {"12 MAR 1637/1638", false, "Date not in the standard form", "Write as \u201C12 MAR 1637/38\u201D",
         false},
        {"1637/1639", false, "Not a date Kinloom can read", "Keep as a date phrase \u201C(1637/1639)\u201D"},
        // After the dual years, the next year written in full is one year or the other.
        {"1815/1816", false, "Date not in the standard form", "Write as \u201CBET 1815 AND 1816\u201D"},
        {"26 Oct", false, "Not a date Kinloom can read", "Keep as a date phrase \u201C(26 Oct)\u201D"},
        {"26 Oct", true, "Not a date Kinloom can read", nullptr},
        // A phrase would lose the date read among the words.
        {"abt 1850 ?", false, "Not a date Kinloom can read", nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.value) + (row.v7 ? " (7)" : ""));
        const GedcomDocument document =
            GedcomReader::read(std::string("0 HEAD\n1 GEDC\n2 VERS ") + (row.v7 ? "7.0" : "5.5.1") +
                               "\n0 @I1@ INDI\n1 BIRT\n2 DATE " + row.value + "\n");
        const ScanResult result = Scanner::scan(document);
        const Issue* issue = findIssue(result, "date-6");
        ASSERT_NE(issue, nullptr);
        EXPECT_EQ(issue->title, row.title);
        ASSERT_EQ(issue->fix.has_value(), row.fix != nullptr);
        if (!row.fix)
            continue;
        EXPECT_EQ(issue->fix->title, row.fix);
        EXPECT_EQ(issue->fix->needsReview, row.review);
        const ApplyResult applied = FixApplier::apply({*issue->fix}, document, 1);
        EXPECT_EQ(findIssue(Scanner::scan(applied.document), "date-6"), nullptr);
    }

    // In GEDCOM 7 the words go to a phrase line under the date; one already there is left alone.
    const GedcomDocument seven =
        GedcomReader::read("0 HEAD\n1 GEDC\n2 VERS 7.0\n0 @I1@ INDI\n1 BIRT\n2 DATE 1908 ?\n");
    const ScanResult result = Scanner::scan(seven);
    const Issue* issue = findIssue(result, "date-6");
    ASSERT_TRUE(issue && issue->fix);
    EXPECT_EQ(issue->detail, "@I1@ INDI \u00B7 BIRT DATE: \u201C1908 ?\u201D, read as 1908.");
    const ApplyResult applied = FixApplier::apply({*issue->fix}, seven, 1);
    const NodeView date = *applied.document.record(1).firstChild("BIRT")->firstChild("DATE");
    EXPECT_EQ(date.value(), "1908");
    EXPECT_EQ(date.firstChild("PHRASE")->value(), "1908 ?");
    const GedcomDocument phrased = GedcomReader::read(
        "0 HEAD\n1 GEDC\n2 VERS 7.0\n0 @I1@ INDI\n1 BIRT\n2 DATE 1908 ?\n3 PHRASE about 1908\n");
    const ScanResult phrasedResult = Scanner::scan(phrased);
    const Issue* kept = findIssue(phrasedResult, "date-6");
    ASSERT_NE(kept, nullptr);
    EXPECT_EQ(kept->fix, std::nullopt);
}

// A date continued on CONC or CONT lines is fixed whole: the fix compares the full value and
// replaces it, continuation lines and all.
TEST(ScannerTest, DatesContinuedOnOtherLinesCanBeFixed)
{
    struct Case
    {
        std::string dateLines;
        std::string fixed;
    };
    const Case cases[] = {
        {"2 DATE 12  MAR\n3 CONC  1890\n", "12 MAR 1890"},
        {"2 DATE 12 MAR\n3 CONT 1890\n", "12 MAR 1890"},
        {"2 DATE 1908\n3 CONC  ?\n", "INT 1908 (1908 ?)"},
        {"2 DATE 12 mar 1890 \n", "12 MAR 1890"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.dateLines);
        const GedcomDocument document = GedcomReader::read(
            "0 HEAD\n0 @I1@ INDI\n1 NAME Mary /Smith/\n1 BIRT\n" + c.dateLines + "0 TRLR\n");
        const ScanResult scanned = Scanner::scan(document);
        const Issue* issue = findIssue(scanned, "date-5");
        ASSERT_NE(issue, nullptr);
        ASSERT_TRUE(issue->fix);
        const ApplyResult applied = FixApplier::apply({*issue->fix}, document, 1);
        ASSERT_EQ(applied.entries.size(), 1u);
        EXPECT_EQ(findIssue(Scanner::scan(applied.document), "date-5"), nullptr);
        const NodeView date = *applied.document.record(1).firstChild("BIRT")->firstChild("DATE");
        EXPECT_EQ(date.value(), c.fixed);
        EXPECT_TRUE(date.children().empty());
    }
}

TEST(ScannerTest, ImpossibleDatesOfOnePerson)
{
    const GedcomDocument document = GedcomReader::read(
        completeHeader + "0 @I1@ INDI\n1 NAME A /B/\n1 BIRT\n2 DATE 1900\n1 DEAT\n2 DATE 1899\n"
                         "0 @I2@ INDI\n1 DEAT\n2 DATE 1900\n1 BURI\n2 DATE 1899\n"
                         "0 @I3@ INDI\n1 BIRT\n2 DATE 1900\n1 BAPM\n2 DATE 1899\n"
                         "0 @I4@ INDI\n1 BIRT\n2 DATE 1900\n1 CHR\n2 DATE 1901\n1 BAPM\n2 DATE 1899\n"
                         "0 @I5@ INDI\n1 BIRT\n2 DATE 1800\n1 DEAT\n2 DATE 1922\n"
                         "0 @I6@ INDI\n1 BIRT\n2 DATE 1800\n1 DEAT\n2 DATE 1920\n"
                         "0 @I7@ INDI\n1 BIRT\n2 DATE 1900\n1 DEAT\n2 DATE 1900\n"
                         "0 @I8@ INDI\n1 BIRT\n2 DATE AFT 1900\n1 DEAT\n2 DATE BEF 1800\n0 TRLR\n");
    // Long enough ago that nobody is taken for dead for want of a death.
    const ScanOptions longAgo{.currentYear = 1};
    const ScanResult result = Scanner::scan(document, longAgo);
    EXPECT_EQ(ids(result, IssueCategory::impossibleDates),
              (std::vector<std::string>{"imp-death-@I1@", "imp-burial-@I2@", "imp-chr-@I3@", "imp-age-@I5@",
                                        "imp-death-@I8@"}));
    EXPECT_EQ(result.issues[0],
              (Issue{"imp-death-@I1@",
                     IssueCategory::impossibleDates,
                     Severity::error,
                     "Died before being born",
                     "A B (@I1@): born 1900, died 1899. Check the dates in your family-tree program "
                     "or sources.",
                     {"@I1@"}}));
    EXPECT_EQ(result.issues[3].title, "Lived over 120 years");
    EXPECT_EQ(result.issues[3].severity, Severity::warning);

    ScanOptions shorter = longAgo;
    shorter.maxLifespan = 100;
    EXPECT_EQ(Scanner::scan(document, shorter).issues[3].title, "Lived over 100 years");
    // The year reaches the checks that need it.
    ScanOptions now = shorter;
    now.currentYear = 2026;
    const std::vector<std::string> found = ids(Scanner::scan(document, now), IssueCategory::impossibleDates);
    EXPECT_EQ(std::count_if(found.begin(), found.end(),
                            [](const std::string& id) { return id.starts_with("imp-alive-"); }),
              2);
    EXPECT_EQ(Scanner::scan(GedcomReader::read(completeHeader + "0 TRLR\n")).issues, std::vector<Issue>{});
}

TEST(ScannerTest, SameResultOnOneThreadOrTwo)
{
    for (const std::string& text : {SampleTree::sampleText(), SampleTree::syntheticText(2000, 3)}) {
        const GedcomDocument document = GedcomReader::read(text);
        const ScanResult one = Scanner::scan(document, {}, 1);
        EXPECT_FALSE(one.issues.empty());
        EXPECT_EQ(Scanner::scan(document, {}, 2), one);
        EXPECT_EQ(Scanner::scan(document), one);
    }
}

// A year of one or two digits takes the century that the record's other dates point to.
TEST(ScannerTest, YearsWrittenWithTwoDigits)
{
    struct Row
    {
        const char* situation;
        const char* record; // a person, or a family with a husband @H@ born 1880
        const char* fixed;  // the value written with its century; "" when none fits, nullptr: no finding
    };
    const std::vector<Row> rows = {
        {"a birth with a death long after", "0 @P@ INDI\n1 BIRT\n2 DATE 12 MAR 22\n1 DEAT\n2 DATE 1990\n",
         "12 MAR 1922"},
        {"a death after the birth, not just before it",
         "0 @P@ INDI\n1 BIRT\n2 DATE 1840\n1 DEAT\n2 DATE 5 JAN 02\n", "5 JAN 1902"},
        {"a birth before the death, not just after it",
         "0 @P@ INDI\n1 BIRT\n2 DATE 98\n1 DEAT\n2 DATE 1902\n", "1898"},
        {"both ends of a range", "0 @P@ INDI\n1 BIRT\n2 DATE BET 22 AND 25\n1 CHR\n2 DATE 1925\n",
         "BET 1922 AND 1925"},
        {"a qualified date", "0 @P@ INDI\n1 RESI\n2 DATE ABT 5\n1 BIRT\n2 DATE 1880\n", "ABT 1905"},
        {"the other dates too far apart for any century",
         "0 @P@ INDI\n1 BIRT\n2 DATE 50\n1 CHR\n2 DATE 1800\n1 RESI\n2 DATE 1990\n", ""},
        {"a marriage beside the spouse's birth",
         "0 @H@ INDI\n1 BIRT\n2 DATE 1880\n0 @F@ FAM\n1 HUSB @H@\n1 MARR\n2 DATE 05\n", "1905"},
        {"no other date", "0 @P@ INDI\n1 BIRT\n2 DATE 22\n", nullptr},
        {"ancient dates beside it", "0 @P@ INDI\n1 BIRT\n2 DATE 22\n1 DEAT\n2 DATE 79\n", nullptr},
        {"an era", "0 @P@ INDI\n1 BIRT\n2 DATE 22 B.C.\n1 DEAT\n2 DATE 1990\n", nullptr},
        {"four digits", "0 @P@ INDI\n1 BIRT\n2 DATE 0022\n1 DEAT\n2 DATE 1990\n", nullptr},
        {"a day, not a year", "0 @P@ INDI\n1 BIRT\n2 DATE 22 MAR 1922\n1 DEAT\n2 DATE 1990\n", nullptr},
        {"not written the standard way", "0 @P@ INDI\n1 BIRT\n2 DATE 12 mar 22\n1 DEAT\n2 DATE 1990\n",
         nullptr},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const GedcomDocument document = GedcomReader::read(std::string("0 HEAD\n") + row.record);
        std::vector<const Issue*> found;
        const ScanResult result = Scanner::scan(document, {.currentYear = 2026});
        for (const Issue& issue : result.issues) {
            if (issue.id.starts_with("date-century-"))
                found.push_back(&issue);
        }
        if (!row.fixed) {
            EXPECT_TRUE(found.empty());
            continue;
        }
        ASSERT_EQ(found.size(), 1u);
        EXPECT_EQ(found[0]->title, "Year written with two digits");
        EXPECT_EQ(found[0]->severity, Severity::warning);
        if (!*row.fixed) {
            EXPECT_FALSE(found[0]->fix);
            continue;
        }
        ASSERT_TRUE(found[0]->fix);
        const auto* edit = std::get_if<Edit::SetValue>(&found[0]->fix->edits.at(0).value);
        ASSERT_NE(edit, nullptr);
        EXPECT_EQ(edit->to, row.fixed);
        EXPECT_TRUE(found[0]->fix->needsReview);
        const ApplyResult applied = FixApplier::apply({*found[0]->fix}, document, 1);
        EXPECT_EQ(findIssue(Scanner::scan(applied.document, {.currentYear = 2026}), found[0]->id), nullptr);
    }

    const GedcomDocument document = GedcomReader::read(
        "0 HEAD\n0 @P@ INDI\n1 NAME Al /Lee/\n1 BIRT\n2 DATE 12 MAR 22\n1 DEAT\n2 DATE 1990\n");
    const ScanResult result = Scanner::scan(document);
    const Issue* issue = findIssue(result, "date-century-5");
    ASSERT_NE(issue, nullptr);
    EXPECT_EQ(issue->detail,
              "Al Lee (@P@) \u00B7 BIRT DATE: \u201C12 MAR 22\u201D leaves the century out; the other "
              "dates put it at \u201C12 MAR 1922\u201D.");
    EXPECT_EQ(issue->fix->title, "Write the year as 1922");
    EXPECT_EQ(issue->fix->preview,
              (std::vector<PreviewLine>{{"Al Lee (@P@) \u00B7 BIRT DATE", "12 MAR 22", "12 MAR 1922"}}));
}

TEST(ScannerTest, EveryFindingHasAKindOfItsCategory)
{
    const ScanResult result =
        Scanner::scan(GedcomReader::read(SampleTree::sampleText()), {.currentYear = 2026});
    for (const Issue& issue : result.issues) {
        SCOPED_TRACE(issue.id);
        const auto kinds = allFindingKinds();
        const auto kind = std::find_if(kinds.begin(), kinds.end(), [&](const FindingKind& known) {
            return known.id == kindOf(issue.id);
        });
        ASSERT_NE(kind, kinds.end());
        EXPECT_EQ(kind->category, issue.category);
    }

    const std::pair<std::string_view, std::string_view> ids[] = {
        {"date-styles", "date-styles"},
        {"date-century-12", "date-century"},
        {"dupfam-@F1@-@F2@", "dupfam"},
        // Place groups whose key is a kind's last word.
        {"place-date", "place"},
        {"place-space", "place"},
        {"imp-alive", ""},
        {"imp-aliveness-@I1@", ""},
    };
    for (const auto& [id, kind] : ids)
        EXPECT_EQ(kindOf(id), kind) << id;
}

TEST(ScannerTest, SkippedKindsAreNotReported)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::sampleText());
    const ScanResult all = Scanner::scan(document, {.currentYear = 2026});
    std::vector<std::string> missing;
    for (const FindingKind& kind : allFindingKinds()) {
        if (kind.category == IssueCategory::missing)
            missing.emplace_back(kind.id);
    }
    // A check whose kinds are all skipped does not run; "dupfam" still rests on the pairs of people
    // when "dup" alone is skipped, and the styles summary stays with the dates' findings skipped.
    const std::vector<std::vector<std::string>> rows = {
        {},      {"imp-alive"},  {"dup"}, {"dup", "dupfam"}, {"date"}, {"date-century", "date-styles"},
        missing, {"later-kind"},
    };
    for (const std::vector<std::string>& skipped : rows) {
        SCOPED_TRACE(testing::PrintToString(skipped));
        const ScanResult result = Scanner::scan(document, {.skippedKinds = skipped, .currentYear = 2026});
        std::vector<Issue> expected = all.issues;
        std::erase_if(expected, [&](const Issue& issue) {
            return std::find(skipped.begin(), skipped.end(), kindOf(issue.id)) != skipped.end();
        });
        EXPECT_EQ(result.issues, expected);
        EXPECT_EQ(result.stats, all.stats);
    }
    std::vector<std::string> every;
    for (const FindingKind& kind : allFindingKinds())
        every.emplace_back(kind.id);
    EXPECT_EQ(Scanner::scan(document, {.skippedKinds = every}).issues, std::vector<Issue>{});
}
