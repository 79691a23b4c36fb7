// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes/Merger.h"

#include "changes/FixApplier.h"
#include "family/TreeIndex.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>
#include <unordered_map>
#include <unordered_set>

namespace kinloom::Merger {
namespace {

constexpr std::size_t none = std::numeric_limits<std::size_t>::max();

std::optional<std::string_view> text(const std::optional<std::string>& value)
{
    return value ? std::optional<std::string_view>(*value) : std::nullopt;
}

std::optional<std::string_view> text(const std::optional<std::string_view>& value)
{
    return value;
}

// Lines are compared by what they say, never by id or by how they were written.
template <class A, class B>
bool sameLine(const A& a, const B& b)
{
    if (a.isMalformed() || b.isMalformed())
        return a.isMalformed() && b.isMalformed() && text(a.raw()) == text(b.raw());
    return a.tag() == b.tag() && text(a.xref()) == text(b.xref()) && text(a.value()) == text(b.value());
}

template <class A, class B>
bool sameTree(const A& a, const B& b)
{
    if (!sameLine(a, b))
        return false;
    auto left = a.children().begin();
    const auto leftEnd = a.children().end();
    auto right = b.children().begin();
    const auto rightEnd = b.children().end();
    for (; left != leftEnd && right != rightEnd; ++left, ++right) {
        if (!sameTree(*left, *right))
            return false;
    }
    return left == leftEnd && right == rightEnd;
}

template <class Node>
bool isContinuation(const Node& node)
{
    return !node.isMalformed() && (node.tag() == "CONC" || node.tag() == "CONT");
}

/// Whether two lines have the same continuation lines: two equal lines that do then say the same,
/// whatever else is below them.
template <class A, class B>
bool sameContinuations(const A& a, const B& b)
{
    auto left = a.children().begin();
    const auto leftEnd = a.children().end();
    auto right = b.children().begin();
    const auto rightEnd = b.children().end();
    for (;;) {
        while (left != leftEnd && !isContinuation(*left))
            ++left;
        while (right != rightEnd && !isContinuation(*right))
            ++right;
        if (left == leftEnd || right == rightEnd)
            return left == leftEnd && right == rightEnd;
        if (!sameTree(*left, *right))
            return false;
        ++left;
        ++right;
    }
}

/// Lines that only support a fact (citations, notes, media, associations): two lines that differ in
/// these alone are one fact with more support.
bool supportsFact(std::string_view tag)
{
    return tag == "SOUR" || tag == "NOTE" || tag == "OBJE" || tag == "SNOTE" || tag == "ASSO";
}

/// Whether `b` gives a detail that `a` gives otherwise: a sub-line whose tag `a` uses too, though in
/// no line that says the same.
template <class A, class B>
bool givesOtherDetail(const A& a, const B& b)
{
    for (const auto& detail : b.children()) {
        if (detail.isMalformed() || isContinuation(detail) || supportsFact(detail.tag()))
            continue;
        bool tagUsed = false;
        bool said = false;
        for (const auto& other : a.children()) {
            if (other.isMalformed() || other.tag() != detail.tag())
                continue;
            tagUsed = true;
            if (sameLine(other, detail) && sameContinuations(other, detail)) {
                said = true;
                break;
            }
        }
        if (tagUsed && !said)
            return true;
    }
    return false;
}

/// Whether two lines are one fact: they say the same, and no detail below one contradicts the other
/// (two births with different dates are two facts).
template <class A, class B>
bool agree(const A& a, const B& b)
{
    return sameLine(a, b) && sameContinuations(a, b) && !givesOtherDetail(a, b) && !givesOtherDetail(b, a);
}

struct Counterpart
{
    std::size_t index = none; ///< among the kept line's sub-lines; `none` when the line is a fact of its own
    bool identical = false;
};

template <class Node>
bool addsTo(const GedcomNode& into, const Node& from);

/// The sub-line of `into` that `line` is folded into: an identical one; else, of those that agree with
/// it, one that has all it says, or the only one. With two candidates and no clear choice the line
/// stays a fact of its own.
template <class Node>
Counterpart counterpart(const GedcomNode& into, const Node& line)
{
    const auto& lines = into.children();
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (sameTree(lines[i], line))
            return {i, true};
    }
    std::size_t agreeing = none;
    std::size_t count = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (!agree(lines[i], line))
            continue;
        if (!addsTo(lines[i], line))
            return {i, false};
        agreeing = i;
        ++count;
    }
    return {count == 1 ? agreeing : none, false};
}

