#pragma once

#include <harmotrack/setups.hpp>

#include <string>

namespace Harmotrack::Host {

/// What a user of the host layer did wrong, or what the machine lacks: one sentence that names the
/// thing, its value and what is allowed. It is thrown before the library is called with anything
/// that the library could not bear. The analyzers and trackers below speak with the same voice.
using HostError = Harmotrack::Error;

/// A number as such a sentence shows it: six significant digits, no trailing zeros.
std::string numberText(double value);

} // namespace Harmotrack::Host
