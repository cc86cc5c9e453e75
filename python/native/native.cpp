// The module _native: the host layer with NumPy's arrays. It is the only place where Python and C++
// meet, and checks nothing that the host layer checks itself. The interpreter's lock is open while
// the host layer works.
#include "analysis.h"
#include "monitor.h"
#include "speed.h"

#include "host/host_error.h"

#include <harmotrack/harmotrack.hpp>

#include <nanobind/nanobind.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>

#include <exception>
#include <string>
#include <utility>

namespace nb = nanobind;

namespace {

// What the host layer complains of is raised as the package's own exception.
void raiseHostError(const std::exception_ptr& thrown, void* /*unused*/)
{
    try {
        std::rethrow_exception(thrown);
    } catch (const Harmotrack::Host::HostError& error) {
        const nb::object type = nb::module_::import_("harmotrack.errors").attr("HarmotrackError");
        PyErr_SetString(type.ptr(), error.what());
    }
}

} // namespace

NB_MODULE(_native, module)
{
    module.doc() = "The host layer of Harmotrack, with NumPy's arrays.";
    nb::register_exception_translator(&raiseHostError);
    module.def(
        "load_library",
        [](const std::string& path) { Harmotrack::load(path); },
        nb::arg("path"),
        "Loads the library; once, before anything else, or again from the same path.");
    module.def(
        "transform_in_use",
        [] {
            const auto transform = Harmotrack::transformInUse();
            return std::pair(transform.name, transform.pathUtf8);
        },
        "Name with version, and file, of the library that does the Fourier transforms.\n\n"
        "RuntimeError if there is none.");
    Harmotrack::Python::bindSpeed(module);
    Harmotrack::Python::bindAnalysis(module);
    Harmotrack::Python::bindMonitor(module);
}
