// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "family/TreeIndex.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Pairs of people who are probably one person: each pair scored from how alike the names are and
// how much independent evidence agrees, with what rules a pair out whatever the names say.
namespace kinloom::DuplicateFinder {

/// A birth or death as compared: the date as written and its range.
struct DatedFact
{
    std::string_view date; ///< trimmed
    bool primary = true;   ///< a BIRT or DEAT, not the christening or burial that stands for it
    double low = std::numeric_limits<double>::quiet_NaN();  ///< NaN when open
    double high = std::numeric_limits<double>::quiet_NaN(); ///< NaN when open

    [[nodiscard]] bool bounded() const { return !std::isnan(low) && !std::isnan(high); }
};

/// A person's first name as the finder reads it.
struct NameEntry
{
    const char* text = nullptr; ///< normalised given names, a blank, the surname; empty for a placeholder
    std::uint32_t size = 0;
    std::uint32_t givenLength = 0;

    [[nodiscard]] std::string_view name() const { return {text, size}; }
    [[nodiscard]] std::string_view given() const { return name().substr(0, givenLength); }
    [[nodiscard]] std::string_view surname() const
    {
        return size > givenLength ? name().substr(givenLength + 1) : std::string_view();
    }
};

/// A parent, spouse or child of a candidate, by record and by name. Kept small, as a candidate has
/// several.
struct Relative
{
    const Person* person = nullptr;
    const NameEntry* entry = nullptr;

    [[nodiscard]] std::string_view name() const { return entry->name(); }
    [[nodiscard]] std::string_view given() const { return entry->given(); }
    [[nodiscard]] std::string_view surname() const { return entry->surname(); }
};

/// One person prepared for comparison. It refers into the index, the document and the
/// `Candidates` that made it, and must not outlive them.
struct Candidate
{
    const Person* person = nullptr;
    /// Normalised given names of the first name, without titles, epithets, ordinals and nicknames;
    /// never empty.
    std::string_view given;
    /// Normalised surname of the first name, particles before it dropped, wherever the slashes put
    /// it ("Maud (de) CHAWORTH //", "Beatrix of_Angus"); empty when none.
    std::string_view surname;
    std::string_view surnameCode;                 ///< Soundex of the surname
    std::span<const std::uint32_t> surnameSounds; ///< Daitch–Mokotoff codes of the surname, as numbers
    std::string_view nickname; ///< the quoted nickname's words, normalised; empty when none
    std::string_view title;    ///< the first TITL, trimmed; empty when none
    std::size_t size = 0;      ///< lines in the record; the larger record is kept
    std::size_t order = 0;     ///< position among the people in file order
    /// First BIRT with a date, else CHR, BAPM, BIRT; absent when missing or its date unreadable.
    std::optional<DatedFact> birth;
    /// First DEAT with a date, else BURI, DEAT; absent when missing or its date unreadable.
    std::optional<DatedFact> death;
    std::span<const std::string_view> famc; ///< families the person is a child in; sorted
    /// The husbands of those families, then their wives.
    std::span<const Relative> parents;
    std::span<const Relative> spouses;
    std::span<const Relative> children;
    /// The dated first marriage of each family the person is a spouse in.
    std::span<const DatedFact> marriages;
    /// Xrefs of the people who cannot be this person: parents, spouses, children, ancestors up to
    /// great-great-grandparents and the spouses' parents; sorted.
    std::span<const std::string_view> relatives;
    /// The birthplace's parts, normalised, empty ones dropped, joined by ","; absent without one.
    std::optional<std::string_view> birthPlace;
    bool otherScript = false; ///< the name was written in another script and is compared in Latin letters
    /// The surname is the last given name, as in "Maud Chaworth //": read so to meet the people
    /// whose surname is between slashes.
    bool surnameFromGiven = false;
    std::uint8_t ordinal = 0;    ///< a Roman ordinal or one in figures after the name ("VIII", "2nd")
    std::uint8_t generation = 0; ///< 1 for Jr or the younger, 2 for Sr or the elder
    char sex = 0;                ///< 'M', 'F', or 0 for anything else
    std::uint8_t fathers = 0;    ///< how many of `parents` are husbands

    [[nodiscard]] std::span<const Relative> fatherList() const { return parents.first(fathers); }
    [[nodiscard]] std::span<const Relative> motherList() const { return parents.subspan(fathers); }
};

/// The candidates of a tree: every person whose first name has a given part once titles are
/// dropped and that is no placeholder ("LIVING", "Son_2"), in file order.
class Candidates
{
public:
    std::vector<Candidate> list;

    /// `threads` 0 uses every core; the result is the same for any number.
    [[nodiscard]] static Candidates build(const TreeIndex& index, unsigned threads = 0);

