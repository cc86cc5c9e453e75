#pragma once

#include "host/equal_angle_resampler.h"

#include <harmotrack/harmotrack.h>

#include <array>
#include <cstddef>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// The memory of the two rings that the library reads: sample number k stands in slot k % size.
/// The numbers of the equal-angle ring begin anew with each stretch of known angle.
class AnalysisRings {
public:
    struct Sizes {
        std::size_t angle = 0;
        std::size_t time = 0;
    };

    /// @throws HostError  more slots than the library can count
    AnalysisRings(std::size_t channels, Sizes sizes, int samplesPerRevolution, double startSeconds);

    /// A stretch begins; the equal-time ring goes on with sample number `timeNumber`.
    void restart(long long timeNumber);

    void writeAngle(const EqualAngleSamples& samples, std::size_t first, std::size_t count);
    void writeTime(const EqualAngleResampler& source, std::size_t count);

    /// Number of the next sample in the equal-time ring.
    [[nodiscard]] long long timeWritten() const { return timeWritten_; }

    [[nodiscard]] ResampledBuffers angleRing() const;
    [[nodiscard]] TimeBuffers timeRing() const;

private:
    using Ring = std::vector<double>;

    std::size_t channels_;
    int samplesPerRevolution_;
    double startSeconds_;
    std::array<Ring, 2> angleSignals_;
    Ring binSignal_;
    Ring frequency_;
    Ring angle_;
    Ring time_;
    std::array<Ring, 2> timeSignals_;
    std::size_t angleWritten_ = 0;
    long long timeWritten_ = 0;
};

} // namespace Harmotrack::Host
