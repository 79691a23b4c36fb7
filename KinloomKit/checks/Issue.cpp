// SPDX-License-Identifier: GPL-3.0-or-later
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

namespace {

using enum IssueCategory;
constexpr std::array<FindingKind, 59> findingKinds{{
    {"dup", duplicates, "The same person twice"},
    {"dupfam", duplicates, "Same couple, two families"},
    {"imp-order", impossibleDates, "Born after their child"},
    {"imp-afterdeath", impossibleDates, "Born after a parent died"},
    {"imp-young", impossibleDates, "Parent too young"},
    {"imp-old", impossibleDates, "Parent very old at birth"},
    {"imp-death", impossibleDates, "Died before being born"},
    {"imp-chr", impossibleDates, "Christened before being born"},
    {"imp-buried", impossibleDates, "Buried before being born"},
    {"imp-burial", impossibleDates, "Buried before dying"},
    {"imp-age", impossibleDates, "Lived too long"},
    {"imp-marrborn", impossibleDates, "Married before being born"},
    {"imp-marrdied", impossibleDates, "Married after dying"},
    {"imp-marryoung", impossibleDates, "Married very young"},
    {"imp-siblings", impossibleDates, "Siblings born too close together"},
    {"imp-spousegap", impossibleDates, "Spouses born far apart"},
    {"imp-childspan", impossibleDates, "Children born far apart"},
    {"imp-alive", impossibleDates, "Probably no longer alive"},
    {"date", dateFormats, "Date not in the standard form"},
    {"date-century", dateFormats, "Year written with two digits"},
    {"date-reversed", dateFormats, "Date range that ends before it starts"},
    {"date-styles", dateFormats, "Dates written several ways", true},
    {"date-chan", dateFormats, "Change dates written in another form", true},
    {"place", places, "Place spelled several ways"},
    {"place-alike", places, "Place likely spelled several ways"},
    {"place-which", places, "Place that fits several fuller places"},
    {"place-space", places, "Extra spaces in a place name"},
    {"place-date", places, "Place that looks like a date"},
    {"miss-name", missing, "Name not recorded"},
    {"miss-surname", missing, "Surname not marked"},
    {"miss-sex", missing, "Sex not recorded"},
    {"miss-sexform", missing, "Sex not in the standard form"},
    {"miss-sexu", missing, "Sex recorded as unknown"},
    {"miss-role", missing, "Husband or wife of the other sex"},
    {"miss-marname", missing, "Wife recorded under her husband\u2019s surname"},
    {"miss-title", missing, "Title written in the name"},
    {"miss-husbandname", missing, "Named after her husband"},
    {"link-missing", links, "Link to a missing record"},
    {"link-kind", links, "Link to the wrong kind of record"},
    {"link-oneway", links, "One-way family link"},
    {"link-repeat", links, "Same link twice"},
    {"link-dupid", links, "Two records share one ID"},
    {"link-emptyfam", links, "Family with no members"},
    {"link-alone", links, "Not linked to any family"},
    {"link-unused", links, "Record not used anywhere"},
    {"file-read", file, "How the file was read"},
    {"file-nohead", file, "No header", true},
    {"file-line", file, "Unreadable line kept as is"},
    {"struct-header", file, "Header parts missing", true},
    {"struct-spaces", file, "Extra spaces between the parts of a line"},
    {"struct-long", file, "Lines longer than 255 characters"},
    {"struct-cont", file, "Continuation lines under a tag that takes no text"},
    {"struct-misplaced", file, "Tag where the standard does not allow it"},
    {"struct-unknown", file, "Tag the standard does not know"},
    {"struct-pointer", file, "Text where a link belongs"},
    {"struct-target", file, "Link to a record of another kind"},
    {"struct-value", file, "Text on a tag that takes none"},
    {"struct-enum", file, "Value not among the standard\u2019s choices"},
    {"struct-required", file, "Required part missing"},
}};

} // namespace

std::span<const FindingKind> allFindingKinds()
{
    return findingKinds;
}

std::string_view kindOf(std::string_view issueID)
{
    std::string_view best;
    for (const FindingKind& kind : findingKinds) {
        // A place group's id is its key after "place-", and a key can be "date" or "space": only
        // a kind of one finding is its id whole.
        if (kind.id.size() > best.size() && issueID.starts_with(kind.id) &&
            (issueID.size() == kind.id.size() ? kind.whole : issueID[kind.id.size()] == '-'))
            best = kind.id;
    }
    return best;
}

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
