// A live order spectrum in the terminal: a simulated machine delivers 50 ms of vibration and tacho
// at a time, as a measuring device would, and every new spectrum is drawn over the last one.

#include "order_bars.h"
#include "simulated_machine.h"

#include "host/analysis/analysis_run.h"
#include "host/host_error.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <exception>
#include <optional>
#include <span>
#include <string>
#include <thread>

#include <unistd.h>

namespace Harmotrack::Examples {
namespace {

constexpr double kRateHz = 12800.0;
constexpr double kChunkSeconds = 0.05;
constexpr std::size_t kColumns = 72;
constexpr std::size_t kRows = 12;

volatile std::sig_atomic_t interrupted = 0;

struct Options {
    double seconds = 0.0; ///< of the signal; 0: for ever
    bool realTime = true;
};

/// The newest spectrum, and how to draw it.
class Monitor {
public:
    explicit Monitor(const Host::AnalysisSettings& settings) : settings_(settings) {}

    void take(const Host::BlockResult& block)
    {
        if (block.bin >= 0) return; // spectra of the speed axis: only the newest one is shown
        ++spectra_;
        spectrum_.assign(block.orderSpectrum.begin(), block.orderSpectrum.end());
        speedRpm_ = block.speedRpm;
        fresh_ = true;
        for (const float value : spectrum_)
            highest_ = std::max(highest_, std::ceil(static_cast<double>(value)));
    }

    void draw()
    {
        if (!fresh_) return;
        fresh_ = false;
        // Back to the start of the picture before; elsewhere than on a terminal one after the
        // other.
        const bool over = terminal_ && drawn_;
        std::printf(
            "%s%s  %6.0f rpm   peak, mm/s   order 1: %5.2f\n%s",
            over ? ("\033[" + std::to_string(kRows + 2) + "A").c_str() : "",
            over ? "\033[J" : "",
            speedRpm_,
            static_cast<double>(
                spectrum_[static_cast<std::size_t>(1.0 / settings_.orderResolution)]),
            orderBars(spectrum_, settings_.orderResolution, highest_, kColumns, kRows).c_str());
        std::fflush(stdout);
        drawn_ = true;
    }

    [[nodiscard]] int spectra() const { return spectra_; }

private:
    Host::AnalysisSettings settings_;
    std::vector<float> spectrum_;
    double speedRpm_ = 0.0;
    double highest_ = 1.0;
    int spectra_ = 0;
    bool fresh_ = false;
    bool drawn_ = false;
    bool terminal_ = ::isatty(STDOUT_FILENO) != 0;
};

Host::AnalysisSettings monitorSettings()
{
    Host::AnalysisSettings settings;
    settings.minRpm = 900.0;
    settings.maxRpm = 3000.0;
    settings.stepRpm = 50.0;
    settings.highestOrder = 9.0;
    settings.orderResolution = 0.125;
    settings.averaging = Host::Averaging::Overwrite;
    settings.rowOverlapPercent = 75.0;
    return settings;
}

void watch(const Options& options)
{
    const Host::AnalysisSettings settings = monitorSettings();
    Monitor monitor(settings);
    Host::RunInput input;
    input.rateHz = kRateHz;
    input.tachometer.emplace();
    Host::RunCallbacks callbacks;
    callbacks.onResult = [&](const Host::BlockResult& block) { monitor.take(block); };
    Host::AnalysisRun run(settings);
    run.start(input, callbacks);

    SimulatedMachine machine(kRateHz);
    const auto start = std::chrono::steady_clock::now();
    const auto samples = static_cast<std::size_t>(std::lround(kChunkSeconds * kRateHz));
    for (int chunk = 1; interrupted == 0; ++chunk) {
        if (options.seconds > 0.0 && (chunk - 1) * kChunkSeconds >= options.seconds) break;
        const SimulatedMachine::Chunk newest = machine.next(samples);
        const std::span<const double> vibration = newest.vibration;
        run.feedTacho(newest.tacho);
        run.feed({&vibration, 1});
        monitor.draw();
        if (options.realTime)
            std::this_thread::sleep_until(start +
                                          chunk * std::chrono::duration<double>(kChunkSeconds));
    }
    std::printf("%d spectra\n", monitor.spectra());
}

/// @return  the exit code if the arguments ask for no run
std::optional<int> parse(int argc, const char* const* argv, Options& options)
{
    CLI::App app("Draws the order spectrum of a simulated machine in the terminal, over and over.");
    app.add_option("--seconds", options.seconds, "End after so much of the signal (never)")
        ->check(CLI::PositiveNumber)
        ->type_name("SECONDS");
    app.add_flag("!--fast", options.realTime, "As fast as possible, not as time goes by");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return app.exit(error) == 0 ? 0 : 2;
    }
    return std::nullopt;
}

int runGuarded(int argc, const char* const* argv)
{
    try {
        Options options;
        if (const std::optional<int> ended = parse(argc, argv, options)) return *ended;
        std::signal(SIGINT, [](int) { interrupted = 1; });
        watch(options);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "live_monitor: %s\n", error.what());
        return 1;
    }
}

} // namespace
} // namespace Harmotrack::Examples

int main(int argc, char** argv)
{
    return Harmotrack::Examples::runGuarded(argc, argv);
}
