#include "KinloomKit/Report.h"

#include <ctime>

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

} // namespace kinloom::Report
