// SPDX-License-Identifier: GPL-3.0-or-later
#include "family/GedcomDates.h"
#include "document/GedcomReader.h"

#include <gtest/gtest.h>

#include <thread>

using namespace kinloom;

namespace {

constexpr auto automatic = NumericDateOrder::automatic;
constexpr auto dayFirst = NumericDateOrder::dayFirst;
constexpr auto monthFirst = NumericDateOrder::monthFirst;
constexpr std::nullopt_t open = std::nullopt;

// Expected spans, written with the rule itself: year + (month − 1)/12 + (day − 1)/372.
DateRange yearSpan(double year)
{
    return {year, year + 1};
}
DateRange monthSpan(double year, int month)
{
    const double low = year + (month - 1) / 12.0;
    return {low, low + 1.0 / 12};
}
DateRange daySpan(double year, int month, int day)
{
    const double low = year + (month - 1) / 12.0 + (day - 1) / 372.0;
    return {low, low + 1.0 / 365};
}
DateRange span(std::optional<double> low, std::optional<double> high)
{
    return {low, high};
}

DateNormalization fix(const char* value)
{
    return {DateNormalization::Fix{value}};
}
DateNormalization ambiguous(std::vector<std::string> readings)
{
    return {DateNormalization::Ambiguous{std::move(readings)}};
}
const DateNormalization standard{DateNormalization::Standard{}};
const DateNormalization unrecognized{DateNormalization::Unrecognized{}};

void expectRange(const std::optional<DateRange>& actual, const std::optional<DateRange>& expected,
                 const std::string& context)
{
    SCOPED_TRACE(context);
    ASSERT_EQ(actual.has_value(), expected.has_value());
    if (!expected)
        return;
    ASSERT_EQ(actual->low.has_value(), expected->low.has_value());
    ASSERT_EQ(actual->high.has_value(), expected->high.has_value());
    if (expected->low) {
        EXPECT_DOUBLE_EQ(*actual->low, *expected->low);
    }
    if (expected->high) {
        EXPECT_DOUBLE_EQ(*actual->high, *expected->high);
    }
}

NumericDateOrder decide(const char* file)
{
    return GedcomDates::decideNumericOrder(GedcomReader::read(file));
}

} // namespace

TEST(GedcomDatesTest, DayMonthAndYearNumbers)
{
    const auto range = GedcomDates::readStandard("12 MAR 1890", false);
    ASSERT_TRUE(range && range->low && range->high);
    EXPECT_DOUBLE_EQ(*range->low, 1890 + 2.0 / 12 + 11.0 / 372);
    EXPECT_DOUBLE_EQ(*range->high, 1890 + 2.0 / 12 + 11.0 / 372 + 1.0 / 365);
}

