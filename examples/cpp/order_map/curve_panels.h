#pragma once

#include "plot_text.h"
#include "report.h"

#include <string>

namespace Harmotrack::Examples {

/// Where the curves of a report stand.
struct CurveAreas {
    Area profile;
    Area cuts;
    Area phases;
    Area overall;
};

/// The speed over time, and over the speed the amplitudes of the extracted orders, the phases of
/// the whole ones, and the overall levels. Of the orders the five strongest are shown, if they
/// reach a hundredth of the strongest; a phase is left out where its order does not stand clearly
/// out of the usual line of the spectrum, as it would be that of the noise (then the panel says
/// so), and that of order 1 against itself. The second signal is dashed.
std::string curvePanels(const Report& report, const CurveAreas& areas);

} // namespace Harmotrack::Examples
