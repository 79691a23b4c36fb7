// SPDX-License-Identifier: GPL-3.0-or-later
#include "checks/Checks.h"

#include "changes/FixApplier.h"
#include "document/Text.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <limits>
#include <set>
#include <tuple>
#include <unordered_map>
#include <utility>

namespace kinloom::Checks {
namespace {

const char* const checkTheDates = " Check the dates in your family-tree program or sources.";

constexpr std::uint32_t none = UINT32_MAX;
constexpr double absent = std::numeric_limits<double>::quiet_NaN();

// Twins may be born either side of midnight, or a day or two apart; no other birth follows a
// sibling's within half a year.
constexpr int twinDays = 2;
constexpr double siblingGap = 0.5;
// Wider than any but a few real marriages and families: worth a second look, not an error.
constexpr double spouseGap = 30;
constexpr double childrenSpan = 25;

std::optional<double> present(double value)
{
    return std::isnan(value) ? std::nullopt : std::optional<double>(value);
}

std::optional<double> bound(const EventFact* fact, bool low)
{
    return fact ? present(low ? fact->low : fact->high) : std::nullopt;
}

bool hasDate(const EventFact& fact)
{
    const auto date = fact.date();
    return date && !Text::trimmed(*date).empty();
}

/// The bounds the rules between people read, kept side by side for all people so that a
/// relative's are one read away; NaN when absent.
struct Bounds
{
    double birthLow = absent;
    double birthHigh = absent;
    double deathHigh = absent;
};

std::string written(const EventFact* fact)
{
    return std::string(Text::trimmed(fact->date().value_or("")));
}

/// "born 1850", or "christened 1850" when the birth is known only from a christening.
std::string birthText(const LifeFacts& events)
{
    return (events.born ? "born " : "christened ") + written(events.birth);
}

/// "died 1850", or "buried 1850" when the death is known only from a burial.
std::string deathText(const LifeFacts& events)
{
    return (events.died ? "died " : "buried ") + written(events.death);
}

std::string wholeYears(double years)
{
    return std::to_string(static_cast<long long>(std::floor(years)));
}

/// Where each person stands in the people list, by xref; `none` for an xref that names no person.
std::uint32_t positionOf(const TreeIndex& index, std::optional<std::string_view> xref)
{
    const Person* person = xref ? index.person(*xref) : nullptr;
    return person ? static_cast<std::uint32_t>(person - index.people.data()) : none;
}

/// The members of every family as positions in the people list, each xref looked up once: the
/// spouses, the children family by family, and the families child by child, all in file order.
struct Members
{
    std::vector<std::uint32_t> husbands;      ///< per family; `none` when absent
    std::vector<std::uint32_t> wives;         ///< per family; `none` when absent
    std::vector<std::uint32_t> childrenFirst; ///< families + 1 entries
    std::vector<std::uint32_t> children;      ///< person positions, each family's slice in turn
    std::vector<std::uint32_t> familiesFirst; ///< people + 1 entries
    std::vector<std::uint32_t> childFamilies; ///< family positions, each child's slice in turn

