#include "autotracker/autotracker.h"

namespace Velmora::Autotracker {

void Autotracker::feedDecimator()
{
    if (decimation_ == 1) return;
    const std::int32_t count = unreadSamples(signal_);
    for (std::int32_t i = 0; i < count; ++i) {
        const double sample = signal_.samples[signal_.readIndex];
        signal_.readIndex = movedIndex(signal_.readIndex, 1, signal_.capacity);
        ++signal_.readCount;
        keepFiltered(sample);
    }
}

/// Filters one sample; behind the delay, keeps every decimation-th output.
void Autotracker::keepFiltered(double sample)
{
    const float filtered = filter_.process(static_cast<float>(sample));
    ++filteredCount_;
    const std::int32_t delay = (filter_.tapCount() - 1) / 2;
    if (filteredCount_ < delay) return;

    ++decimationPhase_;
    if (decimationPhase_ != decimation_) return;
    decimationPhase_ = 0;

    DecimatedRing& ring = decimatedSignal_;
    ring.storage[static_cast<std::size_t>(ring.writeIndex)] = static_cast<double>(filtered);
    ring.writeIndex = movedIndex(ring.writeIndex, 1, ring.capacity);
    ++ring.writeCount;
}

} // namespace Velmora::Autotracker
