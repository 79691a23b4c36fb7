// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Checks.h"

#include "changes/FixApplier.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <span>
#include <tuple>
#include <unordered_map>
#include <unordered_set>

namespace kinloom::Checks {
namespace {

using Text::quoted;

/// Up to four characters of a tag as one number, so that tags compare without a call.
constexpr std::uint32_t code(std::string_view tag)
{
    if (tag.size() > 4)
        return 0;
    std::uint32_t value = 0;
    for (char c : tag)
        value = (value << 8) | static_cast<unsigned char>(c);
    return value;
}

/// The tag of the record a pointer line must name, or empty when any record will do.
std::string_view expectedTag(std::string_view tag)
{
    switch (code(tag)) {
    case code("FAMC"):
    case code("FAMS"):
        return "FAM";
    case code("HUSB"):
    case code("WIFE"):
    case code("CHIL"):
        return "INDI";
    case code("SOUR"):
        return "SOUR";
    case code("REPO"):
        return "REPO";
    case code("OBJE"):
        return "OBJE";
    case code("SUBM"):
        return "SUBM";
    case code("NOTE"):
        return "NOTE";
    default:
        return tag == "SNOTE" ? "NOTE" : "";
    }
}

bool mayGoUnused(std::string_view tag)
{
    return tag == "SOUR" || tag == "REPO" || tag == "OBJE" || tag == "NOTE" || tag == "SNOTE" ||
           tag == "SUBM";
}

/// The index's pointer test, written out for the tens of millions of values of a large tree:
/// "@X1@", with no "@" or blank inside and not "@#…".
bool isPointer(std::string_view value)
{
    if (value.size() < 3 || value.front() != '@' || value.back() != '@' || value[1] == '@' || value[1] == '#')
        return false;
    for (std::size_t i = 1; i + 1 < value.size(); ++i) {
        if (value[i] == '@' || value[i] == ' ')
            return false;
    }
    return true;
}

/// Looks strings up by their views, so that a look-up builds no string.
struct TextHash
{
    using is_transparent = void;
    std::size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
};

std::string joinedLines(NodeView node, int level)
{
    std::string text;
    for (const std::string& line : node.lines(level))
        text += (text.empty() ? "" : " / ") + line;
    return text;
}

/// The record label and the tags from the record down to one of its lines ("Ann Lee (@I1@) · BIRT SOUR").
std::string context(NodeView record, std::int64_t id)
{
    return recordLabel(record) + " \u00B7 " + tagPath(record, id);
}

/// Every record by its xref, for the millions of links of a large tree. An xref of up to eight
/// characters between its at-signs is packed into one number and found with one probe, which can
/// be fetched ahead; a look-up in the index would compare texts spread all over the document.
/// Longer xrefs go to an ordinary map.
class XrefTable
{
public:
    static constexpr std::uint32_t none = UINT32_MAX;

    struct Key
    {
        std::uint64_t packed = 0; ///< 0 for an xref too long to pack
        std::string_view xref;
    };

    explicit XrefTable(std::size_t count)
    {
        unsigned bits = 4;
        while ((std::size_t{1} << bits) * 2 < count * 3)
            ++bits;
        m_shift = 64 - bits;
        m_slots.resize(std::size_t{1} << bits);
    }

    static Key key(std::string_view xref)
    {
        Key key{0, xref};
        const std::string_view inner = xref.substr(1, xref.size() - 2);
        if (inner.size() > sizeof key.packed)
            return key;
        for (char c : inner) {
            if (c == '\0')
                return key;
        }
        std::memcpy(&key.packed, inner.data(), inner.size());
        return key;
    }

    void prefetch(const Key& key) const
    {
        if (key.packed)
            __builtin_prefetch(&m_slots[home(key.packed)]);
    }

    /// Keeps the first value given for an xref; false when there was one.
    bool insert(const Key& key, std::uint32_t value)
    {
        if (!key.packed)
            return m_long.try_emplace(std::string(key.xref), value).second;
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = home(key.packed);; i = (i + 1) & mask) {
            if (m_slots[i].packed == key.packed)
                return false;
            if (m_slots[i].packed == 0) {
                m_slots[i] = {key.packed, value};
                return true;
            }
        }
    }

