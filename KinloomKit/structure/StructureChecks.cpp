// SPDX-License-Identifier: GPL-3.0-or-later
#include "structure/StructureChecks.h"

#include "changes/FixApplier.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <unordered_map>
#include <unordered_set>

namespace kinloom::StructureChecks {
using Grammar::Payload;
using Kind = Hit::Kind;
using Text::quoted;
using Text::trimmed;

namespace {

constexpr std::size_t linesShown = 3;
constexpr std::size_t lineCharacters = 80;
// GEDCOM 5.5.1 counts a line's characters, its terminator included.
constexpr std::size_t longestLine = 255;
constexpr std::string_view dropped = "programs that follow the standard may drop";

std::size_t characterCount(std::string_view text)
{
    return static_cast<std::size_t>(std::count_if(
        text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

/// A line as the user wrote it, without its indentation, cut to a length a detail can hold.
std::string shownLine(NodeView node)
{
    std::string_view line = node.raw().value_or("");
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
        line.remove_prefix(1);
    std::size_t end = 0;
    for (std::size_t seen = 0; end < line.size() && seen < lineCharacters; ++seen) {
        ++end;
        while (end < line.size() && (static_cast<unsigned char>(line[end]) & 0xC0) == 0x80)
            ++end;
    }
    return quoted(end < line.size() ? std::string(line.substr(0, end)) + "\u2026" : std::string(line));
}

bool isPointer(std::string_view value)
{
    return value.size() >= 3 && value.front() == '@' && value.back() == '@' && value[1] != '#';
}

/// Whether the value is one the enumeration allows. GEDCOM 5.5.1 writes some of its values in
/// lower case and programs write them in any case; GEDCOM 7 values are tags, extensions included.
bool isAllowed(std::string_view value, std::span<const std::string_view> values, bool v7)
{
    if (v7 && value.starts_with('_'))
        return true;
    return std::ranges::any_of(values, [&](std::string_view allowed) {
        if (allowed == "(\u2026)")
            return value.size() >= 2 && value.front() == '(' && value.back() == ')';
        return v7 ? value == allowed : Text::equalIgnoringCase(value, allowed);
    });
}

/// Doubled blanks between level, xref and tag, as the line was read.
bool hasDoubledSpaces(std::string_view line)
{
    std::size_t i = 0;
    while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
        ++i;
    while (i < line.size() && line[i] >= '0' && line[i] <= '9')
        ++i;
    if (line.substr(i).starts_with("  "))
        return true;
    while (i < line.size() && line[i] == ' ')
        ++i;
    if (i < line.size() && line[i] == '@') {
        const std::size_t close = line.find('@', i + 1);
        if (close != std::string_view::npos && line.substr(close + 1).starts_with("  "))
            return true;
    }
    return false;
}

// The links whose kind of record the link checks already judge, by the tags they are on.
bool linkChecksJudge(std::string_view tag)
{
    static constexpr std::array<std::string_view, 11> judged{"FAMC", "FAMS", "HUSB", "WIFE", "CHIL", "SOUR",
                                                             "REPO", "OBJE", "SUBM", "NOTE", "SNOTE"};
    return std::ranges::find(judged, tag) != judged.end();
}

/// The checks of a line's spacing and length, which hold for every line, extensions included.
void checkLine(Walk& walk, NodeView node, NodeView parent)
{
    const std::optional<std::string_view> raw = node.raw();
    if (!raw)
        return;
    if (hasDoubledSpaces(*raw))
        walk.hits.push_back({Kind::spaces, 0, 0, node, parent});
    if (!walk.v7 && raw->size() > longestLine && characterCount(*raw) + 1 > longestLine)
        walk.hits.push_back({Kind::longLine, 0, 0, node, parent});
}

/// Line checks for the lines below one the grammar does not describe.
void checkLinesBelow(Walk& walk, NodeView node)
{
    for (NodeView child : node.children()) {
        if (!child.isMalformed())
            checkLine(walk, child, node);
        checkLinesBelow(walk, child);
    }
}

/// The value of a line against what its structure takes.
void checkValue(Walk& walk, NodeView node, NodeView parent, std::uint16_t structure, NodeView record)
{
    const Grammar::Table& grammar = *walk.grammar;
    const Grammar::Structure& described = grammar[structure];
    const std::optional<std::string_view> written = node.value();
    const std::string_view value = trimmed(written.value_or(""));
    const auto key = [&] { return Grammar::tagKey(node.tag()); };
    // Blanks between tag and value belong to a text value, and to no other.
    if (written && written->starts_with(' ') && !value.empty() && described.payload != Payload::text &&
        (described.payload != Payload::pointerOrText || isPointer(value)))
        walk.hits.push_back({Kind::spaces, 0, structure, node, parent});

    switch (described.payload) {
    case Payload::none:
        if (!value.empty())
            walk.hits.push_back({Kind::value, key(), structure, node, parent});
        break;
    case Payload::flag:
        if (!value.empty() && value != "Y")
            walk.hits.push_back({Kind::value, key(), structure, node, parent});
        break;
    case Payload::pointer:
    case Payload::pointerOrNone:
    case Payload::pointerOrText:
        if (isPointer(value)) {
            if (!linkChecksJudge(node.tag()) && value != "@VOID@")
                walk.links.push_back({node, record, described.target});
        } else if (described.payload == Payload::pointer ||
                   (described.payload == Payload::pointerOrNone && !value.empty())) {
            walk.hits.push_back({Kind::pointer, key(), structure, node, parent});
        }
        break;
    case Payload::enumeration:
    case Payload::enumerationList: {
        // The missing-details checks read SEX, with fixes of their own.
        if (value.empty() || node.tag() == "SEX")
            break;
        const std::span<const std::string_view> values = grammar.enumOf(structure);
        bool allowed = true;
        if (described.payload == Payload::enumeration) {
            allowed = isAllowed(value, values, walk.v7);
        } else {
            for (std::size_t start = 0; start <= value.size() && allowed;) {
                const std::size_t end = std::min(value.find(',', start), value.size());
                allowed = isAllowed(trimmed(value.substr(start, end - start)), values, walk.v7);
                start = end + 1;
            }
        }
        if (!allowed)
            walk.hits.push_back({Kind::enumeration, key(), structure, node, parent});
        break;
    }
    case Payload::text:
    case Payload::typed:
        break;
    }
}

// Structures nest only as deep as the grammar goes, so the recursion is as shallow as the grammar.
void checkChildren(Walk& walk, NodeView node, std::uint16_t structure, NodeView record)
{
    const Grammar::Table& grammar = *walk.grammar;
    // Most lines have no lines below them and need none.
    const bool required = walk.needsSubstructure[structure];
    if (!required && !node.hasChildren())
        return;
    const std::span<const Grammar::Substructure> subs = grammar.subsOf(structure);
    std::array<std::uint8_t, 128> counts;
    if (required)
        counts.fill(0);
    for (NodeView child : node.children()) {
        if (child.isMalformed())
            continue;
        checkLine(walk, child, node);
        const std::string_view tag = child.tag();
        if (tag.starts_with('_')) {
            checkLinesBelow(walk, child);
            continue;
        }
        const std::uint64_t key = Grammar::tagKey(tag);
        const std::optional<std::uint16_t> found = walk.find(structure, key);
        if (!found) {
            const Payload payload = grammar[structure].payload;
            // GEDCOM 7 continues any text on CONT lines, and has no CONC.
            if (walk.v7 && tag == "CONT" && (payload == Payload::text || payload == Payload::pointerOrText))
                continue;
            const Kind kind = tag == "CONT" || tag == "CONC" ? Kind::cont
                              : Grammar::isStandardTag(key)  ? Kind::misplaced
                                                             : Kind::unknown;
            walk.hits.push_back(
                {kind, kind == Kind::cont ? Grammar::tagKey(node.tag()) : key, structure, child, node});
            checkLinesBelow(walk, child);
            continue;
        }
        const Grammar::Substructure& sub = subs[*found];
        if (required)
            counts[*found] = static_cast<std::uint8_t>(std::min(counts[*found] + 1, 255));
        checkValue(walk, child, node, sub.structure, record);
        checkChildren(walk, child, sub.structure, record);
    }
    // A link stands for its record: what a record needs is not asked of a link to one.
    if (!required || isPointer(trimmed(node.value().value_or(""))))
        return;
    for (std::size_t i = 0; i < subs.size(); ++i) {
        if (subs[i].min > 0 && counts[i] == 0) {
            if (record.tag() == "HEAD")
                walk.headerMissing.push_back({node, subs[i].structure});
            else
                walk.hits.push_back({Kind::required, subs[i].tag, subs[i].structure, node, node});
        }
    }
}

struct KindText
{
    std::string_view id;
    Severity severity;
};

constexpr std::array<KindText, 9> kindTexts{{
    {"struct-spaces", Severity::warning},
    {"struct-long", Severity::warning},
    {"struct-cont", Severity::warning},
    {"struct-misplaced", Severity::warning},
    {"struct-unknown", Severity::warning},
    {"struct-pointer", Severity::warning},
    {"struct-value", Severity::warning},
    {"struct-enum", Severity::warning},
    {"struct-required", Severity::warning},
}};

/// "A, B and C"
std::string listed(const std::vector<std::string>& items)
{
    std::string text;
    for (std::size_t i = 0; i < items.size(); ++i)
        text += (i == 0 ? "" : i + 1 == items.size() ? " and " : ", ") + items[i];
    return text;
}

/// A line as read, without its indentation.
std::string asRead(NodeView node)
{
    std::string_view line = node.raw().value_or("");
    while (!line.empty() && (line.front() == ' ' || line.front() == '\t'))
        line.remove_prefix(1);
    return std::string(line);
}

int levelOf(NodeView record, NodeView node)
{
    return static_cast<int>(pathTo(record, node.id()).size()) - 1;
}

/// A line as it will be written: from its parts, with single spaces.
std::string standardLine(int level, NodeView node, std::string_view tag,
                         std::optional<std::string_view> value)
{
    return detail::renderLine(level, node.xref(), tag, value);
}

std::string placeOf(NodeView record, NodeView node)
{
    return node == record ? recordLabel(record)
                          : recordLabel(record) + " \u00B7 " + tagPath(record, node.id());
}

bool hasContinuation(NodeView node)
{
    return std::ranges::any_of(node.children(),
                               [](NodeView child) { return child.tag() == "CONT" || child.tag() == "CONC"; });
}

std::string plural(std::size_t count, std::string_view one, std::string_view many)
{
    return std::string(count == 1 ? one : many);
}

/// Doubled blanks before the tag, or before a value that is not text: the line written anew. Text
/// values keep their blanks, which are content.
void fixSpaces(NodeView record, std::span<const Hit* const> group, Fix& fix)
{
    for (std::size_t i = 0; i < group.size(); ++i) {
        const NodeView node = group[i]->node;
        // A line with blanks too many both before its tag and before its value has both hits, one
        // after the other: one row.
        bool beforeValue = group[i]->detail != 0;
        for (; i + 1 < group.size() && group[i + 1]->node == node; ++i)
            beforeValue = beforeValue || group[i + 1]->detail != 0;
        std::optional<std::string_view> value = node.value();
        if (beforeValue)
            value = value->substr(value->find_first_not_of(' '));
        fix.edits.emplace_back(
            Edit::Rewrite{node.id(), std::string(node.tag()), std::string(node.tag()), beforeValue});
        fix.preview.push_back({placeOf(record, node), asRead(node),
                               standardLine(levelOf(record, node), node, node.tag(), value)});
    }
    fix.title = plural(fix.edits.size(), "Write this line with single spaces",
                       "Write these lines with single spaces");
}

/// An unknown tag becomes a program's own tag, which the standard lets programs keep or leave.
void fixUnknown(NodeView record, std::span<const Hit* const> group, Fix& fix)
{
    const std::string tag(group.front()->node.tag());
    for (const Hit* hit : group) {
        fix.edits.emplace_back(Edit::Rewrite{hit->node.id(), tag, "_" + tag});
        fix.preview.push_back(
            {placeOf(record, hit->node), asRead(hit->node),
             standardLine(levelOf(record, hit->node), hit->node, "_" + tag, hit->node.value())});
    }
    fix.title = "Rename to _" + tag;
}

/// Text on ALIA is another name; an empty link line says nothing.
void fixPointers(NodeView record, std::span<const Hit* const> group, bool v7, Fix& fix)
{
    const auto xref = record.xref();
    const std::string tag(group.front()->node.tag());
    for (const Hit* hit : group) {
        const NodeView node = hit->node;
        const std::string_view value = trimmed(node.value().value_or(""));
        const int level = levelOf(record, node);
        if (tag == "ALIA" && xref && !value.empty() && !hasContinuation(node)) {
            const std::string type = v7 ? "AKA" : "aka";
            fix.edits.emplace_back(Edit::Rewrite{node.id(), "ALIA", "NAME"});
            fix.edits.emplace_back(Edit::Add{std::string(*xref), node.id(), "TYPE", type});
            std::string path = placeOf(record, node);
            path.replace(path.size() - 4, 4, "NAME");
            fix.preview.push_back({path, asRead(node), standardLine(level, node, "NAME", node.value())});
            fix.preview.push_back(
                {path + " TYPE", std::nullopt, std::to_string(level + 1) + " TYPE " + type});
            fix.title = "Write as NAME with TYPE " + type;
        } else if ((tag == "HUSB" || tag == "WIFE" || tag == "CHIL") && value.empty() &&
                   !node.hasChildren()) {
            fix.edits.emplace_back(Edit::Remove{node.id()});
            fix.preview.push_back({placeOf(record, node), asRead(node), std::nullopt});
            fix.title = "Remove the empty " + tag + " " + plural(fix.edits.size(), "line", "lines");
        }
    }
}

/// Text on a line that takes none goes into a NOTE under it; a lone “Y” there says no more than the
/// tag and is dropped.
void fixValues(const Walk& walk, NodeView record, std::span<const Hit* const> group, Fix& fix)
{
    const auto xref = record.xref();
    const std::string tag(group.front()->node.tag());
    bool moved = false, removed = false;
    for (const Hit* hit : group) {
        const NodeView node = hit->node;
        if (hasContinuation(node))
            continue;
        const std::string from(node.value().value_or(""));
        const std::string_view text = trimmed(from);
        const int level = levelOf(record, node);
        const std::string place = placeOf(record, node);
        const bool flag = (*walk.grammar)[hit->detail].payload == Payload::flag;
        if (text == "Y") {
            fix.edits.emplace_back(Edit::SetValue{node.id(), from, std::nullopt});
            fix.preview.push_back({place, asRead(node), standardLine(level, node, tag, std::nullopt)});
            continue;
        }
        // “N” says that the event did not take place, which the line says only by not being there: a
        // suggestion, since the file then no longer says so.
        if (Text::equalIgnoringCase(text, "N") || Text::equalIgnoringCase(text, "NO")) {
            if (!node.hasChildren()) {
                fix.edits.emplace_back(Edit::Remove{node.id()});
                fix.preview.push_back({place, asRead(node), std::nullopt});
                fix.needsReview = true;
                removed = true;
            }
            continue;
        }
        // A NOTE of 5.5.1 that begins with an at-sign would read as a link.
        if (!xref || text.starts_with('@') || !walk.grammar->find(hit->detail, Grammar::tagKey("NOTE")))
            continue;
        // “Y” says that the event took place when nothing under it does.
        const std::optional<std::string> to =
            flag && !node.hasChildren() ? std::optional<std::string>("Y") : std::nullopt;
        fix.edits.emplace_back(Edit::SetValue{node.id(), from, to});
        fix.edits.emplace_back(Edit::Add{std::string(*xref), node.id(), "NOTE", std::string(text)});
        fix.preview.push_back({place, asRead(node), standardLine(level, node, tag, to)});
        fix.preview.push_back(
            {place + " NOTE", std::nullopt, std::to_string(level + 1) + " NOTE " + std::string(text)});
        moved = true;
    }
    fix.title = moved     ? "Move the text into a NOTE under " + tag
                : removed ? "Remove " + tag + ", whose \u201CN\u201D says it did not take place"
                          : "Write " + tag + " without \u201CY\u201D";
}

/// GEDCOM 5.5 put a file's FORM beside FILE, under OBJE; 5.5.1 and 7.0 put it under FILE.
void fixMisplaced(NodeView record, std::span<const Hit* const> group, Fix& fix)
{
    const auto xref = record.xref();
    for (const Hit* hit : group) {
        const NodeView form = hit->node, object = hit->parent;
        if (!xref || form.tag() != "FORM" || object.tag() != "OBJE" || form.hasChildren() ||
            trimmed(form.value().value_or("")).empty())
            continue;
        std::optional<NodeView> file;
        std::size_t files = 0, forms = 0;
        for (NodeView child : object.children()) {
            files += child.tag() == "FILE";
            forms += child.tag() == "FORM";
            if (child.tag() == "FILE")
                file = child;
        }
        if (files != 1 || forms != 1 || file->firstChild("FORM"))
            continue;
        const std::string value(*form.value());
        fix.edits.emplace_back(Edit::Add{std::string(*xref), file->id(), "FORM", value});
        fix.edits.emplace_back(Edit::Remove{form.id()});
        fix.preview.push_back({placeOf(record, form), asRead(form), std::nullopt});
        fix.preview.push_back({placeOf(record, *file) + " FORM", std::nullopt,
                               std::to_string(levelOf(record, *file) + 1) + " FORM " + value});
    }
    fix.title = "Move FORM under FILE";
}

/// The parts of a text that reads as a line: a level, a tag the standards or a program could have written and
/// perhaps a value, one blank apart.
struct WrittenLine
{
    int level = 0;
    std::string_view tag;
    std::optional<std::string_view> value;
};

std::optional<WrittenLine> asLine(std::string_view text)
{
    std::size_t i = 0;
    int level = 0;
    for (; i < text.size() && i < 2 && text[i] >= '0' && text[i] <= '9'; ++i)
        level = level * 10 + (text[i] - '0');
    if (i == 0 || i == text.size() || text[i] != ' ')
        return std::nullopt;
    const std::size_t start = ++i;
    while (i < text.size() &&
           ((text[i] >= 'A' && text[i] <= 'Z') || (text[i] >= '0' && text[i] <= '9') || text[i] == '_'))
        ++i;
    const std::string_view tag = text.substr(start, i - start);
    if (tag.empty() || (i < text.size() && text[i] != ' ') ||
        !(tag.starts_with('_') || Grammar::isStandardTag(Grammar::tagKey(tag))))
        return std::nullopt;
    if (i + 1 >= text.size())
        return WrittenLine{level, tag, std::nullopt};
    return WrittenLine{level, tag, text.substr(i + 1)};
}

/// Whole lines a program wrote as the text of CONT lines under a line that takes none, written as the lines
/// they are: in place one level below that line, and under the line before them a level deeper. Only where
/// every continuation line under it reads so: other text there is the file's own. A link written again says
/// no more, and goes.
void fixContinuation(NodeView record, std::span<const Hit* const> group, Fix& fix)
{
    const std::string recordName(record.xref().value_or(record.tag()));
    std::size_t rebuilt = 0, repeated = 0;
    // The lines under one parent: the continuation lines read as lines, the others at level 0.
    struct Line
    {
        NodeView node;
        WrittenLine line;
    };
    std::vector<Line> lines;
    for (std::size_t i = 0; i < group.size(); ++i) {
        const NodeView parent = group[i]->parent;
        if (i > 0 && group[i - 1]->parent == parent)
            continue;
        const int level = levelOf(record, parent);
        lines.clear();
        bool fits = true;
        for (NodeView child : parent.children()) {
            const bool continued = child.tag() == "CONT" || child.tag() == "CONC";
            const std::optional<WrittenLine> line = !continued ? std::optional(WrittenLine{})
                                                    : child.tag() == "CONT" && !child.hasChildren()
                                                        ? asLine(child.value().value_or(""))
                                                        : std::nullopt;
            // A line a level deeper goes under the rebuilt line before it.
            fits = line && (!continued || line->level == level + 1 ||
                            (line->level == level + 2 && !lines.empty() && lines.back().line.level > level));
            if (!fits)
                break;
            lines.push_back({child, *line});
        }
        if (!fits)
            continue;
        // The applier adds a line under another only once, and a link only to a record it finds: a
        // deeper line written twice, or a deeper link, is left for the user.
        std::vector<std::pair<std::string_view, std::optional<std::string_view>>> links, added;
        std::optional<std::int64_t> above;
        const std::string place = placeOf(record, parent);
        std::vector<Edit> edits;
        std::vector<PreviewLine> preview;
        for (std::size_t j = 0; j < lines.size() && fits; ++j) {
            const auto& [node, line] = lines[j];
            const bool hasBelow = j + 1 < lines.size() && lines[j + 1].line.level == level + 2;
            const std::optional<std::string_view> value = line.level == 0 ? node.value() : line.value;
            const bool link = value && isPointer(trimmed(*value));
            if (line.level == 0) {
                if (link && !node.hasChildren())
                    links.emplace_back(node.tag(), value);
                continue;
            }
            const std::optional<std::string> to = value ? std::optional<std::string>(*value) : std::nullopt;
            const std::string written =
                std::to_string(line.level) + " " + std::string(line.tag) + (to ? " " + *to : "");
            if (line.level == level + 2) {
                fits = !link && std::ranges::find(added, std::pair(line.tag, value)) == added.end();
                added.emplace_back(line.tag, value);
                edits.emplace_back(Edit::Add{recordName, above, std::string(line.tag), to});
                edits.emplace_back(Edit::Remove{node.id()});
                preview.push_back({place, asRead(node), written});
                continue;
            }
            added.clear();
            if (link && !hasBelow && std::ranges::find(links, std::pair(line.tag, value)) != links.end()) {
                edits.emplace_back(Edit::Remove{node.id()});
                preview.push_back({place, asRead(node), std::nullopt});
                ++repeated;
                continue;
            }
            if (link && !hasBelow)
                links.emplace_back(line.tag, value);
            edits.emplace_back(Edit::SetValue{node.id(), std::string(*node.value()), to});
            edits.emplace_back(Edit::Rewrite{node.id(), "CONT", std::string(line.tag)});
            preview.push_back({place, asRead(node), written});
            above = node.id();
        }
        if (!fits)
            continue;
        rebuilt += preview.size();
        std::ranges::move(edits, std::back_inserter(fix.edits));
        std::ranges::move(preview, std::back_inserter(fix.preview));
    }
    rebuilt -= repeated;
    fix.needsReview = true;
    const std::string without =
        repeated == 1 ? "the repeated link" : std::to_string(repeated) + " repeated links";
    if (rebuilt == 0)
        fix.title = "Remove " + without + " written as continuation text";
    else
        fix.title =
            (rebuilt == 1 ? "Rebuild the line written as continuation text"
                          : "Rebuild " + std::to_string(rebuilt) + " lines written as continuation text") +
            (repeated == 0 ? "" : ", without " + without);
}

/// The fix for a record's lines of one kind and key, where there is one.
std::optional<Fix> fixOf(const Walk& walk, NodeView record, std::span<const Hit* const> group,
                         const std::string& id)
{
    Fix fix{id, {}, {}, {}, false};
    switch (group.front()->kind) {
    case Kind::spaces:
        fixSpaces(record, group, fix);
        break;
    case Kind::unknown:
        fixUnknown(record, group, fix);
        break;
    case Kind::pointer:
        fixPointers(record, group, walk.v7, fix);
        break;
    case Kind::value:
        fixValues(walk, record, group, fix);
        break;
    case Kind::misplaced:
        fixMisplaced(record, group, fix);
        break;
    case Kind::cont:
        fixContinuation(record, group, fix);
        break;
    default:
        break;
    }
    if (fix.edits.empty())
        return std::nullopt;
    return fix;
}

/// The records a fix may link to by name: the file's repositories and submitters, and new ones under xrefs
/// the file does not use, each made once in a scan. Read from the file only when first asked.
class NewRecords
{
public:
    explicit NewRecords(const GedcomDocument& document) : m_document(document) {}

    /// The xref of the record of this tag with this NAME, and whether the file lacks it.
    std::pair<std::string, bool> named(std::string_view tag, std::string_view name)
    {
        load();
        std::string key = std::string(tag) + '\n' + std::string(name);
        if (const auto found = m_named.find(key); found != m_named.end())
            return found->second;
        std::pair<std::string, bool> made{fresh(tag == "REPO" ? "@R" : "@U"), true};
        m_named.emplace(std::move(key), made);
        return made;
    }

private:
    void load()
    {
        if (m_loaded)
            return;
        m_loaded = true;
        for (NodeView record : m_document.records()) {
            const auto xref = record.xref();
            if (!xref)
                continue;
            if (xref->starts_with("@R") || xref->starts_with("@U"))
                m_taken.emplace(*xref);
            if (record.tag() != "REPO" && record.tag() != "SUBM")
                continue;
            if (const auto name = record.firstChild("NAME"); name && name->value())
                m_named.try_emplace(std::string(record.tag()) + '\n' + std::string(trimmed(*name->value())),
                                    std::string(*xref), false);
        }
    }

    std::string fresh(std::string_view prefix)
    {
        std::string xref;
        do
            xref = std::string(prefix) + std::to_string(++m_last[prefix == "@R"]) + "@";
        while (m_taken.contains(xref));
        return xref;
    }

    const GedcomDocument& m_document;
    bool m_loaded = false;
    std::unordered_set<std::string> m_taken;
    std::unordered_map<std::string, std::pair<std::string, bool>> m_named;
    std::array<std::size_t, 2> m_last{};
};

/// Text on REPO or SUBM names the record the line links to: the file's record of that name, or a new one.
/// A suggestion: the text may say more than a name, and a record is linked to by more than one line.
void fixNamed(const Walk& walk, NewRecords& records, std::vector<Issue>& issues)
{
    for (std::size_t i = 0; i < walk.named.size();) {
        const std::size_t index = walk.named[i].issue;
        Issue& issue = issues[index];
        const std::string kind = walk.named[i].node.tag() == "REPO" ? "repository" : "submitter";
        Fix fix{issue.id, {}, {}, {}, true};
        std::vector<std::string> names;
        bool made = false;
        for (; i < walk.named.size() && walk.named[i].issue == index; ++i) {
            const NodeView node = walk.named[i].node, record = walk.named[i].record;
            const std::string tag(node.tag());
            const std::string from(node.value().value_or(""));
            const std::string name(trimmed(from));
            const auto [xref, isNew] = records.named(tag, name);
            if (std::ranges::find(names, name) == names.end()) {
                names.push_back(name);
                if (isNew) {
                    fix.edits.emplace_back(Edit::AddRecord{xref, tag});
                    fix.edits.emplace_back(Edit::Add{xref, std::nullopt, "NAME", name});
                    fix.preview.push_back({"New record", std::nullopt, "0 " + xref + " " + tag});
                    fix.preview.push_back({"New record", std::nullopt, "1 NAME " + name});
                }
            }
            made = made || isNew;
            fix.edits.emplace_back(Edit::SetValue{node.id(), from, xref});
            fix.preview.push_back(
                {placeOf(record, node), asRead(node), standardLine(levelOf(record, node), node, tag, xref)});
        }
        fix.title = names.size() > 1 ? "Link each " + kind + " to a record of its own"
                    : made           ? "Make " + quoted(names[0]) + " a " + kind + " record of its own"
                                     : "Link to the " + kind + " record named " + quoted(names[0]);
        issue.fix = std::move(fix);
    }
}

/// The CHAR value that names an encoding, for those 5.5.1 names and ANSI; none for others.
std::optional<std::string> charValue(TextEncoding encoding)
{
    switch (encoding) {
    case TextEncoding::utf8:
        return "UTF-8";
    case TextEncoding::utf16LE:
    case TextEncoding::utf16BE:
        return "UNICODE";
    case TextEncoding::ansel:
        return "ANSEL";
    case TextEncoding::ascii:
        return "ASCII";
    case TextEncoding::windows1252:
        return "ANSI";
    default:
        return std::nullopt;
    }
}

/// The header's missing parts added, and the trailer.
std::optional<Fix> headerFix(const Walk& walk, const GedcomDocument& document, NewRecords& records)
{
    Fix fix{"struct-header", {}, {}, {}, false};
    const std::string version = walk.v7 ? "7.0" : "5.5.1";
    std::size_t parts = 0;
    for (const Walk::Missing& missing : walk.headerMissing) {
        const std::string_view parent = missing.parent.tag();
        const std::string_view tag = (*walk.grammar)[missing.structure].tag;
        const bool top = parent == "HEAD";
        const std::string place = top ? "HEAD" : "HEAD \u00B7 " + std::string(parent);
        const std::string level = top ? "1 " : "2 ";
        const auto add = [&](std::string value, std::vector<std::pair<std::string, std::string>> below = {}) {
            fix.preview.push_back(
                {place, std::nullopt, level + std::string(tag) + (value.empty() ? "" : " " + value)});
            for (const auto& [belowTag, belowValue] : below)
                fix.preview.push_back({(top ? "HEAD \u00B7 " : place + " ") + std::string(tag), std::nullopt,
                                       (top ? "2 " : "3 ") + belowTag + " " + belowValue});
            fix.edits.emplace_back(Edit::Add{
                "HEAD", top ? std::nullopt : std::optional(missing.parent.id()), std::string(tag),
                value.empty() ? std::nullopt : std::optional(value), std::nullopt, std::move(below)});
            ++parts;
        };
        if (top && tag == "GEDC") {
            add({}, walk.v7 ? std::vector<std::pair<std::string, std::string>>{{"VERS", version}}
                            : std::vector<std::pair<std::string, std::string>>{{"VERS", version},
                                                                               {"FORM", "LINEAGE-LINKED"}});
        } else if (parent == "GEDC" && tag == "VERS") {
            add(version);
        } else if (parent == "GEDC" && tag == "FORM") {
            add("LINEAGE-LINKED");
        } else if (top && tag == "CHAR") {
            if (const auto name = charValue(document.encoding))
                add(*name);
        } else if (top && tag == "SOUR") {
            add("Kinloom");
        } else if (top && tag == "SUBM") {
            // The file's submitter record, or a new one.
            std::optional<std::string> submitter;
            for (NodeView record : document.records()) {
                const auto xref = record.xref();
                if (xref && record.tag() == "SUBM") {
                    submitter = std::string(*xref);
                    break;
                }
            }
            if (!submitter) {
                submitter = records.named("SUBM", "Unknown").first;
                fix.edits.emplace_back(Edit::AddRecord{*submitter, "SUBM"});
                fix.edits.emplace_back(Edit::Add{*submitter, std::nullopt, "NAME", "Unknown"});
                fix.preview.push_back({"New record", std::nullopt, "0 " + *submitter + " SUBM"});
                fix.preview.push_back({"New record", std::nullopt, "1 NAME Unknown"});
            }
            add(*submitter);
        }
    }
    if (!walk.hasTrailer) {
        fix.edits.emplace_back(Edit::AddRecord{"", "TRLR"});
        fix.preview.push_back({"End of the file", std::nullopt, "0 TRLR"});
    }
    if (fix.edits.empty())
        return std::nullopt;
    fix.title = parts == 0        ? "Add the TRLR line at the end"
                : walk.hasTrailer ? "Add the missing header parts"
                                  : "Add the missing header parts and the TRLR line";
    return fix;
}

/// The finding for a record's lines of one kind and key.
Issue finding(const Walk& walk, NodeView record, std::span<const Hit* const> group)
{
    const Hit& first = *group.front();
    const Grammar::Table& grammar = *walk.grammar;
    const std::string version(grammar.version);
    const std::string lineTag(first.node.tag());
    const std::string tag = first.kind == Kind::cont       ? std::string(first.parent.tag())
                            : first.kind == Kind::required ? std::string(grammar[first.detail].tag)
                                                           : lineTag;
    std::string title;
    std::string why;
    Severity severity = kindTexts[static_cast<std::size_t>(first.kind)].severity;
    switch (first.kind) {
    case Kind::spaces:
        title = "Extra spaces between the parts of a line";
        why =
            "GEDCOM puts one space between level, tag and value; strict programs may misread these lines, or "
            "refuse the file.";
        break;
    case Kind::longLine:
        title = "Lines longer than 255 characters";
        why = version + " allows lines of up to 255 characters; " + std::string(dropped) +
              " what goes beyond. Longer text is continued on CONC lines.";
        break;
    case Kind::cont:
        title = "Continuation lines under " + tag;
        why = version + " allows no continuation lines (CONT, CONC) under " + tag + "; " +
              std::string(dropped) + " the text they carry.";
        break;
    case Kind::misplaced: {
        std::vector<std::string> parents;
        for (const Hit* hit : group) {
            const std::string parent(hit->node == record ? "" : hit->parent.tag());
            if (std::ranges::find(parents, parent) == parents.end())
                parents.push_back(parent);
        }
        std::string where;
        for (std::size_t i = 0; i < parents.size(); ++i)
            where += (i == 0                    ? ""
                      : i + 1 == parents.size() ? " or "
                                                : ", ") +
                     (parents[i].empty() ? "as a record" : (i == 0 ? "under " : "") + parents[i]);
        title = tag + " where the standard does not allow it";
        why =
            version + " does not allow " + tag + " " + where + "; " + std::string(dropped) + " these lines.";
        break;
    }
    case Kind::unknown:
        title = "Tag the standard does not know: " + tag;
        why = version + " has no tag " + tag + ", and a program\u2019s own tags begin with an underscore (_" +
              tag + "); " + std::string(dropped) + " these lines.";
        break;
    case Kind::pointer:
        title = "Text where a link belongs: " + tag;
        why = tag + " links to a record (@\u2026@) in " + version + "; " + std::string(dropped) +
              " these lines.";
        break;
    case Kind::value: {
        const bool flag = grammar[first.detail].payload == Payload::flag;
        const bool onlyY = std::ranges::all_of(
            group, [](const Hit* hit) { return trimmed(hit->node.value().value_or("")) == "Y"; });
        // "DIV Y" says no more than the tag itself.
        if (onlyY)
            severity = Severity::info;
        title = "Text on " + tag + ", which takes none";
        why = tag +
              (flag ? " takes no text in " + version + ", only \u201CY\u201D; "
                    : " takes no text in " + version + "; ") +
              std::string(dropped) + " it. A NOTE under the line would keep it.";
        break;
    }
    case Kind::enumeration: {
        std::vector<std::string> values;
        for (std::string_view value : grammar.enumOf(first.detail))
            values.push_back(value == "(\u2026)" ? "a text in brackets" : std::string(value));
        title = tag + " value not among the standard\u2019s choices";
        why = version + " writes " + tag + " as one of " + listed(values) + "; " + std::string(dropped) +
              " other values.";
        break;
    }
    case Kind::required:
        title = lineTag + " without " + tag;
        why = version + " requires " + tag + " under " + lineTag + "; " + std::string(dropped) +
              " or refuse what lacks it.";
        break;
    }

    std::vector<std::string> shown;
    for (std::size_t i = 0; i < std::min(group.size(), linesShown); ++i) {
        const Hit& hit = *group[i];
        const bool under = hit.parent != record && hit.kind != Kind::required && hit.kind != Kind::spaces &&
                           hit.kind != Kind::longLine;
        shown.push_back(shownLine(hit.node) + (under ? " under " + std::string(hit.parent.tag()) : ""));
    }
    if (group.size() > linesShown)
        shown.push_back(std::to_string(group.size() - linesShown) + " more");
    const std::string label = recordLabel(record);
    const auto xref = record.xref();
    const std::string id = std::string(kindTexts[static_cast<std::size_t>(first.kind)].id) + "-" +
                           std::to_string(first.node.id());
    return Issue{id,
                 IssueCategory::file,
                 severity,
                 title,
                 label + ": " + listed(shown) + ". " + why,
                 xref ? std::vector<std::string>{std::string(*xref)} : std::vector<std::string>{},
                 fixOf(walk, record, group, id)};
}

} // namespace

Walk start(const GedcomVersion& version)
{
    Walk walk;
    walk.v7 = std::holds_alternative<GedcomVersion::V7>(version.value);
    // A file of an older version, or of none stated, meets importers that read it as 5.5.1.
    walk.grammar = walk.v7 ? &Grammar::gedcom7() : &Grammar::gedcom551();
    walk.needsSubstructure.resize(walk.grammar->structures.size());
    for (std::uint16_t i = 0; i < walk.needsSubstructure.size(); ++i)
        walk.needsSubstructure[i] =
            std::ranges::any_of(walk.grammar->subsOf(i), [](const auto& sub) { return sub.min > 0; });
    return walk;
}

void checkRecord(Walk& walk, NodeView record)
{
    if (!walk.grammar || record.isMalformed())
        return;
    walk.hits.clear();
    checkLine(walk, record, record);
    const std::string_view tag = record.tag();
    walk.hasTrailer = walk.hasTrailer || tag == "TRLR";
    if (tag.starts_with('_')) {
        checkLinesBelow(walk, record);
    } else if (const auto found = walk.grammar->find(0, Grammar::tagKey(tag))) {
        const std::uint16_t structure = walk.grammar->subsOf(0)[*found].structure;
        checkValue(walk, record, record, structure, record);
        checkChildren(walk, record, structure, record);
    } else {
        const std::uint64_t key = Grammar::tagKey(tag);
        walk.hits.push_back(
            {Grammar::isStandardTag(key) ? Kind::misplaced : Kind::unknown, key, 0, record, record});
        checkLinesBelow(walk, record);
    }
    if (walk.hits.empty())
        return;

    // One finding per kind and tag, in the order first met.
    std::vector<std::pair<std::size_t, const Hit*>> grouped;
    std::vector<const Hit*> firsts;
    grouped.reserve(walk.hits.size());
    for (const Hit& hit : walk.hits) {
        const std::size_t same = static_cast<std::size_t>(
            std::ranges::find_if(
                firsts, [&](const Hit* first) { return first->kind == hit.kind && first->key == hit.key; }) -
            firsts.begin());
        if (same == firsts.size())
            firsts.push_back(&hit);
        grouped.emplace_back(same, &hit);
    }
    std::ranges::stable_sort(grouped, {}, &std::pair<std::size_t, const Hit*>::first);
    std::vector<const Hit*> group;
    for (std::size_t start = 0; start < grouped.size();) {
        group.clear();
        std::size_t end = start;
        for (; end < grouped.size() && grouped[end].first == grouped[start].first; ++end)
            group.push_back(grouped[end].second);
        walk.issues.push_back(finding(walk, record, group));
        start = end;
        const std::string_view linkTag = group.front()->node.tag();
        if (group.front()->kind != Kind::pointer || (linkTag != "REPO" && linkTag != "SUBM"))
            continue;
        for (const Hit* hit : group) {
            const std::string_view text = trimmed(hit->node.value().value_or(""));
            if (!text.empty() && !text.starts_with('@') && !hasContinuation(hit->node))
                walk.named.push_back({walk.issues.size() - 1, hit->node, record});
        }
    }
}

std::vector<Issue> finish(Walk&& walk, const GedcomDocument& document)
{
    std::vector<Issue> issues = std::move(walk.issues);
    if (!walk.grammar)
        return issues;
    NewRecords linked(document);
    fixNamed(walk, linked, issues);
    // A line kept as the bytes it was read from would be written from its text, which does not give
    // them back: it is reported without a fix.
    if (document.hasKeptBytes()) {
        for (Issue& issue : issues) {
            if (issue.fix && std::ranges::any_of(issue.fix->edits, [&](const Edit& edit) {
                    const auto* rewrite = std::get_if<Edit::Rewrite>(&edit.value);
                    return rewrite && document.keptBytes(rewrite->node);
                }))
                issue.fix.reset();
        }
    }

    if (!walk.links.empty()) {
        std::vector<std::pair<std::string_view, std::string_view>> records;
        for (NodeView record : document.records()) {
            if (const auto xref = record.xref())
                records.emplace_back(*xref, record.tag());
        }
        std::ranges::sort(records);
        for (const Walk::Link& link : walk.links) {
            const std::string_view value = trimmed(link.node.value().value_or(""));
            const auto found = std::ranges::lower_bound(records, std::pair(value, std::string_view()));
            // A link to no record at all is the link checks' to report.
            if (found == records.end() || found->first != value)
                continue;
            const std::string_view expected = (*walk.grammar)[link.target].tag;
            if (found->second == expected)
                continue;
            const auto xref = link.record.xref();
            issues.push_back(Issue{
                "struct-target-" + std::to_string(link.node.id()), IssueCategory::file, Severity::error,
                std::string(link.node.tag()) + " links to a " + std::string(found->second) + " record",
                recordLabel(link.record) + ": " + shownLine(link.node) + ". " + std::string(link.node.tag()) +
                    " links to a " + std::string(expected) + " record in " +
                    std::string(walk.grammar->version) + ", and " + std::string(value) + " is a " +
                    std::string(found->second) + " record; " + std::string(dropped) + " the link.",
                xref ? std::vector<std::string>{std::string(*xref)} : std::vector<std::string>{}});
        }
    }

    // A file without a header at all is the file checks' to report.
    std::string lacking;
    if (!walk.headerMissing.empty()) {
        std::vector<std::string> parts;
        for (const Walk::Missing& missing : walk.headerMissing)
            parts.push_back(std::string(missing.parent.tag()) + " " +
                            std::string((*walk.grammar)[missing.structure].tag));
        lacking = "The header lacks " + listed(parts);
    }
    if (!walk.hasTrailer)
        lacking += lacking.empty() ? "The file has no TRLR line at its end"
                                   : ", and the file has no TRLR line at its end";
    if (!lacking.empty()) {
        issues.push_back(
            Issue{"struct-header", IssueCategory::file, Severity::warning, "Header parts missing",
                  lacking + ". Programs that follow the standard may refuse the file, or ask for what "
                            "is missing."});
        issues.back().fix = headerFix(walk, document, linked);
    }
    return issues;
}

std::vector<Issue> check(const GedcomDocument& document)
{
    Walk walk = start(document.version());
    for (NodeView record : document.records())
        checkRecord(walk, record);
    return finish(std::move(walk), document);
}

} // namespace kinloom::StructureChecks
