#include "zuap_Decimal.h"

#include <algorithm>

namespace zuap {

static bool isDigit(char byte) {
    return byte >= '0' && byte <= '9';
}

DecimalError parseDecimal(std::string_view text, Decimal& number) {
    const bool isNegative = !text.empty() && text.front() == '-';
    if (isNegative)
        text.remove_prefix(1);
    const size_t point = std::min(text.find('.'), text.size());
    const std::string_view whole = text.substr(0, point);
    std::string_view fraction = text.substr(std::min(point + 1, text.size()));
    const bool hasFraction = point < text.size();
    if ((hasFraction ? fraction : whole).empty() || !std::all_of(whole.begin(), whole.end(), isDigit) ||
        !std::all_of(fraction.begin(), fraction.end(), isDigit))
        return DecimalError::notANumber;
    fraction = fraction.substr(0, fraction.find_last_not_of('0') + 1); // empty if all are: npos + 1 is 0
    if (fraction.size() > decimalPlaces)
        return DecimalError::tooManyDecimals;

    Decimal units = 0;
    for (const char digit : whole)
        units = std::min<Decimal>(units * 10 + (digit - '0'), 100'000'000'000); // 10^integerDigits
    for (unsigned int place = 0; place < decimalPlaces; ++place)
        units = units * 10 + (place < fraction.size() ? fraction[place] - '0' : 0);
    units = std::min(units, greatestDecimal + 1);
    number = isNegative ? -units : units;
    return DecimalError::none;
}

} // namespace zuap
