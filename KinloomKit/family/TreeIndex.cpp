// SPDX-License-Identifier: GPL-3.0-or-later
#include "family/TreeIndex.h"

#include "document/Text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <memory>
#include <thread>

namespace kinloom {
using Text::isBlank;
using Text::trimmed;

namespace {

/// Whether the line's value, joined with its continuation lines, holds more than blanks.
bool hasText(NodeView node)
{
    if (!node.hasChildren())
        return !trimmed(node.value().value_or(std::string_view())).empty();
    return !trimmed(node.fullValue()).empty();
}

/// Up to four characters of a tag as one number, for a quick look-up of the event tags.
constexpr std::uint32_t tagKey(std::string_view tag)
{
    std::uint32_t key = 0;
    for (char c : tag)
        key = (key << 8) | static_cast<unsigned char>(c);
    return key;
}

constexpr std::array<std::string_view, 46> eventTags{
    "BIRT", "CHR",  "BAPM", "DEAT", "BURI", "CREM", "MARR", "DIV",  "ENGA", "MARB", "MARL", "RESI",
    "CENS", "EMIG", "IMMI", "NATU", "OCCU", "EDUC", "RELI", "PROB", "WILL", "GRAD", "RETI", "EVEN",
    "FACT", "ADOP", "BARM", "BASM", "BLES", "CHRA", "CONF", "FCOM", "ORDN", "ANUL", "DIVF", "MARC",
    "MARS", "PROP", "TITL", "NATI", "DSCR", "IDNO", "NCHI", "NMR",  "SSN",  "CAST",
};

constexpr std::array<std::uint32_t, eventTags.size()> sortedEventKeys = [] {
    std::array<std::uint32_t, eventTags.size()> keys{};
    for (std::size_t i = 0; i < eventTags.size(); ++i)
        keys[i] = tagKey(eventTags[i]);
    std::sort(keys.begin(), keys.end());
    return keys;
}();

std::optional<std::string_view> pointerValue(NodeView node)
{
    const auto value = node.value();
    return value && TreeIndex::isPointer(*value) ? value : std::nullopt;
}

template <class T>
std::uint32_t sizeOf(const std::vector<T>& list)
{
    return static_cast<std::uint32_t>(list.size());
}

/// Items kept in large blocks that never move, so spans into them stay valid while the lists grow
/// and no list is ever copied to a larger place.
template <class T>
class BlockList
{
public:
    std::span<const T> append(const std::vector<T>& items)
    {
        if (items.empty())
            return {};
        if (m_blocks.empty() || m_used + items.size() > m_capacity) {
            m_capacity = std::max(blockSize, items.size());
            m_blocks.push_back(std::make_unique<T[]>(m_capacity));
            m_used = 0;
        }
        T* first = m_blocks.back().get() + m_used;
        std::copy(items.begin(), items.end(), first);
        m_used += items.size();
        return {first, items.size()};
    }

private:
    static constexpr std::size_t blockSize = 16384;
    std::vector<std::unique_ptr<T[]>> m_blocks;
    std::size_t m_used = 0;
    std::size_t m_capacity = 0;
};

/// Where the entries of people and families live; one set for each slice built side by side.
struct Lists
{
    BlockList<PersonName> names;
    BlockList<EventFact> events;
    BlockList<FamilyLink> familyLinks;
    BlockList<MemberLink> memberLinks;
    BlockList<std::string_view> children;
};

} // namespace

struct TreeIndex::Storage
{
    std::vector<Lists> lists;
    /// Records with an xref that are neither people nor families, the first of each xref only.
    std::vector<NodeView> others;
    std::vector<std::string_view> otherXrefs;

