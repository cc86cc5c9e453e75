// Memory of the process that really runs out, in arrays or in planning: there is none of them then,
// and the process goes on.

#include "limited_process.h"
#include "transform_library.h"

#include <harmotrack/setups.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

namespace {

void require(bool there)
{
    if (!there) throw Harmotrack::Error("Memory ran out");
}

class TransformLimitedMemory : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Kind,
                         TransformLimitedMemory,
                         testing::Values(Kind::RealForward,
                                         Kind::RealBackward,
                                         Kind::ComplexForward,
                                         Kind::ComplexBackward));

TEST_P(TransformLimitedMemory, IsANullPlan)
{
    ours();
    for (const int n : {4096, 9973, 16411, 65536, 131071}) {
        // Not in our own arrays: for these it is tried whether a plan would fit, and what was tried
        // stays in the heap.
        const Array input(fftw(), inputSize(GetParam(), n));
        const Array output(fftw(), outputSize(GetParam(), n));
        const int nullPlans = attemptWithMoreAndMore([&] {
            fftw_plan plan = planOf(ours(), GetParam(), n, input, output);
            require(plan != nullptr);
            std::fill(input.real(), input.real() + input.size(), 1.0);
            ours().execute(plan);
            ours().destroyPlan(plan);
        });
        EXPECT_GT(nullPlans, 5) << n;
    }
}

// So a host that asks for the array first, and sees that it is missing, never meets a null plan.
TEST_P(TransformLimitedMemory, IsANullArrayWhereItWouldBeANullPlan)
{
    ours();
    constexpr int n = 65536;
    const int nullArrays = attemptWithMoreAndMore([] {
        const Array array(ours(), outputSize(Kind::ComplexForward, n) + 2);
        require(array.real() != nullptr);
        fftw_plan plan = planOf(ours(), GetParam(), n, array, array);
        if (plan == nullptr) throw std::runtime_error("an array, and no plan");
        ours().destroyPlan(plan);
    });
    EXPECT_GT(nullArrays, 5);
}

} // namespace