    explicit Members(const TreeIndex& index)
    {
        const std::size_t families = index.families.size();
        husbands.reserve(families);
        wives.reserve(families);
        childrenFirst.reserve(families + 1);
        for (const Family& family : index.families) {
            husbands.push_back(positionOf(index, family.husband));
            wives.push_back(positionOf(index, family.wife));
            childrenFirst.push_back(static_cast<std::uint32_t>(children.size()));
            for (std::string_view child : family.children) {
                if (const std::uint32_t c = positionOf(index, child); c != none)
                    children.push_back(c);
            }
        }
        childrenFirst.push_back(static_cast<std::uint32_t>(children.size()));

        // A counting sort keeps the families of each child in file order.
        familiesFirst.assign(index.people.size() + 1, 0);
        for (const std::uint32_t child : children)
            ++familiesFirst[child + 1];
        for (std::size_t i = 1; i < familiesFirst.size(); ++i)
            familiesFirst[i] += familiesFirst[i - 1];
        childFamilies.resize(children.size());
        std::vector<std::uint32_t> next(familiesFirst.begin(), familiesFirst.end() - 1);
        for (std::uint32_t f = 0; f < families; ++f) {
            for (std::uint32_t i = childrenFirst[f]; i < childrenFirst[f + 1]; ++i)
                childFamilies[next[children[i]]++] = f;
        }
    }
};

/// Whether a range is one whole day.
bool isExactDay(double low, double high)
{
    return std::abs(high - low - 1.0 / 365) < 1e-9;
}

/// The day a range of one whole day starts on, counted in real days: the range's numbers give
/// every month 31 days, which would put 28 February and 1 March four days apart.
std::int32_t dayNumber(double low)
{
    using namespace std::chrono;
    const double whole = std::floor(low);
    const auto slot = static_cast<unsigned>(std::lround((low - whole) * 372)); // (month - 1) * 31 + day - 1
    const sys_days first{year(static_cast<int>(whole)) / month(slot / 31 + 1) / day(1)};
    return static_cast<std::int32_t>((first + days(slot % 31)).time_since_epoch().count());
}

/// A date a finding rests on: the fact that holds it and the record of that fact.
struct Basis
{
    const EventFact* fact = nullptr;
    NodeView record;
};

/// The dates a finding rests on: one or two.
using Bases = std::array<Basis, 2>;

/// "birth", "death" … : what a fact that the rules read is called in a sentence.
std::string_view eventName(std::string_view tag)
{
    if (tag == "BIRT")
        return "birth";
    if (tag == "CHR")
        return "christening";
    if (tag == "BAPM")
        return "baptism";
    if (tag == "DEAT")
        return "death";
    if (tag == "BURI")
        return "burial";
    return "marriage";
}

/// A child of one family whose birth is an exact day.
struct DatedChild
{
    double low = 0;
    std::int32_t day = 0;
    std::uint32_t order = 0; ///< among the family's children
    std::uint32_t person = 0;
};

class Finder
{
public:
    Finder(const TreeIndex& index, const ScanOptions& options)
        : m_index(index), m_options(options), m_members(index),
          m_year(options.currentYear ? *options.currentYear : Scanner::currentYear())
    {}

    std::vector<Issue> run()
    {
        m_bounds.reserve(m_index.people.size());
        m_born.reserve(m_index.people.size());
        for (const Person& person : m_index.people) {
            const LifeFacts events(person);
            m_bounds.push_back({events.birth ? events.birth->low : absent,
                                events.birth ? events.birth->high : absent,
                                events.death ? events.death->high : absent});
            m_born.push_back(events.born);
        }

        std::vector<std::uint32_t> checked;
        for (std::uint32_t c = 0; c < m_index.people.size(); ++c) {
            ownEvents(m_index.people[c]);
            checked.clear();
            for (std::uint32_t i = m_members.familiesFirst[c]; i < m_members.familiesFirst[c + 1]; ++i) {
                const std::uint32_t family = m_members.childFamilies[i];
                for (const auto& [parent, mother] :
                     {std::pair{m_members.husbands[family], false}, {m_members.wives[family], true}}) {
                    // A child listed twice, or in two families of the same parents, is checked once.
                    if (parent == none || parent == c ||
                        std::find(checked.begin(), checked.end(), parent) != checked.end())
                        continue;
                    checked.push_back(parent);
                    parentAndChild(parent, c, mother);
                }
            }
        }

        for (std::uint32_t f = 0; f < m_index.families.size(); ++f) {
            marriage(f);
            spouses(f);
            siblings(f);
            childrenSpread(f);
        }
        nameSharedCauses();
        return std::move(m_issues);
    }

private:
    // A detail may end with a date written with a full stop ("45 B.C."), which then closes it.
    void add(std::string id, std::vector<std::string> records, Severity severity, std::string title,
             std::string detail, const Bases& bases)
    {
        if (!detail.ends_with('.'))
            detail += '.';
        m_issues.push_back({std::move(id), IssueCategory::impossibleDates, severity, std::move(title),
                            std::move(detail) + checkTheDates, std::move(records)});
        m_bases.push_back(bases);
    }

    Issue& add(const Person& person, const char* prefix, Severity severity, std::string title,
               std::string detail, const Bases& bases)
    {
        add(prefix + std::string(person.xref), {std::string(person.xref)}, severity, std::move(title),
            std::move(detail), bases);
        return m_issues.back();
    }