    [[nodiscard]] std::uint32_t find(const Key& key) const
    {
        if (!key.packed) {
            const auto found = m_long.find(key.xref);
            return found == m_long.end() ? none : found->second;
        }
        const std::size_t mask = m_slots.size() - 1;
        for (std::size_t i = home(key.packed);; i = (i + 1) & mask) {
            if (m_slots[i].packed == key.packed)
                return m_slots[i].value;
            if (m_slots[i].packed == 0)
                return none;
        }
    }

private:
    struct Slot
    {
        std::uint64_t packed = 0;
        std::uint32_t value = 0;
    };

    [[nodiscard]] std::size_t home(std::uint64_t packed) const
    {
        return static_cast<std::size_t>((packed * 0x9E3779B97F4A7C15ull) >> m_shift);
    }

    std::vector<Slot> m_slots;
    unsigned m_shift = 60;
    std::unordered_map<std::string, std::uint32_t, TextHash, std::equal_to<>> m_long;
};

// What an xref names, in the table's values: the kind in the top two bits, the position among
// the people, the families or the other records below.
enum Kind : std::uint32_t
{
    personKind = 0,
    familyKind = 1,
    otherKind = 2
};
constexpr std::uint32_t positionBits = 30;
constexpr std::uint32_t positionMask = (1u << positionBits) - 1;

class LinkCheck
{
public:
    LinkCheck(const TreeIndex& index, const GedcomDocument& document)
        : m_index(index), m_document(document), m_table(document.recordCount()),
          m_familyNamed(index.families.size()), m_personRecord(index.people.size()),
          m_familyRecord(index.families.size())
    {}

    std::vector<Issue> run()
    {
        list();
        std::size_t p = 0, f = 0;
        for (std::size_t r = 0; r < m_document.recordCount(); ++r) {
            const NodeView record = m_document.record(r);
            m_record = static_cast<std::uint32_t>(r);
            m_person = m_family = -1;
            if (p < m_index.people.size() && m_index.people[p].record == record)
                m_person = static_cast<std::int32_t>(p++);
            else if (f < m_index.families.size() && m_index.families[f].record == record)
                m_family = static_cast<std::int32_t>(f++);
            visit(record, 0);
        }
        while (m_waiting > 0)
            resolve(m_queue[(m_next + m_queue.size() - m_waiting--) % m_queue.size()]);
        oneWayLinks();
        return assemble();
    }

private:
    struct Other
    {
        std::string_view tag;
        std::uint32_t tagCode = 0; ///< the tag compared without reading the record's line again
        std::uint32_t record = 0;  ///< the first record carrying the xref
        bool used = false;
    };

    /// A pointer line on its way to being resolved, with where it was found.
    struct Pointer
    {
        NodeView node;
        std::string_view tag;
        std::string_view value;
        XrefTable::Key key;
        std::uint32_t record = 0;
        std::int32_t person = -1; ///< the person whose own line it is, at the record's top level
        std::int32_t family = -1; ///< likewise for a family
    };

    /// A finding about one line, kept until the records' own findings are placed among them.
    struct LineFinding
    {
        std::uint32_t record = 0;
        std::int64_t line = 0; ///< orders the findings of one record
        Issue issue;
    };

