// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kinloom {

/// One entry of the change log: one applied fix and the lines it changed.
struct ChangeEntry
{
    std::int64_t id = 0; ///< the entry's running number in the session
    std::string fixID;
    std::string title;
    std::vector<std::string> lines;

    bool operator==(const ChangeEntry&) const = default;
};

/// What one batch of fixes did.
struct ApplyResult
{
    GedcomDocument document;          ///< the edited copy
    std::vector<ChangeEntry> entries; ///< one per fix that changed something, in the order given
    std::vector<std::string> skipped; ///< titles of the fixes that changed nothing, in the order given

    bool operator==(const ApplyResult&) const = default;
};

/// The short text that names a record in findings and change lines: a person's name with its
/// xref ("Mary Smith (@I4@)", "Unnamed person (@I9@)"), or the xref and tag ("@F3@ FAM").
[[nodiscard]] std::string recordLabel(NodeView record);

/// The lines from a record down to one of its lines, both included; empty when it is not there.
[[nodiscard]] std::vector<NodeView> pathTo(NodeView record, std::int64_t id);

/// The tags on the way from a record down to one of its lines, the record's own left out
/// ("BIRT DATE"), as findings and change lines name a line.
[[nodiscard]] std::string tagPath(NodeView record, std::int64_t id);

namespace FixApplier {

/// Carries out the fixes' edits on a copy of `document`: values and rewritten lines first, then new records, added
/// lines, removals and merges, each edit checked against the document as it is by then. Entries are numbered
/// from `firstID`; fixes that share an id share one entry. Only the records edited are cloned.
[[nodiscard]] ApplyResult apply(const std::vector<Fix>& fixes, const GedcomDocument& document,
                                std::int64_t firstID);

} // namespace FixApplier

namespace detail {

/// A subtree as GEDCOM lines with the node at `level`, without xrefs; unreadable lines as read.
template <class Node>
void appendChangeLines(const Node& node, int level, std::vector<std::string>& out)
{
    if (node.isMalformed()) {
        out.emplace_back(node.raw().value_or(""));
    } else {
        std::string line = std::to_string(level) + " ";
        line += node.tag();
        if (node.value()) {
            line += ' ';
            line += *node.value();
        }
        out.push_back(std::move(line));
    }
    for (const auto& child : node.children())
        appendChangeLines(child, level + 1, out);
}

} // namespace detail
} // namespace kinloom
