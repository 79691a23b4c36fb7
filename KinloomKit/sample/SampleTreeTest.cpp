// SPDX-License-Identifier: GPL-3.0-or-later
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <iterator>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

using namespace kinloom;

namespace {

struct Line
{
    int level = 0;
    std::string_view xref;
    std::string_view tag;
    std::optional<std::string_view> value;
};

// The strict shape the generator promises, narrower than what the reader accepts: a one- or
// two-digit level, one blank, an optional @label@ and blank, a tag, an optional blank and value.
std::optional<Line> parseLine(std::string_view text)
{
    Line line;
    std::size_t i = 0;
    while (i < text.size() && i < 3 && std::isdigit(static_cast<unsigned char>(text[i])))
        line.level = line.level * 10 + (text[i++] - '0');
    if (i == 0 || i > 2 || i >= text.size() || text[i] != ' ')
        return std::nullopt;
    // One line is planted with a doubled space after its level.
    while (i < text.size() && text[i] == ' ')
        ++i;
    if (i < text.size() && text[i] == '@') {
        const std::size_t close = text.find('@', i + 1);
        if (close == std::string_view::npos || close == i + 1 || close + 1 >= text.size() ||
            text[close + 1] != ' ')
            return std::nullopt;
        line.xref = text.substr(i, close + 1 - i);
        i = close + 2;
    }
    const std::size_t end = std::min(text.find(' ', i), text.size());
    line.tag = text.substr(i, end - i);
    if (line.tag.empty())
        return std::nullopt;
    if (end < text.size())
        line.value = text.substr(end + 1);
    return line;
}

bool isPointer(std::string_view value)
{
    return value.size() >= 3 && value.front() == '@' && value.back() == '@' &&
           value.substr(1, value.size() - 2).find_first_of("@ ") == std::string_view::npos;
}

struct Record
{
    std::string tag;
    std::vector<Line> lines; ///< the record's own lines, level 0 first
};

/// Splits the text into records, failing the test on the first line out of shape.
std::multimap<std::string, Record> records(std::string_view text, std::vector<Record>* unlabelled = nullptr)
{
    std::multimap<std::string, Record> byXref;
    EXPECT_TRUE(text.ends_with('\n'));
    Record* current = nullptr;
    Record scratch;
    int previousLevel = -1;
    std::size_t lineNumber = 0;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        const std::string_view raw = text.substr(start, end - start);
        start = end + 1;
        ++lineNumber;
        const auto line = parseLine(raw);
        if (!line) {
            ADD_FAILURE() << "line " << lineNumber << " is out of shape: " << raw;
            return byXref;
        }
        if (line->level > previousLevel + 1) {
            ADD_FAILURE() << "line " << lineNumber << " jumps a level: " << raw;
            return byXref;
        }
        previousLevel = line->level;
        if (line->level == 0) {
            if (line->xref.empty()) {
                if (unlabelled)
                    unlabelled->push_back({std::string(line->tag), {}});
                current = unlabelled ? &unlabelled->back() : &scratch;
            } else {
                current =
                    &byXref.emplace(std::string(line->xref), Record{std::string(line->tag), {}})->second;
            }
        }
        current->lines.push_back(*line);
    }
    return byXref;
}

/// Pointers in family and source links that name no record.
std::set<std::string> danglingPointers(const std::multimap<std::string, Record>& byXref)
{
    static const std::set<std::string_view> linkTags{"FAMS", "FAMC", "HUSB", "WIFE", "CHIL", "SOUR"};
    std::set<std::string> dangling;
    for (const auto& [xref, record] : byXref) {
        for (const Line& line : record.lines) {
            if (linkTags.contains(line.tag) && line.value && isPointer(*line.value) &&
                !byXref.contains(std::string(*line.value)))
                dangling.emplace(*line.value);
        }
    }
    return dangling;
}

std::set<std::string> repeatedXrefs(const std::multimap<std::string, Record>& byXref)
{
    std::set<std::string> repeated;
    for (const auto& [xref, record] : byXref) {
        if (byXref.count(xref) > 1)
            repeated.insert(xref);
    }
    return repeated;
}

std::optional<std::string_view> firstValue(const Record& record, std::string_view tag, int level = 1)
{
    for (const Line& line : record.lines) {
        if (line.level == level && line.tag == tag)
            return line.value ? *line.value : std::string_view();
    }
    return std::nullopt;
}

