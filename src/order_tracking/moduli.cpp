#include "order_tracking/moduli.h"

#include "platform/cpu_features.h"

#if HARMOTRACK_X86_64
#include "order_tracking/moduli_x86_64.h"
#else
#include "order_tracking/moduli_portable.h"
#endif

#include <algorithm>
#include <array>

namespace Velmora::OrderTracking {
namespace {

using ModuliLoop::Backward;
using ModuliLoop::chunkModuli;
using ModuliLoop::Forward;
using ModuliLoop::Line;
using ModuliLoop::OneSided;

void halve(float* values, std::size_t count)
{
    for (std::size_t k = 0; k < count; ++k) values[k] *= 0.5F;
}

} // namespace

void moduli(std::span<const Line> spectrum, float* out)
{
    for (std::size_t first = 0; first < spectrum.size(); first += kModuliChunk)
        chunkModuli(OneSided{spectrum.data() + first},
                    std::min(kModuliChunk, spectrum.size() - first),
                    out + first);
}

void forwardModuli(std::span<const Line> spectrumA, std::span<const Line> spectrumB, float* out)
{
    for (std::size_t first = 0; first < spectrumA.size(); first += kModuliChunk) {
        const std::size_t count = std::min(kModuliChunk, spectrumA.size() - first);
        chunkModuli(
            Forward{spectrumA.data() + first, spectrumB.data() + first}, count, out + first);
        halve(out + first, count);
    }
}

void backwardModuli(std::span<const Line> spectrumA, std::span<const Line> spectrumB, float* out)
{
    for (std::size_t first = 0; first < spectrumA.size(); first += kModuliChunk) {
        const std::size_t count = std::min(kModuliChunk, spectrumA.size() - first);
        chunkModuli(
            Backward{spectrumA.data() + first, spectrumB.data() + first}, count, out + first);
        halve(out + first, count);
    }
}

float centreModulus(Line lineA, Line lineB)
{
    return ModuliLoop::exactModulus(Forward{&lineA, &lineB}.read<ModuliLoop::OneLine>(0));
}

void twoSidedModuli(std::span<const Line> spectrumA, std::span<const Line> spectrumB, float* out)
{
    float* const centre = out + (spectrumA.size() - 1);
    *centre = centreModulus(spectrumA[0], spectrumB[0]);
    forwardModuli(spectrumA.subspan(1), spectrumB.subspan(1), centre + 1);

    std::array<float, kModuliChunk> ascending; // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (std::size_t first = 1; first < spectrumA.size(); first += kModuliChunk) {
        const std::size_t count = std::min(kModuliChunk, spectrumA.size() - first);
        backwardModuli(
            spectrumA.subspan(first, count), spectrumB.subspan(first, count), ascending.data());
        std::reverse_copy(
            ascending.begin(), ascending.begin() + count, centre - (first + count) + 1);
    }
}

} // namespace Velmora::OrderTracking
