#pragma once

#include <stdexcept>
#include <string>

namespace Harmotrack::Host {

/// What a user of the host layer did wrong, or what the machine lacks: one sentence that names the
/// thing, its value and what is allowed. It is thrown before the library is called with anything
/// that the library could not bear.
class HostError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A number as such a sentence shows it: six significant digits, no trailing zeros.
std::string numberText(double value);

} // namespace Harmotrack::Host