/// Whether folding `from`'s sub-lines into `into` would add anything, at any depth.
template <class Node>
bool addsTo(const GedcomNode& into, const Node& from)
{
    for (const auto& child : from.children()) {
        if (isContinuation(child))
            continue;
        const Counterpart match = counterpart(into, child);
        if (match.index == none || (!match.identical && addsTo(into.children()[match.index], child)))
            return true;
    }
    return false;
}

template <class Node>
GedcomNode toNode(const Node& node)
{
    if constexpr (std::is_same_v<Node, GedcomNode>)
        return node;
    else
        return node.toNode();
}

/// One line as GEDCOM text at `level`, without its sub-lines.
std::string lineText(const GedcomNode& node, int level)
{
    if (node.isMalformed())
        return node.raw().value_or("");
    return std::to_string(level) + " " + node.tag() + (node.value() ? " " + *node.value() : std::string());
}

/// What happened to one top-level line of the removed record, or to a sub-line it gave a kept line.
struct Step
{
    enum class Kind
    {
        housekeeping, ///< dropped: CHAN or RIN
        alreadyThere, ///< dropped: the kept record says the same
        sexTakenOver, ///< the kept record's unknown sex replaced
        sexConflict,  ///< the kept sex stays; the other is kept as a note, with its sub-lines
        added,        ///< moved across with its sub-lines
        addedUnder    ///< a sub-line moved below the kept line that agrees with its own
    };
    Kind kind = Kind::added;
    std::vector<std::string> lines; ///< GEDCOM text: dropped or moved lines, or the note and its sub-lines
    std::string tag;                ///< housekeeping: the line's tag
    std::string under;              ///< addedUnder: the kept line, and those above it, " / " between
    std::string keptValue;          ///< sex classes: the kept record's value, trimmed
    std::string removedValue;       ///< sex classes: the removed record's value, trimmed
    std::size_t count = 0;          ///< alreadyThere: lines already in the kept record
};

Step alreadyThere(std::size_t count)
{
    Step step{Step::Kind::alreadyThere};
    step.count = count;
    return step;
}

/// Folds `from`'s sub-lines into `into`, which says the same as `from`: what `into` lacks is added
/// below it (a step each, when `steps` is given), what agrees is folded in turn, and the lines
/// already there are counted. `under` names `into` in the steps.
template <class Node>
void foldSubLines(GedcomNode& into, const Node& from, int level, const std::string& under,
                  std::vector<Step>* steps, std::size_t& already)
{
    for (const auto& child : from.children()) {
        if (isContinuation(child))
            continue;
        const Counterpart match = counterpart(into, child);
        if (match.index != none) {
            ++already;
            if (!match.identical) {
                GedcomNode& kept = into.children()[match.index];
                foldSubLines(kept, child, level + 1, under + " / " + lineText(kept, level), steps, already);
            }
            continue;
        }
        if (steps) {
            Step step{Step::Kind::addedUnder};
            detail::appendChangeLines(child, level, step.lines);
            step.under = under;
            steps->push_back(std::move(step));
        }
        into.children().push_back(toNode(child));
    }
}

/// Folds a line of the removed record into the kept line that says the same: one already-there step
/// for the line and what it shares, after a step for each sub-line it gives.
template <class Node>
void foldLine(GedcomNode& into, const Node& from, std::vector<Step>& steps, std::size_t already = 1)
{
    foldSubLines(into, from, 2, lineText(into, 1), &steps, already);
    if (already > 0)
        steps.push_back(alreadyThere(already));
}