    // Every indexed xref in one open-addressing table of 8-byte slots, 0 when free: the low half
    // names the record (its kind in the top bits, its place below), the high half holds more bits
    // of the xref's hash, so that a probe rarely has to compare the text itself.
    enum Kind : std::uint32_t
    {
        person = 1u << 30,
        family = 2u << 30,
        other = 3u << 30,
    };
    static constexpr std::uint32_t kindMask = 3u << 30;
    static constexpr std::uint64_t repeatedBit = 1ull << 32; ///< another record carries the xref too
    std::vector<std::uint64_t> slots;

    void reserveSlots(std::size_t count)
    {
        // At most 70% full, where linear probing stays short.
        std::size_t size = 16;
        while (size * 7 < count * 10)
            size *= 2;
        slots.assign(size, 0);
    }

    static std::uint64_t hashOf(std::string_view xref) { return std::hash<std::string_view>{}(xref); }
    /// The part of a slot that holds the hash.
    static std::uint64_t hashBits(std::uint64_t value) { return value & ~0xFFFF'FFFFull & ~repeatedBit; }

    /// The slot where the xref is or would go; `xrefOf` gives the xref of a slot's record.
    template <class XrefOf>
    std::size_t slotOf(std::string_view xref, std::uint64_t hash, const XrefOf& xrefOf) const
    {
        const std::size_t mask = slots.size() - 1;
        const std::uint64_t bits = hashBits(hash);
        for (std::size_t slot = hash & mask;; slot = (slot + 1) & mask) {
            const std::uint64_t entry = slots[slot];
            if (entry == 0 || (hashBits(entry) == bits && xrefOf(static_cast<std::uint32_t>(entry)) == xref))
                return slot;
        }
    }
};

namespace {

class Builder
{
public:
    Builder(Lists& storage, NumericDateOrder order, bool v7) : m_storage(storage), m_order(order), m_v7(v7) {}

    EventFact event(NodeView node) const
    {
        EventFact fact;
        fact.node = node;
        for (NodeView child : node.children()) {
            const std::string_view tag = child.tag();
            const auto offset = static_cast<std::uint16_t>(
                std::min<std::uint32_t>(node.offsetOf(child), EventFact::farBelow));
            if (tag == "DATE" && !fact.dateOffset)
                fact.dateOffset = offset;
            else if (tag == "PLAC" && !fact.placeOffset)
                fact.placeOffset = offset;
        }
        if (const auto date = fact.date()) {
            if (const auto range = GedcomDates::range(*date, m_order, m_v7)) {
                fact.low = range->low.value_or(std::numeric_limits<double>::quiet_NaN());
                fact.high = range->high.value_or(std::numeric_limits<double>::quiet_NaN());
            }
        }
        return fact;
    }

    /// Fills in a person whose xref and record are set.
    void person(Person& person)
    {
        const NodeView record = person.record;
        clearScratch();
        for (NodeView child : record.children()) {
            const std::string_view tag = child.tag();
            if (tag == "NAME") {
                PersonName name = splitName(child.value().value_or(std::string_view()));
                name.nodeID = child.id();
                m_names.push_back(name);
            } else if (tag == "SEX") {
                if (!person.sexOffset)
                    person.sexOffset = record.offsetOf(child);
            } else if (tag == "FAMC" || tag == "FAMS") {
                if (const auto family = pointerValue(child))
                    (tag == "FAMC" ? m_famc : m_fams).push_back({*family, child.id()});
            } else if (tag == "SOUR") {
                ++person.sourceCount;
            } else if (TreeIndex::isEventTag(tag)) {
                m_events.push_back(event(child));
            }
        }
        person.names = m_storage.names.append(m_names);
        person.events = m_storage.events.append(m_events);
        person.famc = m_storage.familyLinks.append(m_famc);
        person.fams = m_storage.familyLinks.append(m_fams);
    }

