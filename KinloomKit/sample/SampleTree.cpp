// SPDX-License-Identifier: GPL-3.0-or-later
#include "sample/SampleTree.h"

#include "checks/DuplicateFinder.h"
#include "checks/NameWords.h"
#include "checks/SoundCodes.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <iterator>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace kinloom::SampleTree {

namespace {

// The sample tree. Every record is written out by hand so that each planted problem sits where
// the comment above it says; people first, then families, sources and notes.
constexpr char sampleGedcom[] =
    R"(0 HEAD
1 SOUR Kinloom
2 NAME Kinloom
1 GEDC
2 VERS 5.5.1
2 FORM LINEAGE-LINKED
1 CHAR UTF-8
1 SUBM @U1@
0 @U1@ SUBM
1 NAME Kinloom Sample
)"
    // Buried four days before the recorded death.
    R"(0 @I1@ INDI
1 NAME John /Hartley/
2 GIVN John
2 SURN Hartley
1 SEX M
1 BIRT
2 DATE 14 MAR 1801
2 PLAC Leeds, Yorkshire, England
2 SOUR @S1@
3 PAGE Baptisms 1801, folio 12
1 CHR
2 DATE 22 MAR 1801
2 PLAC Leeds, Yorkshire, England
1 OCCU Cloth merchant
1 DEAT
2 DATE 2 NOV 1878
2 PLAC Leeds, Yorkshire, England
1 BURI
2 DATE 28 OCT 1878
2 PLAC Leeds, Yorkshire, England
1 FAMS @F1@
1 FAMS @F2@
0 @I2@ INDI
1 NAME Mary /Whitaker/
1 SEX F
1 BIRT
2 DATE ABT 1805
2 PLAC Halifax, Yorkshire, England
1 DEAT
2 DATE 19 JAN 1871
2 PLAC Leeds, Yorkshire, England
1 FAMS @F1@
1 FAMS @F2@
)"
    // Sex written as a word.
    R"(0 @I3@ INDI
1 NAME Thomas /Hartley/
1 SEX male
1 BIRT
2 DATE 9 SEP 1827
2 PLAC Leeds, Yorkshire, England
1 OCCU Wool stapler
1 DEAT
2 DATE 1890
2 PLAC Leeds, Yorkshire, England
1 FAMC @F1@
1 FAMS @F10@
1 NOTE @N1@
)"
    // The fuller of a duplicate pair with Bill (@I7@).
    R"(0 @I4@ INDI
1 NAME William /Hartley/
1 SEX M
1 BIRT
2 DATE 4 JUL 1830
2 PLAC Leeds, Yorkshire, England
2 SOUR @S1@
3 PAGE Baptisms 1830, folio 88
1 CHR
2 DATE 11 JUL 1830
2 PLAC Leeds, Yorkshire, England
1 OCCU Mill manager
1 DEAT
2 DATE 23 FEB 1899
2 PLAC Bradford, Yorkshire, England
1 FAMC @F1@
)"
    // Christened ten days before the recorded birth.
    R"(0 @I5@ INDI
1 NAME Sarah /Hartley/
1 SEX F
1 BIRT
2 DATE 20 JUN 1836
2 PLAC Leeds, Yorkshire, England
1 CHR
2 DATE 10 JUN 1836
2 PLAC Leeds, Yorkshire, England
1 DEAT
2 DATE 1840
2 PLAC Leeds, Yorkshire, England
1 FAMC @F1@
)"
    // Qualifier in lower case.
    R"(0 @I6@ INDI
1 NAME Elizabeth /Hartley/
1 SEX F
1 BIRT
2 DATE abt 1839
2 PLAC Leeds, Yorkshire, England
1 DEAT Y
1 FAMC @F1@
)"
    // William again under a nickname, same birth, child of the repeated family of the same parents.
    R"(0 @I7@ INDI
1 NAME Bill /Hartley/
1 SEX M
1 BIRT
2 DATE 4 JUL 1830
2 PLAC Leeds, Yorkshire, England
1 DEAT Y
1 FAMC @F2@
0 @I8@ INDI
1 NAME Johann Georg /Müller/
1 SEX M
1 BIRT
2 DATE 8 APR 1797
2 PLAC München, Bayern, Deutschland
2 SOUR @S2@
3 PAGE Taufen 1797, S. 41
1 OCCU Bierbrauer
1 DEAT
2 DATE 15 DEC 1862
2 PLAC München, Bayern, Deutschland
1 BURI
2 DATE 18 DEC 1862
2 PLAC München, Bayern, Deutschland
1 FAMS @F3@
)"
    // München spelled a third way: lower case, no blank after the first comma.
    R"(0 @I9@ INDI
1 NAME Maria Anna /Huber/
1 SEX F
1 BIRT
2 DATE 2 FEB 1800
2 PLAC Augsburg, Bayern, Deutschland
1 DEAT
2 DATE 1875
2 PLAC münchen,bayern, deutschland
1 FAMS @F3@
)"
    // The fuller of a duplicate pair with Catharina (@I13@).
    R"(0 @I10@ INDI
1 NAME Katharina /Müller/
1 SEX F
1 BIRT
2 DATE 3 FEB 1828
2 PLAC München, Bayern, Deutschland
2 SOUR @S2@
3 PAGE Taufen 1828, S. 7
1 CHR
2 DATE 4 FEB 1828
2 PLAC München, Bayern, Deutschland
1 DEAT
2 DATE 1901
2 PLAC Leeds, Yorkshire, England
1 FAMC @F3@
1 FAMS @F10@
1 NOTE @N1@
)"
    // Death year mistyped: a life of over 120 years.
    R"(0 @I11@ INDI
1 NAME Georg /Müller/
1 SEX M
1 BIRT
2 DATE 1831
2 PLAC München, Bayern, Deutschland
1 DEAT
2 DATE 1957
2 PLAC Augsburg, Bayern, Deutschland
1 FAMC @F3@
)"
    // Died before being born.
    R"(0 @I12@ INDI
1 NAME Franz Xaver /Müller/
1 SEX M
1 BIRT
2 DATE 5 MAY 1835
2 PLAC München, Bayern, Deutschland
1 DEAT
2 DATE 12 AUG 1833
2 PLAC München, Bayern, Deutschland
1 FAMC @F3@
)"
    // Katharina again with spelling variants of both names (the surname only alike by its sound
    // code), the same birth, München without its umlaut, and no family links at all.
    R"(0 @I13@ INDI
1 NAME Catharina /Mueller/
1 SEX F
1 BIRT
2 DATE 3 FEB 1828
2 PLAC Munchen, Bayern, Deutschland
1 DEAT Y
)"
    // Linked to no family.
    R"(0 @I14@ INDI
1 NAME Hans /Weber/
1 SEX M
1 BIRT
2 DATE BET 1790 AND 1795
2 PLAC Augsburg, Bayern, Deutschland
1 DEAT
2 DATE BEF 1860
1 NOTE Witness at the marriage of Johann Georg Müller and Maria Anna Huber.
)"
    // Birth year mistyped: a father aged 82 when Anna (@I18@) was born, and 41 years older than
    // his wife.
    R"(0 @I15@ INDI
1 NAME Lars /Andersson/
1 SEX M
1 BIRT
2 DATE 12 MAY 1790
2 PLAC Göteborg, Västra Götaland, Sverige
1 OCCU Sjökapten
1 DEAT
2 DATE 1880
2 PLAC Göteborg, Västra Götaland, Sverige
1 FAMS @F4@
0 @I16@ INDI
1 NAME Ingrid /Nilsdotter/
1 SEX F
1 BIRT
2 DATE 1832
2 PLAC Alingsås, Västra Götaland, Sverige
1 DEAT
2 DATE 1901
2 PLAC Göteborg, Västra Götaland, Sverige
1 FAMS @F4@
)"
    // Spouse link to @F5@, which has no HUSB line back.
    R"(0 @I17@ INDI
1 NAME Sven /Andersson/
1 SEX M
1 BIRT
2 DATE 1856
2 PLAC Göteborg, Västra Götaland, Sverige
1 OCCU Skeppsbyggare
1 DEAT
2 DATE AFT 1900
2 PLAC Bergen, Hordaland, Norge
1 FAMC @F4@
1 FAMS @F5@
0 @I18@ INDI
1 NAME Anna /Andersson/
1 SEX F
1 BIRT
2 DATE 3 OCT 1872
2 PLAC Göteborg, Västra Götaland, Sverige
1 DEAT Y
1 FAMC @F4@
0 @I19@ INDI
1 NAME Bjørg /Haugen/
1 SEX F
1 BIRT
2 DATE 1858
2 PLAC Bergen, Hordaland, Norge
1 DEAT Y
1 FAMS @F5@
)"
    // A husband recorded as female.
    R"(0 @I20@ INDI
1 NAME Ole /Andersson/
1 SEX F
1 BIRT
2 DATE 1881
2 PLAC Bergen, Hordaland, Norge
1 DEAT Y
1 FAMC @F5@
1 FAMS @F6@
)"
    // Sex recorded as unknown, though she is the wife of @F12@.
    R"(0 @I21@ INDI
1 NAME Solveig /Andersson/
1 SEX U
1 BIRT
2 DATE 1884
2 PLAC Bergen, Hordaland, Norge
1 DEAT Y
1 FAMC @F5@
1 FAMS @F12@
)"
    // Birth year mistyped: born three years after her son Erik (@I23@), and after her marriage.
    R"(0 @I22@ INDI
1 NAME Marie /Lambert/
1 SEX F
1 BIRT
2 DATE 1911
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMS @F6@
0 @I23@ INDI
1 NAME Erik /Andersson/
1 SEX M
1 BIRT
2 DATE 1908
2 PLAC Bergen, Hordaland, Norge
1 DEAT Y
1 FAMC @F6@
0 @I24@ INDI
1 NAME Jean-Baptiste /Lefèvre/
1 SEX M
1 BIRT
2 DATE 1808
2 PLAC Lyon, Rhône, France
2 SOUR @S4@
3 PAGE Naissances 1808, acte 1142
1 OCCU Canut
1 DEAT
2 DATE 1870
2 PLAC Lyon, Rhône, France
1 FAMS @F7@
)"
    // A place written with a blank before a comma and a doubled blank (its only spelling).
    R"(0 @I25@ INDI
1 NAME Marie-Louise /Dubois/
1 SEX F
1 BIRT
2 DATE 1812
2 PLAC Saint-Étienne ,  Loire, France
1 DEAT
2 DATE 1874
2 PLAC Lyon, Rhône, France
1 FAMS @F7@
)"
    // Fell in 1870; his son Marcel (@I32@) is recorded as born over a year later.
    R"(0 @I26@ INDI
1 NAME Émile /Lefèvre/
1 SEX M
1 BIRT
2 DATE 1835
2 PLAC Lyon, Rhône, France
1 DEAT
2 DATE 16 AUG 1870
2 PLAC Gravelotte, Moselle, France
1 FAMC @F7@
1 FAMS @F8@
)"
    // An abbreviation of the month that GEDCOM does not use, in mixed case.
    R"(0 @I27@ INDI
1 NAME Louise /Lefèvre/
1 SEX F
1 BIRT
2 DATE 12 Sept 1838
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMC @F7@
)"
    // Month written out first.
    R"(0 @I28@ INDI
1 NAME Pierre /Lefèvre/
1 SEX M
1 BIRT
2 DATE March 12, 1841
2 PLAC Lyon, Rhône, France
1 OCCU Instituteur
1 DEAT Y
1 FAMC @F7@
)"
    // Born when her mother (@I25@) was 56.
    R"(0 @I29@ INDI
1 NAME Jeanne /Lefèvre/
1 SEX F
1 BIRT
2 DATE 15 MAY 1869
2 PLAC Lyon, Rhône, France
2 SOUR @S4@
3 PAGE Naissances 1869, acte 2207
1 DEAT Y
1 FAMC @F7@
)"
    // Born in 1840 with no death or burial recorded: probably no longer alive. Her husband's
    // mother was 56 at Jeanne's birth (@I29@), so his family's children span over 25 years.
    R"(0 @I30@ INDI
1 NAME Hélène /Girard/
1 SEX F
1 BIRT
2 DATE 1840
2 PLAC Villeurbanne, Rhône, France
1 FAMS @F8@
)"
    // ISO date; child link to @F8@, which does not list her.
    R"(0 @I31@ INDI
