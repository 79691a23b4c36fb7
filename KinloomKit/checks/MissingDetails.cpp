#include "checks/Checks.h"

#include "changes/FixApplier.h"
#include "document/Text.h"

#include <algorithm>
#include <unordered_map>

namespace kinloom::Checks {
namespace {

using Text::isBlank;

std::string quoted(std::string_view text)
{
    return "\u201C" + std::string(text) + "\u201D";
}

/// Whether a NAME value holds a name: "//" and blanks do not.
bool holdsName(std::string_view value)
{
    return std::any_of(value.begin(), value.end(), [](char c) { return !isBlank(c) && c != '/'; });
}

std::vector<std::string_view> words(std::string_view text)
{
    std::vector<std::string_view> found;
    for (std::size_t i = 0; i < text.size();) {
        while (i < text.size() && isBlank(text[i]))
            ++i;
        const std::size_t start = i;
        while (i < text.size() && !isBlank(text[i]))
            ++i;
        if (i > start)
            found.push_back(text.substr(start, i - start));
    }
    return found;
}

/// The standard letter a written sex clearly means, ignoring case and blanks.
std::optional<std::string> standardSex(std::string_view value)
{
    std::string folded;
    for (char c : value) {
        if (!isBlank(c))
            folded += (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c;
    }
    if (folded == "m" || folded == "male" || folded == "man")
        return "M";
    if (folded == "f" || folded == "female" || folded == "woman")
        return "F";
    if (folded == "u" || folded == "unknown" || folded == "?")
        return "U";
    return std::nullopt;
}

enum Role : std::uint8_t
{
    husband = 1,
    wife = 2
};

/// The sex a person's family roles point to: husband of some family and wife of none, or the
/// mirror case.
std::optional<std::string> sexByRole(std::uint8_t roles)
{
    if (roles == husband)
        return "M";
    if (roles == wife)
        return "F";
    return std::nullopt;
}

std::string roleSentence(std::uint8_t roles)
{
    if (roles == husband)
        return " The person is a husband (HUSB) in a family.";
    if (roles == wife)
        return " The person is a wife (WIFE) in a family.";
    return {};
}

/// A first name of two or more words with no slashes: the last word is offered as the surname.
void surnameNotMarked(const Person& person, std::vector<Issue>& issues)
{
    const PersonName& name = person.names.front();
    if (words(name.value).size() < 2)
        return;
    // The fix compares the whole value, continuation lines included.
    std::string value(name.value);
    for (NodeView line : person.record.children()) {
        if (line.id() == name.nodeID)
            value = line.fullValue();
    }
    const std::vector<std::string_view> parts = words(value);
    std::string marked;
    for (std::size_t i = 0; i + 1 < parts.size(); ++i)
        marked += std::string(parts[i]) + " ";
    marked += "/" + std::string(parts.back()) + "/";

    const std::string context = recordLabel(person.record) + " \u00B7 NAME";
    const std::string id = "miss-surname-" + std::string(person.xref);
    Issue& issue =
        issues.emplace_back(Issue{id,
                                  IssueCategory::missing,
                                  Severity::info,
                                  "Surname not marked",
                                  context + ": " + quoted(value) + " has no slashes around the surname.",
                                  {std::string(person.xref)}});
    issue.fix = Fix{id,
                    "Write as " + quoted(marked),
                    {Edit{Edit::SetValue{name.nodeID, value, marked}}},
                    {PreviewLine{context, value, marked}},
                    true};
}

} // namespace

std::vector<Issue> missing(const TreeIndex& index, const GedcomDocument&)
{
    // Family roles are needed only for people whose sex is missing or unknown: those few are
    // looked up while going once through the families.
    std::unordered_map<std::string_view, std::uint8_t> roles;
    for (const Person& person : index.people) {
        if (!person.sexOffset || person.sexValue() == "U")
            roles.emplace(person.xref, 0);
    }
    if (!roles.empty()) {
        for (const Family& family : index.families) {
            for (const MemberLink& link : family.links) {
                if (link.tag == "CHIL")
                    continue;
                if (const auto found = roles.find(link.target); found != roles.end())
                    found->second |= link.tag == "HUSB" ? husband : wife;
            }
        }
    }

    std::vector<Issue> issues;
    auto add = [&](const Person& person, const char* prefix, Severity severity, std::string title,
                   std::string detail) -> Issue& {
        return issues.emplace_back(Issue{prefix + std::string(person.xref),
                                         IssueCategory::missing,
                                         severity,
                                         std::move(title),
                                         std::move(detail),
                                         {std::string(person.xref)}});
    };
    for (const Person& person : index.people) {
        if (std::none_of(person.names.begin(), person.names.end(),
                         [](const PersonName& name) { return holdsName(name.value); }))
            add(person, "miss-name-", Severity::warning, "Name not recorded",
                recordLabel(person.record) + " has no name recorded.");

        if (!person.sexOffset) {
            const std::uint8_t role = roles[person.xref];
            const std::string label = recordLabel(person.record);
            Issue& issue = add(person, "miss-sex-", Severity::warning, "Sex not recorded",
                               label + " has no SEX line." + roleSentence(role));
            if (const auto sex = sexByRole(role))
                issue.fix = Fix{issue.id,
                                "Add " + quoted("SEX " + *sex),
                                {Edit{Edit::Add{std::string(person.xref), std::nullopt, "SEX", *sex}}},
                                {PreviewLine{label + " \u00B7 SEX", std::nullopt, *sex}},
                                true};
        } else if (const auto written = person.sexValue();
                   !written || (*written != "M" && *written != "F" && !(index.v7 && *written == "X"))) {
            const NodeView line = person.record.at(person.sexOffset);
            const std::string value = line.fullValue();
            const std::string context = recordLabel(person.record) + " \u00B7 SEX";
            auto setTo = [&](Issue& issue, const std::string& sex, bool review) {
                issue.fix = Fix{issue.id,
                                "Write as " + quoted(sex),
                                {Edit{Edit::SetValue{line.id(), value, sex}}},
                                {PreviewLine{context, value, sex}},
                                review};
            };
            if (value == "U") {
                const std::uint8_t role = roles[person.xref];
                Issue& issue = add(person, "miss-sexu-", Severity::info, "Sex recorded as unknown",
                                   recordLabel(person.record) + " has SEX U." + roleSentence(role));
                if (const auto sex = sexByRole(role))
                    setTo(issue, *sex, true);
            } else if (value != "M" && value != "F" && !(index.v7 && value == "X")) {
                Issue& issue = add(person, "miss-sexform-", Severity::warning, "Sex not in the standard form",
                                   context + ": " + quoted(value) + " is not " +
                                       (index.v7 ? "M, F, U or X." : "M, F or U."));
                if (const auto sex = standardSex(value))
                    setTo(issue, *sex, false);
            }
        }

        if (!person.names.empty() && person.names.front().value.find('/') == std::string_view::npos)
            surnameNotMarked(person, issues);
    }
    return issues;
}

} // namespace kinloom::Checks
