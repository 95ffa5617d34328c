#pragma once
// Decimal numbers without binary rounding. Internal: not installed.

#include <cstdint>
#include <string_view>

namespace zuap {

// A decimal number as a count of its smallest unit, 10^-decimalPlaces.
using Decimal = std::int64_t;
constexpr unsigned int decimalPlaces = 7;
constexpr unsigned int integerDigits = 11;
constexpr Decimal greatestDecimal = 999'999'999'999'999'999; // in units: 11 digits, 7 decimals

enum class DecimalError { none, notANumber, tooManyDecimals };

// Reads `text`: an optional "-", digits, and an optional "." with digits; or a "." with digits alone. Numbers
// beyond integerDigits give greatestDecimal + 1, or less than -greatestDecimal; zeros at the end of the
// fraction do not count as decimals. On failure `number` is unchanged.
DecimalError parseDecimal(std::string_view text, Decimal& number);

} // namespace zuap
