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

    /// A record carrying an xref; `index` is its place among people or families.
    enum class Kind : std::uint8_t
    {
        person,
        family,
        other
    };

    /// A record carrying an xref. Short xrefs are kept in the entry too, so that a look-up
    /// compares them without reaching into the document's text, far away in memory.
    struct Entry
    {
        Entry(std::string_view recordXref, std::string_view recordTag, std::uint32_t position)
            : xref(recordXref), tag(recordTag), index(position), kind(recordTag == "INDI"  ? Kind::person
                                                                      : recordTag == "FAM" ? Kind::family
                                                                                           : Kind::other)
        {
            if (recordXref.size() <= shortKey.size()) {
                std::copy(recordXref.begin(), recordXref.end(), shortKey.begin());
                shortLength = static_cast<std::uint8_t>(recordXref.size());
            }
        }

        bool carries(std::string_view other) const
        {
            if (shortLength == 0 || other.size() > shortKey.size())
                return xref == other;
            return shortLength == other.size() && std::equal(other.begin(), other.end(), shortKey.begin());
        }

        std::string_view xref;
        std::string_view tag;
        std::uint32_t index = 0;
        Kind kind = Kind::other;
        bool repeated = false; ///< another record carries the xref too
        std::uint8_t shortLength = 0;
        std::array<char, 16> shortKey{};
    };
    std::vector<Entry> entries;
    /// Open addressing over `entries`: each slot holds an entry's position + 1, or 0 when free.
    std::vector<std::uint32_t> slots;

    void reserveEntries(std::size_t count)
    {
        std::size_t size = 16;
        while (size < count * 2)
            size *= 2;
        slots.assign(size, 0);
        entries.reserve(count);
    }

    /// The slot where the xref is or would go.
    std::size_t slotOf(std::string_view xref) const
    {
        const std::size_t mask = slots.size() - 1;
        std::size_t slot = std::hash<std::string_view>{}(xref)&mask;
        while (slots[slot] != 0 && !entries[slots[slot] - 1].carries(xref))
            slot = (slot + 1) & mask;
        return slot;
    }

    const Entry* find(std::string_view xref) const
    {
        if (slots.empty())
            return nullptr;
        const std::uint32_t at = slots[slotOf(xref)];
        return at == 0 ? nullptr : &entries[at - 1];
    }

    /// Adds the record unless an earlier one carries the xref; returns that earlier one then.
    Entry* insert(const Entry& entry)
    {
        if (entries.size() * 2 >= slots.size())
            grow();
        const std::size_t slot = slotOf(entry.xref);
        if (slots[slot] != 0)
            return &entries[slots[slot] - 1];
        entries.push_back(entry);
        slots[slot] = sizeOf(entries);
        return nullptr;
    }

    void grow()
    {
        std::vector<std::uint32_t> old = std::move(slots);
        slots.assign(std::max<std::size_t>(16, old.size() * 2), 0);
        for (std::uint32_t at : old) {
            if (at != 0)
                slots[slotOf(entries[at - 1].xref)] = at;
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
            if (tag == "DATE" && !fact.dateOffset)
                fact.dateOffset = node.offsetOf(child);
            else if (tag == "PLAC" && !fact.placeOffset)
                fact.placeOffset = node.offsetOf(child);
        }
        if (const auto date = fact.date()) {
            if (const auto range = GedcomDates::range(*date, m_order, m_v7)) {
                fact.low = range->low.value_or(std::numeric_limits<double>::quiet_NaN());
                fact.high = range->high.value_or(std::numeric_limits<double>::quiet_NaN());
            }
        }
        return fact;
    }

    Person person(NodeView record, std::string_view xref)
    {
        Person person;
        person.xref = xref;
        person.record = record;
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
        return person;
    }

    Family family(NodeView record, std::string_view xref)
    {
        Family family;
        family.xref = xref;
        family.record = record;
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
        return family;
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

const Person* TreeIndex::person(std::string_view xref) const
{
    const Storage::Entry* entry = m_storage ? m_storage->find(xref) : nullptr;
    return entry && entry->kind == Storage::Kind::person ? &people[entry->index] : nullptr;
}

const Family* TreeIndex::family(std::string_view xref) const
{
    const Storage::Entry* entry = m_storage ? m_storage->find(xref) : nullptr;
    return entry && entry->kind == Storage::Kind::family ? &families[entry->index] : nullptr;
}

std::optional<std::string_view> TreeIndex::recordTag(std::string_view xref) const
{
    const Storage::Entry* entry = m_storage ? m_storage->find(xref) : nullptr;
    return entry ? std::optional<std::string_view>(entry->tag) : std::nullopt;
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
    storage->reserveEntries(document.recordCount());

    // First, in file order: which record is the one indexed for each xref, and where each person
    // and family goes. When two records carry one xref, the first is indexed; the others are only
    // reported as duplicates.
    struct Job
    {
        std::size_t recordIndex;
        std::string_view xref;
        std::uint32_t position;
        bool person;
    };
    std::vector<Job> jobs;
    std::uint32_t people = 0, families = 0;
    const std::size_t recordCount = document.recordCount();
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
        const std::string_view tag = record.tag();
        const bool person = tag == "INDI";
        const bool family = tag == "FAM";
        if (Storage::Entry* earlier = storage->insert({*xref, tag, person ? people : families})) {
            if (!earlier->repeated)
                index.duplicateXrefs.push_back(*xref);
            earlier->repeated = true;
            continue;
        }
        if (person || family)
            jobs.push_back({recordIndex, *xref, person ? people++ : families++, person});
        else if (tag == "SOUR")
            ++index.sourceRecords;
        else
            ++index.otherRecords;
    }
    index.people.resize(people);
    index.families.resize(families);

    // Then the people and families themselves, and the count of DATE and PLAC lines, in slices
    // that run side by side: every slice writes only its own places.
    if (threads == 0)
        threads = std::max(1u, std::min(2u, std::thread::hardware_concurrency()));
    storage->lists.resize(threads);
    std::vector<std::size_t> dateValues(threads), placeValues(threads);
    auto slice = [&](unsigned part) {
        Builder builder(storage->lists[part], order, index.v7);
        const std::size_t from = recordCount * part / threads, to = recordCount * (part + 1) / threads;
        auto job = std::lower_bound(jobs.begin(), jobs.end(), from,
                                    [](const Job& j, std::size_t record) { return j.recordIndex < record; });
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
            if (job != jobs.end() && job->recordIndex == i) {
                if (job->person)
                    index.people[job->position] = builder.person(record, job->xref);
                else
                    index.families[job->position] = builder.family(record, job->xref);
                ++job;
            }
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

    index.m_storage = std::move(storage);
    return index;
}

PersonName splitName(std::string_view value)
{
    PersonName name;
    name.value = value;
    const std::size_t first = value.find('/');
    const std::size_t second = first == std::string_view::npos ? first : value.find('/', first + 1);
    if (second == std::string_view::npos) {
        name.given = trimmed(value);
        return name;
    }
    name.given = trimmed(value.substr(0, first));
    const std::string_view surname = trimmed(value.substr(first + 1, second - first - 1));
    if (!surname.empty())
        name.surname = surname;
    name.suffix = trimmed(value.substr(second + 1));
    return name;
}

std::string displayName(const PersonName& name)
{
    std::string text;
    for (std::string_view part : {name.given, name.surname.value_or(std::string_view()), name.suffix}) {
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
