// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/GedcomDocument.h"
#include "family/GedcomDates.h"

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kinloom {

// The index refers into the text of the document it was built from: it must not outlive it.

/// One NAME line of a person. Its parts are kept as places in the value, as a large tree has
/// millions of names.
struct PersonName
{
    std::int64_t nodeID = 0;
    std::string_view value; ///< as written; empty when the line has none

    /// Trimmed.
    [[nodiscard]] std::string_view given() const { return part(m_given); }
    /// Between the slashes, trimmed; absent when blank or not marked.
    [[nodiscard]] std::optional<std::string_view> surname() const
    {
        return m_surname.length ? std::optional<std::string_view>(part(m_surname)) : std::nullopt;
    }
    /// After the second slash, trimmed.
    [[nodiscard]] std::string_view suffix() const { return part(m_suffix); }

    bool operator==(const PersonName& other) const
    {
        return nodeID == other.nodeID && value == other.value && given() == other.given() &&
               surname() == other.surname() && suffix() == other.suffix();
    }

private:
    struct Part
    {
        std::uint32_t start = 0;
        std::uint32_t length = 0;
    };
    [[nodiscard]] std::string_view part(Part at) const { return {value.data() + at.start, at.length}; }

    Part m_given;
    Part m_surname;
    Part m_suffix;

    friend PersonName splitName(std::string_view value);
};

/// One event or fact line of a person or family, with its first DATE and PLAC. Kept small (the
/// lines are reached through the event's own line), as a large tree has millions.
struct EventFact
{
    /// An offset to a line further below the event than 16 bits reach: the line is found again.
    static constexpr std::uint16_t farBelow = 0xFFFF;

    // The offsets fill the end of the node's view, so that an event costs 32 bytes.
    [[no_unique_address]] NodeView node;
    std::uint16_t dateOffset = 0;  ///< slots from the event's line to its first DATE line; 0 when none
    std::uint16_t placeOffset = 0; ///< slots from the event's line to its first PLAC line; 0 when none
    double low = std::numeric_limits<double>::quiet_NaN();  ///< of the date's range; NaN when open or unread
    double high = std::numeric_limits<double>::quiet_NaN(); ///< of the date's range; NaN when open or unread

    [[nodiscard]] std::string_view tag() const { return node.tag(); }
    [[nodiscard]] std::int64_t nodeID() const { return node.id(); }
    [[nodiscard]] std::optional<NodeView> dateLine() const { return lineAt(dateOffset, "DATE"); }
    [[nodiscard]] std::optional<std::string_view> date() const { return valueOf(dateLine()); }
    [[nodiscard]] std::optional<std::int64_t> dateNodeID() const { return idOf(dateLine()); }
    [[nodiscard]] std::optional<std::string_view> place() const
    {
        return valueOf(lineAt(placeOffset, "PLAC"));
    }
    [[nodiscard]] std::optional<std::int64_t> placeNodeID() const
    {
        return idOf(lineAt(placeOffset, "PLAC"));
    }
    /// The date's range, when the date can be read.
    [[nodiscard]] std::optional<DateRange> range() const;

private:
    [[nodiscard]] std::optional<NodeView> lineAt(std::uint16_t offset, std::string_view tag) const
    {
        if (offset == 0)
            return std::nullopt;
        return offset == farBelow ? node.firstChild(tag) : std::optional<NodeView>(node.at(offset));
    }
    [[nodiscard]] static std::optional<std::string_view> valueOf(const std::optional<NodeView>& line)
    {
        return line ? std::optional<std::string_view>(line->value().value_or(std::string_view()))
                    : std::nullopt;
    }
    [[nodiscard]] static std::optional<std::int64_t> idOf(const std::optional<NodeView>& line)
    {
        return line ? std::optional<std::int64_t>(line->id()) : std::nullopt;
    }
};
static_assert(sizeof(EventFact) == 32, "an event costs 32 bytes");

/// A FAMC or FAMS line whose value is a pointer.
struct FamilyLink
{
    std::string_view family;
    std::int64_t nodeID = 0;

    bool operator==(const FamilyLink&) const = default;
};

/// A HUSB, WIFE or CHIL line of a family whose value is a pointer.
struct MemberLink
{
    std::string_view tag;
    std::string_view target;
    std::int64_t nodeID = 0;

    bool operator==(const MemberLink&) const = default;
};

struct Person
{
    std::string_view xref;
    NodeView record;
    std::span<const PersonName> names;
    std::span<const EventFact> events;
    std::span<const FamilyLink> famc;
    std::span<const FamilyLink> fams;
    std::uint32_t sexOffset = 0; ///< slots from the record's line to its first SEX line; 0 when none
    int sourceCount = 0;

    [[nodiscard]] std::int64_t nodeID() const { return record.id(); }
    /// The first SEX value, trimmed and upper-cased.
    [[nodiscard]] std::optional<std::string> sex() const;
    /// That value as written.
    [[nodiscard]] std::optional<std::string_view> sexValue() const;
    [[nodiscard]] std::optional<std::int64_t> sexNodeID() const;
    /// The first event with this tag, if any.
    [[nodiscard]] const EventFact* event(std::string_view tag) const;
};

/// The facts that stand for a person's birth and death, as every check reads them, found in one
/// pass over the events. A fact is dated when its DATE holds something, readable or not.
struct LifeFacts
{
    const EventFact* birth = nullptr; ///< the first dated BIRT, else the christening, else the first BIRT
    const EventFact* death = nullptr; ///< the first dated DEAT, else the burial, else the first DEAT
    const EventFact* christening = nullptr; ///< the first CHR, else the first BAPM
    const EventFact* burial = nullptr;      ///< the first BURI
    bool born = false;                      ///< the birth is a dated BIRT
    bool died = false;                      ///< the death is a dated DEAT
    bool deathRecorded = false;             ///< any DEAT, BURI, CREM, PROB or WILL line, dated or not

    explicit LifeFacts(const Person& person);
};

struct Family
{
    std::string_view xref;
    NodeView record;
    std::optional<std::string_view> husband;
    std::optional<std::string_view> wife;
    std::span<const std::string_view> children;
    std::span<const EventFact> events;
    std::span<const MemberLink> links; ///< every HUSB, WIFE and CHIL pointer in order, repeats included

    [[nodiscard]] std::int64_t nodeID() const { return record.id(); }
};

/// People and families of a document, looked up by xref and listed in file order. Copies share
/// the lists that people and families point into.
class TreeIndex
{
public:
    std::vector<Person> people;                   ///< in file order
    std::vector<Family> families;                 ///< in file order
    std::vector<std::string_view> duplicateXrefs; ///< carried by more than one record, each listed once
    bool v7 = false;

    // What the tree holds, for the overview: top-level records by kind, the DATE and PLAC lines
    // outside the header that hold something, and every line, unreadable ones included.
    std::size_t sourceRecords = 0;
    std::size_t otherRecords = 0; ///< records with an xref that are not people, families or sources
    std::size_t dateValues = 0;
    std::size_t placeValues = 0;
    std::size_t lines = 0;

    [[nodiscard]] const Person* person(std::string_view xref) const;
    [[nodiscard]] const Family* family(std::string_view xref) const;
    /// The tag of the record that carries the xref (the first one, when several do).
    [[nodiscard]] std::optional<std::string_view> recordTag(std::string_view xref) const;

    /// Builds the index; dates are read with this numeric order. `threads` 0 uses every core; the
    /// result is the same for any number.
    [[nodiscard]] static TreeIndex build(const GedcomDocument& document,
                                         NumericDateOrder order = NumericDateOrder::automatic,
                                         unsigned threads = 0);

    /// Whether a value names a record: "@X1@", with no "@" or blank inside and not "@#…".
    [[nodiscard]] static bool isPointer(std::string_view value);

    /// Whether a tag is one of the person and family events and facts.
    [[nodiscard]] static bool isEventTag(std::string_view tag);

    struct Storage;

private:
    [[nodiscard]] std::string_view xrefOf(std::uint32_t record) const;
    /// The record the xref names, as the look-up table holds it; 0 when none.
    [[nodiscard]] std::uint32_t find(std::string_view xref) const;

    std::shared_ptr<const Storage> m_storage;
};

/// Given names, surname and suffix joined by blanks.
[[nodiscard]] std::string displayName(const PersonName& name);
/// The first name's display name, or "Unnamed person".
[[nodiscard]] std::string displayName(const Person& person);

/// A NAME value split into given names, surname and suffix.
[[nodiscard]] PersonName splitName(std::string_view value);

} // namespace kinloom
