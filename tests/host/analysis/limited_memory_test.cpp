// Memory of the process that really runs out, anywhere at the start of a run: FFTW does not report
// it but ends the process, and that must never be.

#include "limited_process.h"

#include "host/analysis/analysis_run.h"
#include "host/host_error.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <utility>

namespace Harmotrack::Host {
namespace {

AnalysisSettings settingsWith(double orderResolution, int timeLines)
{
    AnalysisSettings settings;
    settings.minRpm = 600.0;
    settings.maxRpm = 3000.0;
    settings.stepRpm = 50.0;
    settings.highestOrder = 16.0;
    settings.orderResolution = orderResolution;
    settings.timeLines = timeLines;
    settings.harmonics = {1.0F, 2.0F};
    return settings;
}

TEST(LimitedMemory, EndsTheStartOfARunByASentence)
{
    int sentences = 0;
    for (const std::size_t channels : {1U, 2U}) {
        for (const auto& [resolution, lines] :
             {std::pair(0.5, 64), std::pair(1.0 / 127.0, 2039), std::pair(0.002, 16381)}) {
            const AnalysisSettings settings = settingsWith(resolution, lines);
            RunInput input;
            input.rateHz = 51200.0;
            input.channels = channels;
            input.speed.emplace();
            sentences += attemptWithMoreAndMore([&] {
                AnalysisRun run(settings);
                run.start(input);
            });
        }
    }
    EXPECT_GT(sentences, 50);
}

} // namespace
} // namespace Harmotrack::Host