    /// A finding about a family and two of its members.
    void add(const Family& family, const Person& one, const Person& other, const char* prefix,
             std::string title, std::string detail, const Bases& bases)
    {
        add(prefix + std::string(family.xref),
            {std::string(family.xref), std::string(one.xref), std::string(other.xref)}, Severity::info,
            std::move(title), std::move(detail), bases);
    }

    /// A finding about two records: the parent and child, the person and family, or two siblings.
    void add(std::string_view first, std::string_view second, const char* prefix, Severity severity,
             std::string title, std::string detail, const Bases& bases)
    {
        add(prefix + std::string(first) + "-" + std::string(second),
            {std::string(first), std::string(second)}, severity, std::move(title), std::move(detail), bases);
    }

    /// One wrong date (a birth typed 1980 for 1890) makes several findings: where two or more rest
    /// on one date, each of them names it as the likely single cause.
    void nameSharedCauses()
    {
        std::unordered_map<std::int64_t, std::uint32_t> findings;
        const auto dateNode = [](const Basis& basis) {
            return basis.fact ? basis.fact->dateNodeID() : std::nullopt;
        };
        for (std::size_t i = 0; i < m_bases.size(); ++i) {
            // A finding of a kind switched off is not reported, so it counts towards no cause.
            if (!m_options.skippedKinds.empty() && m_options.skips(kindOf(m_issues[i].id)))
                continue;
            for (const Basis& basis : m_bases[i]) {
                if (const auto node = dateNode(basis))
                    ++findings[*node];
            }
        }
        for (std::size_t i = 0; i < m_issues.size(); ++i) {
            const Basis* cause = nullptr;
            std::uint32_t most = 1;
            for (const Basis& basis : m_bases[i]) {
                if (const auto node = dateNode(basis); node && findings[*node] > most) {
                    cause = &basis;
                    most = findings[*node];
                }
            }
            if (cause)
                m_issues[i].detail += " " + std::to_string(most) + " findings rest on the " +
                                      std::string(eventName(cause->fact->tag())) + " date " +
                                      written(cause->fact) + " of " + recordLabel(cause->record) + ".";
        }
    }

    // A range's high is exclusive, so A lies wholly before B when A.high <= B.low; a rule needing an
    // absent bound is skipped.
    void ownEvents(const Person& person)
    {
        const LifeFacts events(person);
        const auto birthLow = bound(events.birth, true), birthHigh = bound(events.birth, false);
        const auto deathLow = bound(events.death, true), deathHigh = bound(events.death, false);
        const auto burialHigh = bound(events.burial, false);
        const auto label = [&] { return recordLabel(person.record) + ": "; };
        const auto on = [&](const EventFact* one, const EventFact* other) {
            return Bases{Basis{one, person.record}, Basis{other, person.record}};
        };

        // One wrong date gives one finding: a burial that stands in for the death is judged as a
        // burial, and a burial before the birth is not also before the death.
        const bool diedFirst = events.died && deathHigh && birthLow && *deathHigh <= *birthLow;
        if (diedFirst)
            add(person, "imp-death-", Severity::error, "Died before being born",
                label() + birthText(events) + ", died " + written(events.death),
                on(events.birth, events.death));
        const bool buriedFirst = !diedFirst && burialHigh && birthLow && *burialHigh <= *birthLow;
        if (buriedFirst)
            add(person, "imp-buried-", Severity::error, "Buried before being born",
                label() + birthText(events) + ", buried " + written(events.burial),
                on(events.birth, events.burial));
        if (events.died && !buriedFirst && burialHigh && deathLow && *burialHigh <= *deathLow)
            add(person, "imp-burial-", Severity::error, "Buried before dying",
                label() + "died " + written(events.death) + ", buried " + written(events.burial),
                on(events.death, events.burial));
        if (const auto christeningHigh = bound(events.christening, false);
            events.born && christeningHigh && birthLow && *christeningHigh <= *birthLow)
            add(person, "imp-chr-", Severity::error, "Christened before being born",
                label() + "born " + written(events.birth) + ", christened " + written(events.christening),
                on(events.birth, events.christening));
        if (deathLow && birthHigh && *deathLow - *birthHigh > m_options.maxLifespan) {
            const auto years = static_cast<long long>(m_options.maxLifespan);
            add(person, "imp-age-", Severity::warning, "Lived over " + std::to_string(years) + " years",
                label() + birthText(events) + ", " + deathText(events), on(events.birth, events.death));
        }
        if (!events.deathRecorded && birthHigh && *birthHigh + m_options.maxLifespan < m_year)
            probablyDead(person, events, *birthHigh);
    }