1 NAME Juliette /Lefèvre/
1 SEX F
1 BIRT
2 DATE 1866-04-21
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMC @F8@
0 @I32@ INDI
1 NAME Marcel /Lefèvre/
1 SEX M
1 BIRT
2 DATE 2 SEP 1871
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMC @F8@
1 FAMS @F9@
)"
    // Birth year mistyped: a mother aged ten when Lucien (@I34@) was born, and married at nine.
    // Recorded under her husband's surname.
    R"(0 @I33@ INDI
1 NAME Camille /Lefèvre/
1 SEX F
1 BIRT
2 DATE 14 AUG 1891
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMS @F9@
0 @I34@ INDI
1 NAME Lucien /Lefèvre/
1 SEX M
1 BIRT
2 DATE 2 MAR 1902
2 PLAC Lyon, Rhône, France
1 DEAT Y
1 FAMC @F9@
)"
    // No SEX line, though he is the husband of @F11@; his title written in the name.
    R"(0 @I35@ INDI
1 NAME Rev. Henry /Hartley/
1 BIRT
2 DATE 1853
2 PLAC Leeds, Yorkshire, England
1 DEAT
2 DATE 1920
2 PLAC Leeds, Yorkshire, England
1 FAMC @F10@
1 FAMS @F11@
1 SOUR @S3@
2 PAGE RG11/4532, folio 18
)"
    // A source citation that points at a NOTE record; the year of a census written with two digits.
    R"(0 @I36@ INDI
1 NAME Margaret /Hartley/
1 SEX F
1 BIRT
2 DATE 1855
2 PLAC Leeds, Yorkshire, England
2 SOUR @N1@
1 CENS
2 DATE 3 APR 81
1 DEAT Y
1 FAMC @F10@
)"
    // A source citation to a record the file does not have. His birth has no date, so his
    // christening stands for it; the death is an elder brother's of the same name, years before.
    R"(0 @I37@ INDI
1 NAME Frederick /Hartley/
1 SEX M
1 BIRT
2 PLAC Leeds, Yorkshire, England
1 CHR
2 DATE 1858
2 PLAC Leeds, Yorkshire, England
1 DEAT
2 DATE 1851
2 PLAC Leeds, Yorkshire, England
1 SOUR @S9@
1 FAMC @F10@
)"
    // Name without slashes around the surname; died months before her daughter Edith (@I41@).
    R"(0 @I38@ INDI
1 NAME Ellen Brooks
1 SEX F
1 BIRT
2 DATE 1857
2 PLAC Manchester, Lancashire, England
1 DEAT
2 DATE 4 MAR 1886
2 PLAC Leeds, Yorkshire, England
1 FAMS @F11@
)"
    // Burial year mistyped (1862 for 1962): buried before being born, and no death recorded.
    R"(0 @I39@ INDI
1 NAME Alice /Hartley/
1 SEX F
1 BIRT
2 DATE 1880
2 PLAC Leeds, Yorkshire, England
1 BURI
2 DATE 1862
2 PLAC Leeds, Yorkshire, England
1 FAMC @F11@
)"
    // Listed as a child of @F11@ but without the FAMC line back; a date written as his burial place.
    R"(0 @I40@ INDI
1 NAME Walter /Hartley/
1 SEX M
1 BIRT
2 DATE 1883
2 PLAC Leeds, Yorkshire, England
1 BURI
2 PLAC 12 MAR 1951
1 FAMS @F12@
0 @I41@ INDI
1 NAME Edith /Hartley/
1 SEX F
1 BIRT
2 DATE 7 NOV 1886
2 PLAC Leeds, Yorkshire, England
1 DEAT Y
1 FAMC @F11@
0 @I42@ INDI
1 NAME Arthur /Hartley/
1 SEX M
1 BIRT
2 DATE 1906
2 PLAC Leeds, Yorkshire, England
1 DEAT Y
1 FAMC @F12@
)"
    // Birth year mistyped (1911 for 1909): born five months before her brother (@I44@).
    R"(0 @I43@ INDI
1 NAME Ingrid /Hartley/
1 SEX F
1 BIRT
2 DATE 12 NOV 1911
2 PLAC Leeds, Yorkshire, England
1 DEAT Y
1 FAMC @F12@
)"
    // No name at all; a death date that is only a word.
    R"(0 @I44@ INDI
1 SEX M
1 BIRT
2 DATE 4 APR 1912
2 PLAC Leeds, Yorkshire, England
1 DEAT
2 DATE stillborn
1 FAMC @F12@
)"
    // Marriage date with a doubled blank.
    R"(0 @F1@ FAM
1 HUSB @I1@
1 WIFE @I2@
1 CHIL @I3@
1 CHIL @I4@
1 CHIL @I5@
1 CHIL @I6@
1 MARR
2 DATE 3  JUN 1826
2 PLAC Leeds, Yorkshire, England
2 SOUR @S1@
3 PAGE Marriages 1826, no. 211
)"
    // The same couple as @F1@ entered a second time.
    R"(0 @F2@ FAM
1 HUSB @I1@
1 WIFE @I2@
1 CHIL @I7@
1 MARR
2 DATE 1826
2 PLAC Leeds, Yorkshire, England
)"
    // München spelled a second way, without the umlaut.
    R"(0 @F3@ FAM
1 HUSB @I8@
1 WIFE @I9@
1 CHIL @I10@
1 CHIL @I11@
1 CHIL @I12@
1 MARR
2 DATE 1822
2 PLAC Munchen, Bayern, Deutschland
0 @F4@ FAM
1 HUSB @I15@
1 WIFE @I16@
1 CHIL @I17@
1 CHIL @I18@
1 MARR
2 DATE 1855
2 PLAC Göteborg, Västra Götaland, Sverige
)"
    // Husband line missing although Sven (@I17@) names this family.
    R"(0 @F5@ FAM
1 WIFE @I19@
1 CHIL @I20@
1 CHIL @I21@
1 MARR
2 DATE 1880
2 PLAC Bergen, Hordaland, Norge
0 @F6@ FAM
1 HUSB @I20@
1 WIFE @I22@
1 CHIL @I23@
1 MARR
2 DATE 1906
2 PLAC Bergen, Hordaland, Norge
)"
    // All-number date that reads two ways. It stays ambiguous only while no other all-number date
    // in the file has a day above 12.
    R"(0 @F7@ FAM
1 HUSB @I24@
1 WIFE @I25@
1 CHIL @I26@
1 CHIL @I27@
1 CHIL @I28@
1 CHIL @I29@
1 MARR
2 DATE 12/03/1833
2 PLAC Lyon, Rhône, France
)"
    // Juliette (@I31@) is missing from the children.
    R"(0 @F8@ FAM
1 HUSB @I26@
1 WIFE @I30@
1 CHIL @I32@
1 MARR
2 DATE 1865
2 PLAC Lyon, Rhône, France
0 @F9@ FAM
1 HUSB @I32@
1 WIFE @I33@
1 CHIL @I34@
1 MARR
2 DATE 1900
2 PLAC Lyon, Rhône, France
)"
    // Margaret (@I36@) listed twice; marriage year mistyped (1892 for 1852), after Thomas (@I3@) died.
    R"(0 @F10@ FAM
1 HUSB @I3@
1 WIFE @I10@
1 CHIL @I35@
1 CHIL @I36@
1 CHIL @I36@
1 CHIL @I37@
1 MARR
2 DATE 14 MAY 1892
2 PLAC München, Bayern, Deutschland
0 @F11@ FAM
1 HUSB @I35@
1 WIFE @I38@
1 CHIL @I39@
1 CHIL @I40@
1 CHIL @I41@
1 MARR
2 DATE 1878
2 PLAC Manchester, Lancashire, England
0 @F12@ FAM
1 HUSB @I40@
1 WIFE @I21@
1 CHIL @I42@
1 CHIL @I43@
1 CHIL @I44@
1 MARR
2 DATE 1905
2 PLAC Bergen, Hordaland, Norge
)"
    // A family with no members, left behind by an earlier edit.
    R"(0 @F13@ FAM
1 CHAN
2 DATE 3 MAR 2019
0 @S1@ SOUR
1 TITL Parish registers of Leeds, St Peter
1 AUTH Church of England
0 @S2@ SOUR
1 TITL Taufbuch der Pfarrei St. Peter, München
1 AUTH Erzbistum München und Freising
)"
    // Two sources merged in from different files under one ID.
    R"(0 @S3@ SOUR
1 TITL Census of England and Wales, 1881
0 @S3@ SOUR
1 TITL Folketelling 1900 for Bergen
0 @S4@ SOUR
1 TITL État civil de Lyon, naissances
)"
    // Not cited anywhere.
    R"(0 @S5@ SOUR
1 TITL Andersson family bible
0 @N1@ NOTE Thomas Hartley met Katharina Müller while buying wool in Bavaria.
1 CONT They married at St. Peter in München in May 1852
1 CONC  and settled in Leeds, where all their children were born.
1 CONT Katharina never lost her accent, her grandchildren remembered.
)"
    // A research note nobody refers to.
    R"(0 @N2@ NOTE Research log: look for Sarah Hartley in the 1841 census.
1 CONT Nothing found in Leeds; try Halifax next.
)"
    // Not cited anywhere, and written by a program that doubles a space and keeps a tag of its own
    // without the underscore.
    R"(0 @R1@ REPO
1  NAME Leeds Central Library
1 HOUR Monday to Friday, 9 to 5
0 TRLR
)";

// Names, places and occupations by region. A small share carries letters outside ASCII; all of
// them exist in Windows-1252 and have an ANSEL form, so the tree can be re-encoded either way.

constexpr std::string_view englishMen[] = {
    "John",    "William",   "Thomas",  "James",    "George",    "Joseph",   "Richard",   "Henry",
    "Robert",  "Charles",   "Samuel",  "Edward",   "Benjamin",  "Daniel",   "Frederick", "Arthur",
    "Albert",  "Alfred",    "Walter",  "Harold",   "Francis",   "Matthew",  "Peter",     "Michael",
    "Stephen", "Andrew",    "Edmund",  "Hugh",     "Ralph",     "Roger",    "Nicholas",  "Christopher",
    "Anthony", "Isaac",     "Abraham", "Jacob",    "Nathaniel", "Jonathan", "Josiah",    "Elijah",
    "Ernest",  "Herbert",   "Percy",   "Leonard",  "Sidney",    "Cecil",    "Reginald",  "Harry",
    "Frank",   "Alexander", "Philip",  "Lawrence", "Gilbert",   "Oliver",   "Simon",     "Timothy",
    "Luke",    "Mark",      "Edwin",   "Horace",   "Noël",      "Amos",     "Ezra",      "Silas",
};
constexpr std::string_view englishWomen[] = {
    "Mary",      "Elizabeth", "Sarah",     "Ann",      "Jane",      "Margaret", "Hannah",   "Martha",
    "Alice",     "Emma",      "Ellen",     "Eliza",    "Catherine", "Susannah", "Frances",  "Harriet",
    "Charlotte", "Emily",     "Louisa",    "Clara",    "Edith",     "Florence", "Ada",      "Annie",
    "Agnes",     "Rose",      "Lucy",      "Grace",    "Dorothy",   "Isabella", "Maria",    "Rebecca",
    "Rachel",    "Esther",    "Ruth",      "Phoebe",   "Betty",     "Nancy",    "Fanny",    "Kate",
    "Lily",      "Mabel",     "Ethel",     "Gertrude", "Winifred",  "Violet",   "Beatrice", "Amelia",
    "Caroline",  "Matilda",   "Priscilla", "Dinah",    "Lydia",     "Judith",   "Deborah",  "Abigail",
    "Bridget",   "Joan",      "Eleanor",   "Helen",    "Zoë",       "Maud",     "Olive",    "Elsie",
};
constexpr std::string_view englishSurnames[] = {
    "Smith",     "Jones",     "Taylor",      "Brown",       "Williams",   "Wilson",   "Johnson", "Davies",
    "Robinson",  "Wright",    "Thompson",    "Evans",       "Walker",     "White",    "Roberts", "Green",
    "Hall",      "Wood",      "Jackson",     "Clarke",      "Harris",     "Lewis",    "Martin",  "Cooper",
    "King",      "Baker",     "Harrison",    "Morgan",      "Allen",      "Hughes",   "Turner",  "Hill",
    "Scott",     "Ward",      "Moore",       "Parker",      "Clark",      "Cook",     "Edwards", "Bennett",
    "Carter",    "Mitchell",  "Shaw",        "Bailey",      "Richardson", "Holmes",   "Hartley", "Whitaker",
    "Sutcliffe", "Greenwood", "Ackroyd",     "Barraclough", "Haigh",      "Crowther", "Pickles", "Rushworth",
    "Ogden",     "Brooke",    "Hirst",       "Firth",       "Lumb",       "Mortimer", "Pollard", "Priestley",
    "Sykes",     "Thornton",  "Wadsworth",   "Booth",       "Fletcher",   "Marsden",  "Kershaw", "Holt",
    "Lord",      "Ashworth",  "Butterworth", "Nuttall",     "Dawson",     "Fox",      "Mellor",  "Brontë",
};
constexpr std::string_view englishPlaces[] = {
    "Leeds, Yorkshire, England",
    "Bradford, Yorkshire, England",
    "Halifax, Yorkshire, England",
    "Huddersfield, Yorkshire, England",
    "Wakefield, Yorkshire, England",
    "York, Yorkshire, England",
    "Sheffield, Yorkshire, England",
    "Haworth, Yorkshire, England",
    "Manchester, Lancashire, England",
    "Liverpool, Lancashire, England",
    "Preston, Lancashire, England",
    "Bolton, Lancashire, England",
    "Rochdale, Lancashire, England",
    "Oldham, Lancashire, England",
    "Blackburn, Lancashire, England",
    "Lancaster, Lancashire, England",
    "Chester, Cheshire, England",
    "Macclesfield, Cheshire, England",
    "Stockport, Cheshire, England",
    "Derby, Derbyshire, England",
    "Chesterfield, Derbyshire, England",
    "Nottingham, Nottinghamshire, England",
    "Lincoln, Lincolnshire, England",
    "Norwich, Norfolk, England",
    "King's Lynn, Norfolk, England",
    "Ipswich, Suffolk, England",
    "Bristol, Gloucestershire, England",
    "Gloucester, Gloucestershire, England",
    "Exeter, Devon, England",
    "Plymouth, Devon, England",
    "London, Middlesex, England",
    "Canterbury, Kent, England",
};
constexpr std::string_view englishJobs[] = {
    "Farmer",
    "Agricultural labourer",
    "Weaver",
    "Wool comber",
    "Coal miner",
    "Blacksmith",
    "Carpenter",
    "Shoemaker",
    "Tailor",
    "Butcher",
    "Baker",
    "Grocer",
    "Publican",
    "Stonemason",
    "Clerk",
    "Schoolmaster",
    "Domestic servant",
    "Dressmaker",
    "Cotton spinner",
    "Railway porter",
};

