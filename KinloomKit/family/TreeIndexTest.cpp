// SPDX-License-Identifier: GPL-3.0-or-later
#include "family/TreeIndex.h"

#include "document/GedcomReader.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

const char* const treeText = "0 HEAD\n"
                             "1 GEDC\n"
                             "2 VERS 5.5.1\n"
                             "1 PLAC\n"
                             "2 FORM City, Country\n"
                             "0 @I1@ INDI\n"
                             "1 NAME John /Smith/ Jr.\n"
                             "1 NAME Johnny\n"
                             "1 SEX  m \n"
                             "1 SEX F\n"
                             "1 BIRT\n"
                             "2 DATE 12 MAR 1890\n"
                             "2 PLAC Leeds, England\n"
                             "2 DATE 1891\n"
                             "1 DEAT\n"
                             "1 OCCU Miner\n"
                             "1 _MILT\n"
                             "2 DATE 1916\n"
                             "1 FAMC @F1@\n"
                             "1 FAMC F1\n"
                             "1 FAMC @@\n"
                             "1 FAMS @F2@\n"
                             "1 SOUR @S1@\n"
                             "1 SOUR inline source\n"
                             "0 @F1@ FAM\n"
                             "1 HUSB @I2@\n"
                             "1 HUSB @I2@\n"
                             "1 WIFE @I3@\n"
                             "1 CHIL @I1@\n"
                             "1 CHIL @#DGREGORIAN@\n"
                             "1 MARR\n"
                             "2 DATE BET 1880 AND 1885\n"
                             "0 @I2@ INDI\n"
                             "0 @S1@ SOUR\n"
                             "0 @N1@ NOTE text\n"
                             "0 @I2@ NOTE again\n"
                             "0 @I2@ INDI\n"
                             "0 TRLR\n";

template <class T>
std::vector<T> list(std::span<const T> items)
{
    return std::vector<T>(items.begin(), items.end());
}

} // namespace

TEST(TreeIndexTest, PeopleFamiliesAndRecords)
{
    const GedcomDocument document = GedcomReader::read(treeText);
    const TreeIndex index = TreeIndex::build(document);
    EXPECT_FALSE(index.v7);

    ASSERT_EQ(index.people.size(), 2u);
    EXPECT_EQ(index.people[0].xref, "@I1@");
    EXPECT_EQ(index.people[1].xref, "@I2@");
    ASSERT_EQ(index.families.size(), 1u);
    EXPECT_EQ(index.person("@I3@"), nullptr);
    EXPECT_EQ(index.family("@F1@"), &index.families[0]);

    const Person& john = *index.person("@I1@");
    EXPECT_EQ(john.nodeID(), 6);
    ASSERT_EQ(john.names.size(), 2u);
    // How a value splits is tested with splitName below.
    EXPECT_EQ(john.names[0].nodeID, 7);
    EXPECT_EQ(john.names[0].value, "John /Smith/ Jr.");
    EXPECT_EQ(john.names[0].surname(), "Smith");
    EXPECT_EQ(john.names[1].nodeID, 8);
    EXPECT_EQ(john.names[1].value, "Johnny");
    EXPECT_EQ(john.sex(), "M");
    EXPECT_EQ(john.sexValue(), " m ");
    EXPECT_EQ(john.sexNodeID(), 9);
    EXPECT_EQ(index.people[1].sex(), std::nullopt);
    EXPECT_EQ(index.people[1].sexNodeID(), std::nullopt);

    ASSERT_EQ(john.events.size(), 3u);
    const EventFact& birth = john.events[0];
    EXPECT_EQ(birth.tag(), "BIRT");
    EXPECT_EQ(birth.nodeID(), 11);
    EXPECT_EQ(birth.date(), "12 MAR 1890");
    EXPECT_EQ(birth.dateNodeID(), 12);
    EXPECT_EQ(birth.place(), "Leeds, England");
    EXPECT_EQ(birth.placeNodeID(), 13);
    const double low = 1890 + 2.0 / 12 + 11.0 / 372;
    EXPECT_EQ(birth.range(), (DateRange{low, low + 1.0 / 365}));
    const EventFact& death = john.events[1];
    EXPECT_EQ(death.tag(), "DEAT");
    EXPECT_EQ(death.date(), std::nullopt);
    EXPECT_EQ(death.dateNodeID(), std::nullopt);
    EXPECT_EQ(death.place(), std::nullopt);
    EXPECT_EQ(death.range(), std::nullopt);
    EXPECT_EQ(john.events[2].tag(), "OCCU");
    EXPECT_EQ(john.event("DEAT"), &john.events[1]);
    EXPECT_EQ(john.event("BURI"), nullptr);

    EXPECT_EQ(list(john.famc), (std::vector<FamilyLink>{{"@F1@", 19}}));
    EXPECT_EQ(list(john.fams), (std::vector<FamilyLink>{{"@F2@", 22}}));
    EXPECT_EQ(john.sourceCount, 2);

    const Family& family = index.families[0];
    EXPECT_EQ(family.husband, "@I2@");
    EXPECT_EQ(family.wife, "@I3@");
    EXPECT_EQ(list(family.children), (std::vector<std::string_view>{"@I1@"}));
    EXPECT_EQ(list(family.links),
              (std::vector<MemberLink>{
                  {"HUSB", "@I2@", 26}, {"HUSB", "@I2@", 27}, {"WIFE", "@I3@", 28}, {"CHIL", "@I1@", 29}}));
    ASSERT_EQ(family.events.size(), 1u);
    EXPECT_EQ(family.events[0].range(), (DateRange{1880, 1886}));

    // The first record with an xref is the one indexed; a repeated xref is listed once.
    EXPECT_EQ(index.recordTag("@I2@"), "INDI");
    EXPECT_EQ(index.recordTag("@N1@"), "NOTE");
    EXPECT_EQ(index.recordTag("@S1@"), "SOUR");
    EXPECT_EQ(index.recordTag("@X9@"), std::nullopt);
    EXPECT_EQ(index.family("@I2@"), nullptr);
    EXPECT_EQ(index.duplicateXrefs, (std::vector<std::string_view>{"@I2@"}));
    EXPECT_EQ(index.sourceRecords, 1u);
    EXPECT_EQ(index.otherRecords, 1u);
    EXPECT_EQ(index.dateValues, 4u);
    EXPECT_EQ(index.placeValues, 1u);
    EXPECT_EQ(index.lines, 38u);
}

