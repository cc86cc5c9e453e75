// A process that finds no kernel library, neither beside itself nor by the system's search. The
// table of kernels is never emptied again, so these steps are one test.

#include "dsp/fir/filter.h"
#include "kernels/kernel_table.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

std::string messageOf(Filter& filter, float sample)
{
    try {
        static_cast<void>(filter.process(sample));
    } catch (const std::runtime_error& error) {
        return error.what();
    }
    return "";
}

// The sample that failed stood where the next one stands.
TEST(FirFilterWithoutKernels, FailsAtEverySampleAndOverwritesThatOne)
{
    Filter filter;
    filter.setCoefficients({1.0, 10.0, 100.0});
    EXPECT_EQ(messageOf(filter, 7.0F), "Failed to initialize VexCalc.");
    EXPECT_EQ(messageOf(filter, 8.0F), "Failed to initialize VexCalc.");
    EXPECT_EQ(filter.position(), 0);

    ASSERT_EQ(Kernels::initializeVexCalc(0, 220, HARMOTRACK_LIBRARY_DIR), 0);
    EXPECT_EQ(filter.process(1.0F), 1.0F);
    EXPECT_EQ(filter.process(0.0F), 10.0F);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fir
