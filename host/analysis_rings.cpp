#include "host/analysis_rings.h"

#include "host/host_error.h"

#include <algorithm>
#include <limits>

namespace Harmotrack::Host {

AnalysisRings::AnalysisRings(std::size_t channels,
                             Sizes sizes,
                             int samplesPerRevolution,
                             double startSeconds)
    : channels_(channels), samplesPerRevolution_(samplesPerRevolution), startSeconds_(startSeconds)
{
    constexpr std::size_t kLargest = std::numeric_limits<std::int32_t>::max() / 2;
    if (sizes.angle > kLargest || sizes.time > kLargest)
        throw HostError("The rings would need " +
                        numberText(static_cast<double>(std::max(sizes.angle, sizes.time))) +
                        " samples, and at most 1e9 are possible: take a coarser order resolution.");
    for (std::size_t c = 0; c < channels; ++c) {
        angleSignals_[c].resize(sizes.angle);
        timeSignals_[c].resize(sizes.time);
    }
    for (Ring* ring : {&binSignal_, &frequency_, &angle_, &time_}) ring->resize(sizes.angle);
}

void AnalysisRings::restart(long long timeNumber)
{
    angleWritten_ = 0;
    timeWritten_ = timeNumber;
}

void AnalysisRings::writeAngle(const EqualAngleSamples& samples,
                               std::size_t first,
                               std::size_t count)
{
    std::size_t slot = angleWritten_ % time_.size();
    for (std::size_t k = first; k < first + count; ++k) {
        const EqualAngleStep& step = samples.steps[k];
        for (std::size_t c = 0; c < channels_; ++c) angleSignals_[c][slot] = samples.values[c][k];
        binSignal_[slot] = step.speedRpm;
        frequency_[slot] = step.speedRpm / 60.0;
        angle_[slot] = step.angleDegrees(samplesPerRevolution_);
        time_[slot] = step.seconds - startSeconds_;
        if (++slot == time_.size()) slot = 0;
    }
    angleWritten_ += count;
}

void AnalysisRings::writeTime(const EqualAngleResampler& source, std::size_t count)
{
    for (std::size_t c = 0; c < channels_; ++c) {
        Ring& ring = timeSignals_[c];
        std::span<const double> samples = source.samples(c, timeWritten_).first(count);
        std::size_t slot = static_cast<std::size_t>(timeWritten_) % ring.size();
        while (!samples.empty()) {
            const std::size_t part = std::min(samples.size(), ring.size() - slot);
            std::copy_n(samples.begin(), part, ring.begin() + static_cast<std::ptrdiff_t>(slot));
            samples = samples.subspan(part);
            slot = 0;
        }
    }
    timeWritten_ += static_cast<long long>(count);
}

ResampledBuffers AnalysisRings::angleRing() const
{
    ResampledBuffers ring{};
    ring.signalA = angleSignals_[0].data();
    ring.signalB = angleSignals_[1].data();
    ring.binSignal = binSignal_.data();
    ring.frequency = frequency_.data();
    ring.angle = angle_.data();
    ring.time = time_.data();
    ring.size = static_cast<std::int32_t>(time_.size());
    return ring;
}

TimeBuffers AnalysisRings::timeRing() const
{
    TimeBuffers ring{};
    ring.signalA = timeSignals_[0].data();
    ring.signalB = timeSignals_[1].data();
    ring.size = static_cast<std::int32_t>(timeSignals_[0].size());
    ring.writeIndex = static_cast<std::int32_t>(timeWritten_ % ring.size);
    ring.written = timeWritten_;
    return ring;
}

} // namespace Harmotrack::Host
