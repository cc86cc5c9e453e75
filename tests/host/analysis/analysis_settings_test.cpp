#include "host/analysis/analysis_settings.h"

#include "tests/host/error_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <limits>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

AnalysisSettings good()
{
    AnalysisSettings settings;
    settings.minRpm = 600.0;
    settings.maxRpm = 6000.0;
    settings.stepRpm = 50.0;
    return settings;
}

TEST(AnalysisSettings, DefaultsNeedOnlyASpeedAxis)
{
    EXPECT_EQ(errorOf([] { good().validate(); }), "");
    EXPECT_EQ(good().binCount(), 109);
    EXPECT_EQ(good().orderBlockSamples(), 1000);
    EXPECT_EQ(good().maxOrder(), 50);
}

// 23 / 0.8 = 28.75 is 29, a prime; 30 = 2 * 3 * 5.
TEST(AnalysisSettings, EqualAngleSamplesLeaveAFifthAndMakeFastTransforms)
{
    AnalysisSettings settings = good();
    settings.highestOrder = 23.0;
    EXPECT_EQ(settings.maxOrder(), 30);
    settings.highestOrder = 1.0; // the library's lines need four orders at least
    EXPECT_EQ(settings.maxOrder(), 4);
}

// 0.1 is not a whole share of 1 in binary; neither count loses a bin or a revolution by it.
TEST(AnalysisSettings, CountsSurviveTheRoundingOfDecimalSteps)
{
    AnalysisSettings settings = good();
    settings.minRpm = 0.3;
    settings.maxRpm = 0.9;
    settings.stepRpm = 0.1;
    settings.orderResolution = 0.05;
    EXPECT_EQ(settings.binCount(), 7);
    EXPECT_EQ(settings.orderBlockSamples(), 2000);
}

TEST(AnalysisSettings, EveryFieldOutOfRangeIsNamedWithItsValue)
{
    const auto sentence = [](const std::function<void(AnalysisSettings&)>& spoil) {
        AnalysisSettings settings = good();
        spoil(settings);
        return errorOf([&] { settings.validate(); });
    };
    using Settings = AnalysisSettings;
    EXPECT_THAT(sentence([](Settings& s) { s.stepRpm = 0.0; }),
                HasSubstr("step of the speed axis is 0"));
    EXPECT_THAT(sentence([](Settings& s) { s.stepRpm = -5.0; }), HasSubstr("is -5"));
    EXPECT_THAT(sentence([](Settings& s) { s.stepRpm = std::numeric_limits<double>::quiet_NaN(); }),
                HasSubstr("step"));
    EXPECT_THAT(sentence([](Settings& s) { s.minRpm = -1.0; }),
                HasSubstr("start of the speed axis is -1"));
    EXPECT_THAT(sentence([](Settings& s) { s.maxRpm = 500.0; }),
                HasSubstr("end of the speed axis is 500"));
    EXPECT_THAT(sentence([](Settings& s) { s.stepRpm = 1e-3; }), HasSubstr("number of speed bins"));
    EXPECT_THAT(sentence([](Settings& s) { s.hysteresisPercent = 101.0; }),
                HasSubstr("hysteresis"));
    EXPECT_THAT(sentence([](Settings& s) { s.highestOrder = 0.5; }),
                HasSubstr("highest order is 0.5, and 1 to 3000"));
    EXPECT_THAT(sentence([](Settings& s) { s.highestOrder = 5000.0; }), HasSubstr("is 5000"));
    EXPECT_THAT(sentence([](Settings& s) { s.orderResolution = 0.3; }),
                HasSubstr("order resolution is 0.3"));
    EXPECT_THAT(sentence([](Settings& s) { s.orderResolution = 2.0; }),
                HasSubstr("order resolution is 2"));
    EXPECT_THAT(sentence([](Settings& s) { s.orderResolution = 0.0; }),
                HasSubstr("order resolution is 0"));
    EXPECT_THAT(sentence([](Settings& s) { s.timeLines = 3; }), HasSubstr("frequency lines is 3"));
    EXPECT_THAT(sentence([](Settings& s) {
                    s.harmonics = {1.0F, 41.0F};
                }),
                HasSubstr("extracted is 41"));
    EXPECT_THAT(sentence([](Settings& s) { s.harmonics = {-1.0F}; }), HasSubstr("extracted is -1"));
}

TEST(AnalysisSettings, TablesBeyondAllMemoryAreRefused)
{
    AnalysisSettings settings = good();
    settings.stepRpm = 0.1;
    settings.highestOrder = 3000.0;
    settings.orderResolution = 0.01;
    EXPECT_THAT(errorOf([&] { settings.validate(); }), HasSubstr("cells of the order map"));
}

} // namespace
} // namespace Harmotrack::Host
