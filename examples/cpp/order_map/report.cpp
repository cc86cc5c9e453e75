#include "report.h"

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

} // namespace Harmotrack::Examples
