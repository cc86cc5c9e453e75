#include "autotracker/autotracker.h"

#include "test_tracker.h"

#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>
#include <fstream>
#include <limits>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Autotracker {
namespace {

// A tracker whose current block is the first samples of a signal. Its range to 300 Hz keeps it from
// decimating, whatever the orders.
class LikelihoodTracker : public TestTracker {
public:
    LikelihoodTracker() { setup.maxFrequency = 300.0; }

    void takeBlock(const std::vector<double>& samples)
    {
        start();
        feed(samples);
        tracker.copyBlock();
    }

    double at(double candidate) { return tracker.likelihood(candidate, false); }
};

// ---- against an independent evaluation ----------------------------------------------------------

// One line of tests/golden/likelihood.csv.
struct Golden {
    std::int32_t size = 0;
    double candidate = 0.0;
    bool usePrior = false;
    double predictedHz = 0.0;
    double sigmaPercent = 0.0;
    double topHz = 0.0;
    double likelihood = 0.0;
    std::vector<float> orders;
};

std::vector<double> numbersOf(std::istringstream& fields)
{
    std::vector<double> numbers;
    for (std::string field; std::getline(fields, field, ',');) numbers.push_back(std::stod(field));
    return numbers;
}

Golden parse(const std::string& line)
{
    std::istringstream fields(line);
    const std::vector<double> numbers = numbersOf(fields);
    Golden golden;
    golden.size = static_cast<std::int32_t>(numbers[0]);
    golden.candidate = numbers[1];
    golden.usePrior = numbers[2] != 0.0;
    golden.predictedHz = numbers[3];
    golden.sigmaPercent = numbers[4];
    golden.topHz = numbers[5];
    golden.likelihood = numbers[6];
    for (std::size_t i = 7; i < numbers.size(); ++i)
        golden.orders.push_back(static_cast<float>(numbers[i]));
    return golden;
}

double evaluate(const Golden& golden, const std::vector<double>& samples)
{
    LikelihoodTracker test;
    test.useBlocksOf(golden.size);
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = golden.predictedHz;
    test.setup.predictionSigmaPercent = golden.sigmaPercent;
    test.setup.maxFrequency = golden.topHz;
    if (!golden.orders.empty()) test.orders = golden.orders;
    test.prepare();
    test.setup.orderCount = static_cast<std::int32_t>(golden.orders.size());
    test.handOver();
    test.tracker.initiate();
    test.feed(samples);
    test.tracker.copyBlock();
    return test.tracker.likelihood(golden.candidate, golden.usePrior);
}

// The residual energy is good to about 1e-13, and its power of -30 to -100 magnifies that.
TEST(Likelihood, AgreesWithAnIndependentEvaluation)
{
    std::ifstream file(HARMOTRACK_GOLDEN_DIR "/likelihood.csv");
    std::vector<double> samples;
    int compared = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        if (line.starts_with("samples,")) {
            std::istringstream fields(line.substr(line.find(',') + 1));
            samples = numbersOf(fields);
            continue;
        }
        const Golden golden = parse(line);
        EXPECT_NEAR(evaluate(golden, samples) / golden.likelihood, 1.0, 1e-10) << line;
        ++compared;
    }
    EXPECT_EQ(compared, 91);
}

// ---- the model ----------------------------------------------------------------------------------

TEST(Likelihood, DesignHasTheConstantThenAllCosinesThenAllSines)
{
    LikelihoodTracker test;
    test.orders = {2.0F, 0.5F};
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    static_cast<void>(test.at(200.0));
    const Eigen::MatrixXd& design = test.tracker.design();
    for (std::int32_t i = 0; i < 100; ++i) {
        const double t = i * 0.001;
        EXPECT_EQ(design(i, 0), 1.0);
        EXPECT_NEAR(design(i, 1), std::cos(400.0 * t), 1e-13);
        EXPECT_NEAR(design(i, 2), std::cos(100.0 * t), 1e-13);
        EXPECT_NEAR(design(i, 3), std::sin(400.0 * t), 1e-13);
        EXPECT_NEAR(design(i, 4), std::sin(100.0 * t), 1e-13);
    }
}

