// The simulated run-up, whose truth stands beside it, through the whole program.

#include "program.h"
#include "scratch_folder.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>
#include <complex>
#include <numbers>

namespace Harmotrack::Tests {
namespace {

constexpr double kDegrees = 180.0 / std::numbers::pi;

// Amplitude and phase of an order over speed, as the truth file tells them.
class TrueOrder {
public:
    TrueOrder(const nlohmann::json& truth, double order, const std::string& direction)
        : rpm_(truth.at("table_rpm").get<std::vector<double>>())
    {
        for (const auto& component : truth.at("components")) {
            if (component.at("order").get<double>() != order) continue;
            amplitudes_ = component.at(direction).at("amplitude").get<std::vector<double>>();
            phases_ = component.at(direction).at("phase_deg").get<std::vector<double>>();
        }
    }

    // Between two speeds of the file, which are 10 rpm apart, along the straight line in the plane.
    [[nodiscard]] std::complex<double> at(double rpm) const
    {
        const auto next = std::upper_bound(rpm_.begin(), rpm_.end() - 1, rpm) - rpm_.begin();
        const auto right = static_cast<std::size_t>(std::max<std::ptrdiff_t>(next, 1));
        const double share = (rpm - rpm_[right - 1]) / (rpm_[right] - rpm_[right - 1]);
        return value(right - 1) * (1.0 - share) + value(right) * share;
    }

private:
    [[nodiscard]] std::complex<double> value(std::size_t i) const
    {
        return std::polar(amplitudes_.at(i), phases_.at(i) / kDegrees);
    }

    std::vector<double> rpm_;
    std::vector<double> amplitudes_;
    std::vector<double> phases_;
};

class SimulatedRunUp : public testing::Test {
protected:
    void SetUp() override
    {
        Launch make;
        make.arguments = {folder_ / "run_up.flac"};
        ASSERT_EQ(runProgram(MAKE_RUN_UP_PROGRAM, make).exitCode, 0);
        truth_ = nlohmann::json::parse(contentOf(folder_ / "run_up.json"));

        Launch analyse;
        analyse.arguments = {
            "--tacho",
            "3",
            "--pulses-per-revolution",
            "1",
            "--full-scale",
            std::to_string(truth_.at("channels")[0].at("full_scale").get<double>()),
            "--no-picture",
            "--output",
            folder_ / "results",
            folder_ / "run_up.flac"};
        const Outcome outcome = runProgram(ORDER_MAP_PROGRAM, analyse);
        ASSERT_EQ(outcome.exitCode, 0) << outcome.errors;
        rows_ = rowsOf(folder_ / "results/harmonics.csv");
    }

    // RMS of a line that holds noise alone, in peak amplitude. White noise of variance v at rate f
    // has v · 2 maxOrder · n / f left at the equal-angle rate for n turns a second; a line of a
    // Hanning block of N samples, 2 Σ w x / Σ w, then has the mean square 4 · 1.5 / N of that, and
    // N is 2 maxOrder / resolution: 6 v · n · resolution / f.
    [[nodiscard]] double noiseOfALine(double rpm) const
    {
        const auto rms = truth_.at("noise").at("rms").get<double>();
        const auto rate = truth_.at("sample_rate_hz").get<double>();
        return rms * std::sqrt(6.0 * rpm / 60.0 * 0.1 / rate);
    }

    ScratchFolder folder_;
    nlohmann::json truth_;
    std::vector<std::vector<std::string>> rows_;
};

// 40 dB above the noise of a line, noise moves amplitudes by 1 % and phases by half a degree; the
// rest of 2 % and 2 degrees is for the resonance that a block of ten turns passes through.
TEST_F(SimulatedRunUp, FirstAndSecondOrderComeOutWithTheirTrueAmplitudeAndPhase)
{
    int compared = 0;
    for (const auto& [signal, direction] :
         {std::pair<const char*, const char*>{"channel 1", "x"}, {"channel 2", "y"}}) {
        for (const double order : {1.0, 2.0}) {
            const TrueOrder truth(truth_, order, direction);
            for (const auto& row : rows_) {
                if (row[0] != signal || std::stod(row[1]) != order) continue;
                const double rpm = std::stod(row[2]);
                const std::complex<double> expected = truth.at(rpm);
                if (std::abs(expected) < 100.0 * noiseOfALine(rpm)) continue;
                ++compared;
                const auto found = std::polar(std::stod(row[3]), std::stod(row[4]) / kDegrees);
                EXPECT_NEAR(std::abs(found) / std::abs(expected), 1.0, 0.02)
                    << signal << ", order " << order << " at " << rpm << " rpm";
                EXPECT_NEAR(std::arg(found / expected) * kDegrees, 0.0, 2.0)
                    << signal << ", order " << order << " at " << rpm << " rpm";
            }
        }
    }
    // 109 bins of 50 rpm for two orders in two directions, less the ends and the weakest ones.
    EXPECT_GT(compared, 400);
}

} // namespace
} // namespace Harmotrack::Tests
