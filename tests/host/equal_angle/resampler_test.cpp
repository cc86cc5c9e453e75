#include "host/equal_angle/resampler.h"

#include "tests/host/shaft/simulated_shaft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <random>
#include <span>
#include <thread>
#include <vector>

namespace Harmotrack::Host {
namespace {

constexpr double kRate = 25600.0;
constexpr int kMaxOrder = 50;
constexpr double kPi = std::numbers::pi;

EqualAngleSamples resampled(const UniformSignal& signal,
                            std::span<const EqualAngleStep> steps,
                            int samplesPerRevolution)
{
    EqualAngleResampler resampler(signal.rateHz, signal.startSeconds, 1, samplesPerRevolution);
    const std::span<const double> samples = signal.samples;
    resampler.feed({&samples, 1});
    resampler.request(steps);
    return resampler.take();
}

// A run-up of 1:10 in speed, 600 to 6000 rpm in 30 s, and its exact moments of equal angle.
struct RunUp {
    RunUp()
    {
        for (long long k = 0;; ++k) {
            const double t = shaft.secondsAt(static_cast<double>(k) / (2.0 * kMaxOrder));
            if (t > 30.0) break;
            steps.push_back({k, t, shaft.rpmAt(t), k == 0});
        }
    }

    // The component cos(order * angle) of the machine, taken to equal angles.
    [[nodiscard]] EqualAngleSamples component(double order) const
    {
        return resampled(
            sampled(kRate,
                    30.0,
                    [&](double t) { return std::cos(2.0 * kPi * order * shaft.turnsAt(t)); }),
            steps,
            2 * kMaxOrder);
    }