// Every row for itself: no error grows along a block, as it would with a recurrence.
TEST(Likelihood, LastRowOfALongBlockIsAsGoodAsTheFirst)
{
    LikelihoodTracker test;
    test.slots = 30000;
    test.useBlocksOf(20000);
    test.orders = {1.0F};
    test.takeBlock(std::vector<double>(20000, 1.0));
    static_cast<void>(test.at(200.0));
    const double angle = (1.0 * 200.0 * (1.0 / 1000.0)) * 19999;
    EXPECT_EQ(test.tracker.design()(19999, 1), std::cos(angle));
    EXPECT_EQ(test.tracker.design()(19999, 2), std::sin(angle));
}

// An order of a tenth is not a tenth.
TEST(Likelihood, OrdersAreWidenedFromFloat)
{
    LikelihoodTracker test;
    test.orders = {0.1F, 1.0F};
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    static_cast<void>(test.at(3000.0));
    EXPECT_EQ(test.tracker.design()(99, 1),
              std::cos((static_cast<double>(0.1F) * 3000.0 * (1.0 / 1000.0)) * 99));
}

// What Eigen makes of the same matrix by its functions, all K * K elements of it, to the bit.
TEST(Likelihood, InverseIsThatOfTheLibrarysOwnFunction)
{
    LikelihoodTracker test;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    for (const double candidate : {100.0, 190.0, 250.0}) {
        EXPECT_GT(test.at(candidate), 0.0);
        EXPECT_EQ(test.tracker.gramInverse(), test.tracker.gram().inverse());
    }
}

// The product of the matrices as a whole is the reference: another order of summation, so the
// elements, up to 100, differ by rounding alone.
TEST(Likelihood, GramIsTheProductOfTheDesignWithItself)
{
    LikelihoodTracker test;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    for (const double candidate : {0.0, 1e-3, 100.0, 190.0, 250.0}) {
        static_cast<void>(test.at(candidate));
        const Eigen::MatrixXd product = test.tracker.design().transpose() * test.tracker.design();
        EXPECT_LT((test.tracker.gram() - product).cwiseAbs().maxCoeff(), 1e-12) << candidate;
        EXPECT_EQ(test.tracker.gram(), test.tracker.gram().transpose()) << candidate;
    }
}

TEST(Likelihood, BlockIsNotChanged)
{
    LikelihoodTracker test;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    const Eigen::VectorXd before = test.tracker.block();
    static_cast<void>(test.at(190.0));
    EXPECT_EQ(test.tracker.block(), before);
}

// ---- candidates that score nothing --------------------------------------------------------------

// All sines are 0 and all cosines the constant.
TEST(Likelihood, CandidateOfZeroScoresNothing)
{
    LikelihoodTracker test;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    EXPECT_EQ(test.at(0.0), 0.0);
    EXPECT_EQ(test.tracker.likelihood(0.0, true), 0.0);
}

// The threshold is 2.2e-16 whatever the scale of the matrix, and it is the determinant that is
// compared: on the way down to 0 rad/s both sides of it are met.
TEST(Likelihood, DeterminantBelowEpsilonScoresNothing)
{
    LikelihoodTracker test;
    test.orders = {1.0F};
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    int scored = 0;
    int singular = 0;
    double candidate = 20.0;
    for (int i = 0; i < 120; ++i) {
        const double value = test.at(candidate);
        const bool below = DBL_EPSILON > std::abs(test.tracker.gram().determinant());
        EXPECT_EQ(value == 0.0, below) << candidate;
        ++(below ? singular : scored);
        candidate *= 0.9;
    }
    EXPECT_GT(scored, 10);
    EXPECT_GT(singular, 10);
}

