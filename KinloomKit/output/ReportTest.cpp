// SPDX-License-Identifier: GPL-3.0-or-later
#include "output/Report.h"

#include <gtest/gtest.h>

using namespace kinloom;

TEST(ReportTest, ChangeLog)
{
    const auto date = std::chrono::system_clock::from_time_t(0);
    const std::string saved = "Saved " + Report::formatDate(date) + ". ";
    struct Case
    {
        std::vector<ChangeEntry> entries;
        std::optional<std::string> note;
        std::string expected;
    };
    const Case cases[] = {
        {{},
         std::nullopt,
         "# Kinloom change log\nOriginal: Smith.ged (not changed)\nCleaned copy: Smith (tidied).ged\n" +
             saved + "0 changes.\n\nNo changes: the copy has the same content as the original.\n"},
        {{{7,
           "date-12",
           "Write as \u201C12 MAR 1890\u201D",
           {"Mary Smith (@I4@) \u00B7 Birth date: 12.3.1890 \u2192 12 MAR 1890"}}},
         "Some text has no ANSEL form, so the file was saved as UTF-8 (its CHAR line now says UTF-8).",
         "# Kinloom change log\nOriginal: Smith.ged (not changed)\nCleaned copy: Smith (tidied).ged\n" +
             saved +
             "1 change.\nSome text has no ANSEL form, so the file was saved as UTF-8 (its CHAR line now says "
             "UTF-8).\n"
             "\n## 7. Write as \u201C12 MAR 1890\u201D\n    Mary Smith (@I4@) \u00B7 Birth date: 12.3.1890 "
             "\u2192 12 MAR 1890\n"},
        {{{1, "a", "A", {"x", "y"}}, {2, "b", "B", {}}},
         std::nullopt,
         "# Kinloom change log\nOriginal: Smith.ged (not changed)\nCleaned copy: Smith (tidied).ged\n" +
             saved + "2 changes.\n\n## 1. A\n    x\n    y\n\n## 2. B\n"},
    };
    for (const Case& c : cases)
        EXPECT_EQ(Report::changeLogText(c.entries, "Smith.ged", "Smith (tidied).ged", date, c.note),
                  c.expected);
}

TEST(ReportTest, DateStyle)
{
    std::tm local{};
    local.tm_year = 2026 - 1900;
    local.tm_mon = 2;
    local.tm_mday = 5;
    local.tm_hour = 9;
    local.tm_min = 7;
    local.tm_isdst = -1;
    EXPECT_EQ(Report::formatDate(std::chrono::system_clock::from_time_t(std::mktime(&local))),
              "5 March 2026, 09:07");
}

namespace {

Issue issue(std::string id, IssueCategory category, Severity severity, std::optional<Fix> fix = std::nullopt)
{
    Issue made;
    made.id = id;
    made.category = category;
    made.severity = severity;
    made.title = "Title " + id;
    made.detail = "Detail " + id;
    made.fix = std::move(fix);
    return made;
}

Fix fix(std::string title, bool needsReview)
{
    Fix made;
    made.id = "fix-" + title;
    made.title = std::move(title);
    made.needsReview = needsReview;
    return made;
}

const std::string privacyLine =
    "This report was made on this computer by Kinloom; the file was not changed or sent anywhere.\n";

} // namespace

