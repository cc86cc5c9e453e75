#pragma once

#include <cstddef>
#include <string>

namespace Harmotrack::Host {

/// Compares a sampling rate with the time stamps that came with the samples.
///
///     stamp = a + count / rate, fitted by least squares
///
/// Stamps may jitter; a thousand of them with a jitter of a millisecond over a minute tell the rate
/// to a millionth. One thread at a time.
class RateCheck {
public:
    /// @param rateHz  the rate that is claimed, above 0
    explicit RateCheck(double rateHz);

    /// @param count         number of the sample, counted from 0
    /// @param stampSeconds  its time stamp
    /// @throws HostError    the stamp is not finite
    void add(long long count, double stampSeconds);

    [[nodiscard]] std::size_t stamps() const { return stamps_; }

    /// Rate that the stamps say, Hz; the claimed one for less than two stamps.
    [[nodiscard]] double measuredHz() const;

    /// One sentence if the stamps say another rate by more than 0.01 % and more than their own
    /// scatter explains, or if samples were lost: a stamp that is late by more than half of the
    /// distance from the stamp before. Otherwise empty.
    [[nodiscard]] std::string remark() const;

private:
    double rateHz_;
    std::size_t stamps_ = 0;
    long long firstCount_ = 0;
    double firstStamp_ = 0.0;
    double lastDelay_ = 0.0;
    double lastStamp_ = 0.0;
    double largestJump_ = 0.0;
    double jumpAt_ = 0.0;
    // Sums over x = seconds by the claimed rate and y = stamp - x, both from the first stamp on.
    double meanX_ = 0.0;
    double meanY_ = 0.0;
    double sumXX_ = 0.0;
    double sumXY_ = 0.0;
    double sumYY_ = 0.0;
};

} // namespace Harmotrack::Host