constexpr std::string_view germanMen[] = {
    "Johann",    "Georg",     "Friedrich", "Wilhelm",   "Heinrich",    "Karl",     "Carl",      "Franz",
    "Joseph",    "Anton",     "Jakob",     "Michael",   "Peter",       "Andreas",  "Martin",    "Christian",
    "Ludwig",    "Hermann",   "August",    "Ernst",     "Otto",        "Paul",     "Gustav",    "Adolf",
    "Hans",      "Konrad",    "Matthias",  "Sebastian", "Lorenz",      "Kaspar",   "Balthasar", "Melchior",
    "Xaver",     "Alois",     "Benedikt",  "Leonhard",  "Wolfgang",    "Philipp",  "Valentin",  "Simon",
    "Stefan",    "Gottfried", "Gottlieb",  "Traugott",  "Fürchtegott", "Bernhard", "Eberhard",  "Konstantin",
    "Theodor",   "Emil",      "Max",       "Rudolf",    "Albrecht",    "Dietrich", "Engelbert", "Ignaz",
    "Korbinian", "Quirin",    "Urban",     "Veit",      "Jörg",        "Günther",
};
constexpr std::string_view germanWomen[] = {
    "Maria",      "Anna",       "Katharina", "Elisabeth", "Margaretha", "Barbara",  "Magdalena", "Theresia",
    "Franziska",  "Johanna",    "Sophie",    "Christina", "Dorothea",   "Juliane",  "Karoline",  "Luise",
    "Wilhelmine", "Friederike", "Auguste",   "Emilie",    "Bertha",     "Martha",   "Frieda",    "Gertrud",
    "Hedwig",     "Helene",     "Ida",       "Klara",     "Lina",       "Marie",    "Rosina",    "Susanna",
    "Ursula",     "Walburga",   "Kunigunde", "Kreszenz",  "Afra",       "Ottilie",  "Regina",    "Agatha",
    "Apollonia",  "Cäcilia",    "Genoveva",  "Josepha",   "Viktoria",   "Veronika", "Hildegard", "Irmgard",
    "Adelheid",   "Mechthild",  "Brigitte",  "Monika",    "Rosa",       "Paula",    "Amalie",    "Henriette",
    "Charlotte",  "Mathilde",   "Käthe",     "Liesel",
};
constexpr std::string_view germanSurnames[] = {
    "Müller",   "Schmidt",  "Schneider", "Fischer",    "Weber",   "Meyer",   "Wagner",     "Becker",
    "Schulz",   "Hoffmann", "Schäfer",   "Koch",       "Bauer",   "Richter", "Klein",      "Wolf",
    "Schröder", "Neumann",  "Schwarz",   "Zimmermann", "Braun",   "Krüger",  "Hofmann",    "Hartmann",
    "Lange",    "Schmitt",  "Werner",    "Schmitz",    "Krause",  "Meier",   "Lehmann",    "Schmid",
    "Schulze",  "Maier",    "Köhler",    "Herrmann",   "König",   "Walter",  "Mayer",      "Huber",
    "Kaiser",   "Fuchs",    "Peters",    "Lang",       "Scholz",  "Möller",  "Weiß",       "Jung",
    "Hahn",     "Schubert", "Vogel",     "Friedrich",  "Keller",  "Günther", "Frank",      "Berger",
    "Winkler",  "Roth",     "Beck",      "Lorenz",     "Baumann", "Franke",  "Albrecht",   "Schuster",
    "Simon",    "Ludwig",   "Böhm",      "Winter",     "Kraus",   "Martin",  "Schumacher", "Krämer",
    "Vogt",     "Stein",    "Jäger",     "Otto",       "Sommer",  "Groß",    "Seidel",     "Heinrich",
};
constexpr std::string_view germanPlaces[] = {
    "München, Bayern, Deutschland",        "Augsburg, Bayern, Deutschland",
    "Nürnberg, Bayern, Deutschland",       "Regensburg, Bayern, Deutschland",
    "Würzburg, Bayern, Deutschland",       "Bamberg, Bayern, Deutschland",
    "Ingolstadt, Bayern, Deutschland",     "Passau, Bayern, Deutschland",
    "Landshut, Bayern, Deutschland",       "Erlangen, Bayern, Deutschland",
    "Stuttgart, Württemberg, Deutschland", "Ulm, Württemberg, Deutschland",
    "Tübingen, Württemberg, Deutschland",  "Heilbronn, Württemberg, Deutschland",
    "Esslingen, Württemberg, Deutschland", "Karlsruhe, Baden, Deutschland",
    "Freiburg, Baden, Deutschland",        "Heidelberg, Baden, Deutschland",
    "Mannheim, Baden, Deutschland",        "Konstanz, Baden, Deutschland",
    "Mainz, Hessen, Deutschland",          "Darmstadt, Hessen, Deutschland",
    "Kassel, Hessen, Deutschland",         "Fulda, Hessen, Deutschland",
    "Köln, Rheinprovinz, Deutschland",     "Düsseldorf, Rheinprovinz, Deutschland",
    "Koblenz, Rheinprovinz, Deutschland",  "Trier, Rheinprovinz, Deutschland",
    "Leipzig, Sachsen, Deutschland",       "Dresden, Sachsen, Deutschland",
    "Chemnitz, Sachsen, Deutschland",      "Lübeck, Schleswig-Holstein, Deutschland",
};
constexpr std::string_view germanJobs[] = {
    "Bauer",    "Tagelöhner", "Weber",  "Schmied",  "Schreiner", "Schuhmacher", "Schneider",
    "Metzger",  "Bäcker",     "Müller", "Gastwirt", "Maurer",    "Zimmermann",  "Lehrer",
    "Kaufmann", "Knecht",     "Magd",   "Brauer",   "Fuhrmann",  "Wagner",
};

constexpr std::string_view nordicMen[] = {
    "Lars",     "Anders",  "Johan",  "Carl",   "Erik",   "Per",      "Nils",    "Olof",     "Karl",
    "Gustaf",   "Sven",    "Jöns",   "Magnus", "Jonas",  "Petter",   "Oskar",   "Axel",     "Fredrik",
    "Henrik",   "Isak",    "Jakob",  "Mats",   "Måns",   "Bengt",    "Gunnar",  "Håkan",    "Ingvar",
    "Knut",     "Leif",    "Arvid",  "Ole",    "Hans",   "Jens",     "Peder",   "Søren",    "Niels",
    "Christen", "Rasmus",  "Mads",   "Jørgen", "Thomas", "Kristian", "Halvor",  "Torstein", "Bjørn",
    "Einar",    "Gudmund", "Haakon", "Ivar",   "Kjell",  "Sigurd",   "Steinar", "Tor",      "Trygve",
    "Vidar",    "Alf",     "Birger", "Emil",   "Ragnar", "Viktor",   "Åke",     "Gösta",
};
constexpr std::string_view nordicWomen[] = {
    "Anna",    "Maria",    "Kristina",  "Greta",  "Karin",   "Brita",   "Ingrid",   "Elin",    "Kerstin",
    "Sigrid",  "Ingeborg", "Margareta", "Helena", "Johanna", "Elsa",    "Hilda",    "Emma",    "Augusta",
    "Hulda",   "Sofia",    "Ebba",      "Märta",  "Astrid",  "Gunhild", "Ragnhild", "Solveig", "Kari",
    "Marit",   "Guri",     "Sissel",    "Anne",   "Berit",   "Bodil",   "Dagny",    "Dorthea", "Else",
    "Gudrun",  "Hanne",    "Inger",     "Karen",  "Kirsten", "Lise",    "Mette",    "Signe",   "Thora",
    "Torborg", "Åse",      "Liv",       "Randi",  "Eli",     "Turid",   "Gro",      "Aslaug",  "Borghild",
    "Helga",   "Oda",      "Kaja",      "Edel",   "Jorunn",  "Ulla",    "Birgitta", "Linnéa",
};
constexpr std::string_view nordicSurnames[] = {
    "Andersson",   "Johansson",  "Karlsson",   "Nilsson",    "Eriksson",    "Larsson",     "Olsson",
    "Persson",     "Svensson",   "Gustafsson", "Pettersson", "Jonsson",     "Jansson",     "Hansson",
    "Bengtsson",   "Jönsson",    "Lindberg",   "Lindström",  "Lindqvist",   "Lindgren",    "Berg",
    "Bergström",   "Lundberg",   "Lundgren",   "Lundqvist",  "Mattsson",    "Berglund",    "Fredriksson",
    "Sandberg",    "Henriksson", "Forsberg",   "Sjöberg",    "Wallin",      "Engström",    "Eklund",
    "Danielsson",  "Lundin",     "Håkansson",  "Björk",      "Holm",        "Hansen",      "Johansen",
    "Olsen",       "Larsen",     "Andersen",   "Pedersen",   "Nilsen",      "Kristiansen", "Jensen",
    "Karlsen",     "Haugen",     "Bakken",     "Dahl",       "Halvorsen",   "Moen",        "Lie",
    "Strand",      "Solberg",    "Berge",      "Nygård",     "Aas",         "Hagen",       "Eide",
    "Lund",        "Brekke",     "Rasmussen",  "Sørensen",   "Christensen", "Madsen",      "Jørgensen",
    "Thomsen",     "Poulsen",    "Mortensen",  "Knudsen",    "Møller",      "Østergaard",  "Kjær",
    "Vestergaard", "Dalgaard",   "Ekström",
};
constexpr std::string_view nordicPlaces[] = {
    "Göteborg, Västra Götaland, Sverige",
    "Alingsås, Västra Götaland, Sverige",
    "Borås, Västra Götaland, Sverige",
    "Uddevalla, Västra Götaland, Sverige",
    "Stockholm, Uppland, Sverige",
    "Uppsala, Uppland, Sverige",
    "Västerås, Västmanland, Sverige",
    "Örebro, Närke, Sverige",
    "Linköping, Östergötland, Sverige",
    "Norrköping, Östergötland, Sverige",
    "Jönköping, Småland, Sverige",
    "Växjö, Småland, Sverige",
    "Kalmar, Småland, Sverige",
    "Malmö, Skåne, Sverige",
    "Lund, Skåne, Sverige",
    "Helsingborg, Skåne, Sverige",
    "Falun, Dalarna, Sverige",
    "Gävle, Gästrikland, Sverige",
    "Bergen, Hordaland, Norge",
    "Voss, Hordaland, Norge",
    "Christiania, Akershus, Norge",
    "Drammen, Buskerud, Norge",
    "Stavanger, Rogaland, Norge",
    "Trondheim, Sør-Trøndelag, Norge",
    "Ålesund, Møre og Romsdal, Norge",
    "Tromsø, Troms, Norge",
    "København, Sjælland, Danmark",
    "Roskilde, Sjælland, Danmark",
    "Odense, Fyn, Danmark",
    "Aarhus, Jylland, Danmark",
    "Aalborg, Jylland, Danmark",
    "Ribe, Jylland, Danmark",
};
constexpr std::string_view nordicJobs[] = {
    "Bonde",        "Torpare", "Dräng",    "Piga",      "Snickare",   "Smed",    "Skomakare",
    "Skräddare",    "Fiskare", "Sjöman",   "Handlande", "Gårdbruker", "Husmann", "Fisker",
    "Tjenestepike", "Skipper", "Landmand", "Husmand",   "Tømrer",     "Lærer",
};

