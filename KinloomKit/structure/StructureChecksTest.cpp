// SPDX-License-Identifier: GPL-3.0-or-later
#include "structure/StructureChecks.h"

#include "changes/FixApplier.h"
#include "document/GedcomReader.h"
#include "document/GedcomWriter.h"
#include "sample/Corpus.h"
#include "structure/Grammar.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>

using namespace kinloom;

namespace {

std::string v551(const std::string& body)
{
    return "0 HEAD\n1 SOUR Kinloom\n1 SUBM @U1@\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 CHAR UTF-8\n"
           "0 @U1@ SUBM\n1 NAME Ann\n" +
           body + "0 TRLR\n";
}

std::string v7(const std::string& body)
{
    return "0 HEAD\n1 GEDC\n2 VERS 7.0\n" + body + "0 TRLR\n";
}

std::vector<std::string> kinds(const std::vector<Issue>& issues)
{
    std::vector<std::string> found;
    for (const Issue& issue : issues)
        found.emplace_back(kindOf(issue.id));
    return found;
}

std::string fileText(const std::filesystem::path& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

} // namespace

TEST(StructureChecksTest, FindingsByVersion)
{
    struct Case
    {
        std::string text;
        std::vector<std::string> kinds;
    };
    const std::string longNote(300, 'x');
    const std::vector<Case> cases{
        // GEDCOM 5.5.1, what it allows.
        {v551("0 @I1@ INDI\n1 NAME A /B/\n2 GIVN A\n1 SEX M\n1 BIRT Y\n2 DATE 1 JAN 1900\n2 PLAC X\n3 MAP\n4 "
              "LATI N1\n"
              "4 LONG E1\n1 FAMC @F1@\n2 PEDI Birth\n0 @F1@ FAM\n1 CHIL @I1@\n1 MARR\n2 HUSB\n3 AGE 30\n"),
         {}},
        {v551("0 @I1@ INDI\n1 EVEN Knighted\n2 TYPE Honour\n1 OBJE @M1@\n1 NOTE text\n2 CONC more\n1 SOUR "
              "@S1@\n"
              "2 PAGE 5\n2 QUAY 3\n2 EVEN BIRT\n3 ROLE (Godfather)\n0 @M1@ OBJE\n1 FILE a.jpg\n2 FORM jpeg\n"
              "0 @S1@ SOUR\n1 TITL T\n2 CONC x\n1 REPO\n2 CALN 1\n3 MEDI Book\n"),
         {}},
        {v551("0 @I1@ INDI\n1 _FOO bar\n2 RIN x\n2 CONT y\n0 @X1@ _LOC\n1 ANYTHING\n"), {}},
        // What it does not.
        {v551("0 @I1@ INDI\n1 BIRT\n2 DATE  5 AUG 1901\n1 NOTE  spaced text\n0  _PUBLISH\n"),
         {"struct-spaces", "struct-spaces"}},
        {v551("0 @I1@ INDI\n1 SOUR @S1@\n2 PAGE p. 5\n3 CONT more\n3 CONC more\n1 SEX M\n2 CONT x\n"),
         {"struct-cont", "struct-cont"}},
        {v551("0 @I1@ INDI\n1 BIRT\n2 RIN 1\n2 QUAY 2\n1 DEAT\n2 RIN 2\n"),
         {"struct-misplaced", "struct-misplaced"}},
        {v551("0 @I1@ INDI\n1 FSID ABC\n1 HIST x\n1 HIST y\n0 @C1@ CSTA\n1 NAME x\n"),
         {"struct-unknown", "struct-unknown", "struct-unknown"}},
        {v551("0 @I1@ INDI\n1 ALIA Abdur Rashid\n0 @F1@ FAM\n1 WIFE\n"),
         {"struct-pointer", "struct-pointer"}},
        {v551("0 @I1@ INDI\n1 RESI Leeds\n1 DEAT aged 3\n0 @F1@ FAM\n1 DIV Y\n"),
         {"struct-value", "struct-value", "struct-value"}},
        {v551("0 @I1@ INDI\n1 FAMC @F1@\n2 PEDI natural\n1 SOUR @S1@\n2 QUAY 5\n1 SEX male\n"),
         {"struct-enum", "struct-enum"}},
        {v551("0 @M1@ OBJE\n1 FILE a.jpg\n0 @U2@ SUBM\n"), {"struct-required", "struct-required"}},
        {v551("0 @N1@ NOTE " + longNote + "\n"), {"struct-long"}},
        {v551("0 @I1@ INDI\n1 ALIA @F1@\n1 ASSO @I2@\n2 RELA Godfather\n0 @F1@ FAM\n0 @I2@ INDI\n"),
         {"struct-target"}},
        {"0 HEAD\n1 GEDC\n2 VERS 5.5.1\n", {"struct-header"}},
        // GEDCOM 7.0.
        {v7("0 @I1@ INDI\n1 NAME A /B/\n1 SEX X\n1 RESI Leeds\n1 BURI Y\n1 FAMC @F1@\n2 PEDI BIRTH\n1 NOTE "
            "a\n"
            "2 CONT b\n1 SNOTE @N1@\n0 @F1@ FAM\n1 HUSB @VOID@\n0 @N1@ SNOTE " +
            longNote + "\n"),
         {}},
        {v7("0 @I1@ INDI\n1 RIN 5\n1 BIRT\n2 DATE 1900\n3 CONT x\n1 NOTE a\n2 CONC b\n1 FAMC @F1@\n2 PEDI "
            "birth\n"
            "1 ALIA x\n0 @F1@ FAM\n1 DIV text\n"),
         {"struct-misplaced", "struct-cont", "struct-cont", "struct-enum", "struct-pointer", "struct-value"}},
        {"0 HEAD\n0 TRLR\n", {"struct-header"}},
    };
    for (const Case& c : cases)
        EXPECT_EQ(kinds(StructureChecks::check(GedcomReader::read(c.text))), c.kinds) << c.text;
}

TEST(StructureChecksTest, OneFindingPerRecordKindAndTag)
{
    const std::vector<Issue> issues = StructureChecks::check(GedcomReader::read(
        v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 BIRT\n2 RIN 1\n1 DEAT\n2 RIN 2\n1 BURI\n2 RIN 3\n"
             "1 CHR\n2 RIN 4\n")));
    ASSERT_EQ(issues.size(), 1u);
    EXPECT_EQ(issues[0],
              (Issue{"struct-misplaced-13",
                     IssueCategory::file,
                     Severity::warning,
                     "RIN where the standard does not allow it",
                     "Ann Lee (@I1@): \u201C2 RIN 1\u201D under BIRT, \u201C2 RIN 2\u201D under DEAT, "
                     "\u201C2 RIN 3\u201D under BURI and 1 more. GEDCOM 5.5.1 does not allow RIN under "
                     "BIRT, DEAT, BURI or CHR; programs that follow the standard may drop these lines.",
                     {"@I1@"}}));
}

