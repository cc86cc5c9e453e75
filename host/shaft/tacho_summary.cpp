#include "host/shaft/tacho_summary.h"

#include "host/host_error.h"

#include <algorithm>

namespace Harmotrack::Host {

void TachoSummary::add(const TachoEvent& event)
{
    using Kind = TachoEvent::Kind;
    if (event.kind != Kind::Disturbed && event.kind != Kind::Unreadable) return;
    firstSeconds_ = stretches_ == 0 ? event.seconds : std::min(firstSeconds_, event.seconds);
    lastSeconds_ =
        stretches_ == 0 ? event.untilSeconds : std::max(lastSeconds_, event.untilSeconds);
    ++stretches_;
    pulses_ += static_cast<std::size_t>(event.pulses);
}

std::string TachoSummary::text(std::size_t pulses) const
{
    if (stretches_ == 0) return {};
    const std::string where =
        stretches_ == 1 ? "From " : "In " + std::to_string(stretches_) + " stretches from ";
    return where + numberText(firstSeconds_) + " to " + numberText(lastSeconds_) + " s " +
           std::to_string(pulses_) + " pulses of the tacho, which has " + std::to_string(pulses) +
           ", were dropped or filled in: the speed there is doubtful or missing.";
}

} // namespace Harmotrack::Host
