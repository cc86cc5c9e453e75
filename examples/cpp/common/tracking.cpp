#include "tracking.h"

#include "interruption.h"
#include "number_text.h"
#include "progress_bar.h"

#include "host/host_error.h"

#include <algorithm>

namespace Harmotrack::Examples {

Host::TrackedSpeed track(const Host::UniformSignal& signal, const Host::TrackingSettings& settings)
{
    ProgressBar bar("Tracking");
    Host::TrackedSpeed speed = Host::trackSpeed(settings, signal, [&bar](double share) {
        Interruption::check();
        bar.show(share);
    });
    if (speed.validShare() == 0.0)
        throw Host::HostError("No speed from " + rounded(settings.minRpm) + " to " +
                              rounded(settings.maxRpm) +
                              " rpm was found in the signal by these orders.");
    return speed;
}

std::vector<Host::AngleKnot> shaftOf(const Host::TrackedSpeed& speed)
{
    constexpr double kSeconds = 1.0;
    constexpr double kEstimates = 4.0;
    const auto& estimates = speed.estimates;
    const double hop = estimates.size() > 1 ? estimates[1].seconds - estimates[0].seconds : 0.0;
    return speed.knots(std::max(kSeconds, kEstimates * hop));
}

std::string foundText(const Host::TrackedSpeed& speed)
{
    return "found in " + fourDigits(100.0 * speed.validShare()) + " % of " +
           std::to_string(speed.estimates.size()) + " blocks";
}

} // namespace Harmotrack::Examples