    // Family-tree programs treat a person with no death as living and hide them in exports: an
    // undated "1 DEAT Y" is how the standard says that someone has died.
    void probablyDead(const Person& person, const LifeFacts& events, double birthHigh)
    {
        const std::string label = recordLabel(person.record);
        Issue& issue = add(person, "imp-alive-", Severity::info, "Probably no longer alive",
                           label + ": " + birthText(events) + ", at least " + wholeYears(m_year - birthHigh) +
                               " years ago, and no death or burial is recorded. Programs treat them as "
                               "living until a death is recorded",
                           {}); // a missing death, not a wrong birth date, is what it rests on
        issue.fix = Fix{issue.id,
                        "Record that they died (1 DEAT Y)",
                        {Edit{Edit::Add{std::string(person.xref), std::nullopt, "DEAT", "Y",
                                        person.events.back().nodeID()}}},
                        {PreviewLine{label + " \u00B7 DEAT", std::nullopt, "Y"}},
                        true};
    }

    // The age rules fire only when every reading of both dates agrees: too young takes the
    // oldest the parent could have been, too old the youngest.
    void parentAndChild(std::uint32_t p, std::uint32_t c, bool mother)
    {
        const Bounds& parentBounds = m_bounds[p];
        const Bounds& childBounds = m_bounds[c];
        const auto parentLow = present(parentBounds.birthLow), parentHigh = present(parentBounds.birthHigh);
        const auto childLow = present(childBounds.birthLow), childHigh = present(childBounds.birthHigh);
        const auto deathHigh = present(parentBounds.deathHigh);
        const Person& parent = m_index.people[p];
        const Person& child = m_index.people[c];
        const auto when = [&] { return " when their child " + recordLabel(child.record) + " was born"; };
        const auto births = [&] {
            return Bases{Basis{LifeFacts(parent).birth, parent.record},
                         Basis{LifeFacts(child).birth, child.record}};
        };

        if (parentLow && childHigh && *parentLow >= *childHigh) {
            add(parent.xref, child.xref, "imp-order-", Severity::error, "Born after their child",
                recordLabel(parent.record) + ": " + birthText(LifeFacts(parent)) + ", after their child " +
                    recordLabel(child.record) + ", " + birthText(LifeFacts(child)),
                births());
        } else if (parentLow && childHigh && *childHigh - *parentLow < m_options.minParentAge) {
            add(parent.xref, child.xref, "imp-young-", Severity::warning, "Parent too young",
                recordLabel(parent.record) + " was at most " + wholeYears(*childHigh - *parentLow) + when(),
                births());
        }

        const double oldest = mother ? m_options.maxMotherAge : m_options.maxFatherAge;
        if (parentHigh && childLow && *childLow - *parentHigh > oldest)
            add(parent.xref, child.xref, "imp-old-", Severity::warning,
                mother ? "Mother very old at birth" : "Father very old at birth",
                recordLabel(parent.record) + " was at least " + wholeYears(*childLow - *parentHigh) + when(),
                births());

        // A christening often follows a parent's death (a mother dying in childbed), so only a
        // recorded birth counts here. A father may die before the birth, but not much more than
        // nine months before it.
        if (m_born[c] && deathHigh && childLow && *childLow >= *deathHigh + (mother ? 0 : 1))
            add(parent.xref, child.xref, "imp-afterdeath-", Severity::error,
                mother ? "Born after the mother died" : "Born over a year after the father died",
                recordLabel(parent.record) + ": " + deathText(LifeFacts(parent)) + ", before their child " +
                    recordLabel(child.record) + ", born " + written(LifeFacts(child).birth),
                {Basis{LifeFacts(child).birth, child.record}, Basis{LifeFacts(parent).death, parent.record}});
    }

