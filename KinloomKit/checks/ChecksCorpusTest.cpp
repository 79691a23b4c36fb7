// SPDX-License-Identifier: GPL-3.0-or-later
// The findings of every check on real trees of the corpus folder (../shared/corpus or
// KINLOOM_CORPUS; without it the test skips itself), held to JudgedFindings.tsv: findings sampled
// from every kind on several trees, each judged by reading the records and their families and by
// running its fix. A finding judged WRONG stays gone, a fix judged to lose data or change meaning
// is never offered again, and nearly every finding judged RIGHT is still reported.
#include "checks/Scanner.h"
#include "document/Files.h"
#include "document/GedcomReader.h"
#include "sample/Corpus.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <set>

using namespace kinloom;

namespace {

/// One row of the table: a finding as it was reported, the verdict, and for BADFIX the edit that
/// was judged harmful, written "from → to" (an empty "to" removes the line).
struct Judged
{
    std::string file, id, verdict, badEdit, reason;
};

std::vector<Judged> judgedFindings()
{
    std::vector<Judged> rows;
    for (std::vector<std::string>& f : Corpus::rows(KINLOOM_JUDGED_FINDINGS, 5))
        rows.push_back({std::move(f[0]), std::move(f[1]), std::move(f[2]), std::move(f[3]), std::move(f[4])});
    return rows;
}

std::string trimmed(std::string_view text)
{
    const auto begin = text.find_first_not_of(' ');
    if (begin == std::string_view::npos)
        return {};
    return std::string(text.substr(begin, text.find_last_not_of(' ') - begin + 1));
}

/// Every edit of every fix, written as the table writes a harmful one.
std::set<std::string> editsOf(const std::vector<Issue>& issues, const GedcomDocument& document)
{
    const std::string arrow = " \u2192 ";
    std::set<std::string> edits;
    for (const Issue& issue : issues) {
        if (!issue.fix)
            continue;
        for (const Edit& edit : issue.fix->edits) {
            if (const auto* set = std::get_if<Edit::SetValue>(&edit.value)) {
                edits.insert(trimmed(set->from.value_or("")) + arrow + set->to.value_or(""));
            } else if (const auto* remove = std::get_if<Edit::Remove>(&edit.value)) {
                if (const auto node = document.find(remove->node))
                    edits.insert(trimmed(node->value().value_or("")) + arrow);
            }
        }
    }
    return edits;
}

TEST(ChecksCorpus, JudgedFindingsStayAsJudged)
{
    const std::filesystem::path folder = Corpus::folder();
    if (!std::filesystem::is_directory(folder))
        GTEST_SKIP() << "no corpus at " << folder;
    std::map<std::string, std::vector<Judged>> byFile;
    for (Judged& row : judgedFindings())
        byFile[row.file].push_back(std::move(row));
    ASSERT_GE(byFile.size(), 5u);
    int right = 0, rightReported = 0;
    for (const auto& [file, rows] : byFile) {
        SCOPED_TRACE(file);
        std::string error;
        const std::optional<std::string> bytes = Files::readFile((folder / file).string(), error);
        ASSERT_TRUE(bytes) << error;
        const GedcomDocument document = GedcomReader::read(*bytes);
        const ScanResult result = Scanner::scan(document);
        std::set<std::string> ids;
        for (const Issue& issue : result.issues)
            ids.insert(issue.id);
        const std::set<std::string> edits = editsOf(result.issues, document);
        for (const Judged& row : rows) {
            if (row.verdict == "WRONG")
                EXPECT_FALSE(ids.contains(row.id)) << row.id << ": " << row.reason;
            else if (row.verdict == "BADFIX")
                EXPECT_FALSE(edits.contains(row.badEdit))
                    << row.id << " " << row.badEdit << ": " << row.reason;
            else if (row.verdict == "RIGHT")
                ++right, rightReported += ids.contains(row.id);
        }
    }
    // Findings change their words and ids as the checks grow; most of those judged right stay.
    EXPECT_GE(rightReported, right * 95 / 100) << rightReported << " of " << right;
}

} // namespace
