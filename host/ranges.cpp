#include "host/ranges.h"

#include "host/host_error.h"

namespace Harmotrack::Host {

void checkRate(const std::string& what, double rateHz)
{
    if (!(rateHz > 0.0) || !std::isfinite(rateHz))
        throw HostError(what + " is " + numberText(rateHz) + " Hz, and it must be above 0.");
    if (rateHz > kHighestRateHz)
        throw HostError(what + " is " + numberText(rateHz) + " Hz, and it must be at most " +
                        numberText(kHighestRateHz) + " Hz.");
}

void checkTime(const std::string& what, double seconds)
{
    if (!std::isfinite(seconds)) throw HostError(what + " is not a finite number.");
    if (std::abs(seconds) > kLatestSeconds)
        throw HostError(what + " is " + numberText(seconds) + " s, and " +
                        numberText(-kLatestSeconds) + " to " + numberText(kLatestSeconds) +
                        " s are allowed.");
}

} // namespace Harmotrack::Host