bool hasSubLines(NodeView line)
{
    for (NodeView child : line.children()) {
        if (!isContinuation(child))
            return true;
    }
    return false;
}

std::string trimmed(std::optional<std::string_view> value)
{
    const std::string_view all = value.value_or(std::string_view());
    const auto first = all.find_first_not_of(" \t\r\n\v\f");
    if (first == std::string_view::npos)
        return {};
    return std::string(all.substr(first, all.find_last_not_of(" \t\r\n\v\f") - first + 1));
}

/// Sex values compare trimmed and upper-cased.
std::string sexKey(std::optional<std::string_view> value)
{
    std::string key = trimmed(value);
    for (char& c : key)
        c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return key;
}

bool isUnknownSex(const std::string& sex)
{
    return sex.empty() || sex == "U";
}

/// Puts a line among a record's top-level lines before its change-date block, which stays last.
void insertBeforeChange(GedcomNode& record, GedcomNode line)
{
    auto& children = record.children();
    const auto change = std::find_if(children.begin(), children.end(),
                                     [](const GedcomNode& child) { return child.tag() == "CHAN"; });
    children.insert(change, std::move(line));
}

/// The one classification of a merge: folds the removed record's top-level lines into `kept` and
/// says what became of each. The merger and the preview both run it, so they cannot disagree.
std::vector<Step> fold(GedcomNode& kept, NodeView removed, std::int64_t& nextID)
{
    const std::string removedXref(removed.xref().value_or("?"));
    std::vector<Step> steps;
    for (NodeView line : removed.children()) {
        const std::string_view tag = line.isMalformed() ? std::string_view() : line.tag();
        if (tag == "CHAN" || tag == "RIN") {
            Step step{Step::Kind::housekeeping};
            step.tag = tag;
            detail::appendChangeLines(line, 1, step.lines);
            steps.push_back(std::move(step));
            continue;
        }
        auto& keptLines = kept.children();
        if (tag == "SEX") {
            const std::string removedSex = sexKey(line.value());
            const auto keptSex =
                std::find_if(keptLines.begin(), keptLines.end(), [](const GedcomNode& child) {
                    return !child.isMalformed() && child.tag() == "SEX";
                });
            if (keptSex == keptLines.end() && isUnknownSex(removedSex) && !hasSubLines(line)) {
                steps.push_back(alreadyThere(1));
                continue;
            }
            if (keptSex != keptLines.end()) {
                const std::string keptKey = sexKey(text(keptSex->value()));
                if (isUnknownSex(removedSex) || keptKey == removedSex) {
                    foldLine(*keptSex, line, steps);
                    continue;
                }
                Step step;
                step.keptValue = trimmed(text(keptSex->value()));
                step.removedValue = trimmed(line.value());
                if (isUnknownSex(keptKey)) {
                    step.kind = Step::Kind::sexTakenOver;
                    keptSex->setValue(step.removedValue);
                    steps.push_back(std::move(step));
                    foldLine(*keptSex, line, steps, 0);
                    continue;
                }
                // The other sex's sub-lines (its citations) go with the note that keeps it, not
                // below a sex they do not support.
                step.kind = Step::Kind::sexConflict;
                GedcomNode note(nextID++, "NOTE",
                                "Merged from " + removedXref + ", which had SEX " + step.removedValue);
                step.lines.push_back(lineText(note, 1));
                for (NodeView child : line.children()) {
                    if (isContinuation(child))
                        continue;
                    detail::appendChangeLines(child, 2, step.lines);
                    note.children().push_back(child.toNode());
                }
                insertBeforeChange(kept, std::move(note));
                steps.push_back(std::move(step));
                continue;
            }
            // No sex recorded on the kept side: the line is moved across like any other.
        }
        const Counterpart match = counterpart(kept, line);
        if (match.index != none) {
            if (match.identical)
                steps.push_back(alreadyThere(1));
            else
                foldLine(keptLines[match.index], line, steps);
            continue;
        }
        Step step{Step::Kind::added};
        detail::appendChangeLines(line, 1, step.lines);
        insertBeforeChange(kept, line.toNode());
        steps.push_back(std::move(step));
    }
    return steps;
}

