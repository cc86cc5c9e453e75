#pragma once

#include "report.h"

#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// An order that stands out of its neighbours, and the speed at which it is strongest.
struct OrderPeak {
    double order = 0.0;
    double amplitude = 0.0;
    double rpm = 0.0;
};

/// The strongest orders of a signal above 0.25, at most `count`, the strongest first: lines whose
/// greatest amplitude over all speeds is the greatest within three lines on either side, and at
/// least ten times the median of the lines.
std::vector<OrderPeak> strongestOrders(const Host::AnalysisResults& results,
                                       const Host::SignalResults& signal,
                                       std::size_t count);

/// What was found, in a few lines of text.
std::string summaryText(const Report& report);

} // namespace Harmotrack::Examples