constexpr std::string_view frenchMen[] = {
    "Jean",    "Pierre",    "Jacques", "Louis",     "François",      "Joseph",      "Antoine",    "Claude",
    "Nicolas", "Étienne",   "Michel",  "Charles",   "Jean-Baptiste", "Jean-Pierre", "Jean-Louis", "André",
    "Henri",   "Paul",      "Auguste", "Eugène",    "Jules",         "Émile",       "Victor",     "Alphonse",
    "Marcel",  "Lucien",    "Georges", "Gabriel",   "Laurent",       "Philippe",    "Benoît",     "Mathieu",
    "Julien",  "Guillaume", "Denis",   "Gilbert",   "Barthélemy",    "Honoré",      "Hippolyte",  "Félix",
    "Léon",    "Gustave",   "Adolphe", "Alexandre", "Augustin",      "Baptiste",    "Césaire",    "Clément",
    "Damien",  "Edmond",    "Fernand", "Firmin",    "Gaston",        "Gérard",      "Hubert",     "Isidore",
    "Léopold", "Maurice",   "Raymond", "René",      "Anatole",       "Aimé",
};
constexpr std::string_view frenchWomen[] = {
    "Marie",      "Jeanne",    "Anne",         "Françoise",  "Catherine",  "Marguerite", "Madeleine",
    "Louise",     "Élisabeth", "Marie-Louise", "Marie-Anne", "Antoinette", "Claudine",   "Geneviève",
    "Jacqueline", "Joséphine", "Julie",        "Rose",       "Victoire",   "Adèle",      "Augustine",
    "Camille",    "Céline",    "Clémence",     "Élise",      "Eugénie",    "Henriette",  "Hélène",
    "Juliette",   "Léonie",    "Lucie",        "Mathilde",   "Pauline",    "Philomène",  "Sophie",
    "Thérèse",    "Virginie",  "Zoé",          "Berthe",     "Blanche",    "Cécile",     "Denise",
    "Émilie",     "Estelle",   "Fanny",        "Germaine",   "Irène",      "Jeannette",  "Laure",
    "Lucienne",   "Marcelle",  "Odette",       "Perrine",    "Reine",      "Simone",     "Suzanne",
    "Valentine",  "Yvonne",    "Agathe",       "Angélique",  "Noémie",     "Gaëlle",
};
constexpr std::string_view frenchSurnames[] = {
    "Martin",    "Bernard",   "Dubois",    "Thomas",   "Robert",   "Richard",  "Petit",   "Durand",
    "Leroy",     "Moreau",    "Simon",     "Laurent",  "Lefebvre", "Michel",   "Lefèvre", "Girard",
    "Roux",      "Fournier",  "Morel",     "Mercier",  "Dupont",   "Lambert",  "Bonnet",  "François",
    "Legrand",   "Garnier",   "Faure",     "Rousseau", "Blanc",    "Guérin",   "Henry",   "Roussel",
    "Nicolas",   "Perrin",    "Morin",     "Mathieu",  "Clément",  "Gauthier", "Dumont",  "Fontaine",
    "Chevalier", "Robin",     "Masson",    "Gérard",   "Boyer",    "Denis",    "Lemaire", "Duval",
    "Joly",      "Gautier",   "Roger",     "Roche",    "Roy",      "Noël",     "Lucas",   "Meunier",
    "Marchand",  "Dufour",    "Blanchard", "Barbier",  "Brun",     "Dumas",    "Brunet",  "Leroux",
    "Colin",     "Renard",    "Arnaud",    "Rolland",  "Caron",    "Aubert",   "Giraud",  "Leclerc",
    "Vidal",     "Bourgeois", "Renaud",    "Lemoine",  "Picard",   "Prévost",  "Carré",   "Rémy",
};
constexpr std::string_view frenchPlaces[] = {
    "Lyon, Rhône, France",
    "Villeurbanne, Rhône, France",
    "Givors, Rhône, France",
    "Roanne, Loire, France",
    "Montbrison, Loire, France",
    "Grenoble, Isère, France",
    "Vienne, Isère, France",
    "Voiron, Isère, France",
    "Bourg-en-Bresse, Ain, France",
    "Belley, Ain, France",
    "Mâcon, Saône-et-Loire, France",
    "Chalon-sur-Saône, Saône-et-Loire, France",
    "Dijon, Côte-d'Or, France",
    "Beaune, Côte-d'Or, France",
    "Besançon, Doubs, France",
    "Clermont-Ferrand, Puy-de-Dôme, France",
    "Annecy, Haute-Savoie, France",
    "Chambéry, Savoie, France",
    "Paris, Seine, France",
    "Rouen, Seine-Inférieure, France",
    "Nantes, Loire-Inférieure, France",
    "Rennes, Ille-et-Vilaine, France",
    "Quimper, Finistère, France",
    "Bordeaux, Gironde, France",
    "Toulouse, Haute-Garonne, France",
    "Marseille, Bouches-du-Rhône, France",
    "Nîmes, Gard, France",
    "Montpellier, Hérault, France",
    "Strasbourg, Bas-Rhin, France",
    "Lille, Nord, France",
    "Orléans, Loiret, France",
    "Périgueux, Dordogne, France",
};
// Surnames beyond each region's common ones, built from a stem and an ending as such names are
// ("Ashford", "Steinbach", "Lindqvist", "Beaumont"): real trees hold thousands of surnames, most
// of them rare.
constexpr std::string_view englishStems[] = {
    "Ash",  "Black", "Brad",  "Brook", "Cald", "Chap", "Cran", "Dal",  "Fair", "Gold",
    "Hart", "Hath",  "Holl",  "Kings", "Lang", "Mar",  "Mid",  "Nor",  "Red",  "Rother",
    "Shel", "Stan",  "Thorn", "Wal",   "West", "Whit", "Wins", "Bur",  "Ald",  "Bram",
    "Cot",  "Dun",   "Ever",  "Farn",  "Gar",  "Had",  "Kel",  "Lock", "Pen",  "Sal",
};
constexpr std::string_view englishEndings[] = {
    "ley", "ton",  "wood",  "ford",  "field", "well", "worth",  "by",   "ham",   "more",
    "den", "bury", "stone", "combe", "hurst", "shaw", "cliffe", "wick", "ridge", "low",
};
constexpr std::string_view germanStems[] = {
    "Bach",   "Berg",  "Eich",  "Feld",  "Gross", "Hof",   "Kirch",  "Klein",  "Lang",   "Lind",
    "Neu",    "Ober",  "Rosen", "Schön", "Stein", "Wald",  "Weiß",   "Winter", "Zimmer", "Brand",
    "Kessel", "Mühl",  "Roth",  "Sauer", "Stock", "Acker", "Birken", "Dorn",   "Eisen",  "Fuchs",
    "Grün",   "Hagen", "Kalb",  "Loh",   "Moos",  "Nuss",  "Pfeif",  "Ried",   "Sonn",   "Tann",
};
constexpr std::string_view germanEndings[] = {
    "mann",  "er",  "hoff", "berger", "müller", "feld",   "bach", "stein",   "hardt", "inger",
    "meier", "ner", "lein", "haus",   "bauer",  "reiter", "wald", "schmidt", "huber", "brunner",
};
constexpr std::string_view nordicStems[] = {
    "Anders", "Berg",  "Carl",  "Dahl", "Ek",    "Fors",  "Gust",  "Hag", "Holm", "Lind",
    "Lund",   "Nils",  "Olof",  "Sjö",  "Ström", "Sund",  "Wall",  "Öst", "Ahl",  "Björk",
    "Asp",    "Fager", "Ljung", "Sand", "Alm",   "Bäck",  "Ceder", "Eng", "Gran", "Hed",
    "Kjell",  "Lil",   "Malm",  "Nord", "Pers",  "Rosen", "Sten",  "Tor", "Vik",  "Åker",
};
constexpr std::string_view nordicEndings[] = {
    "son",  "sson", "berg", "gren",   "ström", "qvist", "lund", "man",  "dahl", "holm",
    "sten", "blad", "ling", "strand", "näs",   "by",    "vall", "mark", "sjö",  "feldt",
};
constexpr std::string_view frenchStems[] = {
    "Beau", "Bel",  "Bon",  "Cham", "Chev", "Dur",  "Font", "Gar",  "Gir",  "Lac",
    "Lam",  "Mar",  "Mor",  "Ray",  "Roch", "Roux", "Vall", "Vill", "Bois", "Char",
    "Duc",  "Fav",  "Gaut", "Jol",  "Ber",  "Cour", "Del",  "Four", "Gren", "Hug",
    "Lar",  "Mich", "Nov",  "Pel",  "Ren",  "Sav",  "Tess", "Vau",  "Bour", "Chap",
};
constexpr std::string_view frenchEndings[] = {
    "ard",  "aud",  "eau", "el",  "et", "ier", "in",  "on",   "ot",    "ault",
    "elle", "ette", "ois", "and", "y",  "oux", "ant", "enne", "illon", "ac",
};

constexpr std::string_view frenchJobs[] = {
    "Cultivateur", "Journalier", "Tisserand",  "Vigneron",   "Forgeron",   "Menuisier",   "Cordonnier",
    "Tailleur",    "Boucher",    "Boulanger",  "Aubergiste", "Maçon",      "Charpentier", "Instituteur",
    "Négociant",   "Domestique", "Couturière", "Meunier",    "Charretier", "Canut",
};

struct Region
{
    std::span<const std::string_view> men;
    std::span<const std::string_view> women;
    std::span<const std::string_view> surnames;
    std::span<const std::string_view> surnameStems;
    std::span<const std::string_view> surnameEndings;
    std::span<const std::string_view> places;
    std::span<const std::string_view> jobs;
    std::string_view registerTitle; ///< followed by a town
    std::string_view registerAuthor;
    std::string_view page; ///< followed by a page number
    std::string_view religion;
};

constexpr Region regions[] = {
    {englishMen, englishWomen, englishSurnames, englishStems, englishEndings, englishPlaces, englishJobs,
     "Parish registers of ", "Church of England", "Baptisms and burials, folio ", "Church of England"},
    {germanMen, germanWomen, germanSurnames, germanStems, germanEndings, germanPlaces, germanJobs,
     "Kirchenbuch ", "Evangelisch-Lutherisches Pfarramt", "Seite ", "katholisch"},
    {nordicMen, nordicWomen, nordicSurnames, nordicStems, nordicEndings, nordicPlaces, nordicJobs,
     "Kyrkobok ", "Riksarkivet", "Sida ", "luthersk"},
    {frenchMen, frenchWomen, frenchSurnames, frenchStems, frenchEndings, frenchPlaces, frenchJobs,
     "Registres paroissiaux de ", "Archives départementales", "Vue ", "catholique"},
};
constexpr auto regionCount = static_cast<std::uint32_t>(std::size(regions));