/// Whether the merger takes the pair on: two distinct records of one kind.
bool mergeable(NodeView keep, NodeView remove)
{
    return keep != remove && keep.tag() == remove.tag();
}

bool changesKept(const std::vector<Step>& steps)
{
    return std::any_of(steps.begin(), steps.end(), [](const Step& step) {
        return step.kind != Step::Kind::housekeeping && step.kind != Step::Kind::alreadyThere;
    });
}

std::vector<std::string> changeLines(const std::vector<Step>& steps, std::string_view removedXref)
{
    std::vector<std::string> lines;
    for (const Step& step : steps) {
        switch (step.kind) {
        case Step::Kind::housekeeping:
            lines.push_back("  dropped " + std::string(removedXref) + "\u2019s " + step.tag +
                            " line (record housekeeping)");
            break;
        case Step::Kind::alreadyThere:
            break;
        case Step::Kind::sexTakenOver:
            lines.push_back("  SEX " + step.keptValue + " \u2192 " + step.removedValue);
            break;
        case Step::Kind::sexConflict:
        case Step::Kind::added:
            for (const std::string& line : step.lines)
                lines.push_back("  + " + line);
            break;
        case Step::Kind::addedUnder:
            for (const std::string& line : step.lines)
                lines.push_back("   (under " + step.under + ") + " + line);
            break;
        }
    }
    return lines;
}

Outcome outcomeOf(const std::vector<Step>& steps)
{
    Outcome outcome;
    for (const Step& step : steps) {
        switch (step.kind) {
        case Step::Kind::housekeeping:
            outcome.housekeeping.insert(outcome.housekeeping.end(), step.lines.begin(), step.lines.end());
            break;
        case Step::Kind::alreadyThere:
            outcome.alreadyThere += step.count;
            break;
        case Step::Kind::sexTakenOver:
            break;
        case Step::Kind::sexConflict:
            outcome.notes.push_back(step.lines.front().substr(std::string_view("1 NOTE ").size()));
            outcome.added.insert(outcome.added.end(), step.lines.begin() + 1, step.lines.end());
            break;
        case Step::Kind::added:
        case Step::Kind::addedUnder:
            outcome.added.insert(outcome.added.end(), step.lines.begin(), step.lines.end());
            break;
        }
    }
    return outcome;
}

std::string joined(const std::vector<std::string>& lines)
{
    std::string all;
    for (const std::string& line : lines)
        all += (all.empty() ? "" : " / ") + line;
    return all;
}

std::string counted(std::size_t n, std::string_view singular, std::string_view plural)
{
    return std::to_string(n) + " " + std::string(n == 1 ? singular : plural);
}

/// Hashes an xref from its first and last eight bytes: xrefs are short, and the tables below are
/// asked about every record or every pointer of a document.
struct XrefHash
{
    std::size_t operator()(std::string_view xref) const noexcept
    {
        std::uint64_t head = 0;
        std::uint64_t tail = 0;
        const std::size_t n = std::min<std::size_t>(xref.size(), 8);
        std::memcpy(&head, xref.data(), n);
        std::memcpy(&tail, xref.data() + xref.size() - n, n);
        const std::uint64_t h = (head * 0x9E3779B97F4A7C15ull) ^ (tail * 0xC2B2AE3D27D4EB4Full) ^ xref.size();
        return static_cast<std::size_t>(h ^ (h >> 29));
    }
};

/// Xrefs of one batch, mapped to a value. Nearly every xref asked about is not in it, so a bitmap by
/// hash answers most of those without touching the table.
template <class Value>
class XrefTable
{
public:
    explicit XrefTable(std::size_t expected) { m_table.reserve(expected); }

