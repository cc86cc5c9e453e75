#pragma once

#include "host/shaft/tacho_event.h"

#include <cstddef>
#include <string>

namespace Harmotrack::Host {

/// What has to be known of a tacho before its single repairs: where a substantial share of the
/// pulses was dropped or filled in (TachoEvent::Kind::Disturbed and Unreadable).
class TachoSummary {
public:
    void add(const TachoEvent& event);

    /// One sentence: when, how many of all pulses, what that means. Empty if there is no need.
    [[nodiscard]] std::string text(std::size_t pulses) const;

private:
    std::size_t stretches_ = 0;
    std::size_t pulses_ = 0;
    double firstSeconds_ = 0.0;
    double lastSeconds_ = 0.0;
};

} // namespace Harmotrack::Host