TEST(GedcomDatesTest, StandardGrammar)
{
    struct Case
    {
        const char* value;
        bool v7;
        std::optional<DateRange> expected;
    };
    const DateRange day = daySpan(1890, 3, 12);
    const Case cases[] = {
        {"12 MAR 1890", false, day},
        {"MAR 1890", false, monthSpan(1890, 3)},
        {"1890", true, yearSpan(1890)},
        {"ABT 1890", false, span(1888, 1893)},
        {"EST 1890", false, span(1888, 1893)},
        {"CAL 1890", false, span(1889, 1892)},
        {"ABT 12 MAR 1890", false, span(*day.low - 2, *day.high + 2)},
        {"BEF 1890", false, span(open, 1890)},
        {"TO MAR 1890", false, span(open, *monthSpan(1890, 3).low)},
        {"AFT 1890", false, span(1891, open)},
        {"FROM 1890", false, span(1891, open)},
        {"BET 1890 AND 1900", false, span(1890, 1901)},
        {"BET 1890 AND 1890", false, span(1890, 1891)},
        // A range that ends before it starts is grammatical, and spans both its dates.
        {"BET 1900 AND 1890", false, span(1890, 1901)},
        {"BET 12 MAR 1890 AND MAR 1890", false, monthSpan(1890, 3)},
        {"BET 1890", false, std::nullopt},
        {"BET AND 1890", false, std::nullopt},
        {"FROM 1850 TO 12 MAR 1890", false, span(1850, *day.high)},
        {"FROM 1890 TO 1850", false, span(1850, 1891)},
        {"ABT", false, std::nullopt},
        // INT: 5.5.1 only, the phrase starts at the first piece beginning with "(".
        {"INT 1890 (about then)", false, yearSpan(1890)},
        {"INT 44 B.C. (of Rome) (really)", false, yearSpan(-44)},
        {"INT 1890 (about then)", true, std::nullopt},
        {"INT 1890 (about then", false, std::nullopt},
        {"INT 1890 about)", false, std::nullopt},
        {"INT (about then)", false, std::nullopt},
        // Calendar prefixes: one is dropped, with its blank.
        {"@#DGREGORIAN@ 12 MAR 1890", false, day},
        {"@#DJULIAN@ ABT 1890", true, span(1888, 1893)},
        {"GREGORIAN MAR 1890", false, monthSpan(1890, 3)},
        {"JULIAN 1890", false, yearSpan(1890)},
        {"@#DGREGORIAN@1890", false, std::nullopt},
        {"JULIAN GREGORIAN 1890", false, std::nullopt},
        {"@#DJULIAN@ ", false, std::nullopt},
        // Blanks: every piece must be non-empty; keywords and months are upper case.
        {"", false, std::nullopt},
        {" 1890", false, std::nullopt},
        {"1890 ", false, std::nullopt},
        {"12  MAR 1890", false, std::nullopt},
        {"12 mar 1890", false, std::nullopt},
        {"abt 1890", false, std::nullopt},
        // Days against the month's limit; February always allows 29.
        {"31 JAN 1890", false, daySpan(1890, 1, 31)},
        {"32 JAN 1890", false, std::nullopt},
        {"30 APR 1890", false, daySpan(1890, 4, 30)},
        {"31 APR 1890", false, std::nullopt},
        {"29 FEB 1891", false, daySpan(1891, 2, 29)},
        {"30 FEB 1890", false, std::nullopt},
        {"0 MAR 1890", false, std::nullopt},
        {"05 MAR 1890", false, daySpan(1890, 3, 5)},
        {"005 MAR 1890", false, std::nullopt},
        {"+5 MAR 1890", false, std::nullopt},
        {"12 1890", false, std::nullopt},
        {"MAR 12 1890", false, std::nullopt},
        {"1 12 MAR 1890", false, std::nullopt},
        {"12 MAR", false, std::nullopt},
        // Years: one to four ASCII digits.
        {"5", false, yearSpan(5)},
        {"12345", false, std::nullopt},
        {"18a0", false, std::nullopt},
        // Dual years (5.5.1): any two characters after the slash, one more year at the end.
        {"1750/51", false, span(1750, 1752)},
        {"MAR 1750/51", false, span(*monthSpan(1750, 3).low, *monthSpan(1750, 3).high + 1)},
        {"1750/51", true, std::nullopt},
        {"1750/5", false, std::nullopt},
        {"1750/512", false, std::nullopt},
        {"1750/5/", false, std::nullopt},
        // Epochs: "B.C." in 5.5.1, "BCE" in 7.
        {"44 B.C.", false, yearSpan(-44)},
        {"44 B.C.", true, std::nullopt},
        {"44 BCE", false, std::nullopt},
        {"44 BCE", true, yearSpan(-44)},
        {"MAR 44 BCE", true, monthSpan(-44, 3)},
        {"B.C.", false, std::nullopt},
    };
    for (const Case& c : cases)
        expectRange(GedcomDates::readStandard(c.value, c.v7), c.expected,
                    std::string(c.value) + (c.v7 ? " (7)" : " (5.5.1)"));

    const std::tuple<const char*, bool, bool> reversed[] = {
        {"BET 1900 AND 1890", false, true},          {"FROM GREGORIAN JAN 1689 BCE TO 1867 BCE", true, true},
        {"BET 1950 AND JULIAN DEC 302", true, true}, {"@#DJULIAN@ FROM 1700 TO 1690", false, true},
        {"BET 1890 AND 1900", false, false},         {"BET 12 MAR 1890 AND MAR 1890", false, false},
        {"(BET 1900 AND 1890)", false, false},
    };
    for (const auto& [value, v7, expected] : reversed)
        EXPECT_EQ(GedcomDates::isReversedRange(value, v7), expected) << value;
}