// Each fix as the user previews it, the file once it is applied, and no fix offered again.
TEST(StructureChecksTest, FixesPreviewAndResult)
{
    struct Case
    {
        std::string text;
        std::string title;
        std::vector<PreviewLine> preview;
        std::string after; ///< the file once the fix is applied
        bool needsReview = false;
    };
    const std::string ann = "Ann Lee (@I1@)", family = "@F1@ FAM";
    const std::vector<Case> cases{
        {v551("0 @I1@  INDI\n1 NAME Ann /Lee/\n1  SEX  M\n1 NOTE  spaced\n2 CONT  text\n"),
         "Write these lines with single spaces",
         {{ann, "0 @I1@  INDI", "0 @I1@ INDI"}, {ann + " \u00B7 SEX", "1  SEX  M", "1 SEX M"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SEX M\n1 NOTE  spaced\n2 CONT  text\n")},
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 HEAL Frail\n2 DATE 1900\n1 HEAL Weak\n"),
         "Rename to _HEAL",
         {{ann + " \u00B7 HEAL", "1 HEAL Frail", "1 _HEAL Frail"},
          {ann + " \u00B7 HEAL", "1 HEAL Weak", "1 _HEAL Weak"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 _HEAL Frail\n2 DATE 1900\n1 _HEAL Weak\n")},
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 ALIA Nan\n"),
         "Write as NAME with TYPE aka",
         {{ann + " \u00B7 NAME", "1 ALIA Nan", "1 NAME Nan"},
          {ann + " \u00B7 NAME TYPE", std::nullopt, "2 TYPE aka"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 NAME Nan\n2 TYPE aka\n")},
        {v7("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 ALIA Nan\n"),
         "Write as NAME with TYPE AKA",
         {{ann + " \u00B7 NAME", "1 ALIA Nan", "1 NAME Nan"},
          {ann + " \u00B7 NAME TYPE", std::nullopt, "2 TYPE AKA"}},
         v7("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 NAME Nan\n2 TYPE AKA\n")},
        {v551("0 @F1@ FAM\n1 HUSB\n1 CHIL @I1@\n0 @I1@ INDI\n1 FAMC @F1@\n"),
         "Remove the empty HUSB line",
         {{family + " \u00B7 HUSB", "1 HUSB", std::nullopt}},
         v551("0 @F1@ FAM\n1 CHIL @I1@\n0 @I1@ INDI\n1 FAMC @F1@\n")},
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 RESI Leeds\n2 DATE 1900\n"),
         "Move the text into a NOTE under RESI",
         {{ann + " \u00B7 RESI", "1 RESI Leeds", "1 RESI"},
          {ann + " \u00B7 RESI NOTE", std::nullopt, "2 NOTE Leeds"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 RESI\n2 DATE 1900\n2 NOTE Leeds\n")},
        // Text on a line that takes “Y” says the event took place.
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 DEAT aged 3\n"),
         "Move the text into a NOTE under DEAT",
         {{ann + " \u00B7 DEAT", "1 DEAT aged 3", "1 DEAT Y"},
          {ann + " \u00B7 DEAT NOTE", std::nullopt, "2 NOTE aged 3"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 DEAT Y\n2 NOTE aged 3\n")},
        {v551("0 @F1@ FAM\n1 DIV Y\n"),
         "Write DIV without \u201CY\u201D",
         {{family + " \u00B7 DIV", "1 DIV Y", "1 DIV"}},
         v551("0 @F1@ FAM\n1 DIV\n")},
        {v551("0 @F1@ FAM\n1 DIV N\n"),
         "Remove DIV, whose \u201CN\u201D says it did not take place",
         {{family + " \u00B7 DIV", "1 DIV N", std::nullopt}},
         v551("0 @F1@ FAM\n"),
         true},
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 OBJE\n2 FORM jpg\n2 FILE a.jpg\n2 TITL A\n"),
         "Move FORM under FILE",
         {{ann + " \u00B7 OBJE FORM", "2 FORM jpg", std::nullopt},
          {ann + " \u00B7 OBJE FILE FORM", std::nullopt, "3 FORM jpg"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 OBJE\n2 FILE a.jpg\n3 FORM jpg\n2 TITL A\n")},
        // Text where a link belongs names a record: a new one, under an xref the file does not use …
        {v551("0 @R1@ REPO\n1 NAME Archive\n0 @S1@ SOUR\n1 TITL Register\n1 REPO Some library\n2 CALN 7\n"),
         "Make \u201CSome library\u201D a repository record of its own",
         {{"New record", std::nullopt, "0 @R2@ REPO"},
          {"New record", std::nullopt, "1 NAME Some library"},
          {"@S1@ SOUR \u00B7 REPO", "1 REPO Some library", "1 REPO @R2@"}},
         v551("0 @R1@ REPO\n1 NAME Archive\n0 @S1@ SOUR\n1 TITL Register\n1 REPO @R2@\n2 CALN 7\n0 @R2@ "
              "REPO\n1 NAME Some library\n"),
         true},
        // … or the file's record of that name.
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SUBM Ann\n"),
         "Link to the submitter record named \u201CAnn\u201D",
         {{ann + " \u00B7 SUBM", "1 SUBM Ann", "1 SUBM @U1@"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SUBM @U1@\n"),
         true},
        // Lines a program wrote as continuation text, a level deeper under the line before; a link
        // written twice once.
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SEX F\n2 CONT 2 SOUR @S1@\n2 CONT 3 PAGE 12\n2 CONT 2 SOUR "
              "@S2@\n2 CONT 2 SOUR @S2@\n0 @S1@ SOUR\n0 @S2@ SOUR\n"),
         "Rebuild 3 lines written as continuation text, without the repeated link",
         {{ann + " \u00B7 SEX", "2 CONT 2 SOUR @S1@", "2 SOUR @S1@"},
          {ann + " \u00B7 SEX", "2 CONT 3 PAGE 12", "3 PAGE 12"},
          {ann + " \u00B7 SEX", "2 CONT 2 SOUR @S2@", "2 SOUR @S2@"},
          {ann + " \u00B7 SEX", "2 CONT 2 SOUR @S2@", std::nullopt}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SEX F\n2 SOUR @S1@\n3 PAGE 12\n2 SOUR @S2@\n0 @S1@ SOUR\n0 "
              "@S2@ SOUR\n"),
         true},
        // Only where every continuation line under a line reads as a line below it.
        {v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SOUR @S1@\n2 PAGE Roll 5, \n3 CONT 3 CONC page 2\n1 SOUR "
              "@S1@\n2 PAGE Roll 6\n3 CONT 3 CONC page 3\n3 CONT 1880 Census\n1 SOUR @S1@\n2 PAGE 7\n3 CONT "
              "4 CONC x\n0 @S1@ SOUR\n"),
         "Rebuild the line written as continuation text",
         {{ann + " \u00B7 SOUR PAGE", "3 CONT 3 CONC page 2", "3 CONC page 2"}},
         v551("0 @I1@ INDI\n1 NAME Ann /Lee/\n1 SOUR @S1@\n2 PAGE Roll 5, \n3 CONC page 2\n1 SOUR @S1@\n2 "
              "PAGE Roll 6\n3 CONT 3 CONC page 3\n3 CONT 1880 Census\n1 SOUR @S1@\n2 PAGE 7\n3 CONT 4 CONC "
              "x\n0 @S1@ SOUR\n"),
         true},
        {"0 HEAD\n1 CHAR UTF-8\n0 @I1@ INDI\n",
         "Add the missing header parts and the TRLR line",
         {{"HEAD", std::nullopt, "1 GEDC"},
          {"HEAD \u00B7 GEDC", std::nullopt, "2 VERS 5.5.1"},
          {"HEAD \u00B7 GEDC", std::nullopt, "2 FORM LINEAGE-LINKED"},
          {"HEAD", std::nullopt, "1 SOUR Kinloom"},
          {"New record", std::nullopt, "0 @U1@ SUBM"},
          {"New record", std::nullopt, "1 NAME Unknown"},
          {"HEAD", std::nullopt, "1 SUBM @U1@"},
          {"End of the file", std::nullopt, "0 TRLR"}},
         "0 HEAD\n1 CHAR UTF-8\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 SOUR Kinloom\n1 SUBM @U1@\n"
         "0 @I1@ INDI\n0 @U1@ SUBM\n1 NAME Unknown\n0 TRLR\n"},
        // The file's own submitter is the one the header names.
        {"0 HEAD\n1 SOUR X\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 CHAR UTF-8\n0 @U1@ SUBM\n1 NAME "
         "A\n0 TRLR\n",
         "Add the missing header parts",
         {{"HEAD", std::nullopt, "1 SUBM @U1@"}},
         "0 HEAD\n1 SOUR X\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n1 CHAR UTF-8\n1 SUBM @U1@\n0 @U1@ "
         "SUBM\n"
         "1 NAME A\n0 TRLR\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        const GedcomDocument document = GedcomReader::read(c.text);
        std::vector<Fix> fixes;
        for (const Issue& issue : StructureChecks::check(document)) {
            if (issue.fix)
                fixes.push_back(*issue.fix);
        }
        ASSERT_EQ(fixes.size(), 1u);
        EXPECT_EQ(fixes[0].title, c.title);
        EXPECT_EQ(fixes[0].preview, c.preview);
        EXPECT_EQ(fixes[0].needsReview, c.needsReview);
        const std::string after = GedcomWriter::render(FixApplier::apply(fixes, document, 1).document);
        EXPECT_EQ(after, c.after);
        for (const Issue& issue : StructureChecks::check(GedcomReader::read(after)))
            EXPECT_FALSE(issue.fix) << issue.id;
    }
}

// Every source row is in the compiled tables: a table changed without running the generator, or a
// generator that loses rows, fails here.
TEST(StructureChecksTest, CompiledTablesHoldEverySourceRow)
{
    const std::filesystem::path folder = KINLOOM_GRAMMAR_DIR;
    for (const auto& [name, table] :
         {std::pair{"gedcom7", &Grammar::gedcom7()}, {"gedcom551", &Grammar::gedcom551()}}) {
        SCOPED_TRACE(name);
        // Lines after the header row; a payload may be empty, so fields are not counted.
        const auto rows = [&](const char* file) {
            std::ifstream in(folder / name / file);
            std::size_t lines = 0;
            for (std::string line; std::getline(in, line);)
                lines += !line.empty();
            return lines - 1;
        };
        const Grammar::SourceRows& source = table->sourceRows;
        EXPECT_EQ(rows("substructures.tsv"), source.substructures);
        EXPECT_EQ(rows("cardinalities.tsv"), source.cardinalities);
        EXPECT_EQ(rows("payloads.tsv"), source.payloads);
        EXPECT_EQ(rows("enumerations.tsv"), source.enumerations);
        EXPECT_EQ(rows("enumerationsets.tsv"), source.enumerationSets);

        EXPECT_EQ(table->substructures.size(), source.substructures);
        EXPECT_EQ(table->substructures.size() - table->subsOf(0).size(), source.cardinalities);
        EXPECT_EQ(table->structures.size() - 1, source.payloads); // and the file itself
        EXPECT_EQ(std::ranges::count_if(table->structures, [](const auto& s) { return s.enumCount > 0; }),
                  static_cast<std::ptrdiff_t>(source.enumerations));
        EXPECT_EQ(table->enumValues.size(), source.enumerationSets);
    }
}

TEST(StructureChecksTest, OfficialGedcom7FilesAreClean)
{
    const std::filesystem::path folder = Corpus::folder().parent_path() / "gedcom7-testfiles";
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "no GEDCOM 7 test files at " << folder;
    std::size_t files = 0;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != ".ged")
            continue;
        ++files;
        EXPECT_EQ(kinds(StructureChecks::check(GedcomReader::read(fileText(entry.path())))),
                  std::vector<std::string>{})
            << entry.path();
    }
    EXPECT_GT(files, 0u);
}
