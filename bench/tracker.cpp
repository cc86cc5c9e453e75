// What does the tracker cost beyond what it can't avoid: the sines and cosines of a candidate, and
// the kernel of the anti-alias filter? And how many signals does one core track?

#include "autotracker/autotracker.h"
#include "kernels/kernel_table.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <vector>

namespace {

using Velmora::Autotracker::Autotracker;
using Velmora::Kernels::kernelTable;

constexpr double kTwoPi = 2 * std::numbers::pi;

template <typename Work>
double seconds(const Work& work)
{
    const auto start = std::chrono::steady_clock::now();
    work();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

/// The least times of two works that take turns in one run.
class Comparison {
public:
    explicit Comparison(benchmark::State& state) : state_(state) {}

    /// @param repetitions  of each work in one turn
    template <typename Ours, typename Bare>
    void takeTurns(int repetitions, const Ours& ours, const Bare& bare)
    {
        repetitions_ = repetitions;
        while (state_.KeepRunning()) {
            const double time = seconds([&] {
                for (int i = 0; i < repetitions; ++i) ours();
            });
            state_.SetIterationTime(time);
            ours_ = std::min(ours_, time);
            bare_ = std::min(bare_, seconds([&] {
                                 for (int i = 0; i < repetitions; ++i) bare();
                             }));
        }
    }

    /// @param items  that one repetition handles
    void report(double items)
    {
        const double all = items * repetitions_;
        state_.counters["ns"] = ours_ / all * 1e9;
        state_.counters["bare_ns"] = bare_ / all * 1e9;
        state_.counters["ratio"] = ours_ / bare_;
    }

private:
    benchmark::State& state_;
    int repetitions_ = 1;
    double ours_ = std::numeric_limits<double>::infinity();
    double bare_ = std::numeric_limits<double>::infinity();
};

/// A tracker for a steady machine at 40 Hz with the orders 1 .. m, and a ring that holds the same
/// samples for ever.
class SteadyHost {
public:
    SteadyHost(std::int32_t orders, double rate, std::size_t slots) : rate_(rate), ring_(slots)
    {
        for (std::int32_t j = 1; j <= orders; ++j) orders_.push_back(static_cast<float>(j));
        for (std::size_t i = 0; i < slots; ++i) {
            const auto k = static_cast<double>(i);
            for (const float order : orders_)
                ring_[i] += std::cos(kTwoPi * 40.0 * k / rate * static_cast<double>(order)) /
                            static_cast<double>(order);
            ring_[i] += 0.1 * std::cos(k * k);
        }
        setup_.frequencyInRpm = 1;
        setup_.minFrequency = 600.0;
        setup_.maxFrequency = 6000.0;
        setup_.orders = orders_.data();
        setup_.orderCount = orders;
    }

    /// Blocks of a number of samples at the tracker's own rate.
    void start(std::int32_t blockSamples)
    {
        setup_.manualParameters = 1;
        setup_.blockDuration = (blockSamples + 0.5) / rate_;
        setup_.overlapPercent = 50.0;
        setup_.searchStep = 0.5;
        setup_.predictionSigmaPercent = 1.0;
        start();
    }

    void start()
    {
        tracker_.setTrackingSetup(&setup_);
        tracker_.setSampleRate(rate_, 1);
        tracker_.setSignalBuffer({.samples = ring_.data(),
                                  .capacity = static_cast<std::int32_t>(ring_.size()),
                                  .readIndex = 0,
                                  .writeCount = 0,
                                  .readCount = 0});
        tracker_.update();
        tracker_.initiate();
        tracker_.reset();
    }

    Autotracker& tracker() { return tracker_; }

private:
    double rate_;
    std::vector<double> ring_;
    std::vector<float> orders_;
    TrackingSetup setup_{};
    Autotracker tracker_;
};

/// One likelihood of m orders over N samples against its N m pairs of sine and cosine; reach 1.6.
void likelihood(benchmark::State& state)
{
    const auto samples = static_cast<std::int32_t>(state.range(0));
    const auto orders = static_cast<std::int32_t>(state.range(1));
    const double rate = 400.0 * orders; // no decimation
    SteadyHost host(orders, rate, static_cast<std::size_t>(samples) + 1);
    host.start(samples);
    Autotracker& tracker = host.tracker();
    tracker.copyBlock();
    const double candidate = kTwoPi * 40.0;
    Comparison comparison(state);
    comparison.takeTurns(
        1 + 10000 / (samples * orders),
        [&] { benchmark::DoNotOptimize(tracker.likelihood(candidate, false)); },
        [&] {
            for (std::int32_t j = 1; j <= orders; ++j) {
                const double step = j * candidate / rate;
                for (std::int32_t i = 0; i < samples; ++i) {
                    const double angle = step * i;
                    benchmark::DoNotOptimize(std::cos(angle));
                    benchmark::DoNotOptimize(std::sin(angle));
                }
            }
        });
    comparison.report(1.0);
}

/// The same against Eigen's product GᵀG alone: the part of the algebra that grows with N m².
void likelihoodByProduct(benchmark::State& state)
{
    const auto samples = static_cast<std::int32_t>(state.range(0));
    const auto orders = static_cast<std::int32_t>(state.range(1));
    SteadyHost host(orders, 400.0 * orders, static_cast<std::size_t>(samples) + 1);
    host.start(samples);
    Autotracker& tracker = host.tracker();
    tracker.copyBlock();
    Eigen::MatrixXd gram(2 * orders + 1, 2 * orders + 1);
    Comparison comparison(state);
    comparison.takeTurns(
        1 + 10000 / (samples * orders),
        [&] { benchmark::DoNotOptimize(tracker.likelihood(kTwoPi * 40.0, false)); },
        [&] {
            gram.noalias() = tracker.design().transpose() * tracker.design();
            benchmark::DoNotOptimize(gram.data());
        });
    comparison.report(1.0);
}

/// The decimator a sample against the kernel of its 38 taps through the pointer; reach 1.5.
void decimator(benchmark::State& state)
{
    constexpr std::int32_t samples = 4096;
    SteadyHost host(3, 20000.0, samples);
    host.start();
    Autotracker& tracker = host.tracker();
    alignas(32) const float history[40] = {1.0F};
    alignas(32) const float coefficients[40] = {1.0F};
    std::int32_t position = 0;
    Comparison comparison(state);
    comparison.takeTurns(
        1,
        [&] {
            tracker.updateNewSamples(samples);
            tracker.feedDecimator();
        },
        [&] {
            for (std::int32_t i = 0; i < samples; ++i) {
                benchmark::DoNotOptimize(
                    kernelTable.vexcalcFIRFilter_float(history, coefficients, 38, position));
                position = position == 0 ? 37 : position - 1;
            }
        });
    comparison.report(samples);
}

/// How many signals at 20 kHz can one core track, orders 1 to 3 from 600 to 6000 rpm?
void track(benchmark::State& state)
{
    constexpr std::int32_t samples = 4000; // 8 turns, so that the ring closes
    constexpr double rate = 20000.0;
    SteadyHost host(3, rate, samples);
    host.start();
    Autotracker& tracker = host.tracker();
    while (state.KeepRunning()) {
        tracker.updateNewSamples(samples);
        while (tracker.calculate().needsMoreSamples == 0) {
        }
    }
    const double tracked = static_cast<double>(state.iterations()) * samples / rate;
    state.counters["signals"] = {tracked, benchmark::Counter::kIsRate};
}

/// How long does the first search take, over the whole range?
void firstSearch(benchmark::State& state)
{
    SteadyHost host(3, 20000.0, 4000);
    host.start();
    Autotracker& tracker = host.tracker();
    tracker.updateNewSamples(4000);
    tracker.feedDecimator();
    while (state.KeepRunning()) {
        tracker.resetFrequencyState();
        benchmark::DoNotOptimize(tracker.searchFrequency());
    }
}

void sizes(benchmark::internal::Benchmark* benchmark)
{
    benchmark->Args({125, 3})->Args({1000, 5})->Args({5000, 10})->ArgNames({"N", "m"});
    benchmark->UseManualTime()->MinTime(0.5);
}

BENCHMARK(likelihood)->Apply(sizes);
BENCHMARK(likelihoodByProduct)->Apply(sizes);
BENCHMARK(decimator)->UseManualTime()->MinTime(0.5);
BENCHMARK(firstSearch);
BENCHMARK(track);

} // namespace

int main(int argc, char** argv)
{
    // The program does not lie beside the kernel library.
    if (Velmora::Kernels::initializeVexCalc(0, 220, HARMOTRACK_LIBRARY_DIR) == -1) return 1;
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
