#include "host/host_error.h"

#include <array>
#include <cstdio>

namespace Harmotrack::Host {

std::string numberText(double value)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), "%.6g", value);
    return text.data();
}

} // namespace Harmotrack::Host
