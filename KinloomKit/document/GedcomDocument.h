// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/GedcomNode.h"
#include "document/TextEncoding.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>
#include <vector>

namespace kinloom {

/// The GEDCOM version a file's header states.
struct GedcomVersion
{
    struct Other
    {
        std::string version; ///< as written, trimmed; empty when the header states none
        bool operator==(const Other&) const = default;
    };
    struct V551
    {
        bool operator==(const V551&) const = default;
    };
    struct V7
    {
        bool operator==(const V7&) const = default;
    };

    std::variant<Other, V551, V7> value;

    /// "GEDCOM 5.5.1", "GEDCOM 7.0", "GEDCOM 4.0", "GEDCOM (version not stated)".
    [[nodiscard]] std::string displayName() const;
    /// The version a VERS value names.
    [[nodiscard]] static GedcomVersion fromVers(std::string_view vers);

    bool operator==(const GedcomVersion&) const = default;
};

namespace detail {

/// One line of a record, stored flat in pre-order. A line read from a file refers into the
/// document's text by offset and keeps only where its tag sits; its xref and value are found again
/// from the text when asked for. An edited or added line owns its fields (`OwnedLine`). Ids are
/// kept by the chunk, not here: read lines are numbered by their place in it.
struct NodeSlot
{
    enum Flags : std::uint8_t
    {
        Malformed = 1,
        Owned = 2, ///< `offset` indexes NodeChunk::owned
        HasXref = 4,
        LongFields = 8 ///< tag position too large for the short fields: parse the line again
    };
    /// `length` of a line as long as this or longer: it runs to the next line break.
    static constexpr std::uint32_t longLine = 0xFFFF;

    std::uint32_t offset = 0; ///< of the line from NodeChunk::base, or the owned index
    std::uint32_t size = 1;   ///< slots in this node's subtree, itself included
    // A line's bytes, and where its tag sits, fit these fields for all but a handful of lines.
    std::uint32_t length : 16 = 0;
    std::uint32_t tagStart : 7 = 0;
    std::uint32_t tagLength : 5 = 0;
    std::uint32_t flags : 4 = 0;
};
static_assert(sizeof(NodeSlot) == 12, "a read line costs 12 bytes");

struct OwnedLine
{
    std::optional<std::string> xref;
    std::string tag;
    std::optional<std::string> value;
    std::optional<std::string> raw;
};

/// Records' lines, shared read-only between documents. A read file gives a chunk for each part of
/// it read at once; an edited record gets a chunk of its own.
struct NodeChunk
{
    std::shared_ptr<const std::string> text; ///< keeps `base` alive
    const char* base = nullptr;
    std::vector<NodeSlot> slots;
    std::vector<OwnedLine> owned;
    /// The ids run on by one from `firstID` through the chunk, as the reader numbers lines; else
    /// each slot's id is in `ids`.
    bool consecutiveIDs = false;
    std::int64_t firstID = 0;
    std::vector<std::int64_t> ids;

    [[nodiscard]] std::int64_t id(std::uint32_t index) const
    {
        return consecutiveIDs ? firstID + index : ids[index];
    }
};

} // namespace detail

/// A read-only view of one node stored in a document. Valid while the document holding it is
/// alive and its record is not replaced.
class NodeView
{
public:
    NodeView() = default; ///< refers to nothing; only to be assigned to
    NodeView(const detail::NodeChunk* chunk, std::uint32_t index) : m_chunk(chunk), m_index(index) {}

    /// Hints the processor to fetch the node's slot (`line` false) or its line of text (`line` true);
    /// for loops that hop from record to record through a large document.
    void prefetch(bool line) const
    {
        if (line)
            __builtin_prefetch(m_chunk->base + slot().offset);
        else
            __builtin_prefetch(&m_chunk->slots[m_index]);
    }

