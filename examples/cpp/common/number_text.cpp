#include "number_text.h"

#include "host/host_error.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdio>

namespace Harmotrack::Examples {
namespace {

template <typename Number>
std::string shortestOf(Number value)
{
    std::array<char, 32> text{};
    const auto end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
    return {text.data(), end};
}

} // namespace

std::string shortest(float value)
{
    return shortestOf(value);
}

std::string shortest(double value)
{
    return shortestOf(value);
}

std::string rounded(double value)
{
    return Host::numberText(value);
}

double roundStep(double value)
{
    const double decade = std::pow(10.0, std::floor(std::log10(value)));
    double best = decade;
    for (const double factor : {2.0, 5.0, 10.0}) {
        if (std::abs(std::log(factor * decade / value)) < std::abs(std::log(best / value)))
            best = factor * decade;
    }
    return best;
}

std::string fourDigits(double value, std::size_t width)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.4g", value);
    const std::string digits = text.data();
    return std::string(width - std::min(width, digits.size()), ' ') + digits;
}

std::string summaryLine(const std::string& name, const std::string& text)
{
    constexpr std::size_t kNameWidth = 18;
    return name + std::string(kNameWidth - std::min(kNameWidth, name.size()), ' ') + text + '\n';
}

} // namespace Harmotrack::Examples