    // Every record by xref, in file order, so that the first record carrying an xref is the one
    // found, as in the index. Slots are fetched a few records ahead of their insertion.
    void list()
    {
        struct Entry
        {
            XrefTable::Key key;
            std::uint32_t value = 0;
            std::uint32_t record = 0;
        };
        std::array<Entry, 16> ahead;
        std::size_t count = 0, listed = 0;
        auto insert = [&](const Entry& entry) {
            if (entry.value != XrefTable::none) {
                m_table.insert(entry.key, entry.value);
                return;
            }
            const auto at = static_cast<std::uint32_t>(m_others.size());
            if (!m_table.insert(entry.key, otherKind << positionBits | at))
                return;
            const std::string_view tag = m_document.record(entry.record).tag();
            m_others.push_back({tag, code(tag == "SNOTE" ? "NOTE" : tag), entry.record});
        };
        std::size_t p = 0, f = 0;
        for (std::size_t r = 0; r < m_document.recordCount(); ++r) {
            const NodeView record = m_document.record(r);
            Entry entry;
            entry.record = static_cast<std::uint32_t>(r);
            if (p < m_index.people.size() && m_index.people[p].record == record) {
                m_personRecord[p] = entry.record;
                entry.key = XrefTable::key(m_index.people[p].xref);
                entry.value = personKind << positionBits | static_cast<std::uint32_t>(p++);
            } else if (f < m_index.families.size() && m_index.families[f].record == record) {
                m_familyRecord[f] = entry.record;
                entry.key = XrefTable::key(m_index.families[f].xref);
                entry.value = familyKind << positionBits | static_cast<std::uint32_t>(f++);
            } else if (const auto xref = record.xref(); xref && isPointer(*xref)) {
                entry.key = XrefTable::key(*xref);
                entry.value = XrefTable::none;
                if (record.tag() == "SUBM") {
                    ++m_submitters;
                    m_submitter = *xref;
                }
            } else {
                continue;
            }
            m_table.prefetch(entry.key);
            if (count == ahead.size())
                insert(ahead[listed % ahead.size()]);
            else
                ++count;
            ahead[listed++ % ahead.size()] = entry;
        }
        for (std::size_t i = listed - count; i < listed; ++i)
            insert(ahead[i % ahead.size()]);
    }

    void visit(NodeView parent, std::size_t depth)
    {
        if (m_siblings.size() <= depth)
            m_siblings.resize(depth + 1);
        m_siblings[depth].clear();
        for (NodeView node : parent.children()) {
            const auto value = node.value();
            // GEDCOM 7 writes @VOID@ for a link that deliberately names nothing.
            if (value && !value->empty() && value->front() == '@' && isPointer(*value) &&
                !(value->size() == 6 && (*value)[1] == 'V' && *value == "@VOID@")) {
                Pointer pointer{node, node.tag(), *value, XrefTable::key(*value), m_record};
                if (depth == 0) {
                    pointer.person = m_person;
                    pointer.family = m_family;
                    if (pointer.tag == "SUBM" && !m_headSubmitter &&
                        m_document.record(m_record).tag() == "HEAD")
                        m_headSubmitter = node.id();
                }
                m_siblings[depth].push_back(pointer);
                wait(pointer);
            }
            if (node.hasChildren())
                visit(node, depth + 1);
        }
        if (m_siblings[depth].size() >= 2)
            repeats(m_siblings[depth]);
    }

    // Look-ups wait in a short queue while their slots of the table are fetched, so that the
    // walk does not stall on each of them in turn.
    void wait(const Pointer& pointer)
    {
        m_table.prefetch(pointer.key);
        if (m_waiting == m_queue.size())
            resolve(m_queue[m_next]);
        else
            ++m_waiting;
        m_queue[m_next] = pointer;
        m_next = (m_next + 1) % m_queue.size();
    }

    Issue& add(const Pointer& pointer, std::string id, Severity severity, std::string title,
               std::string detail)
    {
        const NodeView record = m_document.record(pointer.record);
        const auto xref = record.xref();
        return m_found
            .emplace_back(LineFinding{
                pointer.record, pointer.node.id(),
                Issue{std::move(id), IssueCategory::links, severity, std::move(title), std::move(detail),
                      xref ? std::vector<std::string>{std::string(*xref)} : std::vector<std::string>{}}})
            .issue;
    }