    /// The family's marriage against the birth and death of each spouse.
    void marriage(std::uint32_t f)
    {
        const Family& family = m_index.families[f];
        const auto marriage =
            std::find_if(family.events.begin(), family.events.end(),
                         [](const EventFact& fact) { return fact.tag() == "MARR" && hasDate(fact); });
        if (marriage == family.events.end())
            return;
        const auto marriageLow = present(marriage->low), marriageHigh = present(marriage->high);
        const auto married = [&] {
            return ", married " + written(&*marriage) + " (" + recordLabel(family.record) + ")";
        };
        const std::uint32_t husband = m_members.husbands[f], wife = m_members.wives[f];
        for (const std::uint32_t s : {husband, wife == husband ? none : wife}) {
            if (s == none)
                continue;
            const Person& spouse = m_index.people[s];
            const auto birthLow = present(m_bounds[s].birthLow);
            const auto deathHigh = present(m_bounds[s].deathHigh);
            const auto label = [&] { return recordLabel(spouse.record) + ": "; };
            const auto with = [&](const EventFact* fact) {
                return Bases{Basis{fact, spouse.record}, Basis{&*marriage, family.record}};
            };
            if (marriageHigh && birthLow && *marriageHigh <= *birthLow) {
                add(spouse.xref, family.xref, "imp-marrborn-", Severity::error, "Married before being born",
                    label() + birthText(LifeFacts(spouse)) + married(), with(LifeFacts(spouse).birth));
            } else if (marriageHigh && birthLow && *marriageHigh - *birthLow < m_options.minParentAge) {
                add(spouse.xref, family.xref, "imp-marryoung-", Severity::warning, "Married very young",
                    label() + birthText(LifeFacts(spouse)) + married() + ", at most " +
                        wholeYears(*marriageHigh - *birthLow) + " years old",
                    with(LifeFacts(spouse).birth));
            }
            if (marriageLow && deathHigh && *marriageLow >= *deathHigh)
                add(spouse.xref, family.xref, "imp-marrdied-", Severity::error, "Married after dying",
                    label() + deathText(LifeFacts(spouse)) + married(), with(LifeFacts(spouse).death));
        }
    }

    /// Spouses whose births lie far apart, however the dates are read.
    void spouses(std::uint32_t f)
    {
        const std::uint32_t h = m_members.husbands[f], w = m_members.wives[f];
        if (h == none || w == none || h == w)
            return;
        const Bounds& husband = m_bounds[h];
        const Bounds& wife = m_bounds[w];
        if (std::isnan(husband.birthLow) || std::isnan(husband.birthHigh) || std::isnan(wife.birthLow) ||
            std::isnan(wife.birthHigh))
            return;
        const double gap = std::max(husband.birthLow - wife.birthHigh, wife.birthLow - husband.birthHigh);
        if (gap <= spouseGap)
            return;
        const Family& family = m_index.families[f];
        add(family, m_index.people[h], m_index.people[w], "imp-spousegap-",
            "Spouses born over 30 years apart",
            recordLabel(family.record) + ": " + bornText(h) + ", and " + bornText(w) + ", at least " +
                wholeYears(gap) + " years apart",
            {birthOf(h), birthOf(w)});
    }

    /// The family's earliest and latest births far apart, however the dates are read.
    void childrenSpread(std::uint32_t f)
    {
        std::uint32_t earliest = none, latest = none;
        for (std::uint32_t i = m_members.childrenFirst[f]; i < m_members.childrenFirst[f + 1]; ++i) {
            const std::uint32_t c = m_members.children[i];
            const Bounds& bounds = m_bounds[c];
            if (std::isnan(bounds.birthLow) || std::isnan(bounds.birthHigh))
                continue;
            if (earliest == none || bounds.birthHigh < m_bounds[earliest].birthHigh)
                earliest = c;
            if (latest == none || bounds.birthLow > m_bounds[latest].birthLow)
                latest = c;
        }
        if (earliest == none)
            return;
        const double gap = m_bounds[latest].birthLow - m_bounds[earliest].birthHigh;
        if (gap <= childrenSpan)
            return;
        const Family& family = m_index.families[f];
        add(family, m_index.people[earliest], m_index.people[latest], "imp-childspan-",
            "Children born over 25 years apart",
            recordLabel(family.record) + ": " + bornText(earliest) + ", and " + bornText(latest) +
                ", at least " + wholeYears(gap) + " years apart",
            {birthOf(earliest), birthOf(latest)});
    }