    SimulatedShaft shaft;
    std::vector<EqualAngleStep> steps;
};

const RunUp& runUp()
{
    static const RunUp instance;
    return instance;
}

class PassedOrder : public testing::TestWithParam<double> {};

// Over blocks of ten turns from the lowest to the highest speed: 0.01 dB is a factor of 1.00115.
TEST_P(PassedOrder, KeepsAmplitudeAndPhaseAtAnySpeed)
{
    const double order = GetParam();
    const EqualAngleSamples result = runUp().component(order);
    constexpr std::size_t kBlock = std::size_t{20} * kMaxOrder;
    ASSERT_GT(result.steps.size(), runUp().steps.size() - 100);
    for (std::size_t first = 0; first + kBlock <= result.steps.size(); first += kBlock) {
        std::complex<double> value = 0.0;
        for (std::size_t k = first; k < first + kBlock; ++k) {
            const double turns = static_cast<double>(result.steps[k].number) / (2.0 * kMaxOrder);
            value += result.values[0][k] * std::polar(2.0 / kBlock, -2.0 * kPi * order * turns);
        }
        const double rpm = result.steps[first].speedRpm;
        ASSERT_NEAR(std::abs(value), 1.0, 1.15e-3) << rpm << " rpm";
        ASSERT_NEAR(std::arg(value) * 180.0 / kPi, 0.0, 0.2) << rpm << " rpm";
    }
}

INSTANTIATE_TEST_SUITE_P(EqualAngleResampler,
                         PassedOrder,
                         testing::Values(0.5, 1.0, 7.0, 25.0, 40.0));

class StoppedOrder : public testing::TestWithParam<double> {};

// Without the cut-off that follows the speed, each would fold to a lower order at full amplitude.
TEST_P(StoppedOrder, ArrivesNinetyDecibelsDownAtAnySpeed)
{
    const EqualAngleSamples result = runUp().component(GetParam());
    for (std::size_t k = 0; k < result.steps.size(); ++k)
        ASSERT_LT(std::abs(result.values[0][k]), 3.16e-5) << result.steps[k].speedRpm << " rpm";
}

INSTANTIATE_TEST_SUITE_P(EqualAngleResampler,
                         StoppedOrder,
                         testing::Values(50.0, 51.0, 60.0, 75.0, 99.0, 100.0, 113.0));

// What lies between the passed and the stopped orders comes through in part, in its own place
// alone: were its share to change in steps with the speed, each would spread over all orders. Five
// seconds from 600 to 6000 rpm; blocks of eight turns through sin^8, whose own leakage 2 orders off
// is below 1e-9.
class PartlyPassedOrder : public testing::TestWithParam<double> {};

TEST_P(PartlyPassedOrder, LeavesNothingInPassedOrdersOnAQuickRunUp)
{
    const double order = GetParam();
    const SimulatedShaft shaft{600.0, 1080.0};
    std::vector<EqualAngleStep> steps;
    for (long long k = 0; shaft.secondsAt(static_cast<double>(k) / (2.0 * kMaxOrder)) < 5.0; ++k) {
        const double t = shaft.secondsAt(static_cast<double>(k) / (2.0 * kMaxOrder));
        steps.push_back({k, t, shaft.rpmAt(t), k == 0});
    }
    const EqualAngleSamples result = resampled(
        sampled(
            kRate, 5.0, [&](double t) { return std::cos(2.0 * kPi * order * shaft.turnsAt(t)); }),
        steps,
        2 * kMaxOrder);

    constexpr std::size_t kBlock = std::size_t{16} * kMaxOrder;
    for (std::size_t first = 0; first + kBlock <= result.steps.size(); first += kBlock) {
        for (int line = 0; line <= 8 * 40; ++line) { // of an eighth of an order
            std::complex<double> value = 0.0;
            double weights = 0.0;
            for (std::size_t k = 0; k < kBlock; ++k) {
                const double share = static_cast<double>(k) / kBlock;
                const double weight = std::pow(std::sin(kPi * share), 8);
                value += weight * result.values[0][first + k] *
                         std::polar(1.0, -2.0 * kPi * line * share);
                weights += weight;
            }
            ASSERT_LT(2.0 * std::abs(value) / weights, 3.16e-5)
                << "order " << line / 8.0 << " at " << result.steps[first].speedRpm << " rpm";
        }
    }
}

// 1.05, 1.1 and 1.18 times the highest passed order.
INSTANTIATE_TEST_SUITE_P(EqualAngleResampler, PartlyPassedOrder, testing::Values(42.0, 44.0, 47.2));

// A tone that rises from 1.2 times the Nyquist order to half the rate passes through all that could
// fold where the rate is halved; so at speeds close enough to meet every ratio of order and rate.
TEST(EqualAngleResampler, NothingFoldsFromAnyFrequencyAtAnySpeed)
{
    constexpr double kSeconds = 2.0;
    for (double rpm = 600.0; rpm < 6000.0; rpm *= 1.05) {
        const double lowest = 1.2 * kMaxOrder * rpm / 60.0;
        const double hzPerSecond = (0.5 * kRate - lowest) / kSeconds;
        const UniformSignal signal = sampled(kRate, kSeconds, [&](double t) {
            return std::cos(2.0 * kPi * (lowest + 0.5 * hzPerSecond * t) * t);
        });
        std::vector<EqualAngleStep> steps;
        for (const double t : moments(0.1, kSeconds - 0.1, 60.0 / (2.0 * kMaxOrder * rpm)))
            steps.push_back({static_cast<long long>(steps.size()), t, rpm, steps.empty()});
        const EqualAngleSamples result = resampled(signal, steps, 2 * kMaxOrder);
        ASSERT_EQ(result.steps.size(), steps.size());
        for (std::size_t k = 0; k < steps.size(); ++k)
            ASSERT_LT(std::abs(result.values[0][k]), 3.16e-5)
                << rpm << " rpm, " << lowest + hzPerSecond * steps[k].seconds << " Hz";
    }
}

// Where the angle domain is the faster one, the source's own Nyquist frequency is the limit: the
// images of 0.45 rate lie at 0.55 rate.
TEST(EqualAngleResampler, ImagesOfTheSourceAreNinetyDecibelsDown)
{
    constexpr double kSourceRate = 1000.0;
    const UniformSignal signal =
        sampled(kSourceRate, 2.0, [](double t) { return std::sin(2.0 * kPi * 449.0 * t); });
    std::vector<EqualAngleStep> steps;
    steps.reserve(32000);
    for (int k = 0; k < 32000; ++k) steps.push_back({k, 0.2 + k / 20011.0, 3000.0, k == 0});

    const EqualAngleSamples result = resampled(signal, steps, 400); // 20 of the result to one

    ASSERT_EQ(result.steps.size(), steps.size());
    for (std::size_t k = 0; k < steps.size(); ++k)
        ASSERT_NEAR(result.values[0][k], std::sin(2.0 * kPi * 449.0 * steps[k].seconds), 6e-5);
}

// Four rounds of all speeds from 3 to 6000 rpm, a wide band of noise, and every filter from one
// that passes all to one far below the rate: pieces of any size give the same bits.
TEST(EqualAngleResampler, PiecesOfAnySizeGiveTheSameBits)
{
    std::mt19937 random(5);
    std::normal_distribution<double> noise;
    const UniformSignal one = sampled(2000.0, 40.0, [&](double) { return noise(random); });
    const UniformSignal two = sampled(2000.0, 40.0, [&](double) { return noise(random); });
    std::vector<EqualAngleStep> steps;
    for (int k = 0; k < 20000; ++k)
        steps.push_back({k, 1.0 + 0.0018 * k, 3.0 * std::pow(2000.0, (k % 5000) / 5000.0), k == 0});
    const auto run = [&](std::size_t size) {
        EqualAngleResampler resampler(2000.0, 0.0, 2, 32);
        EqualAngleSamples all;
        all.values.resize(2);
        std::size_t next = 0;
        const auto take = [&] {
            const EqualAngleSamples some = resampler.take();
            all.steps.insert(all.steps.end(), some.steps.begin(), some.steps.end());
            for (std::size_t c = 0; c < 2; ++c)
                all.values[c].insert(
                    all.values[c].end(), some.values[c].begin(), some.values[c].end());
        };
        for (std::size_t k = 0; k < one.samples.size(); k += size) {
            const std::size_t count = std::min(size, one.samples.size() - k);
            const std::vector<std::span<const double>> both{
                std::span(one.samples).subspan(k, count), std::span(two.samples).subspan(k, count)};
            resampler.feed(both);
            const std::size_t until = std::min(steps.size(), k * steps.size() / 80000);
            resampler.request(std::span(steps).subspan(next, until - next));
            next = until;
            take();
        }
        resampler.request(std::span(steps).subspan(next));
        resampler.finish();
        take();
        return all;
    };
    const EqualAngleSamples whole = run(80000);
    EXPECT_NE(whole.values[0], whole.values[1]);
    for (const std::size_t size : {1U, 611U}) {
        const EqualAngleSamples pieces = run(size);
        EXPECT_EQ(pieces.values[0], whole.values[0]);
        EXPECT_EQ(pieces.values[1], whole.values[1]);
    }
}

// Tables of weights are made once for all, whoever comes first.
TEST(EqualAngleResampler, ThreadsAtOnceGiveTheSameBits)
{
    std::mt19937 random(6);
    std::normal_distribution<double> noise;
    const UniformSignal signal = sampled(2000.0, 4.0, [&](double) { return noise(random); });
    std::vector<EqualAngleStep> steps;
    for (int k = 0; k < 2000; ++k)
        steps.push_back({k, 1.0 + 0.001 * k, 200.0 * std::pow(20.0, k / 2000.0), k == 0});
    std::vector<EqualAngleSamples> results(4);
    std::vector<std::thread> threads;
    for (EqualAngleSamples& result : results)
        threads.emplace_back([&] { result = resampled(signal, steps, 32); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(results[0].steps.size(), steps.size());
    for (const EqualAngleSamples& result : results) EXPECT_EQ(result.values, results[0].values);
}

// The start of the signal is only a shift of its times.
TEST(EqualAngleResampler, TimeOfTheFirstSampleShiftsTheResult)
{
    UniformSignal signal = sampled(1024.0, 1.0, [](double t) { return std::sin(300.0 * t); });
    EqualAngleStep step{0, 0.5, 1500.0, true};
    const double early = resampled(signal, {&step, 1}, 32).values[0].at(0);
    signal.startSeconds = 8.0;
    step.seconds = 8.5;
    EXPECT_NEAR(early, std::sin(150.0), 1e-4);
    EXPECT_DOUBLE_EQ(resampled(signal, {&step, 1}, 32).values[0].at(0), early);
}

// Steps that reach beyond what was measured are left out, and the rest begins anew behind them.
TEST(EqualAngleResampler, StepsWithoutAllTheirSamplesAreLeftOut)
{
    const UniformSignal signal = sampled(1000.0, 10.0, [](double) { return 1.0; });
    EqualAngleKernel kernel(1000.0, 32);
    const double reach = kernel.halfWidthSeconds(600.0);
    std::vector<EqualAngleStep> steps;
    for (int k = 0; k < 10000; ++k) steps.push_back({k, 1e-3 * k, 600.0, k == 0});
    EqualAngleResampler resampler(1000.0, 0.0, 1, 32);
    const std::span<const double> samples = signal.samples;
    resampler.feed({&samples, 1});
    resampler.request(steps);
    resampler.finish();
    const EqualAngleSamples result = resampler.take();
    EXPECT_NEAR(result.steps.front().seconds, reach, 0.1 * reach);
    EXPECT_NEAR(result.steps.back().seconds, 10.0 - reach, 0.1 * reach);
    EXPECT_TRUE(result.steps.front().beginsSegment);
    for (const double value : result.values[0]) ASSERT_NEAR(value, 1.0, 1e-4);
}

} // namespace
} // namespace Harmotrack::Host
