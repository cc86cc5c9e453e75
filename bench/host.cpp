// How many channels can one core take from raw samples to results, where does the time go, and does
// the memory stay what it is?
//
// The run: one channel at 51.2 kHz with a tacho of one pulse a turn, 600 to 6000 rpm and back;
// order spectra of 4096 points every half block, and speed bins of 50 rpm with all their tables.

#include "host/analysis/analysis_run.h"
#include "host/equal_angle/axis.h"
#include "host/equal_angle/resampler.h"
#include "host/shaft/tachometer.h"

#include <harmotrack/harmotrack.hpp>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <fstream>
#include <numbers>
#include <string>
#include <vector>

namespace {

using namespace Harmotrack::Host;

constexpr double kRate = 51200.0;
constexpr double kPeriodSeconds = 60.0;
constexpr double kPi = std::numbers::pi;
constexpr int kRounds = 5;

// The speed is 3300 - 2700 cos(2π t / period) rpm.
double turnsAt(double t)
{
    return (3300.0 * t -
            2700.0 * kPeriodSeconds / (2.0 * kPi) * std::sin(2.0 * kPi * t / kPeriodSeconds)) /
           60.0;
}

/// One period of the machine's speed; whole turns, so that it can follow on itself.
struct Machine {
    Machine()
    {
        const auto samples = static_cast<std::size_t>(kPeriodSeconds * kRate);
        for (std::size_t k = 0; k < samples; ++k) {
            const double phi = 2.0 * kPi * turnsAt(static_cast<double>(k) / kRate);
            vibration.push_back(std::cos(phi) + 0.5 * std::cos(2.0 * phi) +
                                0.2 * std::cos(23.0 * phi));
            tacho.push_back(std::exp(40.0 * (std::cos(phi) - 1.0)));
        }
    }

    std::vector<double> vibration;
    std::vector<double> tacho;
};

AnalysisSettings settings(double highestOrder)
{
    AnalysisSettings result;
    result.minRpm = 600.0;
    result.maxRpm = 6000.0;
    result.stepRpm = 50.0;
    result.highestOrder = highestOrder;
    result.orderResolution = 2.0 * result.maxOrder() / 4096.0;
    result.rowOverlapPercent = 50.0;
    return result;
}

// Of the processor: a run has one thread, and what else the machine does is no part of it.
double processorSeconds()
{
    return static_cast<double>(std::clock()) / CLOCKS_PER_SEC;
}

template <typename Work>
double seconds(const Work& work)
{
    const double start = processorSeconds();
    work();
    return processorSeconds() - start;
}

template <typename Work>
double leastSeconds(const Work& work)
{
    double least = seconds(work);
    for (int round = 1; round < kRounds; ++round) least = std::min(least, seconds(work));
    return least;
}

template <typename Take>
void inChunks(std::span<const double> samples, const Take& take)
{
    constexpr std::size_t kChunk = 5120;
    for (std::size_t k = 0; k < samples.size(); k += kChunk)
        take(samples.subspan(k, std::min(kChunk, samples.size() - k)));
}

enum class Stage { Tacho, Angle, Resampler };

// The first stages of a run, chunk by chunk as in the run itself; `take` gets what the resampler
// makes of a chunk.
template <typename Take>
void stages(Stage last, const Machine& machine, int perTurn, const Take& take)
{
    Tachometer tachometer;
    tachometer.start(kRate, 0.0);
    EqualAngleAxis axis(perTurn);
    EqualAngleResampler resampler(kRate, 0.0, 1, perTurn);
    std::size_t done = 0;
    inChunks(machine.vibration, [&](std::span<const double> chunk) {
        tachometer.feed(std::span(machine.tacho).subspan(done, chunk.size()));
        done += chunk.size();
        const std::vector<AngleKnot> knots = tachometer.takeKnots();
        if (last == Stage::Tacho) return;
        axis.feed(knots);
        const std::vector<EqualAngleStep> steps = axis.take();
        if (last == Stage::Angle) return;
        resampler.feed({&chunk, 1});
        resampler.request(steps);
        take(resampler.take());
        resampler.keepFrom(axis.certainSeconds());
    });
}

/// What a run hands to the library: its samples at equal angles, and in which chunk of the signal
/// they came.
struct AngleStream {
    AngleStream(const Machine& machine, int perTurn)
    {
        stages(Stage::Resampler, machine, perTurn, [&](const EqualAngleSamples& samples) {
            for (std::size_t k = 0; k < samples.steps.size(); ++k) {
                const EqualAngleStep& step = samples.steps[k];
                signal.push_back(samples.values[0][k]);
                rpm.push_back(step.speedRpm);
                hertz.push_back(step.speedRpm / 60.0);
                degrees.push_back(step.angleDegrees(perTurn));
                seconds.push_back(step.seconds);
            }
            ends.push_back(seconds.size());
        });
    }