    Basis birthOf(std::uint32_t p) const
    {
        const Person& person = m_index.people[p];
        return {LifeFacts(person).birth, person.record};
    }

    /// "Mary Smith (@I4@), born 1850".
    std::string bornText(std::uint32_t p) const
    {
        const Person& person = m_index.people[p];
        return recordLabel(person.record) + ", " + birthText(LifeFacts(person));
    }

    /// Children of the family born on exact days too close together. Each birth is compared only
    /// with the latest birth more than twinDays before it, so a birth too soon after twins is
    /// reported once; a pair already reported for another family is not reported again.
    void siblings(std::uint32_t f)
    {
        const std::uint32_t first = m_members.childrenFirst[f], end = m_members.childrenFirst[f + 1];
        if (end - first < 2)
            return;
        m_dated.clear();
        for (std::uint32_t i = first; i < end; ++i) {
            const std::uint32_t c = m_members.children[i];
            const Bounds& bounds = m_bounds[c];
            if (m_born[c] && isExactDay(bounds.birthLow, bounds.birthHigh))
                m_dated.push_back({bounds.birthLow, dayNumber(bounds.birthLow), i - first, c});
        }
        if (m_dated.size() < 2)
            return;
        // A child listed twice is one child.
        std::sort(m_dated.begin(), m_dated.end(), [](const DatedChild& a, const DatedChild& b) {
            return std::tie(a.day, a.person, a.order) < std::tie(b.day, b.person, b.order);
        });
        m_dated.erase(
            std::unique(m_dated.begin(), m_dated.end(),
                        [](const DatedChild& a, const DatedChild& b) { return a.person == b.person; }),
            m_dated.end());

        m_pairs.clear();
        std::size_t before = 0; // how many births lie more than twinDays before the current one
        for (std::size_t j = 1; j < m_dated.size(); ++j) {
            while (before < j && m_dated[before].day < m_dated[j].day - twinDays)
                ++before;
            if (before > 0 && m_dated[j].low - m_dated[before - 1].low < siblingGap) {
                const DatedChild& a = m_dated[before - 1];
                const DatedChild& b = m_dated[j];
                m_pairs.push_back(a.order < b.order ? std::pair{a, b} : std::pair{b, a});
            }
        }
        std::sort(m_pairs.begin(), m_pairs.end(), [](const auto& a, const auto& b) {
            return std::pair{a.first.order, a.second.order} < std::pair{b.first.order, b.second.order};
        });
        for (const auto& [one, other] : m_pairs) {
            if (!m_reportedSiblings
                     .emplace(std::min(one.person, other.person), std::max(one.person, other.person))
                     .second)
                continue;
            const Person& a = m_index.people[one.person];
            const Person& b = m_index.people[other.person];
            add(a.xref, b.xref, "imp-siblings-", Severity::warning, "Siblings born too close together",
                recordLabel(a.record) + ": born " + written(LifeFacts(a).birth) + ", and their sibling " +
                    recordLabel(b.record) + ", born " + written(LifeFacts(b).birth),
                {birthOf(one.person), birthOf(other.person)});
        }
    }

    const TreeIndex& m_index;
    const ScanOptions& m_options;
    const Members m_members;
    const int m_year;
    std::vector<Bounds> m_bounds; ///< of every person
    std::vector<bool> m_born;     ///< of every person: whether the birth is a BIRT, not a christening
    // Scratch for one family's children, kept to spare allocations.
    std::vector<DatedChild> m_dated;
    std::vector<std::pair<DatedChild, DatedChild>> m_pairs;
    std::set<std::pair<std::uint32_t, std::uint32_t>> m_reportedSiblings;
    std::vector<Issue> m_issues;
    std::vector<Bases> m_bases; ///< of every finding
};

} // namespace

// Findings follow the people in file order: a person's own dates, then the person as a child
// against each parent; then the families in file order: the marriage, then the children.
std::vector<Issue> impossibleDates(const TreeIndex& index, const ScanOptions& options)
{
    return Finder(index, options).run();
}

} // namespace kinloom::Checks
