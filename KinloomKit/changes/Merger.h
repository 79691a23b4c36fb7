// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

// Folds one record into another of the same kind (people, families, any record): the removed
// record's lines that the kept one lacks are moved across (below the kept line that says the same,
// where there is one), its housekeeping lines are dropped, and every pointer that named it names the
// kept record. No fact is lost: lines that say the same give the kept line the sub-lines it lacks.
namespace kinloom::Merger {

/// What one merge did to the lines of the removed record.
struct Outcome
{
    std::vector<std::string> added;        ///< the lines moved into the kept record, as GEDCOM text
    std::size_t alreadyThere = 0;          ///< lines of the removed record the kept one already had
    std::vector<std::string> housekeeping; ///< lines dropped because they only described the removed record
    std::size_t repointed = 0;             ///< pointers elsewhere changed to the kept record
    std::vector<std::string> notes;        ///< notes added to keep a conflicting value

    bool operator==(const Outcome&) const = default;
};

/// Merges each (keep, remove) pair of xrefs in order, in place, and returns each pair's change lines,
/// or none when a record is missing (an earlier pair may have removed it), both are one record or
/// they are of different kinds. Pointers are repointed in one pass for the whole batch, following
/// chains (A into B, then B into C: A's links go to C). `outcomes`, when given, gets one per pair.
[[nodiscard]] std::vector<std::optional<std::vector<std::string>>>
merge(const std::vector<std::pair<std::string, std::string>>& pairs, GedcomDocument& document,
      std::vector<std::optional<Outcome>>* outcomes = nullptr);

/// What merging `remove` into `keep` would do to their lines (`repointed` stays 0: counting links
/// needs the whole document). Classified exactly as `merge` does.
[[nodiscard]] Outcome outcome(NodeView keep, NodeView remove);

/// The preview of merging `remove` into `keep`, for a duplicate finding: lines whose context begins
/// "Added to", "Already in", "Sex differs (", "Dropped (only described the merged record)" and
/// "Record". Reads the two records only, so a caller previewing many pairs should find the records
/// once (a check has them in its TreeIndex) and pass their views.
[[nodiscard]] std::vector<PreviewLine> preview(NodeView keep, NodeView remove);

/// The same, finding the two records by xref: one pass over the record list, no walk of their lines.
/// Empty when either is missing.
[[nodiscard]] std::vector<PreviewLine> preview(const GedcomDocument& document, std::string_view keep,
                                               std::string_view remove);

} // namespace kinloom::Merger
