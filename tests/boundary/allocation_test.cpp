// Between initiate and the end of a run nothing is allocated but the values of harmonics. What FFTW
// takes for itself must be freed at once.

#include "counted_heap.h"
#include "test_host.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace Boundary {
namespace {

TEST(Allocation, IsCounted)
{
    std::vector<double>* made = nullptr;
    {
        const Counting counting;
        made = new std::vector<double>(100);
        delete made;
    }
    EXPECT_EQ(heapCount.allocations, 2);
    EXPECT_EQ(heapCount.bytes, sizeof(std::vector<double>) + 100 * sizeof(double));
    EXPECT_EQ(heapCount.frees, 2);
}

struct Calls {
    int64_t harmonicColumns = 0; ///< results with harmonics of a bin
    int64_t results = 0;
};

// The host of this test allocates nothing either while it feeds and calls.
Calls runCounted(Host& host, const Recording& recording)
{
    Calls calls;
    const Counting counting;
    for (int64_t k = 0; k < recording.samples(); k += 7) {
        host.feed(recording, std::min<int64_t>(7, recording.samples() - k));
        for (;;) {
            const Call call = host.call();
            if (call.hasResult()) ++calls.results;
            if (call.flags[BinHarmonics] != 0) ++calls.harmonicColumns;
            if (call.consumed) break;
        }
    }
    return calls;
}

struct Sizes {
    float orderResolution; ///< N = 32 / orderResolution
    int32_t timeLines;     ///< T = 2 * timeLines
};

const std::vector<Sizes> kSizes = {{0.25F, 64}, {1.0F / 3.0F, 48}, {0.1F, 112}, {1.0F / 7.0F, 225}};

class Allocation : public testing::TestWithParam<int32_t> {};

INSTANTIATE_TEST_SUITE_P(Mode, Allocation, testing::ValuesIn(kModes));

void prepareHost(Host& host, const Sizes& sizes, int32_t blockMode)
{
    host.harmonicOrders = {1.0F, 2.5F, 5.0F};
    host.orders.orderResolution = sizes.orderResolution;
    host.analysis.timeLines = sizes.timeLines;
    host.analysis.blockMode = blockMode;
    host.analysis.weightingType = HARMOTRACK_WEIGHTING_A;
    host.analysis.averagingType = HARMOTRACK_AVERAGING_MEAN;
    host.analysis.removeMeanOrder = 1;
    host.analysis.removeMeanTime = 1;
    host.analysis.deltaOnTime = 1;
    host.analysis.deltaSeconds = 0.5F;
}

const Recording& runUpRecording()
{
    static const Recording recording = record(runUp(noise(3), noise(4)), 2500);
    return recording;
}

TEST_P(Allocation, RunWithoutHarmonicsAllocatesNothing)
{
    for (const Sizes& sizes : kSizes) {
        for (const int32_t blockMode : {0, 1}) {
            Host host(GetParam());
            prepareHost(host, sizes, blockMode);
            host.parameters = {0, 1, 1, 1, 1, 1, 1, 0, 1, 1};
            host.start();
            EXPECT_GT(runCounted(host, runUpRecording()).results, 10);
            EXPECT_EQ(heapCount.allocations, 0);
            EXPECT_EQ(heapCount.frees, 0);
            EXPECT_EQ(heapCount.fftwBlocks, 0);
        }
    }
}

// One array of values for each signal of each block of a bin.
TEST_P(Allocation, HarmonicsOfABinAllocateTheirValuesAndNothingElse)
{
    for (const Sizes& sizes : kSizes) {
        for (const int32_t blockMode : {0, 1}) {
            Host host(GetParam());
            prepareHost(host, sizes, blockMode);
            host.parameters = {1, 1, 1, 1, 1, 1, 1, 0, 1, 1};
            host.start();
            const Calls calls = runCounted(host, runUpRecording());
            const auto arrays =
                calls.harmonicColumns * static_cast<int64_t>(resultSets(GetParam()).size());
            EXPECT_GT(arrays, 2);
            EXPECT_EQ(heapCount.allocations, arrays);
            EXPECT_EQ(heapCount.bytes, static_cast<size_t>(arrays) * 3 * 2 * sizeof(float));
            EXPECT_EQ(heapCount.frees, arrays);
            EXPECT_EQ(heapCount.fftwBlocks, 0);
        }
    }
}

// Blocks of 128 samples at sample 65, 193 and so on, and one at each release; 2500 samples less
// half a block are taken. The binned value plays no part.
TEST_P(Allocation, DeltaHarmonicsAllocateTheirValuesAndNothingElse)
{
    Host host(GetParam());
    prepareHost(host, kSizes[0], 2);
    host.analysis.deltaSeconds = 1000.0F;
    host.parameters.deltaHarmonics = 1;
    host.parameters.deltaOrderSpectrum = 1;
    host.start();
    runCounted(host, runUpRecording());
    const int64_t blocks = (2500 - 64 - 1 - 65) / 128 + 1;
    const auto arrays = blocks * static_cast<int64_t>(resultSets(GetParam()).size());
    EXPECT_EQ(heapCount.allocations, arrays);
    EXPECT_EQ(heapCount.frees, arrays);
}

TEST_P(Allocation, ResetAndUpdateBuffersAllocateNothing)
{
    Host host(GetParam());
    prepareHost(host, kSizes[0], 0);
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    host.run(runUpRecording());
    {
        const Counting counting;
        reset(host.handle());
        reset(host.handle());
        updateBuffers(host.handle(), 1, 1);
        updateBuffers(host.handle(), -1, -1);
    }
    EXPECT_EQ(heapCount.allocations, 0);
    EXPECT_EQ(heapCount.frees, 0);
}

// A second initiate with the same setup keeps what it need not change. Its only memory is that of
// the evaluators' and tables' passing objects, and it gives all of that back.
TEST_P(Allocation, SecondInitiateWithTheSameSetupKeepsNothingMore)
{
    Host host(GetParam());
    prepareHost(host, kSizes[0], 0);
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    int32_t error = -1;
    {
        const Counting counting;
        initiate(host.handle(), &error);
    }
    EXPECT_EQ(error, 0);
    EXPECT_EQ(heapCount.allocations, heapCount.frees);
    EXPECT_EQ(heapCount.fftwBlocks, 0);
}

TEST_P(Allocation, ReadsAllocateNothing)
{
    Host host(GetParam());
    prepareHost(host, kSizes[0], 0);
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    host.run(runUpRecording());
    std::vector<float> array(4096);
    double time = 0.0;
    const auto which = host.firstSet();
    AnalyzerHandle analyzer = host.handle();
    {
        const Counting counting;
        readOverall(analyzer, 2, array.data(), which);
        readOrderDomainBinWaterfall(analyzer, 2, array.data(), which);
        readOrderDomainBinWaterfallTwoSided(analyzer, 2, array.data());
        readOrderDomainTimeWaterfall(analyzer, array.data(), &time, which);
        readOrderDomainTimeWaterfallTwoSided(analyzer, array.data(), &time);
        readOrderDomainHarmonic(analyzer, 1, 2, array.data(), which);
        readOrderDomainHarmonicBin(analyzer, 1, 2, which, array.data());
        readOrderDomainHarmonicsTimeDelta(analyzer, array.data(), &time, which);
        readOrderSpectrumTimeDelta(analyzer, array.data(), which);
        readTimeDomainBinWaterfall(analyzer, 2, array.data(), which);
        readTimeDomainBinWaterfallTwoSided(analyzer, 2, array.data());
    }
    EXPECT_EQ(heapCount.allocations, 0);
}

// destroy frees the analyzer's own block and nothing else, FFTW's among the rest.
TEST_P(Allocation, DestroyFreesOneBlock)
{
    Host host(GetParam());
    prepareHost(host, kSizes[0], 0);
    host.parameters = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    host.start();
    host.run(runUpRecording());
    {
        const Counting counting;
        destroy(host.handle());
    }
    EXPECT_EQ(heapCount.frees, 1);
    EXPECT_EQ(heapCount.allocations, 0);
    EXPECT_EQ(heapCount.fftwBlocks, 0);
}

} // namespace
} // namespace Boundary