/// The four-digit numbers in the person's first birth date: its year, or both ends of a range.
std::vector<int> birthYears(const Record& person)
{
    std::vector<int> years;
    for (std::size_t i = 0; i + 1 < person.lines.size(); ++i) {
        if (person.lines[i].level != 1 || person.lines[i].tag != "BIRT" || person.lines[i + 1].tag != "DATE")
            continue;
        const std::string date(person.lines[i + 1].value.value_or(""));
        for (std::size_t at = 0; (at = date.find_first_of("0123456789", at)) != std::string::npos;) {
            const std::size_t end = std::min(date.find_first_not_of("0123456789", at), date.size());
            if (end - at == 4)
                years.push_back(std::stoi(date.substr(at, 4)));
            at = end;
        }
        break;
    }
    return years;
}

/// Characters beyond ASCII must be Latin-1 (two-byte UTF-8 led by C2 or C3) so that the tree can
/// be written as Windows-1252 or ANSEL as well.
bool onlyLatin1(std::string_view text)
{
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte < 0x80)
            continue;
        if ((byte != 0xC2 && byte != 0xC3) || i + 1 == text.size() ||
            (static_cast<unsigned char>(text[i + 1]) & 0xC0) != 0x80)
            return false;
        ++i;
    }
    return true;
}

std::size_t countOf(const std::multimap<std::string, Record>& byXref, std::string_view tag)
{
    return static_cast<std::size_t>(std::count_if(
        byXref.begin(), byXref.end(), [&](const auto& entry) { return entry.second.tag == tag; }));
}

} // namespace

TEST(SampleTreeTest, SampleIsWellFormedWithOnlyItsPlantedBrokenLinks)
{
    const std::string text = SampleTree::sampleText();
    ASSERT_TRUE(text.starts_with("0 HEAD\n1 SOUR Kinloom\n"));
    EXPECT_NE(text.find("\n1 CHAR UTF-8\n"), std::string::npos);
    EXPECT_NE(text.find("\n2 VERS 5.5.1\n"), std::string::npos);
    EXPECT_TRUE(text.ends_with("\n0 TRLR\n"));
    EXPECT_TRUE(onlyLatin1(text));

    const auto byXref = records(text);
    EXPECT_EQ(repeatedXrefs(byXref), std::set<std::string>{"@S3@"});
    EXPECT_EQ(danglingPointers(byXref), std::set<std::string>{"@S9@"});
    const std::size_t people = countOf(byXref, "INDI");
    EXPECT_GE(people, 35u);
    EXPECT_LE(people, 50u);
    EXPECT_EQ(byXref.find("@U1@")->second.tag, "SUBM");
}

TEST(SampleTreeTest, SampleDuplicatesAreTwoPeopleBornTheSameYear)
{
    const auto byXref = records(SampleTree::sampleText());
    for (const auto& pair : SampleTree::sampleDuplicates()) {
        ASSERT_TRUE(byXref.contains(pair.original)) << pair.original;
        ASSERT_TRUE(byXref.contains(pair.copy)) << pair.copy;
        const Record& original = byXref.find(pair.original)->second;
        const Record& copy = byXref.find(pair.copy)->second;
        EXPECT_EQ(original.tag, "INDI");
        EXPECT_EQ(copy.tag, "INDI");
        EXPECT_EQ(birthYears(original), birthYears(copy));
        EXPECT_EQ(firstValue(original, "SEX"), firstValue(copy, "SEX"));
        // The kept record is the fuller one.
        EXPECT_GT(original.lines.size(), copy.lines.size());
    }
}

TEST(SampleTreeTest, SyntheticTreeDependsOnlyOnItsSeed)
{
    const std::string first = SampleTree::syntheticText(300, 42);
    EXPECT_EQ(first, SampleTree::syntheticText(300, 42));
    EXPECT_NE(first, SampleTree::syntheticText(300, 43));
    EXPECT_EQ(SampleTree::syntheticTree(300, 42).text, first);
}

TEST(SampleTreeTest, SyntheticTreeIsWellFormedAndFullyLinked)
{
    for (const std::size_t people : {0u, 1u, 2u, 7u, 2000u}) {
        SCOPED_TRACE(people);
        const std::string text = SampleTree::syntheticText(people, 5);
        EXPECT_TRUE(text.starts_with("0 HEAD\n"));
        EXPECT_TRUE(text.ends_with("\n0 TRLR\n"));
        EXPECT_TRUE(onlyLatin1(text));
        const auto byXref = records(text);
        EXPECT_EQ(countOf(byXref, "INDI"), people);
        EXPECT_TRUE(repeatedXrefs(byXref).empty());
        EXPECT_TRUE(danglingPointers(byXref).empty());
    }
}