    void resolve(const Pointer& pointer)
    {
        const std::uint32_t found = m_table.find(pointer.key);
        const bool headSubmitter = m_headSubmitter == pointer.node.id();
        m_headNamesRecord = m_headNamesRecord || (headSubmitter && found != XrefTable::none);
        if (found == XrefTable::none) {
            const NodeView node = pointer.node;
            const std::string where = context(m_document.record(pointer.record), node.id());
            Issue& issue =
                add(pointer, "link-missing-" + std::to_string(node.id()), Severity::error,
                    "Link to a missing record",
                    where + ": " + quoted(pointer.value) + " names a record the file does not have.");
            // The header names the file's submitter: with one submitter record, that is the one meant.
            if (headSubmitter && m_submitters == 1) {
                const std::string target(m_submitter);
                issue.detail += " The file has one submitter record, " + target + ".";
                issue.fix = Fix{issue.id,
                                "Point it to " + target + ", the file\u2019s only submitter record",
                                {Edit{Edit::SetValue{node.id(), std::string(pointer.value), target}}},
                                {PreviewLine{where, std::string(pointer.value), target}},
                                false};
            } else if (headSubmitter) {
                // The header must name a submitter: the record it names is added, not the link cut.
                const std::string xref(pointer.value);
                issue.fix = Fix{issue.id,
                                "Add the submitter record " + xref,
                                {Edit{Edit::AddRecord{xref, "SUBM"}},
                                 Edit{Edit::Add{xref, std::nullopt, "NAME", "Unknown"}}},
                                {PreviewLine{"New record", std::nullopt, "0 " + xref + " SUBM"},
                                 PreviewLine{"New record", std::nullopt, "1 NAME Unknown"}},
                                false};
            } else if (!node.hasChildren())
                issue.fix = Fix{issue.id,
                                "Remove the broken link",
                                {Edit{Edit::Remove{node.id()}}},
                                {PreviewLine{where, std::string(pointer.value), std::nullopt}},
                                true};
            return;
        }

        const std::uint32_t kind = found >> positionBits, position = found & positionMask;
        const std::uint32_t tag = code(pointer.tag);
        std::uint32_t targetTag = kind == personKind ? code("INDI") : code("FAM");
        if (kind == otherKind) {
            m_others[position].used = true;
            targetTag = m_others[position].tagCode;
        } else if (kind == familyKind && (tag == code("FAMC") || tag == code("FAMS"))) {
            m_familyNamed[position] = true;
        }

        const std::string_view expected = expectedTag(pointer.tag);
        if (!expected.empty() && targetTag != code(expected)) {
            const std::string_view named = kind == personKind   ? "INDI"
                                           : kind == familyKind ? "FAM"
                                                                : m_others[position].tag;
            add(pointer, "link-kind-" + std::to_string(pointer.node.id()), Severity::error,
                "Link to the wrong kind of record",
                context(m_document.record(pointer.record), pointer.node.id()) + ": " + quoted(pointer.value) +
                    " is a " + std::string(named) + " record, not " + (expected == "INDI" ? "an " : "a ") +
                    std::string(expected) + " record.");
            return;
        }
        // The way back is looked for only from the lines of the records the index holds.
        if (pointer.person >= 0 && kind == familyKind && (tag == code("FAMC") || tag == code("FAMS")))
            m_links.push_back(link(static_cast<std::uint32_t>(pointer.person), position, tag == code("FAMC"),
                                   false, false));
        else if (pointer.family >= 0 && kind == personKind && expected == "INDI")
            m_links.push_back(link(position, static_cast<std::uint32_t>(pointer.family), tag == code("CHIL"),
                                   true, tag == code("WIFE")));
    }

    /// A family link as one number, so that both ends of a link sort next to each other:
    /// person, family, whether it is a child link, which end names the other, and for a
    /// family's spouse line whether it is WIFE.
    static std::uint64_t link(std::uint32_t person, std::uint32_t family, bool child, bool fromFamily,
                              bool wife)
    {
        return (std::uint64_t{person} << 34) | (std::uint64_t{family} << 4) | (std::uint64_t{child} << 3) |
               (std::uint64_t{fromFamily} << 2) | (std::uint64_t{wife} << 1);
    }

