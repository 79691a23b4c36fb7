// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomDocument.h"

#include "document/GedcomReader.h"
#include "document/Text.h"

#include <algorithm>
#include <atomic>
#include <cassert>

namespace kinloom {
using Text::isBlank;
using Text::trimmed;

namespace {

std::optional<std::string_view> optionalView(const std::optional<std::string>& text)
{
    return text ? std::optional<std::string_view>(*text) : std::nullopt;
}

/// Appends a node and its descendants as owned slots; returns the slots added.
std::uint32_t appendOwned(detail::NodeChunk& chunk, const GedcomNode& node)
{
    const std::size_t index = chunk.slots.size();
    detail::NodeSlot slot;
    slot.offset = static_cast<std::uint32_t>(chunk.owned.size());
    slot.flags = detail::NodeSlot::Owned | (node.isMalformed() ? detail::NodeSlot::Malformed : 0);
    chunk.slots.push_back(slot);
    chunk.ids.push_back(node.id());
    chunk.owned.push_back({node.xref(), node.tag(), node.value(), node.raw()});
    std::uint32_t size = 1;
    for (const GedcomNode& child : node.children())
        size += appendOwned(chunk, child);
    chunk.slots[index].size = size;
    return size;
}

/// Copies slots of another chunk, bringing their owned lines along.
void appendCopied(detail::NodeChunk& chunk, const detail::NodeChunk& from, std::uint32_t first,
                  std::uint32_t last)
{
    for (std::uint32_t i = first; i < last; ++i) {
        detail::NodeSlot slot = from.slots[i];
        if (slot.flags & detail::NodeSlot::Owned) {
            chunk.owned.push_back(from.owned[slot.offset]);
            slot.offset = static_cast<std::uint32_t>(chunk.owned.size() - 1);
        }
        chunk.slots.push_back(slot);
        chunk.ids.push_back(from.id(i));
    }
}

} // namespace

std::string GedcomVersion::displayName() const
{
    if (std::holds_alternative<V551>(value))
        return "GEDCOM 5.5.1";
    if (std::holds_alternative<V7>(value))
        return "GEDCOM 7.0";
    const std::string& version = std::get<Other>(value).version;
    return version.empty() ? "GEDCOM (version not stated)" : "GEDCOM " + version;
}

GedcomVersion GedcomVersion::fromVers(std::string_view vers)
{
    vers = trimmed(vers);
    if (vers.starts_with("5.5"))
        return {V551{}};
    if (vers.starts_with("7"))
        return {V7{}};
    return {Other{std::string(vers)}};
}

// NodeView

std::optional<std::string_view> NodeView::xref() const
{
    const detail::NodeSlot& s = slot();
    if (s.flags & detail::NodeSlot::Owned)
        return optionalView(m_chunk->owned[s.offset].xref);
    if (!(s.flags & detail::NodeSlot::HasXref))
        return std::nullopt;
    const std::string_view text = line();
    if (s.flags & detail::NodeSlot::LongFields) {
        const auto fields = detail::parseLineFields(text);
        return text.substr(fields->xrefStart, fields->xrefLength);
    }
    // The label ends with the last at-sign before the blanks in front of the tag, and holds no
    // other at-sign than its first.
    std::size_t end = s.tagStart;
    while (text[end - 1] == ' ')
        --end;
    const std::size_t start = text.rfind('@', end - 2);
    return text.substr(start, end - start);
}

std::string_view NodeView::longLine() const
{
    const std::string_view rest(m_chunk->base + slot().offset,
                                static_cast<std::size_t>(m_chunk->text->data() + m_chunk->text->size() -
                                                         (m_chunk->base + slot().offset)));
    return rest.substr(0, rest.find_first_of("\r\n"));
}

std::string_view NodeView::otherTag() const
{
    const detail::NodeSlot& s = slot();
    if (s.flags & detail::NodeSlot::Owned)
        return m_chunk->owned[s.offset].tag;
    if (s.flags & detail::NodeSlot::Malformed)
        return {};
    const std::string_view text = line();
    if (s.flags & detail::NodeSlot::LongFields) {
        const auto fields = detail::parseLineFields(text);
        return text.substr(fields->tagStart, fields->tagLength);
    }
    return text.substr(s.tagStart, s.tagLength);
}

std::optional<std::string_view> NodeView::value() const
{
    const detail::NodeSlot& s = slot();
    if (s.flags & detail::NodeSlot::Owned)
        return optionalView(m_chunk->owned[s.offset].value);
    if (s.flags & detail::NodeSlot::Malformed)
        return std::nullopt;
    const std::string_view text = line();
    std::size_t tagEnd = std::size_t{s.tagStart} + s.tagLength;
    if (s.flags & detail::NodeSlot::LongFields) {
        const auto fields = detail::parseLineFields(text);
        tagEnd = std::size_t{fields->tagStart} + fields->tagLength;
    }
    if (tagEnd >= text.size())
        return std::nullopt;
    return text.substr(tagEnd + 1);
}

std::optional<std::string_view> NodeView::raw() const
{
    const detail::NodeSlot& s = slot();
    if (s.flags & detail::NodeSlot::Owned)
        return optionalView(m_chunk->owned[s.offset].raw);
    return line();
}

std::vector<std::string> NodeView::lines(int level) const
{
    std::vector<std::string> out;
    detail::appendLines(*this, level, out);
    return out;
}

std::optional<NodeView> NodeView::firstChild(std::string_view tag) const
{
    for (NodeView child : children()) {
        if (child.tag() == tag)
            return child;
    }
    return std::nullopt;
}

std::optional<NodeView> NodeView::find(std::int64_t id) const
{
    const std::uint32_t end = m_index + slot().size;
    for (std::uint32_t i = m_index; i < end; ++i) {
        if (m_chunk->id(i) == id)
            return NodeView(m_chunk, i);
    }
    return std::nullopt;
}

GedcomNode NodeView::toNode() const
{
    auto copy = [](const std::optional<std::string_view>& text) {
        return text ? std::optional<std::string>(*text) : std::nullopt;
    };
    GedcomNode node = isMalformed() ? GedcomNode::malformed(id(), std::string(raw().value_or("")))
                                    : GedcomNode(id(), std::string(tag()), copy(value()), copy(xref()));
    node.setRaw(copy(raw()));
    for (NodeView child : children())
        node.children().push_back(child.toNode());
    return node;
}

// GedcomDocument

NodeView GedcomDocument::record(std::size_t index) const
{
    return view(refs()[index]);
}

bool GedcomDocument::hasWellFormedRecord() const
{
    for (NodeView record : records()) {
        if (!record.isMalformed())
            return true;
    }
    return false;
}

GedcomVersion GedcomDocument::version() const
{
    for (NodeView record : records()) {
        if (record.tag() != "HEAD")
            continue;
        const auto gedc = record.firstChild("GEDC");
        const auto vers = gedc ? gedc->firstChild("VERS") : std::nullopt;
        return vers ? GedcomVersion::fromVers(vers->value().value_or("")) : GedcomVersion{};
    }
    return {};
}

GedcomNode GedcomDocument::newNode(std::string tag, std::optional<std::string> value,
                                   std::optional<std::string> xref)
{
    return GedcomNode(nextID++, std::move(tag), std::move(value), std::move(xref));
}

std::optional<GedcomNode> GedcomDocument::find(std::int64_t id) const
{
    for (NodeView record : records()) {
        if (auto found = record.find(id))
            return found->toNode();
    }
    return std::nullopt;
}

bool GedcomDocument::update(std::int64_t id, const std::function<void(GedcomNode&)>& change)
{
    for (std::size_t index = 0; index < refs().size(); ++index) {
        if (update(index, id, change))
            return true;
    }
    return false;
}

bool GedcomDocument::update(std::size_t index, std::int64_t id,
                            const std::function<void(GedcomNode&)>& change)
{
    const detail::NodeChunk& from = *refs()[index].chunk;
    const std::uint32_t root = refs()[index].root;
    const std::uint32_t end = root + from.slots[root].size;
    std::uint32_t target = root;
    while (target < end && from.id(target) != id)
        ++target;
    if (target == end)
        return false;

    // The record is cloned: the changed node's subtree becomes owned lines, the rest of the
    // record keeps referring to the text it was read from.
    GedcomNode changed = NodeView(&from, target).toNode();
    change(changed);

    const std::uint32_t targetEnd = target + from.slots[target].size;
    auto chunk = std::make_shared<detail::NodeChunk>();
    chunk->text = from.text;
    chunk->base = from.base;
    appendCopied(*chunk, from, root, target);
    const std::uint32_t newSize = appendOwned(*chunk, changed);
    appendCopied(*chunk, from, targetEnd, end);

    const std::int64_t delta = std::int64_t{newSize} - (targetEnd - target);
    for (std::uint32_t i = root; i < target; ++i) {
        if (i + from.slots[i].size > target) {
            detail::NodeSlot& ancestor = chunk->slots[i - root];
            ancestor.size = static_cast<std::uint32_t>(ancestor.size + delta);
        }
    }
    RecordList& list = mutableList();
    list.refs[index] = {chunk.get(), 0};
    keep(list, std::move(chunk));
    return true;
}

void GedcomDocument::replaceRecord(std::size_t index, const GedcomNode& record)
{
    auto chunk = std::make_shared<detail::NodeChunk>();
    appendOwned(*chunk, record);
    RecordList& list = mutableList();
    list.refs[index] = {chunk.get(), 0};
    keep(list, std::move(chunk));
}

void GedcomDocument::appendRecord(const GedcomNode& record)
{
    insertRecord(recordCount(), record);
}

void GedcomDocument::insertRecord(std::size_t index, const GedcomNode& record)
{
    auto chunk = std::make_shared<detail::NodeChunk>();
    appendOwned(*chunk, record);
    RecordList& list = mutableList();
    list.refs.insert(list.refs.begin() + static_cast<std::ptrdiff_t>(index), {chunk.get(), 0});
    keep(list, std::move(chunk));
}

void GedcomDocument::removeRecord(std::size_t index)
{
    RecordList& list = mutableList();
    list.refs.erase(list.refs.begin() + static_cast<std::ptrdiff_t>(index));
}

void GedcomDocument::removeRecords(const std::vector<std::size_t>& indexes)
{
    if (indexes.empty())
        return;
    RecordList& list = mutableList();
    std::size_t next = 0;
    std::size_t kept = 0;
    for (std::size_t i = 0; i < list.refs.size(); ++i) {
        if (next < indexes.size() && indexes[next] == i) {
            while (next < indexes.size() && indexes[next] == i)
                ++next;
            continue;
        }
        list.refs[kept++] = list.refs[i];
    }
    list.refs.resize(kept);
}

void GedcomDocument::appendChunk(std::shared_ptr<const detail::NodeChunk> chunk,
                                 const std::vector<std::uint32_t>& roots)
{
    RecordList& list = mutableList();
    list.refs.reserve(list.refs.size() + roots.size());
    for (std::uint32_t root : roots)
        list.refs.push_back({chunk.get(), root});
    keep(list, std::move(chunk));
}

const std::string* GedcomDocument::keptBytes(std::int64_t id) const
{
    if (!m_keptBytes)
        return nullptr;
    const auto found =
        std::lower_bound(m_keptBytes->begin(), m_keptBytes->end(), id,
                         [](const auto& entry, std::int64_t key) { return entry.first < key; });
    return found != m_keptBytes->end() && found->first == id ? &found->second : nullptr;
}

void GedcomDocument::setKeptBytes(std::vector<std::pair<std::int64_t, std::string>> kept)
{
    if (kept.empty())
        m_keptBytes.reset();
    else
        m_keptBytes =
            std::make_shared<const std::vector<std::pair<std::int64_t, std::string>>>(std::move(kept));
}

GedcomDocument::RecordList& GedcomDocument::mutableList()
{
    if (m_list.use_count() > 1)
        m_list = std::make_shared<RecordList>(*m_list);
    else
        std::atomic_thread_fence(
            std::memory_order_acquire); // other copies' last reads happen before our writes
    return *m_list;
}

void GedcomDocument::keep(RecordList& list, std::shared_ptr<const detail::NodeChunk> chunk)
{
    list.chunks.push_back(std::move(chunk));
    // Chunks of records edited again or removed linger; drop them once they could make up half the list.
    if (list.chunks.size() < 2 * list.chunksAfterTrim + 64)
        return;
    // Records read together share a chunk and sit side by side: taking each run once keeps the sort
    // to the edited records, not the whole list (a batch of edits trims many times).
    std::vector<const detail::NodeChunk*> used;
    for (const RecordRef& ref : list.refs) {
        if (used.empty() || used.back() != ref.chunk)
            used.push_back(ref.chunk);
    }
    std::sort(used.begin(), used.end());
    std::erase_if(list.chunks, [&](const auto& kept) {
        return !std::binary_search(used.begin(), used.end(), kept.get());
    });
    list.chunksAfterTrim = list.chunks.size();
}

bool GedcomDocument::operator==(const GedcomDocument& other) const
{
    if (encoding != other.encoding || lineEnding != other.lineEnding ||
        endsWithNewline != other.endsWithNewline || hasBOM != other.hasBOM || readNotes != other.readNotes ||
        nextID != other.nextID || recordCount() != other.recordCount())
        return false;
    if (hasKeptBytes() != other.hasKeptBytes() || (hasKeptBytes() && *m_keptBytes != *other.m_keptBytes))
        return false;
    for (std::size_t i = 0; i < recordCount(); ++i) {
        if (record(i).toNode() != other.record(i).toNode())
            return false;
    }
    return true;
}

NodeLocator::NodeLocator(const GedcomDocument& document) : m_document(&document)
{
    for (std::size_t index = 0; index < document.recordCount(); ++index) {
        const NodeView record = document.record(index);
        if (record.isConsecutivelyNumbered()) {
            const std::int64_t first = record.id();
            m_spans.push_back({first, first + static_cast<std::int64_t>(record.subtreeSize()), index});
        } else {
            record.walk([&](NodeView node) { m_others.emplace(node.id(), Place{index, node}); });
        }
    }
    std::sort(m_spans.begin(), m_spans.end(), [](const Span& a, const Span& b) { return a.first < b.first; });
}

std::optional<NodeLocator::Place> NodeLocator::find(std::int64_t id) const
{
    const auto after =
        std::upper_bound(m_spans.begin(), m_spans.end(), id,
                         [](std::int64_t value, const Span& span) { return value < span.first; });
    if (after != m_spans.begin()) {
        const Span& span = *(after - 1);
        if (id < span.end) {
            const NodeView record = m_document->record(span.record);
            return Place{span.record, record.at(static_cast<std::uint32_t>(id - span.first))};
        }
    }
    const auto other = m_others.find(id);
    return other == m_others.end() ? std::nullopt : std::optional<Place>(other->second);
}

} // namespace kinloom
