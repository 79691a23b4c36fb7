// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes/FixApplier.h"

#include "changes/Merger.h"
#include "document/Text.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

namespace kinloom {
namespace {

using Text::quoted;

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\v' || c == '\f';
}

/// The name without slashes, runs of blanks collapsed, ends trimmed.
std::string cleanedName(std::string_view value)
{
    std::string name;
    bool pendingBlank = false;
    for (char c : value) {
        if (c == '/')
            continue;
        if (isBlank(c)) {
            pendingBlank = !name.empty();
            continue;
        }
        if (pendingBlank)
            name += ' ';
        pendingBlank = false;
        name += c;
    }
    return name;
}

} // namespace

std::string recordLabel(NodeView record)
{
    const auto xref = record.xref();
    if (record.tag() == "INDI") {
        for (NodeView child : record.children()) {
            if (child.tag() != "NAME" || !child.value())
                continue;
            std::string name = cleanedName(*child.value());
            if (name.empty())
                name = "Unnamed person";
            return name + " (" + std::string(xref.value_or("?")) + ")";
        }
    }
    std::string label(xref.value_or(std::string_view()));
    if (!label.empty() && !record.tag().empty())
        label += ' ';
    label += record.tag();
    return label;
}

namespace FixApplier {
namespace {

/// The change lines of the fixes, one per edit that took effect, pooled under the first fix of each id.
class Ledger
{
public:
    explicit Ledger(const std::vector<Fix>& fixes) : m_first(fixes.size()), m_lines(fixes.size())
    {
        std::unordered_map<std::string_view, std::size_t> first;
        first.reserve(fixes.size());
        for (std::size_t i = 0; i < fixes.size(); ++i)
            m_first[i] = first.emplace(fixes[i].id, i).first->second;
    }