TEST(GedcomDatesTest, RangeTrimsAndFallsBackOnNormalizing)
{
    struct Case
    {
        const char* value;
        NumericDateOrder order;
        bool v7;
        std::optional<DateRange> expected;
    };
    const DateRange aprilThird = daySpan(1890, 4, 3);
    const DateRange marchFourth = daySpan(1890, 3, 4);
    const Case cases[] = {
        {"\t 12 MAR 1890 \n", automatic, false, daySpan(1890, 3, 12)},
        {"12 mar 1890", automatic, false, daySpan(1890, 3, 12)},
        {"12  MAR 1890", automatic, false, daySpan(1890, 3, 12)},
        {"44 BCE", automatic, false, yearSpan(-44)},
        {"1750/51", automatic, true, std::nullopt},
        {"12 MAR 1637/1638", automatic, false,
         span(*daySpan(1637, 3, 12).low, *daySpan(1637, 3, 12).high + 1)},
        {"03/04/1890", automatic, false, span(*marchFourth.low, *aprilThird.high)},
        {"03/04/1890", dayFirst, false, aprilThird},
        {"03/04/1890", monthFirst, false, marchFourth},
        {"bef 03/04/1890", automatic, false, span(open, *aprilThird.low)},
        {"from 1850", automatic, false, span(1851, open)},
        {"(about the war)", automatic, false, std::nullopt},
        {"@#DHEBREW@ 1 TSH 5000", automatic, false, std::nullopt},
        {"BET 1900 AND 1890", automatic, false, span(1890, 1901)},
        {"sometime", automatic, false, std::nullopt},
    };
    for (const Case& c : cases)
        expectRange(GedcomDates::range(c.value, c.order, c.v7), c.expected, c.value);
}