    [[nodiscard]] Harmotrack::AngleSamples part(std::size_t first, std::size_t count) const
    {
        const auto of = [&](const std::vector<double>& column) {
            return std::span(column).subspan(first, count);
        };
        return {of(signal), {}, of(rpm), of(hertz), of(degrees), of(seconds)};
    }

    std::vector<double> signal, rpm, hertz, degrees, seconds;
    std::vector<std::size_t> ends; ///< how many there are after each chunk
};

/// The library's setup in a run.
Harmotrack::AnalyzerSetup librarySetup(const AnalysisSettings& asked)
{
    Harmotrack::AnalyzerSetup setup;
    setup.sampleRate = kRate;
    setup.binning.minValue = static_cast<float>(asked.minRpm);
    setup.binning.maxValue = static_cast<float>(asked.maxRpm);
    setup.binning.step = static_cast<float>(asked.stepRpm);
    setup.orders.orderResolution = static_cast<float>(asked.orderResolution);
    setup.orders.maxOrder = asked.maxOrder();
    setup.orders.harmonicOrders = asked.harmonics;
    setup.analysis.minRpm = setup.binning.minValue;
    setup.analysis.maxRpm = setup.binning.maxValue;
    setup.analysis.overlapPercent = static_cast<float>(*asked.rowOverlapPercent);
    // The equal-time samples are ahead by up to two turns: the ring is to hold them so long.
    setup.largestDelivery = 1 << 15;
    setup.results.binHarmonics = true;
    setup.results.binOrderSpectrum = true;
    setup.results.timeOrderSpectrum = true;
    setup.results.binTimeSpectrum = true;
    setup.results.overall = true;
    return setup;
}

struct LibrarySeconds {
    double rings = 0.0;   ///< feed(): checks the samples and copies them into the rings
    double library = 0.0; ///< next(): the library takes them from there
};

// The library over samples that are all there, with the run's setup, in the run's chunks: it makes
// the same blocks as there.
LibrarySeconds
takeAll(const Machine& machine, const AngleStream& angle, const AnalysisSettings& asked)
{
    Harmotrack::Analyzer<Harmotrack::Mode::OneReal> analyzer(librarySetup(asked));
    LibrarySeconds total;
    std::size_t chunkNumber = 0;
    std::size_t done = 0;
    inChunks(machine.vibration, [&](std::span<const double> chunk) {
        const std::size_t end = angle.ends[chunkNumber++];
        Harmotrack::TimeSamples time{chunk, {}};
        do {
            const std::size_t count =
                std::min(end - done, static_cast<std::size_t>(analyzer.angleRoom()));
            const double start = processorSeconds();
            analyzer.feed(angle.part(done, count), time);
            const double fed = processorSeconds();
            while (analyzer.next()) continue;
            total.rings += fed - start;
            total.library += processorSeconds() - fed;
            done += count;
            time = {};
        } while (done < end);
    });
    return total;
}

double wholeRun(const Machine& machine, const AnalysisSettings& asked)
{
    double sum = 0.0;
    AnalysisRun run(asked);
    RunInput input;
    input.rateHz = kRate;
    input.tachometer.emplace();
    RunCallbacks callbacks;
    callbacks.onResult = [&](const BlockResult& block) { sum += block.speedRpm; };
    run.start(input, callbacks);
    std::size_t done = 0;
    inChunks(machine.vibration, [&](std::span<const double> chunk) {
        run.feedTacho(std::span(machine.tacho).subspan(done, chunk.size()));
        run.feed({&chunk, 1});
        done += chunk.size();
    });
    return sum + run.finish().front().highestRpm;
}

/// Seconds of the processor that a run and its parts take.
struct Shares {
    double tacho = 0.0;
    double angle = 0.0;
    double resampler = 0.0;
    LibrarySeconds library;
    double whole = 0.0;

