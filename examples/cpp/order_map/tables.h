#pragma once

#include "report.h"

#include <string>

namespace Harmotrack::Examples {

// Tables of comma-separated values with one header line. Speeds are the centres of the bins; only
// bins that a block fell into have rows. Amplitudes are in the report's unit and convention.

/// signal, speed, then a column for each order.
std::string orderMapTable(const Report& report);

/// signal, speed, then a column for each frequency in Hz.
std::string frequencyMapTable(const Report& report);

/// One row for each signal, order and speed: amplitude, and phase in degrees.
std::string harmonicsTable(const Report& report);

/// One row for each signal and speed: overall level, RMS.
std::string overallTable(const Report& report);

/// speed, then a column for each order, negative ones against the rotation: circle radii.
std::string whirlMapTable(const Report& report);

} // namespace Harmotrack::Examples