    // Both ends of every family link are gathered and matched by sorting, not looked up one by
    // one: a million-person tree has millions of them. A counting sort by person does most of it.
    void oneWayLinks()
    {
        std::vector<std::uint32_t> first(m_index.people.size() + 1);
        for (const std::uint64_t key : m_links)
            ++first[(key >> 34) + 1];
        for (std::size_t i = 1; i < first.size(); ++i)
            first[i] += first[i - 1];
        std::vector<std::uint64_t> sorted(m_links.size());
        {
            std::vector<std::uint32_t> next(first.begin(), first.end() - 1);
            for (const std::uint64_t key : m_links)
                sorted[next[key >> 34]++] = key;
        }
        m_links = {};

        for (std::size_t person = 0; person + 1 < first.size(); ++person) {
            const auto begin = sorted.begin() + first[person], end = sorted.begin() + first[person + 1];
            std::sort(begin, end);
            for (auto i = begin; i != end;) {
                const std::uint64_t pair = *i >> 3;
                bool fromPerson = false;
                std::optional<std::uint64_t> fromFamily;
                for (; i != end && *i >> 3 == pair; ++i) {
                    if (*i & 4)
                        fromFamily = fromFamily.value_or(*i);
                    else
                        fromPerson = true;
                }
                if (fromPerson == fromFamily.has_value())
                    continue;
                const Family& family = m_index.families[(pair >> 1) & positionMask];
                const bool child = pair & 1;
                if (fromPerson)
                    personToFamily(m_index.people[person], family, child);
                else
                    familyToPerson(m_index.people[person], family, child, *fromFamily & 2);
            }
        }
    }

    void personToFamily(const Person& person, const Family& family, bool child)
    {
        std::string backTag = "CHIL";
        if (!child) {
            const auto sex = person.sex();
            backTag = sex == "M" ? "HUSB" : sex == "F" ? "WIFE" : "";
        }
        oneWay(person, family, true, std::string(child ? "FAMC " : "FAMS ") + std::string(family.xref),
               recordLabel(family.record) + " has no " + (child ? "CHIL" : "HUSB or WIFE") +
                   " line back to them.",
               backTag);
    }

    void familyToPerson(const Person& person, const Family& family, bool child, bool wife)
    {
        const std::string backTag = child ? "FAMC" : "FAMS";
        oneWay(person, family, false,
               std::string(child  ? "CHIL "
                           : wife ? "WIFE "
                                  : "HUSB ") +
                   std::string(person.xref),
               recordLabel(person.record) + " has no " + backTag + " line back to it.", backTag);
    }

    /// A link with no link back, found in the person's record or the family's; the fix adds the
    /// missing line to the other one.
    void oneWay(const Person& person, const Family& family, bool inPerson, const std::string& line,
                const std::string& problem, const std::string& backTag)
    {
        const bool child = backTag == "CHIL" || backTag == "FAMC";
        const std::string id = (child ? "link-oneway-child-" : "link-oneway-spouse-") +
                               std::string(person.xref) + "-" + std::string(family.xref);
        const NodeView here = inPerson ? person.record : family.record;
        const NodeView other = inPerson ? family.record : person.record;
        const std::string_view otherXref = inPerson ? family.xref : person.xref;
        const std::string_view backValue = inPerson ? person.xref : family.xref;
        const std::uint32_t record =
            inPerson ? m_personRecord[static_cast<std::size_t>(&person - m_index.people.data())]
                     : m_familyRecord[static_cast<std::size_t>(&family - m_index.families.data())];
        // After the other findings about the record's lines.
        Issue& issue =
            m_found
                .emplace_back(LineFinding{record,
                                          INT64_MAX,
                                          {id,
                                           IssueCategory::links,
                                           Severity::warning,
                                           "One-way family link",
                                           recordLabel(here) + " has " + quoted(line) + ", but " + problem,
                                           {std::string(person.xref), std::string(family.xref)}}})
                .issue;
        if (backTag.empty())
            return;
        const std::string added = backTag + " " + std::string(backValue);
        // A second husband or wife is worth a look before it is written.
        const bool taken = (backTag == "HUSB" && family.husband) || (backTag == "WIFE" && family.wife);
        issue.fix = Fix{
            id,
            "Add " + quoted(added) + " to " + recordLabel(other),
            {Edit{Edit::Add{std::string(otherXref), std::nullopt, backTag, std::string(backValue),
                            std::nullopt}}},
            {PreviewLine{recordLabel(other) + " \u00B7 " + backTag, std::nullopt, std::string(backValue)}},
            taken};
    }

