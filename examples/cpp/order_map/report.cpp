#include "report.h"

#include "host/host_error.h"

#include <array>
#include <charconv>

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

std::string Report::amplitudeUnit() const
{
    switch (settings.amplitude) {
    case Host::Amplitude::Rms:
        return unit + " RMS";
    case Host::Amplitude::PeakToPeak:
        return unit + " peak to peak";
    case Host::Amplitude::Peak:
        break;
    }
    return unit + " peak";
}

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

} // namespace Harmotrack::Examples