    bool insert(std::string_view xref, Value value)
    {
        const std::size_t at = bit(XrefHash{}(xref));
        m_bits[at / 64] |= std::uint64_t{1} << (at % 64);
        return m_table.emplace(xref, value).second;
    }
    [[nodiscard]] Value* find(std::string_view xref)
    {
        const std::size_t at = bit(XrefHash{}(xref));
        if (!(m_bits[at / 64] & (std::uint64_t{1} << (at % 64))))
            return nullptr;
        const auto found = m_table.find(xref);
        return found == m_table.end() ? nullptr : &found->second;
    }
    [[nodiscard]] const Value& at(std::string_view xref) const { return m_table.at(xref); }
    [[nodiscard]] auto begin() const { return m_table.begin(); }
    [[nodiscard]] auto end() const { return m_table.end(); }
    [[nodiscard]] bool empty() const { return m_table.empty(); }
    [[nodiscard]] std::size_t size() const { return m_table.size(); }

private:
    static constexpr std::size_t bits = std::size_t{1} << 18;
    // High bits of the hash, which the table's choice of bucket hardly depends on.
    static std::size_t bit(std::size_t hash) { return (hash >> 40) % bits; }

    std::vector<std::uint64_t> m_bits = std::vector<std::uint64_t>(bits / 64);
    std::unordered_map<std::string_view, Value, XrefHash> m_table;
};

/// The record at each xref named in the pairs: the first record carrying it, or `none`.
XrefTable<std::size_t> recordsByXref(const GedcomDocument& document,
                                     const std::vector<std::string_view>& xrefs)
{
    XrefTable<std::size_t> found(xrefs.size());
    for (std::string_view xref : xrefs)
        found.insert(xref, none);
    std::size_t missing = found.size();
    for (std::size_t index = 0; index < document.recordCount() && missing > 0; ++index) {
        const auto xref = document.record(index).xref();
        if (!xref)
            continue;
        std::size_t* entry = found.find(*xref);
        if (entry && *entry == none) {
            *entry = index;
            --missing;
        }
    }
    return found;
}

/// Whether a record holds a top-level pointer line twice.
bool hasRepeatedLinks(NodeView record)
{
    std::vector<std::pair<std::string_view, std::string_view>> links;
    for (NodeView line : record.children()) {
        const auto value = line.value();
        if (!value || !TreeIndex::isPointer(*value))
            continue;
        const std::pair link{line.tag(), *value};
        if (std::find(links.begin(), links.end(), link) != links.end())
            return true;
        links.push_back(link);
    }
    return false;
}

/// Drops later repeats of a top-level pointer line (same tag, same pointer, no detail given otherwise),
/// keeping the first and moving below it whatever sub-lines only the repeat had. Two citations of one
/// source on other pages both stay. Returns how many were dropped.
std::size_t dropRepeatedLinks(GedcomNode& record)
{
    auto& lines = record.children();
    std::size_t dropped = 0;
    for (std::size_t i = 0; i < lines.size(); ++i) {
        if (lines[i].isMalformed() || !lines[i].value() || !TreeIndex::isPointer(*lines[i].value()))
            continue;
        for (std::size_t j = i + 1; j < lines.size();) {
            if (!agree(lines[i], lines[j])) {
                ++j;
                continue;
            }
            std::size_t ignored = 0;
            const GedcomNode repeat = std::move(lines[j]);
            lines.erase(lines.begin() + static_cast<std::ptrdiff_t>(j));
            foldSubLines(lines[i], repeat, 2, {}, nullptr, ignored);
            ++dropped;
        }
    }
    return dropped;
}

} // namespace

