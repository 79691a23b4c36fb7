#include "KinloomKit/Checks.h"

#include "KinloomKit/FixApplier.h"

#include <cmath>

namespace kinloom::Checks {
namespace {

const char* const checkTheDates = " Check the dates in your family-tree program or sources.";

} // namespace

// A range's high is exclusive, so A lies wholly before B when A.high <= B.low; a rule needing an
// absent bound is skipped.
std::vector<Issue> impossibleDates(const TreeIndex& index, const ScanOptions& options)
{
    std::vector<Issue> issues;
    auto add = [&](const Person& person, const char* prefix, Severity severity, std::string title,
                   std::string detail) {
        issues.push_back({prefix + std::string(person.xref),
                          IssueCategory::impossibleDates,
                          severity,
                          std::move(title),
                          std::move(detail) + "." + checkTheDates,
                          {std::string(person.xref)}});
    };
    auto bound = [](const EventFact* fact, bool low) -> std::optional<double> {
        const double value = !fact ? std::nan("") : low ? fact->low : fact->high;
        return std::isnan(value) ? std::nullopt : std::optional<double>(value);
    };
    for (const Person& person : index.people) {
        const EventFact* birth = person.event("BIRT");
        const EventFact* death = person.event("DEAT");
        const EventFact* burial = person.event("BURI");
        const EventFact* christening = person.event("CHR");
        if (!christening)
            christening = person.event("BAPM");
        auto written = [](const EventFact* fact) { return std::string(fact->date().value_or("")); };

        const auto birthLow = bound(birth, true), birthHigh = bound(birth, false);
        const auto deathLow = bound(death, true), deathHigh = bound(death, false);
        if (deathHigh && birthLow && *deathHigh <= *birthLow)
            add(person, "imp-death-", Severity::error, "Died before being born",
                recordLabel(person.record) + ": born " + written(birth) + ", died " + written(death));
        if (const auto burialHigh = bound(burial, false); burialHigh && deathLow && *burialHigh <= *deathLow)
            add(person, "imp-burial-", Severity::error, "Buried before dying",
                recordLabel(person.record) + ": died " + written(death) + ", buried " + written(burial));
        if (const auto christeningHigh = bound(christening, false);
            christeningHigh && birthLow && *christeningHigh <= *birthLow)
            add(person, "imp-chr-", Severity::error, "Christened before being born",
                recordLabel(person.record) + ": born " + written(birth) + ", christened " +
                    written(christening));
        if (deathLow && birthHigh && *deathLow - *birthHigh > options.maxLifespan) {
            const auto years = static_cast<long long>(options.maxLifespan);
            add(person, "imp-age-", Severity::warning, "Lived over " + std::to_string(years) + " years",
                recordLabel(person.record) + ": born " + written(birth) + ", died " + written(death));
        }
    }
    return issues;
}

} // namespace kinloom::Checks
