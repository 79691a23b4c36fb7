#include "checks/Issue.h"

namespace kinloom {
namespace {

struct CategoryNames
{
    std::string_view raw;
    std::string_view title;
};

constexpr std::array<CategoryNames, allIssueCategories.size()> categoryNames{{
    {"duplicates", "Likely duplicates"},
    {"impossibleDates", "Impossible dates"},
    {"dateFormats", "Date formats"},
    {"places", "Place names"},
    {"missing", "Missing details"},
    {"links", "Broken links"},
    {"file", "File"},
}};

} // namespace

std::string_view title(IssueCategory category)
{
    return categoryNames[static_cast<std::size_t>(category)].title;
}

std::string_view rawValue(IssueCategory category)
{
    return categoryNames[static_cast<std::size_t>(category)].raw;
}

std::optional<IssueCategory> issueCategoryFromRawValue(std::string_view raw)
{
    for (IssueCategory category : allIssueCategories) {
        if (rawValue(category) == raw)
            return category;
    }
    return std::nullopt;
}

std::string_view title(Severity severity)
{
    switch (severity) {
    case Severity::info:
        return "Note";
    case Severity::warning:
        return "Warning";
    case Severity::error:
        return "Error";
    }
    return {};
}

std::optional<Severity> severityFromRawValue(int raw)
{
    if (raw < 0 || raw > 2)
        return std::nullopt;
    return static_cast<Severity>(raw);
}

std::string_view DuplicateMatch::likelihood() const
{
    if (score >= 0.9)
        return "Very likely";
    if (score >= 0.8)
        return "Likely";
    return "Possible";
}

} // namespace kinloom
