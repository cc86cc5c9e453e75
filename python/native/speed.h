#pragma once

#include <nanobind/nanobind.h>

namespace Harmotrack::Python {

/// Tachometers, the angle of a shaft, and uneven time steps.
void bindSpeed(nanobind::module_& module);

} // namespace Harmotrack::Python
