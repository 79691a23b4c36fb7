// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"

#include <compare>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kinloom {

class TreeIndex;

/// What a finding is about, in a form that holds wherever the same tree is opened: in the file
/// itself, in its cleaned copies and in a later export, in any encoding or line ending. Node ids
/// change between copies, so none is kept.
struct DecisionKey
{
    std::string kind;                 ///< the finding's kind ("imp-alive")
    std::vector<std::string> records; ///< each record's _UID (or UID) where it has one, else its xref
    /// What within the records: the tag path and value of the line the finding names ("BIRT DATE:
    /// 12/03/1890"), the rest of the finding's id with the records as "#0", "#1" …, or for a place
    /// the spellings; empty when the kind and records say it all.
    std::string at;
    /// Sixteen hex digits of the records' decoded content, CHAN and other lines programs write for
    /// themselves left out, so that any change a person makes brings the finding back. For a
    /// finding that names no records (or a place), of the tree's first person and their name.
    std::string fingerprint;

    auto operator<=>(const DecisionKey&) const = default;
};

/// A finding the user marked "Not a Problem" ("Not the Same Person" for a duplicate pair).
struct Decision
{
    DecisionKey key;
    std::string title; ///< the finding's title when it was decided, for a person reading the store

    bool operator==(const Decision&) const = default;
};

namespace Decisions {

/// The user's store, shared by the app and the command-line tool:
/// `$XDG_DATA_HOME/kinloom/decisions.json`, else `~/.local/share/kinloom/decisions.json`; empty when
/// neither folder is known.
[[nodiscard]] std::filesystem::path defaultStorePath();

/// What the store holds.
struct Loaded
{
    std::vector<Decision> decisions;
    /// One sentence when the store was damaged, unreadable or not a decisions file: it was set
    /// aside under a new name (or could not be) and no decisions apply.
    std::optional<std::string> problem;
};

/// Reads the store; a store that does not exist yet holds no decisions. A store that cannot be used
/// is renamed "decisions (set aside).json" (numbered when taken) beside it, never deleted.
[[nodiscard]] Loaded load(const std::filesystem::path& store);

/// Writes the decisions as the new store, creating its folder: to a temporary file first, put in
/// place in one step, so the store is never half-written. A store that cannot be read as decisions
/// is never replaced. Returns the failure as a sentence, or none.
[[nodiscard]] std::optional<std::string> save(const std::filesystem::path& store,
                                              std::span<const Decision> decisions);

/// The key of each finding, in order. `document` is the one the findings were scanned from.
[[nodiscard]] std::vector<DecisionKey> keys(const GedcomDocument& document, std::span<const Issue> findings);

/// Whether each finding, in order, was decided. Keys are worked out only for findings whose kind and
/// records some decision names, and each record's fingerprint only once. `index`, the document's
/// when the caller has it, saves looking for people and families in the file.
[[nodiscard]] std::vector<bool> decided(const GedcomDocument& document, std::span<const Issue> findings,
                                        std::span<const Decision> decisions,
                                        const TreeIndex* index = nullptr);

/// The stored decisions with `added` put in (replacing the same keys) and `lifted` taken out,
/// sorted by key.
[[nodiscard]] std::vector<Decision> changed(std::vector<Decision> stored, std::span<const Decision> added,
                                            std::span<const DecisionKey> lifted);

} // namespace Decisions
} // namespace kinloom