    /// Adds a line and gives its place among the lines of its fix.
    std::size_t record(std::size_t fix, std::string line)
    {
        std::vector<std::string>& lines = m_lines[m_first[fix]];
        lines.push_back(std::move(line));
        return lines.size() - 1;
    }
    void replace(std::size_t fix, std::size_t place, std::string line)
    {
        m_lines[m_first[fix]][place] = std::move(line);
    }
    /// Whether the fix is the first of its id, the one that holds the pooled lines.
    [[nodiscard]] bool isFirst(std::size_t fix) const { return m_first[fix] == fix; }
    [[nodiscard]] std::vector<std::string>& lines(std::size_t fix) { return m_lines[fix]; }

private:
    std::vector<std::size_t> m_first;
    std::vector<std::vector<std::string>> m_lines;
};

template <class Kind>
bool hasEdits(const std::vector<Fix>& fixes)
{
    return std::any_of(fixes.begin(), fixes.end(), [](const Fix& fix) {
        return std::any_of(fix.edits.begin(), fix.edits.end(),
                           [](const Edit& edit) { return std::holds_alternative<Kind>(edit.value); });
    });
}

/// Calls `apply(fix index, edit)` for every edit of this kind, in the order of the fixes and their edits.
template <class Kind, class Apply>
void forEachEdit(const std::vector<Fix>& fixes, Apply&& apply)
{
    for (std::size_t i = 0; i < fixes.size(); ++i) {
        for (const Edit& edit : fixes[i].edits) {
            if (const auto* kind = std::get_if<Kind>(&edit.value))
                apply(i, *kind);
        }
    }
}

/// A line whose value a fix set, as it was, and the place of that change among the fix's lines: a fix that
/// also writes the line anew shows both as one change.
struct ValueSet
{
    std::size_t fix = 0;
    std::size_t place = 0;
    std::string line;
};

/// Values: each node found by id in its record, changed only while its full value is still `from`. Lines the
/// rewrites will want are kept in `set` when it is given.
void setValues(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger,
               std::unordered_map<std::int64_t, ValueSet>* set)
{
    // Records are neither added nor removed in this pass, so the map's record indexes hold throughout;
    // the node itself is looked for in the record as it is now.
    const NodeLocator locator(document);
    forEachEdit<Edit::SetValue>(fixes, [&](std::size_t fix, const Edit::SetValue& edit) {
        const auto place = locator.find(edit.node);
        if (!place)
            return;
        const NodeView record = document.record(place->record);
        const std::vector<NodeView> path = pathTo(record, edit.node);
        if (path.empty())
            return;
        const std::string old = path.back().fullValue();
        if (old != edit.from.value_or(""))
            return;
        std::string tags;
        for (std::size_t i = 1; i < path.size(); ++i)
            tags += (i > 1 ? " " : "") + std::string(path[i].tag());
        std::string line = recordLabel(record) + " \u00B7 " + tags + ": " + quoted(old) + " \u2192 " +
                           quoted(edit.to.value_or(""));
        const NodeView node = path.back();
        std::string was;
        if (set)
            was = node.raw() ? std::string(*node.raw())
                             : detail::renderLine(static_cast<int>(path.size()) - 1, node.xref(), node.tag(),
                                                  node.value());
        document.update(place->record, edit.node, [&](GedcomNode& changed) {
            changed.setValue(edit.to);
            std::erase_if(changed.children(), [](const GedcomNode& child) {
                return child.tag() == "CONC" || child.tag() == "CONT";
            });
        });
        const std::size_t at = ledger.record(fix, std::move(line));
        if (set)
            (*set)[edit.node] = {fix, at, std::move(was)};
    });
}

/// Lines written anew from their parts, renamed, while their tag is still `from`.
void rewriteLines(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger,
                  const std::unordered_map<std::int64_t, ValueSet>& set)
{
    const NodeLocator locator(document);
    forEachEdit<Edit::Rewrite>(fixes, [&](std::size_t fix, const Edit::Rewrite& edit) {
        const auto place = locator.find(edit.node);
        if (!place)
            return;
        const NodeView record = document.record(place->record);
        const std::vector<NodeView> path = pathTo(record, edit.node);
        if (path.empty() || path.back().tag() != edit.from || path.back().isMalformed())
            return;
        const NodeView node = path.back();
        const int level = static_cast<int>(path.size()) - 1;
        std::optional<std::string_view> value = node.value();
        if (edit.trimValue && value && value->find_first_not_of(' ') != std::string_view::npos)
            value = value->substr(value->find_first_not_of(' '));
        const std::string written = detail::renderLine(level, node.xref(), edit.to, value);
        const auto valueSet = set.find(edit.node);
        const bool sameFix = valueSet != set.end() && valueSet->second.fix == fix;
        const std::string before(sameFix ? valueSet->second.line
                                 : node.raw()
                                     ? std::string(*node.raw())
                                     : detail::renderLine(level, node.xref(), node.tag(), node.value()));
        if (before == written)
            return;
        std::string line = recordLabel(record);
        for (std::size_t i = 1; i < path.size(); ++i)
            line += (i > 1 ? " " : " \u00B7 ") + std::string(path[i].tag());
        line += ": " + quoted(before) + " \u2192 " + quoted(written);
        const std::optional<std::string> newValue = value ? std::optional<std::string>(*value) : std::nullopt;
        document.update(place->record, edit.node, [&](GedcomNode& changed) {
            changed.setTag(edit.to);
            changed.setValue(newValue);
            changed.setRaw(std::nullopt);
        });
        if (sameFix)
            ledger.replace(fix, valueSet->second.place, std::move(line));
        else
            ledger.record(fix, std::move(line));
    });
}

/// The record an added line points to, when its value is a cross-reference.
std::optional<std::string_view> linkTarget(const Edit::Add& edit)
{
    if (!edit.value || edit.value->size() < 3 || edit.value->front() != '@' || edit.value->back() != '@' ||
        edit.value->find('@', 1) != edit.value->size() - 1)
        return std::nullopt;
    return std::string_view(*edit.value);
}

/// Additions: a new line under a record or one of its lines, unless the same line is already there.
void addLines(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger)
{
    // Only the xrefs the edits name are looked for, in one pass over the record list: the records
    // lines are added to, and those the added links point to.
    std::unordered_map<std::string_view, std::size_t> records;
    forEachEdit<Edit::Add>(fixes, [&](std::size_t, const Edit::Add& edit) {
        records.emplace(edit.record, 0);
        if (const auto target = linkTarget(edit))
            records.emplace(*target, 0);
    });
    // A record without an xref (HEAD) is named by its tag.
    std::unordered_set<std::string_view> found;
    for (std::size_t index = 0; index < document.recordCount() && found.size() < records.size(); ++index) {
        const NodeView record = document.record(index);
        const std::string_view name = record.xref().value_or(record.tag());
        if (records.contains(name) && found.insert(name).second)
            records[name] = index;
    }

    forEachEdit<Edit::Add>(fixes, [&](std::size_t fix, const Edit::Add& edit) {
        if (!found.contains(edit.record))
            return;
        // A link to a record that is gone (merged away, perhaps in this very batch's earlier
        // application) no longer fits the document.
        if (const auto target = linkTarget(edit); target && !found.contains(*target))
            return;
        const std::size_t index = records.at(edit.record);
        const NodeView record = document.record(index);
        const std::optional<NodeView> parent = edit.under ? record.find(*edit.under) : record;
        if (!parent)
            return;
        for (NodeView child : parent->children()) {
            const auto value = child.value();
            if (child.tag() == edit.tag && value.has_value() == edit.value.has_value() &&
                (!value || *value == *edit.value))
                return;
        }
        // The added line as the file will have it: a line under another one is a level deeper.
        std::string line = recordLabel(record);
        int level = 1;
        if (edit.under) {
            const std::string path = tagPath(record, *edit.under);
            line += " \u00B7 " + path;
            level += 1 + static_cast<int>(std::count(path.begin(), path.end(), ' '));
        }
        line += ": + " + std::to_string(level) + " " + edit.tag + (edit.value ? " " + *edit.value : "");
        GedcomNode added = document.newNode(edit.tag, edit.value);
        for (const auto& [tag, value] : edit.below) {
            line += " / " + std::to_string(level + 1) + " " + tag + " " + value;
            added.children().push_back(document.newNode(tag, value));
        }
        document.update(index, parent->id(), [&](GedcomNode& node) {
            auto& children = node.children();
            auto at = children.end();
            if (edit.after)
                at = std::find_if(children.begin(), children.end(),
                                  [&](const GedcomNode& child) { return child.id() == *edit.after; });
            if (at != children.end())
                ++at;
            else if (!edit.under) // a record's change-date block stays last
                at = std::find_if(children.begin(), children.end(),
                                  [](const GedcomNode& child) { return child.tag() == "CHAN"; });
            children.insert(at, std::move(added));
        });
        ledger.record(fix, std::move(line));
    });
}

/// New records, before the trailer; an xref the file has already is left as it is.
void addRecords(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger)
{
    // Records without an xref are known by their tags, kept apart from the xrefs by their lack of at-signs.
    std::unordered_set<std::string> names;
    std::size_t trailer = document.recordCount();
    for (std::size_t index = 0; index < document.recordCount(); ++index) {
        const NodeView record = document.record(index);
        names.emplace(record.xref().value_or(record.tag()));
        if (!record.xref() && record.tag() == "TRLR")
            trailer = index;
    }
    forEachEdit<Edit::AddRecord>(fixes, [&](std::size_t fix, const Edit::AddRecord& edit) {
        if (!names.insert(edit.xref.empty() ? edit.tag : edit.xref).second)
            return;
        if (edit.xref.empty()) {
            const bool last = edit.tag == "TRLR";
            document.insertRecord(last ? document.recordCount() : trailer++, document.newNode(edit.tag));
            ledger.record(fix, "Added record " + edit.tag);
            return;
        }
        document.insertRecord(trailer++, document.newNode(edit.tag, std::nullopt, edit.xref));
        ledger.record(fix, "Added record " + edit.xref + " " + edit.tag);
    });
}

/// Removals: lines are cut at once; whole records are dropped after the pass, each once.
void removeLines(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger)
{
    const NodeLocator locator(document);
    std::unordered_set<std::int64_t> removedRecords;
    std::vector<std::size_t> removedIndexes;
    forEachEdit<Edit::Remove>(fixes, [&](std::size_t fix, const Edit::Remove& edit) {
        const auto place = locator.find(edit.node);
        if (!place)
            return;
        const NodeView record = document.record(place->record);
        if (record.id() == edit.node) {
            if (!removedRecords.insert(edit.node).second)
                return;
            removedIndexes.push_back(place->record);
            ledger.record(fix, "Removed record " + recordLabel(record));
            return;
        }
        const std::vector<NodeView> path = pathTo(record, edit.node);
        if (path.empty())
            return;
        std::vector<std::string> cut;
        detail::appendChangeLines(path.back(), 1, cut);
        std::string line = recordLabel(record) + ": \u2212 ";
        for (std::size_t i = 0; i < cut.size(); ++i)
            line += (i > 0 ? " / " : "") + cut[i];
        document.update(place->record, path[path.size() - 2].id(), [&](GedcomNode& parent) {
            std::erase_if(parent.children(),
                          [&](const GedcomNode& child) { return child.id() == edit.node; });
        });
        ledger.record(fix, std::move(line));
    });
    std::sort(removedIndexes.begin(), removedIndexes.end());
    document.removeRecords(removedIndexes);
}

/// Merges: every merge of the batch in one call, so that links are repointed once.
void mergeRecords(const std::vector<Fix>& fixes, GedcomDocument& document, Ledger& ledger)
{
    std::vector<std::pair<std::string, std::string>> pairs;
    std::vector<std::size_t> owners;
    forEachEdit<Edit::Merge>(fixes, [&](std::size_t fix, const Edit::Merge& edit) {
        pairs.emplace_back(edit.keep, edit.remove);
        owners.push_back(fix);
    });
    auto results = Merger::merge(pairs, document);
    for (std::size_t i = 0; i < results.size(); ++i) {
        if (!results[i])
            continue;
        for (std::string& line : *results[i])
            ledger.record(owners[i], std::move(line));
    }
}

} // namespace

ApplyResult apply(const std::vector<Fix>& fixes, const GedcomDocument& document, std::int64_t firstID)
{
    ApplyResult result{document};
    GedcomDocument& working = result.document;
    Ledger ledger(fixes);
    const bool rewrites = hasEdits<Edit::Rewrite>(fixes);
    std::unordered_map<std::int64_t, ValueSet> set;
    if (hasEdits<Edit::SetValue>(fixes))
        setValues(fixes, working, ledger, rewrites ? &set : nullptr);
    if (rewrites)
        rewriteLines(fixes, working, ledger, set);
    if (hasEdits<Edit::AddRecord>(fixes))
        addRecords(fixes, working, ledger);
    if (hasEdits<Edit::Add>(fixes))
        addLines(fixes, working, ledger);
    if (hasEdits<Edit::Remove>(fixes))
        removeLines(fixes, working, ledger);
    if (hasEdits<Edit::Merge>(fixes))
        mergeRecords(fixes, working, ledger);

    std::int64_t next = firstID;
    for (std::size_t i = 0; i < fixes.size(); ++i) {
        if (!ledger.isFirst(i))
            continue; // pooled with the first fix of that id
        std::vector<std::string>& lines = ledger.lines(i);
        if (lines.empty())
            result.skipped.push_back(fixes[i].title);
        else
            result.entries.push_back({next++, fixes[i].id, fixes[i].title, std::move(lines)});
    }
    return result;
}

} // namespace FixApplier
// Found by descending through the subtree sizes, so only the lines on the way are read.
std::vector<NodeView> pathTo(NodeView record, std::int64_t id)
{
    const auto target = record.find(id);
    if (!target)
        return {};
    const std::uint32_t offset = record.offsetOf(*target);
    std::vector<NodeView> path = {record};
    while (path.back() != *target) {
        for (NodeView child : path.back().children()) {
            const std::uint32_t start = record.offsetOf(child);
            if (start <= offset && offset < start + child.subtreeSize()) {
                path.push_back(child);
                break;
            }
        }
    }
    return path;
}

std::string tagPath(NodeView record, std::int64_t id)
{
    const std::vector<NodeView> path = pathTo(record, id);
    std::string joined;
    for (std::size_t i = 1; i < path.size(); ++i)
        joined += (joined.empty() ? "" : " ") + std::string(path[i].tag());
    return joined;
}

} // namespace kinloom
