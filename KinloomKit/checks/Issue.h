// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <variant>
#include <vector>

namespace kinloom {

/// The groups findings are shown under, in display order.
enum class IssueCategory : std::uint8_t
{
    duplicates,
    impossibleDates,
    dateFormats,
    places,
    missing,
    links,
    file
};

inline constexpr std::array<IssueCategory, 7> allIssueCategories{
    IssueCategory::duplicates, IssueCategory::impossibleDates, IssueCategory::dateFormats,
    IssueCategory::places,     IssueCategory::missing,         IssueCategory::links,
    IssueCategory::file,
};

/// "Likely duplicates", "Impossible dates" …
[[nodiscard]] std::string_view title(IssueCategory category);
/// The stored name: the case name ("impossibleDates").
[[nodiscard]] std::string_view rawValue(IssueCategory category);
[[nodiscard]] std::optional<IssueCategory> issueCategoryFromRawValue(std::string_view raw);

/// A kind of finding: what one rule of a check reports. Its id is the stable start of its findings'
/// ids ("imp-alive" in "imp-alive-@I51@"), which settings and remembered decisions keep.
struct FindingKind
{
    std::string_view id;
    IssueCategory category = IssueCategory::file;
    std::string_view
        title;          ///< in general words where the findings' titles vary ("Place spelled several ways")
    bool whole = false; ///< its one finding's id is the kind id itself ("date-styles")
};

/// Every kind of finding, by category in display order.
[[nodiscard]] std::span<const FindingKind> allFindingKinds();
/// The kind of the finding with this id: the longest kind id it starts with followed by "-", or
/// the whole kind it is; empty when none is.
[[nodiscard]] std::string_view kindOf(std::string_view issueID);

/// A finding's grade, ordered info < warning < error.
enum class Severity : std::uint8_t
{
    info = 0,
    warning = 1,
    error = 2
};

inline constexpr std::array<Severity, 3> allSeverities{Severity::info, Severity::warning, Severity::error};

/// "Note", "Warning", "Error".
[[nodiscard]] std::string_view title(Severity severity);
/// The severity of a raw value 0 to 2; none otherwise.
[[nodiscard]] std::optional<Severity> severityFromRawValue(int raw);

/// One row of a fix's preview.
struct PreviewLine
{
    std::string context;               ///< the record and line concerned
    std::optional<std::string> before; ///< absent when the fix adds the line
    std::optional<std::string> after;  ///< absent when the fix removes the line

    bool operator==(const PreviewLine&) const = default;
};

/// One change to a document.
struct Edit
{
    /// Set a node's value; `from` is what the check saw.
    struct SetValue
    {
        std::int64_t node = 0;
        std::optional<std::string> from;
        std::optional<std::string> to;
        bool operator==(const SetValue&) const = default;
    };
    /// Write a line anew from its parts with single spaces between them, with the tag `to`, and without
    /// blanks before its value when `trimValue` (a value that is not text); `from` is the tag the check
    /// saw. A line that would be written as it stands is left alone.
    struct Rewrite
    {
        std::int64_t node = 0;
        std::string from;
        std::string to;
        bool trimValue = false;
        bool operator==(const Rewrite&) const = default;
    };
    /// Remove a node and its subtree.
    struct Remove
    {
        std::int64_t node = 0;
        bool operator==(const Remove&) const = default;
    };
    /// Add a line to a record, under a node or directly under the record; after the line `after`
    /// when it is there, else at the end (a record's CHAN block stays last).
    struct Add
    {
        std::string record; ///< its xref, or its tag when it has none ("HEAD")
        std::optional<std::int64_t> under;
        std::string tag;
        std::optional<std::string> value;
        std::optional<std::int64_t> after;
        std::vector<std::pair<std::string, std::string>>
            below; ///< tags and values of lines under the new one
        bool operator==(const Add&) const = default;
    };
    /// Add an empty record with this xref before the trailer, unless a record has the xref already;
    /// Add edits of the same batch fill it. Without an xref: a record of this tag (TRLR goes last),
    /// unless the file has one.
    struct AddRecord
    {
        std::string xref;
        std::string tag;
        bool operator==(const AddRecord&) const = default;
    };
    /// Merge the second record into the first.
    struct Merge
    {
        std::string keep;
        std::string remove;
        bool operator==(const Merge&) const = default;
    };

    /// An edit of one kind; `emplace_back(Edit::Remove{id})` works with every compiler this way.
    template <class Kind>
    requires std::is_constructible_v<std::variant<SetValue, Rewrite, Remove, Add, AddRecord, Merge>, Kind>
    Edit(Kind kind) : value(std::move(kind))
    {}

    std::variant<SetValue, Rewrite, Remove, Add, AddRecord, Merge> value;

    bool operator==(const Edit&) const = default;
};

/// A suggested change: edits applied in order, with what the user sees first.
struct Fix
{
    std::string id; ///< unique among the fixes of one scan; names the fix in the change log
    std::string title;
    std::vector<Edit> edits;
    std::vector<PreviewLine> preview;
    bool needsReview = false; ///< a suggestion the user should check before applying

    bool operator==(const Fix&) const = default;
};

/// One spelling of a place and where it is written.
struct PlaceSpelling
{
    std::string text;
    std::size_t count = 0; ///< PLAC lines written this way
    std::vector<std::int64_t> nodeIDs;

    bool operator==(const PlaceSpelling&) const = default;
};

/// Spellings that fold to one place.
struct PlaceGroup
{
    std::string key;
    std::vector<PlaceSpelling> spellings; ///< most frequent first, then file order
    std::string suggested;

    bool operator==(const PlaceGroup&) const = default;
};

/// A pair of people who are probably one person.
struct DuplicateMatch
{
    std::string keep;
    std::string remove;
    double score = 0;                 ///< 0 to 1, two decimals
    std::vector<std::string> reasons; ///< the evidence for, in the order found
    std::vector<std::string> against; ///< the evidence against, in the order found

    /// "Very likely", "Likely" or "Possible".
    [[nodiscard]] std::string_view likelihood() const;

    bool operator==(const DuplicateMatch&) const = default;
};

/// A finding: what a check saw, how bad it is, and how it could be fixed.
struct Issue
{
    std::string id; ///< unique within one scan
    IssueCategory category = IssueCategory::file;
    Severity severity = Severity::info;
    std::string title;
    std::string detail;
    std::vector<std::string> records; ///< xrefs concerned
    std::optional<Fix> fix;
    std::optional<PlaceGroup> places;
    std::optional<DuplicateMatch> match;

    bool operator==(const Issue&) const = default;
};

} // namespace kinloom
