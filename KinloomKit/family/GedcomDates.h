// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "document/GedcomDocument.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kinloom {

/// How all-number dates such as 03/04/1890 are read. `automatic` is stored as "auto".
enum class NumericDateOrder : std::uint8_t
{
    automatic,
    dayFirst,
    monthFirst
};

inline constexpr std::array<NumericDateOrder, 3> allNumericDateOrders{
    NumericDateOrder::automatic, NumericDateOrder::dayFirst, NumericDateOrder::monthFirst};

/// "auto", "dayFirst", "monthFirst".
[[nodiscard]] std::string_view rawValue(NumericDateOrder order);
[[nodiscard]] std::optional<NumericDateOrder> numericDateOrderFromRawValue(std::string_view raw);

/// The span of time a date value allows, in fractional years: year + (month − 1)/12 + (day − 1)/372.
/// An absent bound is open towards the past (low) or the future (high).
struct DateRange
{
    std::optional<double> low;
    std::optional<double> high;

    bool operator==(const DateRange&) const = default;
};

/// Whether and how a date value can be written the standard way.
struct DateNormalization
{
    struct Fix
    {
        std::string value; ///< the value rewritten
        bool operator==(const Fix&) const = default;
    };
    struct Ambiguous
    {
        std::vector<std::string> readings; ///< two or more standard readings
        bool operator==(const Ambiguous&) const = default;
    };
    struct Standard
    {
        bool operator==(const Standard&) const = default;
    };
    struct Unrecognized
    {
        bool operator==(const Unrecognized&) const = default;
    };

    std::variant<Fix, Ambiguous, Standard, Unrecognized> value;

    bool operator==(const DateNormalization&) const = default;
};

/// Everything the checks want to know about one DATE value, as the single functions give it.
struct DateReading
{
    std::optional<DateRange> range;
    DateNormalization normalization;
    std::string_view style; ///< one of `GedcomDates::allStyles`

    bool operator==(const DateReading&) const = default;
};

/// A date read out of words that the standard forms do not hold ("1908 ?", "23 AD").
struct WordsDate
{
    std::string date;   ///< written the standard way; empty when the words read more than one way
    bool plain = false; ///< one date, neither qualified nor a range: an interpreted date can keep it

    bool operator==(const WordsDate&) const = default;
};

namespace GedcomDates {

/// The eight date styles, in the order their rules are tried.
inline constexpr std::array<std::string_view, 8> allStyles{
    "Standard (12 MAR 1890)",
    "ISO (1890-03-12)",
    "Numbers (03/12/1890)",
    "Words in lower case (abt. 1890)",
    "Month first (March 12, 1890)",
    "Mixed case (12 Mar 1890)",
    "Extra spaces",
    "Other",
};

/// The span a DATE value stands for, or none when it cannot be read (also after normalizing).
[[nodiscard]] std::optional<DateRange> range(std::string_view value, NumericDateOrder order, bool v7);

/// The span of a value written the standard way, read exactly as it stands: no trimming, no normalizing.
[[nodiscard]] std::optional<DateRange> readStandard(std::string_view value, bool v7);

/// `range`, `normalize` and `style` of one value in one go, sharing the work they have in common.
[[nodiscard]] DateReading read(std::string_view value, bool v7, NumericDateOrder order);

/// Whether and how the value can be written the standard way.
[[nodiscard]] DateNormalization normalize(std::string_view value, bool v7, NumericDateOrder order);

/// Whether the value is a BET or FROM range, written the standard way, that ends before it starts
/// ("BET 1950 AND 302"). It reads as the span of both dates.
[[nodiscard]] bool isReversedRange(std::string_view value, bool v7);

/// The name of the way the value is written: one of `allStyles`.
[[nodiscard]] std::string_view style(std::string_view value, bool v7);

/// A value in a calendar that is not reckoned with (Hebrew, French republican, extensions).
[[nodiscard]] bool isOtherCalendar(std::string_view value);

/// A value in parentheses: kept as it is, never ranged.
[[nodiscard]] bool isDatePhrase(std::string_view value);

/// The last year written with a dual year: Britain and its colonies, the last to leave the Julian
/// calendar, changed in 1752.
inline constexpr int lastDualYear = 1752;

/// "1815/1816" after the dual years: one year or the other, written "BET 1815 AND 1816"; none for
/// any other value.
[[nodiscard]] std::optional<std::string> eitherYear(std::string_view value);

/// Whether the value holds anything a date is written with: a digit, or the name of a month.
[[nodiscard]] bool hasDateElement(std::string_view value);

/// The date in a value that does not read as it stands, once its question marks of doubt and its
/// words for the Christian era are set aside; none when it has neither, or no date is left. The
/// reading is a guess: the words said more than the date.
[[nodiscard]] std::optional<WordsDate> dateInWords(std::string_view value, bool v7, NumericDateOrder order);

/// The numeric order the file's all-number dates show, or `automatic` when they decide nothing.
[[nodiscard]] NumericDateOrder decideNumericOrder(const GedcomDocument& document);

} // namespace GedcomDates
} // namespace kinloom
