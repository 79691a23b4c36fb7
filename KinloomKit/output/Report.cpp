// SPDX-License-Identifier: GPL-3.0-or-later
#include "output/Report.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <span>

namespace kinloom::Report {
namespace {

std::string joinLines(const std::vector<std::string>& lines)
{
    std::string text;
    for (const std::string& line : lines) {
        text += line;
        text += '\n';
    }
    return text;
}

/// "1 change", "2 changes": the singular only for exactly one.
std::string counted(std::size_t count, const std::string& singular, const std::string& plural)
{
    return std::to_string(count) + " " + (count == 1 ? singular : plural);
}

/// The distinct places behind the place names: " (229 spellings of 180 places)".
std::string placeCount(const TreeStats& stats)
{
    if (!stats.placeSpellings || !stats.distinctPlaces || stats.places == 0)
        return {};
    return " (" + counted(*stats.placeSpellings, "spelling", "spellings") + " of " +
           counted(*stats.distinctPlaces, "place", "places") + ")";
}

/// Adds a text that may run over several lines, each indented.
void addIndented(std::vector<std::string>& lines, const std::string& text, const std::string& indent)
{
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        lines.push_back(indent + text.substr(start, end - start));
        start = end + 1;
    }
}

/// The findings of one kind within a category.
struct KindGroup
{
    std::string_view kind;
    std::string_view title;             ///< the kind's general title
    Severity severity = Severity::info; ///< of its most severe finding
    std::vector<const Issue*> issues;
};

/// A category's findings by kind: errors first, then warnings, then notes, kinds of equal severity
/// in the order of the kinds. A finding of no known kind makes a group under its own title.
std::vector<KindGroup> kindGroups(const std::vector<Issue>& issues, IssueCategory category)
{
    const std::span<const FindingKind> kinds = allFindingKinds();
    const auto position = [&](std::string_view kind) {
        return std::find_if(kinds.begin(), kinds.end(),
                            [&](const FindingKind& known) { return known.id == kind; });
    };
    std::vector<KindGroup> groups;
    for (const Issue& issue : issues) {
        if (issue.category != category)
            continue;
        const std::string_view kind = kindOf(issue.id);
        const std::string_view title = kind.empty() ? std::string_view(issue.title) : position(kind)->title;
        auto group = std::find_if(groups.begin(), groups.end(), [&](const KindGroup& found) {
            return found.kind == kind && found.title == title;
        });
        if (group == groups.end())
            group = groups.insert(groups.end(), KindGroup{kind, title, issue.severity, {}});
        group->severity = std::max(group->severity, issue.severity);
        group->issues.push_back(&issue);
    }
    std::stable_sort(groups.begin(), groups.end(), [&](const KindGroup& a, const KindGroup& b) {
        return a.severity != b.severity ? a.severity > b.severity : position(a.kind) < position(b.kind);
    });
    return groups;
}

/// "11 errors, 21 warnings, 3 notes": the groups' findings by severity, most severe first, leaving
/// out the severities that have none.
std::string severityCounts(std::span<const KindGroup> groups)
{
    std::array<std::size_t, allSeverities.size()> counts{};
    for (const KindGroup& group : groups) {
        for (const Issue* issue : group.issues)
            ++counts[std::size_t(issue->severity)];
    }
    static constexpr std::array<std::pair<const char*, const char*>, allSeverities.size()> names = {
        {{"note", "notes"}, {"warning", "warnings"}, {"error", "errors"}}};
    std::string text;
    for (std::size_t severity = counts.size(); severity-- > 0;) {
        if (counts[severity] > 0)
            text += (text.empty() ? "" : ", ") +
                    counted(counts[severity], names[severity].first, names[severity].second);
    }
    return text;
}

} // namespace

std::string formatDate(std::chrono::system_clock::time_point date)
{
    static const char* const months[] = {"January",   "February", "March",    "April",
                                         "May",       "June",     "July",     "August",
                                         "September", "October",  "November", "December"};
    const std::time_t time = std::chrono::system_clock::to_time_t(date);
    std::tm local{};
    localtime_r(&time, &local);
    char clock[8];
    std::snprintf(clock, sizeof clock, "%02d:%02d", local.tm_hour % 24, local.tm_min % 60);
    return std::to_string(local.tm_mday) + " " + months[local.tm_mon % 12] + " " +
           std::to_string(local.tm_year + 1900) + ", " + clock;
}

