#include "host/signals/time_stamps.h"

#include "host/host_error.h"

#include <cmath>

namespace Harmotrack::Host {

TimeStamps::TimeStamps(int bits, double tickHz) : bits_(bits), tickHz_(tickHz)
{
    if (bits < 2 || bits > 64)
        throw HostError("The time stamps' counter has " + std::to_string(bits) +
                        " bits, and 2 to 64 are allowed.");
    if (!(tickHz > 0.0) || !std::isfinite(tickHz))
        throw HostError("The rate of the time stamps is " + numberText(tickHz) +
                        " Hz, and it must be above 0.");
}

std::vector<double> TimeStamps::toSeconds(std::span<const std::uint64_t> stamps)
{
    std::vector<double> seconds;
    seconds.reserve(stamps.size());
    const int unused = 64 - bits_;
    for (const std::uint64_t stamp : stamps) {
        // At the upper end of the word the difference wraps as the counter does, and its sign is
        // that of the nearer way round.
        if (last_) {
            const auto ticks = static_cast<std::int64_t>((stamp - *last_) << unused) >> unused;
            ticks_ +=
                static_cast<std::uint64_t>(ticks); // wraps where a sum of signed ones must not
        }
        last_ = stamp;
        seconds.push_back(static_cast<double>(static_cast<std::int64_t>(ticks_)) / tickHz_);
    }
    return seconds;
}

} // namespace Harmotrack::Host
