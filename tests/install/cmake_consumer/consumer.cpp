// A host that needs all of the kit: FFTW by an analyzer, the kernels by a tracker that decimates.
#include <harmotrack/harmotrack.hpp>

#include <cmath>
#include <cstdio>
#include <vector>

int main()
{
    Harmotrack::AnalyzerSetup analysis;
    analysis.sampleRate = 1000.0;
    analysis.binning = {.minValue = 600.0F, .maxValue = 6000.0F, .step = 100.0F};
    analysis.results.binOrderSpectrum = true;
    const Harmotrack::Analyzer<Harmotrack::Mode::OneReal> analyzer(analysis);

    constexpr double kRate = 6000.0;
    std::vector<double> sound(6000);
    for (std::size_t i = 0; i < sound.size(); ++i) {
        const double angle = 2.0 * 3.14159265358979 * 20.0 * static_cast<double>(i) / kRate;
        sound[i] = std::cos(angle) + 0.6 * std::cos(2 * angle) + 0.4 * std::cos(3 * angle);
    }
    Harmotrack::Autotracker tracker(
        {.sampleRate = kRate, .orders = {1, 2, 3}, .minFrequency = 600, .maxFrequency = 6000});
    tracker.feed(sound);
    const auto estimate = tracker.next();
    std::printf("%d bins, %.0f rpm\n", analyzer.sizes().bins, estimate ? estimate->frequency : 0.0);
    return tracker.decimation() == 5 && estimate && std::abs(estimate->frequency - 1200.0) < 3.0
               ? 0
               : 1;
}