TEST(GedcomDatesTest, Normalization)
{
    struct Case
    {
        const char* value;
        bool v7;
        NumericDateOrder order;
        DateNormalization expected;
    };
    const Case cases[] = {
        {"12 MAR 1890", false, automatic, standard},
        {"(about the war)", false, automatic, standard},
        {"@#DHEBREW@ 1 TSH 5000", false, automatic, standard},
        {"_MAYAN 5 1", false, automatic, standard},
        // Blanks collapsed, whatever their kind.
        {"12  MAR 1890", false, automatic, fix("12 MAR 1890")},
        {" 1890\t", false, automatic, fix("1890")},
        {"\u00A0ABT\u2003 1890", false, automatic, fix("ABT 1890")},
        {"  (the war)", false, automatic, fix("(the war)")},
        {" @#DHEBREW@ 1 TSH", false, automatic, fix("@#DHEBREW@ 1 TSH")},
        // Words and case.
        {"12 mar 1890", false, automatic, fix("12 MAR 1890")},
        {"Abt. 12 March 1890", false, automatic, fix("ABT 12 MAR 1890")},
        {"CIRCA 1890", false, automatic, fix("ABT 1890")},
        {"abtx 1890", false, automatic, unrecognized},
        {"March 12, 1890", false, automatic, fix("12 MAR 1890")},
        {"12-mar-1890", false, automatic, fix("12 MAR 1890")},
        {"12 mars 1890", false, automatic, unrecognized},
        {"mar 90", false, automatic, unrecognized},
        // Ordinals.
        {"1st may 1901", false, automatic, fix("1 MAY 1901")},
        {"2nd may 1901", false, automatic, fix("2 MAY 1901")},
        {"3rd of may 1901", false, automatic, fix("3 MAY 1901")},
        {"may 21st, 1901", false, automatic, fix("21 MAY 1901")},
        {"4th may 1901", false, automatic, fix("4 MAY 1901")},
        // Ranges and their separators.
        {"between 1850 and 1860", false, automatic, fix("BET 1850 AND 1860")},
        {"bet 1850 - 1860", false, automatic, fix("BET 1850 AND 1860")},
        {"bet 1850-1860", false, automatic, fix("BET 1850 AND 1860")},
        {"BET 12 Mar 1850 AND 1860", false, automatic, fix("BET 12 MAR 1850 AND 1860")},
        {"between 1890-03-12 and 1890-04-01", false, automatic, fix("BET 12 MAR 1890 AND 1 APR 1890")},
        {"between 1860 and 1850", false, automatic, fix("BET 1860 AND 1850")},
        {"between 1850", false, automatic, unrecognized},
        {"from 1850 to 1860", false, automatic, fix("FROM 1850 TO 1860")},
        {"from 1850 - 1860", false, automatic, fix("FROM 1850 TO 1860")},
        {"from 1850-1860", false, automatic, fix("FROM 1850 TO 1860")},
        {"from 1850", false, automatic, fix("FROM 1850")},
        // Epoch endings, written as the file's marker.
        {"44 b.c.", false, automatic, fix("44 B.C.")},
        {"44 b.c", false, automatic, fix("44 B.C.")},
        {"44 bce", false, automatic, fix("44 B.C.")},
        {"44 bc", false, automatic, fix("44 B.C.")},
        {"44b.c.", false, automatic, fix("44 B.C.")},
        {"44bce", false, automatic, fix("44 B.C.")},
        {"44 BCE", false, automatic, fix("44 B.C.")},
        {"44 B.C.", true, automatic, fix("44 BCE")},
        {"abt 12 mar 44 bc", true, automatic, fix("ABT 12 MAR 44 BCE")},
        {"mar 44 b.c.", false, automatic, fix("MAR 44 B.C.")},
        // ISO dates.
        {"1890-03-12", false, automatic, fix("12 MAR 1890")},
        {"1890-03", false, automatic, fix("MAR 1890")},
        {"1890-3-5", false, automatic, fix("5 MAR 1890")},
        {"1890-13-01", false, automatic, unrecognized},
        {"1890-02-30", false, automatic, unrecognized},
        {"1890-03-00", false, automatic, unrecognized},
        {"00 mar 1890", false, automatic, unrecognized},
        // All-number dates follow the order; a number above 12 can only be a day.
        {"03/04/1890", false, automatic, ambiguous({"3 APR 1890", "4 MAR 1890"})},
        {"03/04/1890", false, dayFirst, fix("3 APR 1890")},
        {"03/04/1890", false, monthFirst, fix("4 MAR 1890")},
        {"03.04.1890", false, dayFirst, fix("3 APR 1890")},
        {"03-04-1890", false, monthFirst, fix("4 MAR 1890")},
        {"13/04/1890", false, automatic, fix("13 APR 1890")},
        {"04/13/1890", false, automatic, fix("13 APR 1890")},
        {"04/13/1890", false, dayFirst, unrecognized},
        {"03/03/1890", false, automatic, fix("3 MAR 1890")},
        {"31/04/1890", false, automatic, unrecognized},
        {"13/13/1890", false, automatic, unrecognized},
        {"12/03/90", false, automatic, unrecognized},
        {"bet 03/04/1890 and 1900", false, monthFirst, fix("BET 4 MAR 1890 AND 1900")},
        // Calendar prefixes go back in front, with a blank.
        {"julian 12 mar 1890", false, automatic, fix("JULIAN 12 MAR 1890")},
        {"@#dgregorian@ 1890-03-12", false, automatic, fix("@#DGREGORIAN@ 12 MAR 1890")},
        {"@#DJULIAN@1890", false, automatic, fix("@#DJULIAN@ 1890")},
        {"Gregorian abt 1890", false, automatic, fix("GREGORIAN ABT 1890")},
        // Dual years only where the version has them.
        {"12 mar 1750/51", false, automatic, fix("12 MAR 1750/51")},
        {"12 mar 1750/51", true, automatic, unrecognized},
        // A dual year written in full is the same dual year; a second year not the next is not one.
        {"1637/1638", false, automatic, fix("1637/38")},
        {"12 MAR 1637/1638", false, automatic, fix("12 MAR 1637/38")},
        {"ABT    1103/1104", false, automatic, fix("ABT 1103/04")},
        {"1699/1700", false, automatic, fix("1699/00")},
        {"1637/1639", false, automatic, unrecognized},
        {"1638/1637", false, automatic, unrecognized},
        {"1637/1638", true, automatic, unrecognized},
        {"", false, automatic, unrecognized},
        {"sometime", false, automatic, unrecognized},
        {"30 FEB 1890", false, automatic, unrecognized},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(GedcomDates::normalize(c.value, c.v7, c.order), c.expected);
    }
}

