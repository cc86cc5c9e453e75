#pragma once

#include "host/host_error.h"

#include <string>

namespace Harmotrack::Host {

/// The sentence that a call ends with, empty if it ends well.
template <typename Call>
std::string errorOf(const Call& call)
{
    try {
        call();
    } catch (const HostError& error) {
        return error.what();
    }
    return {};
}

} // namespace Harmotrack::Host