TEST(TreeIndexTest, DateAndPlaceFarBelowTheirEvent)
{
    // Further below than an event keeps offsets for: found again from the event's lines.
    std::string text = "0 HEAD\n0 @I1@ INDI\n1 BIRT\n2 NOTE Copied from a letter\n";
    for (int i = 0; i < 70'000; ++i)
        text += "3 CONT line\n";
    text += "2 DATE 1 JAN 1900\n2 PLAC Leeds\n0 TRLR\n";
    const GedcomDocument document = GedcomReader::read(text);
    const TreeIndex index = TreeIndex::build(document);
    ASSERT_EQ(index.people.size(), 1u);
    ASSERT_EQ(index.people[0].events.size(), 1u);
    const EventFact& birth = index.people[0].events[0];
    EXPECT_EQ(birth.date(), "1 JAN 1900");
    EXPECT_EQ(birth.dateNodeID(), 70'005);
    EXPECT_EQ(birth.place(), "Leeds");
    EXPECT_EQ(birth.range(), (DateRange{1900, 1900 + 1.0 / 365}));
}

TEST(TreeIndexTest, NamesAndDisplayNames)
{
    struct Case
    {
        std::string_view value;
        std::string_view given;
        std::optional<std::string_view> surname;
        std::string_view suffix;
        std::string display;
    };
    const Case cases[] = {
        {"John /Smith/ Jr.", "John", "Smith", "Jr.", "John Smith Jr."},
        {"John Smith", "John Smith", std::nullopt, "", "John Smith"},
        {"John //", "John", std::nullopt, "", "John"},
        {"John /Smith", "John /Smith", std::nullopt, "", "John /Smith"},
        {"  /van der Berg/  ", "", "van der Berg", "", "van der Berg"},
        {"Anna /Berg/ a/b ", "Anna", "Berg", "a/b", "Anna Berg a/b"},
        {"", "", std::nullopt, "", ""},
        {"/ /", "", std::nullopt, "", ""},
    };
    for (const Case& c : cases) {
        const PersonName name = splitName(c.value);
        EXPECT_EQ(name.given(), c.given) << c.value;
        EXPECT_EQ(name.surname(), c.surname) << c.value;
        EXPECT_EQ(name.suffix(), c.suffix) << c.value;
        EXPECT_EQ(displayName(name), c.display) << c.value;
    }
    Person person;
    EXPECT_EQ(displayName(person), "Unnamed person");
    const std::vector<PersonName> blankFirst = {splitName("/ /"), splitName("John")};
    person.names = blankFirst;
    EXPECT_EQ(displayName(person), "Unnamed person");
    const std::vector<PersonName> named = {splitName("Mary /Jones/")};
    person.names = named;
    EXPECT_EQ(displayName(person), "Mary Jones");
}

TEST(TreeIndexTest, PointersAndEventTags)
{
    for (std::string_view pointer : {"@I1@", "@F1@", "@x@", "@Homer_Simpson@", "@I-1.2@"})
        EXPECT_TRUE(TreeIndex::isPointer(pointer)) << pointer;
    for (std::string_view value :
         {"I1", "@@", "@@@", "@I1", "I1@", "@#DJULIAN@", "@I 1@", "@I@1@", " @I1@", "@I1@ ", ""})
        EXPECT_FALSE(TreeIndex::isPointer(value)) << value;
    for (std::string_view tag : {"BIRT", "CHR", "NMR", "SSN", "CAST", "MARR", "EVEN", "FACT"})
        EXPECT_TRUE(TreeIndex::isEventTag(tag)) << tag;
    for (std::string_view tag : {"birt", "NAME", "SEX", "BIRTH", "_MILT", "CH", "", "SOUR"})
        EXPECT_FALSE(TreeIndex::isEventTag(tag)) << tag;
}

TEST(TreeIndexTest, CopiesOutliveTheOriginal)
{
    const GedcomDocument document = GedcomReader::read(treeText);
    std::optional<TreeIndex> original = TreeIndex::build(document);
    const TreeIndex copy = *original;
    original.reset();
    EXPECT_EQ(copy.person("@I1@")->names[0].given(), "John");
    EXPECT_EQ(copy.family("@F1@")->children[0], "@I1@");
}

TEST(TreeIndexTest, VersionSevenAndNumericOrder)
{
    const GedcomDocument seven =
        GedcomReader::read("0 HEAD\n1 GEDC\n2 VERS 7.0\n0 @I1@ INDI\n1 BIRT\n2 DATE 44 BCE\n"
                           "1 DEAT\n2 DATE 03/04/1890\n");
    const TreeIndex byDay = TreeIndex::build(seven, NumericDateOrder::dayFirst);
    EXPECT_TRUE(byDay.v7);
    EXPECT_EQ(byDay.people[0].events[0].range(), (DateRange{-44, -43}));
    const double april3 = 1890 + 3.0 / 12 + 2.0 / 372;
    EXPECT_EQ(byDay.people[0].events[1].range(), (DateRange{april3, april3 + 1.0 / 365}));
    const double march4 = 1890 + 2.0 / 12 + 3.0 / 372;
    EXPECT_EQ(TreeIndex::build(seven, NumericDateOrder::monthFirst).people[0].events[1].range(),
              (DateRange{march4, march4 + 1.0 / 365}));
}

TEST(TreeIndexTest, SameIndexOnOneThreadOrTwo)
{
    const GedcomDocument document = GedcomReader::read(SampleTree::syntheticText(300, 5));
    const TreeIndex one = TreeIndex::build(document, NumericDateOrder::automatic, 1);
    const TreeIndex two = TreeIndex::build(document, NumericDateOrder::automatic, 2);
    ASSERT_EQ(one.people.size(), two.people.size());
    ASSERT_EQ(one.families.size(), two.families.size());
    for (std::size_t i = 0; i < one.people.size(); ++i) {
        const Person& a = one.people[i];
        const Person& b = two.people[i];
        EXPECT_EQ(a.xref, b.xref);
        EXPECT_EQ(list(a.names), list(b.names));
        EXPECT_EQ(a.sex(), b.sex());
        ASSERT_EQ(a.events.size(), b.events.size());
        for (std::size_t e = 0; e < a.events.size(); ++e)
            EXPECT_EQ(a.events[e].range(), b.events[e].range());
        EXPECT_EQ(list(a.famc), list(b.famc));
        EXPECT_EQ(list(a.fams), list(b.fams));
    }
    for (std::size_t i = 0; i < one.families.size(); ++i)
        EXPECT_EQ(list(one.families[i].links), list(two.families[i].links));
    EXPECT_EQ(one.dateValues, two.dateValues);
    EXPECT_EQ(one.placeValues, two.placeValues);
    EXPECT_EQ(one.lines, two.lines);
    EXPECT_EQ(one.person(one.people.back().xref), &one.people.back());
}
