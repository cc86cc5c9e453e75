#pragma once

#include <nanobind/nanobind.h>

namespace Harmotrack::Python {

/// Settings and results.
void bindAnalysis(nanobind::module_& module);

} // namespace Harmotrack::Python
