#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// From the stamps of a counter that wraps to seconds.
///
///     seconds = (stamp - first stamp, as a distance of less than half the counter's range) /
///     tickHz
///
/// Each stamp is taken as the one nearest to the stamp before, so that stamps out of order by less
/// than half the range keep their place: a Tachometer sorts them. Any number of calls.
class TimeStamps {
public:
    /// @param bits    of the counter, 2 to 64
    /// @param tickHz  ticks a second, above 0
    /// @throws HostError  an argument is out of range
    TimeStamps(int bits, double tickHz);

    /// @param stamps  bits above those of the counter don't count
    /// @return        seconds since the first stamp of all; negative where one came before it
    std::vector<double> toSeconds(std::span<const std::uint64_t> stamps);

private:
    int bits_;
    double tickHz_;
    std::optional<std::uint64_t> last_;
    std::uint64_t ticks_ = 0; ///< of two's complement
};

} // namespace Harmotrack::Host
