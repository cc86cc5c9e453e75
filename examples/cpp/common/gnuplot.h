#pragma once

#include <string>

namespace Harmotrack::Examples {

/// Whether gnuplot stands on the PATH.
/// @throws Host::HostError  it does not; the sentence names the package to install
void requireGnuplot();

/// Runs gnuplot on a script that draws to its standard output in PNG.
///
/// @return  the picture, whole: it begins and ends as a PNG does
/// @throws Host::HostError  gnuplot is missing, or failed; with its message
/// @throws Interrupted      a signal came; gnuplot was ended
std::string runGnuplot(const std::string& script);

} // namespace Harmotrack::Examples
