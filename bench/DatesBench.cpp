// SPDX-License-Identifier: GPL-3.0-or-later
// Date reading throughput on one core: standard values read to ranges, other writings normalized,
// and the style of both. Values are made up the way family-tree files write them.
#include "family/GedcomDates.h"

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <variant>
#include <vector>

using namespace kinloom;
using Clock = std::chrono::steady_clock;

namespace {

constexpr std::size_t valueCount = 1'000'000;

/// A fixed-seed generator, so every run measures the same values.
class Random
{
public:
    int below(int bound)
    {
        m_state = m_state * 6364136223846793005ULL + 1442695040888963407ULL;
        return static_cast<int>((m_state >> 33) % static_cast<std::uint64_t>(bound));
    }
    int between(int low, int high) { return low + below(high - low + 1); }

private:
    std::uint64_t m_state = 0x5eed;
};

const char* const upperMonths[] = {"JAN", "FEB", "MAR", "APR", "MAY", "JUN",
                                   "JUL", "AUG", "SEP", "OCT", "NOV", "DEC"};
const char* const monthNames[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};

std::string standardValue(Random& random)
{
    const std::string year = std::to_string(random.between(1600, 1990));
    const std::string month = upperMonths[random.below(12)];
    const std::string day = std::to_string(random.between(1, 28));
    switch (random.below(10)) {
    case 0:
    case 1:
    case 2:
        return day + " " + month + " " + year;
    case 3:
        return "ABT " + year;
    case 4:
        return "BET " + year + " AND " + std::to_string(random.between(1991, 2020));
    case 5:
        return month + " " + year;
    case 6:
        return "BEF " + day + " " + month + " " + year;
    case 7:
        return "@#DJULIAN@ " + day + " " + month + " " + year;
    default:
        return year;
    }
}

std::string otherValue(Random& random)
{
    const int month = random.between(1, 12);
    const std::string year = std::to_string(random.between(1600, 1990));
    const std::string day = std::to_string(random.between(1, 28));
    const std::string twoDigitMonth = (month < 10 ? "0" : "") + std::to_string(month);
    switch (random.below(9)) {
    case 0:
        return day + "/" + twoDigitMonth + "/" + year;
    case 1:
        return year + "-" + twoDigitMonth + "-" + (day.size() == 1 ? "0" : "") + day;
    case 2:
        return std::string(monthNames[month - 1]) + " " + day + ", " + year;
    case 3:
        return "abt. " + year;
    case 4:
        return day + " Sept " + year;
    case 5:
        return day + "  " + upperMonths[month - 1] + " " + year;
    case 6:
        return "3rd of may " + year;
    case 7:
        return "between " + year + " and " + std::to_string(random.between(1991, 2020));
    default:
        return day + "." + twoDigitMonth + "." + year;
    }
}

template <class Work>
void measure(const char* what, const std::vector<std::string>& values, Work work)
{
    double checksum = 0;
    const auto start = Clock::now();
    for (const std::string& value : values)
        checksum += work(value);
    const double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    std::printf("%-34s %8.2f M values/s  (%5.3f s, checksum %.6g)\n", what,
                static_cast<double>(values.size()) / seconds / 1e6, seconds, checksum);
}

double rangeSum(const std::optional<DateRange>& range)
{
    if (!range)
        return 0;
    return range->low.value_or(0) + range->high.value_or(0);
}

} // namespace

int main()
{
    Random random;
    std::vector<std::string> standard;
    std::vector<std::string> other;
    standard.reserve(valueCount);
    other.reserve(valueCount);
    for (std::size_t i = 0; i < valueCount; ++i) {
        standard.push_back(standardValue(random));
        other.push_back(otherValue(random));
    }

    const NumericDateOrder order = NumericDateOrder::automatic;
    measure("range, standard values", standard,
            [&](const std::string& value) { return rangeSum(GedcomDates::range(value, order, false)); });
    measure("normalize, other writings", other, [&](const std::string& value) {
        const DateNormalization normalization = GedcomDates::normalize(value, false, order);
        return static_cast<double>(normalization.value.index() + 1);
    });
    measure("range, other writings", other,
            [&](const std::string& value) { return rangeSum(GedcomDates::range(value, order, false)); });
    measure("style, standard values", standard, [](const std::string& value) {
        return static_cast<double>(GedcomDates::style(value, false).size());
    });
    measure("style, other writings", other, [](const std::string& value) {
        return static_cast<double>(GedcomDates::style(value, false).size());
    });
    measure("read (all three), other writings", other, [&](const std::string& value) {
        const DateReading reading = GedcomDates::read(value, false, order);
        return rangeSum(reading.range) + static_cast<double>(reading.style.size());
    });
    return 0;
}