    /// The candidate of the person with this xref; none when there is no such candidate.
    [[nodiscard]] const Candidate* find(std::string_view xref) const;

    struct Storage;

private:
    const TreeIndex* m_index = nullptr;
    std::shared_ptr<const Storage> m_storage;
};

/// A parent, spouse or child of one record of a pair, as the comparison of the two records names it.
struct Kin
{
    /// What the other record of the pair has in the same place.
    enum class Agreement : std::uint8_t
    {
        sameRecord, ///< this very person
        alikeName,  ///< someone of a like name
        onlyHere,   ///< no one like this person
    };

    std::string xref;
    std::string name;  ///< as displayed; the xref when no record has it
    std::string dates; ///< "b. 12 MAR 1820, d. 1875", as written; empty when neither is dated
    Agreement agreement = Agreement::onlyHere;

    bool operator==(const Kin&) const = default;
};

/// One person's parents, spouses and children.
struct Kinfolk
{
    std::string name;         ///< the person's own, as displayed
    std::string dates;        ///< the person's own birth and death, as `Kin::dates`
    std::vector<Kin> parents; ///< fathers, then mothers
    std::vector<Kin> spouses;
    std::vector<Kin> children;

    bool operator==(const Kinfolk&) const = default;
};

/// The relatives of two people side by side, each marked by what the other has. Finds the records
/// in three passes over the record list, without an index, for one pair shown on its own.
[[nodiscard]] std::array<Kinfolk, 2> kinOf(const GedcomDocument& document, std::string_view first,
                                           std::string_view second);

/// The pairs whose score is at least the threshold, each person with a few at most (the one with
/// the record that would be kept over all its others, then its best), highest score first, then
/// by the position of the record to keep, then of the record to remove.
[[nodiscard]] std::vector<DuplicateMatch> find(const TreeIndex& index, double threshold);

namespace detail {

/// Case, diacritics and width folded; only letters, digits and single blanks between words left.
[[nodiscard]] std::string normalizeName(std::string_view text);
/// American Soundex of the ASCII letters; empty when there are none, which matches no code.
[[nodiscard]] std::string soundex(std::string_view surname);
/// Jaro-Winkler similarity of two words, on their characters (UTF-8).
[[nodiscard]] double jaroWinkler(std::string_view a, std::string_view b);
/// The canonical given name of a short or old written form; the word itself when it has none.
[[nodiscard]] std::string_view canonicalGivenName(std::string_view word);
/// 0 to 1: how alike two normalised given names are.
[[nodiscard]] double givenNameSimilarity(std::string_view a, std::string_view b);
/// Two decimals, halves away from zero.
[[nodiscard]] double roundScore(double score);

/// How a comparison ended: a match, or the rule that ruled the pair out.
enum class Verdict : std::uint8_t
{
    match,
    differentSex,
    relatives, ///< one is the other's parent, spouse, child, ancestor or parent-in-law
    siblings,  ///< children of one family whose births or names tell them apart
    givenNames,
    surnames,
    births,
    deaths,
    diedBeforeBorn, ///< one died before the other was born
    littleEvidence, ///< a name alone never makes a match
};

struct Comparison
{
    Verdict verdict = Verdict::match;
    DuplicateMatch match; ///< for a match; its score is rounded, the threshold not yet applied
    double weight = 0;    ///< for a match: the sum of the weights, in bits, that the score is made from
    bool against = false; ///< for a match: some evidence weighs against it
    double lift = 0;      ///< for a match: what pairs of spouses or parents found later could add
};

/// Scores a pair; the order of the arguments does not matter.
[[nodiscard]] Comparison compare(const Candidate& a, const Candidate& b);

struct Statistics
{
    std::size_t candidates = 0;
    std::size_t blocks = 0; ///< groups of one surname code, Soundex or Daitch–Mokotoff
    std::size_t largestBlock = 0;
    std::size_t pairsInBlocks = 0; ///< what comparing every pair inside each block would take
    std::size_t pairsScored = 0;   ///< pairs compared: alike first names, births not ruling them out
};

/// `find` with its figures; `threads` 0 uses every core. The result is the same for any number.
[[nodiscard]] std::vector<DuplicateMatch> find(const TreeIndex& index, double threshold, unsigned threads,
                                               Statistics* statistics);

/// Every pair of candidates scored, with no blocking, and a few kept for each person: what `find`
/// must equal wherever no crowd of look-alikes makes it compare fewer, and no one without a
/// surname meets someone with one (which `find` does only where their records link them).
[[nodiscard]] std::vector<DuplicateMatch> findComparingEveryPair(const TreeIndex& index, double threshold);

} // namespace detail
} // namespace kinloom::DuplicateFinder