    /// The line `offset` slots further on in this node's record (a descendant when within
    /// subtreeSize()), and the distance to a descendant: compact references to lines below.
    [[nodiscard]] NodeView at(std::uint32_t offset) const { return {m_chunk, m_index + offset}; }
    [[nodiscard]] std::uint32_t offsetOf(const NodeView& descendant) const
    {
        return descendant.m_index - m_index;
    }

    /// Whether the node's record was read from a file and not edited since: its ids then run on
    /// by one from its first line.
    [[nodiscard]] bool isConsecutivelyNumbered() const { return m_chunk->consecutiveIDs; }

    /// False for a view made by the default constructor.
    [[nodiscard]] bool isValid() const { return m_chunk != nullptr; }
    [[nodiscard]] std::int64_t id() const { return m_chunk->id(m_index); }
    [[nodiscard]] std::optional<std::string_view> xref() const;
    [[nodiscard]] std::string_view tag() const
    {
        const detail::NodeSlot& s = slot();
        // Most lines are read lines with short tags: answered here without a call.
        if (!(s.flags &
              (detail::NodeSlot::Owned | detail::NodeSlot::Malformed | detail::NodeSlot::LongFields)))
            return {m_chunk->base + s.offset + s.tagStart, s.tagLength};
        return otherTag();
    }
    [[nodiscard]] std::optional<std::string_view> value() const;
    [[nodiscard]] std::optional<std::string_view> raw() const;
    [[nodiscard]] bool isMalformed() const { return slot().flags & detail::NodeSlot::Malformed; }

    class ChildIterator;
    class ChildRange;
    [[nodiscard]] ChildRange children() const;
    [[nodiscard]] bool hasChildren() const { return slot().size > 1; }
    /// Lines in this node's subtree, itself included.
    [[nodiscard]] std::size_t subtreeSize() const { return slot().size; }

    [[nodiscard]] std::string fullValue() const { return detail::fullValue(*this); }
    [[nodiscard]] std::vector<std::string> lines(int level) const;
    [[nodiscard]] std::optional<NodeView> firstChild(std::string_view tag) const;
    [[nodiscard]] std::optional<NodeView> find(std::int64_t id) const;
    /// An owning copy of this node and its descendants.
    [[nodiscard]] GedcomNode toNode() const;

    /// Visits this node, then each descendant in pre-order. The visitor takes (NodeView) or
    /// (NodeView, int depth), depth 0 being this node.
    template <class Visitor>
    void walk(Visitor&& visitor) const;

    bool operator==(const NodeView& other) const
    {
        return m_chunk == other.m_chunk && m_index == other.m_index;
    }

private:
    [[nodiscard]] const detail::NodeSlot& slot() const { return m_chunk->slots[m_index]; }
    [[nodiscard]] std::string_view otherTag() const;
    [[nodiscard]] std::string_view line() const
    {
        const detail::NodeSlot& s = slot();
        if (s.length != detail::NodeSlot::longLine)
            return {m_chunk->base + s.offset, s.length};
        return longLine();
    }
    [[nodiscard]] std::string_view longLine() const;

    const detail::NodeChunk* m_chunk = nullptr;
    std::uint32_t m_index = 0;
};

class NodeView::ChildIterator
{
public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = NodeView;
    using difference_type = std::ptrdiff_t;
    using pointer = void;
    using reference = NodeView;

