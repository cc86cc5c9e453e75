// What does the analyzer cost beyond what it can't avoid: the memory traffic of the walk over the
// samples, and the transforms of FFTW?

#include "dsp/fft/fftw_lib.h"
#include "order_tracking/order_analyzer.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <vector>

namespace {

using Velmora::KorLib::Dsp::Fft::FFTWLib;
using Velmora::OrderTracking::OrderAnalyzer;

constexpr std::int32_t kMaxOrder = 32;
constexpr std::int32_t kBlocksPerRing = 16;
constexpr std::int32_t kRingBlockLengths = 4;

template <typename Work>
double seconds(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// A host whose ring holds the same few blocks for ever: a run-up through four bins, then a fall
/// back to its start, which a rising axis does not take for a visit. So there is a block every N
/// samples, and no time goes into filling the ring.
class RunUpHost {
public:
    RunUpHost(std::int32_t mode, std::int32_t blockSize)
        : slots_(static_cast<std::size_t>(ringSize(blockSize))), analyzer_(mode)
    {
        orders_.orderResolution = 2.0F * kMaxOrder / static_cast<float>(blockSize);
        orders_.maxOrder = kMaxOrder;
        binning_.direction = HARMOTRACK_DIRECTION_RISING;
        binning_.minValue = 1000.0F;
        binning_.maxValue = 1000.0F + 100.0F * (kBlocksPerRing - 1);
        binning_.step = 100.0F;
        binning_.scale = 1.0;
        setup_.windowType = HARMOTRACK_WINDOW_HANNING;
        setup_.maxRpm = binning_.maxValue;
        setup_.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        fillRing();
    }

    /// Initiates for the flags as they are, and starts a run.
    void start(std::uint8_t AnalyzerParameters::*flag)
    {
        parameters_ = {};
        parameters_.*flag = 1;
        analyzer_.setBinningSetup(&binning_);
        analyzer_.setOrderSetup(&orders_);
        analyzer_.setAnalysisSetup(&setup_);
        analyzer_.setParameters(&parameters_);
        analyzer_.setInputBufferLimit(1 << 20);
        analyzer_.preinitiate();
        ResampledBuffers ring{};
        ring.signalA = signalA_.data();
        ring.signalB = signalB_.data();
        ring.binSignal = speed_.data();
        ring.frequency = frequency_.data();
        ring.angle = angle_.data();
        ring.time = time_.data();
        ring.size = static_cast<std::int32_t>(slots_);
        analyzer_.setResampledBuffers(ring);
        TimeBuffers none{};
        none.size = 1;
        analyzer_.setTimeBuffers(none);
        analyzer_.initiate();
        analyzer_.reset();
        deliver();
    }

    /// Delivers one ring's worth of samples and takes it; returns the blocks stored.
    std::int32_t deliver()
    {
        analyzer_.updateBuffers(static_cast<std::int32_t>(slots_), 0);
        std::int32_t blocks = 0;
        while (analyzer_.calculate().consumed == 0) ++blocks;
        return blocks;
    }

    [[nodiscard]] std::size_t slots() const { return slots_; }

private:
    static std::int32_t ringSize(std::int32_t blockSize) { return kRingBlockLengths * blockSize; }

    void fillRing()
    {
        for (auto* values : {&signalA_, &signalB_, &speed_, &frequency_, &angle_, &time_})
            values->resize(slots_);
        for (std::size_t i = 0; i < slots_; ++i) {
            const double share = static_cast<double>(i) / static_cast<double>(slots_);
            const double turns = static_cast<double>(i) / (2.0 * kMaxOrder);
            speed_[i] = 950.0 + (100.0 * kBlocksPerRing - 1.0) * share;
            frequency_[i] = speed_[i] / 60.0;
            angle_[i] = 360.0 * (turns - std::floor(turns));
            time_[i] = share;
            signalA_[i] =
                std::cos(2.0 * std::numbers::pi * turns) + 0.1 * std::sin(0.7 * turns * turns);
            signalB_[i] =
                std::sin(2.0 * std::numbers::pi * turns) + 0.1 * std::cos(0.3 * turns * turns);
        }
    }

    std::size_t slots_;
    BinningSetup binning_{};
    OrderSetup orders_{};
    AnalysisSetup setup_{};
    AnalyzerParameters parameters_{};
    std::vector<double> signalA_, signalB_, speed_, frequency_, angle_, time_;
    OrderAnalyzer analyzer_;
};

/// The bare transform of a mode, on zeros, which stay zeros: its time does not depend on the data.
class BareTransform {
public:
    BareTransform(std::int32_t mode, std::int32_t size)
        : fftw_(FFTWLib<double>::instance().functions()),
          buffer_(fftw_.alloc_real(2 * static_cast<std::size_t>(size) + 2))
    {
        std::fill_n(buffer_, 2 * static_cast<std::size_t>(size) + 2, 0.0);
        auto* lines = reinterpret_cast<fftw_complex*>(buffer_);
        plan_ = mode == HARMOTRACK_MODE_ONE_REAL
                    ? fftw_.plan_dft_r2c_1d(size, buffer_, lines, FFTW_ESTIMATE)
                    : fftw_.plan_dft_1d(size, lines, lines, FFTW_FORWARD, FFTW_ESTIMATE);
    }

    BareTransform(const BareTransform&) = delete;
    BareTransform& operator=(const BareTransform&) = delete;

    ~BareTransform()
    {
        fftw_.destroy_plan(plan_);
        fftw_.free(buffer_);
    }

    void execute() const { fftw_.execute(plan_); }

private:
    decltype(FFTWLib<double>::instance().functions()) fftw_;
    double* buffer_;
    fftw_plan plan_ = nullptr;
};

/// How much longer than the bare transforms does calculate() take for its blocks? The least times
/// of all rounds are compared; the walk over the samples between the blocks is taken off.
void blocks(benchmark::State& state)
{
    const auto mode = static_cast<std::int32_t>(state.range(0));
    const auto size = static_cast<std::int32_t>(state.range(1));
    RunUpHost withBlocks(mode, size);
    withBlocks.start(&AnalyzerParameters::binOrderSpectrum);
    RunUpHost walkAlone(mode, size);
    walkAlone.start(&AnalyzerParameters::deltaHarmonics); // never due: no release is asked for
    const BareTransform transform(mode, size);

    double leastRun = std::numeric_limits<double>::infinity();
    double leastWalk = leastRun;
    double leastTransforms = leastRun;
    std::int64_t taken = 0;
    while (state.KeepRunning()) {
        std::int32_t blocksNow = 0;
        const double run = seconds([&] { blocksNow = withBlocks.deliver(); });
        taken += blocksNow;
        leastRun = std::min(leastRun, run);
        leastWalk = std::min(leastWalk, seconds([&] { walkAlone.deliver(); }));
        leastTransforms = std::min(leastTransforms, seconds([&] {
                                       for (std::int32_t i = 0; i < kBlocksPerRing; ++i)
                                           transform.execute();
                                   }));
        state.SetIterationTime(run);
        if (blocksNow != kBlocksPerRing) state.SkipWithError("a ring did not give its blocks");
    }
    state.counters["blocks"] = static_cast<double>(taken);
    state.counters["us/fft"] = leastTransforms / kBlocksPerRing * 1e6;
    state.counters["ratio"] = (leastRun - leastWalk) / leastTransforms;
    state.counters["walk share"] = leastWalk / leastRun;
}

/// Time a sample, of as many as each iteration takes.
benchmark::Counter perSample(const benchmark::State& state, std::size_t samples)
{
    return {static_cast<double>(state.iterations()) * static_cast<double>(samples),
            benchmark::Counter::kIsRate | benchmark::Counter::kInvert};
}

/// What does a sample cost when no block is due?
void walk(benchmark::State& state)
{
    RunUpHost host(HARMOTRACK_MODE_ONE_REAL, 4096);
    host.start(&AnalyzerParameters::deltaHarmonics);
    while (state.KeepRunning()) benchmark::DoNotOptimize(host.deliver());
    state.counters["per sample"] = perSample(state, host.slots());
}

/// What would the bare memory traffic of the walk cost: four arrays of double, read once?
void fourArrays(benchmark::State& state)
{
    constexpr std::size_t slots = 16384;
    const std::vector<double> a(slots, 1.0), b(slots, 2.0), c(slots, 3.0), d(slots, 4.0);
    while (state.KeepRunning())
        for (std::size_t i = 0; i < slots; ++i) benchmark::DoNotOptimize(a[i] + b[i] + c[i] + d[i]);
    state.counters["per sample"] = perSample(state, slots);
}

BENCHMARK(fourArrays);
BENCHMARK(walk);
BENCHMARK(blocks)
    ->ArgNames({"mode", "N"})
    ->ArgsProduct({{0, 1, 2}, {1024, 4096, 16384}})
    ->UseManualTime()
    ->MinTime(0.5);

} // namespace
