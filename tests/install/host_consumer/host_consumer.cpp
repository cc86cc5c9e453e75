// A host that takes the host layer out of the kit: order 3 of a shaft that runs up from 600 to
// 1800 rpm in 10 s, by a column of speed.
#include "host/analysis/analysis_run.h"

#include <cmath>
#include <cstdio>
#include <vector>

int main()
{
    using namespace Harmotrack::Host;
    UniformSignal signal;
    signal.rateHz = 1000.0;
    std::vector<double> seconds, rpm;
    for (int k = 0; k <= 10000; ++k) {
        const double t = k / signal.rateHz;
        const double turns = 10.0 * t + t * t;
        signal.samples.push_back(2.0 * std::cos(2.0 * 3.14159265358979 * 3.0 * turns));
        seconds.push_back(t);
        rpm.push_back(600.0 + 120.0 * t);
    }
    AnalysisSettings settings;
    settings.minRpm = 800.0;
    settings.maxRpm = 1600.0;
    settings.stepRpm = 100.0;
    settings.highestOrder = 8.0;
    settings.orderResolution = 0.125;
    settings.harmonics = {3.0F};
    const AnalysisResults results =
        AnalysisRun(settings).run({&signal, 1}, ShaftAngle::fromSpeed(seconds, rpm));
    const float amplitude = std::abs(results.signals[0].harmonics[0][4]);
    std::printf("order 3 at %g rpm: %.3f\n", results.binRpm[4], static_cast<double>(amplitude));
    return std::abs(amplitude - 2.0F) < 0.01F ? 0 : 1;
}