    // The same pointer line under one parent, sub-lines and all, says nothing the first did not.
    void repeats(std::vector<Pointer>& lines)
    {
        // Most parents hold a few links and no repeat: that is seen without sorting.
        if (lines.size() <= 16) {
            bool repeated = false;
            for (std::size_t i = 1; i < lines.size() && !repeated; ++i) {
                for (std::size_t j = 0; j < i && !repeated; ++j)
                    repeated = lines[i].value == lines[j].value && lines[i].tag == lines[j].tag;
            }
            if (!repeated)
                return;
        }
        std::stable_sort(lines.begin(), lines.end(), [](const Pointer& a, const Pointer& b) {
            return std::tie(a.tag, a.value) < std::tie(b.tag, b.value);
        });
        for (std::size_t i = 0; i < lines.size();) {
            std::size_t end = i + 1;
            while (end < lines.size() && lines[end].tag == lines[i].tag && lines[end].value == lines[i].value)
                ++end;
            if (end - i >= 2)
                repeatedLine(std::span(lines).subspan(i, end - i));
            i = end;
        }
    }

    void repeatedLine(std::span<const Pointer> lines)
    {
        const NodeView first = lines.front().node;
        const std::vector<std::string> firstLines =
            first.hasChildren() ? first.lines(1) : std::vector<std::string>{};
        std::vector<NodeView> later;
        for (const Pointer& line : lines.subspan(1)) {
            if (!(line.node.hasChildren() || first.hasChildren()) || line.node.lines(1) == firstLines)
                later.push_back(line.node);
        }
        if (later.empty())
            return;
        const std::string where = context(m_document.record(lines.front().record), first.id());
        Issue& issue = add(lines.front(), "link-repeat-" + std::to_string(first.id()), Severity::warning,
                           "Same link twice",
                           where + ": " + quoted(lines.front().value) + " is written " +
                               (later.size() == 1 ? "twice." : std::to_string(later.size() + 1) + " times."));
        Fix fix{issue.id, "Remove the repeated line", {}, {}, false};
        fix.edits.reserve(later.size());
        for (NodeView node : later) {
            fix.edits.emplace_back(Edit::Remove{node.id()});
            fix.preview.push_back({where, std::string(lines.front().value), std::nullopt});
        }
        issue.fix = std::move(fix);
    }