std::vector<std::optional<std::vector<std::string>>>
merge(const std::vector<std::pair<std::string, std::string>>& pairs, GedcomDocument& document,
      std::vector<std::optional<Outcome>>* outcomes)
{
    std::vector<std::optional<std::vector<std::string>>> results(pairs.size());
    std::vector<std::optional<Outcome>> merged(pairs.size());

    // One walk over the document before anything changes finds the records the pairs name and every
    // pointer to a record the batch may remove. Walking line by line streams through memory; hopping
    // from record to record to read xrefs would cost as much again. Lines keep their ids when they
    // are moved, so a pointer found in a removed record can be followed into the kept one.
    XrefTable<std::size_t> records(2 * pairs.size());
    XrefTable<std::size_t> removable(pairs.size()); // removed xref → the first pair naming it
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        records.insert(pairs[i].first, none);
        records.insert(pairs[i].second, none);
        removable.insert(pairs[i].second, i);
    }
    struct Link
    {
        std::size_t record = 0;
        std::int64_t node = 0;
        std::size_t pair = 0; ///< whose removed xref the line names
    };
    std::vector<Link> links;
    for (std::size_t index = 0; index < document.recordCount(); ++index) {
        const NodeView record = document.record(index);
        if (const auto xref = record.xref()) {
            if (std::size_t* found = records.find(*xref); found && *found == none)
                *found = index;
        }
        record.walk([&](NodeView node) {
            const auto value = node.value();
            if (!value || value->size() < 3 || value->front() != '@')
                return;
            if (const std::size_t* pair = removable.find(*value))
                links.push_back({index, node.id(), *pair});
        });
    }

    std::vector<std::size_t> mergedInto(document.recordCount(), none); // removed record → kept record
    std::vector<std::size_t> removedIndexes;
    std::unordered_map<std::string_view, std::size_t> merges; // removed xref → its pair
    std::unordered_set<std::size_t> touched;                  // kept records whose lines changed
    std::size_t lastMerge = none;
    for (std::size_t i = 0; i < pairs.size(); ++i) {
        const std::size_t keepIndex = records.at(pairs[i].first);
        const std::size_t removeIndex = records.at(pairs[i].second);
        if (keepIndex == none || removeIndex == none || keepIndex == removeIndex ||
            mergedInto[keepIndex] != none || mergedInto[removeIndex] != none)
            continue;
        const NodeView keepRecord = document.record(keepIndex);
        const NodeView removeRecord = document.record(removeIndex);
        if (!mergeable(keepRecord, removeRecord))
            continue;

        GedcomNode kept = keepRecord.toNode();
        const std::vector<Step> steps = fold(kept, removeRecord, document.nextID);
        std::vector<std::string> lines = {"Merged " + pairs[i].second + " into " + pairs[i].first + "."};
        for (std::string& line : changeLines(steps, pairs[i].second))
            lines.push_back(std::move(line));
        merged[i] = outcomeOf(steps);
        results[i] = std::move(lines);
        if (changesKept(steps)) {
            document.replaceRecord(keepIndex, kept);
            touched.insert(keepIndex);
        }
        mergedInto[removeIndex] = keepIndex;
        removedIndexes.push_back(removeIndex);
        merges.emplace(pairs[i].second, i);
        lastMerge = i;
    }
    if (merges.empty()) {
        if (outcomes)
            *outcomes = std::move(merged);
        return results;
    }

    // Where each removed xref's links go in the end: along the chain of this batch's merges.
    std::vector<std::string_view> targets(pairs.size());
    for (const auto& [xref, pair] : merges) {
        std::string_view target = pairs[pair].first;
        for (std::size_t steps = 0; steps <= merges.size(); ++steps) {
            const auto next = merges.find(target);
            if (next == merges.end())
                break;
            target = pairs[next->second].first;
        }
        targets[pair] = target;
    }

    // Each pointer is changed in the record that holds its line now; a line that was dropped with its
    // record is not there to change.
    std::unordered_map<std::size_t, std::vector<const Link*>> changes;
    for (const Link& link : links) {
        const auto pair = merges.find(pairs[link.pair].second);
        if (pair == merges.end())
            continue;
        std::size_t holder = link.record;
        while (mergedInto[holder] != none)
            holder = mergedInto[holder];
        changes[holder].push_back(&link);
    }
    for (const auto& [index, _] : changes)
        touched.insert(index);

    std::vector<std::size_t> repointed(pairs.size(), 0);
    std::size_t repeats = 0;
    for (std::size_t index : touched) {
        if (mergedInto[index] != none)
            continue; // kept by one pair, removed by a later one
        const auto found = changes.find(index);
        if (found == changes.end() && !hasRepeatedLinks(document.record(index)))
            continue;
        GedcomNode record = document.record(index).toNode();
        bool changed = false;
        if (found != changes.end()) {
            for (const Link* link : found->second) {
                const std::size_t pair = merges.at(pairs[link->pair].second);
                if (record.update(link->node,
                                  [&](GedcomNode& node) { node.setValue(std::string(targets[pair])); })) {
                    ++repointed[pair];
                    changed = true;
                }
            }
        }
        const std::size_t dropped = dropRepeatedLinks(record);
        repeats += dropped;
        if (changed || dropped > 0)
            document.replaceRecord(index, record);
    }

    for (const auto& [xref, pair] : merges) {
        const std::size_t n = repointed[pair];
        if (n == 0)
            continue;
        const NodeView kept = document.record(records.at(targets[pair]));
        results[pair]->push_back("  " + counted(n, "link", "links") + " to " + std::string(xref) +
                                 (n == 1 ? " now points to " : " now point to ") + recordLabel(kept));
        merged[pair]->repointed = n;
    }
    if (repeats > 0)
        results[lastMerge]->push_back("  " + counted(repeats, "repeated link", "repeated links") +
                                      " removed");

    std::sort(removedIndexes.begin(), removedIndexes.end());
    document.removeRecords(removedIndexes);
    if (outcomes)
        *outcomes = std::move(merged);
    return results;
}

