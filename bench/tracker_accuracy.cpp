// How exact is a tracked speed? Simulated machines of known speed, in white noise, through the
// exported functions as a host would use them; prints the table of README.md.

#include "harmotrack/harmotrack.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr double kTwoPi = 6.283185307179586;

struct Component {
    float order;
    double amplitude;
};

struct Machine {
    std::string name;
    double rate;    ///< Hz
    double seconds; ///< length of the run
    std::function<double(double)> hertz;
    std::vector<Component> components;
    std::vector<float> orders; ///< that the tracker is told
};

struct Errors {
    double medianPercent;
    double ninetyFivePercent;
    double farShare;           ///< blocks off by more than 2 %
    double wrongMultipleShare; ///< of all blocks: those within 2 % of another simple multiple
};

/// The machine with as much white noise as the signal-to-noise ratio says, over all frequencies.
std::vector<double> simulate(const Machine& machine, double snrDb)
{
    double power = 0.0;
    for (const Component& component : machine.components)
        power += component.amplitude * component.amplitude / 2;
    std::mt19937_64 generator(1);
    std::normal_distribution<double> noise(0.0, std::sqrt(power * std::pow(10.0, -snrDb / 10)));

    std::vector<double> samples(static_cast<std::size_t>(machine.rate * machine.seconds));
    double turns = 0.0;
    for (std::size_t i = 0; i < samples.size(); ++i) {
        double phase = 0.0;
        for (const Component& component : machine.components)
            samples[i] += component.amplitude *
                          std::cos(kTwoPi * turns * static_cast<double>(component.order) + phase++);
        samples[i] += noise(generator);
        turns += machine.hertz((static_cast<double>(i) + 0.5) / machine.rate) / machine.rate;
    }
    return samples;
}

/// Tracks a signal in one ring as long as itself; estimates in rpm.
class Host {
public:
    Host(const Machine& machine, const std::vector<double>& signal) : samples_(signal)
    {
        setup_.frequencyInRpm = 1;
        setup_.minFrequency = 600.0;
        setup_.maxFrequency = 6000.0;
        setup_.orders = machine.orders.data();
        setup_.orderCount = static_cast<int32_t>(machine.orders.size());
        chooseBlock(machine);
        scale();
    }

    std::vector<TrackingResult> track(const Machine& machine)
    {
        static TrackerHandle tracker = autotrackerCreate(); // serves one machine after the other
        autotrackerSetSampleRate(tracker, machine.rate, 1);
        autotrackerSetTrackingSetup(tracker, &setup_);
        autotrackerSetSignalBuffer(
            tracker, {samples_.data(), static_cast<int32_t>(samples_.size()), 0, 0, 0});
        autotrackerPreinitiate(tracker);
        autotrackerInitiate(tracker);
        autotrackerReset(tracker);
        autotrackerUpdateNewSamples(tracker, static_cast<int32_t>(samples_.size()));
        std::vector<TrackingResult> results;
        for (TrackingResult result{}; result.needsMoreSamples == 0;) {
            result = autotrackerCalculate(tracker);
            result.time += stampCorrection_;
            if (result.valid != 0) results.push_back(result);
        }
        return results;
    }

private:
    /// As the automatic parameters, but for a block of at most 250 samples.
    void chooseBlock(const Machine& machine)
    {
        const auto topOrder =
            static_cast<double>(*std::max_element(machine.orders.begin(), machine.orders.end()));
        const double decimation = std::max(std::floor(machine.rate / 4 / (topOrder * 100.0)), 1.0);
        const double rate = machine.rate / decimation;
        setup_.manualParameters = 1;
        setup_.blockDuration = std::min(0.1, 250.5 / rate);
        setup_.overlapPercent = 50.0;
        setup_.searchStep = 0.5;
        setup_.predictionSigmaPercent = 1.0;
        blockSamples_ = rate * setup_.blockDuration;
        if (decimation > 1.0) stampCorrection_ = (decimation - 2.15) / machine.rate;
    }

    /// Brings the energy of a block to 10.
    void scale()
    {
        double power = 0.0;
        for (const double sample : samples_) power += sample * sample;
        power /= static_cast<double>(samples_.size());
        const double factor = std::sqrt(10.0 / (blockSamples_ * power));
        for (double& sample : samples_) sample *= factor;
    }

    std::vector<double> samples_;
    TrackingSetup setup_{};
    double blockSamples_ = 0.0;
    double stampCorrection_ = 0.0;
};

bool isWrongMultiple(double ratio)
{
    for (int p = 1; p <= 5; ++p)
        for (int q = 1; q <= 5; ++q)
            if (p != q && std::abs(ratio * q / p - 1) < 0.02) return true;
    return false;
}

Errors errorsOf(const Machine& machine, const std::vector<TrackingResult>& results)
{
    std::vector<double> percent;
    int far = 0;
    int wrong = 0;
    for (const TrackingResult& result : results) {
        const double ratio = result.frequency / (60.0 * machine.hertz(result.time));
        percent.push_back(100 * std::abs(ratio - 1));
        if (percent.back() > 2.0) {
            ++far;
            if (isWrongMultiple(ratio)) ++wrong;
        }
    }
    std::sort(percent.begin(), percent.end());
    const auto count = static_cast<double>(percent.size());
    return {percent[percent.size() / 2],
            percent[percent.size() * 95 / 100],
            100 * far / count,
            100 * wrong / count};
}

} // namespace

int main()
{
    const std::vector<Component> three = {{1.0F, 1.0}, {2.0F, 0.6}, {3.0F, 0.4}};
    const std::vector<float> orders = {1.0F, 2.0F, 3.0F};
    const auto steady = [](double /*t*/) { return 40.0; };
    const auto runUp = [](double t) { return 10.0 + 3.0 * t; };
    const std::vector<Machine> machines = {
        {"steady, 2400 rpm", 12800.0, 10.0, steady, three, orders},
        {"600 to 6000 rpm in 30 s", 12800.0, 30.0, runUp, three, orders},
        {"2400 rpm, 5 % up and down in 1 s",
         12800.0,
         10.0,
         [](double t) { return 40.0 + 2.0 * std::sin(kTwoPi * t); },
         three,
         orders},
        {"gears: orders 1, 17, 34, run-up",
         25600.0,
         30.0,
         runUp,
         {{1.0F, 0.3}, {17.0F, 1.0}, {34.0F, 0.5}},
         {1.0F, 17.0F, 34.0F}},
        {"no order 1: 2, 3, 5, run-up",
         12800.0,
         30.0,
         runUp,
         {{2.0F, 1.0}, {3.0F, 0.6}, {5.0F, 0.4}},
         {2.0F, 3.0F, 5.0F}},
    };
    std::printf(
        "| machine | signal to noise, dB | median error, %% | 95 %% of blocks within, %% | "
        "off by more than 2 %%, %% of blocks | of them on a wrong multiple, %% of blocks |\n"
        "|---|---|---|---|---|---|\n");
    for (const Machine& machine : machines) {
        for (const double snrDb : {20.0, 10.0, 3.0, 0.0}) {
            Host host(machine, simulate(machine, snrDb));
            const Errors errors = errorsOf(machine, host.track(machine));
            std::printf("| %s | %.0f | %.3f | %.2f | %.1f | %.1f |\n",
                        machine.name.c_str(),
                        snrDb,
                        errors.medianPercent,
                        errors.ninetyFivePercent,
                        errors.farShare,
                        errors.wrongMultipleShare);
        }
    }
    return 0;
}
