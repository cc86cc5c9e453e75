#include "../order_tracking/analyzer_rig.h"
#include "api/handles.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::FloatNear;
using testing::Pointwise;

constexpr float kUntouched = -99.0F;

// The delta spectrum as a host gets it, with twoSided and N = 2 maxOrder, of an impulse at the
// first sample of its block: every line is 2 / N * (1 + j), line 0 half of that.
std::vector<float> deltaSpectrum(std::int32_t maxOrder)
{
    AnalyzerRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    rig.order.maxOrder = maxOrder;
    rig.order.orderResolution = 1.0F;
    rig.analysis.twoSided = 1;
    rig.parameters.deltaOrderSpectrum = 1;
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaSeconds = 1e9F;
    rig.prepare();
    rig.run(2 * maxOrder + 3, [](auto i) {
        const double x = i == 1 ? 1.0 : 0.0;
        return AngleSample{.a = x, .b = x};
    });
    std::vector<float> spectrum(static_cast<std::size_t>(4 * maxOrder), kUntouched);
    readOrderSpectrumTimeDelta(Api::handleOf(&rig.analyzer), spectrum.data(), 0);
    return spectrum;
}

// N = 8: of either half of 4 lines, the first 4 floats are copied, that is 2 lines. The negative
// half, which holds zeros, comes first.
TEST(TwoSidedDeltaSpectrum, ArrivesByTheFirstHalfOfEitherHalf)
{
    const float u = kUntouched;
    EXPECT_THAT(
        deltaSpectrum(4),
        Pointwise(
            FloatNear(1e-7F),
            std::vector<float>{
                0.0F, 0.0F, 0.0F, 0.0F, u, u, u, u, 0.125F, 0.125F, 0.25F, 0.25F, u, u, u, u}));
}

// N = 10: of either half of 5 lines 5 floats are copied, two lines and the real part of the third.
TEST(TwoSidedDeltaSpectrum, WithAnOddHalfArrivesWithARealPartMore)
{
    const float u = kUntouched;
    EXPECT_THAT(deltaSpectrum(5),
                Pointwise(FloatNear(1e-7F),
                          std::vector<float>{0.0F, 0.0F, 0.0F, 0.0F, 0.0F, u, u, u, u, u,
                                             0.1F, 0.1F, 0.2F, 0.2F, 0.2F, u, u, u, u, u}));
}

} // namespace
} // namespace Velmora::OrderTracking
