// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/DuplicateFinder.h"

#include "changes/FixApplier.h"
#include "changes/Merger.h"
#include "checks/Checks.h"
#include "checks/NameWords.h"
#include "checks/SoundCodes.h"
#include "document/GedcomReader.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <tuple>
#include <vector>

using namespace kinloom;
using DuplicateFinder::Candidate;
using DuplicateFinder::Candidates;
namespace finder = DuplicateFinder::detail;
using finder::Verdict;

namespace {

/// A document and its index, which refers into it: made in place and never moved.
struct Tree
{
    explicit Tree(std::string text)
        : document(GedcomReader::read(std::move(text))), index(TreeIndex::build(document))
    {}
    GedcomDocument document;
    TreeIndex index;
};

std::unique_ptr<Tree> treeOf(const std::string& records)
{
    return std::make_unique<Tree>("0 HEAD\n1 GEDC\n2 VERS 5.5.1\n1 CHAR UTF-8\n" + records + "0 TRLR\n");
}

finder::Comparison compareFirstTwo(const std::string& records)
{
    const auto tree = treeOf(records);
    const Candidates candidates = Candidates::build(tree->index);
    const Candidate* a = candidates.find("@I1@");
    const Candidate* b = candidates.find("@I2@");
    if (!a || !b) {
        ADD_FAILURE() << "no candidates in\n" << records;
        return {};
    }
    return finder::compare(*a, *b);
}

std::string person(const std::string& xref, const std::string& name, const std::string& rest = "")
{
    return "0 " + xref + " INDI\n1 NAME " + name + "\n" + rest;
}

TEST(DuplicateFinderText, NormalizesNames)
{
    const std::pair<std::string, std::string> cases[] = {
        {"John", "john"},
        {"  Mary \t Ann  ", "mary ann"},
        {"\u00C9mile", "emile"},           // É
        {"\uFF21\uFF22\uFF23", "abc"},     // fullwidth ＡＢＣ
        {"M\u00FCller", "muller"},         // ü
        {"Wei\u00DF", "weiss"},            // ß folds to two letters
        {"\u00D8rsted", "\u00F8rsted"},    // Ø has no decomposition: a letter of its own
        {"Jean-Baptiste", "jeanbaptiste"}, // dropped, not replaced
        {"O'Brien Jr.", "obrien jr"},
        {"John 2nd", "john 2nd"},      // digits are part of a name
        {"Mary\u00A0Ann", "mary ann"}, // no-break space is a blank
        {"\u00C5ke  \u00D6STERGAARD", "ake ostergaard"},
        {"Son_1 ,.", "son 1"}, // underscores join words
        {"Leopold_II of_Anhalt", "leopold ii of anhalt"},
        {"", ""},
    };
    for (const auto& [text, normalized] : cases)
        EXPECT_EQ(finder::normalizeName(text), normalized) << text;
}

TEST(DuplicateFinderText, SoundexOfClassicNames)
{
    const std::pair<std::string, std::string> cases[] = {
        {"Robert", "R163"},    {"Rupert", "R163"},   {"Rubin", "R150"},
        {"Ashcraft", "A261"},  {"Ashcroft", "A261"}, {"Tymczak", "T522"},
        {"Pfister", "P236"},   {"Honeyman", "H555"}, {"Jackson", "J250"},
        {"Gutierrez", "G362"}, {"Lee", "L000"},      {"muller", "M460"},
        {"mueller", "M460"},   {"o'hara", "O600"},   {"", ""},
        {"\u00F8", ""},
    };
    for (const auto& [surname, code] : cases)
        EXPECT_EQ(finder::soundex(surname), code) << surname;
}

TEST(DuplicateFinderText, JaroWinklerOfClassicPairs)
{
    const std::tuple<std::string, std::string, double> cases[] = {
        {"MARTHA", "MARHTA", 0.961},
        {"DWAYNE", "DUANE", 0.840},
        {"DIXON", "DICKSONX", 0.813},
        {"JELLYFISH", "SMELLYFISH", 0.896},
        {"CRATE", "TRACE", 0.733},
        {"ABC", "ABC", 1.0},
        {"ABC", "XYZ", 0.0},
        {"", "ABC", 0.0},
        // Characters, not bytes: ö is one character and differs from o.
        {"j\u00F6rg", "jorg", 0.85},
    };
    for (const auto& [a, b, expected] : cases) {
        EXPECT_NEAR(finder::jaroWinkler(a, b), expected, 0.0005) << a << " " << b;
        EXPECT_NEAR(finder::jaroWinkler(b, a), expected, 0.0005) << b << " " << a;
    }
}

TEST(DuplicateFinderText, GivenNameSimilarity)
{
    const std::tuple<std::string, std::string, double> cases[] = {
        {"john henry", "john henry", 1.0},
        {"john henry", "john", 0.92}, // the later given names differ
        {"wm", "william", 0.85},      // nickname
        {"bill henry", "will", 0.85}, // two nicknames of one name
        {"hannah", "hanna", 0.85},    // the table's row maps to the shorter spelling
        {"j", "john", 0.6},           // initial
        {"john", "j", 0.6},
        {"j", "mary", 0.0},
        {"martha", "marhta", 0.961 * 0.9}, // Jaro-Winkler, scaled
        {"john", "mary", 0.0},             // below 0.88
        {"", "john", 0.0},
    };
    for (const auto& [a, b, expected] : cases)
        EXPECT_NEAR(finder::givenNameSimilarity(a, b), expected, 0.0005) << a << " / " << b;
}

TEST(DuplicateFinderText, RoundingAndBands)
{
    const std::tuple<double, double, std::string_view> cases[] = {
        {0.63875, 0.64, "Possible"}, {0.8999, 0.9, "Very likely"}, {0.9, 0.9, "Very likely"},
        {0.895, 0.9, "Very likely"}, {0.8949, 0.89, "Likely"},     {0.8, 0.8, "Likely"},
        {0.7999, 0.8, "Likely"},     {0.794, 0.79, "Possible"},    {0.125, 0.13, "Possible"},
    };
    for (const auto& [raw, rounded, band] : cases) {
        EXPECT_DOUBLE_EQ(finder::roundScore(raw), rounded) << raw;
        DuplicateMatch match;
        match.score = finder::roundScore(raw);
        EXPECT_EQ(match.likelihood(), band) << raw;
    }
}

struct PairCase
{
    const char* what;
    std::string records;
    Verdict verdict;
    double score = 0;
    std::vector<std::string> reasons = {};
    std::vector<std::string> against = {};
};

void expectComparisons(std::span<const PairCase> cases)
{
    for (const PairCase& c : cases) {
        SCOPED_TRACE(c.what);
        const finder::Comparison comparison = compareFirstTwo(c.records);
        EXPECT_EQ(comparison.verdict, c.verdict);
        if (c.verdict != Verdict::match)
            continue;
        EXPECT_DOUBLE_EQ(comparison.match.score, c.score);
        EXPECT_EQ(comparison.match.reasons, c.reasons);
        EXPECT_EQ(comparison.match.against, c.against);
    }
}

TEST(DuplicateFinderScore, WorkedScoresAndRuleOuts)
{
    const std::string parents = "0 @F1@ FAM\n1 HUSB @I8@\n1 WIFE @I9@\n1 CHIL @I1@\n1 CHIL @I2@\n" +
                                person("@I8@", "Thomas /Smith/", "1 SEX M\n1 FAMS @F1@\n") +
                                person("@I9@", "Ann /Brown/", "1 SEX F\n1 FAMS @F1@\n");
    const PairCase cases[] = {
        {"nickname, same birth year",
         person("@I1@", "Wm /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n") +
             person("@I2@", "William /Smith/", "1 BIRT\n2 DATE 1850\n"),
         Verdict::match,
         0.62,
         {"Similar names (Wm Smith / William Smith)", "Nickname or other form: Wm for William",
          "Same birth year (1850)"}},
        {"nickname, same date and parents",
         person("@I1@", "Wm /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n1 FAMC @F1@\n") +
             person("@I2@", "William /Smith/", "1 BIRT\n2 DATE 12 mar 1850\n1 FAMC @F1@\n") + parents,
         Verdict::match,
         0.97,
         {"Similar names (Wm Smith / William Smith)", "Nickname or other form: Wm for William",
          "Same birth date (12 MAR 1850)", "Same parents"}},
        {"initial",
         person("@I1@", "J /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n"),
         Verdict::match,
         0.76,
         {"Similar names (J Smith / John Smith)", "Same birth date (12 MAR 1850)"}},
        {"same name and exact date",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n"),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"surnames alike only by their code",
         person("@I1@", "John /Clarke/", "1 BIRT\n2 DATE 1850\n2 PLAC Leeds,  Yorkshire\n") +
             person("@I2@", "John /Clark/", "1 BIRT\n2 DATE 1850\n2 PLAC leeds, yorkshire\n"),
         Verdict::match,
         0.74,
         {"Similar names (John Clarke / John Clark)", "Same birth year (1850)", "Same birthplace"}},
        {"birth years one apart weigh a little against",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 DEAT\n2 DATE 3 JAN 1900\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 1851\n1 BURI\n2 DATE 3 jan 1900\n"),
         Verdict::match,
         0.8,
         {"Same name", "Same death date (3 JAN 1900)"},
         {"Birth years one apart (1850, 1851)"}},
        {"an equal vague date agrees weakly",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE ABT 1850\n1 FAMC @F1@\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE ABT 1850\n1 FAMC @F1@\n") + parents,
         Verdict::match,
         0.84,
         {"Same name", "Same birth date (ABT 1850)", "Same parents"}},
        {"births two years apart in one family: siblings",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 FAMC @F1@\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 1852\n1 FAMC @F1@\n") + parents,
         Verdict::siblings},
        {"one parent with the same name is not enough",
         person("@I1@", "John /Smith/", "1 FAMC @F1@\n") + person("@I2@", "John /Smith/", "1 FAMC @F2@\n") +
             "0 @F1@ FAM\n1 HUSB @I8@\n0 @F2@ FAM\n1 HUSB @I9@\n" + person("@I8@", "Thomas /Smith/") +
             person("@I9@", "Thomas /Smith/"),
         Verdict::littleEvidence},
        {"parents and spouse with the same names",
         person("@I1@", "John /Smith/", "1 FAMC @F1@\n1 FAMS @F3@\n") +
             person("@I2@", "John /Smith/", "1 FAMC @F2@\n1 FAMS @F4@\n") +
             "0 @F1@ FAM\n1 HUSB @I5@\n1 WIFE @I6@\n0 @F2@ FAM\n1 HUSB @I7@\n1 WIFE @I8@\n"
             "0 @F3@ FAM\n1 HUSB @I1@\n1 WIFE @I10@\n0 @F4@ FAM\n1 HUSB @I2@\n1 WIFE @I11@\n" +
             person("@I5@", "Thomas /Smith/") + person("@I6@", "Ann /Brown/") +
             person("@I7@", "Thomas /Smith/") + person("@I8@", "Ann /Brown/") +
             person("@I10@", "Mary /Jones/") + person("@I11@", "Mary /Jones/"),
         Verdict::match,
         0.85,
         {"Same name", "Parents with the same names", "Spouse with the same name"}},
        {"a sex not known matches either",
         person("@I1@", "John /Smith/", "1 SEX M\n1 BIRT\n2 DATE 12 MAR 1850\n") +
             person("@I2@", "John /Smith/", "1 SEX U\n1 BIRT\n2 DATE 12 MAR 1850\n"),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"a man and a woman",
         person("@I1@", "John /Smith/", "1 SEX M\n1 BIRT\n2 DATE 12 MAR 1850\n1 FAMC @F1@\n") +
             person("@I2@", "John /Smith/", "1 SEX F\n1 BIRT\n2 DATE 12 MAR 1850\n1 FAMC @F1@\n") + parents,
         Verdict::differentSex},
        {"father and son of the same name",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 FAMS @F1@\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 FAMC @F1@\n") +
             "0 @F1@ FAM\n1 HUSB @I1@\n1 CHIL @I2@\n",
         Verdict::relatives},
        {"births three years apart",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n2 PLAC Leeds\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 1853\n2 PLAC Leeds\n"),
         Verdict::births},
        {"deaths years apart",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 DEAT\n2 DATE 1890\n") +
             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 1850\n1 DEAT\n2 DATE 1920\n"),
         Verdict::deaths},
        {"the name alone",
         person("@I1@", "John /Smith/", "1 SEX M\n") + person("@I2@", "John /Smith/", "1 SEX M\n"),
         Verdict::littleEvidence},
        {"given names too far apart",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n") +
             person("@I2@", "Mary /Smith/", "1 BIRT\n2 DATE 1850\n"),
         Verdict::givenNames},
        {"surnames with other codes",
         person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 1850\n") +
             person("@I2@", "John /Jones/", "1 BIRT\n2 DATE 1850\n"),
         Verdict::surnames},
    };
    expectComparisons(cases);
}

TEST(DuplicateFinderScore, WhatIsNotANameOrRulesOut)
{
    const std::string birth1850 = "1 BIRT\n2 DATE 12 MAR 1850\n";
    const std::string parents = "0 @F1@ FAM\n1 HUSB @I8@\n1 WIFE @I9@\n1 CHIL @I1@\n1 CHIL @I2@\n" +
                                person("@I8@", "Josephus /Dytko/", "1 SEX M\n1 FAMS @F1@\n") +
                                person("@I9@", "Agnes /Wantuch/", "1 SEX F\n1 FAMS @F1@\n");
    auto child = [&](const std::string& xref, const std::string& born, const std::string& died = "") {
        return person(xref, "Josephus /Dytko/",
                      "1 BIRT\n2 DATE " + born + "\n" +
                          (died.empty() ? "" : "1 DEAT\n2 DATE " + died + "\n") + "1 FAMC @F1@\n");
    };
    const PairCase cases[] = {
        {"a title is not a given name",
         person("@I1@", "Mrs. Marianna /Topolski/", birth1850) +
             person("@I2@", "Mrs. Regina /Topolski/", birth1850),
         Verdict::givenNames},
        {"titles dropped, with or without a full stop",
         person("@I1@", "Mrs. Marianna /Topolski/", birth1850) +
             person("@I2@", "MRS Marianna /Topolski/", birth1850),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"the name's prefix and suffix parts dropped",
         person("@I1@", "Rt Hon John Esq /Smith/", "2 NPFX Rt Hon\n2 NSFX Esq\n" + birth1850) +
             person("@I2@", "John /Smith/", birth1850),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"names that differ in a number",
         person("@I1@", "Henry_1 /Tudor/", birth1850) + person("@I2@", "Henry_2 /Tudor/", birth1850),
         Verdict::givenNames},
        {"an ordinal in figures in one name only is no evidence",
         person("@I1@", "John 2nd /Smith/", birth1850) + person("@I2@", "John /Smith/", birth1850),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"the same number",
         person("@I1@", "John 2 /Smith/", birth1850) + person("@I2@", "John 2 /Smith/", birth1850),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"died a week old, before a sibling of one name was born",
         child("@I1@", "9 FEB 1843", "15 FEB 1843") + child("@I2@", "19 FEB 1844") + parents,
         Verdict::siblings},
        {"the one who died comes second",
         child("@I1@", "19 FEB 1844") + child("@I2@", "9 FEB 1843", "15 FEB 1843") + parents,
         Verdict::siblings},
        {"a death year wholly before a sibling's birth year",
         child("@I1@", "1843", "1843") + child("@I2@", "1844") + parents, Verdict::siblings},
        {"a death in the year of the birth may be after it",
         child("@I1@", "1844", "1844") + child("@I2@", "1844") + parents,
         Verdict::match,
         0.94,
         {"Same name", "Same birth year (1844)", "Same parents"}},
        {"an approximate death and siblings' births a year apart",
         child("@I1@", "1843", "ABT 1843") + child("@I2@", "1844") + parents, Verdict::siblings},
        {"a death open towards the future, siblings' births a year apart",
         child("@I1@", "1843", "AFT 1843") + child("@I2@", "1844") + parents, Verdict::siblings},
        {"Cyrillic surnames that differ",
         person("@I1@", "\u0418\u0432\u0430\u043D /\u0418\u0432\u0430\u043D\u043E\u0432/", birth1850) +
             person("@I2@", "\u0418\u0432\u0430\u043D /\u041F\u0435\u0442\u0440\u043E\u0432/", birth1850),
         Verdict::surnames},
        {"Greek surnames that differ",
         person("@I1@", "\u0393\u03B9\u03AC\u03BD\u03BD\u03B7\u03C2 /\u03A0\u03B1\u03C0\u03AC\u03C2/",
                birth1850) +
             person("@I2@", "\u0393\u03B9\u03AC\u03BD\u03BD\u03B7\u03C2 /\u039D\u03C4\u03CC\u03C2/",
                    birth1850),
         Verdict::surnames},
        {"Cyrillic surnames equal",
         person("@I1@", "\u0418\u0432\u0430\u043D /\u0418\u0432\u0430\u043D\u043E\u0432/", birth1850) +
             person("@I2@", "\u0418\u0432\u0430\u043D /\u0418\u0412\u0410\u041D\u041E\u0412/", birth1850),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (12 MAR 1850)"}},
        {"parents named by a placeholder are no evidence",
         person("@I1@", "John /Smith/", "1 FAMC @F1@\n") + person("@I2@", "John /Smith/", "1 FAMC @F2@\n") +
             "0 @F1@ FAM\n1 HUSB @I8@\n1 WIFE @I10@\n0 @F2@ FAM\n1 HUSB @I9@\n1 WIFE @I11@\n" +
             person("@I8@", "LIVING") + person("@I9@", "Living") + person("@I10@", "Private /Smith/") +
             person("@I11@", "Private /Smith/"),
         Verdict::littleEvidence},
    };
    expectComparisons(cases);
}

TEST(DuplicateFinderScore, PlaceholdersNeverMatch)
{
    // Two children of one family with the same name and birth date: a certain match, unless the
    // name is a placeholder.
    const std::pair<std::string, bool> cases[] = {
        {"LIVING", true},
        {"Living /Smith/", true},
        {"[Living]", true},
        {"Private", true},
        {"Unknown", true},
        {"NN /Smith/", true},
        {"N.N.", true},
        {"?", true},
        {"_", true},
        {"Son", true},
        {"Son_2", true},
        {"Dau.", true},
        {"Daughter 1", true},
        {"Child_#3", true},
        {"Twin-Boy_1", true},
        {"Son (stillborn)", true},
        {"Unknown_Dau.", true},
        {"5sons_1dau", true},
        {"Infant", true},
        {"Baby", true},
        {"Stillborn", true},
        {"Unnamed", true},
        {"Unbekannt", true},
        {"Tochter", true},
        {"Totgeburt", true},
        {"Fille", true},
        {"B\u00E9b\u00E9", true},
        {"Mort-n\u00E9", true},
        {"Zoon", true},
        {"Levenloos", true},
        {"Hijo", true},
        {"Desconocida", true},
        {"C\u00F3rka", true},
        {"Nieznany", true},
        {"Filius", true},
        {"Infans", true},
        {"N. N.", true},
        {"J", false},
        {"J. R.", false},
        {"John", false},
        {"Sophie (twin)", false},
        {"Baby Jane", false},
        {"Nina", false},
        {"Mrs. Marianna", false},
    };
    for (const auto& [name, placeholder] : cases) {
        const std::string given = name.substr(0, name.find(" /"));
        EXPECT_EQ(NameWords::isPlaceholderName(given), placeholder) << name;
        const std::string rest = "1 SEX M\n1 BIRT\n2 DATE 12 MAR 1850\n1 FAMC @F1@\n";
        const auto tree = treeOf(person("@I1@", name, rest) + person("@I2@", name, rest) +
                                 "0 @F1@ FAM\n1 CHIL @I1@\n1 CHIL @I2@\n");
        EXPECT_EQ(DuplicateFinder::find(tree->index, 0.65).size(), placeholder ? 0u : 1u) << name;
    }
}

TEST(DuplicateFinderCandidates, WhatACandidateHolds)
{
    const auto tree =
        treeOf(person("@I1@", "J\u00F6rg  Peter /M\u00FCller/",
                      "1 SEX m\n1 BIRT\n2 PLAC Ulm\n1 CHR\n2 DATE 3 MAR 1850\n2 PLAC M\u00FCnchen,  Bayern,\n"
                      "1 BURI\n2 DATE 1901\n1 FAMC @F1@\n1 FAMS @F2@\n") +
               person("@I2@", "Anna /Huber/", "1 SEX F\n1 BIRT\n2 DATE ABT 1825\n1 FAMS @F1@\n") +
               person("@I3@", "Georg /M\u00FCller/", "1 BIRT\n1 DEAT\n2 DATE 1890\n1 FAMC @F1@\n") +
               person("@I4@", "Eva Maria Weber", "1 FAMS @F2@\n") +
               person("@I5@", "Hans /Muller/", "1 FAMC @F2@\n") + person("@I6@", "/Muller/") +
               "0 @I7@ INDI\n1 SEX M\n" +
               "0 @F1@ FAM\n1 WIFE @I2@\n1 CHIL @I1@\n1 CHIL @I3@\n"
               "0 @F2@ FAM\n1 HUSB @I1@\n1 WIFE @I4@\n1 CHIL @I5@\n");
    const Candidates candidates = Candidates::build(tree->index);
    // No given name, no candidate; a name without surname is read a second time with its last
    // word as the surname.
    EXPECT_EQ(candidates.list.size(), 6u);
    EXPECT_EQ(candidates.find("@I6@"), nullptr);
    EXPECT_EQ(candidates.find("@I7@"), nullptr);

    const Candidate& j = *candidates.find("@I1@");
    EXPECT_EQ(j.given, "jorg peter");
    EXPECT_EQ(j.surname, "muller");
    EXPECT_EQ(j.surnameCode, "M460");
    EXPECT_EQ(j.sex, 'M');
    EXPECT_EQ(j.order, 0u);
    EXPECT_EQ(j.size, 12u); // lines in the record
    // A BIRT without a date gives way to the CHR, whose place is the birthplace.
    ASSERT_TRUE(j.birth);
    EXPECT_EQ(j.birth->date, "3 MAR 1850");
    EXPECT_EQ(j.birthPlace, "munchen,bayern");
    ASSERT_TRUE(j.death);
    EXPECT_EQ(j.death->date, "1901");
    EXPECT_EQ(std::vector<std::string_view>(j.famc.begin(), j.famc.end()),
              (std::vector<std::string_view>{"@F1@"}));
    ASSERT_EQ(j.parents.size(), 1u);
    EXPECT_EQ(j.parents[0].name(), "anna huber");
    EXPECT_EQ(j.parents[0].given(), "anna");
    EXPECT_EQ(j.fathers, 0u);
    ASSERT_EQ(j.spouses.size(), 1u);
    EXPECT_EQ(j.spouses[0].name(), "eva maria weber");
    ASSERT_EQ(j.children.size(), 1u);
    EXPECT_EQ(j.children[0].person->xref, "@I5@");
    // Parents, spouses and children; a brother is no relative, so that a child entered twice in
    // one family can still be found.
    EXPECT_EQ(std::vector<std::string_view>(j.relatives.begin(), j.relatives.end()),
              (std::vector<std::string_view>{"@I2@", "@I4@", "@I5@"}));

    const Candidate& georg = *candidates.find("@I3@");
    EXPECT_EQ(georg.sex, 0);
    EXPECT_FALSE(georg.birth); // a BIRT with no date has no range
    EXPECT_FALSE(georg.birthPlace);
    EXPECT_EQ(georg.death->date, "1890");

    const Candidate& eva = *candidates.find("@I4@");
    EXPECT_EQ(eva.given, "eva maria weber"); // no slashes: all given names
    EXPECT_EQ(eva.surname, "");
    EXPECT_EQ(eva.surnameCode, "");
    const Candidate& other = candidates.list.back();
    EXPECT_TRUE(other.surnameFromGiven);
    EXPECT_EQ(other.given, "eva maria");
    EXPECT_EQ(other.surname, "weber");
}

TEST(DuplicateFinderScore, KeepsTheLargerRecordThenTheFirst)
{
    const std::string same = "1 BIRT\n2 DATE 12 MAR 1850\n";
    const std::string larger = same + "1 OCCU Miner\n";
    // @I2@ comes first in the file, so that file order is not the order of the xrefs.
    const std::tuple<std::string, std::string, std::string> cases[] = {
        {same, same, "@I2@"},   // equal size: the first in the file
        {same, larger, "@I1@"}, // the larger, wherever it is
        {larger, same, "@I2@"},
    };
    for (const auto& [first, second, kept] : cases) {
        const auto tree =
            treeOf(person("@I2@", "John /Smith/", first) + person("@I1@", "John /Smith/", second));
        const std::vector<DuplicateMatch> matches = DuplicateFinder::find(tree->index, 0.65);
        ASSERT_EQ(matches.size(), 1u);
        EXPECT_EQ(matches[0].keep, kept);
        EXPECT_EQ(matches[0].remove, kept == "@I1@" ? "@I2@" : "@I1@");
        const Candidates candidates = Candidates::build(tree->index);
        EXPECT_EQ(finder::compare(*candidates.find("@I1@"), *candidates.find("@I2@")).match, matches[0]);
        EXPECT_EQ(finder::compare(*candidates.find("@I2@"), *candidates.find("@I1@")).match, matches[0]);
    }
}

TEST(DuplicateFinderScore, ThresholdIsInclusive)
{
    const auto tree = treeOf(person("@I1@", "John /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n") +
                             person("@I2@", "John /Smith/", "1 BIRT\n2 DATE 12 MAR 1850\n"));
    EXPECT_EQ(DuplicateFinder::find(tree->index, 0.85).size(), 1u);
    EXPECT_TRUE(DuplicateFinder::find(tree->index, 0.86).empty());
}

// What tells two of one name apart weighs against them, and the reasons say so.
TEST(DuplicateFinderScore, EvidenceAgainst)
{
    const std::string village = "2 PLAC Burzyn\n";
    auto family = [](const std::string& n, const std::string& father, const std::string& mother) {
        return "0 @F" + n + "@ FAM\n1 HUSB @H" + n + "@\n1 WIFE @W" + n + "@\n" +
               person("@H" + n + "@", father, "1 SEX M\n") + person("@W" + n + "@", mother, "1 SEX F\n");
    };
    const std::string twoFamilies =
        family("1", "Jan /Wantuch/", "Maria /Koziol/") + family("2", "Jan /Wantuch/", "Agnieszka /Mroz/");
    const PairCase cases[] = {
        {"namesakes of one village: other days, other mothers",
         person("@I1@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 6 JAN 1845\n" + village + "1 FAMC @F1@\n") +
             person("@I2@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 14 JAN 1845\n" + village + "1 FAMC @F2@\n") +
             twoFamilies,
         Verdict::match,
         0.06,
         {"Same name", "Same birthplace"},
         {"Different birth dates (6 JAN 1845 / 14 JAN 1845)",
          "Different parents: Jan Wantuch and Maria Koziol / Jan Wantuch and Agnieszka Mroz"}},
        {"other months of one year",
         person("@I1@", "Agnes /Wantuch/", "1 BIRT\n2 DATE MAR 1845\n" + village) +
             person("@I2@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 14 JUN 1845\n" + village),
         Verdict::match,
         0.2,
         {"Same name", "Same birthplace"},
         {"Different birth dates (MAR 1845 / 14 JUN 1845)"}},
        {"the same day written in two ways",
         person("@I1@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 6 JAN 1845\n") +
             person("@I2@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 6 Jan 1845\n"),
         Verdict::match,
         0.85,
         {"Same name", "Same birth date (6 JAN 1845)"}},
        {"born and christened days apart",
         person("@I1@", "Agnes /Wantuch/", "1 BIRT\n2 DATE 6 JAN 1845\n") +
             person("@I2@", "Agnes /Wantuch/", "1 CHR\n2 DATE 9 JAN 1845\n"),
         Verdict::match,
         0.53,
         {"Same name", "Birth and christening close (6 JAN 1845 / 9 JAN 1845)"}},
        {"died on other days",
         person("@I1@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 3 MAY 1900\n") +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 20 MAY 1900\n"),
         Verdict::match,
         0.26,
         {"Same name", "Same birth year (1845)"},
         {"Different death dates (3 MAY 1900 / 20 MAY 1900)"}},
        {"died on days of neighbouring years",
         person("@I1@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 26 SEP 1899\n") +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 18 NOV 1900\n"),
         Verdict::match,
         0.26,
         {"Same name", "Same birth year (1845)"},
         {"Different death dates (26 SEP 1899 / 18 NOV 1900)"}},
        {"a death year miscopied keeps its day",
         person("@I1@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 3 MAY 1899\n") +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 DEAT\n2 DATE 3 MAY 1900\n"),
         Verdict::match,
         0.59,
         {"Same name", "Same birth year (1845)"},
         {"Death years one apart (1899, 1900)"}},
        {"other spouses",
         person("@I1@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 FAMS @F1@\n") +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 FAMS @F2@\n") +
             "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @W1@\n0 @F2@ FAM\n1 HUSB @I2@\n1 WIFE @W2@\n" +
             person("@W1@", "Maria /Koziol/") + person("@W2@", "Zofia /Mroz/"),
         Verdict::match,
         0.41,
         {"Same name", "Same birth year (1845)"},
         {"Different spouses: Maria Koziol / Zofia Mroz"}},
        {"other ordinals",
         person("@I1@", "Henry_VII //", "1 BIRT\n2 DATE 1457\n") +
             person("@I2@", "Henry_VIII //", "1 BIRT\n2 DATE 1457\n"),
         Verdict::match,
         0.06,
         {"Same name", "Same birth year (1457)"},
         {"Different ordinals (VII / VIII)"}},
        {"the elder and the younger",
         person("@I1@", "John /Smith/ Sr.", "1 BIRT\n2 DATE 1850\n") +
             person("@I2@", "John the Younger /Smith/", "1 BIRT\n2 DATE 1850\n"),
         Verdict::match,
         0.11,
         {"Same name", "Same birth year (1850)"},
         {"One the elder, one the younger"}},
        {"nicknames that tell them apart",
         person("@I1@", "Ivan \"Khromoy\" /Buturlin/", "1 BIRT\n2 DATE 1450\n") +
             person("@I2@", "Ivan \"Buturlya\" /Buturlin/", "1 BIRT\n2 DATE 1450\n"),
         Verdict::match,
         0.26,
         {"Same name", "Same birth year (1450)"},
         {"Different nicknames (Khromoy / Buturlya)"}},
    };
    expectComparisons(cases);
}

// People of one family never make one person, but for a child entered twice.
TEST(DuplicateFinderScore, RelativesAreNeverOnePerson)
{
    auto line = [](int generations) {
        // Edmund, his son Roger, …, down to an Edmund `generations` below the first.
        std::string text;
        for (int g = 0; g <= generations; ++g) {
            const std::string xref = g == 0             ? "@I1@"
                                     : g == generations ? "@I2@"
                                                        : "@A" + std::to_string(g) + "@";
            const std::string name = g == 0 || g == generations ? "Edmund /Mortimer/" : "Roger /Mortimer/";
            std::string rest = "1 SEX M\n1 DEAT\n2 DATE 1381\n";
            if (g > 0)
                rest += "1 FAMC @G" + std::to_string(g) + "@\n";
            if (g < generations)
                rest += "1 FAMS @G" + std::to_string(g + 1) + "@\n";
            text += person(xref, name, rest);
            if (g > 0) {
                const std::string parent = g == 1 ? "@I1@" : "@A" + std::to_string(g - 1) + "@";
                text += "0 @G" + std::to_string(g) + "@ FAM\n1 HUSB " + parent + "\n1 CHIL " + xref + "\n";
            }
        }
        return text;
    };
    const std::string born1845 = "1 BIRT\n2 DATE 6 JAN 1845\n1 FAMC @F1@\n";
    const std::string children = "0 @F1@ FAM\n1 CHIL @I1@\n1 CHIL @I2@\n";
    const PairCase cases[] = {
        {"brothers of one name",
         person("@I1@", "Jan /Wantuch/", born1845) +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1847\n1 FAMC @F1@\n") + children,
         Verdict::siblings},
        {"brothers told apart by their middle names",
         person("@I1@", "Johann Georg /Huber/", born1845) +
             person("@I2@", "Johann Adam /Huber/", "1 FAMC @F1@\n") + children,
         Verdict::siblings},
        {"a child entered twice",
         person("@I1@", "Jan /Wantuch/", born1845) + person("@I2@", "Jan /Wantuch/", born1845) + children,
         Verdict::match,
         0.98,
         {"Same name", "Same birth date (6 JAN 1845)", "Same parents"}},
        {"a child entered twice, once with the year only",
         person("@I1@", "Jan /Wantuch/", born1845) +
             person("@I2@", "Jan /Wantuch/", "1 BIRT\n2 DATE 1845\n1 FAMC @F1@\n") + children,
         Verdict::match,
         0.94,
         {"Same name", "Same birth year (1845)", "Same parents"}},
        {"grandfather and grandson", line(2), Verdict::relatives},
        {"great-great-grandfather", line(4), Verdict::relatives},
        {"five generations apart are no longer looked for",
         line(5),
         Verdict::match,
         0.57,
         {"Same name", "Same death year (1381)"}},
        {"father-in-law and son-in-law",
         person("@I1@", "John /Smith/", "1 SEX M\n1 BIRT\n2 DATE 1850\n1 FAMS @F1@\n") +
             person("@I2@", "John /Smith/", "1 SEX M\n1 BIRT\n2 DATE 1850\n1 FAMS @F2@\n") +
             "0 @F1@ FAM\n1 HUSB @I1@\n1 CHIL @D1@\n0 @F2@ FAM\n1 HUSB @I2@\n1 WIFE @D1@\n" +
             person("@D1@", "Mary /Smith/", "1 SEX F\n1 FAMC @F1@\n1 FAMS @F2@\n"),
         Verdict::relatives},
    };
    expectComparisons(cases);
}

// Ranges agree weakly when they overlap narrowly, say nothing when wide, and weigh against or
// rule out when apart.
TEST(DuplicateFinderScore, DatesAsRanges)
{
    const std::string place = "2 PLAC Hull\n";
    auto pair = [&](const std::string& a, const std::string& b) {
        return person("@I1@", "John /Smith/", "1 BIRT\n2 DATE " + a + "\n" + place) +
               person("@I2@", "John /Smith/", "1 BIRT\n2 DATE " + b + "\n" + place);
    };
    const PairCase cases[] = {
        {"about a year and the year after",
         pair("ABT 1850", "1851"),
         Verdict::match,
         0.79,
         {"Same name", "Birth dates agree (ABT 1850 / 1851)", "Same birthplace"}},
        {"a dual year and its later year",
         pair("1750/51", "1751"),
         Verdict::match,
         0.79,
         {"Same name", "Birth dates agree (1750/51 / 1751)", "Same birthplace"}},
        {"a range of twenty years says nothing",
         pair("BET 1840 AND 1860", "1850"),
         Verdict::match,
         0.5,
         {"Same name", "Same birthplace"}},
        {"before a year and that year",
         pair("BEF 1850", "1849"),
         Verdict::match,
         0.5,
         {"Same name", "Same birthplace"}},
        {"about a year and four years later",
         pair("ABT 1850", "1854"),
         Verdict::match,
         0.41,
         {"Same name", "Same birthplace"},
         {"Birth dates apart (ABT 1850 / 1854)"}},
        {"about a year and six years later", pair("ABT 1850", "1856"), Verdict::births},
        {"before a year and two years later", pair("BEF 1850", "1852"), Verdict::births},
        {"years two apart",
         pair("1850", "1852"),
         Verdict::match,
         0.33,
         {"Same name", "Same birthplace"},
         {"Birth years two apart (1850, 1852)"}},
    };
    expectComparisons(cases);
}

/// The pairs `find` reports in a tree, each as "keep remove".
std::vector<std::string> pairsFound(const std::string& records)
{
    const auto tree = treeOf(records);
    std::vector<std::string> found;
    for (const DuplicateMatch& match : DuplicateFinder::find(tree->index, 0.65))
        found.push_back(match.keep + " " + match.remove);
    return found;
}

// A name is read wherever the slashes put its surname, both ways round in the file.
TEST(DuplicateFinderNames, SurnameInAnotherField)
{
    const std::string born = "1 SEX F\n1 BIRT\n2 DATE 3 MAR 1320\n1 DEAT\n2 DATE 1372\n";
    const std::pair<std::string, std::string> names[] = {
        {"Maud (de) CHAWORTH //", "Maud /(de) CHAWORTH/"},
        {"Maud Chaworth //", "Maud /Chaworth/"},
        {"Beatrix of ANGUS //", "Beatrix /Angus/"},
        {"Sancha de /LARA/", "Sancha /de LARA/"},
        {"Sophia of_Hanover //", "Sophia /Hanover/"},
        {"Maud Countess of Lancaster /Chaworth/", "Maud /Chaworth/"},
        {"Maud the Elder /Chaworth/", "Maud /Chaworth/"},
        {"Laurentia /Chaworth/", "Laurentiae /Chaworth/"},
    };
    for (const auto& [one, other] : names) {
        for (const bool swapped : {false, true}) {
            SCOPED_TRACE(one + (swapped ? " after " : " before ") + other);
            EXPECT_EQ(pairsFound(person("@I1@", swapped ? other : one, born) +
                                 person("@I2@", swapped ? one : other, born)),
                      (std::vector<std::string>{"@I1@ @I2@"}));
        }
    }
    // Names alike in nothing but a first given name stay apart.
    EXPECT_TRUE(
        pairsFound(person("@I1@", "Mary of Anjou //", born) + person("@I2@", "Marie of Gueldres //", born))
            .empty());
}

// Copies of a couple vouch for each other: one who is only named and married is found through the
// spouse, the two families are one couple, and applying every fix in one batch leaves one family.
TEST(DuplicateFinderChecks, DoubledCouple)
{
    const std::string records =
        person("@I1@", "Andreas /Leiningen/", "1 SEX M\n1 BIRT\n2 DATE 27 NOV 1955\n1 FAMS @F1@\n") +
        person("@I2@", "Alexandra /Hanover/", "1 SEX F\n1 BIRT\n2 DATE 18 FEB 1959\n1 FAMS @F1@\n") +
        "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n1 MARR\n2 DATE 1981\n" +
        person("@I3@", "Andreas //", "1 SEX M\n1 FAMS @F2@\n") +
        person("@I4@", "Alexandra of_Hanover //", "1 SEX F\n1 BIRT\n2 DATE 1959\n1 FAMS @F2@\n") +
        "0 @F2@ FAM\n1 HUSB @I3@\n1 WIFE @I4@\n1 MARR\n2 DATE 1981\n1 CHIL @I5@\n" +
        person("@I5@", "Ferdinand /Leiningen/", "1 SEX M\n1 FAMC @F2@\n");
    const auto tree = treeOf(records);
    const std::vector<Issue> issues = Checks::duplicates(tree->index, tree->document, ScanOptions{});
    std::vector<std::string> ids;
    std::vector<Fix> fixes;
    for (const Issue& issue : issues) {
        ids.push_back(issue.id);
        fixes.push_back(*issue.fix);
    }
    EXPECT_EQ(ids, (std::vector<std::string>{"dup-@I2@-@I4@", "dup-@I1@-@I3@", "dupfam-@F1@-@F2@"}));
    ASSERT_EQ(issues.size(), 3u);
    EXPECT_EQ(issues[1].match->reasons,
              (std::vector<std::string>{"Similar names (Andreas Leiningen / Andreas)",
                                        "Spouses likely one person too"}));
    EXPECT_EQ(issues[2].detail,
              "@F1@ FAM and @F2@ FAM are likely the same couple: each spouse is likely one person.");

    // "Keep This One" turns the merge round and back; the id, and so the tick, stays.
    const std::optional<Issue> other = Checks::keepingOther(issues[1], tree->document);
    ASSERT_TRUE(other);
    EXPECT_EQ(other->fix->id, issues[1].fix->id);
    EXPECT_EQ(other->fix->title, "Merge @I1@ into @I3@");
    EXPECT_EQ(other->fix->edits, (std::vector<Edit>{Edit::Merge{"@I3@", "@I1@"}}));
    EXPECT_EQ(other->match->keep, "@I3@");
    EXPECT_EQ(Checks::keepingOther(*other, tree->document), issues[1]);
    EXPECT_FALSE(Checks::keepingOther(issues[2], tree->document));

    // Each side's relatives, marked by what the other side has.
    using enum DuplicateFinder::Kin::Agreement;
    const auto kin = DuplicateFinder::kinOf(tree->document, "@I1@", "@I3@");
    EXPECT_EQ(kin[0].spouses, (std::vector<DuplicateFinder::Kin>{
                                  {"@I2@", "Alexandra Hanover", "b. 18 FEB 1959", alikeName}}));
    EXPECT_EQ(kin[1].spouses,
              (std::vector<DuplicateFinder::Kin>{{"@I4@", "Alexandra of_Hanover", "b. 1959", alikeName}}));
    EXPECT_EQ(kin[1].children,
              (std::vector<DuplicateFinder::Kin>{{"@I5@", "Ferdinand Leiningen", "", onlyHere}}));
    EXPECT_TRUE(kin[0].children.empty() && kin[0].parents.empty() && kin[1].parents.empty());
    EXPECT_EQ(DuplicateFinder::kinOf(tree->document, "@I5@", "@I5@")[0].parents,
              (std::vector<DuplicateFinder::Kin>{{"@I3@", "Andreas", "", sameRecord},
                                                 {"@I4@", "Alexandra of_Hanover", "b. 1959", sameRecord}}));

    const ApplyResult result = FixApplier::apply(fixes, tree->document, 1);
    const TreeIndex merged = TreeIndex::build(result.document);
    ASSERT_EQ(merged.families.size(), 1u);
    EXPECT_EQ(merged.families[0].husband, "@I1@");
    EXPECT_EQ(merged.families[0].wife, "@I2@");
    EXPECT_EQ(merged.families[0].children.size(), 1u);
    EXPECT_EQ(merged.people.size(), 3u);
}

/// A tree made to strain the blocking: few names, so that many pairs compete, and births of every
/// kind: exact, year only, vague, open at one end, wide, unreadable and missing.
std::string crowdedTree(unsigned seed, int people)
{
    std::mt19937 random(seed);
    auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const char* given[] = {"John", "Jno", "J", "William", "Wm", "Will", "Mary", "Polly", "Marie", "Johan"};
    const char* surnames[] = {"Smith", "Smyth", "Schmidt", "Clark", "Clarke", "Schmitt"};
    std::string text;
    for (int i = 1; i <= people; ++i) {
        const int year = 1840 + below(20);
        std::string birth;
        switch (below(10)) {
        case 0:
            birth = "ABT " + std::to_string(year);
            break;
        case 1:
            birth = "BEF " + std::to_string(year);
            break;
        case 2:
            birth = "AFT " + std::to_string(year);
            break;
        case 3:
            birth = "BET " + std::to_string(year) + " AND " + std::to_string(year + below(12));
            break;
        case 4:
            birth = "sometime";
            break;
        case 5:
            birth = std::to_string(year);
            break;
        default:
            birth = std::to_string(1 + below(2)) + " MAR " + std::to_string(year);
        }
        std::string rest = below(8) == 0 ? "" : "1 BIRT\n2 DATE " + birth + "\n2 PLAC Leeds\n";
        if (below(3) == 0)
            rest += "1 DEAT\n2 DATE " + std::to_string(year + 60 + below(4)) + "\n";
        if (below(4) != 0)
            rest += std::string("1 SEX ") + (below(2) ? "M" : "F") + "\n";
        rest += "1 FAMC @F" + std::to_string(1 + below(6)) + "@\n";
        if (below(3) == 0)
            rest += "1 FAMS @F" + std::to_string(1 + below(6)) + "@\n";
        const std::string surname = surnames[below(6)];
        text += person("@I" + std::to_string(i) + "@", std::string(given[below(10)]) + " /" + surname + "/",
                       rest);
    }
    for (int f = 1; f <= 6; ++f)
        text += "0 @F" + std::to_string(f) + "@ FAM\n1 HUSB @I" + std::to_string(f) + "@\n1 WIFE @I" +
                std::to_string(f + 6) + "@\n";
    return text;
}

TEST(DuplicateFinderBlocking, FindsExactlyWhatComparingEveryPairFinds)
{
    for (const std::uint64_t seed : {1u, 2u, 3u, 4u}) {
        const auto tree = std::make_unique<Tree>(SampleTree::syntheticText(400, seed));
        for (const double threshold : {0.0, 0.65}) {
            SCOPED_TRACE("synthetic seed " + std::to_string(seed) + " threshold " +
                         std::to_string(threshold));
            const auto everyPair = finder::findComparingEveryPair(tree->index, threshold);
            EXPECT_FALSE(everyPair.empty());
            for (const unsigned threads : {1u, 2u})
                EXPECT_EQ(finder::find(tree->index, threshold, threads, nullptr), everyPair);
        }
    }
    for (const unsigned seed : {7u, 8u, 9u}) {
        SCOPED_TRACE("crowded seed " + std::to_string(seed));
        const auto tree = treeOf(crowdedTree(seed, 300));
        finder::Statistics statistics;
        const auto everyPair = finder::findComparingEveryPair(tree->index, 0.0);
        EXPECT_GT(everyPair.size(), 20u);
        EXPECT_EQ(finder::find(tree->index, 0.0, 2, &statistics), everyPair);
        // The births rule out enough pairs for the blocking to skip some.
        EXPECT_LT(statistics.pairsScored, statistics.candidates * (statistics.candidates - 1) / 2);
    }
}

/// A tree where most people have no birth range, so that they are compared by their families,
/// their parents' and spouses' names and their deaths; no key is shared by many.
std::string undatedTree(unsigned seed, int people)
{
    std::mt19937 random(seed);
    auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const char* given[] = {"John", "Jno", "Johan"};
    const char* parents[] = {"Adam",   "Brian", "Cecil",  "David",   "Edgar",  "Frank",  "Giles",
                             "Harold", "Ivor",  "Jasper", "Kenneth", "Lionel", "Martin", "Nigel",
                             "Oscar",  "Percy", "Rupert", "Simon",   "Trevor", "Victor"};
    std::string text;
    for (int i = 1; i <= people; ++i) {
        std::string rest;
        if (below(4) == 0)
            rest += "1 BIRT\n2 DATE " + std::to_string(1840 + below(10)) + "\n";
        if (below(2) == 0)
            rest += "1 DEAT\n2 DATE " + std::to_string(1880 + below(10)) + "\n";
        if (below(3) != 0)
            rest += std::string("1 SEX ") + (below(2) ? "M" : "F") + "\n";
        if (below(3) != 0)
            rest += "1 FAMC @F" + std::to_string(1 + below(20)) + "@\n";
        if (below(4) == 0)
            rest += "1 FAMS @F" + std::to_string(21 + below(20)) + "@\n";
        text += person("@I" + std::to_string(i) + "@",
                       std::string(given[below(3)]) + (below(2) ? " /Smith/" : " /Smyth/"), rest);
    }
    // Each family's father has a name of his own; the families a person married into name a wife.
    for (int f = 1; f <= 20; ++f) {
        text += "0 @F" + std::to_string(f) + "@ FAM\n1 HUSB @P" + std::to_string(f) + "@\n" +
                person("@P" + std::to_string(f) + "@", std::string(parents[f - 1]) + " /Smith/");
        text += "0 @F" + std::to_string(f + 20) + "@ FAM\n1 WIFE @W" + std::to_string(f) + "@\n" +
                person("@W" + std::to_string(f) + "@", std::string(parents[f - 1]) + "a /Brown/");
    }
    return text;
}

TEST(DuplicateFinderBlocking, AWideBirthMeetsEveryoneInItsYears)
{
    // One birth a year for sixty years and one between the first and the last: the wide one is
    // compared with far more people than a crowd's nearest.
    std::string text;
    for (int i = 0; i < 60; ++i)
        text += person("@I" + std::to_string(i + 1) + "@", "John /Smith/",
                       "1 BIRT\n2 DATE " + std::to_string(1800 + i) + "\n2 PLAC Leeds\n");
    text += person("@I100@", "John /Smith/", "1 BIRT\n2 DATE BET 1800 AND 1860\n2 PLAC Leeds\n");
    const auto tree = treeOf(text);
    const auto everyPair = finder::findComparingEveryPair(tree->index, 0.0);
    EXPECT_GT(everyPair.size(), 60u);
    EXPECT_EQ(finder::find(tree->index, 0.0, 1, nullptr), everyPair);
}

TEST(DuplicateFinderBlocking, PeopleWithoutBirthsAreComparedByWhatTheyShare)
{
    for (const unsigned seed : {11u, 12u, 13u}) {
        SCOPED_TRACE("undated seed " + std::to_string(seed));
        const auto tree = treeOf(undatedTree(seed, 400));
        for (const double threshold : {0.0, 0.65}) {
            finder::Statistics statistics;
            const auto everyPair = finder::findComparingEveryPair(tree->index, threshold);
            EXPECT_GT(everyPair.size(), 20u);
            EXPECT_EQ(finder::find(tree->index, threshold, 2, &statistics), everyPair);
            EXPECT_LT(statistics.pairsScored, statistics.candidates * (statistics.candidates - 1) / 8);
        }
    }
}

/// The records left after merging every pair found, in the order found.
std::vector<std::string> mergedAll(const std::string& records)
{
    const auto tree = treeOf(records);
    const std::vector<DuplicateMatch> matches = DuplicateFinder::find(tree->index, 0.65);
    std::map<std::string, std::size_t> picks;
    std::vector<std::pair<std::string, std::string>> pairs;
    for (const DuplicateMatch& match : matches)
        pairs.emplace_back(match.keep, match.remove);
    GedcomDocument document = tree->document;
    (void)Merger::merge(pairs, document);
    std::vector<std::string> left;
    for (const Person& p : TreeIndex::build(document).people)
        left.emplace_back(p.xref);
    // A few matches for each person, not one for every pair of the crowd.
    const std::size_t people = tree->index.people.size();
    EXPECT_LE(matches.size(), 3 * people);
    return left;
}

TEST(DuplicateFinderBlocking, CrowdsMergeIntoOneRecord)
{
    const int crowd = 150;
    // One man imported many times over; the 100th copy holds most and is the one kept.
    std::string copies;
    for (int i = 1; i <= crowd; ++i)
        copies +=
            person("@I" + std::to_string(i) + "@", "John /Smith/",
                   "1 SEX M\n1 BIRT\n2 DATE 12 MAR 1850\n" + std::string(i == 100 ? "1 OCCU Miner\n" : ""));
    EXPECT_EQ(mergedAll(copies), (std::vector<std::string>{"@I100@"}));

    // One son entered many times in one family, none with a birth: their parents and their death
    // are what they share.
    std::string sons = "0 @F1@ FAM\n1 HUSB @I1000@\n";
    for (int i = 1; i <= crowd; ++i)
        sons += person("@I" + std::to_string(i) + "@", "John /Smith/",
                       "1 SEX M\n1 DEAT\n2 DATE 3 MAY 1900\n1 FAMC @F1@\n");
    sons += person("@I1000@", "Thomas /Smith/", "1 SEX M\n1 FAMS @F1@\n");
    EXPECT_EQ(mergedAll(sons), (std::vector<std::string>{"@I1@", "@I1000@"}));

    // A crowd of copies born about one year or another, spread over a few years in steps.
    std::string spread;
    for (int i = 1; i <= crowd; ++i)
        spread += person("@I" + std::to_string(i) + "@", "Mary /Jones/",
                         "1 SEX F\n1 BIRT\n2 DATE ABT " + std::to_string(1849 + i % 3) + "\n2 PLAC Leeds\n");
    EXPECT_EQ(mergedAll(spread), (std::vector<std::string>{"@I1@"}));
}

// ---- evidence beyond the spelling: other forms of a name, its order, its sound, its script ----

TEST(DuplicateFinderText, GivenNamesInOtherFormsAndOrders)
{
    const std::tuple<std::string, std::string, double> cases[] = {
        // Nicknames and the forms of other languages, both ways.
        {"bill", "william", 0.85},
        {"william", "bill", 0.85},
        {"johann", "john", 0.85},
        {"hans", "jan", 0.85},
        {"giovanni", "juan", 0.85},
        {"joao", "ioannes", 0.85},
        {"peggy", "margarethe", 0.85},
        {"mina", "wilhelmina", 0.85},
        // Another order, a name left out, initials.
        {"william john", "john william", 0.8},
        {"mary", "anna mary", 0.75},
        {"anna mary", "mary", 0.75},
        {"william john", "john", 0.75},
        {"j w", "john william", 0.7},
        {"john william", "j w", 0.7},
        {"john w", "john william", 0.92}, // the first names agree: more than the initials
        {"j w", "john henry", 0.6},       // the initial of the first name alone
        // Apart: a shared letter or stem is no agreement.
        {"jack", "jacob", 0.0},
        {"hans", "hannah", 0.0},
        {"frank", "frances", 0.0},
        {"mary", "anna louise", 0.0},
        {"w j", "john william", 0.0}, // initials in another order say too little
    };
    for (const auto& [a, b, expected] : cases)
        EXPECT_NEAR(finder::givenNameSimilarity(a, b), expected, 0.0005) << a << " / " << b;
}

TEST(DuplicateFinderText, DaitchMokotoffCodes)
{
    EXPECT_EQ(SoundCodes::daitchMokotoff("schwartz"), std::vector<std::string>{"479400"});
    EXPECT_EQ(SoundCodes::daitchMokotoff("szwarc"), (std::vector<std::string>{"479400", "479500"}));
    EXPECT_EQ(SoundCodes::daitchMokotoff(""), std::vector<std::string>{});
    EXPECT_EQ(SoundCodes::daitchMokotoff("o'brien 2"), SoundCodes::daitchMokotoff("obrien"));
    // Alike: some code shared; apart: none.
    const std::tuple<std::string, std::string, bool> pairs[] = {
        {"schwartz", "szwarc", true},     {"cohen", "kohn", true},        {"jablonski", "yablonsky", true},
        {"peters", "peterson", false},    {"smith", "schmidt", true},     {"kowalski", "smith", false},
        {"moskowitz", "moskovitz", true}, {"lewinsky", "levinsky", true},
    };
    for (const auto& [a, b, alike] : pairs) {
        const auto x = SoundCodes::daitchMokotoffPacked(a), y = SoundCodes::daitchMokotoffPacked(b);
        const bool shared = std::any_of(x.begin(), x.end(), [&](std::uint32_t code) {
            return std::find(y.begin(), y.end(), code) != y.end();
        });
        EXPECT_EQ(shared, alike) << a << " / " << b;
    }
}

TEST(DuplicateFinderText, NamesInOtherScriptsInLatinLetters)
{
    EXPECT_EQ(NameWords::inLatinLetters("\u0418\u0432\u0430\u043D \u041F\u0435\u0442\u0440\u043E\u0432"),
              "Ivan Petrov");
    EXPECT_EQ(NameWords::inLatinLetters("\u0393\u03B5\u03CE\u03C1\u03B3\u03B9\u03BF\u03C2"), "Georgios");
    EXPECT_EQ(NameWords::inLatinLetters("John"), std::nullopt);
    EXPECT_EQ(NameWords::inLatinLetters("M\u00FCller \u0141\u00F3d\u017A"), std::nullopt); // Latin with marks
}

TEST(DuplicateFinderText, GivenNameGroupsHoldTogether)
{
    std::map<std::string_view, std::string_view> groupOf;
    std::size_t names = 0;
    for (const std::string_view group : NameWords::givenNameGroups()) {
        const std::string_view head = group.substr(0, group.find(' '));
        for (std::size_t from = 0; from <= group.size();) {
            const std::size_t blank = std::min(group.find(' ', from), group.size());
            const std::string_view name = group.substr(from, blank - from);
            from = blank + 1;
            ++names;
            ASSERT_FALSE(name.empty()) << "a double blank in " << group;
            EXPECT_TRUE(std::all_of(name.begin(), name.end(), [](char c) { return c >= 'a' && c <= 'z'; }))
                << name << " is not written as names are compared";
            EXPECT_TRUE(groupOf.emplace(name, head).second) << name << " is in two groups";
            // Reachable both ways: each name stands for the group, and the group for each name.
            EXPECT_EQ(NameWords::givenNameGroup(name), head) << name;
            EXPECT_NEAR(finder::givenNameSimilarity(name, head), name == head ? 1.0 : 0.85, 1e-9) << name;
            EXPECT_NEAR(finder::givenNameSimilarity(head, name), name == head ? 1.0 : 0.85, 1e-9) << name;
            EXPECT_FALSE(NameWords::isPlaceholder(name) || NameWords::isTitle(name)) << name;
        }
    }
    EXPECT_GE(names, 490u);
    // The short written forms of the registers keep the names they always stood for.
    const std::pair<std::string_view, std::string_view> rows[] = {
        {"wm", "william"},     {"jno", "john"},       {"chas", "charles"}, {"thos", "thomas"},
        {"eliz", "elizabeth"}, {"margt", "margaret"}, {"hy", "henry"},     {"nancy", "ann"},
        {"hannah", "hanna"},   {"jenny", "jane"},     {"nell", "eleanor"}, {"polly", "mary"},
    };
    for (const auto& [word, canonical] : rows)
        EXPECT_EQ(finder::canonicalGivenName(word), canonical);
    EXPECT_EQ(finder::canonicalGivenName("zebedee"), "zebedee");
}

TEST(DuplicateFinderScore, NewEvidenceAndItsReasons)
{
    const std::string born = "1 BIRT\n2 DATE 12 MAR 1850\n";
    const std::string bornHere = born + "2 PLAC Hull\n";
    const std::string child = "0 @F1@ FAM\n1 HUSB @I1@\n1 CHIL @I2@\n";
    const PairCase cases[] = {
        {"nickname",
         person("@I1@", "Bill /Smith/", born) + person("@I2@", "William /Smith/", born),
         Verdict::match,
         0.82,
         {"Similar names (Bill Smith / William Smith)", "Nickname or other form: Bill for William",
          "Same birth date (12 MAR 1850)"}},
        {"nickname, the other way",
         person("@I1@", "William /Smith/", born) + person("@I2@", "Bill /Smith/", born),
         Verdict::match,
         0.82,
         {"Similar names (William Smith / Bill Smith)", "Nickname or other form: Bill for William",
          "Same birth date (12 MAR 1850)"}},
        {"another language's form",
         person("@I1@", "Johann /Schmidt/", born) + person("@I2@", "Hans /Schmidt/", born),
         Verdict::match,
         0.82,
         {"Similar names (Johann Schmidt / Hans Schmidt)", "Nickname or other form: Johann for Hans",
          "Same birth date (12 MAR 1850)"}},
        {"another order",
         person("@I1@", "William John /Smith/", bornHere) + person("@I2@", "John William /Smith/", bornHere),
         Verdict::match,
         0.9,
         {"Similar names (William John Smith / John William Smith)", "Given names in another order",
          "Same birth date (12 MAR 1850)", "Same birthplace"}},
        {"called by the middle name",
         person("@I1@", "Anna Mary /Smith/", born) + person("@I2@", "Mary /Smith/", born),
         Verdict::match,
         0.8,
         {"Similar names (Anna Mary Smith / Mary Smith)", "A given name left out",
          "Same birth date (12 MAR 1850)"}},
        {"initials",
         person("@I1@", "J. W. /Smith/", born) + person("@I2@", "John William /Smith/", born),
         Verdict::match,
         0.79,
         {"Similar names (J. W. Smith / John William Smith)", "Initials match the given names",
          "Same birth date (12 MAR 1850)"}},
        {"a middle initial",
         person("@I1@", "John W. /Smith/", born) + person("@I2@", "John William /Smith/", born),
         Verdict::match,
         0.84,
         {"Similar names (John W. Smith / John William Smith)", "Initials match the given names",
          "Same birth date (12 MAR 1850)"}},
        {"surnames alike by Daitch-Mokotoff",
         person("@I1@", "John /Schwartz/", bornHere) + person("@I2@", "John /Szwarc/", bornHere),
         Verdict::match,
         0.89,
         {"Similar names (John Schwartz / John Szwarc)",
          "Surnames sound alike (Daitch\u2013Mokotoff code 479400)", "Same birth date (12 MAR 1850)",
          "Same birthplace"}},
        {"Cohen and Kohn",
         person("@I1@", "Moses /Cohen/", bornHere) + person("@I2@", "Moses /Kohn/", bornHere),
         Verdict::match,
         0.89,
         {"Similar names (Moses Cohen / Moses Kohn)",
          "Surnames sound alike (Daitch\u2013Mokotoff code 560000)", "Same birth date (12 MAR 1850)",
          "Same birthplace"}},
        {"Cyrillic and Latin",
         person("@I1@", "\u0418\u0432\u0430\u043D /\u041F\u0435\u0442\u0440\u043E\u0432/", born) +
             person("@I2@", "Ivan /Petrov/", born),
         Verdict::match,
         0.85,
         {"Same name in another script", "Same birth date (12 MAR 1850)"}},
        {"Greek and Latin",
         person("@I1@",
                "\u0393\u03B5\u03CE\u03C1\u03B3\u03B9\u03BF\u03C2 "
                "/\u03A0\u03B1\u03C0\u03B1\u03B4\u03CC\u03C0\u03BF\u03C5\u03BB\u03BF\u03C2/",
                born) +
             person("@I2@", "Georgios /Papadopoulos/", born),
         Verdict::match,
         0.85,
         {"Same name in another script", "Same birth date (12 MAR 1850)"}},
        // What must stay apart.
        {"alike only by Daitch-Mokotoff, nothing else shared",
         person("@I1@", "John /Schwartz/") + person("@I2@", "John /Szwarc/"), Verdict::littleEvidence},
        {"a nickname's stem", person("@I1@", "Jack /Smith/", born) + person("@I2@", "Jacob /Smith/", born),
         Verdict::givenNames},
        {"father and son, one in another language's form",
         person("@I1@", "John /Smith/", "1 SEX M\n1 FAMS @F1@\n" + born) +
             person("@I2@", "Johann /Smith/", "1 SEX M\n1 FAMC @F1@\n" + born) + child,
         Verdict::relatives},
        {"a nickname of another sex",
         person("@I1@", "Bill /Smith/", "1 SEX M\n" + born) +
             person("@I2@", "Wilhelmina /Smith/", "1 SEX F\n" + born),
         Verdict::differentSex},
    };
    expectComparisons(cases);
}

/// People whose names differ in the ways the finder now forgives: other forms, other orders,
/// initials, surnames alike by sound only, names in Cyrillic.
std::string variedNamesTree(unsigned seed, int people)
{
    std::mt19937 random(seed);
    auto below = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
    const char* given[] = {"John",
                           "Johann",
                           "Hans",
                           "Jan",
                           "John William",
                           "William John",
                           "J. W.",
                           "John W.",
                           "William",
                           "Bill",
                           "Wilhelm",
                           "Anna Mary",
                           "Mary",
                           "Maria",
                           "Marie",
                           "Ann",
                           "\u0418\u0432\u0430\u043D",
                           "Ivan"};
    const char* surnames[] = {
        "Schwartz",  "Szwarc",    "Swartz", "Cohen",   "Kohn",
        "Jablonski", "Yablonsky", "Smith",  "Schmidt", "\u041F\u0435\u0442\u0440\u043E\u0432",
        "Petrov"};
    std::string text;
    for (int i = 1; i <= people; ++i) {
        std::string rest;
        if (below(3) != 0)
            rest += "1 BIRT\n2 DATE " + std::to_string(1850 + below(4)) + "\n2 PLAC Hull\n";
        if (below(3) == 0)
            rest += "1 FAMC @F" + std::to_string(1 + below(6)) + "@\n";
        text += person("@I" + std::to_string(i) + "@",
                       std::string(given[below(std::size(given))]) + " /" +
                           surnames[below(std::size(surnames))] + "/",
                       rest);
    }
    return text;
}

TEST(DuplicateFinderBlocking, NewEvidenceFindsWhatComparingEveryPairFinds)
{
    for (const unsigned seed : {11u, 12u}) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        const auto tree = treeOf(variedNamesTree(seed, 260));
        for (const double threshold : {0.0, 0.65}) {
            const auto everyPair = finder::findComparingEveryPair(tree->index, threshold);
            EXPECT_GT(everyPair.size(), 10u);
            for (const unsigned threads : {1u, 2u})
                EXPECT_EQ(finder::find(tree->index, threshold, threads, nullptr), everyPair);
        }
    }
}

TEST(DuplicateFinderBlocking, ManyFirstNamesInOneBlockStayCheap)
{
    // Thousands of first names under one surname code, numbered and not: the pairs scored grow
    // with the names that can be alike, not with the square of the names.
    std::string text;
    for (int i = 1; i <= 3000; ++i) {
        std::string given = "Person" + std::to_string(i);
        if (i % 2 == 0) {
            given.clear();
            for (int n = i; n > 0; n /= 26)
                given += static_cast<char>('a' + n % 26);
            given[0] = static_cast<char>(given[0] - 'a' + 'A');
        }
        text += person("@I" + std::to_string(i) + "@", given + " /Surname" + std::to_string(i % 97) + "/",
                       "1 SEX M\n1 BIRT\n2 DATE 1850\n");
    }
    const auto tree = treeOf(text);
    finder::Statistics statistics;
    const auto matches = finder::find(tree->index, 0.0, 2, &statistics);
    EXPECT_GT(statistics.largestBlock, 2900u);
    EXPECT_LT(statistics.pairsScored, 20'000u);
    EXPECT_EQ(matches, finder::findComparingEveryPair(tree->index, 0.0));
}

TEST(DuplicateFinderChecks, SampleTreeFindings)
{
    const Tree tree(SampleTree::sampleText());
    const std::vector<Issue> issues = Checks::duplicates(tree.index, tree.document, ScanOptions{});
    ASSERT_EQ(issues.size(), 3u);

    const Issue& bill = issues[0];
    EXPECT_EQ(bill.id, "dup-@I4@-@I7@");
    EXPECT_EQ(bill.category, IssueCategory::duplicates);
    EXPECT_EQ(bill.severity, Severity::warning);
    EXPECT_EQ(bill.title, "Very likely the same person");
    EXPECT_EQ(bill.detail, "William Hartley (@I4@) and Bill Hartley (@I7@): Similar names (William Hartley / "
                           "Bill Hartley); Nickname or other form: Bill for William; Same birth date (4 JUL "
                           "1830); Same birthplace; Parents in common.");
    EXPECT_EQ(bill.records, (std::vector<std::string>{"@I4@", "@I7@"}));
    ASSERT_TRUE(bill.match);
    EXPECT_EQ(bill.match->keep, "@I4@");
    EXPECT_EQ(bill.match->remove, "@I7@");
    EXPECT_EQ(bill.match->score, 0.99);
    ASSERT_TRUE(bill.fix);
    EXPECT_EQ(bill.fix->id, bill.id);
    EXPECT_EQ(bill.fix->title, "Merge @I7@ into @I4@");
    EXPECT_EQ(bill.fix->edits, (std::vector<Edit>{Edit{Edit::Merge{"@I4@", "@I7@"}}}));
    EXPECT_TRUE(bill.fix->needsReview);

    // The id puts the smaller xref first in text order, whichever record is kept.
    const Issue& katharina = issues[1];
    EXPECT_EQ(katharina.id, "dup-@I10@-@I13@");
    EXPECT_EQ(katharina.title, "Likely the same person");
    EXPECT_EQ(katharina.detail,
              "Katharina M\u00FCller (@I10@) and Catharina Mueller (@I13@): Similar names (Katharina "
              "M\u00FCller / Catharina Mueller); Nickname or other form: Katharina for Catharina; "
              "Same birth date (3 FEB 1828); Same birthplace.");
    EXPECT_EQ(katharina.match->score, 0.87);

    const Issue& family = issues[2];
    EXPECT_EQ(family.id, "dupfam-@F1@-@F2@");
    EXPECT_EQ(family.severity, Severity::warning);
    EXPECT_EQ(family.title, "Same couple, two families");
    EXPECT_EQ(family.detail, "@F1@ FAM and @F2@ FAM have the same husband and wife.");
    EXPECT_EQ(family.records, (std::vector<std::string>{"@F1@", "@F2@"}));
    EXPECT_FALSE(family.match);
    ASSERT_TRUE(family.fix);
    EXPECT_EQ(family.fix->title, "Merge @F2@ into @F1@");
    EXPECT_EQ(family.fix->edits, (std::vector<Edit>{Edit{Edit::Merge{"@F1@", "@F2@"}}}));
    EXPECT_TRUE(family.fix->needsReview);

    // The planted pairs are exactly the pairs found.
    std::vector<std::pair<std::string, std::string>> planted, found;
    for (const auto& pair : SampleTree::sampleDuplicates())
        planted.emplace_back(pair.original, pair.copy);
    for (const Issue& issue : issues) {
        if (issue.match)
            found.emplace_back(issue.match->keep, issue.match->remove);
    }
    EXPECT_EQ(found, planted);
}

TEST(DuplicateFinderChecks, SameCoupleNeedsBothPartners)
{
    const auto tree = treeOf("0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n0 @F2@ FAM\n1 HUSB @I1@\n"
                             "0 @F3@ FAM\n1 HUSB @I1@\n0 @F4@ FAM\n1 HUSB @I1@\n1 WIFE @I2@\n"
                             "0 @F5@ FAM\n1 WIFE @I2@\n1 HUSB @I1@\n" +
                             person("@I1@", "John /Smith/") + person("@I2@", "Mary /Jones/"));
    std::vector<std::string> ids;
    for (const Issue& issue : Checks::duplicates(tree->index, tree->document, ScanOptions{}))
        ids.push_back(issue.id);
    // A husband alone is no couple; a third family of the couple pairs with the first.
    EXPECT_EQ(ids, (std::vector<std::string>{"dupfam-@F1@-@F4@", "dupfam-@F1@-@F5@"}));
}

// A merge finding's preview says what applying its fix does, down to the sub-lines that lines
// already there give the kept record; people and families alike.
TEST(DuplicateFinderChecks, MergePreviewSaysWhatTheMergeDoes)
{
    const auto tree = treeOf(
        person("@I1@", "Tom /Hart/",
               "1 SEX M\n1 BIRT\n2 DATE 3 MAR 1850\n2 PLAC Leeds\n1 OCCU Weaver\n1 RESI\n2 PLAC Leeds\n"
               "1 FAMS @F1@\n1 FAMS @F2@\n") +
        person("@I2@", "Tom /Hart/",
               "1 SEX M\n2 SOUR @S1@\n3 PAGE entry 12\n1 BIRT\n2 DATE 3 MAR 1850\n2 SOUR @S1@\n"
               "3 PAGE entry 40\n") +
        person("@I3@", "Ann /Lee/", "1 SEX F\n1 FAMS @F1@\n1 FAMS @F2@\n") +
        "0 @F1@ FAM\n1 HUSB @I1@\n1 WIFE @I3@\n1 MARR\n2 DATE 1875\n"
        "0 @F2@ FAM\n1 HUSB @I1@\n1 WIFE @I3@\n1 MARR\n2 DATE 1875\n2 SOUR @S1@\n1 MARR\n2 DATE 1876\n"
        "0 @S1@ SOUR\n1 TITL Parish register\n");
    const std::vector<Issue> issues = Checks::duplicates(tree->index, tree->document, ScanOptions{});
    ASSERT_EQ(issues.size(), 2u);
    ASSERT_TRUE(issues[0].fix && issues[1].fix);
    using Preview = std::vector<PreviewLine>;
    const std::string tom = "Tom Hart (@I1@)";
    EXPECT_EQ(
        issues[0].fix->preview,
        (Preview{{"Added to " + tom + " under 1 SEX M", std::nullopt, "2 SOUR @S1@ / 3 PAGE entry 12"},
                 {"Added to " + tom + " under 1 BIRT", std::nullopt, "2 SOUR @S1@ / 3 PAGE entry 40"},
                 {"Already in " + tom + ": 4 lines", std::nullopt, std::nullopt},
                 {"Record @I2@ is removed; links to it will point to @I1@", "0 @I2@ INDI", std::nullopt}}));
    // The marriage of another year is another fact.
    EXPECT_EQ(
        issues[1].fix->preview,
        (Preview{{"Added to @F1@ FAM under 1 MARR", std::nullopt, "2 SOUR @S1@"},
                 {"Added to @F1@ FAM", std::nullopt, "1 MARR / 2 DATE 1876"},
                 {"Already in @F1@ FAM: 4 lines", std::nullopt, std::nullopt},
                 {"Record @F2@ is removed; links to it will point to @F1@", "0 @F2@ FAM", std::nullopt}}));

    const ApplyResult result = FixApplier::apply({*issues[0].fix, *issues[1].fix}, tree->document, 1);
    ASSERT_EQ(result.entries.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
        SCOPED_TRACE(issues[i].id);
        // The lines that the preview shows as added, written as the change log writes them.
        std::vector<std::string> fromPreview, applied;
        for (const PreviewLine& line : issues[i].fix->preview) {
            if (!line.context.starts_with("Added to "))
                continue;
            const std::size_t under = line.context.find(" under ");
            const std::string prefix =
                under == std::string::npos ? "  + " : "   (under " + line.context.substr(under + 7) + ") + ";
            for (std::size_t from = 0;;) {
                const std::size_t end = line.after->find(" / ", from);
                fromPreview.push_back(prefix + line.after->substr(from, end - from));
                if (end == std::string::npos)
                    break;
                from = end + 3;
            }
        }
        for (const std::string& line : result.entries[i].lines) {
            if (line.starts_with("  + ") || line.starts_with("   (under "))
                applied.push_back(line);
        }
        EXPECT_EQ(applied, fromPreview);
    }
}

} // namespace