    [[nodiscard]] double rest() const
    {
        return whole - tacho - angle - resampler - library.rings - library.library;
    }
};

Shares measure(const Machine& machine, const AnalysisSettings& asked)
{
    const int perTurn = 2 * asked.maxOrder();
    double made = 0.0;
    const auto count = [&](const EqualAngleSamples& samples) {
        made += static_cast<double>(samples.steps.size());
    };
    const auto upTo = [&](Stage last) {
        return leastSeconds([&] { stages(last, machine, perTurn, count); });
    };
    Shares shares;
    shares.tacho = upTo(Stage::Tacho);
    const double angle = upTo(Stage::Angle);
    const double resampler = upTo(Stage::Resampler);
    shares.angle = angle - shares.tacho;
    shares.resampler = resampler - angle;
    const AngleStream stream(machine, perTurn);
    shares.library = takeAll(machine, stream, asked);
    for (int round = 1; round < kRounds; ++round) {
        const LibrarySeconds again = takeAll(machine, stream, asked);
        shares.library.rings = std::min(shares.library.rings, again.rings);
        shares.library.library = std::min(shares.library.library, again.library);
    }
    shares.whole = leastSeconds([&] { made += wholeRun(machine, asked); });
    if (!(made > 0.0)) std::puts("Nothing was made.");
    return shares;
}

void showSpeed()
{
    const Machine machine;
    std::printf(
        "orders  real time / run time   tacho   angle  resampler   rings  library    rest\n");
    for (const double highestOrder : {25.6, 51.2, 102.4, 204.8}) {
        const Shares s = measure(machine, settings(highestOrder));
        const auto percent = [&](double part) { return 100.0 * part / s.whole; };
        std::printf("%6g %21.0f %7.0f %% %5.0f %% %8.0f %% %5.0f %% %6.0f %% %5.0f %%\n",
                    highestOrder,
                    kPeriodSeconds / s.whole,
                    percent(s.tacho),
                    percent(s.angle),
                    percent(s.resampler),
                    percent(s.library.rings),
                    percent(s.library.library),
                    percent(s.rest()));
    }
}

/// Resident memory of this process, megabytes: now, and at its highest.
double residentMegabytes(const char* field)
{
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind(field, 0) == 0) return std::atof(line.c_str() + std::strlen(field)) / 1024.0;
    }
    return 0.0;
}

// Two channels for hours: the same minute again and again.
void showMemory(double hours)
{
    const Machine machine;
    AnalysisRun run(settings(51.2));
    RunInput input;
    input.rateHz = kRate;
    input.channels = 2;
    input.tachometer.emplace();
    run.start(input);
    const auto minutes = static_cast<int>(std::lround(60.0 * hours));
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    std::printf("minutes  resident MB\n");
    for (int minute = 0; minute < minutes; ++minute) {
        std::size_t done = 0;
        inChunks(machine.vibration, [&](std::span<const double> chunk) {
            run.feedTacho(std::span(machine.tacho).subspan(done, chunk.size()));
            const std::vector<std::span<const double>> both{chunk, chunk};
            run.feed(both);
            done += chunk.size();
        });
        if (minute == 0 || (minute + 1) % 60 == 0)
            std::printf("%7d %12.0f\n", minute + 1, residentMegabytes("VmRSS:"));
    }
    const AnalysisResults results = run.finish().front();
    std::printf("highest %12.0f; %zu repairs of the tacho, %d order blocks in the middle bin\n",
                residentMegabytes("VmHWM:"),
                results.tachoEventCount,
                results.orderBlocks[results.orderBlocks.size() / 2]);
}

} // namespace

int main(int argc, char** argv)
{
    try {
        if (argc == 3 && std::strcmp(argv[1], "--memory") == 0) {
            showMemory(std::atof(argv[2]));
        } else {
            showSpeed();
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
