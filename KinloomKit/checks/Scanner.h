// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"
#include "document/Progress.h"
#include "family/GedcomDates.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kinloom {

class TreeIndex;

/// The user's thresholds for a scan.
struct ScanOptions
{
    NumericDateOrder numericOrder = NumericDateOrder::automatic;
    double minParentAge = 12.0;
    double maxMotherAge = 55.0;
    double maxFatherAge = 80.0;
    double maxLifespan = 120.0;
    double duplicateThreshold = 0.65;
    /// Kinds of finding switched off (`FindingKind` ids), sorted; a scan reports none of them.
    std::vector<std::string> skippedKinds;

    /// Whether the kind of finding is switched off.
    [[nodiscard]] bool skips(std::string_view kind) const
    {
        return std::find(skippedKinds.begin(), skippedKinds.end(), kind) != skippedKinds.end();
    }
    /// The year the checks take as now; unset takes it from the system clock. Not a setting, so
    /// not stored.
    std::optional<int> currentYear;

    /// JSON with the field names as keys and the numeric order as its raw value.
    [[nodiscard]] std::string toJSON() const;
    /// Options from JSON; keys that are missing keep their defaults, keys it does not know are
    /// passed over. None when the text is not a JSON object or a value has the wrong type.
    [[nodiscard]] static std::optional<ScanOptions> fromJSON(std::string_view json);

    bool operator==(const ScanOptions&) const = default;
};

/// How many DATE values are written in one style.
struct DateStyleCount
{
    std::string style;
    std::size_t count = 0;

    bool operator==(const DateStyleCount&) const = default;
};

/// What the overview shows about the tree.
struct TreeStats
{
    std::size_t people = 0;
    std::size_t families = 0;
    std::size_t sources = 0;
    std::size_t otherRecords = 0;
    std::size_t dates = 0;
    std::size_t places = 0;
    std::optional<std::size_t>
        placeSpellings; ///< distinct ways the places are written; absent when not checked
    std::optional<std::size_t>
        distinctPlaces; ///< the places those are once spellings of one place are grouped
    std::size_t lines = 0;
    std::string version;
    std::string encoding;
    std::vector<DateStyleCount> dateStyles;       ///< most frequent first, then in the order of the styles
    std::optional<NumericDateOrder> numericOrder; ///< decided from the file when the option is automatic

    bool operator==(const TreeStats&) const = default;
};

struct ScanResult
{
    std::vector<Issue> issues;
    TreeStats stats;

    bool operator==(const ScanResult&) const = default;
};

namespace Scanner {

/// This year by the system clock, in local time.
[[nodiscard]] int currentYear();

/// Runs every check in the fixed order: file, date formats, impossible dates, places, missing
/// details, links and records, duplicates; a check whose every kind is skipped is not run, and no
/// finding of a skipped kind is reported. Never changes the document. `threads` 1 runs
/// everything on the calling thread; 0 uses every core. The result is the same.
/// Progress names each check (and the indexing) as the calling thread reaches it, on that thread,
/// with the share of the scan done so far. `withIndex` is handed the findings, once joined, with the
/// index they were found with, for work that needs both before the index is let go.
[[nodiscard]] ScanResult
scan(const GedcomDocument& document, const ScanOptions& options = {}, unsigned threads = 0,
     const ProgressCallback& progress = {},
     const std::function<void(const TreeIndex&, std::span<const Issue>)>& withIndex = {});

} // namespace Scanner
} // namespace kinloom