    /// Fills in a family whose xref and record are set.
    void family(Family& family)
    {
        const NodeView record = family.record;
        clearScratch();
        for (NodeView child : record.children()) {
            const std::string_view tag = child.tag();
            if (tag == "HUSB" || tag == "WIFE" || tag == "CHIL") {
                const auto target = pointerValue(child);
                if (!target)
                    continue;
                m_links.push_back({tag, *target, child.id()});
                if (tag == "CHIL")
                    m_children.push_back(*target);
                else if (tag == "HUSB" && !family.husband)
                    family.husband = target;
                else if (tag == "WIFE" && !family.wife)
                    family.wife = target;
            } else if (TreeIndex::isEventTag(tag)) {
                m_events.push_back(event(child));
            }
        }
        family.events = m_storage.events.append(m_events);
        family.links = m_storage.memberLinks.append(m_links);
        family.children = m_storage.children.append(m_children);
    }

private:
    void clearScratch()
    {
        m_names.clear();
        m_events.clear();
        m_famc.clear();
        m_fams.clear();
        m_links.clear();
        m_children.clear();
    }

    Lists& m_storage;
    NumericDateOrder m_order;
    bool m_v7;
    // One record's entries, gathered before they go into the shared lists in one piece.
    std::vector<PersonName> m_names;
    std::vector<EventFact> m_events;
    std::vector<FamilyLink> m_famc;
    std::vector<FamilyLink> m_fams;
    std::vector<MemberLink> m_links;
    std::vector<std::string_view> m_children;
};

} // namespace

const EventFact* Person::event(std::string_view tag) const
{
    for (const EventFact& fact : events) {
        if (fact.tag() == tag)
            return &fact;
    }
    return nullptr;
}

LifeFacts::LifeFacts(const Person& person)
{
    const EventFact* baptism = nullptr;
    const EventFact* undatedBirth = nullptr;
    const EventFact* undatedDeath = nullptr;
    const auto dated = [](const EventFact& fact) {
        const auto date = fact.date();
        return date && !Text::trimmed(*date).empty();
    };
    const auto first = [](const EventFact*& slot, const EventFact& fact) {
        if (!slot)
            slot = &fact;
    };
    for (const EventFact& fact : person.events) {
        // Tags are compared millions of times on a large tree: by their packed key.
        switch (tagKey(fact.tag())) {
        case tagKey("BIRT"):
            if (!born && dated(fact)) {
                birth = &fact;
                born = true;
            }
            first(undatedBirth, fact);
            break;
        case tagKey("DEAT"):
            if (!died && dated(fact)) {
                death = &fact;
                died = true;
            }
            first(undatedDeath, fact);
            deathRecorded = true;
            break;
        case tagKey("BURI"):
            first(burial, fact);
            deathRecorded = true;
            break;
        case tagKey("CHR"):
            first(christening, fact);
            break;
        case tagKey("BAPM"):
            first(baptism, fact);
            break;
        case tagKey("CREM"):
        case tagKey("PROB"):
        case tagKey("WILL"):
            deathRecorded = true;
            break;
        default:
            break;
        }
    }
    if (!christening)
        christening = baptism;
    if (!born)
        birth = christening ? christening : undatedBirth;
    if (!died)
        death = burial ? burial : undatedDeath;
}

std::optional<std::string> Person::sex() const
{
    const auto value = sexValue();
    if (!value)
        return std::nullopt;
    std::string sex(trimmed(*value));
    for (char& c : sex)
        c = (c >= 'a' && c <= 'z') ? static_cast<char>(c - 'a' + 'A') : c;
    return sex;
}

std::optional<std::string_view> Person::sexValue() const
{
    return sexOffset ? record.at(sexOffset).value() : std::nullopt;
}

std::optional<std::int64_t> Person::sexNodeID() const
{
    return sexOffset ? std::optional<std::int64_t>(record.at(sexOffset).id()) : std::nullopt;
}

std::optional<DateRange> EventFact::range() const
{
    // Every readable date has at least one bound, so two open ends mean the date was not read.
    if (std::isnan(low) && std::isnan(high))
        return std::nullopt;
    DateRange range;
    if (!std::isnan(low))
        range.low = low;
    if (!std::isnan(high))
        range.high = high;
    return range;
}

std::string_view TreeIndex::xrefOf(std::uint32_t record) const
{
    const std::uint32_t at = record & ~Storage::kindMask;
    switch (record & Storage::kindMask) {
    case Storage::person:
        return people[at].xref;
    case Storage::family:
        return families[at].xref;
    default:
        return m_storage->otherXrefs[at];
    }
}

std::uint32_t TreeIndex::find(std::string_view xref) const
{
    if (!m_storage)
        return 0;
    const std::size_t slot = m_storage->slotOf(xref, Storage::hashOf(xref),
                                               [this](std::uint32_t record) { return xrefOf(record); });
    return static_cast<std::uint32_t>(m_storage->slots[slot]);
}

const Person* TreeIndex::person(std::string_view xref) const
{
    const std::uint32_t record = find(xref);
    return (record & Storage::kindMask) == Storage::person ? &people[record & ~Storage::kindMask] : nullptr;
}

const Family* TreeIndex::family(std::string_view xref) const
{
    const std::uint32_t record = find(xref);
    return (record & Storage::kindMask) == Storage::family ? &families[record & ~Storage::kindMask] : nullptr;
}

std::optional<std::string_view> TreeIndex::recordTag(std::string_view xref) const
{
    const std::uint32_t record = find(xref);
    const std::uint32_t at = record & ~Storage::kindMask;
    switch (record & Storage::kindMask) {
    case Storage::person:
        return people[at].record.tag();
    case Storage::family:
        return families[at].record.tag();
    case Storage::other:
        return m_storage->others[at].tag();
    default:
        return std::nullopt;
    }
}

bool TreeIndex::isPointer(std::string_view value)
{
    if (value.size() < 3 || value.front() != '@' || value.back() != '@' || value[1] == '@' || value[1] == '#')
        return false;
    const std::string_view inner = value.substr(1, value.size() - 2);
    return inner.find_first_of("@ ") == std::string_view::npos;
}

bool TreeIndex::isEventTag(std::string_view tag)
{
    return tag.size() >= 3 && tag.size() <= 4 &&
           std::binary_search(sortedEventKeys.begin(), sortedEventKeys.end(), tagKey(tag));
}

TreeIndex TreeIndex::build(const GedcomDocument& document, NumericDateOrder order, unsigned threads)
{
    TreeIndex index;
    index.v7 = std::holds_alternative<GedcomVersion::V7>(document.version().value);
    auto storage = std::make_shared<Storage>();
    index.m_storage = storage;
    const std::size_t recordCount = document.recordCount();
    storage->reserveSlots(recordCount);
    // Room for every record, so that the lists never move while they grow; the pages no person
    // or family reaches are never touched, and so never take memory.
    index.people.reserve(recordCount);
    index.families.reserve(recordCount);

    // First, in file order: which record is the one indexed for each xref, and where each person
    // and family goes. When two records carry one xref, the first is indexed; the others are only
    // reported as duplicates.
    constexpr std::uint32_t unbuilt = 0;
    std::vector<std::uint32_t> placeOf(recordCount, unbuilt);
    const auto xrefOf = [&index](std::uint32_t record) { return index.xrefOf(record); };
    for (std::size_t recordIndex = 0; recordIndex < recordCount; ++recordIndex) {
        // Records lie far apart in memory: ask for the ones ahead before they are needed.
        if (recordIndex + 32 < recordCount)
            document.record(recordIndex + 32).prefetch(false);
        if (recordIndex + 16 < recordCount)
            document.record(recordIndex + 16).prefetch(true);
        const NodeView record = document.record(recordIndex);
        index.lines += record.subtreeSize();
        const auto xref = record.xref();
        if (!xref)
            continue;
        const std::uint64_t hash = Storage::hashOf(*xref);
        std::uint64_t& slot = storage->slots[storage->slotOf(*xref, hash, xrefOf)];
        if (slot != 0) {
            if (!(slot & Storage::repeatedBit))
                index.duplicateXrefs.push_back(*xref);
            slot |= Storage::repeatedBit;
            continue;
        }
        const std::string_view tag = record.tag();
        std::uint32_t place = 0;
        if (tag == "INDI") {
            place = Storage::person | sizeOf(index.people);
            Person& person = index.people.emplace_back();
            person.xref = *xref;
            person.record = record;
            placeOf[recordIndex] = place;
        } else if (tag == "FAM") {
            place = Storage::family | sizeOf(index.families);
            Family& family = index.families.emplace_back();
            family.xref = *xref;
            family.record = record;
            placeOf[recordIndex] = place;
        } else {
            place = Storage::other | sizeOf(storage->others);
            storage->others.push_back(record);
            storage->otherXrefs.push_back(*xref);
            ++(tag == "SOUR" ? index.sourceRecords : index.otherRecords);
        }
        slot = Storage::hashBits(hash) | place;
    }

    // Then the people and families themselves, and the count of DATE and PLAC lines, in slices
    // that run side by side: every slice writes only its own places.
    if (threads == 0)
        threads = std::max(1u, std::thread::hardware_concurrency());
    storage->lists.resize(threads);
    std::vector<std::size_t> dateValues(threads), placeValues(threads);
    auto slice = [&](unsigned part) {
        Builder builder(storage->lists[part], order, index.v7);
        const std::size_t from = recordCount * part / threads, to = recordCount * (part + 1) / threads;
        for (std::size_t i = from; i < to; ++i) {
            const NodeView record = document.record(i);
            if (record.tag() == "HEAD")
                continue;
            record.walk([&](NodeView node) {
                const std::string_view tag = node.tag();
                if (tag == "DATE" && hasText(node))
                    ++dateValues[part];
                else if (tag == "PLAC" && hasText(node))
                    ++placeValues[part];
            });
            // Built right after the count, while the record's lines are still in the cache.
            const std::uint32_t place = placeOf[i];
            if (place == unbuilt)
                continue;
            if ((place & Storage::kindMask) == Storage::person)
                builder.person(index.people[place & ~Storage::kindMask]);
            else
                builder.family(index.families[place & ~Storage::kindMask]);
        }
    };
    std::vector<std::thread> helpers;
    for (unsigned part = 1; part < threads; ++part)
        helpers.emplace_back(slice, part);
    slice(0);
    for (std::thread& helper : helpers)
        helper.join();
    for (unsigned part = 0; part < threads; ++part) {
        index.dateValues += dateValues[part];
        index.placeValues += placeValues[part];
    }
    return index;
}

PersonName splitName(std::string_view value)
{
    PersonName name;
    name.value = value;
    const auto place = [value](std::string_view part) {
        return part.empty() ? PersonName::Part{}
                            : PersonName::Part{static_cast<std::uint32_t>(part.data() - value.data()),
                                               static_cast<std::uint32_t>(part.size())};
    };
    const std::size_t first = value.find('/');
    const std::size_t second = first == std::string_view::npos ? first : value.find('/', first + 1);
    if (second == std::string_view::npos) {
        name.m_given = place(trimmed(value));
        return name;
    }
    name.m_given = place(trimmed(value.substr(0, first)));
    name.m_surname = place(trimmed(value.substr(first + 1, second - first - 1)));
    name.m_suffix = place(trimmed(value.substr(second + 1)));
    return name;
}

std::string displayName(const PersonName& name)
{
    std::string text;
    for (std::string_view part : {name.given(), name.surname().value_or(std::string_view()), name.suffix()}) {
        if (part.empty())
            continue;
        if (!text.empty())
            text += ' ';
        text += part;
    }
    return text;
}

std::string displayName(const Person& person)
{
    std::string text = person.names.empty() ? std::string() : displayName(person.names.front());
    return text.empty() ? "Unnamed person" : text;
}

} // namespace kinloom