TEST(ReportTest, ReportHeaderCountsTakeTheSingularOnlyForOne)
{
    const auto date = std::chrono::system_clock::from_time_t(0);
    struct Case
    {
        std::size_t count;
        std::string tree;
        std::string found;
        std::optional<std::size_t> spellings = std::nullopt, distinctPlaces = std::nullopt;
    };
    const Case cases[] = {
        {0, "0 people, 0 families, 0 sources, 0 dates, 0 place names.",
         "Found 0 errors, 0 warnings and 0 notes; 0 can be fixed by Kinloom.", 0, 0},
        {1, "1 person, 1 family, 1 source, 1 date, 1 place name (1 spelling of 1 place).",
         "Found 1 error, 1 warning and 1 note; 1 can be fixed by Kinloom.", 1, 1},
        {2, "2 people, 2 families, 2 sources, 2 dates, 2 place names (2 spellings of 1 place).",
         "Found 2 errors, 2 warnings and 2 notes; 2 can be fixed by Kinloom.", 2, 1},
        {2, "2 people, 2 families, 2 sources, 2 dates, 2 place names.",
         "Found 2 errors, 2 warnings and 2 notes; 2 can be fixed by Kinloom."}, // places not checked
    };
    for (const Case& c : cases) {
        ScanResult result;
        result.stats = {.people = c.count,
                        .families = c.count,
                        .sources = c.count,
                        .otherRecords = 9,
                        .dates = c.count,
                        .places = c.count,
                        .placeSpellings = c.spellings,
                        .distinctPlaces = c.distinctPlaces,
                        .lines = 1,
                        .version = "GEDCOM 5.5.1",
                        .encoding = "ANSI (Windows-1252)"};
        // Each error carries a fix; the warnings and notes do not, so the fixable count is the errors'.
        for (std::size_t i = 0; i < c.count; ++i) {
            const std::string n = std::to_string(i);
            result.issues.push_back(
                issue("e" + n, IssueCategory::links, Severity::error, fix("F" + n, false)));
            result.issues.push_back(issue("w" + n, IssueCategory::links, Severity::warning));
            result.issues.push_back(issue("n" + n, IssueCategory::links, Severity::info));
        }
        const std::string text = Report::reportText(result, "Smith.ged", date);
        const std::string opening = "# Kinloom report: Smith.ged\nScanned " + Report::formatDate(date) +
                                    ". GEDCOM 5.5.1, ANSI (Windows-1252), 1 lines.\n" + c.tree + "\n" +
                                    c.found + "\n\n";
        EXPECT_TRUE(text.starts_with(opening)) << text;
        EXPECT_TRUE(text.ends_with("\n\n" + privacyLine)) << text;
    }
}

TEST(ReportTest, ReportSections)
{
    const auto date = std::chrono::system_clock::from_time_t(0);
    const std::string opening = "# Kinloom report: Smith.ged\nScanned " + Report::formatDate(date) +
                                ". GEDCOM 7.0, UTF-8, 40 lines.\n"
                                "3 people, 1 family, 0 sources, 4 dates, 2 place names.\n";
    TreeStats stats{.people = 3, .families = 1, .dates = 4, .places = 2, .lines = 40};
    stats.version = "GEDCOM 7.0";
    stats.encoding = "UTF-8";

    Issue multiLine = issue("file-read-0", IssueCategory::file, Severity::info);
    multiLine.detail = "First line\nSecond line";
    Issue noDetail = issue("date-9", IssueCategory::dateFormats, Severity::warning,
                           fix("Keep as a date phrase \u201C(spring)\u201D", true));
    noDetail.detail.clear();
    struct Case
    {
        const char* name;
        std::vector<Issue> issues;
        std::size_t hidden;
        std::string expected;
    };
    const Case cases[] = {
        {"nothing found",
         {},
         0,
         opening +
             "Found 0 errors, 0 warnings and 0 notes; 0 can be fixed by Kinloom.\n\n"
             "No problems found.\n\n" +
             privacyLine},
        {"everything hidden",
         {},
         1,
         opening +
             "Found 0 errors, 0 warnings and 0 notes; 0 can be fixed by Kinloom.\n\n"
             "No problems found.\n\n1 finding hidden by earlier decisions is not listed.\n\n" +
             privacyLine},
        // Within a category a kind's most severe finding places it, in the summary as in the
        // sections; equally severe kinds keep the order of the kinds.
        {"categories in order, kinds by severity, findings in scan order",
         {issue("file-line-3", IssueCategory::file, Severity::info), noDetail,
          issue("imp-alive-@I5@", IssueCategory::impossibleDates, Severity::info),
          issue("dup-@I1@-@I2@", IssueCategory::duplicates, Severity::warning,
                fix("Merge @I2@ into @I1@", false)),
          issue("imp-death-@I5@", IssueCategory::impossibleDates, Severity::error), multiLine,
          issue("imp-alive-@I6@", IssueCategory::impossibleDates, Severity::info),
          issue("file-line-4", IssueCategory::file, Severity::error),
          issue("imp-young-@I1@-@I5@", IssueCategory::impossibleDates, Severity::warning),
          issue("file-nohead", IssueCategory::file, Severity::warning)},
         2,
         opening +
             "Found 2 errors, 4 warnings and 4 notes; 2 can be fixed by Kinloom.\n"
             "\n## Summary\n"
             "Likely duplicates: 1 warning\n  The same person twice: 1 warning\n"
             "Impossible dates: 1 error, 1 warning, 2 notes\n  Died before being born: 1 error\n"
             "  Parent too young: 1 warning\n  Probably no longer alive: 2 notes\n"
             "Date formats: 1 warning\n  Date not in the standard form: 1 warning\n"
             "File: 1 error, 1 warning, 2 notes\n  Unreadable line kept as is: 1 error, 1 note\n"
             "  No header: 1 warning\n  How the file was read: 1 note\n"
             "\n## Likely duplicates (1)\n"
             "\n### The same person twice (1)\n"
             "\nWarning: Title dup-@I1@-@I2@\n  Detail dup-@I1@-@I2@\n  Fix: Merge @I2@ into @I1@\n"
             "\n## Impossible dates (4)\n"
             "\n### Died before being born (1)\n"
             "\nError: Title imp-death-@I5@\n  Detail imp-death-@I5@\n"
             "\n### Parent too young (1)\n"
             "\nWarning: Title imp-young-@I1@-@I5@\n  Detail imp-young-@I1@-@I5@\n"
             "\n### Probably no longer alive (2)\n"
             "\nNote: Title imp-alive-@I5@\n  Detail imp-alive-@I5@\n"
             "\nNote: Title imp-alive-@I6@\n  Detail imp-alive-@I6@\n"
             "\n## Date formats (1)\n"
             "\n### Date not in the standard form (1)\n"
             "\nWarning: Title date-9\n  Fix: Keep as a date phrase \u201C(spring)\u201D (check before "
             "applying)\n"
             "\n## File (4)\n"
             "\n### Unreadable line kept as is (2)\n"
             "\nNote: Title file-line-3\n  Detail file-line-3\n"
             "\nError: Title file-line-4\n  Detail file-line-4\n"
             "\n### No header (1)\n"
             "\nWarning: Title file-nohead\n  Detail file-nohead\n"
             "\n### How the file was read (1)\n"
             "\nNote: Title file-read-0\n  First line\n  Second line\n"
             "\n2 findings hidden by earlier decisions are not listed.\n\n" +
             privacyLine},
    };
    for (const Case& c : cases) {
        ScanResult result{c.issues, stats};
        EXPECT_EQ(Report::reportText(result, "Smith.ged", date, c.hidden), c.expected) << c.name;
    }
}

