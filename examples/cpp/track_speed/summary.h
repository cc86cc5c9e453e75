#pragma once

#include "report.h"

#include <string>

namespace Harmotrack::Examples {

/// Table of comma-separated values, one row an estimate: time, speed, whether it is valid (1 or 0),
/// the share of the block's energy that the orders explain, and that share by that of the next best
/// speed.
std::string speedTable(const Report& report);

/// What was found, in a few lines of text.
std::string summaryText(const Report& report);

} // namespace Harmotrack::Examples
