// The transform that stands in for FFTW computes what FFTW computes, for every length.

#include "transform_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <thread>
#include <vector>

namespace {

constexpr Kind kKinds[] = {
    Kind::RealForward, Kind::RealBackward, Kind::ComplexForward, Kind::ComplexBackward};

// Primes above and below powers of two, powers, products of few and of many primes.
constexpr int kLongLengths[] = {
    8192,   16384,  32768,  65536,  131072, 262144, // powers of two
    6561,   59049,  177147, 15625,  78125,  16807,  117649,     14641,
    161051, 28561, // of 3, 5, 7, 11, 13
    4099,   8191,   8209,   16381,  16411,  32749,  32771,      65521,
    65537,  131071, 262139,                                     // primes
    8198,   16382,  131042, 262078, 10403,  16129,  127 * 1021, // twice primes, products of two
    10000,  25600,  51200,  65520,  100000, 180180, 240240,     262143, // products of many
};

std::vector<double> noise(std::size_t count, int seed)
{
    std::mt19937_64 bits(static_cast<std::uint64_t>(seed));
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<double> values(count);
    for (double& value : values) value = uniform(bits);
    return values;
}

std::vector<double> transformed(const TransformLibrary& library,
                                Kind kind,
                                int n,
                                const std::vector<double>& values,
                                bool inPlace)
{
    const std::size_t results = outputSize(kind, n);
    const Array input(library, inPlace ? std::max(values.size(), results) : values.size());
    const Array other(library, results);
    const Array& output = inPlace ? input : other;
    fftw_plan plan = planOf(library, kind, n, input, output);
    if (plan == nullptr) return {};
    std::copy(values.begin(), values.end(), input.real());
    library.execute(plan);
    library.destroyPlan(plan);
    return {output.real(), output.real() + results};
}

/// Largest difference, in parts of the largest number of the first; infinite if sizes differ.
double difference(const std::vector<double>& expected, const std::vector<double>& values)
{
    if (values.size() != expected.size()) return std::numeric_limits<double>::infinity();
    double largest = 0.0;
    double worst = 0.0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        largest = std::max(largest, std::abs(expected[i]));
        worst = std::max(worst, std::abs(values[i] - expected[i]));
    }
    return worst / largest;
}

class Transform : public testing::TestWithParam<Kind> {
protected:
    static void expectAgreement(int n)
    {
        // Imaginary parts of the first and the middle line are noise as well.
        const auto values = noise(inputSize(GetParam(), n), n);
        const auto expected = transformed(fftw(), GetParam(), n, values, false);
        for (const bool inPlace : {false, true})
            ASSERT_LE(difference(expected, transformed(ours(), GetParam(), n, values, inPlace)),
                      1e-13)
                << n << (inPlace ? " in place" : " out of place");
    }
};

INSTANTIATE_TEST_SUITE_P(Kind, Transform, testing::ValuesIn(kKinds));

TEST_P(Transform, AgreesWithFftwInEveryLengthTo4096)
{
    for (int n = 1; n <= 4096; ++n) expectAgreement(n);
}

TEST_P(Transform, AgreesWithFftwInLongLengths)
{
    for (const int n : kLongLengths) expectAgreement(n);
}

// The arrays are those of the plan; what they hold may change between executions.
TEST_P(Transform, CanBeRepeated)
{
    constexpr int n = 1000;
    const Array input(ours(), inputSize(GetParam(), n));
    const Array output(ours(), outputSize(GetParam(), n));
    fftw_plan plan = planOf(ours(), GetParam(), n, input, output);
    ASSERT_NE(plan, nullptr);
    for (int seed = 0; seed < 3; ++seed) {
        const auto values = noise(input.size(), seed);
        std::copy(values.begin(), values.end(), input.real());
        ours().execute(plan);
        const std::vector<double> result(output.real(), output.real() + output.size());
        EXPECT_LE(difference(transformed(fftw(), GetParam(), n, values, false), result), 1e-13);
    }
    ours().destroyPlan(plan);
}

TEST_P(Transform, KeepsTheInputThatIsNotItsOutput)
{
    for (const int n : {1, 2, 7, 64, 1000, 1009}) {
        const Array input(ours(), inputSize(GetParam(), n));
        const Array output(ours(), outputSize(GetParam(), n));
        fftw_plan plan = planOf(ours(), GetParam(), n, input, output);
        const auto values = noise(input.size(), n);
        std::copy(values.begin(), values.end(), input.real());
        ours().execute(plan);
        ours().destroyPlan(plan);
        EXPECT_TRUE(std::equal(values.begin(), values.end(), input.real())) << n;
    }
}

TEST_P(Transform, OfNoLengthHasNoPlan)
{
    const Array array(ours(), 8);
    for (const int n : {0, -1, std::numeric_limits<int>::min()})
        EXPECT_EQ(planOf(ours(), GetParam(), n, array, array), nullptr) << n;
}

// Plans are made and ended by all at once, and each is executed while others are made.
TEST_P(Transform, ServesThreadsAtTheSameTime)
{
    constexpr int kThreads = 4;
    std::vector<double> worst(kThreads, 1.0);
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i)
        threads.emplace_back([&, i] {
            double& largest = worst[static_cast<std::size_t>(i)];
            largest = 0.0;
            for (int n = 500; n < 600; ++n) {
                const auto values = noise(inputSize(GetParam(), n), n);
                const auto once = transformed(ours(), GetParam(), n, values, false);
                const auto again = transformed(ours(), GetParam(), n, values, false);
                largest = std::max(largest, difference(once, again));
            }
        });
    for (std::thread& thread : threads) thread.join();
    for (const double difference : worst) EXPECT_EQ(difference, 0.0);
}

TEST(TransformArguments, OtherSignsHaveNoPlan)
{
    const Array array(ours(), 16);
    for (const int sign : {0, 2, -2})
        EXPECT_EQ(ours().complex(8, array.complex(), array.complex(), sign, FFTW_ESTIMATE), nullptr)
            << sign;
}

TEST(TransformArguments, NullIsEndedAndFreedAndExecutedInVain)
{
    ours().execute(nullptr);
    ours().destroyPlan(nullptr);
    ours().free(nullptr);
}

TEST(TransformArguments, MoreMemoryThanThereCanBeIsNull)
{
    for (const std::size_t count :
         {std::numeric_limits<std::size_t>::max(), std::numeric_limits<std::size_t>::max() / 8})
        EXPECT_EQ(ours().allocReal(count), nullptr) << count;
}

TEST(TransformArguments, ArraysBeginWithACacheLine)
{
    for (const std::size_t count : {0U, 1U, 7U, 1000U, 100000U}) {
        double* array = ours().allocReal(count);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(array) % 64, 0U) << count;
        ours().free(array);
    }
}

} // namespace