// Short forms a copy may carry instead of the given name, from the duplicate finder's own table.
constexpr std::pair<std::string_view, std::string_view> nicknames[] = {
    {"William", "Bill"},    {"William", "Will"},    {"William", "Wm"},      {"John", "Jack"},
    {"John", "Jno"},        {"Charles", "Chas"},    {"Thomas", "Thos"},     {"James", "Jas"},
    {"George", "Geo"},      {"Elizabeth", "Eliza"}, {"Elizabeth", "Betsy"}, {"Margaret", "Peggy"},
    {"Margaret", "Maggie"}, {"Robert", "Bob"},      {"Robert", "Robt"},     {"Richard", "Richd"},
    {"Samuel", "Sam"},      {"Benjamin", "Ben"},    {"Daniel", "Dan"},      {"Edward", "Ned"},
    {"Joseph", "Joe"},      {"Alexander", "Alex"},  {"Andrew", "Andw"},     {"Henry", "Harry"},
    {"Frederick", "Fred"},  {"Catherine", "Kate"},  {"Catherine", "Kitty"}, {"Mary", "Polly"},
    {"Mary", "Molly"},      {"Martha", "Patsy"},    {"Sarah", "Sally"},     {"Ann", "Nancy"},
    {"Ann", "Annie"},       {"Jane", "Jenny"},      {"Eleanor", "Nell"},    {"Eleanor", "Nellie"},
};

constexpr std::string_view noteSentences[] = {
    "Baptised in the parish church; the godparents are named in the register.",
    "Family tradition says he served in the militia during the war years.",
    "The register gives the father's trade but not the mother's maiden name.",
    "Emigrated with two brothers; the ship's list spells the surname differently.",
    "Lived for some years with a married daughter after being widowed.",
    "A letter kept in the family mentions a farm near the river.",
    "The census enumerator wrote the age as about forty.",
    "Signed the marriage register with a mark.",
    "The burial entry notes that the funeral was paid for by the parish.",
    "Her name appears in the household of an uncle in the next census.",
    "A gravestone in the old churchyard carries both names.",
    "Apprenticed at fourteen to a master in the town.",
    "The birth was registered six weeks late, with a fine.",
    "Moved to the city when the mill closed.",
    "The will leaves the house to the eldest son and the furniture to the daughters.",
    "Recorded in the militia list as five feet eight inches tall.",
};

constexpr std::string_view monthCodes[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                           "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
constexpr std::string_view monthNames[] = {"January",   "February", "March",    "April",
                                           "May",       "June",     "July",     "August",
                                           "September", "October",  "November", "December"};
constexpr std::string_view monthShort[] = {"Jan", "Feb", "Mar",  "Apr", "May", "Jun",
                                           "Jul", "Aug", "Sept", "Oct", "Nov", "Dec"};
constexpr int monthDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

// splitmix64: tiny, fast and the same on every platform, unlike the standard distributions.
class Rng
{
public:
    explicit Rng(std::uint64_t seed) : m_state(seed) {}

    std::uint64_t next()
    {
        std::uint64_t z = (m_state += 0x9e3779b97f4a7c15ULL);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ULL;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebULL;
        return z ^ (z >> 31);
    }

    /// 0 to n − 1 (n below 2^32).
    std::uint32_t below(std::uint32_t n) { return static_cast<std::uint32_t>(((next() >> 32) * n) >> 32); }
    std::uint32_t below(std::size_t n) { return below(static_cast<std::uint32_t>(n)); }
    std::int32_t days(std::int32_t n)
    {
        return static_cast<std::int32_t>(below(static_cast<std::uint32_t>(n)));
    }
    /// True in `perTenThousand` of 10,000 calls.
    bool chance(std::uint32_t perTenThousand) { return below(10'000u) < perTenThousand; }

    std::string_view pick(std::span<const std::string_view> items) { return items[below(items.size())]; }

private:
    std::uint64_t m_state;
};

/// Draws ranks 0 to n − 1 as names fall in real registers: a few very common and a long tail of
/// rare ones, rank r coming up in proportion to 1 / (r + offset).
class RankDraw
{
public:
    RankDraw(std::size_t n, double offset)
    {
        m_cumulative.reserve(n);
        double total = 0;
        for (std::size_t rank = 0; rank < n; ++rank) {
            total += 1e6 / (static_cast<double>(rank) + offset);
            m_cumulative.push_back(static_cast<std::uint32_t>(total));
        }
    }

    std::uint16_t operator()(Rng& rng) const
    {
        const std::uint32_t roll = rng.below(m_cumulative.back());
        return static_cast<std::uint16_t>(std::upper_bound(m_cumulative.begin(), m_cumulative.end(), roll) -
                                          m_cumulative.begin());
    }

private:
    std::vector<std::uint32_t> m_cumulative;
};

/// A region's surnames: its common ones first, in their order, then every stem with every ending
/// in an order of their own, so that neighbouring ranks are not all one stem.
std::vector<std::string> buildSurnames(const Region& region, std::uint64_t seed)
{
    std::vector<std::string> names(region.surnames.begin(), region.surnames.end());
    std::vector<std::string> built;
    for (const std::string_view stem : region.surnameStems) {
        for (const std::string_view ending : region.surnameEndings) {
            std::string name(stem);
            // "Lind" + "lund" is "Lindlund", but "Berg" + "berg" is no name.
            if (std::string_view(name).ends_with(ending))
                continue;
            name += ending;
            if (std::find(names.begin(), names.end(), name) == names.end())
                built.push_back(std::move(name));
        }
    }
    Rng rng(seed);
    for (std::size_t i = built.size(); i > 1; --i)
        std::swap(built[i - 1], built[rng.below(i)]);
    std::move(built.begin(), built.end(), std::back_inserter(names));
    return names;
}

struct RegionNames
{
    std::vector<std::string> surnames;
    RankDraw surname;
    RankDraw man;
    RankDraw woman;
};

const RegionNames& namesOf(std::uint8_t region)
{
    static const std::array<RegionNames, regionCount> all = [] {
        auto make = [](std::uint8_t r) {
            std::vector<std::string> surnames = buildSurnames(regions[r], 0x5ca1ab1e + r);
            const std::size_t count = surnames.size();
            // Surnames pass from parent to child, so only the clans' founders and those who marry
            // in draw one: a gentler fall than the given names', which every child draws.
            return RegionNames{std::move(surnames), RankDraw(count, 10.0),
                               RankDraw(regions[r].men.size(), 2.0), RankDraw(regions[r].women.size(), 2.0)};
        };
        return std::array<RegionNames, regionCount>{make(0), make(1), make(2), make(3)};
    }();
    return all[region];
}

// Dates are whole days from year 0 in 365-day years: never a 29 February, which keeps every
// generated date valid without a leap-year rule.
constexpr std::int32_t yearDays = 365;
constexpr std::int32_t noDate = -1;

struct CalendarDate
{
    int year = 0;
    int month = 1;
    int day = 1;
};

CalendarDate calendarDate(std::int32_t days)
{
    CalendarDate date{days / yearDays, 1, days % yearDays};
    while (date.day >= monthDays[date.month - 1]) {
        date.day -= monthDays[date.month - 1];
        ++date.month;
    }
    ++date.day;
    return date;
}

int yearOf(std::int32_t days)
{
    return days / yearDays;
}

enum class DateForm : std::uint8_t
{
    full,
    monthYear,
    year,
    about,
    between,
    before
};

enum PersonFlag : std::uint8_t
{
    male = 1,
    noSex = 2,
    noFams = 4,     ///< the family names this spouse, the spouse does not name the family
    noFamc = 8,     ///< the family lists this child, the child does not name the family
    notListed = 16, ///< the child names the family, the family does not list the child
    diesYoung = 32,
    isCopy = 64,
};

enum FamilyFlag : std::uint8_t
{
    noHusband = 1,
    noWife = 2
};

struct Person
{
    std::int32_t birth = 0;
    std::int32_t death = noDate;
    std::int32_t famc = -1;
    std::int32_t fams = -1;
    std::int32_t original = -1; ///< for a planted copy: the person it copies
    std::uint8_t variation = 0; ///< for a planted copy: a `Variation`
    std::uint16_t given = 0;
    std::uint16_t secondGiven = 0; ///< one more than the second given name's index; 0 when none
    std::uint16_t surname = 0;
    std::uint16_t birthPlace = 0;
    std::uint8_t region = 0;
    std::uint8_t flags = 0;
    DateForm birthForm = DateForm::full;
};

struct Family
{
    std::int32_t husband = -1;
    std::int32_t wife = -1;
    std::int32_t firstChild = 0;
    std::uint16_t place = 0;
    std::uint8_t children = 0;
    std::uint8_t flags = 0;
};

// ---------------------------------------------------------------------------------------------
// Text output: appends only, into a string reserved up front, with hand-rolled number formatting.

void putNumber(std::string& out, std::uint64_t value)
{
    char buffer[24];
    const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
    out.append(buffer, result.ptr);
}

void putNumber(std::string& out, int value)
{
    putNumber(out, static_cast<std::uint64_t>(value));
}

void putTwoDigits(std::string& out, int value)
{
    out += static_cast<char>('0' + value / 10);
    out += static_cast<char>('0' + value % 10);
}

void putPointer(std::string& out, char kind, std::int64_t index)
{
    out += '@';
    out += kind;
    putNumber(out, static_cast<std::uint64_t>(index + 1));
    out += '@';
}

void putDate(std::string& out, std::int32_t days, DateForm form)
{
    const CalendarDate date = calendarDate(days);
    switch (form) {
    case DateForm::full:
        putNumber(out, date.day);
        out += ' ';
        [[fallthrough]];
    case DateForm::monthYear:
        out += monthCodes[date.month - 1];
        out += ' ';
        [[fallthrough]];
    case DateForm::year:
        putNumber(out, date.year);
        break;
    case DateForm::about:
        out += "ABT ";
        putNumber(out, date.year);
        break;
    case DateForm::between:
        out += "BET ";
        putNumber(out, date.year - 1);
        out += " AND ";
        putNumber(out, date.year + 1);
        break;
    case DateForm::before:
        // Rounded up to the next decade, so always after the real date.
        out += "BEF ";
        putNumber(out, date.year / 10 * 10 + 10);
        break;
    }
}

// The same date as `putDate` writes, in one of the writings people use instead of GEDCOM's.
// All-number dates are day first throughout, so a tree of any size decides its own order.
void putOddDate(std::string& out, std::int32_t days, DateForm form, std::uint32_t style)
{
    const CalendarDate date = calendarDate(days);
    if (form == DateForm::about || form == DateForm::before) {
        constexpr std::string_view about[] = {"abt ", "about ", "circa ", "Abt. "};
        constexpr std::string_view before[] = {"bef ", "before ", "bef. ", "Bef. "};
        out += (form == DateForm::about ? about : before)[style % 4];
        putNumber(out, form == DateForm::about ? date.year : date.year / 10 * 10 + 10);
        return;
    }
    switch (style % 7) {
    case 0: // ISO
        putNumber(out, date.year);
        out += '-';
        putTwoDigits(out, date.month);
        out += '-';
        putTwoDigits(out, date.day);
        break;
    case 1:
    case 2:
        putTwoDigits(out, date.day);
        out += style % 7 == 1 ? '/' : '.';
        putTwoDigits(out, date.month);
        out += style % 7 == 1 ? '/' : '.';
        putNumber(out, date.year);
        break;
    case 3: // month first
        out += monthNames[date.month - 1];
        out += ' ';
        putNumber(out, date.day);
        out += ", ";
        putNumber(out, date.year);
        break;
    case 4: // mixed case
        putNumber(out, date.day);
        out += ' ';
        out += monthShort[date.month - 1];
        out += ' ';
        putNumber(out, date.year);
        break;
    case 5: // doubled blank
        putNumber(out, date.day);
        out += "  ";
        out += monthCodes[date.month - 1];
        out += ' ';
        putNumber(out, date.year);
        break;
    default: // lower-case month
        putNumber(out, date.day);
        out += ' ';
        for (char c : monthCodes[date.month - 1])
            out += static_cast<char>(c - 'A' + 'a');
        out += ' ';
        putNumber(out, date.year);
        break;
    }
}

// Base letters of the precomposed letters U+00C0 to U+00FF that carry a diacritic (so that
// folding keeps a name in its place group); empty for the rest, which stay as written:
// Æ Ð × Ø Þ æ ð ÷ ø þ are letters of their own.
constexpr std::string_view foldedLatin1[64] = {
    "A", "A", "A", "A", "A", "A", "",  "C", "E", "E", "E", "E", "I", "I", "I", "I",
    "",  "N", "O", "O", "O", "O", "O", "",  "",  "U", "U", "U", "U", "Y", "",  "ss",
    "a", "a", "a", "a", "a", "a", "",  "c", "e", "e", "e", "e", "i", "i", "i", "i",
    "",  "n", "o", "o", "o", "o", "o", "",  "",  "u", "u", "u", "u", "y", "",  "y",
};

/// The text with its diacritics dropped; unchanged when it has none.
std::string withoutDiacritics(std::string_view text)
{
    std::string folded;
    folded.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if (byte == 0xC3 && i + 1 < text.size()) {
            const auto next = static_cast<unsigned char>(text[i + 1]);
            if (next >= 0x80 && next <= 0xBF && !foldedLatin1[next - 0x80].empty()) {
                folded += foldedLatin1[next - 0x80];
                ++i;
                continue;
            }
        }
        folded += text[i];
    }
    return folded;
}

/// German umlauts written out (Müller → Mueller); unchanged when there are none.
std::string umlautsWrittenOut(std::string_view text)
{
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] == '\xC3' && i + 1 < text.size()) {
            std::string_view replacement;
            switch (text[i + 1]) {
            case '\x84':
                replacement = "Ae";
                break;
            case '\x96':
                replacement = "Oe";
                break;
            case '\x9C':
                replacement = "Ue";
                break;
            case '\xA4':
                replacement = "ae";
                break;
            case '\xB6':
                replacement = "oe";
                break;
            case '\xBC':
                replacement = "ue";
                break;
            default:
                break;
            }
            if (!replacement.empty()) {
                result += replacement;
                ++i;
                continue;
            }
        }
        result += text[i];
    }
    return result;
}

