// SPDX-License-Identifier: GPL-3.0-or-later
#include "changes/FixApplier.h"
#include "checks/Scanner.h"
#include "document/GedcomReader.h"
#include "family/TreeIndex.h"
#include "sample/SampleTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

using namespace kinloom;

namespace {

using Xrefs = std::map<std::string, std::string, std::less<>>;

/// Where a merged record's links point in the end: along the chain of merges.
std::string finalXref(const Xrefs& mergedInto, std::string xref)
{
    for (auto next = mergedInto.find(xref); next != mergedInto.end(); next = mergedInto.find(xref))
        xref = next->second;
    return xref;
}

bool isHousekeeping(NodeView line)
{
    return line.tag() == "CHAN" || line.tag() == "RIN";
}

/// Whether `line` and all below it that is not housekeeping are among `parent`'s lines: the same
/// tags and values, a pointer read as where it points now, each sub-line below the same line.
bool foundIn(NodeView line, NodeView parent, const Xrefs& mergedInto)
{
    std::optional<std::string> value(line.value());
    if (value && TreeIndex::isPointer(*value))
        value = finalXref(mergedInto, *value);
    for (NodeView kept : parent.children()) {
        if (kept.tag() != line.tag() || kept.value() != value)
            continue;
        bool all = true;
        for (NodeView child : line.children())
            all = all && (isHousekeeping(child) || foundIn(child, kept, mergedInto));
        if (all)
            return true;
    }
    return false;
}

/// The first line anywhere in the document that holds two DATE or two PLAC lines.
std::optional<std::string> lineWithTwoDetails(const GedcomDocument& document)
{
    std::optional<std::string> found;
    for (NodeView record : document.records()) {
        record.walk([&](NodeView line) {
            std::size_t dates = 0, places = 0;
            for (NodeView child : line.children()) {
                dates += child.tag() == "DATE";
                places += child.tag() == "PLAC";
            }
            if (!found && (dates > 1 || places > 1))
                found = std::string(record.xref().value_or("?")) + " " + std::string(line.tag());
        });
    }
    return found;
}

/// A synthetic tree with more for a merge to keep: a citation under each planted copy's SEX line,
/// and every seventh family of a couple written a second time with a cited marriage and a note.
std::string withMoreToKeep(const SampleTree::SyntheticTree& tree)
{
    std::set<std::string, std::less<>> copies;
    for (const SampleTree::DuplicatePair& pair : tree.duplicates)
        copies.insert(pair.copy);
    std::string text;
    std::size_t couples = 0;
    for (std::size_t from = 0; from < tree.text.size();) {
        const std::size_t next = std::min(tree.text.find("\n0 ", from), tree.text.size() - 1) + 1;
        std::string record = tree.text.substr(from, next - from);
        from = next;
        const std::string_view head = std::string_view(record).substr(0, record.find('\n'));
        const std::string_view xref = head.substr(2, head.find(' ', 2) - 2);
        const std::size_t sex = record.find("\n1 SEX ");
        if (head.ends_with(" INDI") && copies.contains(xref) && sex != std::string::npos)
            record.insert(record.find('\n', sex + 1) + 1, "2 SOUR @S1@\n3 PAGE entry 12\n");
        text += record;
        if (!head.ends_with(" FAM") || record.find("\n1 HUSB ") == std::string::npos ||
            record.find("\n1 WIFE ") == std::string::npos || couples++ % 7 != 0)
            continue;
        std::string copy = "0 @F" + std::to_string(900000 + couples) + "@ FAM" + record.substr(head.size());
        if (const std::size_t marriage = copy.find("\n1 MARR\n"); marriage != std::string::npos)
            copy.insert(marriage + 8, "2 SOUR @S1@\n3 PAGE entry 7\n");
        text += copy + "1 NOTE Written twice\n";
    }
    return text;
}

std::map<std::string, NodeView, std::less<>> recordsByXref(const GedcomDocument& document)
{
    std::map<std::string, NodeView, std::less<>> records;
    for (NodeView record : document.records()) {
        if (record.xref())
            records.emplace(*record.xref(), record);
    }
    return records;
}

} // namespace

// Scan a tree, merge every duplicate found (people and families) until no more are found, and each
// line that a removed record held, housekeeping aside, is in the record it was merged into, below
// the same lines; and no line ends up with two dates or two places.
TEST(MergeKeepsFactsTest, EveryFactOfARemovedRecordIsInTheKeptOne)
{
    for (const std::uint64_t seed : {1u, 2u, 3u}) {
        SCOPED_TRACE(seed);
        GedcomDocument document = GedcomReader::read(withMoreToKeep(SampleTree::syntheticTree(400, seed)));
        ASSERT_EQ(lineWithTwoDetails(document), std::nullopt);

        // Merging people can make two families one couple's, so merging goes on while it finds more.
        Xrefs mergedInto;
        std::vector<GedcomDocument> rounds; // each round's document before it merged
        std::vector<std::pair<std::size_t, std::string>> removed;
        std::size_t families = 0;
        for (int round = 0; round < 4; ++round) {
            std::vector<Fix> merges;
            for (const Issue& issue : Scanner::scan(document).issues) {
                if (issue.category == IssueCategory::duplicates && issue.fix)
                    merges.push_back(*issue.fix);
            }
            if (merges.empty())
                break;
            ApplyResult result = FixApplier::apply(merges, document, 1);
            for (const ChangeEntry& entry : result.entries) {
                const auto fix = std::find_if(merges.begin(), merges.end(),
                                              [&](const Fix& merge) { return merge.id == entry.fixID; });
                ASSERT_NE(fix, merges.end());
                const auto& merge = std::get<Edit::Merge>(fix->edits.front().value);
                mergedInto.emplace(merge.remove, merge.keep);
                removed.emplace_back(rounds.size(), merge.remove);
                families += merge.remove.starts_with("@F");
            }
            rounds.push_back(std::move(document));
            document = std::move(result.document);
        }
        EXPECT_GT(removed.size(), 10u);
        EXPECT_GT(families, 0u);

        std::vector<std::map<std::string, NodeView, std::less<>>> before;
        for (const GedcomDocument& round : rounds)
            before.push_back(recordsByXref(round));
        const auto after = recordsByXref(document);
        for (const auto& [round, xref] : removed) {
            const NodeView gone = before[round].at(xref);
            const auto kept = after.find(finalXref(mergedInto, xref));
            ASSERT_NE(kept, after.end()) << xref;
            for (NodeView line : gone.children()) {
                EXPECT_TRUE(isHousekeeping(line) || foundIn(line, kept->second, mergedInto))
                    << xref << " into " << kept->first << ": " << line.lines(1).front();
            }
        }
        EXPECT_EQ(lineWithTwoDetails(document), std::nullopt);
    }
}
