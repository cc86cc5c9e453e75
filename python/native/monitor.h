#pragma once

#include <nanobind/nanobind.h>

namespace Harmotrack::Python {

/// Runs that take their samples in pieces.
void bindMonitor(nanobind::module_& module);

} // namespace Harmotrack::Python