TEST(SampleTreeTest, SyntheticTreeHasTheIntendedSize)
{
    constexpr std::size_t people = 2000;
    const std::string text = SampleTree::syntheticText(people, 1);
    const auto lines = static_cast<double>(std::count(text.begin(), text.end(), '\n'));
    EXPECT_GT(lines / people, 27.0);
    EXPECT_LT(lines / people, 33.0);
    EXPECT_GT(static_cast<double>(text.size()) / people, 500.0);
    EXPECT_LT(static_cast<double>(text.size()) / people, 660.0);
}

TEST(SampleTreeTest, SyntheticTreeReportsWhatItPlanted)
{
    constexpr std::size_t people = 3000;
    const SampleTree::SyntheticTree tree = SampleTree::syntheticTree(people, 11);
    const auto byXref = records(tree.text);

    std::size_t withoutSex = 0;
    // Each family link as seen from the person and from the family; a one-way link is seen once.
    std::set<std::string> fromPeople;
    std::set<std::string> fromFamilies;
    for (const auto& [xref, record] : byXref) {
        for (const Line& line : record.lines) {
            if (line.level != 1 || !line.value)
                continue;
            const std::string target(*line.value);
            if (line.tag == "FAMS" || line.tag == "FAMC")
                fromPeople.insert(xref + (line.tag == "FAMS" ? " spouse in " : " child in ") + target);
            else if (line.tag == "HUSB" || line.tag == "WIFE" || line.tag == "CHIL")
                fromFamilies.insert(target + (line.tag == "CHIL" ? " child in " : " spouse in ") + xref);
        }
        if (record.tag == "INDI" && !firstValue(record, "SEX"))
            ++withoutSex;
    }
    std::vector<std::string> oneWay;
    std::set_symmetric_difference(fromPeople.begin(), fromPeople.end(), fromFamilies.begin(),
                                  fromFamilies.end(), std::back_inserter(oneWay));
    EXPECT_EQ(tree.missingSex, withoutSex);
    EXPECT_EQ(tree.oneWayLinks, oneWay.size());
    EXPECT_GT(tree.oddDates, 0u);
    EXPECT_GT(tree.placeVariants, 0u);

    // About one person in a hundred is a copy of a person before them, born the same year, or as
    // a copy from another source may give it: a year or two off, or before the next decade.
    EXPECT_GT(tree.duplicates.size(), people / 300);
    EXPECT_LT(tree.duplicates.size(), people / 30);
    for (const auto& pair : tree.duplicates) {
        ASSERT_TRUE(byXref.contains(pair.original) && byXref.contains(pair.copy));
        const Record& original = byXref.find(pair.original)->second;
        const Record& copy = byXref.find(pair.copy)->second;
        EXPECT_LT(std::stoi(pair.original.substr(2)), std::stoi(pair.copy.substr(2)));
        const std::vector<int> years = birthYears(original);
        const std::vector<int> copied = birthYears(copy);
        ASSERT_EQ(copied.size(), 1u) << pair.copy;
        ASSERT_FALSE(years.empty()) << pair.original;
        EXPECT_GE(copied[0], years.front() - 2) << pair.original << " " << pair.copy;
        EXPECT_LE(copied[0], years.back() + 10) << pair.original << " " << pair.copy;
    }
}

TEST(SampleTreeTest, SyntheticCopiesVaryTheirNamesInEveryPlantedWay)
{
    const SampleTree::SyntheticTree tree = SampleTree::syntheticTree(20'000, 3, true);
    const auto byXref = records(tree.text);
    std::map<std::string, std::size_t> variations;
    for (const auto& pair : tree.duplicates) {
        ++variations[pair.variation];
        const std::string_view name = *firstValue(byXref.find(pair.copy)->second, "NAME");
        // Cyrillic letters are two bytes led by D0 or D1.
        EXPECT_EQ(pair.variation == "name in Cyrillic letters", name.find('\xD0') != std::string_view::npos)
            << pair.copy << " " << name;
    }
    for (const char* variation :
         {"other form of the given name (either way)", "given names swapped", "called by the middle name",
          "initials", "surname alike by Daitch\u2013Mokotoff only", "name in Cyrillic letters"})
        EXPECT_GE(variations[variation], 3u) << variation;
    // Without other scripts the tree stays Latin-1, for the encodings that hold nothing else.
    EXPECT_TRUE(onlyLatin1(SampleTree::syntheticTree(20'000, 3).text));
}