Outcome outcome(NodeView keep, NodeView remove)
{
    if (!mergeable(keep, remove))
        return {};
    GedcomNode kept = keep.toNode();
    std::int64_t scratchID = 0;
    return outcomeOf(fold(kept, remove, scratchID));
}

std::vector<PreviewLine> preview(NodeView keep, NodeView remove)
{
    if (!mergeable(keep, remove))
        return {};
    GedcomNode kept = keep.toNode();
    std::int64_t scratchID = 0;
    const std::vector<Step> steps = fold(kept, remove, scratchID);
    const std::string label = recordLabel(keep);
    const std::string keepXref(keep.xref().value_or("?"));
    const std::string removeXref(remove.xref().value_or("?"));

    std::vector<PreviewLine> lines;
    std::vector<PreviewLine> dropped;
    std::size_t already = 0;
    for (const Step& step : steps) {
        switch (step.kind) {
        case Step::Kind::housekeeping:
            dropped.push_back(
                {"Dropped (only described the merged record)", joined(step.lines), std::nullopt});
            break;
        case Step::Kind::alreadyThere:
            already += step.count;
            break;
        case Step::Kind::sexTakenOver:
            lines.push_back({"Added to " + label, "1 SEX " + step.keptValue, "1 SEX " + step.removedValue});
            break;
        case Step::Kind::sexConflict:
            lines.push_back({"Sex differs (" + step.keptValue + " here, " + step.removedValue +
                                 " there): kept as a note.",
                             std::nullopt, joined(step.lines)});
            break;
        case Step::Kind::added:
            lines.push_back({"Added to " + label, std::nullopt, joined(step.lines)});
            break;
        case Step::Kind::addedUnder:
            lines.push_back({"Added to " + label + " under " + step.under, std::nullopt, joined(step.lines)});
            break;
        }
    }
    if (already > 0)
        lines.push_back(
            {"Already in " + label + ": " + counted(already, "line", "lines"), std::nullopt, std::nullopt});
    lines.insert(lines.end(), dropped.begin(), dropped.end());
    lines.push_back({"Record " + removeXref + " is removed; links to it will point to " + keepXref,
                     "0 " + removeXref + " " + std::string(remove.tag()), std::nullopt});
    return lines;
}

std::vector<PreviewLine> preview(const GedcomDocument& document, std::string_view keep,
                                 std::string_view remove)
{
    const auto records = recordsByXref(document, {keep, remove});
    const std::size_t keepIndex = records.at(keep);
    const std::size_t removeIndex = records.at(remove);
    if (keepIndex == none || removeIndex == none)
        return {};
    return preview(document.record(keepIndex), document.record(removeIndex));
}

} // namespace kinloom::Merger
