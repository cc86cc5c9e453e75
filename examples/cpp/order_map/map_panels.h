#pragma once

#include "plot_text.h"
#include "report.h"

#include <string>

namespace Harmotrack::Examples {

/// The order maps of a report in an area with room for a colour bar at its right: that of the only
/// signal; or those of two signals, one above the other; or with two-sided results that of the
/// first signal, and below it the whirl up to order 10 in either direction.
std::string mapPanels(const Report& report, const Area& area);

} // namespace Harmotrack::Examples
