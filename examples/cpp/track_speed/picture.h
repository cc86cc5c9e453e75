#pragma once

#include "report.h"

#include <string>

namespace Harmotrack::Examples {

/// Commands for gnuplot that draw a report to its standard output, in PNG: over the time the speed
/// with the estimates that are not valid as dots, the error if the speed is known, and the share of
/// the energy that the orders explain.
std::string pictureScript(const Report& report);

} // namespace Harmotrack::Examples
