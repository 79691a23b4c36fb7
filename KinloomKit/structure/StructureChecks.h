#pragma once

#include "checks/Issue.h"
#include "document/GedcomDocument.h"
#include "structure/Grammar.h"

#include <cstdint>
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
    std::vector<Hit> hits; ///< the current record's; reused from record to record
    std::vector<std::string> headerMissing;
    struct Link
    {
        NodeView node;
        NodeView record;
        std::uint16_t target = 0;
    };
    std::vector<Link> links; ///< links whose kind of record only these checks judge
    std::vector<Issue> issues;
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
