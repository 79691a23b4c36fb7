#include "KinloomKit/Report.h"

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
