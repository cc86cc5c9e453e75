#include "host/equal_angle/row_sums_portable.h"

#if defined(__x86_64__) || defined(_M_X64)
#include "host/equal_angle/row_sums_x86_64.h"
#endif

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <cstdint>
#include <random>
#include <vector>

namespace Harmotrack::Host::RowSums {
namespace {

/// Six rows of weights, their shares and the samples, drawn between -1 and 1.
struct Drawn {
    Drawn(std::size_t size, std::mt19937& random)
    {
        const auto draw = [&] {
            return std::uniform_real_distribution<float>(-1.0F, 1.0F)(random);
        };
        for (std::vector<float>& row : weights) {
            row.resize(size);
            std::generate(row.begin(), row.end(), draw);
        }
        samples.resize(size);
        std::generate(samples.begin(), samples.end(), draw);
        std::generate(shares.begin(), shares.end(), draw);
        std::transform(weights.begin(), weights.end(), rows.begin(), [](const auto& row) {
            return row.data();
        });
    }

    std::array<std::vector<float>, 6> weights;
    std::array<const float*, 6> rows{};
    std::array<float, 6> shares{};
    std::vector<float> samples;
};

// Small whole numbers are exact in any order: Σ r Σ (k + 1) 2 = 21 · 16 · 17.
TEST(RowSums, AreTheSumsOfTheProductsByTheSharesOfTheRows)
{
    std::mt19937 random(1);
    Drawn drawn(16, random);
    for (std::size_t r = 0; r < 6; ++r) {
        drawn.shares[r] = static_cast<float>(r + 1);
        for (std::size_t k = 0; k < 16; ++k) drawn.weights[r][k] = static_cast<float>(k + 1);
    }
    std::fill(drawn.samples.begin(), drawn.samples.end(), 2.0F);
    EXPECT_EQ(Portable::sumOf(drawn.rows, drawn.shares, 16, drawn.samples.data()), 5712.0F);
}

#if defined(__x86_64__) || defined(_M_X64)
TEST(RowSums, OfEveryProcessorAreTheSameBits)
{
    std::mt19937 random(7);
    for (std::size_t size = 8; size <= 192; size += 8) {
        for (int repeat = 0; repeat < 50; ++repeat) {
            const Drawn drawn(size, random);
            const auto sum = [&](auto sumOf) {
                return std::bit_cast<std::uint32_t>(
                    sumOf(drawn.rows, drawn.shares, size, drawn.samples.data()));
            };
            ASSERT_EQ(sum(Portable::sumOf), sum(X86::sumOf)) << size << " products";
        }
    }
}
#endif

} // namespace
} // namespace Harmotrack::Host::RowSums
