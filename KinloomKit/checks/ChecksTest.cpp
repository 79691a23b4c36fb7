// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Checks.h"

#include "changes/FixApplier.h"
#include "checks/PlaceNames.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <set>

using namespace kinloom;

namespace {

/// A small tree read and indexed; the index refers into the document, so both live here. Node
/// ids are line numbers.
struct Tree
{
    explicit Tree(std::string text)
        : document(GedcomReader::read(std::move(text))), index(TreeIndex::build(document))
    {}

    GedcomDocument document;
    TreeIndex index;
};

/// What a table row expects of one finding.
struct Expected
{
    std::string id;
    std::string title;
    Severity severity = Severity::info;

    bool operator==(const Expected&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Expected& e)
{
    return out << e.id << " “" << e.title << "” " << static_cast<int>(e.severity);
}

std::vector<Expected> found(const std::vector<Issue>& issues)
{
    std::vector<Expected> out;
    for (const Issue& issue : issues)
        out.push_back({issue.id, issue.title, issue.severity});
    return out;
}

Edit setValue(std::int64_t node, std::string from, std::string to)
{
    return {Edit::SetValue{node, std::move(from), std::move(to)}};
}

Edit addition(std::string record, std::string tag, std::string value)
{
    return {Edit::Add{std::move(record), std::nullopt, std::move(tag), std::move(value), std::nullopt}};
}

Edit removal(std::int64_t node)
{
    return {Edit::Remove{node}};
}

const std::string checkTheDates = " Check the dates in your family-tree program or sources.";

// A year so early that nobody in the tests is yet old enough to be taken for dead.
const ScanOptions longAgo{.currentYear = 1};
// The year the tests take as now.
const ScanOptions now{.currentYear = 2026};

/// Event lines from "TAG" or "TAG date" pieces: "BIRT 1900" gives a BIRT line with its DATE.
std::string events(const std::vector<std::string_view>& facts)
{
    std::string out;
    for (const std::string_view fact : facts) {
        const std::size_t blank = fact.find(' ');
        out += "1 " + std::string(fact.substr(0, blank)) + "\n";
        if (blank != std::string_view::npos)
            out += "2 DATE " + std::string(fact.substr(blank + 1)) + "\n";
    }
    return out;
}

} // namespace

// One parent and one child; every threshold is met exactly once and crossed once.
TEST(ChecksTest, ImpossibleDatesOfParentAndChild)
{
    struct Row
    {
        const char* situation;
        const char* role; // HUSB or WIFE
        const char* parentBirth;
        const char* parentDeath;
        const char* childBirth;
        std::vector<Expected> expected;
        const char* detail = nullptr;
    };
    const std::vector<Row> rows = {
        {"exactly the youngest parent age", "WIFE", "1900", "", "1911", {}},
        {"younger than that",
         "WIFE",
         "1900",
         "",
         "1910",
         {{"imp-young-@P@-@C@", "Parent too young", Severity::warning}},
         "Pat Doe (@P@) was at most 11 when their child Kim Doe (@C@) was born."},
        {"born the child's year",
         "HUSB",
         "1908",
         "",
         "1908",
         {{"imp-young-@P@-@C@", "Parent too young", Severity::warning}}},
        {"born after the child, and so not also too young",
         "WIFE",
         "1911",
         "",
         "1908",
         {{"imp-order-@P@-@C@", "Born after their child", Severity::error}},
         "Pat Doe (@P@): born 1911, after their child Kim Doe (@C@), born 1908."},
        {"born the year after the child",
         "HUSB",
         "1909",
         "",
         "1908",
         {{"imp-order-@P@-@C@", "Born after their child", Severity::error}}},
        {"exactly the oldest mother", "WIFE", "1800", "", "1856", {}},
        {"older mother",
         "WIFE",
         "1800",
         "",
         "1857",
         {{"imp-old-@P@-@C@", "Mother very old at birth", Severity::warning}},
         "Pat Doe (@P@) was at least 56 when their child Kim Doe (@C@) was born."},
        {"a father that old is no mother too old", "HUSB", "1800", "", "1857", {}},
        {"exactly the oldest father", "HUSB", "1800", "", "1881", {}},
        {"older father",
         "HUSB",
         "1800",
         "",
         "1882",
         {{"imp-old-@P@-@C@", "Father very old at birth", Severity::warning}}},
        {"born in the year the mother died", "WIFE", "1850", "1886", "1886", {}},
        {"born after the mother died",
         "WIFE",
         "1850",
         "1886",
         "1887",
         {{"imp-afterdeath-@P@-@C@", "Born after the mother died", Severity::error}},
         "Pat Doe (@P@): died 1886, before their child Kim Doe (@C@), born 1887."},
        {"born within a year of the father's death", "HUSB", "1840", "1870", "1871", {}},
        {"born over a year after the father died",
         "HUSB",
         "1840",
         "1870",
         "1872",
         {{"imp-afterdeath-@P@-@C@", "Born over a year after the father died", Severity::error}}},
        {"an open start says nothing about youth", "WIFE", "BEF 1900", "", "1890", {}},
        {"only the child's earliest date counts for age",
         "WIFE",
         "1800",
         "",
         "AFT 1950",
         {{"imp-old-@P@-@C@", "Mother very old at birth", Severity::warning}}},
        {"no birth of the child", "WIFE", "1911", "1950", "", {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        std::string text =
            "0 @P@ INDI\n1 NAME Pat /Doe/\n1 BIRT\n2 DATE " + std::string(row.parentBirth) + "\n";
        if (*row.parentDeath)
            text += "1 DEAT\n2 DATE " + std::string(row.parentDeath) + "\n";
        text += "0 @C@ INDI\n1 NAME Kim /Doe/\n";
        if (*row.childBirth)
            text += "1 BIRT\n2 DATE " + std::string(row.childBirth) + "\n";
        text += "0 @F1@ FAM\n1 " + std::string(row.role) + " @P@\n1 CHIL @C@\n";
        const Tree tree(text);
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
        EXPECT_EQ(found(issues), row.expected);
        if (row.detail && !issues.empty()) {
            EXPECT_EQ(issues[0].detail, row.detail + checkTheDates);
            EXPECT_EQ(issues[0].records, (std::vector<std::string>{"@P@", "@C@"}));
            EXPECT_EQ(issues[0].category, IssueCategory::impossibleDates);
            EXPECT_EQ(issues[0].fix, std::nullopt);
        }
    }
}

TEST(ChecksTest, ImpossibleDatesFollowTheChildrenAndCheckEachPairOnce)
{
    // Born after both parents; listed twice in one family and again in a second family of the
    // same couple. The lifespan boundary rides along: exactly 120 years is allowed.
    const Tree tree("0 @C@ INDI\n1 BIRT\n2 DATE 1900\n"
                    "0 @M@ INDI\n1 BIRT\n2 DATE 1801\n1 DEAT\n2 DATE 1923\n"
                    "0 @D@ INDI\n1 BIRT\n2 DATE 1801\n1 DEAT\n2 DATE 1922\n"
                    "0 @F1@ FAM\n1 HUSB @D@\n1 WIFE @M@\n1 CHIL @C@\n1 CHIL @C@\n"
                    "0 @F2@ FAM\n1 HUSB @D@\n1 WIFE @M@\n1 CHIL @C@\n"
                    "0 @F3@ FAM\n1 HUSB @C@\n1 CHIL @C@\n");
    EXPECT_EQ(found(Checks::impossibleDates(tree.index, longAgo)),
              (std::vector<Expected>{{"imp-old-@D@-@C@", "Father very old at birth", Severity::warning},
                                     {"imp-old-@M@-@C@", "Mother very old at birth", Severity::warning},
                                     {"imp-age-@M@", "Lived over 120 years", Severity::warning}}));

    ScanOptions strict = longAgo;
    strict.maxFatherAge = 100;
    strict.maxMotherAge = 97;
    strict.maxLifespan = 119.5;
    EXPECT_EQ(found(Checks::impossibleDates(tree.index, strict)),
              (std::vector<Expected>{{"imp-old-@M@-@C@", "Mother very old at birth", Severity::warning},
                                     {"imp-age-@M@", "Lived over 119 years", Severity::warning},
                                     {"imp-age-@D@", "Lived over 119 years", Severity::warning}}));
}

// A person's birth is their first dated BIRT, else the christening; their death the first dated
// DEAT, else the burial. One wrong date gives one finding.
TEST(ChecksTest, ImpossibleDatesOfOnePersonReadTheRightFacts)
{
    struct Row
    {
        const char* situation;
        std::vector<std::string_view> facts;
        std::vector<Expected> expected;
        const char* detail = nullptr;
    };
    const Expected died{"imp-death-@P@", "Died before being born", Severity::error};
    const Expected buried{"imp-buried-@P@", "Buried before being born", Severity::error};
    const Expected buriedBeforeDying{"imp-burial-@P@", "Buried before dying", Severity::error};
    const Expected christened{"imp-chr-@P@", "Christened before being born", Severity::error};
    const std::vector<Row> rows = {
        {"an undated birth gives way to the christening",
         {"BIRT", "CHR 1858", "DEAT 1851"},
         {died},
         "Pat Doe (@P@): christened 1858, died 1851."},
        {"or to the baptism", {"BAPM 1858", "DEAT 1851"}, {died}},
        {"the first dated birth counts", {"BIRT", "BIRT 1900", "DEAT 1899"}, {died}},
        {"the first dated death counts", {"BIRT 1900", "DEAT", "DEAT 1899"}, {died}},
        {"a christening is compared only with a dated birth", {"BIRT", "CHR 1858", "BAPM 1850"}, {}},
        {"christened before the dated birth",
         {"BIRT", "BIRT 1900", "CHR 1899"},
         {christened},
         "Pat Doe (@P@): born 1900, christened 1899."},
        {"a burial alone is judged as a burial",
         {"BIRT 1900", "BURI 1899"},
         {buried},
         "Pat Doe (@P@): born 1900, buried 1899."},
        {"an undated death leaves the burial", {"BIRT 1900", "DEAT", "BURI 1899"}, {buried}},
        {"a death before the birth says it for the burial too",
         {"BIRT 1900", "DEAT 1899", "BURI 1899"},
         {died}},
        {"a burial before the birth is not also before the death",
         {"BIRT 1900", "DEAT 1950", "BURI 1899"},
         {buried}},
        {"buried before dying", {"BIRT 1800", "DEAT 1900", "BURI 1899"}, {buriedBeforeDying}},
        {"a burial is compared only with a dated death", {"DEAT", "BURI 1899"}, {}},
        {"a vague birth might be before the burial", {"BIRT ABT 1850", "BURI 1850"}, {}},
        {"buried the year of the birth", {"BIRT 1850", "BURI 1850"}, {}},
        {"a life measured to the burial",
         {"BIRT 1800", "BURI 1922"},
         {{"imp-age-@P@", "Lived over 120 years", Severity::warning}},
         "Pat Doe (@P@): born 1800, buried 1922."},
        {"a date ending with a full stop closes the detail",
         {"BIRT 44 B.C.", "DEAT 45 B.C."},
         {died},
         "Pat Doe (@P@): born 44 B.C., died 45 B.C."},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree("0 @P@ INDI\n1 NAME Pat /Doe/\n" + events(row.facts));
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
        EXPECT_EQ(found(issues), row.expected);
        if (row.detail && !issues.empty()) {
            EXPECT_EQ(issues[0].detail, row.detail + checkTheDates);
        }
    }
}

// The parent rules read the same births and deaths; only a recorded birth can follow a parent's
// death, as a christening often does.
TEST(ChecksTest, ParentRulesReadTheSameBirthsAndDeaths)
{
    struct Row
    {
        const char* situation;
        const char* role;
        std::vector<std::string_view> parent;
        std::vector<std::string_view> child;
        std::vector<Expected> expected;
        const char* detail = nullptr;
    };
    const std::vector<Row> rows = {
        {"a parent christened after the child's birth",
         "WIFE",
         {"BIRT", "CHR 1911"},
         {"BIRT", "BIRT 1908"},
         {{"imp-order-@P@-@C@", "Born after their child", Severity::error}},
         "Pat Doe (@P@): christened 1911, after their child Kim Doe (@C@), born 1908."},
        {"a child known only by christening",
         "HUSB",
         {"BIRT 1800"},
         {"BIRT", "CHR 1900"},
         {{"imp-old-@P@-@C@", "Father very old at birth", Severity::warning}}},
        {"a mother known dead only by her burial",
         "WIFE",
         {"BIRT 1850", "DEAT", "BURI 1886"},
         {"BIRT 1887"},
         {{"imp-afterdeath-@P@-@C@", "Born after the mother died", Severity::error}},
         "Pat Doe (@P@): buried 1886, before their child Kim Doe (@C@), born 1887."},
        {"christened after the mother died", "WIFE", {"BIRT 1850", "DEAT 1886"}, {"BIRT", "CHR 1887"}, {}},
        {"christened over a year after the father died",
         "HUSB",
         {"BIRT 1850", "DEAT 1886"},
         {"BAPM 1890"},
         {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree("0 @P@ INDI\n1 NAME Pat /Doe/\n" + events(row.parent) +
                        "0 @C@ INDI\n1 NAME Kim /Doe/\n" + events(row.child) + "0 @F1@ FAM\n1 " + row.role +
                        " @P@\n1 CHIL @C@\n");
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
        EXPECT_EQ(found(issues), row.expected);
        if (row.detail && !issues.empty()) {
            EXPECT_EQ(issues[0].detail, row.detail + checkTheDates);
        }
    }
}

TEST(ChecksTest, ImpossibleMarriages)
{
    struct Row
    {
        const char* situation;
        std::vector<std::string_view> spouse;
        std::vector<std::string_view> marriages;
        std::vector<Expected> expected;
        const char* detail = nullptr;
        const char* cause = nullptr; // the sentence every detail ends with, naming the date they share
    };
    const Expected before{"imp-marrborn-@P@-@F1@", "Married before being born", Severity::error};
    const Expected young{"imp-marryoung-@P@-@F1@", "Married very young", Severity::warning};
    const Expected after{"imp-marrdied-@P@-@F1@", "Married after dying", Severity::error};
    const std::vector<Row> rows = {
        {"married before being born",
         {"BIRT 1900"},
         {"MARR 1899"},
         {before},
         "Pat Doe (@P@): born 1900, married 1899 (@F1@ FAM)."},
        {"born and married in one year, so only young", {"BIRT 1900"}, {"MARR 1900"}, {young}},
        {"married younger than a parent may be",
         {"BIRT 1900"},
         {"MARR 1910"},
         {young},
         "Pat Doe (@P@): born 1900, married 1910 (@F1@ FAM), at most 11 years old."},
        {"exactly the youngest age", {"BIRT 1900"}, {"MARR 1911"}, {}},
        {"a vague birth may be before the marriage, and young either way",
         {"BIRT ABT 1900"},
         {"MARR 1899"},
         {young}},
        {"a vague marriage may be at an age over twelve", {"BIRT 1900"}, {"MARR ABT 1912"}, {}},
        {"known by the christening", {"BIRT", "CHR 1900"}, {"MARR 1899"}, {before}},
        {"married after dying",
         {"BIRT 1800", "DEAT 1850"},
         {"MARR 1851"},
         {after},
         "Pat Doe (@P@): died 1850, married 1851 (@F1@ FAM)."},
        {"married the year of the death", {"BIRT 1800", "DEAT 1850"}, {"MARR 1850"}, {}},
        {"died before the year of the marriage", {"BIRT 1800", "DEAT BEF 1850"}, {"MARR 1850"}, {after}},
        {"known dead by the burial",
         {"BIRT 1800", "BURI 1850"},
         {"MARR 1851"},
         {after},
         "Pat Doe (@P@): buried 1850, married 1851 (@F1@ FAM)."},
        {"the first dated marriage counts", {"BIRT 1900"}, {"MARR", "MARR 1899", "MARR 1930"}, {before}},
        {"an undated marriage says nothing", {"BIRT 1800", "DEAT 1850"}, {"MARR"}, {}},
        {"an undated birth says nothing", {"BIRT"}, {"MARR 1899"}, {}},
        {"one wrong birth under three findings",
         {"BIRT 1980", "CHR 1979", "DEAT 1950"},
         {"MARR 1940"},
         {{"imp-death-@P@", "Died before being born", Severity::error},
          {"imp-chr-@P@", "Christened before being born", Severity::error},
          before},
         nullptr,
         "3 findings rest on the birth date 1980 of Pat Doe (@P@)."},
        {"two findings on two different dates",
         {"BIRT 1900", "CHR 1899", "DEAT 1950", "BURI 1949"},
         {"MARR 1920"},
         {{"imp-burial-@P@", "Buried before dying", Severity::error},
          {"imp-chr-@P@", "Christened before being born", Severity::error}}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree("0 @P@ INDI\n1 NAME Pat /Doe/\n" + events(row.spouse) + "0 @F1@ FAM\n1 WIFE @P@\n" +
                        events(row.marriages));
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
        EXPECT_EQ(found(issues), row.expected);
        if (row.detail && !issues.empty()) {
            EXPECT_EQ(issues[0].detail, row.detail + checkTheDates);
            EXPECT_EQ(issues[0].records, (std::vector<std::string>{"@P@", "@F1@"}));
        }
        for (const Issue& issue : issues) {
            if (row.cause)
                EXPECT_TRUE(issue.detail.ends_with(checkTheDates + " " + row.cause)) << issue.detail;
            else
                EXPECT_EQ(issue.detail.find("findings rest on"), std::string::npos) << issue.detail;
        }
    }
}

TEST(ChecksTest, SiblingsBornTooCloseTogether)
{
    struct Row
    {
        const char* situation;
        std::vector<const char*> births; // of the children @C1@, @C2@ … in file order
        std::vector<std::string> expected;
    };
    const std::vector<Row> rows = {
        {"two months apart", {"1 MAR 1850", "1 MAY 1850"}, {"@C1@-@C2@"}},
        {"named in file order", {"1 MAY 1850", "1 MAR 1850"}, {"@C1@-@C2@"}},
        {"twins a day apart", {"1 MAR 1850", "2 MAR 1850"}, {}},
        {"twins two days apart", {"1 MAR 1850", "3 MAR 1850"}, {}},
        {"three days apart", {"1 MAR 1850", "4 MAR 1850"}, {"@C1@-@C2@"}},
        {"twins across the end of February", {"28 FEB 1850", "1 MAR 1850"}, {}},
        {"twins across the end of a leap year's February", {"28 FEB 1852", "1 MAR 1852"}, {}},
        {"three days apart across the end of February", {"27 FEB 1850", "2 MAR 1850"}, {"@C1@-@C2@"}},
        {"twins across the new year", {"31 DEC 1850", "1 JAN 1851"}, {}},
        {"half a year apart", {"1 JAN 1850", "1 JUL 1850"}, {}},
        {"less than half a year", {"1 JAN 1850", "30 JUN 1850"}, {"@C1@-@C2@"}},
        {"a month is not an exact day", {"MAR 1850", "1 MAY 1850"}, {}},
        {"a year is not an exact day", {"1850", "1 MAR 1850"}, {}},
        {"an approximate day is not an exact day", {"ABT 1 MAR 1850", "1 MAY 1850"}, {}},
        {"undated births are skipped", {"", "1 MAR 1850", "1 MAY 1850"}, {"@C2@-@C3@"}},
        {"a third born soon after twins is reported once",
         {"1 MAR 1850", "2 MAR 1850", "1 MAY 1850"},
         {"@C2@-@C3@"}},
        {"each too-soon birth against the one before it",
         {"1 MAY 1850", "1 JAN 1850", "1 MAR 1850"},
         {"@C1@-@C3@", "@C2@-@C3@"}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        std::string text = "0 @F1@ FAM\n";
        std::string people;
        for (std::size_t i = 0; i < row.births.size(); ++i) {
            const std::string xref = "@C" + std::to_string(i + 1) + "@";
            text += "1 CHIL " + xref + "\n";
            people += "0 " + xref + " INDI\n1 BIRT\n";
            if (*row.births[i])
                people += "2 DATE " + std::string(row.births[i]) + "\n";
        }
        const Tree tree(text + people);
        std::vector<std::string> ids;
        for (const Issue& issue : Checks::impossibleDates(tree.index, longAgo)) {
            EXPECT_EQ(issue.title, "Siblings born too close together");
            EXPECT_EQ(issue.severity, Severity::warning);
            ids.push_back(issue.id.substr(std::string_view("imp-siblings-").size()));
        }
        EXPECT_EQ(ids, row.expected);
    }
}

// Findings follow the people, then the families, each in file order; a pair of siblings listed
// again, in another family or twice in one, is reported once.
TEST(ChecksTest, ImpossibleDatesOfFamiliesComeInFileOrder)
{
    const Tree tree("0 @H@ INDI\n1 BIRT\n2 DATE 1900\n1 DEAT\n2 DATE 1899\n"
                    "0 @W@ INDI\n1 BIRT\n2 DATE 1840\n1 DEAT\n2 DATE 1845\n"
                    "0 @A@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 DATE 1 MAR 45 B.C.\n"
                    "0 @F2@ FAM\n1 HUSB @H@\n1 WIFE @W@\n1 MARR\n2 DATE 1860\n"
                    "0 @F1@ FAM\n1 CHIL @C@\n1 CHIL @A@\n1 CHIL @A@\n"
                    "0 @F3@ FAM\n1 CHIL @A@\n1 CHIL @C@\n"
                    "0 @C@ INDI\n1 NAME Cy /Lee/\n1 BIRT\n2 DATE 1 JAN 45 B.C.\n");
    const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
    EXPECT_EQ(found(issues),
              (std::vector<Expected>{
                  {"imp-death-@H@", "Died before being born", Severity::error},
                  {"imp-marrborn-@H@-@F2@", "Married before being born", Severity::error},
                  {"imp-marrdied-@W@-@F2@", "Married after dying", Severity::error},
                  {"imp-spousegap-@F2@", "Spouses born over 30 years apart", Severity::info},
                  {"imp-siblings-@C@-@A@", "Siblings born too close together", Severity::warning}}));
    EXPECT_EQ(issues.back().detail,
              "Cy Lee (@C@): born 1 JAN 45 B.C., and their sibling Ann Lee (@A@), born 1 MAR 45 B.C." +
                  checkTheDates);
    EXPECT_EQ(issues.back().records, (std::vector<std::string>{"@C@", "@A@"}));
}

TEST(ChecksTest, PlaceKeysAndWriting)
{
    struct Row
    {
        const char* spelling;
        const char* key;
        const char* tidied;
        bool extraSpaces;
        bool doubtful = false;
    };
    const std::vector<Row> rows = {
        {"Leeds, Yorkshire, England", "leeds,yorkshire", "Leeds, Yorkshire, England", false},
        {"Saint-Étienne ,  LOIRE", "saintetienne,loire", "Saint-Étienne, LOIRE", true},
        {" Leeds", "leeds", "Leeds", true},
        {"Leeds ", "leeds", "Leeds", true},
        {"New  York", "new york", "New York", true},
        {", Leeds,Yorkshire,", ",leeds,yorkshire", ", Leeds, Yorkshire", false},
        {",Otsego , Michigan, USA", ",otsego,michigan", ", Otsego, Michigan, USA", true},
        {",,London,England", ",,london", ", , London, England", false},
        {"Leeds, , England", "leeds,,england", "Leeds, , England", false},
        {"Leeds,,England", "leeds,,england", "Leeds, , England", false},
        {"\xEF\xBC\xAD\xC3\xBCnchen\xEF\xBC\x8C Bayern", "munchen,bayern",
         "\xEF\xBC\xAD\xC3\xBCnchen\xEF\xBC\x8C Bayern", false}, // full-width M and comma
        {"Gda\xC5\x84sk 1920", "gdansk 1920", "Gda\xC5\x84sk 1920", false},
        {"\xC5\x81\xC3\xB3\x64\xC5\xBA", "\xC5\x82odz", "\xC5\x81\xC3\xB3\x64\xC5\xBA",
         false}, // Łódź keeps its Ł
        {"?", "", "?", false, true},
        {"Ireland (?)", "ireland", "Ireland (?)", false, true},
        {"Boston, MA?", "boston,massachusetts", "Boston, MA?", false, true},
        {"prob. Lynn, MA", "lynn,massachusetts", "prob. Lynn, MA", false, true},
        {"Probably  Ireland", "ireland", "Probably Ireland", true, true},
        {"Leeds\xEF\xBC\x9F", "leeds", "Leeds\xEF\xBC\x9F", false, true}, // full-width question mark
        {"Possenhofen, Probst", "possenhofen,probst", "Possenhofen, Probst", false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.spelling);
        EXPECT_EQ(PlaceNames::groupKey(row.spelling), row.key);
        EXPECT_EQ(PlaceNames::tidied(row.spelling), row.tidied);
        EXPECT_EQ(PlaceNames::hasExtraSpaces(row.spelling), row.extraSpaces);
        EXPECT_EQ(PlaceNames::isDoubtful(row.spelling), row.doubtful);
    }
}

TEST(ChecksTest, PlacesReadAlike)
{
    struct Row
    {
        const char* one;
        const char* other;
        bool alike;
    };
    const std::vector<Row> rows = {
        {"Monticello,Charlottesville,Albemarle,VA", "Monticello, Charlottesville, Albemarle, Virginia, USA",
         true},
        {"St. Louis, MO", "St Louis, Missouri, U.S.A.", true},
        {"Saint Louis, Missouri", "St Louis, Missouri, United States", true},
        {"Jefferson Co., Kentucky", "Jefferson County, Ky., USA", true},
        {"of Burzyn, Tarnow, Krakow, Poland", "Burzyn,Tarnow,Krakow,Pol", true},
        {"Near Boston, Mass.", "Boston, Massachusetts", true},
        {"Hopewell Twp, Mercer, N. J.", "Hopewell Township, Mercer, New Jersey", true},
        {"Mt. Vernon, Fairfax, Va.", "Mount Vernon, Fairfax, Virginia", true},
        {"Leeds, YKS, ENG", "Leeds, Yorkshire, England, United Kingdom", true},
        {"Leeds, Yorks", "Leeds, Yorkshire, UK", true},
        {"Cork, Co. Cork, Ireland", "Cork, COR, Eire", true},
        {"Toronto, Ont.", "Toronto, Ontario, Canada", true},
        {"Munchen, Bayern, Deutschland", "München, Bayern, Germany", true},
        {"Richmond, Virginia", "Richmond, Surrey, England", false},
        {"York, Virginia", "York, Yorkshire", false},
        {"Jefferson, CO", "Jefferson Co.", false}, // Colorado only as a whole part
        {"IN", "Indiana", false},                  // a code only after the first part
        {"Pol", "Poland", false},
        {"Georgia, USA", "Georgia", false}, // the state, or the land
        {"Cambridge, Middlesex, Massachusetts", "Cambridge, Middlesex, England", false},
        {"Ipswich, Suffolk", "Ipswich, Suffolk, Massachusetts", false},
        {"Georgetown, Washington, DC", "Georgetown, Washington", false},
        {"Isle of Man", "Isle Man", false}, // a stray word only at the start
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(std::string(row.one) + " / " + row.other);
        EXPECT_EQ(PlaceNames::groupKey(row.one) == PlaceNames::groupKey(row.other), row.alike);
    }
}

// Every form of the tables reads as its row's full form, and no form stands for two rows.
TEST(ChecksTest, PlaceTablesHoldTogether)
{
    const auto fields = [](std::string_view row) {
        std::vector<std::string> list;
        for (std::size_t at = 0;; at = row.find('|', at) + 1) {
            list.emplace_back(row.substr(at, row.find('|', at) - at));
            if (row.find('|', at) == std::string_view::npos)
                return list;
        }
    };
    constexpr std::string_view regions[] = {
#include "checks/PlaceRegions.inc"
    };
    constexpr std::string_view words[] = {
#include "checks/PlaceWords.inc"
    };
    std::set<std::string> regionForms, wordForms, lands;
    for (const std::string_view row : regions)
        lands.insert(fields(row)[1]);
    for (const std::string_view row : regions) {
        const std::vector<std::string> f = fields(row);
        SCOPED_TRACE(row);
        EXPECT_TRUE(f[0].empty() || lands.contains(f[0]));
        for (std::size_t i = 1; i < f.size(); ++i) {
            EXPECT_TRUE(regionForms.insert(f[i]).second) << f[i];
            EXPECT_EQ(PlaceNames::groupKey("Town, " + f[i]), "town," + f[1]) << f[i];
        }
    }
    for (const std::string_view row : words) {
        const std::vector<std::string> f = fields(row);
        SCOPED_TRACE(row);
        for (std::size_t i = 0; i < f.size(); ++i) {
            EXPECT_TRUE(wordForms.insert(f[i]).second) << f[i];
            EXPECT_EQ(PlaceNames::groupKey("Town " + f[i]), "town " + f[0]) << f[i];
        }
    }
}

TEST(ChecksTest, PlaceFindings)
{
    struct Row
    {
        const char* situation;
        std::vector<const char*> places; // in file order, one event each
        std::vector<Expected> expected;
        const char* suggested = nullptr;
        std::vector<std::pair<std::string, std::string>> rewrites = {}; // by the findings' fixes
        std::vector<bool> review = {};                                  // of each fix; none: not one
        const char* detail = nullptr;                                   // of the first finding
    };
    const std::vector<Row> rows = {
        {"one spelling", {"Leeds", "Leeds"}, {}},
        {"most frequent wins",
         {"munchen", "München", "Munchen", "Munchen"},
         {{"place-munchen", "Place spelled 3 ways", Severity::warning}},
         "Munchen",
         {{"munchen", "Munchen"}, {"München", "Munchen"}}},
        {"a tie goes to capitals and diacritics",
         {"munchen", "Munchen", "München"},
         {{"place-munchen", "Place spelled 3 ways", Severity::warning}},
         "München",
         {{"munchen", "München"}, {"Munchen", "München"}}},
        {"a full tie goes to the first in the file",
         {"Lyon", "Lyon,"},
         {{"place-lyon", "Place spelled 2 ways", Severity::warning}},
         "Lyon",
         {{"Lyon,", "Lyon"}}},
        {"the suggestion is written tidily",
         {"leeds ,yorks", "leeds ,yorks", "Leeds, Yorks"},
         {{"place-leeds,yorkshire", "Place spelled 2 ways", Severity::warning}},
         "leeds, yorks",
         {{"leeds ,yorks", "leeds, yorks"}, {"Leeds, Yorks", "leeds, yorks"}}},
        {"a suggestion ends in no stray full stop, on a tie",
         {"Brittany, France.", "Brittany, France"},
         {{"place-brittany,france", "Place spelled 2 ways", Severity::warning}},
         "Brittany, France",
         {{"Brittany, France.", "Brittany, France"}}},
        {"nor when it is written most",
         {"Brittany, France.", "Brittany, France.", "brittany, france;"},
         {{"place-brittany,france", "Place spelled 2 ways", Severity::warning}},
         "Brittany, France",
         {{"Brittany, France.", "Brittany, France"}, {"brittany, france;", "Brittany, France"}}},
        {"a full stop after capitals is stray",
         {"Detroit, USA.", "detroit, usa"},
         {{"place-detroit,united states", "Place spelled 2 ways", Severity::warning}},
         "Detroit, USA",
         {{"Detroit, USA.", "Detroit, USA"}, {"detroit, usa", "Detroit, USA"}}},
        {"the full stop of initials or of a short abbreviation stays",
         {"Washington D.C.", "washington d.c.", "Frederick Co.", "frederick co."},
         {{"place-washington dc", "Place spelled 2 ways", Severity::warning},
          {"place-frederick county", "Place spelled 2 ways", Severity::warning}},
         "Washington D.C.",
         {{"washington d.c.", "Washington D.C."}, {"frederick co.", "Frederick Co."}}},
        {"a doubtful spelling is grouped and keeps its marker",
         {"Ireland", "Ireland", "ireland", "Ireland (?)", "probably Ireland"},
         {{"place-ireland", "Place spelled 4 ways", Severity::warning}},
         "Ireland",
         {{"ireland", "Ireland"}}},
        {"a doubtful spelling is never the suggestion, and rewriting it needs review",
         {"boston, ma?", "boston, ma?", "prob.  boston,ma", "Boston, MA", "? boston (?), ma"},
         {{"place-boston,massachusetts", "Place spelled 4 ways", Severity::warning}},
         "Boston, MA",
         {{"boston, ma?", "Boston, MA?"},
          {"prob.  boston,ma", "prob. Boston, MA"},
          {"? boston (?), ma", "? Boston (?), MA"}},
         {true}},
        {"doubtful spellings alone, or already written as the place, have nothing to rewrite",
         {"Ireland (?)", "ireland ?", "Boston, MA", "Boston, MA?"},
         {}},
        {"an empty part keeps its place",
         {",Otsego,Michigan", ", Otsego, Michigan", "Otsego, Michigan", "Otsego, Michigan"},
         {{"place-,otsego,michigan", "Place spelled 2 ways", Severity::warning}},
         ", Otsego, Michigan",
         {{",Otsego,Michigan", ", Otsego, Michigan"}}},
        {"blanks in a place of one spelling",
         {"Leeds  , England", "Leeds  , England", "Halifax"},
         {{"place-space-3", "Extra spaces in a place name", Severity::info},
          {"place-space-6", "Extra spaces in a place name", Severity::info}},
         nullptr,
         {{"Leeds  , England", "Leeds, England"}, {"Leeds  , England", "Leeds, England"}}},
        {"blanks in a doubtful place",
         {",Otsego  , Michigan (?)"},
         {{"place-space-3", "Extra spaces in a place name", Severity::info}},
         nullptr,
         {{",Otsego  , Michigan (?)", ", Otsego, Michigan (?)"}},
         {true}},
        {"places that fold to nothing", {"?", "??", "prob."}, {}},
        {"abbreviations join a place, the fullest spelling written out is offered and the fix needs review",
         {"St. Louis, MO", "St Louis, Missouri, USA", "Saint Louis, Missouri, USA", "St. Louis, MO"},
         {{"place-alike-saint louis,missouri", "Place likely spelled 3 ways", Severity::warning}},
         "Saint Louis, Missouri, USA",
         {{"St. Louis, MO", "Saint Louis, Missouri, USA"},
          {"St Louis, Missouri, USA", "Saint Louis, Missouri, USA"}},
         {true},
         "“St. Louis, MO”: 2 lines; “St Louis, Missouri, USA”: 1 line; “Saint Louis, Missouri, USA”: 1 line. "
         "Likely one place once abbreviations are read in full."},
        {"the written-out form over the one written most",
         {"Boston, MA", "Boston, MA", "Boston, Massachusetts"},
         {{"place-alike-boston,massachusetts", "Place likely spelled 2 ways", Severity::warning}},
         "Boston, Massachusetts",
         {{"Boston, MA", "Boston, Massachusetts"}},
         {true}},
        {"spellings written alike are tidied without review, those read alike with it",
         {"Jefferson Co., KY", "Jefferson Co., KY", "jefferson co., ky", "Jefferson County, Kentucky"},
         {{"place-alike-jefferson county,kentucky", "Place likely spelled 3 ways", Severity::warning},
          {"place-jefferson county,kentucky", "Place spelled 2 ways", Severity::warning}},
         "Jefferson County, Kentucky",
         {{"Jefferson Co., KY", "Jefferson County, Kentucky"},
          {"jefferson co., ky", "Jefferson County, Kentucky"},
          {"jefferson co., ky", "Jefferson Co., KY"}},
         {true, false}},
        {"a stray word joins its place and is not the suggestion",
         {"of Burzyn, Tarnow", "of Burzyn, Tarnow", "Burzyn, Tarnow"},
         {{"place-alike-burzyn,tarnow", "Place likely spelled 2 ways", Severity::warning}},
         "Burzyn, Tarnow",
         {{"of Burzyn, Tarnow", "Burzyn, Tarnow"}},
         {true}},
        {"larger places filled in from the one fuller spelling that fits, a level missing in the middle",
         {"Sherwood Forest, Virginia", "Sherwood Forest, Charles City, Virginia, USA", "Burzyn, Tarnow",
          "Burzyn, Tarnow, Krakow, Poland", "Westminster, Palace", "Westminster, Palace, England",
          "Westminster, Palace, London, England"},
         {{"place-alike-sherwood forest,charles city,virginia", "Place likely spelled 2 ways",
           Severity::warning},
          {"place-alike-burzyn,tarnow,krakow,poland", "Place likely spelled 2 ways", Severity::warning},
          {"place-alike-westminster,palace,london", "Place likely spelled 3 ways", Severity::warning}},
         "Sherwood Forest, Charles City, Virginia, USA",
         {{"Sherwood Forest, Virginia", "Sherwood Forest, Charles City, Virginia, USA"},
          {"Burzyn, Tarnow", "Burzyn, Tarnow, Krakow, Poland"},
          {"Westminster, Palace", "Westminster, Palace, London, England"},
          {"Westminster, Palace, England", "Westminster, Palace, London, England"}},
         {true, true, true},
         "“Sherwood Forest, Virginia”: 1 line; “Sherwood Forest, Charles City, Virginia, USA”: 1 line. "
         "Likely "
         "one place once abbreviations are read in full and the larger places are filled in from a fuller "
         "spelling."},
        {"when several fuller spellings fit, nothing is joined and they are named",
         {"Louisville, Jefferson", "Louisville, Jefferson, Kentucky", "Louisville, Jefferson, Georgia"},
         {{"place-which-louisville,jefferson", "Place that fits 2 fuller places", Severity::info}},
         nullptr,
         {},
         {},
         "“Louisville, Jefferson”: 1 line. It may be “Louisville, Jefferson, Kentucky” (1 line) or "
         "“Louisville, Jefferson, Georgia” (1 line); write it as the one it is."},
        {"places kept apart",
         {"Richmond, Virginia", "Richmond, Surrey, England", "York, Virginia", "York, Yorkshire",
          "Ipswich, Suffolk", "Ipswich, Suffolk, Massachusetts", "Berlin, Germany",
          "Berlin, Cathedral, Germany", "Jackson, Ohio", "Jackson, Darke, Ohio", "Wellston, Jackson, Ohio",
          ", England", ",, London, England"},
         {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        std::string text;
        for (std::size_t i = 0; i < row.places.size(); ++i)
            text += "0 @I" + std::to_string(i + 1) + "@ INDI\n1 BIRT\n2 PLAC " + row.places[i] + "\n";
        const Tree tree(text);
        const std::vector<Issue> issues = Checks::places(tree.document);
        EXPECT_EQ(found(issues), row.expected);
        if (row.suggested && !issues.empty()) {
            ASSERT_TRUE(issues[0].places);
            EXPECT_EQ(issues[0].places->suggested, row.suggested);
            EXPECT_EQ(issues[0].fix, PlaceNames::fixFor(*issues[0].places, row.suggested,
                                                        kindOf(issues[0].id) == "place-alike"
                                                            ? PlaceNames::Spellings::readAlike
                                                            : PlaceNames::Spellings::writtenAlike));
        }
        if (row.detail && !issues.empty()) {
            EXPECT_EQ(issues[0].detail, row.detail);
        }
        std::vector<std::pair<std::string, std::string>> rewrites;
        std::vector<bool> review;
        for (const Issue& issue : issues) {
            if (!issue.fix)
                continue;
            for (const PreviewLine& line : issue.fix->preview)
                rewrites.emplace_back(*line.before, *line.after);
            review.push_back(issue.fix->needsReview);
        }
        EXPECT_EQ(rewrites, row.rewrites);
        EXPECT_EQ(review, row.review.empty() ? std::vector<bool>(review.size(), false) : row.review);
    }
}

TEST(ChecksTest, PlaceGroupAndItsFix)
{
    const Tree tree("0 @I1@ INDI\n1 BIRT\n2 PLAC münchen,bayern\n1 DEAT\n2 PLAC München, Bayern\n"
                    "0 @I2@ INDI\n1 BIRT\n2 PLAC München, Bayern\n"
                    "0 @F1@ FAM\n1 MARR\n2 PLAC Munchen, Bayern\n2 SOUR @S1@\n3 DATA\n4 PLAC Paris\n");
    Checks::PlaceCount count;
    const std::vector<Issue> issues = Checks::places(tree.document, &count);
    EXPECT_EQ(count.spellings, 4u);
    EXPECT_EQ(count.places, 2u);
    ASSERT_EQ(issues.size(), 1u);
    const PlaceGroup group{
        "munchen,bayern",
        {{"München, Bayern", 2, {5, 8}}, {"münchen,bayern", 1, {3}}, {"Munchen, Bayern", 1, {11}}},
        "München, Bayern"};
    Issue expected{"place-munchen,bayern",
                   IssueCategory::places,
                   Severity::warning,
                   "Place spelled 3 ways",
                   "“München, Bayern”: 2 lines; “münchen,bayern”: 1 line; “Munchen, Bayern”: 1 line.",
                   {"@I1@", "@F1@"}};
    expected.fix = Fix{"place-munchen,bayern",
                       "Write every spelling as “München, Bayern”",
                       {setValue(3, "münchen,bayern", "München, Bayern"),
                        setValue(11, "Munchen, Bayern", "München, Bayern")},
                       {{"Place \u00B7 1 line", "münchen,bayern", "München, Bayern"},
                        {"Place \u00B7 1 line", "Munchen, Bayern", "München, Bayern"}},
                       false};
    expected.places = group;
    EXPECT_EQ(issues[0], expected);

    // Choosing another spelling rewrites the others, the most frequent one included.
    const Fix chosen = PlaceNames::fixFor(group, "Munchen, Bayern");
    EXPECT_EQ(chosen.title, "Write every spelling as “Munchen, Bayern”");
    EXPECT_EQ(chosen.edits, (std::vector<Edit>{setValue(5, "München, Bayern", "Munchen, Bayern"),
                                               setValue(8, "München, Bayern", "Munchen, Bayern"),
                                               setValue(3, "münchen,bayern", "Munchen, Bayern")}));
    EXPECT_EQ(chosen.preview.front(),
              (PreviewLine{"Place \u00B7 2 lines", "München, Bayern", "Munchen, Bayern"}));
    // A typed spelling written like none of them rewrites them all, to be checked first.
    const Fix typed = PlaceNames::fixFor(group, "München, Oberbayern");
    EXPECT_EQ(typed.edits.size(), 4u);
    EXPECT_TRUE(typed.needsReview);
    // Choosing a doubtful spelling would cast its doubt on every line: the user checks that first.
    const PlaceGroup doubt{"ireland", {{"Ireland", 1, {3}}, {"Ireland (?)", 1, {6}}}, "Ireland"};
    EXPECT_FALSE(PlaceNames::fixFor(doubt, "Ireland").needsReview);
    EXPECT_TRUE(PlaceNames::fixFor(doubt, "Ireland (?)").needsReview);

    const Tree spaces("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 PLAC  Leeds ,England\n");
    const std::string context = "Ann Lee (@I1@) \u00B7 BIRT PLAC";
    Issue extra{"place-space-4",
                IssueCategory::places,
                Severity::info,
                "Extra spaces in a place name",
                context + ": “ Leeds ,England”",
                {"@I1@"}};
    extra.fix = Fix{"place-space-4",
                    "Write as “Leeds, England”",
                    {setValue(4, " Leeds ,England", "Leeds, England")},
                    {{context, " Leeds ,England", "Leeds, England"}},
                    false};
    EXPECT_EQ(Checks::places(spaces.document), std::vector<Issue>{extra});
}

TEST(ChecksTest, MissingDetails)
{
    struct Row
    {
        const char* situation;
        const char* person; // the lines of @I1@ after its first
        const char* role;   // @I1@'s lines in a family, if any
        std::vector<Expected> expected;
        std::vector<Edit> edits; // of the first finding's fix
        bool needsReview = false;
        bool v7 = false;
        const char* others = ""; // records after the family
    };
    const Expected marname{"miss-marname-@F1@", "Wife recorded under her husband\u2019s surname"};
    const char* couple = "1 HUSB @I2@\n1 WIFE @I1@\n";
    const std::string named = "1 NAME Ann /Lee/\n";
    const std::vector<Row> rows = {
        {"all there", "1 NAME Ann /Lee/\n1 SEX F\n", "", {}},
        {"no name", "1 SEX F\n", "", {{"miss-name-@I1@", "Name not recorded", Severity::warning}}},
        {"only slashes",
         "1 NAME //\n1 SEX F\n",
         "",
         {{"miss-name-@I1@", "Name not recorded", Severity::warning}}},
        {"no sex, a husband",
         "1 NAME Ann /Lee/\n",
         "1 HUSB @I1@\n",
         {{"miss-sex-@I1@", "Sex not recorded", Severity::warning}},
         {addition("@I1@", "SEX", "M")},
         true},
        {"no sex, a wife twice",
         "1 NAME Ann /Lee/\n",
         "1 WIFE @I1@\n1 WIFE @I1@\n",
         {{"miss-sex-@I1@", "Sex not recorded", Severity::warning}},
         {addition("@I1@", "SEX", "F")},
         true},
        {"no sex, husband and wife",
         "1 NAME Ann /Lee/\n",
         "1 HUSB @I1@\n1 WIFE @I1@\n",
         {{"miss-sex-@I1@", "Sex not recorded", Severity::warning}}},
        {"no sex, a child only",
         "1 NAME Ann /Lee/\n",
         "1 CHIL @I1@\n",
         {{"miss-sex-@I1@", "Sex not recorded", Severity::warning}}},
        {"unknown, a wife",
         "1 NAME Ann /Lee/\n1 SEX U\n",
         "1 WIFE @I1@\n",
         {{"miss-sexu-@I1@", "Sex recorded as unknown", Severity::info}},
         {setValue(3, "U", "F")},
         true},
        {"unknown, no family",
         "1 NAME Ann /Lee/\n1 SEX U\n",
         "",
         {{"miss-sexu-@I1@", "Sex recorded as unknown", Severity::info}}},
        {"unknown, died within a year",
         "1 NAME /Lee/\n1 SEX U\n1 BIRT\n2 DATE 3 MAR 1850\n1 BURI\n2 DATE 9 JAN 1851\n",
         "",
         {}},
        {"unknown, stillborn", "1 NAME /Lee/\n1 SEX U\n1 DEAT\n2 DATE STILLBORN\n", "", {}},
        {"unknown, named by a placeholder", "1 NAME Infant /Lee/\n1 SEX U\n", "", {}},
        {"unknown, died the next year or later",
         "1 NAME /Lee/\n1 SEX U\n1 BIRT\n2 DATE 1850\n1 DEAT\n2 DATE 1851\n",
         "",
         {{"miss-sexu-@I1@", "Sex recorded as unknown", Severity::info}}},
        {"a word",
         "1 NAME Ann /Lee/\n1 SEX Female\n",
         "",
         {{"miss-sexform-@I1@", "Sex not in the standard form", Severity::warning}},
         {setValue(3, "Female", "F")}},
        {"lower case",
         "1 NAME Ann /Lee/\n1 SEX m\n",
         "",
         {{"miss-sexform-@I1@", "Sex not in the standard form", Severity::warning}},
         {setValue(3, "m", "M")}},
        {"a question mark",
         "1 NAME Ann /Lee/\n1 SEX ?\n",
         "",
         {{"miss-sexform-@I1@", "Sex not in the standard form", Severity::warning}},
         {setValue(3, "?", "U")}},
        {"unclear",
         "1 NAME Ann /Lee/\n1 SEX MF\n",
         "",
         {{"miss-sexform-@I1@", "Sex not in the standard form", Severity::warning}}},
        {"X before GEDCOM 7",
         "1 NAME Ann /Lee/\n1 SEX X\n",
         "",
         {{"miss-sexform-@I1@", "Sex not in the standard form", Severity::warning}}},
        {"X in GEDCOM 7", "1 NAME Ann /Lee/\n1 SEX X\n", "", {}, {}, false, true},
        {"surname not marked",
         "1 NAME John  Henry Smith\n1 SEX M\n",
         "",
         {{"miss-surname-@I1@", "Surname not marked", Severity::info}},
         {setValue(2, "John  Henry Smith", "John Henry /Smith/")},
         true},
        {"one word", "1 NAME Cher\n1 SEX F\n", "", {}},
        {"only the first name counts", "1 NAME /Lee/\n1 NAME Ann Lee\n1 SEX F\n", "", {}},
        {"a wife under her husband's surname, her parents under others",
         "1 NAME Ann /Lee/\n1 SEX F\n1 FAMC @F2@\n",
         couple,
         {marname},
         {},
         false,
         false,
         "0 @I3@ INDI\n1 NAME Carl /Berg/\n1 SEX M\n0 @F2@ FAM\n1 HUSB @I3@\n"},
        {"a wife born with the surname",
         "1 NAME Ann /Lee/\n1 SEX F\n1 FAMC @F2@\n",
         couple,
         {},
         {},
         false,
         false,
         "0 @I3@ INDI\n1 NAME Eva /Lee/\n1 SEX F\n0 @F2@ FAM\n1 WIFE @I3@\n"},
        {"the family records the custom",
         "1 NAME Ann /Lee/\n1 SEX F\n",
         "1 HUSB @I2@\n1 WIFE @I1@\n1 EVEN\n2 TYPE Same Last Name as Spouse\n",
         {}},
        {"she records the custom",
         "1 NAME Ann /Lee/\n1 SEX F\n1 FACT yes\n2 TYPE Took her husband's surname\n",
         couple,
         {}},
        {"the family records something else",
         "1 NAME Ann /Lee/\n1 SEX F\n",
         "1 HUSB @I2@\n1 WIFE @I1@\n1 EVEN\n2 TYPE Same-sex marriage\n",
         {marname}},
        {"she records a name like someone else's",
         "1 NAME Ann /Lee/\n1 SEX F\n1 FACT\n2 TYPE Same name as her grandmother\n",
         couple,
         {marname}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        std::string text =
            "0 @I1@ INDI\n" + std::string(row.person) + "0 @I2@ INDI\n1 NAME Bo /Lee/\n1 SEX M\n";
        if (*row.role)
            text += "0 @F1@ FAM\n" + std::string(row.role);
        text += row.others;
        if (row.v7)
            text += "0 HEAD\n1 GEDC\n2 VERS 7.0\n";
        const Tree tree(text);
        const std::vector<Issue> issues = Checks::missing(tree.index, tree.document);
        EXPECT_EQ(found(issues), row.expected);
        if (issues.empty())
            continue;
        EXPECT_EQ(issues[0].records.back(), "@I1@");
        EXPECT_EQ(issues[0].fix.has_value(), !row.edits.empty());
        if (issues[0].fix) {
            EXPECT_EQ(issues[0].fix->id, issues[0].id);
            EXPECT_EQ(issues[0].fix->edits, row.edits);
            EXPECT_EQ(issues[0].fix->needsReview, row.needsReview);
        }
    }
}

TEST(ChecksTest, LinksAndRecords)
{
    struct Row
    {
        const char* situation;
        const char* text;
        std::vector<Expected> expected;
        std::vector<Edit> edits; // of the fix of the first finding, or of the one named below
        bool needsReview = false;
        const char* fixed = nullptr;
    };
    // Two people in a family, both ways, so that only what a row adds is found.
    const std::string couple = "0 @I1@ INDI\n1 SEX M\n1 FAMS @F1@\n0 @I2@ INDI\n1 SEX F\n1 FAMS @F1@\n"
                               "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n";
    const std::vector<Row> rows = {
        {"a consistent couple", "", {}},
        {"two records, one ID",
         "0 @S1@ SOUR\n0 @S1@ SOUR\n0 @I3@ INDI\n1 SOUR @S1@\n1 FAMC @F1@\n",
         {{"link-dupid-@S1@", "Two records share one ID", Severity::error},
          {"link-oneway-child-@I3@-@F1@", "One-way family link", Severity::warning}},
         {}},
        {"a link to nothing",
         "0 @I3@ INDI\n1 FAMC @F1@\n1 SOUR @S9@\n",
         {{"link-missing-12", "Link to a missing record", Severity::error},
          {"link-oneway-child-@I3@-@F1@", "One-way family link", Severity::warning}},
         {removal(12)},
         true},
        {"a link to nothing with lines below",
         "0 @I3@ INDI\n1 FAMC @F1@\n1 SOUR @S9@\n2 PAGE 4\n",
         {{"link-missing-12", "Link to a missing record", Severity::error},
          {"link-oneway-child-@I3@-@F1@", "One-way family link", Severity::warning}},
         {}},
        {"links to the wrong kind",
         "0 @I3@ INDI\n1 FAMC @I1@\n1 BIRT\n2 SOUR @N1@\n0 @N1@ NOTE\n0 @S1@ SOUR\n1 NOTE @N1@\n",
         {{"link-kind-11", "Link to the wrong kind of record", Severity::error},
          {"link-kind-13", "Link to the wrong kind of record", Severity::error},
          {"link-unused-@S1@", "Record not used anywhere", Severity::info}},
         {}},
        {"a spouse the family does not name",
         "0 @I3@ INDI\n1 SEX M\n1 FAMS @F1@\n",
         {{"link-oneway-spouse-@I3@-@F1@", "One-way family link", Severity::warning}},
         {addition("@F1@", "HUSB", "@I3@")},
         true},
        {"a wife the family does not name, twice",
         "0 @I3@ INDI\n1 SEX F\n1 FAMS @F1@\n1 FAMS @F1@\n",
         {{"link-repeat-12", "Same link twice", Severity::warning},
          {"link-oneway-spouse-@I3@-@F1@", "One-way family link", Severity::warning}},
         {removal(13)}},
        {"a spouse of unknown sex",
         "0 @I3@ INDI\n1 FAMS @F1@\n",
         {{"link-oneway-spouse-@I3@-@F1@", "One-way family link", Severity::warning}},
         {}},
        {"a husband without the way back",
         "0 @I3@ INDI\n0 @F2@ FAM\n1 HUSB @I3@\n",
         {{"link-alone-@I3@", "Not linked to any family", Severity::info},
          {"link-oneway-spouse-@I3@-@F2@", "One-way family link", Severity::warning}},
         {addition("@I3@", "FAMS", "@F2@")},
         false,
         "link-oneway-spouse-@I3@-@F2@"},
        {"a child without the way back",
         "0 @I3@ INDI\n0 @F2@ FAM\n1 CHIL @I3@\n",
         {{"link-alone-@I3@", "Not linked to any family", Severity::info},
          {"link-oneway-child-@I3@-@F2@", "One-way family link", Severity::warning}},
         {addition("@I3@", "FAMC", "@F2@")},
         false,
         "link-oneway-child-@I3@-@F2@"},
        {"a child the family does not list",
         "0 @I3@ INDI\n1 FAMC @F1@\n",
         {{"link-oneway-child-@I3@-@F1@", "One-way family link", Severity::warning}},
         {addition("@F1@", "CHIL", "@I3@")}},
        {"a child listed twice",
         "0 @I3@ INDI\n1 FAMC @F2@\n0 @F2@ FAM\n1 CHIL @I3@\n1 CHIL @I3@\n1 CHIL @I3@\n",
         {{"link-repeat-13", "Same link twice", Severity::warning}},
         {removal(14), removal(15)}},
        {"two citations of one source",
         "0 @S1@ SOUR\n0 @I3@ INDI\n1 FAMC @F2@\n1 SOUR @S1@\n2 PAGE 1\n1 SOUR @S1@\n2 PAGE 2\n"
         "0 @F2@ FAM\n1 CHIL @I3@\n",
         {}},
        {"an empty family",
         "0 @F2@ FAM\n1 CHAN\n2 DATE 1 JAN 2000\n1 RIN 7\n",
         {{"link-emptyfam-@F2@", "Family with no members", Severity::warning}},
         {removal(10)}},
        {"an empty family with a fact",
         "0 @F2@ FAM\n1 MARR\n",
         {{"link-emptyfam-@F2@", "Family with no members", Severity::warning}},
         {removal(10)},
         true},
        {"a family someone names is not empty",
         "0 @I3@ INDI\n1 FAMC @F2@\n0 @F2@ FAM\n",
         {{"link-oneway-child-@I3@-@F2@", "One-way family link", Severity::warning}},
         {addition("@F2@", "CHIL", "@I3@")}},
        {"records nobody names",
         "0 HEAD\n1 SUBM @U1@\n0 @U1@ SUBM\n0 @N1@ NOTE x\n0 @R1@ REPO\n0 @X1@ _PLACE\n",
         {{"link-unused-@N1@", "Record not used anywhere", Severity::info},
          {"link-unused-@R1@", "Record not used anywhere", Severity::info}}},
        {"the header's submitter mended",
         "0 HEAD\n1 SUBM @U9@\n0 @U1@ SUBM\n",
         {{"link-missing-11", "Link to a missing record", Severity::error}},
         {setValue(11, "@U9@", "@U1@")}},
        {"the header's submitter missing among two",
         "0 HEAD\n1 SUBM @U9@\n0 @U1@ SUBM\n0 @U2@ SUBM\n",
         {{"link-missing-11", "Link to a missing record", Severity::error},
          {"link-unused-@U1@", "Record not used anywhere", Severity::info},
          {"link-unused-@U2@", "Record not used anywhere", Severity::info}},
         {Edit::AddRecord{"@U9@", "SUBM"}, addition("@U9@", "NAME", "Unknown")}},
        {"the file's submitter, which the header does not name", "0 HEAD\n0 @U1@ SUBM\n", {}},
        {"a person in no family",
         "0 @I3@ INDI\n",
         {{"link-alone-@I3@", "Not linked to any family", Severity::info}}},
        {"a deliberately empty link",
         "0 @I3@ INDI\n1 FAMC @F1@\n1 ASSO @VOID@\n",
         {{"link-oneway-child-@I3@-@F1@", "One-way family link", Severity::warning}},
         {addition("@F1@", "CHIL", "@I3@")}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree(couple + row.text);
        const std::vector<Issue> issues = Checks::links(tree.index, tree.document);
        EXPECT_EQ(found(issues), row.expected);
        if (issues.empty())
            continue;
        const auto issue = std::find_if(issues.begin(), issues.end(), [&](const Issue& i) {
            return i.id == (row.fixed ? row.fixed : row.expected.front().id);
        });
        ASSERT_NE(issue, issues.end());
        const std::optional<Fix>& fix = issue->fix;
        EXPECT_EQ(fix.has_value(), !row.edits.empty());
        if (fix) {
            EXPECT_EQ(fix->edits, row.edits);
            EXPECT_EQ(fix->needsReview, row.needsReview);
        }
    }

    const Tree alone("0 @I1@ INDI\n");
    EXPECT_TRUE(Checks::links(alone.index, alone.document).empty()) << "one person alone is no finding";
}

TEST(ChecksTest, LinkTexts)
{
    const Tree tree("0 @I1@ INDI\n1 NAME Sven /Berg/\n1 SEX M\n1 FAMS @F1@\n1 SOUR @S9@\n"
                    "0 @F1@ FAM\n1 WIFE @I2@\n0 @I2@ INDI\n1 FAMS @F1@\n");
    const std::vector<Issue> issues = Checks::links(tree.index, tree.document);
    ASSERT_EQ(issues.size(), 2u);
    Issue missing{"link-missing-5",
                  IssueCategory::links,
                  Severity::error,
                  "Link to a missing record",
                  "Sven Berg (@I1@) \u00B7 SOUR: “@S9@” names a record the file does not have.",
                  {"@I1@"}};
    missing.fix = Fix{"link-missing-5",
                      "Remove the broken link",
                      {removal(5)},
                      {{"Sven Berg (@I1@) \u00B7 SOUR", "@S9@", std::nullopt}},
                      true};
    EXPECT_EQ(issues[0], missing);
    Issue oneWay{"link-oneway-spouse-@I1@-@F1@",
                 IssueCategory::links,
                 Severity::warning,
                 "One-way family link",
                 "Sven Berg (@I1@) has “FAMS @F1@”, but @F1@ FAM has no HUSB or WIFE line back to them.",
                 {"@I1@", "@F1@"}};
    oneWay.fix = Fix{"link-oneway-spouse-@I1@-@F1@",
                     "Add “HUSB @I1@” to @F1@ FAM",
                     {addition("@F1@", "HUSB", "@I1@")},
                     {{"@F1@ FAM \u00B7 HUSB", std::nullopt, "@I1@"}},
                     false};
    EXPECT_EQ(issues[1], oneWay);

    const Tree header("0 HEAD\n1 SUBM @SUBM@\n0 @SUBM0000@ SUBM\n");
    Issue mended{"link-missing-2",
                 IssueCategory::links,
                 Severity::error,
                 "Link to a missing record",
                 "HEAD \u00B7 SUBM: “@SUBM@” names a record the file does not have. The file has one "
                 "submitter record, @SUBM0000@.",
                 {}};
    mended.fix = Fix{"link-missing-2",
                     "Point it to @SUBM0000@, the file\u2019s only submitter record",
                     {setValue(2, "@SUBM@", "@SUBM0000@")},
                     {{"HEAD \u00B7 SUBM", "@SUBM@", "@SUBM0000@"}},
                     false};
    EXPECT_EQ(Checks::links(header.index, header.document), std::vector<Issue>{mended});

    // With no submitter record, the header keeps its required submitter: the record is added.
    const Tree noSubmitter("0 HEAD\n1 SUBM @SUBM@\n0 @I1@ INDI\n0 TRLR\n");
    const std::vector<Issue> added = Checks::links(noSubmitter.index, noSubmitter.document);
    ASSERT_TRUE(!added.empty() && added[0].fix);
    EXPECT_EQ(added[0].fix->title, "Add the submitter record @SUBM@");
    const ApplyResult applied = FixApplier::apply({*added[0].fix}, noSubmitter.document, 1);
    EXPECT_EQ(GedcomWriter::render(applied.document),
              "0 HEAD\n1 SUBM @SUBM@\n0 @I1@ INDI\n0 @SUBM@ SUBM\n1 NAME Unknown\n0 TRLR\n");
    EXPECT_EQ(applied.entries.at(0).lines,
              (std::vector<std::string>{"Added record @SUBM@ SUBM", "@SUBM@ SUBM: + 1 NAME Unknown"}));
}

// The sample tree plants a problem for every finding the checks can make.
TEST(ChecksTest, SampleTreeShowsEveryTitle)
{
    const ScanResult result = Scanner::scan(GedcomReader::read(SampleTree::sampleText()));
    std::set<std::string> titles;
    for (const Issue& issue : result.issues)
        titles.insert(issue.title);
    for (const char* title : {"Died before being born",
                              "Buried before dying",
                              "Christened before being born",
                              "Lived over 120 years",
                              "Born after their child",
                              "Parent too young",
                              "Mother very old at birth",
                              "Father very old at birth",
                              "Born after the mother died",
                              "Born over a year after the father died",
                              "Buried before being born",
                              "Married before being born",
                              "Married after dying",
                              "Married very young",
                              "Siblings born too close together",
                              "Probably no longer alive",
                              "Spouses born over 30 years apart",
                              "Children born over 25 years apart",
                              "Year written with two digits",
                              "Place that looks like a date",
                              "Title written in the name",
                              "Wife recorded under her husband\u2019s surname",
                              "Husband recorded as female",
                              "Date not in the standard form",
                              "Date reads two ways",
                              "Text where a date belongs",
                              "Place spelled 3 ways",
                              "Extra spaces in a place name",
                              "Name not recorded",
                              "Sex not recorded",
                              "Sex recorded as unknown",
                              "Sex not in the standard form",
                              "Surname not marked",
                              "Two records share one ID",
                              "Link to a missing record",
                              "Link to the wrong kind of record",
                              "One-way family link",
                              "Same link twice",
                              "Family with no members",
                              "Record not used anywhere",
                              "Not linked to any family"})
        EXPECT_TRUE(titles.count(title)) << title;
    EXPECT_TRUE(std::any_of(titles.begin(), titles.end(), [](const std::string& title) {
        return title.starts_with("Dates are written ");
    }));
}

// Each impossible date planted in the sample tree is found, and nothing else.
TEST(ChecksTest, SampleTreeImpossibleDates)
{
    const Tree tree(SampleTree::sampleText());
    std::vector<std::string> ids;
    for (const Issue& issue : Checks::impossibleDates(tree.index, now))
        ids.push_back(issue.id);
    EXPECT_EQ(ids, (std::vector<std::string>{
                       "imp-burial-@I1@", "imp-chr-@I5@", "imp-age-@I11@", "imp-death-@I12@",
                       "imp-old-@I15@-@I18@", "imp-order-@I22@-@I23@", "imp-old-@I25@-@I29@",
                       "imp-alive-@I30@", "imp-afterdeath-@I26@-@I32@", "imp-young-@I33@-@I34@",
                       "imp-death-@I37@", "imp-buried-@I39@", "imp-afterdeath-@I38@-@I41@",
                       "imp-spousegap-@F4@", "imp-marrborn-@I22@-@F6@", "imp-childspan-@F7@",
                       "imp-marryoung-@I33@-@F9@", "imp-marrdied-@I3@-@F10@", "imp-siblings-@I43@-@I44@"}));
}

// Every fix that needs no review, applied, leaves nothing for its finding to say.
TEST(ChecksTest, MechanicalFixesRemoveTheirFindings)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::sampleText());
    const ScanResult before = Scanner::scan(document);
    std::vector<Fix> fixes;
    std::set<std::string> fixed;
    for (const Issue& issue : before.issues) {
        if (issue.fix && !issue.fix->needsReview && issue.category != IssueCategory::duplicates) {
            fixes.push_back(*issue.fix);
            fixed.insert(issue.id);
        }
    }
    ASSERT_GE(fixed.size(), 8u);
    const ApplyResult applied = FixApplier::apply(fixes, document, 1);
    EXPECT_TRUE(applied.skipped.empty());
    for (const Issue& issue : Scanner::scan(applied.document).issues)
        EXPECT_FALSE(fixed.count(issue.id)) << issue.id;
}

// Fixes that need review remove their findings too, once the user has accepted them.
TEST(ChecksTest, ReviewedFixesRemoveTheirFindings)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::sampleText());
    std::vector<Fix> fixes;
    std::set<std::string> fixed;
    for (const Issue& issue : Scanner::scan(document).issues) {
        if (issue.fix && issue.fix->needsReview &&
            (issue.category == IssueCategory::missing || issue.category == IssueCategory::links)) {
            fixes.push_back(*issue.fix);
            fixed.insert(issue.id);
        }
    }
    ASSERT_GE(fixed.size(), 4u);
    const ApplyResult applied = FixApplier::apply(fixes, document, 1);
    for (const Issue& issue : Scanner::scan(applied.document).issues)
        EXPECT_FALSE(fixed.count(issue.id)) << issue.id;
}

// Someone born longer ago than the longest life, with nothing that says they died.
TEST(ChecksTest, ProbablyNoLongerAlive)
{
    struct Row
    {
        const char* situation;
        const char* facts; // GEDCOM lines of the person
        bool fires;
    };
    const std::vector<Row> rows = {
        {"born before the longest life", "1 BIRT\n2 DATE 1850\n", true},
        {"the longest life just over", "1 BIRT\n2 DATE 1904\n", true},
        {"the longest life reached this year", "1 BIRT\n2 DATE 1905\n", false},
        {"a vague birth whose latest reading is recent enough", "1 BIRT\n2 DATE ABT 1903\n", false},
        {"born before a year", "1 BIRT\n2 DATE BEF 1850\n", true},
        {"born after a year: no latest birth", "1 BIRT\n2 DATE AFT 1850\n", false},
        {"a christening stands for the birth", "1 CHR\n2 DATE 1850\n", true},
        {"no dated birth", "1 BIRT\n2 PLAC Leeds\n1 RESI\n2 DATE 1850\n", false},
        {"a burial only", "1 BIRT\n2 DATE 1850\n1 BURI\n2 PLAC Leeds\n", false},
        {"a will only", "1 BIRT\n2 DATE 1850\n1 WILL\n2 DATE 1901\n", false},
        {"a cremation", "1 BIRT\n2 DATE 1850\n1 CREM\n", false},
        {"already recorded as dead", "1 BIRT\n2 DATE 1850\n1 DEAT Y\n", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree(std::string("0 @P@ INDI\n1 NAME Ann /Lee/\n") + row.facts);
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, now);
        const std::vector<Expected> expected = {
            {"imp-alive-@P@", "Probably no longer alive", Severity::info}};
        EXPECT_EQ(found(issues), row.fires ? expected : std::vector<Expected>{});
    }

    // The longest life of the settings governs; the fix adds an undated death after the last event.
    const Tree tree("0 HEAD\n0 @P@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 DATE 1920\n1 OCCU Weaver\n2 PLAC Leeds\n"
                    "1 FAMS @F1@\n1 CHAN\n2 DATE 1 JAN 2000\n0 TRLR\n");
    EXPECT_TRUE(Checks::impossibleDates(tree.index, now).empty());
    ScanOptions shorter = now;
    shorter.maxLifespan = 100;
    const std::vector<Issue> issues = Checks::impossibleDates(tree.index, shorter);
    ASSERT_EQ(issues.size(), 1u);
    EXPECT_EQ(issues[0].detail, "Ann Lee (@P@): born 1920, at least 105 years ago, and no death or burial is "
                                "recorded. Programs treat them as living until a death is recorded." +
                                    checkTheDates);
    ASSERT_TRUE(issues[0].fix);
    const Fix expected{"imp-alive-@P@",
                       "Record that they died (1 DEAT Y)",
                       {Edit{Edit::Add{"@P@", std::nullopt, "DEAT", "Y", 6}}},
                       {{"Ann Lee (@P@) \u00B7 DEAT", std::nullopt, "Y"}},
                       true};
    EXPECT_EQ(*issues[0].fix, expected);
    const ApplyResult applied = FixApplier::apply({expected}, tree.document, 1);
    EXPECT_EQ(
        GedcomWriter::render(applied.document),
        "0 HEAD\n0 @P@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 DATE 1920\n1 OCCU Weaver\n2 PLAC Leeds\n1 DEAT Y\n"
        "1 FAMS @F1@\n1 CHAN\n2 DATE 1 JAN 2000\n0 TRLR\n");
    ASSERT_EQ(applied.entries.size(), 1u);
    EXPECT_EQ(applied.entries[0].lines, std::vector<std::string>{"Ann Lee (@P@): + 1 DEAT Y"});
    EXPECT_TRUE(Checks::impossibleDates(TreeIndex::build(applied.document), shorter).empty());
}

// Spouses far apart in age, and a family's children born far apart: only when every reading agrees.
TEST(ChecksTest, SpousesAndChildrenFarApart)
{
    struct Row
    {
        const char* situation;
        const char* first;  // birth of the husband, or of the first child
        const char* second; // birth of the wife, or of the second child
        bool spouses;
        bool fires;
    };
    const std::vector<Row> rows = {
        {"spouses exactly 30 years apart", "1850", "1881", true, false},
        {"spouses over 30 years apart", "1850", "1882", true, true},
        {"the wife the elder", "1882", "1850", true, true},
        {"one reading only 29 years apart", "ABT 1850", "1882", true, false},
        {"a spouse's birth unknown", "1850", "", true, false},
        {"a spouse born before a year", "BEF 1840", "1882", true, false},
        {"children exactly 25 years apart", "1850", "1876", false, false},
        {"children over 25 years apart", "1877", "1850", false, true},
        {"a vague birth that may be closer", "1850", "ABT 1878", false, false},
        {"a child's birth unknown", "1850", "", false, false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const std::string birth1 = *row.first ? std::string("1 BIRT\n2 DATE ") + row.first + "\n" : "";
        const std::string birth2 = *row.second ? std::string("1 BIRT\n2 DATE ") + row.second + "\n" : "";
        const Tree tree(
            "0 @A@ INDI\n1 NAME Al /Lee/\n" + birth1 + "0 @B@ INDI\n1 NAME Bo /Lee/\n" + birth2 +
            (row.spouses ? "0 @F1@ FAM\n1 HUSB @A@\n1 WIFE @B@\n" : "0 @F1@ FAM\n1 CHIL @A@\n1 CHIL @B@\n"));
        const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
        std::vector<Expected> expected;
        if (row.fires && row.spouses)
            expected.push_back({"imp-spousegap-@F1@", "Spouses born over 30 years apart", Severity::info});
        if (row.fires && !row.spouses)
            expected.push_back({"imp-childspan-@F1@", "Children born over 25 years apart", Severity::info});
        EXPECT_EQ(found(issues), expected);
        for (const Issue& issue : issues)
            EXPECT_FALSE(issue.fix);
    }
    const Tree tree(
        "0 @A@ INDI\n1 NAME Al /Lee/\n1 BIRT\n2 DATE 1850\n0 @B@ INDI\n1 NAME Bo /Lee/\n1 BIRT\n2 DATE "
        "1890\n0 @F1@ FAM\n1 HUSB @A@\n1 WIFE @B@\n");
    const std::vector<Issue> issues = Checks::impossibleDates(tree.index, longAgo);
    ASSERT_EQ(issues.size(), 1u);
    EXPECT_EQ(issues[0].detail,
              "@F1@ FAM: Al Lee (@A@), born 1850, and Bo Lee (@B@), born 1890, at least 39 years apart." +
                  checkTheDates);
    EXPECT_EQ(issues[0].records, (std::vector<std::string>{"@F1@", "@A@", "@B@"}));

    // The earliest and the latest of several children, named in that order.
    const Tree children(
        "0 @A@ INDI\n1 BIRT\n2 DATE 1871\n0 @B@ INDI\n1 BIRT\n2 DATE 1844\n0 @C@ INDI\n1 BIRT\n2 "
        "DATE 1860\n0 @F1@ FAM\n1 CHIL @A@\n1 CHIL @B@\n1 CHIL @C@\n");
    const std::vector<Issue> spread = Checks::impossibleDates(children.index, longAgo);
    ASSERT_EQ(spread.size(), 1u);
    EXPECT_EQ(spread[0].records, (std::vector<std::string>{"@F1@", "@B@", "@A@"}));
}

// A title at the start of the given names moves to the name's prefix, unless it may be a given name
// or, before a man's given name, names a wife after her husband.
TEST(ChecksTest, TitleWrittenInTheName)
{
    struct Row
    {
        const char* name;
        const char* without; // nullptr: no fix
        const char* title = nullptr;
        const char* finding = "Title written in the name"; // nullptr: none
        const char* lines = "";                            // after the NAME's GIVN, in a row with no fix
        const char* others = "";                           // records after the person
    };
    const char* named = "Named after her husband";
    const char* twoPauls =
        "0 @A@ INDI\n1 NAME Paul /Abt/\n1 SEX M\n0 @B@ INDI\n1 NAME Paul /Beck/\n1 SEX M\n";
    const std::vector<Row> rows = {
        {"Mrs. Mary /Smith/", "Mary /Smith/", "Mrs."},
        {"Rev John  Henry /Doe/", "John  Henry /Doe/", "Rev"},
        {"CAPT. Ezra /Bell/ Jr.", "Ezra /Bell/ Jr.", "CAPT."},
        {"Mrs. /Smith/", "/Smith/", "Mrs."},
        {"Frau Anna /Weiß/", "Anna /Weiß/", "Frau"},
        {"Drew /Smith/", nullptr, nullptr, nullptr},
        {"Mary Mrs /Smith/", nullptr, nullptr, nullptr},
        {"/Smith/ Mrs", nullptr, nullptr, nullptr},
        {"Dr.Who /Smith/", nullptr, nullptr, nullptr},
        {"Lady bird", nullptr, nullptr, nullptr, "2 TYPE aka\n"},
        {"Dr Feelgood", nullptr, nullptr, nullptr, "2 TYPE Nickname\n"},
        {"Colonel Gallington /Willis/", nullptr},
        {"Col. Gallington /Willis/", "Gallington /Willis/", "Col."},
        {"Mrs. Adalbertus /Osika/", nullptr, nullptr, named, "1 FAMS @F1@\n",
         "0 @H@ INDI\n1 NAME Adalbertus /Osika/\n0 @F1@ FAM\n1 HUSB @H@\n1 WIFE @P@\n"},
        {"Pani Paul /Stowik/", nullptr, nullptr, named, "", twoPauls},
        {"Mrs. Paul /Stowik/", "Paul /Stowik/", "Mrs.", "Title written in the name", "",
         "0 @A@ INDI\n1 NAME Paul /Abt/\n1 SEX M\n0 @B@ INDI\n1 NAME Paul /Beck/\n1 SEX F\n"},
        {"Mrs. Jean /Dupont/", "Jean /Dupont/", "Mrs.", "Title written in the name", "",
         "0 @A@ INDI\n1 NAME Jean /Martin/\n1 SEX M\n"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.name);
        const std::string person = std::string("0 @P@ INDI\n1 NAME ") + row.name + "\n2 GIVN x\n" + row.lines;
        const Tree tree(person + "1 SEX F\n" + row.others);
        std::vector<Issue> titles;
        for (Issue& issue : Checks::missing(tree.index, tree.document)) {
            if (issue.id.starts_with("miss-title-") || issue.id.starts_with("miss-husbandname-"))
                titles.push_back(std::move(issue));
        }
        if (!row.finding) {
            EXPECT_TRUE(titles.empty());
            continue;
        }
        ASSERT_EQ(titles.size(), 1u);
        EXPECT_EQ(titles[0].title, row.finding);
        if (!row.without) {
            EXPECT_FALSE(titles[0].fix);
            continue;
        }
        const std::string label = recordLabel(tree.document.record(0));
        const Fix expected{
            "miss-title-@P@",
            "Write as “" + std::string(row.without) + "” with the prefix “" + row.title + "”",
            {setValue(2, row.name, row.without), Edit{Edit::Add{"@P@", 2, "NPFX", row.title, std::nullopt}}},
            {{label + " \u00B7 NAME", row.name, row.without},
             {label + " \u00B7 NAME NPFX", std::nullopt, row.title}},
            true};
        EXPECT_EQ(titles[0].fix, expected);
        const ApplyResult applied = FixApplier::apply({expected}, tree.document, 1);
        EXPECT_EQ(GedcomWriter::render(applied.document), "0 @P@ INDI\n1 NAME " + std::string(row.without) +
                                                              "\n2 GIVN x\n2 NPFX " + row.title +
                                                              "\n1 SEX F\n" + row.others);
    }
}

// The given-name part written with the title loses it too; one that is only the title goes.
TEST(ChecksTest, TitleLeavesTheGivenNamePart)
{
    for (const auto& [givn, after] : {std::pair{"Mrs. Mary", "2 GIVN Mary\n"}, std::pair{"Mrs.", ""}}) {
        SCOPED_TRACE(givn);
        const Tree tree("0 @P@ INDI\n1 NAME Mrs. Mary /Smith/\n2 GIVN " + std::string(givn) +
                        "\n2 SURN Smith\n");
        std::vector<Fix> fixes;
        for (const Issue& issue : Checks::missing(tree.index, tree.document)) {
            if (issue.id.starts_with("miss-title-"))
                fixes.push_back(*issue.fix);
        }
        ASSERT_EQ(fixes.size(), 1u);
        EXPECT_EQ(GedcomWriter::render(FixApplier::apply(fixes, tree.document, 1).document),
                  "0 @P@ INDI\n1 NAME Mary /Smith/\n" + std::string(after) + "2 SURN Smith\n2 NPFX Mrs.\n");
    }
}

// Notes on a couple: a wife under her husband's surname, and a role that disagrees with the sex.
TEST(ChecksTest, CoupleNotes)
{
    struct Row
    {
        const char* situation;
        const char* husband; // lines after the INDI line
        const char* wife;
        bool v7;
        std::vector<Expected> expected;
    };
    const Expected marname{"miss-marname-@F1@", "Wife recorded under her husband\u2019s surname",
                           Severity::info};
    const std::vector<Row> rows = {
        {"the same surname",
         "1 NAME John /Smith/\n1 SEX M\n",
         "1 NAME Mary /Smith/\n1 SEX F\n",
         false,
         {marname}},
        {"the same surname folded", "1 NAME John /Müller/\n", "1 NAME Anna / MULLER /\n", false, {marname}},
        {"her own surname recorded too",
         "1 NAME John /Smith/\n",
         "1 NAME Mary /Smith/\n2 TYPE married\n1 NAME Mary /Jones/\n",
         false,
         {}},
        {"other surnames", "1 NAME John /Smith/\n", "1 NAME Mary /Jones/\n", false, {}},
        {"placeholder surnames", "1 NAME John /Unknown/\n", "1 NAME Mary /Unknown/\n", false, {}},
        {"no surname", "1 NAME John\n", "1 NAME Mary\n", false, {}},
        {"a husband recorded as female",
         "1 NAME John /Smith/\n1 SEX F\n",
         "1 NAME Mary /Jones/\n1 SEX F\n",
         false,
         {{"miss-role-@H@-@F1@", "Husband recorded as female", Severity::info}}},
        {"a wife recorded as male",
         "1 NAME John /Smith/\n1 SEX M\n",
         "1 NAME Mary /Jones/\n1 SEX m\n",
         false,
         {{"miss-role-@W@-@F1@", "Wife recorded as male", Severity::info}}},
        {"GEDCOM 7 gives the roles no sex",
         "1 NAME John /Smith/\n1 SEX F\n",
         "1 NAME Mary /Jones/\n1 SEX F\n",
         true,
         {}},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.situation);
        const Tree tree(
            std::string(row.v7 ? "0 HEAD\n1 GEDC\n2 VERS 7.0\n" : "0 HEAD\n1 GEDC\n2 VERS 5.5.1\n") +
            "0 @H@ INDI\n" + row.husband + "0 @W@ INDI\n" + row.wife +
            "0 @F1@ FAM\n1 HUSB @H@\n1 WIFE @W@\n");
        std::vector<Issue> notes;
        for (Issue& issue : Checks::missing(tree.index, tree.document)) {
            if (issue.id.starts_with("miss-marname-") || issue.id.starts_with("miss-role-"))
                notes.push_back(std::move(issue));
        }
        EXPECT_EQ(found(notes), row.expected);
        for (const Issue& issue : notes)
            EXPECT_FALSE(issue.fix);
    }
}

// A place that the date reader reads is a date written in the wrong field.
TEST(ChecksTest, PlaceThatLooksLikeADate)
{
    struct Row
    {
        const char* place;
        bool fires;
    };
    const std::vector<Row> rows = {
        {"1890", true},   {"12 MAR 1890", true},  {"abt. March 1890", true}, {"12/03/1890", true},
        {"Leeds", false}, {"Gdańsk 1920", false}, {"(1890)", false},         {"Lot 12, Block 3", false},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.place);
        const Tree tree(std::string("0 @P@ INDI\n1 BIRT\n2 PLAC ") + row.place + "\n");
        const std::vector<Issue> issues = Checks::places(tree.document);
        const std::vector<Expected> expected = {
            {"place-date-3", "Place that looks like a date", Severity::warning}};
        EXPECT_EQ(found(issues), row.fires ? expected : std::vector<Expected>{});
    }

    // With no DATE the place moves to it; with one, it is only reported.
    const Tree undated("0 @P@ INDI\n1 NAME Ann /Lee/\n1 BURI\n2 PLAC 12 MAR 1890\n2 NOTE x\n");
    const std::vector<Issue> moved = Checks::places(undated.document);
    ASSERT_EQ(moved.size(), 1u);
    EXPECT_EQ(moved[0].detail, "Ann Lee (@P@) \u00B7 BURI PLAC: “12 MAR 1890” is a date, not a place.");
    const Fix expected{"place-date-4",
                       "Move it to the date",
                       {removal(4), Edit{Edit::Add{"@P@", 3, "DATE", "12 MAR 1890", std::nullopt}}},
                       {{"Ann Lee (@P@) \u00B7 BURI PLAC", "12 MAR 1890", std::nullopt},
                        {"Ann Lee (@P@) \u00B7 BURI DATE", std::nullopt, "12 MAR 1890"}},
                       true};
    EXPECT_EQ(moved[0].fix, expected);
    EXPECT_EQ(GedcomWriter::render(FixApplier::apply({expected}, undated.document, 1).document),
              "0 @P@ INDI\n1 NAME Ann /Lee/\n1 BURI\n2 NOTE x\n2 DATE 12 MAR 1890\n");

    const Tree dated("0 @P@ INDI\n1 BURI\n2 DATE 1890\n2 PLAC 1890\n");
    const std::vector<Issue> kept = Checks::places(dated.document);
    ASSERT_EQ(kept.size(), 1u);
    EXPECT_FALSE(kept[0].fix);
}
