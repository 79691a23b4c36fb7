// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomDocument.h"
#include "document/GedcomReader.h"

#include <gtest/gtest.h>

using namespace kinloom;

namespace {

const char* const familyText = "0 HEAD\n"
                               "1 GEDC\n"
                               "2 VERS 5.5.1\n"
                               "0 @I1@ INDI\n"
                               "1 NAME John /Smith/\n"
                               "1 BIRT\n"
                               "2 DATE 12 MAR 1890\n"
                               "2 PLAC Leeds\n"
                               "1 NOTE A\n"
                               "2 CONC B\n"
                               "2 CONT C\n"
                               "2 SOUR x\n"
                               "0 @I2@ INDI\n"
                               "1 NAME Mary /Jones/\n"
                               "0 TRLR\n";

std::vector<std::string> rendered(const GedcomDocument& document)
{
    std::vector<std::string> out;
    document.walk([&](NodeView node, int depth) {
        out.push_back(node.raw() ? std::string(*node.raw()) : node.lines(depth).front());
    });
    return out;
}

} // namespace

TEST(GedcomNodeTest, FullValueJoinsContinuations)
{
    GedcomNode note(1, "NOTE", "A", std::nullopt,
                    {GedcomNode(2, "CONC", "B"), GedcomNode(3, "CONT", "C"), GedcomNode(4, "NOTE", "x"),
                     GedcomNode(5, "CONT"), GedcomNode(6, "CONC", "D")});
    EXPECT_EQ(note.fullValue(), "AB\nC\nD");

    const GedcomDocument document = GedcomReader::read(familyText);
    const NodeView readNote = *document.record(1).find(9);
    EXPECT_EQ(readNote.fullValue(), "AB\nC");
}

TEST(GedcomNodeTest, ValueChangesForgetRaw)
{
    const GedcomDocument document = GedcomReader::read("1 NAME John\n1 NOTE\n");
    GedcomNode name = document.record(0).toNode();
    GedcomNode note = document.record(1).toNode();

    name.setValue("John");
    EXPECT_EQ(name.raw(), "1 NAME John");
    note.setValue(std::nullopt);
    EXPECT_EQ(note.raw(), "1 NOTE");

    name.setValue("Jon");
    EXPECT_EQ(name.raw(), std::nullopt);
    note.setValue("");
    EXPECT_EQ(note.raw(), std::nullopt);

    GedcomNode tagged = document.record(0).toNode();
    tagged.setTag("_NAME");
    EXPECT_EQ(tagged.raw(), "1 NAME John");
}

TEST(GedcomNodeTest, LinesRenderFromFields)
{
    GedcomNode person(1, "INDI", std::nullopt, "@I1@",
                      {GedcomNode(2, "NAME", "A /B/"), GedcomNode(3, "NOTE", "")});
    EXPECT_EQ(person.lines(0), (std::vector<std::string>{"0 @I1@ INDI", "1 NAME A /B/", "1 NOTE "}));
    EXPECT_EQ(person.children()[0].lines(2), (std::vector<std::string>{"2 NAME A /B/"}));

    // A read node renders from its fields too, so odd spacing is normalised.
    const GedcomDocument document = GedcomReader::read("0   @I1@  INDI\n  1 SEX M\n");
    EXPECT_EQ(document.record(0).lines(0), (std::vector<std::string>{"0 @I1@ INDI", "1 SEX M"}));
}

TEST(GedcomNodeTest, FindAndUpdateOnOwnedNodes)
{
    GedcomNode person(1, "INDI", std::nullopt, "@I1@",
                      {GedcomNode(2, "BIRT", std::nullopt, std::nullopt, {GedcomNode(3, "DATE", "1890")})});
    EXPECT_EQ(person.find(3)->value(), "1890");
    EXPECT_EQ(person.find(4), std::nullopt);
    EXPECT_EQ(person.firstChild("BIRT")->id(), 2);
    EXPECT_EQ(person.firstChild("birt"), std::nullopt);

    const GedcomNode before = person;
    EXPECT_FALSE(person.update(9, [](GedcomNode& node) { node.setValue("x"); }));
    EXPECT_EQ(person, before);
    EXPECT_TRUE(person.update(3, [](GedcomNode& node) { node.setValue("1891"); }));
    EXPECT_EQ(person.find(3)->value(), "1891");

    std::vector<std::pair<std::int64_t, int>> visited;
    person.walk([&](const GedcomNode& node, int depth) { visited.emplace_back(node.id(), depth); });
    EXPECT_EQ(visited, (std::vector<std::pair<std::int64_t, int>>{{1, 0}, {2, 1}, {3, 2}}));
}

