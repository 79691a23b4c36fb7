// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

// The GEDCOM grammars as compiled tables: which structures each structure holds, how often, and
// what its value is. Made from the tables in gedcom7/ and gedcom551/ by generate-grammar.py.
namespace kinloom::Grammar {

/// What a structure's value may be.
enum class Payload : std::uint8_t
{
    none,            ///< no value
    text,            ///< free text: blanks and line breaks are content
    flag,            ///< "Y" or nothing
    pointer,         ///< a link to a record
    pointerOrNone,   ///< a link, or nothing (GEDCOM 5.5.1's OBJE and REPO)
    pointerOrText,   ///< a link, or text (GEDCOM 5.5.1's NOTE and SOUR)
    enumeration,     ///< one of the structure's values
    enumerationList, ///< a comma list of them
    typed            ///< a date, an age, a number, a language …: not free text
};

struct Structure
{
    std::string_view id;  ///< "record-INDI", "DATE" …
    std::string_view tag; ///< empty for the file itself
    Payload payload = Payload::none;
    std::uint16_t target = 0; ///< for links: the structure of the record linked to
    std::uint16_t firstSub = 0;
    std::uint16_t subCount = 0;
    std::uint16_t firstEnum = 0;
    std::uint16_t enumCount = 0;
};

inline constexpr std::uint8_t many = 255;

/// One structure allowed under another, sorted by tag within its superstructure.
struct Substructure
{
    std::uint64_t tag = 0; ///< tagKey()
    std::uint16_t structure = 0;
    std::uint8_t min = 0;
    std::uint8_t max = many;
};

/// Rows of each source table, as the generator read them.
struct SourceRows
{
    std::size_t substructures = 0;
    std::size_t cardinalities = 0;
    std::size_t payloads = 0;
    std::size_t enumerations = 0;
    std::size_t enumerationSets = 0;
};

/// One version's grammar. Structure 0 is the file, whose substructures are the records.
struct Table
{
    std::string_view version; ///< "GEDCOM 7.0", "GEDCOM 5.5.1"
    std::span<const Structure> structures;
    std::span<const Substructure> substructures;
    std::span<const std::string_view> enumValues;
    SourceRows sourceRows;

    [[nodiscard]] const Structure& operator[](std::uint16_t structure) const { return structures[structure]; }
    [[nodiscard]] std::span<const Substructure> subsOf(std::uint16_t structure) const
    {
        return substructures.subspan(structures[structure].firstSub, structures[structure].subCount);
    }
    [[nodiscard]] std::span<const std::string_view> enumOf(std::uint16_t structure) const
    {
        return enumValues.subspan(structures[structure].firstEnum, structures[structure].enumCount);
    }
    /// The structure a line with this tag is under `super`, as its place in subsOf(super).
    [[nodiscard]] std::optional<std::uint16_t> find(std::uint16_t super, std::uint64_t tag) const;
};

[[nodiscard]] const Table& gedcom7();
[[nodiscard]] const Table& gedcom551();

/// A tag of up to eight characters as one number that sorts like the text; 0 for longer tags,
/// which no standard has.
[[nodiscard]] constexpr std::uint64_t tagKey(std::string_view tag)
{
    if (tag.size() > 8)
        return 0;
    std::uint64_t key = 0;
    for (std::size_t i = 0; i < 8; ++i)
        key = (key << 8) | (i < tag.size() ? static_cast<unsigned char>(tag[i]) : 0u);
    return key;
}

/// Whether either grammar has the tag somewhere.
[[nodiscard]] bool isStandardTag(std::uint64_t tag);

} // namespace kinloom::Grammar