bool isAsciiVowel(char c)
{
    return c == 'a' || c == 'e' || c == 'i' || c == 'o' || c == 'u' || c == 'y';
}

/// A small spelling variant of a given name, the kind two transcribers of one register produce;
/// the name itself when none of the usual variations applies.
std::string givenNameVariant(std::string_view name, Rng& rng)
{
    std::string variants[6];
    std::size_t count = 0;
    const std::string text(name);
    if (const auto th = text.find("th"); th != std::string::npos)
        variants[count++] = text.substr(0, th + 1) + text.substr(th + 2);
    if (text.size() >= 4 && text[text.size() - 1] == text[text.size() - 2] && !isAsciiVowel(text.back()))
        variants[count++] = text.substr(0, text.size() - 1);
    if (const auto ck = text.find("ck"); ck != std::string::npos)
        variants[count++] = text.substr(0, ck) + text.substr(ck + 1);
    // Jaro-Winkler forgives a changed first letter only in a long name.
    if (text.size() >= 8 && text[0] == 'K')
        variants[count++] = "C" + text.substr(1);
    else if (text.size() >= 8 && text.starts_with("Ch"))
        variants[count++] = "K" + text.substr(2);
    if (text.size() >= 5 && (text.back() == 'e' || text.back() == 'a'))
        variants[count++] = text.substr(0, text.size() - 1) + (text.back() == 'e' ? "a" : "e");
    if (text.ends_with("han"))
        variants[count++] = text + "n";
    if (count == 0)
        return withoutDiacritics(text);
    return variants[rng.below(static_cast<std::uint32_t>(count))];
}

/// A variant of a surname that keeps its sound code (Soundex), or drops only diacritics.
std::string surnameVariant(std::string_view name, std::uint8_t region)
{
    std::string text(name);
    switch (region) {
    case 0: // Clarke → Clark, Smith → Smyth, Brown → Browne
        if (text.back() == 'e')
            return text.substr(0, text.size() - 1);
        if (const auto i = text.find('i'); i != std::string::npos) {
            text[i] = 'y';
            return text;
        }
        return text + "e";
    case 1:
        if (std::string expanded = umlautsWrittenOut(text); expanded != text)
            return expanded;
        if (const auto eszett = text.find("\xC3\x9F"); eszett != std::string::npos)
            return text.replace(eszett, 2, "ss");
        if (const auto dt = text.find("dt"); dt != std::string::npos)
            return text.replace(dt, 2, "tt");
        return text;
    case 2:
        if (const auto sson = text.find("sson"); sson != std::string::npos)
            return text.replace(sson, 4, "son");
        return withoutDiacritics(text);
    default:
        return withoutDiacritics(text);
    }
}

/// How a planted copy's name differs from the record it copies. The first kinds are decided as the
/// copy is written; the later ones, which only evidence beyond the spelling finds, when it is made.
enum Variation : std::uint8_t
{
    undecided,
    exactCopy,
    givenSpelling,
    shortForm,
    surnameSpelling,
    otherForm,
    swappedNames,
    middleNameOnly,
    initials,
    soundAlike,
    otherScript,
};

constexpr std::string_view variationNames[] = {
    "",
    "exact copy",
    "given name spelt otherwise",
    "short written form or nickname",
    "surname spelt otherwise, same Soundex",
    "other form of the given name (either way)",
    "given names swapped",
    "called by the middle name",
    "initials",
    "surname alike by Daitch\u2013Mokotoff only",
    "name in Cyrillic letters",
};

std::string lowerAscii(std::string_view text)
{
    std::string lower(text);
    for (char& c : lower) {
        if (c >= 'A' && c <= 'Z')
            c = static_cast<char>(c - 'A' + 'a');
    }
    return lower;
}

std::string capitalisedAscii(std::string text)
{
    if (!text.empty() && text[0] >= 'a' && text[0] <= 'z')
        text[0] = static_cast<char>(text[0] - 'a' + 'A');
    return text;
}

/// A spelling of a surname that Soundex parts from it but that sounds the same by Daitch–Mokotoff,
/// as a clerk of another language writes it ("Schmidt" and "Szmidt", "Carlsson" and "Karlsson");
/// empty when none of the usual respellings does.
std::string soundAlikeSurname(std::string_view name)
{
    const std::string lower = lowerAscii(name);
    constexpr std::pair<std::string_view, std::string_view> respellings[] = {
        {"sch", "sz"}, {"sh", "sch"}, {"w", "v"},  {"v", "w"},   {"c", "k"}, {"k", "c"}, {"j", "y"},
        {"y", "j"},    {"ph", "f"},   {"f", "ph"}, {"s", "sch"}, {"d", "t"}, {"t", "d"}, {"b", "p"},
        {"p", "b"},    {"a", "e"},    {"e", "a"},  {"o", "a"},   {"i", "e"}, {"u", "o"},
    };
    const std::vector<std::uint32_t> sounds = SoundCodes::daitchMokotoffPacked(lower);
    for (const auto& [from, to] : respellings) {
        if (!lower.starts_with(from))
            continue;
        const std::string respelt = std::string(to) + lower.substr(from.size());
        const std::vector<std::uint32_t> other = SoundCodes::daitchMokotoffPacked(respelt);
        const bool alike = std::any_of(sounds.begin(), sounds.end(), [&](std::uint32_t code) {
            return std::find(other.begin(), other.end(), code) != other.end();
        });
        if (alike && DuplicateFinder::detail::soundex(respelt) != DuplicateFinder::detail::soundex(lower))
            return capitalisedAscii(respelt);
    }
    return {};
}

/// A name as a Russian clerk writes it, letter by letter, from its plain Latin letters.
std::string inCyrillic(std::string_view name)
{
    static constexpr std::string_view lower[26] = {
        "\u0430", "\u0431", "\u043A", "\u0434", "\u0435", "\u0444",       "\u0433", "\u0445", "\u0438",
        "\u0439", "\u043A", "\u043B", "\u043C", "\u043D", "\u043E",       "\u043F", "\u043A", "\u0440",
        "\u0441", "\u0442", "\u0443", "\u0432", "\u0432", "\u043A\u0441", "\u0438", "\u0437"};
    static constexpr std::string_view upper[26] = {
        "\u0410", "\u0411", "\u041A", "\u0414", "\u0415", "\u0424",       "\u0413", "\u0425", "\u0418",
        "\u0419", "\u041A", "\u041B", "\u041C", "\u041D", "\u041E",       "\u041F", "\u041A", "\u0420",
        "\u0421", "\u0422", "\u0423", "\u0412", "\u0412", "\u041A\u0441", "\u0418", "\u0417"};
    std::string text;
    bool start = true;
    for (const char c : name) {
        if (c >= 'a' && c <= 'z')
            text += (start ? upper : lower)[c - 'a'];
        else if (c >= 'A' && c <= 'Z')
            text += (start ? upper : lower)[c - 'A'];
        else
            text += c;
        start = c == ' ';
    }
    return text;
}

// ---------------------------------------------------------------------------------------------

// The shape of the tree first (people, families, dates), kept in compact arrays; the text is
// written in a second pass that reads them.
class Generator
{
public:
    Generator(std::size_t people, std::uint64_t seed, bool otherScripts)
        : m_rng(seed), m_variationRng(seed ^ 0x5eed5eed5eed5eedULL), m_otherScripts(otherScripts),
          m_limit(people)
    {
        m_people.reserve(people);
        m_families.reserve(people / 2 + 1);
    }

    SyntheticTree run()
    {
        while (m_people.size() < m_limit)
            buildClan();
        settleDeaths();

        SyntheticTree tree;
        std::string& out = tree.text;
        // About 580 bytes a person; the margin keeps a large tree from ever growing the string,
        // which would briefly need twice its memory.
        out.reserve(m_limit * 640 + 4096);
        out += "0 HEAD\n1 SOUR Kinloom\n2 NAME Kinloom\n1 GEDC\n2 VERS 5.5.1\n2 FORM LINEAGE-LINKED\n"
               "1 CHAR UTF-8\n1 SUBM @U1@\n0 @U1@ SUBM\n1 NAME Kinloom synthetic tree\n";
        for (std::size_t i = 0; i < m_people.size(); ++i)
            writePerson(out, static_cast<std::int32_t>(i));
        for (std::size_t f = 0; f < m_families.size(); ++f)
            writeFamily(out, static_cast<std::int32_t>(f));
        for (std::size_t s = 0; s < m_sourceRegions.size(); ++s)
            writeSource(out, s);
        for (std::size_t n = 0; n < m_noteCount; ++n)
            writeNote(out, n);
        out += "0 TRLR\n";

        for (const auto& [original, copy] : m_copies)
            tree.duplicates.push_back({xref('I', original), xref('I', copy),
                                       std::string(variationNames[m_people[copy].variation])});
        tree.oddDates = m_oddDates;
        tree.placeVariants = m_placeVariants;
        tree.missingSex = m_missingSex;
        tree.oneWayLinks = m_oneWayLinks;
        return tree;
    }

private:
    static std::string xref(char kind, std::int32_t index)
    {
        std::string text;
        putPointer(text, kind, index);
        return text;
    }

    const Region& regionOf(const Person& person) const { return regions[person.region]; }

    std::uint16_t randomIndex(std::size_t size) { return static_cast<std::uint16_t>(m_rng.below(size)); }