// What the product of the matrices as a whole says, wherever it is more than rounding that decides:
// from a hundredth of a turn in a block on, and at no turn at all.
TEST(Likelihood, DeterminantIsOnTheSideOfThatOfTheProduct)
{
    for (const std::vector<float>& orders : {std::vector{1.0F}, {1.0F, 2.0F, 3.0F}}) {
        LikelihoodTracker test;
        test.orders = orders;
        test.takeBlock(steadyMachine(100, 1000.0, 30.0));
        for (int i = 0; i <= 1000; ++i) {
            const double candidate = orders.size() == 1 ? 0.63 * i : 6.3 * i;
            static_cast<void>(test.at(candidate));
            const Eigen::MatrixXd product =
                test.tracker.design().transpose() * test.tracker.design();
            EXPECT_EQ(DBL_EPSILON > std::abs(test.tracker.gram().determinant()),
                      DBL_EPSILON > std::abs(product.determinant()))
                << candidate;
        }
    }
}

TEST(Likelihood, SilentBlockScoresNothingAtAnyCandidate)
{
    LikelihoodTracker test;
    test.takeBlock(std::vector<double>(100, 0.0));
    for (int i = 0; i < 50; ++i) EXPECT_EQ(test.at(50.0 + 13.7 * i), 0.0) << i;
}

// 64 ones, their mean 1: without orders everything is exact, and nothing remains.
TEST(Likelihood, BlockThatTheModelExplainsExactlyScoresNothing)
{
    LikelihoodTracker test;
    test.useBlocksOf(64);
    test.prepare();
    test.setup.orderCount = 0;
    test.handOver();
    test.tracker.initiate();
    test.feed(std::vector<double>(64, 1.0));
    test.tracker.copyBlock();
    EXPECT_EQ(test.at(200.0), 0.0);
    EXPECT_EQ(test.tracker.gram()(0, 0), 64.0);
}

// What remains of an explained block is rounding, of either sign: no peak, or a huge one.
TEST(Likelihood, BlockExplainedToRoundingScoresNothingOrHugely)
{
    int nothing = 0;
    int huge = 0;
    for (int phase = 0; phase < 50; ++phase) {
        std::vector<double> samples(100);
        for (int i = 0; i < 100; ++i)
            samples[static_cast<std::size_t>(i)] = std::cos(200.0 * 0.001 * i + phase);
        LikelihoodTracker test;
        test.takeBlock(samples);
        const double value = test.at(200.0);
        EXPECT_TRUE(value == 0.0 || value > 1e200) << value;
        ++(value == 0.0 ? nothing : huge);
    }
    EXPECT_GT(nothing, 0);
    EXPECT_GT(huge, 0);
}

// ---- linear scale -------------------------------------------------------------------------------

// The likelihood of orders 1 to 3 in a block of N samples with a given energy that they do not
// explain. The candidate turns 5 times in a block and the signal 31 times, so that all columns and
// the signal are orthogonal, and the Frobenius norm is N sqrt(1 + 6 / 4).
double likelihoodOfResidual(std::int32_t blockSamples, double energy)
{
    LikelihoodTracker test;
    test.sampleRate = blockSamples;
    test.useBlocksOf(blockSamples);
    std::vector<double> samples(static_cast<std::size_t>(blockSamples));
    for (std::int32_t i = 0; i < blockSamples; ++i)
        samples[static_cast<std::size_t>(i)] =
            std::sqrt(2 * energy / blockSamples) * std::cos(kTwoPi * 31 * i / blockSamples);
    test.takeBlock(samples);
    return test.at(kTwoPi * 5);
}

TEST(Likelihood, IsAPowerOfTheResidualEnergyOverTheNorm)
{
    for (const double energy : {0.9, 1.0, 1.1, 50.0}) {
        const double expected = std::pow(energy, -59.0) / (125 * std::sqrt(2.5));
        EXPECT_NEAR(likelihoodOfResidual(125, energy) / expected, 1.0, 1e-11);
    }
}

struct NormalRange {
    std::int32_t blockSamples;
    double lowest;
    double highest;
    double digit; ///< unit of the second digit of lowest
    double digitOfHighest;
};