std::string changeLogText(const std::vector<ChangeEntry>& entries, const std::string& originalName,
                          const std::string& copyName, std::chrono::system_clock::time_point saveDate,
                          const std::optional<std::string>& note)
{
    std::vector<std::string> lines = {
        "# Kinloom change log",
        "Original: " + originalName + " (not changed)",
        "Cleaned copy: " + copyName,
        "Saved " + formatDate(saveDate) + ". " + counted(entries.size(), "change", "changes") + ".",
    };
    if (note)
        lines.push_back(*note);
    if (entries.empty()) {
        lines.emplace_back();
        lines.emplace_back("No changes: the copy has the same content as the original.");
    }
    for (const ChangeEntry& entry : entries) {
        lines.emplace_back();
        lines.push_back("## " + std::to_string(entry.id) + ". " + entry.title);
        for (const std::string& line : entry.lines)
            lines.push_back("    " + line);
    }
    return joinLines(lines);
}

// Findings report layout, in step with the change log: the summary, one line per category and one
// indented line per kind with their findings by severity; then an empty line before every "## " heading
// (the category's title and its number of findings) and every "### " heading (a kind's general
// title and its number of findings); under a kind, each issue is an empty line then
// "Severity: title", with its detail and its fix indented by two blanks beneath it so that a long
// report still reads issue by issue. Findings keep the scanner's order within their kind.
std::string reportText(const ScanResult& result, const std::string& fileName,
                       std::chrono::system_clock::time_point scanDate, std::size_t hidden)
{
    const TreeStats& stats = result.stats;
    std::size_t errors = 0, warnings = 0, notes = 0, fixable = 0;
    for (const Issue& issue : result.issues) {
        switch (issue.severity) {
        case Severity::error:
            ++errors;
            break;
        case Severity::warning:
            ++warnings;
            break;
        case Severity::info:
            ++notes;
            break;
        }
        if (issue.fix)
            ++fixable;
    }

    std::vector<std::string> lines = {
        "# Kinloom report: " + fileName,
        "Scanned " + formatDate(scanDate) + ". " + stats.version + ", " + stats.encoding + ", " +
            std::to_string(stats.lines) + " lines.",
        counted(stats.people, "person", "people") + ", " + counted(stats.families, "family", "families") +
            ", " + counted(stats.sources, "source", "sources") + ", " +
            counted(stats.dates, "date", "dates") + ", " +
            counted(stats.places, "place name", "place names") + placeCount(stats) + ".",
        "Found " + counted(errors, "error", "errors") + ", " + counted(warnings, "warning", "warnings") +
            " and " + counted(notes, "note", "notes") + "; " + std::to_string(fixable) +
            " can be fixed by Kinloom.",
    };

    std::vector<std::pair<IssueCategory, std::vector<KindGroup>>> sections;
    for (const IssueCategory category : allIssueCategories) {
        std::vector<KindGroup> groups = kindGroups(result.issues, category);
        if (!groups.empty())
            sections.emplace_back(category, std::move(groups));
    }
    if (sections.empty()) {
        lines.emplace_back();
        lines.emplace_back("No problems found.");
    } else {
        // The summary names each category as its section's heading does, so that a PDF can give
        // the page each section starts on.
        lines.emplace_back();
        lines.emplace_back("## Summary");
        for (const auto& [category, groups] : sections) {
            lines.push_back(std::string(title(category)) + ": " + severityCounts(groups));
            for (const KindGroup& group : groups)
                lines.push_back("  " + std::string(group.title) + ": " + severityCounts({&group, 1}));
        }
    }
    for (const auto& [category, groups] : sections) {
        std::size_t count = 0;
        for (const KindGroup& group : groups)
            count += group.issues.size();
        lines.emplace_back();
        lines.push_back("## " + std::string(title(category)) + " (" + std::to_string(count) + ")");
        for (const KindGroup& group : groups) {
            lines.emplace_back();
            lines.push_back("### " + std::string(group.title) + " (" + std::to_string(group.issues.size()) +
                            ")");
            for (const Issue* issue : group.issues) {
                lines.emplace_back();
                lines.push_back(std::string(title(issue->severity)) + ": " + issue->title);
                if (!issue->detail.empty())
                    addIndented(lines, issue->detail, "  ");
                if (issue->fix)
                    lines.push_back("  Fix: " + issue->fix->title +
                                    (issue->fix->needsReview ? " (check before applying)" : ""));
            }
        }
    }
    if (hidden > 0) {
        lines.emplace_back();
        lines.push_back(counted(hidden, "finding", "findings") + " hidden by earlier decisions " +
                        (hidden == 1 ? "is" : "are") + " not listed.");
    }

    lines.emplace_back();
    lines.emplace_back("This report was made on this computer by Kinloom; the file was not changed or sent "
                       "anywhere.");
    return joinLines(lines);
}

} // namespace kinloom::Report
