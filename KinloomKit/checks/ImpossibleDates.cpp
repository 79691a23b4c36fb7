#include "checks/Checks.h"

#include "changes/FixApplier.h"

#include <algorithm>
#include <cmath>

namespace kinloom::Checks {
namespace {

const char* const checkTheDates = " Check the dates in your family-tree program or sources.";

constexpr std::uint32_t none = UINT32_MAX;

std::optional<double> bound(const EventFact* fact, bool low)
{
    const double value = !fact ? std::nan("") : low ? fact->low : fact->high;
    return std::isnan(value) ? std::nullopt : std::optional<double>(value);
}

/// A person's events that the rules read, found in one pass over the events.
struct Events
{
    const EventFact* birth = nullptr;
    const EventFact* death = nullptr;
    const EventFact* burial = nullptr;
    const EventFact* christening = nullptr; ///< the first CHR, else the first BAPM

    explicit Events(const Person& person)
    {
        const EventFact* baptism = nullptr;
        for (const EventFact& fact : person.events) {
            const std::string_view tag = fact.tag();
            if (tag.size() < 3 || tag.size() > 4)
                continue;
            auto first = [&](const EventFact*& slot) {
                if (!slot)
                    slot = &fact;
            };
            if (tag == "BIRT")
                first(birth);
            else if (tag == "DEAT")
                first(death);
            else if (tag == "BURI")
                first(burial);
            else if (tag == "CHR")
                first(christening);
            else if (tag == "BAPM")
                first(baptism);
        }
        if (!christening)
            christening = baptism;
    }
};

/// The bounds the parent rules read, kept side by side for all people so that a parent's are
/// one read away; NaN when absent.
struct Bounds
{
    double birthLow = std::nan("");
    double birthHigh = std::nan("");
    double deathHigh = std::nan("");
};

std::optional<double> present(double value)
{
    return std::isnan(value) ? std::nullopt : std::optional<double>(value);
}

std::string written(const EventFact* fact)
{
    return std::string(fact->date().value_or(""));
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

/// For every person, the families that list them as a child, in file order: one list of all
/// (child, family) pairs grouped by child, with each child's slice given by `first`.
struct ChildFamilies
{
    std::vector<std::uint32_t> first;    ///< people + 1 entries
    std::vector<std::uint32_t> families; ///< family positions

    explicit ChildFamilies(const TreeIndex& index)
    {
        std::vector<std::pair<std::uint32_t, std::uint32_t>> pairs;
        for (std::uint32_t f = 0; f < index.families.size(); ++f) {
            for (std::string_view child : index.families[f].children) {
                if (const std::uint32_t c = positionOf(index, child); c != none)
                    pairs.emplace_back(c, f);
            }
        }
        // A counting sort keeps the families of each child in file order.
        first.assign(index.people.size() + 1, 0);
        for (const auto& pair : pairs)
            ++first[pair.first + 1];
        for (std::size_t i = 1; i < first.size(); ++i)
            first[i] += first[i - 1];
        families.resize(pairs.size());
        std::vector<std::uint32_t> next(first.begin(), first.end() - 1);
        for (const auto& [child, family] : pairs)
            families[next[child]++] = family;
    }
};

class Finder
{
public:
    Finder(const TreeIndex& index, const ScanOptions& options) : m_index(index), m_options(options) {}

    std::vector<Issue> run()
    {
        // The parents of each family are looked up once, not once per child.
        std::vector<std::uint32_t> husbands, wives;
        husbands.reserve(m_index.families.size());
        wives.reserve(m_index.families.size());
        for (const Family& family : m_index.families) {
            husbands.push_back(positionOf(m_index, family.husband));
            wives.push_back(positionOf(m_index, family.wife));
        }
        const ChildFamilies childFamilies(m_index);
        m_bounds.reserve(m_index.people.size());
        for (const Person& person : m_index.people) {
            const Events events(person);
            m_bounds.push_back({events.birth ? events.birth->low : std::nan(""),
                                events.birth ? events.birth->high : std::nan(""),
                                events.death ? events.death->high : std::nan("")});
        }

        std::vector<std::uint32_t> checked;
        for (std::uint32_t c = 0; c < m_index.people.size(); ++c) {
            const Person& child = m_index.people[c];
            ownEvents(child);
            checked.clear();
            for (std::uint32_t i = childFamilies.first[c]; i < childFamilies.first[c + 1]; ++i) {
                const std::uint32_t family = childFamilies.families[i];
                for (const auto& [parent, mother] :
                     {std::pair{husbands[family], false}, {wives[family], true}}) {
                    // A child listed twice, or in two families of the same parents, is checked once.
                    if (parent == none || parent == c ||
                        std::find(checked.begin(), checked.end(), parent) != checked.end())
                        continue;
                    checked.push_back(parent);
                    parentAndChild(parent, c, mother);
                }
            }
        }
        return std::move(m_issues);
    }

private:
    void add(std::string id, std::vector<std::string> records, Severity severity, std::string title,
             std::string detail)
    {
        m_issues.push_back({std::move(id), IssueCategory::impossibleDates, severity, std::move(title),
                            std::move(detail) + "." + checkTheDates, std::move(records)});
    }

    void add(const Person& person, const char* prefix, Severity severity, std::string title,
             std::string detail)
    {
        add(prefix + std::string(person.xref), {std::string(person.xref)}, severity, std::move(title),
            std::move(detail));
    }

    void add(const Person& parent, const Person& child, const char* prefix, Severity severity,
             std::string title, std::string detail)
    {
        add(prefix + std::string(parent.xref) + "-" + std::string(child.xref),
            {std::string(parent.xref), std::string(child.xref)}, severity, std::move(title),
            std::move(detail));
    }

    // A range's high is exclusive, so A lies wholly before B when A.high <= B.low; a rule needing an
    // absent bound is skipped.
    void ownEvents(const Person& person)
    {
        const Events events(person);
        const auto birthLow = bound(events.birth, true), birthHigh = bound(events.birth, false);
        const auto deathLow = bound(events.death, true), deathHigh = bound(events.death, false);
        if (deathHigh && birthLow && *deathHigh <= *birthLow)
            add(person, "imp-death-", Severity::error, "Died before being born",
                recordLabel(person.record) + ": born " + written(events.birth) + ", died " +
                    written(events.death));
        if (const auto burialHigh = bound(events.burial, false);
            burialHigh && deathLow && *burialHigh <= *deathLow)
            add(person, "imp-burial-", Severity::error, "Buried before dying",
                recordLabel(person.record) + ": died " + written(events.death) + ", buried " +
                    written(events.burial));
        if (const auto christeningHigh = bound(events.christening, false);
            christeningHigh && birthLow && *christeningHigh <= *birthLow)
            add(person, "imp-chr-", Severity::error, "Christened before being born",
                recordLabel(person.record) + ": born " + written(events.birth) + ", christened " +
                    written(events.christening));
        if (deathLow && birthHigh && *deathLow - *birthHigh > m_options.maxLifespan) {
            const auto years = static_cast<long long>(m_options.maxLifespan);
            add(person, "imp-age-", Severity::warning, "Lived over " + std::to_string(years) + " years",
                recordLabel(person.record) + ": born " + written(events.birth) + ", died " +
                    written(events.death));
        }
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
        // The written dates are looked up only for a finding.
        const auto parentBirth = [&] { return written(Events(parent).birth); };
        const auto childBirth = [&] { return written(Events(child).birth); };

        if (parentLow && childHigh && *parentLow >= *childHigh) {
            add(parent, child, "imp-order-", Severity::error, "Born after their child",
                recordLabel(parent.record) + ": born " + parentBirth() + ", after their child " +
                    recordLabel(child.record) + ", born " + childBirth());
        } else if (parentLow && childHigh && *childHigh - *parentLow < m_options.minParentAge) {
            add(parent, child, "imp-young-", Severity::warning, "Parent too young",
                recordLabel(parent.record) + " was at most " + wholeYears(*childHigh - *parentLow) + when());
        }

        const double oldest = mother ? m_options.maxMotherAge : m_options.maxFatherAge;
        if (parentHigh && childLow && *childLow - *parentHigh > oldest)
            add(parent, child, "imp-old-", Severity::warning,
                mother ? "Mother very old at birth" : "Father very old at birth",
                recordLabel(parent.record) + " was at least " + wholeYears(*childLow - *parentHigh) + when());

        // A father may die before the birth, but not much more than nine months before it.
        if (deathHigh && childLow && *childLow >= *deathHigh + (mother ? 0 : 1))
            add(parent, child, "imp-afterdeath-", Severity::error,
                mother ? "Born after the mother died" : "Born over a year after the father died",
                recordLabel(parent.record) + ": died " + written(Events(parent).death) +
                    ", before their child " + recordLabel(child.record) + ", born " + childBirth());
    }

    const TreeIndex& m_index;
    const ScanOptions& m_options;
    std::vector<Bounds> m_bounds; ///< of every person
    std::vector<Issue> m_issues;
};

} // namespace

// Findings follow the people in file order: a person's own dates, then the person as a child
// against each parent.
std::vector<Issue> impossibleDates(const TreeIndex& index, const ScanOptions& options)
{
    return Finder(index, options).run();
}

} // namespace kinloom::Checks
