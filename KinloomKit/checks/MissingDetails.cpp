// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Checks.h"

#include "changes/FixApplier.h"
#include "checks/NameWords.h"
#include "document/Text.h"

#include <algorithm>
#include <initializer_list>
#include <span>
#include <unordered_map>

namespace kinloom::Checks {
namespace {

using Text::isBlank;
using Text::quoted;

/// Whether a NAME value holds a name: "//" and blanks do not.
bool holdsName(std::string_view value)
{
    return std::any_of(value.begin(), value.end(), [](char c) { return !isBlank(c) && c != '/'; });
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

/// Whether the person died within a year of birth, by every reading of the dates, or is recorded as
/// stillborn or dead in infancy (a death DATE or AGE "STILLBORN", "INFANT").
bool diedAnInfant(const Person& person)
{
    const LifeFacts facts(person);
    // Unknown bounds are NaN, which no comparison passes.
    if (facts.birth && facts.death && facts.death->high - facts.birth->low <= 1.0)
        return true;
    for (const EventFact& event : person.events) {
        if (event.tag() != "DEAT")
            continue;
        for (NodeView part : event.node.children()) {
            if (part.tag() != "DATE" && part.tag() != "AGE")
                continue;
            for (const std::string& word : NameWords::words(part.value().value_or(std::string_view()))) {
                if (word == "stillborn" || word == "stillbirth" || word == "infant" || word == "infancy")
                    return true;
            }
        }
    }
    return false;
}

/// Whether SEX U is the honest value: for a child who died before anyone knew, or one the tree does
/// not name ("Infant", "LIVING", "?").
bool unknownIsHonest(const Person& person)
{
    return (!person.names.empty() && NameWords::isPlaceholderName(person.names.front().given())) ||
           diedAnInfant(person);
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
    if (Text::words(name.value).size() < 2)
        return;
    // The fix compares the whole value, continuation lines included.
    std::string value(name.value);
    for (NodeView line : person.record.children()) {
        if (line.id() == name.nodeID)
            value = line.fullValue();
    }
    const std::vector<std::string_view> parts = Text::words(value);
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

/// A title at the start of a given name, as written ("Mrs.") and as compared ("mrs").
struct LeadingTitle
{
    std::string_view written;
    std::string word;
};

std::optional<LeadingTitle> leadingTitle(std::string_view given)
{
    const std::string_view token = given.substr(0, std::min(given.find_first_of(" \t"), given.size()));
    std::string_view bare = token;
    if (bare.ends_with('.'))
        bare.remove_suffix(1);
    // Titles are short words of letters; most given names fail here without folding.
    if (bare.empty() || bare.size() > 10)
        return std::nullopt;
    std::string lower;
    for (const char c : bare) {
        if (c >= 'A' && c <= 'Z')
            lower += static_cast<char>(c - 'A' + 'a');
        else if (c >= 'a' && c <= 'z')
            lower += c;
        else if (static_cast<unsigned char>(c) < 0x80)
            return std::nullopt;
        else {
            std::vector<std::string> folded = NameWords::words(bare);
            if (folded.size() != 1)
                return std::nullopt;
            lower = std::move(folded.front());
            break;
        }
    }
    if (!NameWords::isTitle(lower))
        return std::nullopt;
    return LeadingTitle{token, std::move(lower)};
}

/// The first word of a given name as compared: "adalbertus" for "Adalbertus Jan".
std::string firstWord(std::string_view given)
{
    const std::vector<std::string> folded =
        NameWords::words(given.substr(0, std::min(given.find_first_of(" \t"), given.size())));
    return folded.empty() ? std::string() : folded.front();
}

/// What follows a married woman's title in a given name ("Adalbertus" in "Mrs. Adalbertus"), as
/// written; empty when nothing does or the title is another.
std::string_view afterWifeTitle(std::string_view given, const LeadingTitle& title)
{
    return NameWords::isWifeTitle(title.word) ? Text::trimmed(given.substr(title.written.size()))
                                              : std::string_view();
}

/// How many men and women of the tree have a given name as the first of their first NAME.
struct Bearers
{
    int men = 0;
    int women = 0;
};

/// The given names that follow a married woman's title anywhere in the tree ("Mrs. Adalbertus"),
/// with their bearers. Empty in most trees, which then are not counted at all.
std::unordered_map<std::string, Bearers> givenNamesAfterWifeTitles(const TreeIndex& index)
{
    std::unordered_map<std::string, Bearers> found;
    for (const Person& person : index.people) {
        for (const PersonName& name : person.names) {
            if (const auto title = leadingTitle(name.given())) {
                if (std::string word = firstWord(afterWifeTitle(name.given(), *title)); !word.empty())
                    found.try_emplace(std::move(word));
            }
        }
    }
    if (found.empty())
        return found;
    for (const Person& person : index.people) {
        if (person.names.empty())
            continue;
        const auto at = found.find(firstWord(person.names.front().given()));
        if (at == found.end())
            continue;
        const auto sex = person.sex();
        if (sex == "M")
            ++at->second.men;
        else if (sex == "F")
            ++at->second.women;
    }
    return found;
}

/// Whether a husband of the person has `word` as the first of his given names.
bool husbandCalled(const TreeIndex& index, const Person& wife, std::string_view word)
{
    for (const FamilyLink& link : wife.fams) {
        const Family* family = index.family(link.family);
        const Person* husband = family && family->husband ? index.person(*family->husband) : nullptr;
        if (husband && husband != &wife &&
            std::any_of(husband->names.begin(), husband->names.end(),
                        [&](const PersonName& name) { return firstWord(name.given()) == word; }))
            return true;
    }
    return false;
}

/// Whether a NAME's TYPE makes it a name the person was also known by, which is no place for
/// a prefix: aka, "also known as", a nickname.
bool isAlsoKnownAs(NodeView name)
{
    for (NodeView part : name.children()) {
        if (part.tag() != "TYPE")
            continue;
        std::string joined;
        for (const std::string& word : NameWords::words(part.fullValue()))
            joined += word;
        return joined == "aka" || joined == "alsoknownas" || joined == "alias" || joined == "nickname" ||
               joined == "nick";
    }
    return false;
}

/// The text with `title` and the blanks after it taken out, or none when it does not hold it.
std::optional<std::string> withoutTitle(const std::string& text, std::string_view title)
{
    const std::size_t at = text.find(title);
    if (at == std::string::npos)
        return std::nullopt;
    std::string without = text.substr(0, at);
    if (const std::size_t rest = text.find_first_not_of(" \t", at + title.size()); rest != std::string::npos)
        without += text.substr(rest);
    return without;
}

/// The fix that moves a title to the name's prefix (NPFX), taking it from the given-name part
/// (GIVN) too when that begins with it.
Fix titleToPrefix(const Person& person, NodeView line, std::string_view title, const std::string& value,
                  const std::string& without, const std::string& context)
{
    const std::string id = "miss-title-" + std::string(person.xref);
    Fix fix{id,
            "Write as " + quoted(without) + " with the prefix " + quoted(title),
            {Edit{Edit::SetValue{line.id(), value, without}}},
            {PreviewLine{context, value, without}},
            true};
    for (NodeView part : line.children()) {
        if (part.tag() != "GIVN")
            continue;
        const std::string given = part.fullValue();
        const auto leading = leadingTitle(Text::trimmed(given));
        if (!leading || leading->written != title)
            continue;
        const std::optional<std::string> rest = withoutTitle(given, title);
        if (!rest)
            continue;
        if (Text::trimmed(*rest).empty())
            fix.edits.emplace_back(Edit::Remove{part.id()});
        else
            fix.edits.emplace_back(Edit::SetValue{part.id(), given, *rest});
        fix.preview.push_back(
            {context + " GIVN", given, Text::trimmed(*rest).empty() ? std::nullopt : std::optional(*rest)});
    }
    fix.edits.emplace_back(
        Edit::Add{std::string(person.xref), line.id(), "NPFX", std::string(title), std::nullopt});
    fix.preview.push_back({context + " NPFX", std::nullopt, std::string(title)});
    return fix;
}

/// A NAME whose given part begins with a title. The title moves to the name's prefix (NPFX),
/// unless it may be a given name ("Colonel"), or it is a married woman's before a man's given name
/// ("Mrs. Adalbertus"), which names her after her husband.
void titleInName(const TreeIndex& index, const Person& person,
                 const std::unordered_map<std::string, Bearers>& bearers, std::vector<Issue>& issues)
{
    for (const PersonName& name : person.names) {
        const auto title = leadingTitle(name.given());
        if (!title)
            continue;
        std::optional<NodeView> line;
        for (NodeView child : person.record.children()) {
            if (child.id() == name.nodeID)
                line = child;
        }
        if (!line)
            return;
        if (isAlsoKnownAs(*line))
            continue;
        const std::string value = line->fullValue();
        const std::optional<std::string> without = withoutTitle(value, title->written);
        if (!without)
            return;

        const std::string label = recordLabel(person.record);
        const std::string context = label + " \u00B7 NAME";
        const std::vector<std::string> records{std::string(person.xref)};
        // A man's given name is one her husband bears, or one that men of the tree bear and no
        // woman does; when the tree does not tell, the title is taken as a title.
        const std::string_view after = afterWifeTitle(name.given(), *title);
        if (const std::string word = firstWord(after); !word.empty()) {
            const bool husbands = husbandCalled(index, person, word);
            const auto found = bearers.find(word);
            if (husbands || (found != bearers.end() && found->second.men >= 2 && found->second.women == 0)) {
                const std::string_view given =
                    after.substr(0, std::min(after.find_first_of(" \t"), after.size()));
                issues.push_back({"miss-husbandname-" + std::string(person.xref), IssueCategory::missing,
                                  Severity::info, "Named after her husband",
                                  context + ": " + quoted(value) + " names her after her husband: " +
                                      quoted(given) + " is a man\u2019s given name" +
                                      (husbands ? ", her husband\u2019s." : " in this tree.") +
                                      " Her own given name is not written in this NAME.",
                                  records});
                return;
            }
        }
        if (!title->written.ends_with('.') && NameWords::isAlsoGivenName(title->word)) {
            issues.push_back({"miss-title-" + std::string(person.xref), IssueCategory::missing,
                              Severity::info, "Title written in the name",
                              context + ": " + quoted(value) + " begins with " + quoted(title->written) +
                                  ", a title that was also given as a first name. If it is a title here, "
                                  "GEDCOM keeps it apart as the name prefix (NPFX); if it is a given name, "
                                  "nothing needs to change.",
                              records});
            return;
        }
        Issue& issue = issues.emplace_back(
            Issue{"miss-title-" + std::string(person.xref), IssueCategory::missing, Severity::info,
                  "Title written in the name",
                  context + ": " + quoted(value) + " begins with the title " + quoted(title->written) +
                      ", which GEDCOM keeps apart as the name prefix (NPFX).",
                  records});
        issue.fix = titleToPrefix(person, *line, title->written, value, *without, context);
        return;
    }
}

/// A surname as compared: folded, and nothing when it is a placeholder ("Unknown", "LIVING").
std::string comparedSurname(const PersonName& name)
{
    if (!name.surname() || NameWords::isPlaceholderName(*name.surname()))
        return {};
    std::string joined;
    for (const std::string& word : NameWords::words(*name.surname()))
        joined += (joined.empty() ? "" : " ") + word;
    return joined;
}

/// Whether two surnames can fold to the same: most couples' differ in their first letter already,
/// which spares folding them.
bool maySurnamesMatch(std::string_view one, std::string_view other)
{
    const auto first = [](std::string_view text) {
        const auto at = std::find_if(text.begin(), text.end(), [](char c) {
            return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                   static_cast<unsigned char>(c) >= 0x80;
        });
        return at == text.end() ? '\0' : static_cast<char>(*at | 0x20);
    };
    const char a = first(one), b = first(other);
    return a == b || static_cast<unsigned char>(a) >= 0x80 || static_cast<unsigned char>(b) >= 0x80;
}

const PersonName* firstSurnamed(const Person& person)
{
    for (const PersonName& name : person.names) {
        if (name.surname())
            return &name;
    }
    return nullptr;
}

/// Whether a parent of the person has `surname` in some NAME: a wife born with her husband's
/// surname carries it from them.
bool parentCalled(const TreeIndex& index, const Person& child, std::string_view surname)
{
    for (const FamilyLink& link : child.famc) {
        const Family* family = index.family(link.family);
        if (!family)
            continue;
        for (const auto& xref : {family->husband, family->wife}) {
            const Person* parent = xref ? index.person(*xref) : nullptr;
            if (parent &&
                std::any_of(parent->names.begin(), parent->names.end(),
                            [&](const PersonName& name) { return comparedSurname(name) == surname; }))
                return true;
        }
    }
    return false;
}

/// Whether an EVEN or FACT says by its TYPE that husband and wife have one surname by custom:
/// "Same Last Name as Spouse", "Took her husband's surname". A name and its being the same or
/// taken must be said, and, on a person, whose it is.
bool recordsSharedSurname(std::span<const EventFact> events, bool inFamily)
{
    const auto among = [](const std::string& word, std::initializer_list<std::string_view> list) {
        return std::find(list.begin(), list.end(), word) != list.end();
    };
    for (const EventFact& event : events) {
        if (event.tag() != "EVEN" && event.tag() != "FACT")
            continue;
        for (NodeView part : event.node.children()) {
            if (part.tag() != "TYPE")
                continue;
            bool name = false, same = false, spouse = inFamily;
            for (const std::string& word : NameWords::words(part.fullValue())) {
                name = name || among(word, {"name", "names", "surname", "surnames", "lastname"});
                same = same || among(word, {"same", "share", "shares", "shared", "take", "takes", "took",
                                            "taken", "adopted", "assumed"});
                spouse = spouse || among(word, {"spouse", "spouses", "husband", "husbands", "wife", "wifes",
                                                "married", "marriage", "partner"});
            }
            if (name && same && spouse)
                return true;
        }
    }
    return false;
}

/// The couple's notes: a wife under her husband's surname, and roles against the recorded sex.
void couple(const TreeIndex& index, const Family& family, std::vector<Issue>& issues)
{
    const Person* husband = family.husband ? index.person(*family.husband) : nullptr;
    const Person* wife = family.wife ? index.person(*family.wife) : nullptr;
    const auto familyLabel = [&] { return recordLabel(family.record); };

    const PersonName* his = husband && wife && husband != wife ? firstSurnamed(*husband) : nullptr;
    const PersonName* hers = his ? firstSurnamed(*wife) : nullptr;
    if (hers && maySurnamesMatch(*his->surname(), *hers->surname())) {
        const std::string surname = comparedSurname(*his);
        // A wife who also has a NAME with another surname has her own recorded as well.
        const bool same = !surname.empty() && comparedSurname(*hers) == surname &&
                          std::all_of(wife->names.begin(), wife->names.end(), [&](const PersonName& name) {
                              return !name.surname() || comparedSurname(name) == surname;
                          });
        if (same && !parentCalled(index, *wife, surname) && !recordsSharedSurname(family.events, true) &&
            !recordsSharedSurname(husband->events, false) && !recordsSharedSurname(wife->events, false))
            issues.push_back({"miss-marname-" + std::string(family.xref),
                              IssueCategory::missing,
                              Severity::info,
                              "Wife recorded under her husband\u2019s surname",
                              familyLabel() + ": " + recordLabel(wife->record) + " has the surname " +
                                  quoted(*hers->surname()) + ", as her husband " +
                                  recordLabel(husband->record) +
                                  " does. Many trees record a wife under the surname she was born with, and "
                                  "her married name as a second NAME.",
                              {std::string(family.xref), std::string(wife->xref)}});
    }

    // GEDCOM 7 gives the two roles no sex, so only older files are looked at.
    if (index.v7)
        return;
    for (const auto& [person, isHusband] : {std::pair{husband, true}, std::pair{wife, false}}) {
        const std::string_view wrong = isHusband ? "F" : "M";
        const auto sex = person ? person->sexValue() : std::nullopt;
        // Most SEX values are one letter as written; only others need trimming and upper-casing.
        if (!sex ||
            (sex->size() == 1 ? *sex != wrong && (*sex)[0] != (wrong[0] | 0x20) : person->sex() != wrong))
            continue;
        issues.push_back({"miss-role-" + std::string(person->xref) + "-" + std::string(family.xref),
                          IssueCategory::missing,
                          Severity::info,
                          isHusband ? "Husband recorded as female" : "Wife recorded as male",
                          familyLabel() + ": " + recordLabel(person->record) + " is the " +
                              (isHusband ? "husband (HUSB)" : "wife (WIFE)") + " but has SEX " +
                              std::string(wrong) + ".",
                          {std::string(person->xref), std::string(family.xref)}});
    }
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

    const std::unordered_map<std::string, Bearers> bearers = givenNamesAfterWifeTitles(index);
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
                issue.fix =
                    Fix{issue.id,
                        "Add " + quoted("SEX " + *sex),
                        {Edit{Edit::Add{std::string(person.xref), std::nullopt, "SEX", *sex, std::nullopt}}},
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
                if (!unknownIsHonest(person)) {
                    const std::uint8_t role = roles[person.xref];
                    Issue& issue = add(person, "miss-sexu-", Severity::info, "Sex recorded as unknown",
                                       recordLabel(person.record) + " has SEX U." + roleSentence(role));
                    if (const auto sex = sexByRole(role))
                        setTo(issue, *sex, true);
                }
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
        titleInName(index, person, bearers, issues);
    }
    for (const Family& family : index.families)
        couple(index, family, issues);
    return issues;
}

} // namespace kinloom::Checks