    std::int32_t addPerson(bool isMale, std::int32_t birth, std::uint8_t region, std::uint16_t surname,
                           std::uint16_t place, std::int32_t famc)
    {
        Person person;
        person.birth = birth;
        person.famc = famc;
        person.region = region;
        person.surname = surname;
        person.birthPlace = place;
        const RankDraw& draw = isMale ? namesOf(region).man : namesOf(region).woman;
        person.given = draw(m_rng);
        // A quarter are baptised with two names ("Johann Georg", "Mary Ann").
        if (m_rng.chance(2500)) {
            const std::uint16_t second = draw(m_rng);
            if (second != person.given)
                person.secondGiven = static_cast<std::uint16_t>(second + 1);
        }
        person.flags = isMale ? male : 0;
        if (m_rng.chance(100)) {
            person.flags |= noSex;
            ++m_missingSex;
        }
        const std::uint32_t form = m_rng.below(10'000u);
        person.birthForm = form < 8000   ? DateForm::full
                           : form < 8700 ? DateForm::monthYear
                           : form < 9300 ? DateForm::year
                           : form < 9800 ? DateForm::about
                                         : DateForm::between;
        m_people.push_back(person);
        return static_cast<std::int32_t>(m_people.size() - 1);
    }

    std::int32_t addSpouse(bool isMale, std::int32_t birth, std::uint8_t partnerRegion)
    {
        // Now and then someone marries in from another country.
        const auto region =
            m_rng.chance(500) ? static_cast<std::uint8_t>(m_rng.below(regionCount)) : partnerRegion;
        return addPerson(isMale, birth, region, namesOf(region).surname(m_rng),
                         randomIndex(regions[region].places.size()), -1);
    }

    // One clan: a founding couple and their descendants with the people they marry, until the
    // clan's share of the tree is used up or the dates reach the present.
    void buildClan()
    {
        const std::size_t clanEnd = std::min(m_limit, m_people.size() + 40 + m_rng.below(360u));
        const auto region = static_cast<std::uint8_t>(m_rng.below(regionCount));
        const std::int32_t founded = (1650 + m_rng.days(200)) * yearDays + m_rng.days(yearDays);
        if (clanEnd - m_people.size() < 2) {
            addSpouse(m_rng.chance(5000), founded, region);
            return;
        }
        const std::int32_t husband = addSpouse(true, founded, region);
        const std::int32_t wife =
            addSpouse(false, founded - 2 * yearDays + m_rng.days(11 * yearDays), region);
        m_couples.clear();
        m_couples.emplace_back(husband, wife);
        // Every couple gets its family; those reached after the clan is full stay childless.
        for (std::size_t next = 0; next < m_couples.size(); ++next)
            addFamily(m_couples[next].first, m_couples[next].second, clanEnd);
    }

    void addFamily(std::int32_t husband, std::int32_t wife, std::size_t clanEnd)
    {
        const auto familyIndex = static_cast<std::int32_t>(m_families.size());
        Family family;
        family.husband = husband;
        family.wife = wife;
        const std::uint8_t region = m_people[husband].region;
        family.place =
            m_rng.chance(7000) ? m_people[husband].birthPlace : randomIndex(regions[region].places.size());
        m_people[husband].fams = familyIndex;
        m_people[wife].fams = familyIndex;
        const std::uint32_t oneWay = m_rng.below(10'000u);
        if (oneWay < 100) {
            if (oneWay < 25)
                m_people[husband].flags |= noFams;
            else if (oneWay < 50)
                m_people[wife].flags |= noFams;
            else
                family.flags = oneWay < 75 ? noHusband : noWife;
            ++m_oneWayLinks;
        }

        // Children: mother 18 to 45, a year or more apart.
        const std::int32_t motherBirth = m_people[wife].birth;
        const std::int32_t latest = motherBirth + 45 * yearDays;
        std::int32_t birth =
            std::max(motherBirth, m_people[husband].birth) + 18 * yearDays + m_rng.days(8 * yearDays);
        constexpr std::uint32_t childWeights[] = {800, 1200, 1700, 1900, 1800, 1400, 1200};
        std::uint32_t roll = m_rng.below(10'000u);
        std::uint32_t wanted = 0;
        while (wanted + 1 < std::size(childWeights) && roll >= childWeights[wanted])
            roll -= childWeights[wanted++];
        family.firstChild = static_cast<std::int32_t>(m_people.size());
        const std::uint16_t surname = m_people[husband].surname;
        for (std::uint32_t i = 0;
             i < wanted && birth <= latest && yearOf(birth) <= 2015 && m_people.size() < clanEnd; ++i) {
            const std::uint16_t place =
                m_rng.chance(7500) ? family.place : randomIndex(regions[region].places.size());
            const std::int32_t child =
                addPerson(m_rng.chance(5100), birth, region, surname, place, familyIndex);
            if (m_rng.chance(1200))
                m_people[child].flags |= diesYoung;
            const std::uint32_t childLink = m_rng.below(10'000u);
            if (childLink < 50) {
                m_people[child].flags |= childLink < 25 ? noFamc : notListed;
                ++m_oneWayLinks;
            }
            ++family.children;
            birth += yearDays + m_rng.days(3 * yearDays);
        }

        // Now and then one child is entered twice, as a child of the same family or on its own.
        if (family.children > 0 && m_people.size() < clanEnd && m_rng.chance(600)) {
            const std::int32_t original = family.firstChild + m_rng.days(family.children);
            const bool linked = m_rng.chance(5000);
            Person copy = m_people[original];
            copy.flags = static_cast<std::uint8_t>((copy.flags & male) | isCopy);
            copy.famc = linked ? familyIndex : -1;
            copy.original = original;
            plantVariation(original, copy, static_cast<std::int32_t>(m_people.size()));
            const std::uint32_t form = m_rng.below(10'000u);
            // The date as written or only its year; a vague date is never copied as it stands,
            // since two equal vague dates say nothing about a match.
            const bool vague = copy.birthForm == DateForm::about || copy.birthForm == DateForm::between;
            if (vague || form >= 6000)
                copy.birthForm = !vague && form >= 8500 ? DateForm::about : DateForm::year;
            // A copy made from another source may give the birth as a range, or a year or two
            // off; only outside the family, where a year off does not make it a namesake sibling.
            // Drawn from the variations' stream, so that the rest of the tree stays as it was.
            const std::uint32_t noise = m_variationRng.below(100u);
            if (noise < 6) {
                copy.birthForm = DateForm::about;
            } else if (noise < 9) {
                copy.birthForm = DateForm::before;
            } else if (noise < 15 && !linked) {
                const std::int32_t years = noise < 12 ? 1 : 2;
                copy.birth += (noise % 2 == 0 ? years : -years) * yearDays;
            }
            m_people.push_back(copy);
            m_copies.emplace_back(original, static_cast<std::int32_t>(m_people.size() - 1));
            if (linked)
                ++family.children;
        }
        m_families.push_back(family);

        for (std::int32_t c = family.firstChild; c < family.firstChild + family.children; ++c) {
            if (m_people.size() >= clanEnd)
                break;
            const Person child = m_people[c];
            if ((child.flags & (isCopy | diesYoung)) || yearOf(child.birth) > 2005 || !m_rng.chance(6800))
                continue;
            // Husbands up to nine years older than their wives, or two younger.
            const std::int32_t gap = -2 * yearDays + m_rng.days(11 * yearDays);
            if (child.flags & male)
                m_couples.emplace_back(c, addSpouse(false, child.birth + gap, child.region));
            else
                m_couples.emplace_back(addSpouse(true, child.birth - gap, child.region), c);
        }
    }

    /// Half the copies differ as they always did, decided as they are written; the others in one of
    /// the ways only evidence beyond the spelling finds: the names of both records are fixed here.
    /// Drawn from a stream of their own, so that the rest of the tree stays as it was.
    void plantVariation(std::int32_t original, Person& copy, std::int32_t copyIndex)
    {
        if (m_variationRng.below(2u) == 0)
            return;
        const Region& region = regionOf(copy);
        const auto names = (copy.flags & male) ? region.men : region.women;
        const std::string given = withoutDiacritics(names[copy.given]);
        const std::string surname(namesOf(copy.region).surnames[copy.surname]);
        auto plant = [&](Variation variation, std::string originalGiven, std::string copyGiven,
                         std::string copySurname) {
            copy.variation = variation;
            m_written[original] = {std::move(originalGiven), surname};
            m_written[copyIndex] = {std::move(copyGiven), std::move(copySurname)};
        };
        auto kind = static_cast<Variation>(otherForm + m_variationRng.below(6u));
        if (kind == otherForm) {
            // Another name of the group, the copy's or the original's: both ways round.
            const std::string lower = lowerAscii(given);
            const std::string_view head = NameWords::givenNameGroup(lower);
            std::vector<std::string_view> others;
            for (const std::string_view group : NameWords::givenNameGroups()) {
                if (group.substr(0, group.find(' ')) != head)
                    continue;
                for (std::size_t from = 0; from <= group.size();) {
                    const std::size_t blank = std::min(group.find(' ', from), group.size());
                    if (group.substr(from, blank - from) != lower)
                        others.push_back(group.substr(from, blank - from));
                    from = blank + 1;
                }
            }
            if (head == lower && others.empty()) {
                kind = swappedNames;
            } else {
                std::string other =
                    capitalisedAscii(std::string(others[m_variationRng.below(others.size())]));
                if (m_variationRng.below(2u) == 0)
                    plant(otherForm, given, other, surname);
                else
                    plant(otherForm, other, given, surname);
                return;
            }
        }
        if (kind == swappedNames || kind == middleNameOnly || kind == initials) {
            std::string middle = withoutDiacritics(names[m_variationRng.below(names.size())]);
            if (middle == given)
                middle = withoutDiacritics(names[(copy.given + 1u) % names.size()]);
            const std::string both = given + " " + middle;
            if (kind == swappedNames)
                plant(kind, both, middle + " " + given, surname);
            else if (kind == middleNameOnly)
                plant(kind, both, middle, surname);
            else if (m_variationRng.below(2u) == 0)
                plant(kind, both, given.substr(0, 1) + ". " + middle.substr(0, 1) + ".", surname);
            else
                plant(kind, both, given + " " + middle.substr(0, 1) + ".", surname);
            return;
        }
        if (kind == soundAlike) {
            if (std::string respelt = soundAlikeSurname(withoutDiacritics(surname)); !respelt.empty()) {
                plant(kind, given, given, std::move(respelt));
                return;
            }
        }
        const std::string plainSurname = withoutDiacritics(surname);
        auto ascii = [](std::string_view text) {
            return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
        };
        // Without other scripts, which a tree meant for every encoding cannot hold, or with letters
        // a Russian clerk has no letter for ("Ø"), the copy is left as copies always were.
        if (m_otherScripts && ascii(given) && ascii(plainSurname))
            plant(otherScript, given, inCyrillic(given), inCyrillic(plainSurname));
    }

    // Deaths come last: a parent outlives the birth of their last child, and nobody dies after
    // the present.
    void settleDeaths()
    {
        constexpr int present = 2023;
        for (Person& person : m_people) {
            if (person.flags & isCopy) {
                person.death = m_rng.chance(4000) ? m_people[person.original].death : noDate;
                continue;
            }
            std::int32_t death;
            if (person.flags & diesYoung) {
                death = person.birth + m_rng.days(12 * yearDays);
            } else {
                death = person.birth + 18 * yearDays + m_rng.days(40 * yearDays) + m_rng.days(40 * yearDays);
                if (person.fams >= 0) {
                    const Family& family = m_families[person.fams];
                    for (std::int32_t c = family.firstChild; c < family.firstChild + family.children; ++c) {
                        if (m_people[c].birth > death)
                            death = m_people[c].birth + m_rng.days(20 * yearDays);
                    }
                }
            }
            person.death = yearOf(death) > present ? noDate : death;
        }
    }

    // ---- writing ----

    void putEventDate(std::string& out, std::int32_t days, DateForm form)
    {
        out += "2 DATE ";
        if (form != DateForm::monthYear && form != DateForm::year && form != DateForm::between &&
            m_rng.chance(150)) {
            putOddDate(out, days, form, m_rng.below(28u));
            ++m_oddDates;
        } else {
            putDate(out, days, form);
        }
        out += '\n';
    }

    void putPlace(std::string& out, std::string_view place)
    {
        out += "2 PLAC ";
        if (!m_rng.chance(200)) {
            out += place;
            out += '\n';
            return;
        }
        ++m_placeVariants;
        std::uint32_t variant = m_rng.below(4u);
        if (variant == 0) {
            if (std::string folded = withoutDiacritics(place); folded != place) {
                out += folded;
                out += '\n';
                return;
            }
            variant = 2;
        }
        const std::size_t comma = place.find(',');
        for (std::size_t i = 0; i < place.size(); ++i) {
            const char c = place[i];
            if (variant == 1 && c >= 'A' && c <= 'Z') {
                out += static_cast<char>(c - 'A' + 'a');
            } else if (variant == 2 && c == ' ' && i > 0 && place[i - 1] == ',') {
                continue;
            } else {
                out += c;
                if (variant == 3 && i == comma)
                    out += ' ';
            }
        }
        out += '\n';
    }

    std::size_t sourceFor(std::uint8_t region)
    {
        // Sources come into being when first cited, so every one of them is used.
        std::vector<std::uint32_t>& pool = m_sourcePools[region];
        const std::size_t target = m_limit / 1000 + 1;
        if (pool.empty() || (pool.size() < target && m_rng.chance(100))) {
            pool.push_back(static_cast<std::uint32_t>(m_sourceRegions.size()));
            m_sourceRegions.push_back(region);
        }
        return pool[m_rng.below(pool.size())];
    }

    void putCitation(std::string& out, char level, std::uint8_t region)
    {
        out += level;
        out += " SOUR ";
        putPointer(out, 'S', static_cast<std::int64_t>(sourceFor(region)));
        out += '\n';
        out += static_cast<char>(level + 1);
        out += " PAGE ";
        out += regions[region].page;
        putNumber(out, static_cast<std::uint64_t>(1 + m_rng.below(480u)));
        out += '\n';
        if (m_rng.chance(1500)) {
            out += static_cast<char>(level + 1);
            out += " DATA\n";
            out += static_cast<char>(level + 2);
            out += " TEXT ";
            out += m_rng.pick(noteSentences);
            out += '\n';
        }
        if (m_rng.chance(1000)) {
            out += static_cast<char>(level + 1);
            out += " QUAY ";
            out += static_cast<char>('1' + m_rng.below(3u));
            out += '\n';
        }
    }

    void putChange(std::string& out)
    {
        out += "1 CHAN\n2 DATE ";
        putDate(out, (2005 + m_rng.days(19)) * yearDays + m_rng.days(yearDays), DateForm::full);
        out += "\n3 TIME ";
        putTwoDigits(out, static_cast<int>(m_rng.below(24u)));
        out += ':';
        putTwoDigits(out, static_cast<int>(m_rng.below(60u)));
        out += ':';
        putTwoDigits(out, static_cast<int>(m_rng.below(60u)));
        out += '\n';
    }

    // A note of two or three sentences: the first on the NOTE line, the next on a CONT line,
    // and sometimes a third split mid-word over CONT and CONC as older programs do.
    void putNoteText(std::string& out, char level)
    {
        out += m_rng.pick(noteSentences);
        out += '\n';
        out += static_cast<char>(level + 1);
        out += " CONT ";
        out += m_rng.pick(noteSentences);
        out += '\n';
        if (m_rng.chance(5000)) {
            const std::string_view third = m_rng.pick(noteSentences);
            const std::size_t cut = third.size() / 2;
            out += static_cast<char>(level + 1);
            out += " CONT ";
            out += third.substr(0, cut);
            out += '\n';
            out += static_cast<char>(level + 1);
            out += " CONC ";
            out += third.substr(cut);
            out += '\n';
        }
    }

    void writePerson(std::string& out, std::int32_t index)
    {
        const Person& person = m_people[index];
        const Region& region = regionOf(person);
        const bool isMale = person.flags & male;
        const bool copy = person.flags & isCopy;
        const bool adult = !(person.flags & diesYoung) && !copy;

        out += "0 ";
        putPointer(out, 'I', index);
        out += " INDI\n1 NAME ";
        const auto givenNames = isMale ? region.men : region.women;
        std::string_view given = givenNames[person.given];
        std::string_view surname = namesOf(person.region).surnames[person.surname];
        std::string givenVariant;
        std::string surnameText;
        if (copy) {
            const std::uint32_t kind = m_rng.below(100u);
            Variation variation = exactCopy;
            if (kind < 45) {
                std::string_view nickname;
                std::uint32_t seen = 0;
                for (const auto& [name, shortForm] : nicknames) {
                    if (name == given && m_rng.below(++seen) == 0)
                        nickname = shortForm;
                }
                givenVariant = nickname.empty() ? givenNameVariant(given, m_rng) : std::string(nickname);
                given = givenVariant;
                variation = nickname.empty() ? givenSpelling : shortForm;
            } else if (kind < 65) {
                surnameText = surnameVariant(surname, person.region);
                surname = surnameText;
                variation = surnameSpelling;
            }
            if (person.variation == undecided)
                m_people[index].variation = variation;
        }
        std::string givenText;
        if (person.secondGiven != 0) {
            givenText = std::string(given) + " " + std::string(givenNames[person.secondGiven - 1]);
            given = givenText;
        }
        if (const auto written = m_written.find(index); written != m_written.end()) {
            given = written->second.first;
            surname = written->second.second;
        }
        out += given;
        out += " /";
        out += surname;
        out += "/\n";
        if (!copy && m_rng.chance(8000)) {
            out += "2 GIVN ";
            out += given;
            out += "\n2 SURN ";
            out += surname;
            out += '\n';
        }
        if (!(person.flags & noSex))
            out += isMale ? "1 SEX M\n" : "1 SEX F\n";

        out += "1 BIRT\n";
        if (copy) {
            // Kept standard: a copy should be found by its dates, not lost to a misreading.
            out += "2 DATE ";
            putDate(out, person.birth, person.birthForm);
            out += '\n';
        } else {
            putEventDate(out, person.birth, person.birthForm);
        }
        const std::string_view birthPlace = region.places[person.birthPlace];
        if (!copy || m_rng.chance(9000))
            putPlace(out, birthPlace);
        if (m_rng.chance(copy ? 3000 : 7000))
            putCitation(out, '2', person.region);

        if (!copy && m_rng.chance(6000)) {
            out += "1 CHR\n";
            putEventDate(out, person.birth + m_rng.days(40),
                         m_rng.chance(9500) ? DateForm::full : DateForm::year);
            putPlace(out, m_rng.chance(9000) ? birthPlace : m_rng.pick(region.places));
            if (m_rng.chance(2500))
                putCitation(out, '2', person.region);
        }
        if (adult && m_rng.chance(6000)) {
            out += "1 OCCU ";
            out += m_rng.pick(region.jobs);
            out += '\n';
        }
        if (adult && m_rng.chance(4000)) {
            out += "1 RELI ";
            out += region.religion;
            out += '\n';
        }
        // Census or residence entries in adult life, none to two of them.
        const std::int32_t lastSeen = person.death == noDate ? 2020 * yearDays : person.death;
        const std::int32_t grownUp = person.birth + 20 * yearDays;
        const std::uint32_t residences = adult && grownUp < lastSeen ? m_rng.below(12u) / 5 : 0;
        for (std::uint32_t r = 0; r < residences; ++r) {
            out += m_rng.chance(5000) ? "1 CENS\n2 DATE " : "1 RESI\n2 DATE ";
            const std::int32_t when = grownUp + m_rng.days(std::min(lastSeen - grownUp, 40 * yearDays));
            putDate(out, when, m_rng.chance(8000) ? DateForm::year : DateForm::about);
            out += '\n';
            putPlace(out, m_rng.chance(6000) ? birthPlace : m_rng.pick(region.places));
            if (m_rng.chance(5000))
                putCitation(out, '2', person.region);
        }
        std::string_view deathPlace;
        if (person.death != noDate) {
            out += "1 DEAT\n";
            const std::uint32_t form = m_rng.below(100u);
            putEventDate(out, person.death,
                         form < 80   ? DateForm::full
                         : form < 85 ? DateForm::monthYear
                         : form < 92 ? DateForm::year
                         : form < 96 ? DateForm::about
                                     : DateForm::before);
            deathPlace = m_rng.chance(6000) ? birthPlace : m_rng.pick(region.places);
            putPlace(out, deathPlace);
            if (m_rng.chance(3000))
                putCitation(out, '2', person.region);
        }
        if (person.death != noDate && !copy && m_rng.chance(6500)) {
            out += "1 BURI\n";
            const std::uint32_t form = m_rng.below(100u);
            putEventDate(out, person.death + 2 + m_rng.days(7),
                         form < 92   ? DateForm::full
                         : form < 96 ? DateForm::year
                                     : DateForm::before);
            putPlace(out, deathPlace);
        }
        if (person.famc >= 0 && !(person.flags & noFamc)) {
            out += "1 FAMC ";
            putPointer(out, 'F', person.famc);
            out += '\n';
        }
        if (person.fams >= 0 && !(person.flags & noFams)) {
            out += "1 FAMS ";
            putPointer(out, 'F', person.fams);
            out += '\n';
        }
        if (m_rng.chance(copy ? 2000 : 4500))
            putCitation(out, '1', person.region);
        if (!copy && m_rng.chance(2500)) {
            out += "1 NOTE ";
            putNoteText(out, '1');
        }
        if (!copy && m_rng.chance(400)) {
            const std::size_t target = m_limit / 500 + 1;
            if (m_noteCount == 0 || (m_noteCount < target && m_rng.chance(5000)))
                ++m_noteCount;
            out += "1 NOTE ";
            putPointer(out, 'N', m_rng.below(m_noteCount));
            out += '\n';
        }
        putChange(out);
    }

    void writeFamily(std::string& out, std::int32_t index)
    {
        const Family& family = m_families[index];
        const Person& husband = m_people[family.husband];
        const Person& wife = m_people[family.wife];
        out += "0 ";
        putPointer(out, 'F', index);
        out += " FAM\n";
        if (!(family.flags & noHusband)) {
            out += "1 HUSB ";
            putPointer(out, 'I', family.husband);
            out += '\n';
        }
        if (!(family.flags & noWife)) {
            out += "1 WIFE ";
            putPointer(out, 'I', family.wife);
            out += '\n';
        }
        for (std::int32_t c = family.firstChild; c < family.firstChild + family.children; ++c) {
            if (m_people[c].flags & notListed)
                continue;
            out += "1 CHIL ";
            putPointer(out, 'I', c);
            out += '\n';
        }
        if (m_rng.chance(9000)) {
            const std::int32_t adults = std::max(husband.birth, wife.birth) + 16 * yearDays;
            std::int32_t married = family.children > 0
                                       ? m_people[family.firstChild].birth - 60 - m_rng.days(800)
                                       : adults + 3 * yearDays + m_rng.days(10 * yearDays);
            // A childless couple marries while both live (parents outlive their children's births).
            for (const std::int32_t death : {husband.death, wife.death}) {
                if (death != noDate)
                    married = std::min(married, death - 30);
            }
            married = std::max(married, adults);
            if (yearOf(married) <= 2023) {
                out += "1 MARR\n";
                const std::uint32_t form = m_rng.below(100u);
                putEventDate(out, married,
                             form < 85   ? DateForm::full
                             : form < 95 ? DateForm::year
                                         : DateForm::about);
                putPlace(out, regions[husband.region].places[family.place]);
                if (m_rng.chance(5000))
                    putCitation(out, '2', husband.region);
            }
        }
        putChange(out);
    }

    void writeSource(std::string& out, std::size_t index)
    {
        const Region& region = regions[m_sourceRegions[index]];
        const std::string_view place = m_rng.pick(region.places);
        out += "0 ";
        putPointer(out, 'S', static_cast<std::int64_t>(index));
        out += " SOUR\n1 TITL ";
        out += region.registerTitle;
        out += place.substr(0, place.find(','));
        out += "\n1 AUTH ";
        out += region.registerAuthor;
        out += "\n1 PUBL ";
        out += place;
        out += '\n';
    }

    void writeNote(std::string& out, std::size_t index)
    {
        out += "0 ";
        putPointer(out, 'N', static_cast<std::int64_t>(index));
        out += " NOTE ";
        putNoteText(out, '0');
    }

    Rng m_rng;
    Rng m_variationRng;
    bool m_otherScripts = false;
    std::size_t m_limit;
    /// The given names and surname written for the people whose names a planted variation fixed.
    std::unordered_map<std::int32_t, std::pair<std::string, std::string>> m_written;
    std::vector<Person> m_people;
    std::vector<Family> m_families;
    std::vector<std::pair<std::int32_t, std::int32_t>> m_couples;
    std::vector<std::pair<std::int32_t, std::int32_t>> m_copies;
    std::vector<std::uint32_t> m_sourcePools[regionCount];
    std::vector<std::uint8_t> m_sourceRegions;
    std::size_t m_noteCount = 0;
    std::size_t m_oddDates = 0;
    std::size_t m_placeVariants = 0;
    std::size_t m_missingSex = 0;
    std::size_t m_oneWayLinks = 0;
};

} // namespace

std::string sampleText()
{
    return std::string(sampleGedcom, sizeof sampleGedcom - 1);
}

std::vector<DuplicatePair> sampleDuplicates()
{
    return {{"@I4@", "@I7@"}, {"@I10@", "@I13@"}};
}

std::string syntheticText(std::size_t people, std::uint64_t seed)
{
    return syntheticTree(people, seed).text;
}

SyntheticTree syntheticTree(std::size_t people, std::uint64_t seed, bool otherScripts)
{
    return Generator(people, seed, otherScripts).run();
}

} // namespace kinloom::SampleTree