// The table in the public header, section on the autotracker: one unit of its last digit further,
// the value has left the range of numbers of full precision.
TEST(Likelihood, ResidualEnergiesOfTheTableGiveNormalNumbersAndThoseBeyondDoNot)
{
    for (const NormalRange& range : {NormalRange{125, 6.0e-6, 1.4e5, 1e-7, 1e4},
                                     {250, 3.0e-3, 320.0, 1e-4, 10.0},
                                     {300, 7.9e-3, 120.0, 1e-4, 10.0},
                                     {500, 0.057, 17.0, 1e-3, 1.0},
                                     {1000, 0.24, 4.1, 1e-2, 0.1}}) {
        const std::int32_t n = range.blockSamples;
        EXPECT_TRUE(std::isnormal(likelihoodOfResidual(n, range.lowest))) << n;
        EXPECT_TRUE(std::isnormal(likelihoodOfResidual(n, range.highest))) << n;
        EXPECT_TRUE(std::isinf(likelihoodOfResidual(n, range.lowest - range.digit))) << n;
        EXPECT_LT(likelihoodOfResidual(n, range.highest + range.digitOfHighest), DBL_MIN) << n;
    }
}

TEST(Likelihood, LoudLongBlockScoresNothing)
{
    EXPECT_EQ(likelihoodOfResidual(1000, 100.0), 0.0);
}

TEST(Likelihood, QuietLongBlockScoresInfinity)
{
    EXPECT_EQ(likelihoodOfResidual(1000, 0.01), std::numeric_limits<double>::infinity());
}

// Every candidate is scaled alike, so that none gains by it.
TEST(Likelihood, ScaledSignalScalesEveryCandidateAlike)
{
    LikelihoodTracker test;
    std::vector<double> samples = steadyMachine(100, 1000.0, 30.0);
    test.takeBlock(samples);
    std::vector<double> values;
    for (const double candidate : {100.0, 150.0, 200.0, 250.0, 300.0, 350.0})
        values.push_back(test.at(candidate));
    for (double& sample : samples) sample *= 2.0;
    test.takeBlock(samples);
    const double factor = std::pow(4.0, (6 - 100 + 1) / 2.0);
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_NEAR(
            test.at(100.0 + 50.0 * static_cast<double>(i)) / values[i] / factor, 1.0, 1e-10);
}

// ---- the prior ----------------------------------------------------------------------------------

// 1 % of 100 Hz is 6.28 rad/s whatever the frequency; the density of a normal distribution at its
// middle and one deviation off.
TEST(Likelihood, PriorIsANormalDensityRoundThePrediction)
{
    LikelihoodTracker test;
    test.setup.maxFrequency = 100.0;
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = 30.0;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    const double sigma = kTwoPi;
    const double middle = kTwoPi * 30.0;
    const double top = 1.0 / (sigma * std::sqrt(kTwoPi));
    const auto prior = [&](double candidate) {
        return test.tracker.likelihood(candidate, true) / test.at(candidate);
    };
    EXPECT_NEAR(prior(middle), top, 1e-12);
    EXPECT_NEAR(prior(middle - sigma), top * std::exp(-0.5), 1e-12);
    EXPECT_NEAR(prior(middle + 3 * sigma), top * std::exp(-4.5), 1e-12);
}

TEST(Likelihood, PriorIsTheSameInBothUnits)
{
    const auto valueIn = [](bool rpm) {
        LikelihoodTracker test;
        const double unit = rpm ? 60.0 : 1.0;
        test.setup.frequencyInRpm = rpm ? 1 : 0;
        test.setup.minFrequency = 10.0 * unit;
        test.setup.maxFrequency = 100.0 * unit;
        test.setup.useStartFrequency = 1;
        test.setup.startFrequency = 30.0 * unit;
        test.takeBlock(steadyMachine(100, 1000.0, 30.0));
        return test.tracker.likelihood(190.0, true);
    };
    EXPECT_NEAR(valueIn(true) / valueIn(false), 1.0, 1e-12);
}

// Zero times infinity.
TEST(Likelihood, PriorWithoutWidthIsNotANumber)
{
    LikelihoodTracker test;
    test.useBlocksOf(100);
    test.setup.predictionSigmaPercent = 0.0;
    test.takeBlock(steadyMachine(100, 1000.0, 30.0));
    EXPECT_TRUE(std::isnan(test.tracker.likelihood(190.0, true)));
    EXPECT_GT(test.at(190.0), 0.0);
}

} // namespace
} // namespace Velmora::Autotracker