    ChildIterator() = default;
    ChildIterator(const detail::NodeChunk* chunk, std::uint32_t index) : m_chunk(chunk), m_index(index) {}
    NodeView operator*() const { return {m_chunk, m_index}; }
    ChildIterator& operator++()
    {
        m_index += m_chunk->slots[m_index].size;
        return *this;
    }
    ChildIterator operator++(int)
    {
        ChildIterator before = *this;
        ++*this;
        return before;
    }
    bool operator==(const ChildIterator& other) const { return m_index == other.m_index; }

private:
    const detail::NodeChunk* m_chunk = nullptr;
    std::uint32_t m_index = 0;
};

class NodeView::ChildRange
{
public:
    ChildRange(const detail::NodeChunk* chunk, std::uint32_t first, std::uint32_t end)
        : m_chunk(chunk), m_first(first), m_end(end)
    {}
    [[nodiscard]] ChildIterator begin() const { return {m_chunk, m_first}; }
    [[nodiscard]] ChildIterator end() const { return {m_chunk, m_end}; }
    [[nodiscard]] bool empty() const { return m_first == m_end; }

private:
    const detail::NodeChunk* m_chunk;
    std::uint32_t m_first;
    std::uint32_t m_end;
};

inline NodeView::ChildRange NodeView::children() const
{
    return {m_chunk, m_index + 1, m_index + slot().size};
}

template <class Visitor>
void NodeView::walk(Visitor&& visitor) const
{
    // Slots are in pre-order, so a walk is a scan; depth needs the ends of the open ancestors.
    const std::uint32_t end = m_index + slot().size;
    if constexpr (std::is_invocable_v<Visitor&, NodeView, int>) {
        std::vector<std::uint32_t> openEnds;
        for (std::uint32_t i = m_index; i < end; ++i) {
            while (!openEnds.empty() && openEnds.back() <= i)
                openEnds.pop_back();
            visitor(NodeView(m_chunk, i), static_cast<int>(openEnds.size()));
            openEnds.push_back(i + m_chunk->slots[i].size);
        }
    } else {
        for (std::uint32_t i = m_index; i < end; ++i)
            visitor(NodeView(m_chunk, i));
    }
}

/// A whole file as a value. Copies are cheap: records are shared between copies and cloned only
/// when one of them is edited, so a copy costs a list of record pointers and never a node.
class GedcomDocument
{
public:
    TextEncoding encoding = TextEncoding::utf8;
    std::string lineEnding = "\n";
    bool endsWithNewline = false;
    bool hasBOM = false;
    std::vector<std::string> readNotes;
    std::int64_t nextID = 1;

    class RecordRange;
    [[nodiscard]] RecordRange records() const;
    [[nodiscard]] std::size_t recordCount() const { return refs().size(); }
    [[nodiscard]] NodeView record(std::size_t index) const;

    /// Whether some top-level record was read as a proper GEDCOM line; a file without one (empty, or
    /// nothing but unreadable lines) is not taken for a family-tree file.
    [[nodiscard]] bool hasWellFormedRecord() const;

    /// Version from HEAD.GEDC.VERS.
    [[nodiscard]] GedcomVersion version() const;

    /// A node made in memory: takes `nextID`.
    [[nodiscard]] GedcomNode newNode(std::string tag, std::optional<std::string> value = std::nullopt,
                                     std::optional<std::string> xref = std::nullopt);

    [[nodiscard]] std::optional<GedcomNode> find(std::int64_t id) const;
    /// Applies `change` to the node with this id; only the record holding it is cloned.
    bool update(std::int64_t id, const std::function<void(GedcomNode&)>& change);
    /// The same, when the record holding the node is known (see NodeLocator).
    bool update(std::size_t recordIndex, std::int64_t id, const std::function<void(GedcomNode&)>& change);
    /// Puts a new record in place of the one at `index`.
    void replaceRecord(std::size_t index, const GedcomNode& record);

    void appendRecord(const GedcomNode& record);
    void insertRecord(std::size_t index, const GedcomNode& record);
    void removeRecord(std::size_t index);
    /// Removes the records at these indexes (ascending) in one pass; removing them one by one
    /// would move the rest of the list once per record.
    void removeRecords(const std::vector<std::size_t>& indexes);

    /// Visits every node of every record in order; the visitor takes (NodeView) or (NodeView, int depth).
    template <class Visitor>
    void walk(Visitor&& visitor) const;

    /// Adds the records of a chunk holding whole records back to back, rooted at `roots` (the reader's use).
    void appendChunk(std::shared_ptr<const detail::NodeChunk> chunk, const std::vector<std::uint32_t>& roots);

