#pragma once

#include <nanobind/nanobind.h>

#include <functional>
#include <utility>

namespace Harmotrack::Python {

/// A Python function of the share that is done, to be called by C++ that runs without the
/// interpreter's lock. An interrupt by the user, and whatever the function raises, ends the work
/// and comes out of it. Without a function there is only the interrupt.
inline std::function<void(double)> progressOf(nanobind::object function)
{
    return [function = std::move(function)](double done) {
        const nanobind::gil_scoped_acquire lock;
        if (PyErr_CheckSignals() != 0) throw nanobind::python_error();
        if (!function.is_none()) function(done);
    };
}

} // namespace Harmotrack::Python