// Text with no date in it, and a date read out of words by setting aside only marks of doubt and
// era words.
TEST(GedcomDatesTest, DatesAmongWords)
{
    struct Case
    {
        const char* value;
        bool v7;
        bool hasDateElement;
        std::optional<WordsDate> expected;
    };
    const Case cases[] = {
        {"1908 ?", false, true, WordsDate{"1908", true}},
        {"1908?", false, true, WordsDate{"1908", true}},
        {"1908 (?)", false, true, WordsDate{"1908", true}},
        {"? mar 1908", false, true, WordsDate{"MAR 1908", true}},
        {"23 AD", false, true, WordsDate{"23", true}},
        {"A.D. 23", false, true, WordsDate{"23", true}},
        {"44 B.C. ?", false, true, WordsDate{"44 B.C.", true}},
        {"12 MAR 1637/1638 ?", false, true, WordsDate{"12 MAR 1637/38", true}},
        {"1908 ?", true, true, WordsDate{"1908", true}},
        {"12 MAR 1637/1638 ?", true, true, std::nullopt},
        // Read, but not as one date an interpreted date can hold.
        {"abt. 1850 ?", false, true, WordsDate{"ABT 1850", false}},
        {"03/04/1890 ?", false, true, WordsDate{}},
        // A question mark that may stand for digits, or words other than doubt and era.
        {"18??", false, true, std::nullopt},
        {"190?", false, true, std::nullopt},
        {"spring 1950", false, true, std::nullopt},
        {"26 Oct", false, true, std::nullopt},
        {"1908", false, true, std::nullopt},
        {"(the war) ?", false, false, std::nullopt},
        {"?", false, false, std::nullopt},
        {"STILLBORN", false, false, std::nullopt},
        {"Machine operator, Ford Motor Co.", false, false, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(GedcomDates::hasDateElement(c.value), c.hasDateElement);
        EXPECT_EQ(GedcomDates::dateInWords(c.value, c.v7, automatic), c.expected);
    }
}

TEST(GedcomDatesTest, QualifierAndMonthWords)
{
    const std::pair<const char*, const char*> qualifiers[] = {
        {"approximately", "ABT"},
        {"approx.", "ABT"},
        {"approx", "ABT"},
        {"about", "ABT"},
        {"abt.", "ABT"},
        {"abt", "ABT"},
        {"circa", "ABT"},
        {"ca.", "ABT"},
        {"ca", "ABT"},
        {"c.", "ABT"},
        {"around", "ABT"},
        {"~", "ABT"},
        {"calculated", "CAL"},
        {"calc.", "CAL"},
        {"calc", "CAL"},
        {"cal.", "CAL"},
        {"cal", "CAL"},
        {"estimated", "EST"},
        {"est.", "EST"},
        {"est", "EST"},
        {"before", "BEF"},
        {"bef.", "BEF"},
        {"bef", "BEF"},
        {"<", "BEF"},
        {"after", "AFT"},
        {"aft.", "AFT"},
        {"aft", "AFT"},
        {">", "AFT"},
    };
    for (const auto& [word, keyword] : qualifiers) {
        for (const char* gap : {" ", ""}) {
            const std::string value = std::string(word) + gap + "1890";
            SCOPED_TRACE(value);
            EXPECT_EQ(GedcomDates::normalize(value, false, automatic),
                      fix((std::string(keyword) + " 1890").c_str()));
        }
    }

    const char* const months[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                  "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
    const std::pair<const char*, int> words[] = {
        {"January", 1},   {"February", 2},  {"March", 3},  {"April", 4},     {"May", 5},
        {"June", 6},      {"July", 7},      {"August", 8}, {"September", 9}, {"October", 10},
        {"November", 11}, {"December", 12}, {"jan", 1},    {"feb", 2},       {"mar", 3},
        {"apr", 4},       {"jun", 6},       {"jul", 7},    {"aug", 8},       {"sep", 9},
        {"oct", 10},      {"nov", 11},      {"dec", 12},   {"Sept", 9},      {"febr.", 2},
    };
    for (const auto& [word, month] : words) {
        const std::string value = std::string("12 ") + word + " 1890";
        SCOPED_TRACE(value);
        EXPECT_EQ(GedcomDates::normalize(value, false, automatic),
                  fix((std::string("12 ") + months[month - 1] + " 1890").c_str()));
    }
}

TEST(GedcomDatesTest, Styles)
{
    struct Case
    {
        const char* value;
        bool v7;
        std::size_t style;
    };
    const Case cases[] = {
        {"12 MAR 1890", false, 0},
        {"(about the war)", false, 0},
        {"@#DHEBREW@ 1 TSH 5000", false, 0},
        {"44 BCE", true, 0},
        {"1890-03-12", false, 1},
        {"1890-3", false, 1},
        {" 1890-03-12\t", false, 1},
        {"1890-03-12-", false, 2}, // not ISO, but "90-03-12" is a number date inside it
        {"12/03/1890", false, 2},
        {"12.03.90", false, 2},
        {"born 1-2-1890 at home", false, 2},
        {"abt. 1890", false, 3},
        {"ca. 1890", false, 3}, // "ca", then a word boundary before the dot
        {"c.1890", false, 3},
        {"Bet 1850 and 1860", false, 3},
        {"to 1890", false, 3},
        {"ABT 1890 é", false, 3}, // é has a capital, so the value is not all capitals
        {"ABT 1890 ß", false, 3},
        {"March 12, 1890", false, 4},
        {"Mar. 12 1890", false, 4},
        {"march 5, 890", false, 4},
        {"c. 1890", false, 5}, // no word boundary between "." and a blank
        {"toward 1890", false, 5},
        {"abtè 1890", false, 5}, // è is a letter: "abt" is not a word here
        {"12 Mar 1890", false, 5},
        {"Dec 1890", false, 5},
        {"12  MAR 1890", false, 6},
        {" 12 MAR 1890", false, 6},
        {"12 MAR 1890 ", false, 6},
        {"ABT. 1890", false, 7},
        {"ABT 1890 É", false, 7},
        {"03/1890", false, 7},
        {"12 MAR 1890\t", false, 7},
        {"", false, 7},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(GedcomDates::style(c.value, c.v7), GedcomDates::allStyles[c.style]);
    }
}

// Every date of a value may carry its own calendar. Julian dates read with the same numbers as
// Gregorian ones; other calendars are kept as they are, with no range. None of them is unreadable.
TEST(GedcomDatesTest, CalendarBeforeEachDate)
{
    struct Case
    {
        const char* value;
        bool v7;
        std::optional<DateRange> expected; ///< none: another calendar, standard and not ranged
    };
    const Case cases[] = {
        {"ABT @#DJULIAN@ 1700", false, span(1698, 1703)},
        {"CAL @#DGREGORIAN@ 1700", false, span(1699, 1702)},
        {"EST @#DJULIAN@ MAR 1700/01", false, span(1700 + 2.0 / 12 - 2, *monthSpan(1700, 3).high + 1 + 2)},
        {"BEF @#DJULIAN@ 1700", false, span(open, 1700)},
        {"AFT @#DJULIAN@ 12 MAR 1700", false, span(*daySpan(1700, 3, 12).high, open)},
        {"TO @#DJULIAN@ 1700", false, span(open, 1700)},
        {"FROM @#DJULIAN@ 1690", false, span(1691, open)},
        {"BET @#DJULIAN@ 1700 AND @#DJULIAN@ 1710", false, span(1700, 1711)},
        {"BET 1700 AND @#DGREGORIAN@ 1710", false, span(1700, 1711)},
        {"FROM @#DJULIAN@ 1690 TO 1700", false, span(1690, 1701)},
        {"FROM 1690 TO @#DJULIAN@ 1700", false, span(1690, 1701)},
        {"INT @#DJULIAN@ 1700 (old style)", false, yearSpan(1700)},
        {"@#DJULIAN@ 44 B.C.", false, yearSpan(-44)},
        {"ABT JULIAN 1700", true, span(1698, 1703)},
        {"BET JULIAN 1700 AND GREGORIAN 1710", true, span(1700, 1711)},
        {"FROM JULIAN 1690 TO JULIAN 1700", true, span(1690, 1701)},
        {"AFT GREGORIAN 44 BCE", true, span(-43, open)},
        {"BEF @#DHEBREW@ 5600", false, std::nullopt},
        {"ABT @#DFRENCH R@ 1 VEND 1", false, std::nullopt},
        {"BET @#DJULIAN@ 1700 AND @#DHEBREW@ 5600", false, std::nullopt},
        {"FROM 1690 TO @#DROMAN@ 1", false, std::nullopt},
        {"BEF HEBREW 5600", true, std::nullopt},
        {"ABT FRENCH_R 1 VEND 1", true, std::nullopt},
        {"AFT _MAYAN 9 1", true, std::nullopt},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        expectRange(GedcomDates::range(c.value, automatic, c.v7), c.expected, c.value);
        const DateReading reading = GedcomDates::read(c.value, c.v7, automatic);
        EXPECT_EQ(reading.normalization, standard);
        EXPECT_EQ(reading.style, GedcomDates::allStyles[0]);
        EXPECT_EQ(GedcomDates::isOtherCalendar(c.value), !c.expected);
    }

    // A calendar with no date after it, or a second calendar after one written before the whole value.
    for (const char* unreadable :
         {"ABT @#DJULIAN@", "BEF HEBREW", "BET @#DJULIAN@ AND 1710", "ABT @#DHEBREW@", "@#DHEBREW@",
          "ABT JULIAN JULIAN 1700", "@#DJULIAN@ ABT @#DJULIAN@ 1700", "BET @#DFRENCH R@ AND 1700"}) {
        SCOPED_TRACE(unreadable);
        EXPECT_EQ(GedcomDates::range(unreadable, automatic, false), std::nullopt);
        EXPECT_EQ(GedcomDates::normalize(unreadable, false, automatic), unrecognized);
    }
}

TEST(GedcomDatesTest, OtherCalendarsAndPhrases)
{
    struct Case
    {
        const char* value;
        bool otherCalendar;
        bool phrase;
    };
    const Case cases[] = {
        {"@#DHEBREW@ 1 TSH 5000", true, false},
        {"@#DFRENCH R@ 1 VEND 1", true, false},
        {"@#DROMAN@ 1", true, false},
        {"@#DGREGORIAN@ 1890", false, false},
        {"@#DGREGORIAN@1890", false, false},
        {"@#DJULIAN@ 1890", false, false},
        {"HEBREW 1 TSH 5000", true, false},
        {"  HEBREW 5000", true, false},
        {"FRENCH_R 1 VEND 1", true, false},
        {"_MAYAN 1", true, false},
        {"_ 1890", false, false},
        {"HEBREWS 1", false, false},
        {"12 MAR 1890", false, false},
        {"(about the war)", false, true},
        {"()", false, true},
        {"(", false, false},
        {"(x", false, false},
        {" (x)", false, false},
        {"INT 1890 (x)", false, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.value);
        EXPECT_EQ(GedcomDates::isOtherCalendar(c.value), c.otherCalendar);
        EXPECT_EQ(GedcomDates::isDatePhrase(c.value), c.phrase);
    }
}

TEST(GedcomDatesTest, DecidesNumericOrderFromEveryDate)
{
    struct Case
    {
        const char* file;
        NumericDateOrder expected;
    };
    const Case cases[] = {
        {"0 HEAD\n1 DATE 13/04/1890\n0 TRLR\n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 04/13/1890\n", monthFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/1890\n1 DEAT\n2 DATE 04/13/1890\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/1890\n1 DEAT\n2 DATE 03/04/1890\n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 03/04/1890\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/13/1890\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/31\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/32\n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13.04.1890\n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 04-13-1890\n", monthFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04-1890\n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE  13/04/1890 \n", dayFirst},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/1890/1\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE ABT 13/04/1890\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13//1890\n", automatic},
        {"0 @I1@ INDI\n1 BIRT\n2 DATE 13/04/99999999999999999999999\n", automatic},
        {"0 @I1@ INDI\n1 NOTE 13/04/1890\n", automatic},
        {"0 @F1@ FAM\n1 MARR\n2 SOUR @S1@\n3 DATA\n4 DATE 04/13/1890\n", monthFirst},
        {"", automatic},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.file);
        EXPECT_EQ(decide(c.file), c.expected);
    }
}

TEST(GedcomDatesTest, NumericOrderRawValues)
{
    EXPECT_EQ(rawValue(automatic), "auto");
    EXPECT_EQ(rawValue(dayFirst), "dayFirst");
    EXPECT_EQ(rawValue(monthFirst), "monthFirst");
    for (const NumericDateOrder order : allNumericDateOrders)
        EXPECT_EQ(numericDateOrderFromRawValue(rawValue(order)), order);
    EXPECT_EQ(numericDateOrderFromRawValue("automatic"), std::nullopt);
    EXPECT_EQ(numericDateOrderFromRawValue("DayFirst"), std::nullopt);
}

TEST(GedcomDatesTest, ReadingAtOnceAgreesAndIsThreadSafe)
{
    const char* const values[] = {
        "12 MAR 1890",
        " 12 MAR 1890",
        "12  mar 1890 ",
        "03/04/1890",
        "(about the war)",
        "  (the war)",
        "@#DHEBREW@ 1 TSH 5000",
        " HEBREW\t5000",
        "c. 1890",
        "1890-03-12",
        "sometime",
        "",
    };
    for (const bool v7 : {false, true}) {
        for (const NumericDateOrder order : allNumericDateOrders) {
            for (const char* value : values) {
                SCOPED_TRACE(value);
                const DateReading expected{GedcomDates::range(value, order, v7),
                                           GedcomDates::normalize(value, v7, order),
                                           GedcomDates::style(value, v7)};
                EXPECT_EQ(GedcomDates::read(value, v7, order), expected);
            }
        }
    }

    // Patterns are compiled on first use from whichever thread comes first.
    std::vector<std::thread> threads;
    std::vector<int> mismatches(4, 0);
    for (std::size_t t = 0; t < mismatches.size(); ++t) {
        threads.emplace_back([&, t] {
            for (int round = 0; round < 200; ++round) {
                mismatches[t] += GedcomDates::style("c. 1890", false) != GedcomDates::allStyles[5];
                mismatches[t] += GedcomDates::normalize("03/04/1890", false, automatic) !=
                                 ambiguous({"3 APR 1890", "4 MAR 1890"});
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(mismatches, std::vector<int>(4, 0));
}
