// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "checks/Scanner.h"
#include "document/GedcomDocument.h"
#include "family/TreeIndex.h"

#include <optional>
#include <vector>

// The checks that read the tree index, each returning its category's findings in file order
// (people in file order, then families; duplicates by score instead). The scanner runs them
// after the file and date-format checks, in the order declared here.
namespace kinloom::Checks {

/// Impossible dates: a person's own events out of order, a life too long; parents too young, too
/// old, born after their child or dead before the child's birth; marriages before a spouse's
/// birth, after their death or very young; and siblings born too close together.
[[nodiscard]] std::vector<Issue> impossibleDates(const TreeIndex& index, const ScanOptions& options);

/// How many places a tree names: the spellings, and the places they are once grouped.
struct PlaceCount
{
    std::size_t spellings = 0;
    std::size_t places = 0;
};

/// Place names spelled several ways, and place names with extra spaces, over every PLAC line
/// outside the header; `count` is told how many there are.
[[nodiscard]] std::vector<Issue> places(const GedcomDocument& document, PlaceCount* count = nullptr);

/// Missing details: names, sex, and surnames not marked.
[[nodiscard]] std::vector<Issue> missing(const TreeIndex& index, const GedcomDocument& document);

/// Links and records: shared IDs, broken, wrong-kind, one-way and repeated links, empty families,
/// unused records and people in no family.
[[nodiscard]] std::vector<Issue> links(const TreeIndex& index, const GedcomDocument& document);

/// Likely duplicate people and families.
/// `threads` 0 uses every core; the findings are the same for any number.
[[nodiscard]] std::vector<Issue> duplicates(const TreeIndex& index, const GedcomDocument& document,
                                            const ScanOptions& options, unsigned threads = 0);

/// A likely duplicate person with the other record kept ("Keep This One"): the merge, its title and
/// its preview go the other way; the id stays, so a ticked fix stays ticked. None when the finding
/// is no pair of people or one of its records is gone.
[[nodiscard]] std::optional<Issue> keepingOther(const Issue& issue, const GedcomDocument& document);

} // namespace kinloom::Checks