TEST(GedcomNodeTest, VersionFromHeader)
{
    struct Case
    {
        std::string header;
        GedcomVersion version;
        std::string display;
    };
    const Case cases[] = {
        {"0 HEAD\n1 GEDC\n2 VERS  7.0 \n", {GedcomVersion::V7{}}, "GEDCOM 7.0"},
        {"0 HEAD\n1 GEDC\n2 VERS 7.1\n", {GedcomVersion::V7{}}, "GEDCOM 7.0"},
        {"0 HEAD\n1 GEDC\n2 VERS 5.5.5\n", {GedcomVersion::V551{}}, "GEDCOM 5.5.1"},
        {"0 HEAD\n1 GEDC\n2 VERS 5.5\n", {GedcomVersion::V551{}}, "GEDCOM 5.5.1"},
        {"0 HEAD\n1 GEDC\n2 VERS 4.0\n", {GedcomVersion::Other{"4.0"}}, "GEDCOM 4.0"},
        {"0 HEAD\n1 SOUR x\n", {GedcomVersion::Other{""}}, "GEDCOM (version not stated)"},
        {"0 HEAD\n1 GEDC\n", {GedcomVersion::Other{""}}, "GEDCOM (version not stated)"},
        {"0 TRLR\n", {GedcomVersion::Other{""}}, "GEDCOM (version not stated)"},
        {"0 @I1@ INDI\n1 GEDC\n2 VERS 7.0\n0 HEAD\n1 GEDC\n2 VERS 5.5.1\n",
         {GedcomVersion::V551{}},
         "GEDCOM 5.5.1"},
    };
    for (const Case& c : cases) {
        const GedcomDocument document = GedcomReader::read(c.header);
        EXPECT_EQ(document.version(), c.version) << c.header;
        EXPECT_EQ(document.version().displayName(), c.display) << c.header;
    }
}

TEST(GedcomNodeTest, DocumentFindAndUpdate)
{
    GedcomDocument document = GedcomReader::read(familyText);
    EXPECT_EQ(document.find(7)->value(), "12 MAR 1890");
    EXPECT_EQ(document.find(99), std::nullopt);
    EXPECT_FALSE(document.update(99, [](GedcomNode&) {}));

    // Adding a line under a read node, then changing a line after it in the same record.
    const GedcomNode sex = document.newNode("SEX", "M");
    EXPECT_EQ(sex.id(), 16);
    EXPECT_EQ(document.nextID, 17);
    EXPECT_TRUE(document.update(6, [&](GedcomNode& birth) { birth.children().push_back(sex); }));
    EXPECT_TRUE(document.update(10, [](GedcomNode& conc) { conc.setValue("b"); }));

    EXPECT_EQ(rendered(document),
              (std::vector<std::string>{"0 HEAD", "1 GEDC", "2 VERS 5.5.1", "0 @I1@ INDI",
                                        "1 NAME John /Smith/", "1 BIRT", "2 DATE 12 MAR 1890", "2 PLAC Leeds",
                                        "2 SEX M", "1 NOTE A", "2 CONC b", "2 CONT C", "2 SOUR x",
                                        "0 @I2@ INDI", "1 NAME Mary /Jones/", "0 TRLR"}));
    EXPECT_EQ(document.record(1).find(9)->fullValue(), "Ab\nC");
    EXPECT_EQ(document.record(1).find(8)->raw(), "2 PLAC Leeds");

    // Removing a subtree shrinks every ancestor.
    EXPECT_TRUE(document.update(4, [](GedcomNode& person) {
        auto& children = person.children();
        children.erase(children.begin() + 1);
    }));
    EXPECT_EQ(document.record(1).subtreeSize(), 6u);
    EXPECT_EQ(document.record(2).tag(), "INDI");
}

