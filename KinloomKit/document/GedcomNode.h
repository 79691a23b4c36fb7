// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

namespace kinloom {

/// One line of a GEDCOM file and the lines under it, as an owning value. Documents store their
/// lines compactly (see GedcomDocument); this is the form used to build, copy out and edit nodes.
class GedcomNode
{
public:
    GedcomNode() = default;
    GedcomNode(std::int64_t id, std::string tag, std::optional<std::string> value = std::nullopt,
               std::optional<std::string> xref = std::nullopt, std::vector<GedcomNode> children = {});

    /// A line that does not follow the line grammar: kept word for word in `raw`.
    [[nodiscard]] static GedcomNode malformed(std::int64_t id, std::string raw);

    [[nodiscard]] std::int64_t id() const { return m_id; }
    [[nodiscard]] const std::optional<std::string>& xref() const { return m_xref; }
    [[nodiscard]] const std::string& tag() const { return m_tag; }
    [[nodiscard]] const std::optional<std::string>& value() const { return m_value; }
    [[nodiscard]] const std::vector<GedcomNode>& children() const { return m_children; }
    [[nodiscard]] std::vector<GedcomNode>& children() { return m_children; }
    [[nodiscard]] const std::optional<std::string>& raw() const { return m_raw; }
    [[nodiscard]] bool isMalformed() const { return m_isMalformed; }

    /// Changing the value to something different forgets `raw`, so the line is written from its fields.
    void setValue(std::optional<std::string> value);
    /// Changing tag or xref keeps `raw`; clear it for the change to be written.
    void setTag(std::string tag) { m_tag = std::move(tag); }
    void setXref(std::optional<std::string> xref) { m_xref = std::move(xref); }
    void setRaw(std::optional<std::string> raw) { m_raw = std::move(raw); }

    /// The value joined with its CONC and CONT children.
    [[nodiscard]] std::string fullValue() const;
    /// The node and its descendants rendered from their fields (ignoring `raw`), one string per line.
    [[nodiscard]] std::vector<std::string> lines(int level) const;
    /// Copy of the first direct child with exactly this tag.
    [[nodiscard]] std::optional<GedcomNode> firstChild(std::string_view tag) const;
    /// Copy of the first node with this id, searching this node and its descendants in pre-order.
    [[nodiscard]] std::optional<GedcomNode> find(std::int64_t id) const;
    /// Applies `change` to the first node with this id (pre-order); false when there is none.
    bool update(std::int64_t id, const std::function<void(GedcomNode&)>& change);

    /// Visits this node, then each descendant in pre-order. The visitor takes (const GedcomNode&)
    /// or (const GedcomNode&, int depth), depth 0 being this node.
    template <class Visitor>
    void walk(Visitor&& visitor) const
    {
        walkAt(visitor, 0);
    }

    bool operator==(const GedcomNode&) const = default;

private:
    template <class Visitor>
    void walkAt(Visitor& visitor, int depth) const
    {
        if constexpr (std::is_invocable_v<Visitor&, const GedcomNode&, int>)
            visitor(*this, depth);
        else
            visitor(*this);
        for (const GedcomNode& child : m_children)
            child.walkAt(visitor, depth + 1);
    }

    std::int64_t m_id = 0;
    std::optional<std::string> m_xref;
    std::string m_tag;
    std::optional<std::string> m_value;
    std::vector<GedcomNode> m_children;
    std::optional<std::string> m_raw;
    bool m_isMalformed = false;
};

namespace detail {

/// The joined text of a node and its CONC/CONT children; works for any node-like type.
template <class Node>
std::string fullValue(const Node& node)
{
    auto text = [](const auto& value) { return value ? std::string_view(*value) : std::string_view(); };
    std::string result(text(node.value()));
    for (const auto& child : node.children()) {
        if (child.tag() == "CONC") {
            result += text(child.value());
        } else if (child.tag() == "CONT") {
            result += '\n';
            result += text(child.value());
        }
    }
    return result;
}

/// One line rendered from fields: level, xref, tag and value.
std::string renderLine(int level, const std::optional<std::string_view>& xref, std::string_view tag,
                       const std::optional<std::string_view>& value);

template <class Node>
void appendLines(const Node& node, int level, std::vector<std::string>& out)
{
    auto view = [](const auto& text) {
        return text ? std::optional<std::string_view>(*text) : std::optional<std::string_view>();
    };
    out.push_back(renderLine(level, view(node.xref()), node.tag(), view(node.value())));
    for (const auto& child : node.children())
        appendLines(child, level + 1, out);
}

} // namespace detail
} // namespace kinloom
