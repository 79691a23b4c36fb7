// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"
#include "structure/Grammar.h"

#include <array>
#include <cstdint>
#include <optional>
#include <vector>

// The file's structure against the grammar of its own version (7.x files against 7.0, every
// other file against 5.5.1, as importers read them): spacing and length of lines, continuation lines, tags
// out of place or unknown, values and links, required parts and the header. Extension tags (_TAG) and what is
// under them are left alone. The scanner's walk over the document hands each record over while its lines are
// still at hand.
namespace kinloom::StructureChecks {

/// One line found wanting, before the lines of a record are grouped into findings.
struct Hit
{
    enum class Kind : std::uint8_t
    {
        spaces,
        longLine,
        cont,
        misplaced,
        unknown,
        pointer,
        value,
        enumeration,
        required
    };
    Kind kind = Kind::spaces;
    std::uint64_t key = 0;    ///< what lines are grouped by besides their kind (a tag)
    std::uint16_t detail = 0; ///< the structure concerned (for required: the one missing)
    NodeView node;
    NodeView parent;
};

/// What the checks gather while the document is walked.
struct Walk
{
    const Grammar::Table* grammar = nullptr; ///< none: nothing is checked
    bool v7 = false;
    bool hasTrailer = false;
    std::vector<bool> needsSubstructure; ///< of each structure: whether it must hold some substructure

    /// `grammar->find`, remembered: a tree uses few pairs of structure and tag, over and over.
    [[nodiscard]] std::optional<std::uint16_t> find(std::uint16_t structure, std::uint64_t tag)
    {
        const std::uint64_t key = tag ^ (std::uint64_t{structure} << 48 | structure);
        Found& slot = m_found[(key * 0x9E3779B97F4A7C15u) >> (64 - foundBits)];
        if (slot.key != key || slot.structure != structure) {
            const std::optional<std::uint16_t> place = grammar->find(structure, tag);
            slot = {key, structure, place ? static_cast<std::int32_t>(*place) : -1};
        }
        return slot.place < 0 ? std::nullopt
                              : std::optional<std::uint16_t>(static_cast<std::uint16_t>(slot.place));
    }

    std::vector<Hit> hits; ///< the current record's; reused from record to record
    struct Missing
    {
        NodeView parent;
        std::uint16_t structure = 0;
    };
    std::vector<Missing> headerMissing; ///< required parts the header lacks
    struct Link
    {
        NodeView node;
        NodeView record;
        std::uint16_t target = 0;
    };
    std::vector<Link> links; ///< links whose kind of record only these checks judge
    struct Named
    {
        std::size_t issue = 0; ///< its finding, in `issues`
        NodeView node;
        NodeView record;
    };
    /// Text on REPO and SUBM, which a record of its own could hold: fixed once the file's xrefs are known.
    std::vector<Named> named;
    std::vector<Issue> issues;

private:
    static constexpr int foundBits = 10;
    struct Found
    {
        std::uint64_t key = ~std::uint64_t{0};
        std::uint16_t structure = 0;
        std::int32_t place = -1;
    };
    std::array<Found, std::size_t{1} << foundBits> m_found{};
};

/// The walk for a document of this version.
[[nodiscard]] Walk start(const GedcomVersion& version);

/// Checks one record and adds its findings.
void checkRecord(Walk& walk, NodeView record);

/// The findings, once every record was checked.
[[nodiscard]] std::vector<Issue> finish(Walk&& walk, const GedcomDocument& document);

/// All of the above over a whole document.
[[nodiscard]] std::vector<Issue> check(const GedcomDocument& document);

} // namespace kinloom::StructureChecks