TEST(GedcomNodeTest, CopiesShareRecordsUntilEdited)
{
    const GedcomDocument original = GedcomReader::read(familyText);
    GedcomDocument copy = original;
    EXPECT_EQ(copy, original);
    EXPECT_TRUE(copy.record(1) == original.record(1));

    ASSERT_TRUE(copy.update(7, [](GedcomNode& date) { date.setValue("1890"); }));
    EXPECT_NE(copy, original);
    EXPECT_EQ(original.find(7)->value(), "12 MAR 1890");
    EXPECT_EQ(copy.find(7)->value(), "1890");
    EXPECT_EQ(copy.find(7)->raw(), std::nullopt);
    // Only the edited record was cloned.
    EXPECT_FALSE(copy.record(1) == original.record(1));
    EXPECT_TRUE(copy.record(0) == original.record(0));
    EXPECT_TRUE(copy.record(2) == original.record(2));
}

TEST(GedcomNodeTest, RecordsAddedAndRemoved)
{
    GedcomDocument document = GedcomReader::read(familyText);
    GedcomNode family = document.newNode("FAM", std::nullopt, "@F1@");
    family.children().push_back(document.newNode("HUSB", "@I1@"));
    document.appendRecord(family);
    document.removeRecord(3);
    ASSERT_EQ(document.recordCount(), 4u);
    EXPECT_EQ(document.record(3).lines(0), (std::vector<std::string>{"0 @F1@ FAM", "1 HUSB @I1@"}));
    EXPECT_EQ(document.record(3).raw(), std::nullopt);
    EXPECT_EQ(document.record(3).toNode(), family);
    EXPECT_TRUE(document.hasWellFormedRecord());
    EXPECT_FALSE(GedcomReader::read("Hello, world!\r\n").hasWellFormedRecord());
    EXPECT_FALSE(GedcomReader::read("").hasWellFormedRecord());
}

TEST(GedcomNodeTest, ManyEditsKeepEveryCopyIntact)
{
    // Chunks of superseded records are let go along the way; every copy must still read.
    GedcomDocument document = GedcomReader::read(familyText);
    std::vector<GedcomDocument> history;
    for (int round = 0; round < 300; ++round) {
        history.push_back(document);
        ASSERT_TRUE(
            document.update(7, [&](GedcomNode& date) { date.setValue(std::to_string(1800 + round)); }));
        if (round % 50 == 0)
            document.appendRecord(document.newNode("NOTE", std::to_string(round)));
    }
    EXPECT_EQ(document.find(7)->value(), "2099");
    for (int round = 0; round < 300; round += 37)
        EXPECT_EQ(history[static_cast<std::size_t>(round)].find(7)->value(),
                  round == 0 ? "12 MAR 1890" : std::to_string(1800 + round - 1));
    EXPECT_EQ(GedcomReader::read("0 HEAD\n").record(0).tag(), "HEAD");
}

TEST(GedcomNodeTest, LocatorFindsReadAndEditedNodes)
{
    GedcomDocument document = GedcomReader::read(familyText);
    ASSERT_TRUE(document.update(
        2, [&](GedcomNode& gedc) { gedc.children().push_back(document.newNode("FORM", "x")); }));
    document.appendRecord(document.newNode("NOTE", "added"));
    document.removeRecord(2);
    const NodeLocator locator(document);
    struct Case
    {
        std::int64_t id;
        std::optional<std::size_t> record;
        std::string_view tag;
    };
    const Case cases[] = {{1, 0, "HEAD"},        {3, 0, "VERS"},         {16, 0, "FORM"},
                          {4, 1, "INDI"},        {12, 1, "SOUR"},        {15, 2, "TRLR"},
                          {17, 3, "NOTE"},       {13, std::nullopt, ""}, {14, std::nullopt, ""},
                          {0, std::nullopt, ""}, {99, std::nullopt, ""}};
    for (const Case& c : cases) {
        const auto place = locator.find(c.id);
        ASSERT_EQ(place.has_value(), c.record.has_value()) << c.id;
        if (!place)
            continue;
        EXPECT_EQ(place->record, *c.record) << c.id;
        EXPECT_EQ(place->node.id(), c.id);
        EXPECT_EQ(place->node.tag(), c.tag);
    }
    EXPECT_TRUE(document.update(1, 9, [](GedcomNode& note) { note.setValue("Z"); }));
    EXPECT_FALSE(document.update(0, 9, [](GedcomNode& note) { note.setValue("Z"); }));
    EXPECT_EQ(document.find(9)->value(), "Z");
    document.replaceRecord(3, document.newNode("NOTE", "replaced"));
    EXPECT_EQ(document.record(3).value(), "replaced");
}
