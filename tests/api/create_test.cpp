#include "api/handles.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace Velmora::OrderTracking {
namespace {

// Any number that is not 0 or 1 stands for one complex signal.
TEST(Create, EveryModeButTheFirstTwoIsTheThird)
{
    for (const auto& [argument, mode] :
         {std::pair(0, 0), std::pair(1, 1), std::pair(2, 2), std::pair(5, 2), std::pair(-1, 2)}) {
        const std::unique_ptr<IOrderAnalyzer> analyzer(&Api::analyzerOf(create(argument)));
        EXPECT_EQ(analyzer->getMode(), mode) << argument;
    }
}

TEST(SetSampleRate, SetsRateAndDivider)
{
    const std::unique_ptr<IOrderAnalyzer> analyzer(&Api::analyzerOf(create(0)));
    setSampleRate(Api::handleOf(analyzer.get()), 51200.0, 4);
    EXPECT_EQ(analyzer->getSampleRate(), 51200.0);
    EXPECT_EQ(analyzer->getRateDivider(), 4);
}

} // namespace
} // namespace Velmora::OrderTracking