    /// The bytes a read line came from, when its text does not encode back to them (a byte with no
    /// character, an ANSEL mark carried over a line end); none for every other line. The writer
    /// writes an unchanged line (one that still has its `raw`) as these bytes.
    [[nodiscard]] const std::string* keptBytes(std::int64_t id) const;
    [[nodiscard]] bool hasKeptBytes() const { return m_keptBytes && !m_keptBytes->empty(); }
    /// Sets the kept bytes by node id, ascending (the reader's use).
    void setKeptBytes(std::vector<std::pair<std::int64_t, std::string>> kept);

    /// Same observable content: fields, and records node for node.
    bool operator==(const GedcomDocument& other) const;

private:
    // A record is a plain pointer into a chunk that `chunks` keeps alive, and the list itself is
    // shared between copies until one of them changes it: copying a document costs one reference.
    struct RecordRef
    {
        const detail::NodeChunk* chunk = nullptr;
        std::uint32_t root = 0;
    };
    struct RecordList
    {
        std::vector<RecordRef> refs;
        std::vector<std::shared_ptr<const detail::NodeChunk>> chunks;
        std::size_t chunksAfterTrim = 0;
    };

    [[nodiscard]] NodeView view(const RecordRef& ref) const { return {ref.chunk, ref.root}; }
    [[nodiscard]] const std::vector<RecordRef>& refs() const { return m_list->refs; }
    /// The list, made this document's own first when shared.
    RecordList& mutableList();
    static void keep(RecordList& list, std::shared_ptr<const detail::NodeChunk> chunk);

    std::shared_ptr<RecordList> m_list = std::make_shared<RecordList>();
    // Shared by every copy: read once, never changed.
    std::shared_ptr<const std::vector<std::pair<std::int64_t, std::string>>> m_keptBytes;
};

class GedcomDocument::RecordRange
{
public:
    class Iterator
    {
    public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = NodeView;
        using difference_type = std::ptrdiff_t;
        using pointer = void;
        using reference = NodeView;

        Iterator() = default;
        explicit Iterator(const RecordRef* ref) : m_ref(ref) {}
        NodeView operator*() const { return {m_ref->chunk, m_ref->root}; }
        Iterator& operator++()
        {
            ++m_ref;
            return *this;
        }
        Iterator operator++(int)
        {
            Iterator before = *this;
            ++m_ref;
            return before;
        }
        bool operator==(const Iterator&) const = default;

    private:
        const RecordRef* m_ref = nullptr;
    };

    RecordRange(const RecordRef* first, const RecordRef* last) : m_first(first), m_last(last) {}
    [[nodiscard]] Iterator begin() const { return Iterator(m_first); }
    [[nodiscard]] Iterator end() const { return Iterator(m_last); }

private:
    const RecordRef* m_first;
    const RecordRef* m_last;
};

inline GedcomDocument::RecordRange GedcomDocument::records() const
{
    return {refs().data(), refs().data() + refs().size()};
}

template <class Visitor>
void GedcomDocument::walk(Visitor&& visitor) const
{
    for (NodeView record : records())
        record.walk(visitor);
}

/// Finds nodes by id in one document without walking it each time: read records are found by
/// binary search over their first ids, edited and added ones through a table. Valid until the
/// document changes.
class NodeLocator
{
public:
    explicit NodeLocator(const GedcomDocument& document);

    struct Place
    {
        std::size_t record = 0; ///< index of the record holding the node
        NodeView node;
    };
    [[nodiscard]] std::optional<Place> find(std::int64_t id) const;

private:
    struct Span
    {
        std::int64_t first = 0;
        std::int64_t end = 0;
        std::size_t record = 0;
    };
    const GedcomDocument* m_document;
    std::vector<Span> m_spans;
    std::unordered_map<std::int64_t, Place> m_others;
};

} // namespace kinloom