    /// The findings in file order: for each record, a shared ID first, then its lines, then
    /// whether it is linked or used at all.
    std::vector<Issue> assemble()
    {
        std::unordered_map<std::string_view, std::vector<std::string_view>> carriers;
        if (!m_index.duplicateXrefs.empty()) {
            const std::unordered_set<std::string_view> shared(m_index.duplicateXrefs.begin(),
                                                              m_index.duplicateXrefs.end());
            for (NodeView record : m_document.records()) {
                if (const auto xref = record.xref(); xref && shared.count(*xref))
                    carriers[*xref].push_back(record.tag());
            }
        }
        std::stable_sort(m_found.begin(), m_found.end(), [](const LineFinding& a, const LineFinding& b) {
            return std::tie(a.record, a.line) < std::tie(b.record, b.line);
        });

        std::vector<Issue> issues;
        auto found = m_found.begin();
        std::size_t p = 0, f = 0;
        for (std::size_t r = 0; r < m_document.recordCount(); ++r) {
            const NodeView record = m_document.record(r);
            const bool person = p < m_index.people.size() && m_index.people[p].record == record;
            const bool family =
                !person && f < m_index.families.size() && m_index.families[f].record == record;
            // Only a record the index does not hold, or one that may share its ID, needs its xref read.
            const auto xref = (person || family) && carriers.empty() ? std::nullopt : record.xref();
            if (const auto at = xref ? carriers.find(*xref) : carriers.end(); at != carriers.end()) {
                std::string tags;
                for (std::string_view tag : at->second)
                    tags += (tags.empty() ? "" : ", ") + std::string(tag);
                issues.push_back({"link-dupid-" + std::string(*xref),
                                  IssueCategory::links,
                                  Severity::error,
                                  "Two records share one ID",
                                  std::string(*xref) + " is the ID of " + std::to_string(at->second.size()) +
                                      " records (" + tags + "); a link to it cannot tell them apart.",
                                  {std::string(*xref)}});
                carriers.erase(at);
            }
            for (; found != m_found.end() && found->record == r; ++found)
                issues.push_back(std::move(found->issue));

            if (person) {
                const Person& one = m_index.people[p];
                if (m_index.people.size() > 1 && one.famc.empty() && one.fams.empty())
                    issues.push_back({"link-alone-" + std::string(one.xref),
                                      IssueCategory::links,
                                      Severity::info,
                                      "Not linked to any family",
                                      recordLabel(record) + " is not a spouse or a child in any family.",
                                      {std::string(one.xref)}});
                ++p;
            } else if (family) {
                if (!m_familyNamed[f])
                    emptyFamily(m_index.families[f], issues);
                ++f;
            } else if (xref && mayGoUnused(record.tag())) {
                const std::uint32_t at = m_table.find(XrefTable::key(*xref));
                if (at != XrefTable::none && at >> positionBits == otherKind) {
                    const Other& other = m_others[at & positionMask];
                    // A lone submitter record is the file's own when the header names no other.
                    const bool filesSubmitter =
                        other.tagCode == code("SUBM") && m_submitters == 1 && !m_headNamesRecord;
                    if (other.record == r && !other.used && !filesSubmitter)
                        issues.push_back({"link-unused-" + std::string(*xref),
                                          IssueCategory::links,
                                          Severity::info,
                                          "Record not used anywhere",
                                          recordLabel(record) + " is not named by any link in the file.",
                                          {std::string(*xref)}});
                }
            }
        }
        return issues;
    }

    void emptyFamily(const Family& family, std::vector<Issue>& issues) const
    {
        bool members = false, more = false;
        for (NodeView child : family.record.children()) {
            const std::string_view tag = child.tag();
            members = members || tag == "HUSB" || tag == "WIFE" || tag == "CHIL";
            more = more || (tag != "CHAN" && tag != "RIN");
        }
        if (members)
            return;
        const std::string label = recordLabel(family.record);
        Issue issue{"link-emptyfam-" + std::string(family.xref),
                    IssueCategory::links,
                    Severity::warning,
                    "Family with no members",
                    label + " has no husband, wife or children, and no one names it as their family.",
                    {std::string(family.xref)}};
        // A family holding facts of its own may be worth keeping and filling in.
        issue.fix = Fix{issue.id,
                        "Remove the empty family",
                        {Edit{Edit::Remove{family.nodeID()}}},
                        {PreviewLine{label, joinedLines(family.record, 0), std::nullopt}},
                        more};
        issues.push_back(std::move(issue));
    }

    const TreeIndex& m_index;
    const GedcomDocument& m_document;
    XrefTable m_table;
    std::vector<Other> m_others;
    std::vector<bool> m_familyNamed;           ///< named by some FAMC or FAMS line
    std::vector<std::uint32_t> m_personRecord; ///< each person's place among the records
    std::vector<std::uint32_t> m_familyRecord;
    std::vector<LineFinding> m_found;
    std::vector<std::uint64_t> m_links;          ///< see link()
    std::size_t m_submitters = 0;                ///< SUBM records
    std::string_view m_submitter;                ///< the xref of one of them: the only one, when there is one
    std::optional<std::int64_t> m_headSubmitter; ///< the header's SUBM line
    bool m_headNamesRecord = false;              ///< that line names a record the file has

    // Where the walk is.
    std::uint32_t m_record = 0;
    std::int32_t m_person = -1;
    std::int32_t m_family = -1;
    std::vector<std::vector<Pointer>> m_siblings; ///< pointer lines under the parent at each depth
    std::array<Pointer, 16> m_queue;
    std::size_t m_next = 0;
    std::size_t m_waiting = 0;
};

} // namespace

std::vector<Issue> links(const TreeIndex& index, const GedcomDocument& document)
{
    return LinkCheck(index, document).run();
}

} // namespace kinloom::Checks
