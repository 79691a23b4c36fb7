// SPDX-License-Identifier: GPL-3.0-or-later
#include "structure/Grammar.h"

#include <algorithm>

namespace kinloom::Grammar {
namespace {
#include "structure/GrammarTables.inc"
} // namespace

std::optional<std::uint16_t> Table::find(std::uint16_t super, std::uint64_t tag) const
{
    const std::span<const Substructure> subs = subsOf(super);
    const auto found =
        std::lower_bound(subs.begin(), subs.end(), tag,
                         [](const Substructure& sub, std::uint64_t key) { return sub.tag < key; });
    if (found == subs.end() || found->tag != tag)
        return std::nullopt;
    return static_cast<std::uint16_t>(found - subs.begin());
}

const Table& gedcom7()
{
    static constexpr Table table{"GEDCOM 7.0", gedcom7Structures, gedcom7Substructures, gedcom7EnumValues,
                                 gedcom7SourceRows};
    return table;
}

const Table& gedcom551()
{
    static constexpr Table table{"GEDCOM 5.5.1", gedcom551Structures, gedcom551Substructures,
                                 gedcom551EnumValues, gedcom551SourceRows};
    return table;
}

bool isStandardTag(std::uint64_t tag)
{
    return std::binary_search(std::begin(standardTags), std::end(standardTags), tag);
}

} // namespace kinloom::Grammar
