// SPDX-License-Identifier: GPL-3.0-or-later
#include "document/GedcomNode.h"

#include <charconv>

namespace kinloom {

GedcomNode::GedcomNode(std::int64_t id, std::string tag, std::optional<std::string> value,
                       std::optional<std::string> xref, std::vector<GedcomNode> children)
    : m_id(id), m_xref(std::move(xref)), m_tag(std::move(tag)), m_value(std::move(value)),
      m_children(std::move(children))
{}

GedcomNode GedcomNode::malformed(std::int64_t id, std::string raw)
{
    GedcomNode node;
    node.m_id = id;
    node.m_raw = std::move(raw);
    node.m_isMalformed = true;
    return node;
}

void GedcomNode::setValue(std::optional<std::string> value)
{
    if (value == m_value)
        return;
    m_value = std::move(value);
    m_raw.reset();
}

std::string GedcomNode::fullValue() const
{
    return detail::fullValue(*this);
}

std::vector<std::string> GedcomNode::lines(int level) const
{
    std::vector<std::string> out;
    detail::appendLines(*this, level, out);
    return out;
}

std::optional<GedcomNode> GedcomNode::firstChild(std::string_view tag) const
{
    for (const GedcomNode& child : m_children) {
        if (child.m_tag == tag)
            return child;
    }
    return std::nullopt;
}

std::optional<GedcomNode> GedcomNode::find(std::int64_t id) const
{
    if (m_id == id)
        return *this;
    for (const GedcomNode& child : m_children) {
        if (auto found = child.find(id))
            return found;
    }
    return std::nullopt;
}

bool GedcomNode::update(std::int64_t id, const std::function<void(GedcomNode&)>& change)
{
    if (m_id == id) {
        change(*this);
        return true;
    }
    for (GedcomNode& child : m_children) {
        if (child.update(id, change))
            return true;
    }
    return false;
}

namespace detail {

std::string renderLine(int level, const std::optional<std::string_view>& xref, std::string_view tag,
                       const std::optional<std::string_view>& value)
{
    char digits[12];
    auto [end, ec] = std::to_chars(digits, digits + sizeof digits, level);
    (void)ec;
    std::string line(digits, end);
    line.reserve(line.size() + (xref ? xref->size() + 1 : 0) + tag.size() + 1 +
                 (value ? value->size() + 1 : 0));
    if (xref) {
        line += ' ';
        line += *xref;
    }
    line += ' ';
    line += tag;
    if (value) {
        line += ' ';
        line += *value;
    }
    return line;
}

} // namespace detail
} // namespace kinloom
