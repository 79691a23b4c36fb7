// SPDX-License-Identifier: GPL-3.0-or-later
// The date reader's promises on any text, in both GEDCOM versions and every numeric order: no
// crash; ranges never run backwards; a fix is itself standard; an ambiguity has two or more
// readings that each read; and reading all at once agrees with the single functions.
#include "family/GedcomDates.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <variant>

namespace {

void require(bool condition, const char* promise)
{
    if (!condition) {
        std::fprintf(stderr, "date promise broken: %s\n", promise);
        std::abort();
    }
}

void requireOrdered(const std::optional<kinloom::DateRange>& range)
{
    if (range && range->low && range->high)
        require(*range->low <= *range->high, "low <= high");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    using namespace kinloom;
    const std::string text(reinterpret_cast<const char*>(data), size);

    for (const bool v7 : {false, true}) {
        const std::string_view style = GedcomDates::style(text, v7);
        require(std::find(GedcomDates::allStyles.begin(), GedcomDates::allStyles.end(), style) !=
                    GedcomDates::allStyles.end(),
                "style is one of the eight");
        if (GedcomDates::readStandard(text, v7))
            require(style == GedcomDates::allStyles[0], "a standard value has the standard style");

        for (const NumericDateOrder order : allNumericDateOrders) {
            const std::optional<DateRange> range = GedcomDates::range(text, order, v7);
            requireOrdered(range);
            const DateNormalization normalization = GedcomDates::normalize(text, v7, order);

            if (const auto* fix = std::get_if<DateNormalization::Fix>(&normalization.value)) {
                require(GedcomDates::range(fix->value, order, v7) || GedcomDates::isDatePhrase(fix->value) ||
                            GedcomDates::isOtherCalendar(fix->value),
                        "a fix reads, or is a phrase or another calendar");
                require(std::holds_alternative<DateNormalization::Standard>(
                            GedcomDates::normalize(fix->value, v7, order).value),
                        "a fix is standard");
                require(fix->value != text, "a fix changes the value");
            } else if (const auto* ambiguous =
                           std::get_if<DateNormalization::Ambiguous>(&normalization.value)) {
                require(ambiguous->readings.size() >= 2, "an ambiguity has two or more readings");
                for (const std::string& reading : ambiguous->readings) {
                    const std::optional<DateRange> readingRange = GedcomDates::readStandard(reading, v7);
                    require(readingRange.has_value(), "every reading reads");
                    requireOrdered(readingRange);
                }
                require(range.has_value(), "an ambiguous value has a range");
            } else if (std::holds_alternative<DateNormalization::Standard>(normalization.value)) {
                require(style == GedcomDates::allStyles[0], "a standard value has the standard style");
            }

            const DateReading reading = GedcomDates::read(text, v7, order);
            require(reading.range == range, "read gives range's range");
            require(reading.normalization == normalization, "read gives normalize's normalization");
            require(reading.style == style, "read gives style's style");
        }
    }
    return 0;
}
