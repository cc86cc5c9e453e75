#include "host/signals/rate_check.h"

#include "host/host_error.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Host {

RateCheck::RateCheck(double rateHz) : rateHz_(rateHz) {}

// Welford's update, which does not cancel however long the recording is.
void RateCheck::add(long long count, double stampSeconds)
{
    if (!std::isfinite(stampSeconds))
        throw HostError("The time stamp of sample " + std::to_string(count) +
                        " is not a finite number.");
    if (stamps_ == 0) {
        firstCount_ = count;
        firstStamp_ = stampSeconds;
        lastStamp_ = stampSeconds;
    }
    const double x = static_cast<double>(count - firstCount_) / rateHz_;
    const double y = stampSeconds - firstStamp_ - x;
    const double step = stampSeconds - lastStamp_;
    const double jump = y - lastDelay_;
    if (stamps_ > 0 && jump > 0.5 * step && jump > largestJump_) {
        largestJump_ = jump;
        jumpAt_ = lastStamp_;
    }
    lastDelay_ = y;
    lastStamp_ = stampSeconds;

    ++stamps_;
    const auto n = static_cast<double>(stamps_);
    const double dx = x - meanX_;
    const double dy = y - meanY_;
    meanX_ += dx / n;
    meanY_ += dy / n;
    sumXX_ += dx * (x - meanX_);
    sumXY_ += dx * (y - meanY_);
    sumYY_ += dy * (y - meanY_);
}

double RateCheck::measuredHz() const
{
    return sumXX_ > 0.0 ? rateHz_ / (1.0 + sumXY_ / sumXX_) : rateHz_;
}

std::string RateCheck::remark() const
{
    if (largestJump_ > 0.0)
        return "The time stamps jump by " + numberText(largestJump_) + " s after " +
               numberText(jumpAt_) + " s: samples were lost.";
    if (stamps_ < 3 || !(sumXX_ > 0.0)) return {};
    const double slope = sumXY_ / sumXX_;
    const double scatter =
        std::sqrt(std::max(sumYY_ - slope * sumXY_, 0.0) / static_cast<double>(stamps_ - 2));
    if (std::abs(slope) < 1e-4 || std::abs(slope) < 4.0 * scatter / std::sqrt(sumXX_)) return {};
    return "The time stamps say a sampling rate of " + numberText(measuredHz()) +
           " Hz, and it is " + numberText(rateHz_) + " Hz by its setting.";
}

} // namespace Harmotrack::Host
