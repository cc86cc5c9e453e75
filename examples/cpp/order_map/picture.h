#pragma once

#include "report.h"

#include <string>

namespace Harmotrack::Examples {

/// Commands for gnuplot that draw a report to its standard output, in PNG: the order map (amplitude
/// in dB over order and speed, of either signal, or of one signal and of the two senses of whirl),
/// the speed over time, and over the speed the amplitudes and phases of the extracted orders and
/// the overall level.
std::string pictureScript(const Report& report);

} // namespace Harmotrack::Examples
