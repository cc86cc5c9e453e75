#include "report.h"

#include "host/analysis/order_band.h"

namespace Harmotrack::Examples {

std::string Report::amplitudeUnit() const
{
    switch (settings.amplitude) {
    case Host::Amplitude::Rms:
        return unit + " RMS";
    case Host::Amplitude::PeakToPeak:
        return unit + " peak to peak";
    case Host::Amplitude::Peak:
        break;
    }
    return unit + " peak";
}

float Report::amplitude(std::size_t signal, std::size_t harmonic, std::size_t bin) const
{
    const double reach = Host::reachOfOrder(settings.window, results.resolution.orders);
    const auto order = static_cast<double>(settings.harmonics[harmonic]);
    const Host::OrderBand band(results.orders, order, reach, settings.window);
    return band.amplitude(results.signals[signal].orderMap.row(bin));
}

float Report::coherence(std::size_t signal, std::size_t harmonic, std::size_t bin) const
{
    return Host::coherence(results.signals[signal].harmonics[harmonic][bin],
                           amplitude(signal, harmonic, bin));
}

} // namespace Harmotrack::Examples