TEST(ScanOptionsTest, JSON)
{
    const ScanOptions defaults;
    EXPECT_EQ(defaults.toJSON(),
              R"({"numericOrder":"auto","minParentAge":12.0,"maxMotherAge":55.0,)"
              R"("maxFatherAge":80.0,"maxLifespan":120.0,"duplicateThreshold":0.65,"skippedKinds":[]})");
    EXPECT_EQ(ScanOptions::fromJSON(defaults.toJSON()), defaults);
    const ScanOptions changed{NumericDateOrder::dayFirst, 14.5, 50, 90, 105, 0.8, {"dup", "imp-alive"}};
    EXPECT_EQ(ScanOptions::fromJSON(changed.toJSON()), changed);

    ScanOptions partial;
    partial.maxLifespan = 110;
    partial.numericOrder = NumericDateOrder::monthFirst;
    // Kinds this version does not know are kept for the version that does.
    ScanOptions skipping;
    skipping.skippedKinds = {"dup", "dupfam", "later-kind"};
    struct Case
    {
        std::string json;
        std::optional<ScanOptions> expected;
    };
    const Case cases[] = {
        {"{}", defaults},
        {R"({"skippedKinds": ["later-kind", "dupfam", "dup", "dup"]})", skipping},
        {R"({"skippedKinds": "dup"})", std::nullopt},
        {R"({"skippedKinds": ["dup", 3]})", std::nullopt},
        {R"({"maxLifespan": 110, "numericOrder": "monthFirst", "somethingNewer": true})", partial},
        {"", std::nullopt},
        {"{", std::nullopt},
        {"null", std::nullopt},
        {"[]", std::nullopt},
        {"12", std::nullopt},
        {R"({"minParentAge": "12"})", std::nullopt},
        {R"({"duplicateThreshold": null})", std::nullopt},
        {R"({"numericOrder": 1})", std::nullopt},
        {R"({"numericOrder": "day-first"})", std::nullopt},
    };
    for (const Case& c : cases)
        EXPECT_EQ(ScanOptions::fromJSON(c.json), c.expected) << c.json;
}
