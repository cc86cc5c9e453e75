/// @file
/// Checks that end in an Error.
#ifndef HARMOTRACK_DETAIL_REQUIRE_HPP
#define HARMOTRACK_DETAIL_REQUIRE_HPP

#include <harmotrack/setups.hpp>

#include <array>
#include <cstdint>
#include <cstdio>
#include <span>
#include <string>
#include <string_view>

namespace Harmotrack {

namespace Detail {

/// A number as a sentence shows it.
inline std::string numberText(double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

inline void
require(bool good, std::string_view name, double value, const std::string& whatIsAllowed)
{
    if (good) return;
    throw Error(std::string(name) + " is " + numberText(value) + ", and " + whatIsAllowed + ".");
}

inline void requireThat(bool good, const char* sentence)
{
    if (!good) throw Error(sentence);
}

template <typename Enumeration>
void requireListed(Enumeration value, Enumeration last, std::string_view name)
{
    const auto number = static_cast<std::int32_t>(value);
    const auto highest = static_cast<std::int32_t>(last);
    require(number >= 0 && number <= highest,
            name,
            number,
            "the numbers 0 to " + std::to_string(highest) + " have a meaning");
}

inline bool allFinite(std::span<const double> values)
{
    // What is not finite makes the sum of the differences NaN, and nothing else does.
    double sum = 0.0;
    for (const double value : values) sum += value - value;
    return sum == 0.0;
}

} // namespace Detail

} // namespace Harmotrack

#endif
