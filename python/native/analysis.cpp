#include "analysis.h"

#include "arrays.h"

#include "host/analysis/analysis_results.h"
#include "host/analysis/analysis_settings.h"
#include "host/analysis/order_band.h"
#include "host/equal_angle/axis.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/vector.h>

#include <complex>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

namespace nb = nanobind;
using namespace nb::literals;

namespace Harmotrack::Python {
namespace {

using Host::AnalysisResults;
using Host::AnalysisSettings;
using Host::SignalResults;
using Host::Table;

Array<const float> tableView(const Table& table, nb::handle owner)
{
    return viewOf(table.values.data(), {table.rows(), table.columns}, owner);
}

template <typename T>
Array<const T> vectorView(const std::vector<T>& values, nb::handle owner)
{
    return viewOf(values.data(), {values.size()}, owner);
}

nb::list harmonicViews(const SignalResults& results, nb::handle owner)
{
    nb::list views;
    for (const auto& harmonic : results.harmonics) views.append(vectorView(harmonic, owner));
    return views;
}

/// Read access to a field that holds a vector, for def_prop_ro.
template <typename T>
auto viewOfField(std::vector<T> AnalysisResults::*field)
{
    return [field](nb::handle_t<AnalysisResults> self) {
        return vectorView(nb::cast<const AnalysisResults&>(self).*field, self);
    };
}

/// Access to a setting that is one of several, by its number in the library's records.
template <typename Choice>
auto numberOf(Choice AnalysisSettings::*field)
{
    return [field](const AnalysisSettings& settings) { return static_cast<int>(settings.*field); };
}

template <typename Choice>
auto setNumber(Choice AnalysisSettings::*field)
{
    return [field](AnalysisSettings& settings, int number) {
        settings.*field = static_cast<Choice>(number);
    };
}

void bindSettings(nb::module_& module)
{
    nb::class_<AnalysisSettings> settings(module, "Settings", "What a run computes.");
    settings.def(nb::init<>())
        .def_rw("min_rpm", &AnalysisSettings::minRpm)
        .def_rw("max_rpm", &AnalysisSettings::maxRpm)
        .def_rw("step_rpm", &AnalysisSettings::stepRpm)
        .def_rw("hysteresis_percent", &AnalysisSettings::hysteresisPercent)
        .def_rw("highest_order", &AnalysisSettings::highestOrder)
        .def_rw("order_resolution", &AnalysisSettings::orderResolution)
        .def_rw("harmonics", &AnalysisSettings::harmonics)
        .def_rw("remove_mean", &AnalysisSettings::removeMean)
        .def_rw("time_lines", &AnalysisSettings::timeLines)
        .def_rw("two_sided", &AnalysisSettings::twoSided)
        .def_rw("keep_angle_signal", &AnalysisSettings::keepAngleSignal)
        .def_rw("row_overlap_percent", &AnalysisSettings::rowOverlapPercent, nb::arg().none())
        .def_prop_ro("max_order", &AnalysisSettings::maxOrder, "Half the samples of a revolution.")
        .def("validate", &AnalysisSettings::validate);
    const auto choice = [&](const char* name, auto field) {
        settings.def_prop_rw(name, numberOf(field), setNumber(field));
    };
    choice("direction", &AnalysisSettings::direction);
    choice("window", &AnalysisSettings::window);
    choice("amplitude", &AnalysisSettings::amplitude);
    choice("block_mode", &AnalysisSettings::blockMode);
    choice("averaging", &AnalysisSettings::averaging);
    choice("phase_reference", &AnalysisSettings::phaseReference);
    choice("phase_mode", &AnalysisSettings::phaseMode);
    choice("weighting", &AnalysisSettings::weighting);
    choice("passes", &AnalysisSettings::passes);
}

/// Of the signals at equal angles: turns of the shaft at each step.
Array<double> anglesOf(const AnalysisResults& results, int samplesPerRevolution)
{
    std::vector<double> turns;
    for (const Host::EqualAngleStep& step : results.angleSignal.steps)
        turns.push_back(static_cast<double>(step.number) / samplesPerRevolution);
    return arrayOf(std::move(turns));
}

Array<double> angleSecondsOf(const AnalysisResults& results)
{
    std::vector<double> seconds;
    for (const Host::EqualAngleStep& step : results.angleSignal.steps)
        seconds.push_back(step.seconds);
    return arrayOf(std::move(seconds));
}

/// Arrays of the results are views: they keep the results alive and copy nothing.
void bindResults(nb::module_& module)
{
    using Self = nb::handle_t<AnalysisResults>;
    const auto signal = [](Self self, std::size_t which) -> const SignalResults& {
        return nb::cast<const AnalysisResults&>(self).signals.at(which);
    };
    nb::class_<AnalysisResults>(module, "Results", "All tables of a pass, with their axes.")
        .def_prop_ro("pass_number",
                     [](const AnalysisResults& results) { return static_cast<int>(results.pass); })
        .def_prop_ro("speed", viewOfField(&AnalysisResults::binRpm))
        .def_prop_ro("orders", viewOfField(&AnalysisResults::orders))
        .def_prop_ro("frequencies", viewOfField(&AnalysisResults::frequencies))
        .def_prop_ro("order_blocks", viewOfField(&AnalysisResults::orderBlocks))
        .def_prop_ro("time_blocks", viewOfField(&AnalysisResults::timeBlocks))
        .def_prop_ro("directional_orders", viewOfField(&AnalysisResults::whirlOrders))
        .def_prop_ro("directional",
                     [](Self self) {
                         return tableView(nb::cast<const AnalysisResults&>(self).whirlMap, self);
                     })
        .def_prop_ro("seconds", viewOfField(&AnalysisResults::seconds))
        .def_prop_ro("speed_rpm", viewOfField(&AnalysisResults::speedRpm))
        .def("angle", &anglesOf, "samples_per_revolution"_a)
        .def_prop_ro("angle_seconds", &angleSecondsOf, nb::rv_policy::move)
        .def(
            "angle_signal",
            [](Self self, std::size_t which) {
                const auto& results = nb::cast<const AnalysisResults&>(self);
                return vectorView(results.angleSignal.values.at(which), self);
            },
            "signal"_a)
        .def_ro("remarks", &AnalysisResults::remarks)
        .def_ro("lowest_rpm", &AnalysisResults::lowestRpm)
        .def_ro("highest_rpm", &AnalysisResults::highestRpm)
        .def(
            "order_map",
            [signal](Self self, std::size_t which) {
                return tableView(signal(self, which).orderMap, self);
            },
            "signal"_a)
        .def(
            "frequency_map",
            [signal](Self self, std::size_t which) {
                return tableView(signal(self, which).frequencyMap, self);
            },
            "signal"_a)
        .def(
            "harmonics",
            [signal](Self self, std::size_t which) {
                return harmonicViews(signal(self, which), self);
            },
            "signal"_a)
        .def(
            "overall",
            [signal](Self self, std::size_t which) {
                return vectorView(signal(self, which).overall, self);
            },
            "signal"_a);
}

Array<float> bandAmplitudes(
    const Spectra& spectra, const Samples& orders, double order, double reach, int window)
{
    const Host::OrderBand band(spanOf(orders), order, reach, static_cast<Host::Window>(window));
    std::vector<float> amplitudes;
    amplitudes.reserve(spectra.shape(0));
    const std::span<const float> lines(spectra.data(), spectra.size());
    const std::size_t columns = spectra.shape(1);
    for (std::size_t row = 0; row < spectra.shape(0); ++row)
        amplitudes.push_back(band.amplitude(lines.subspan(row * columns, columns)));
    return arrayOf(std::move(amplitudes));
}

void bindBands(nb::module_& module)
{
    module.attr("LEAST_COHERENCE") = Host::kLeastCoherence;
    module.def(
        "noise_bandwidth",
        [](int window) { return Host::noiseBandwidth(static_cast<Host::Window>(window)); },
        "window"_a,
        "Of a window, in lines.");
    module.def(
        "reach_of_order",
        [](int window, double resolution) {
            return Host::reachOfOrder(static_cast<Host::Window>(window), resolution);
        },
        "window"_a,
        "resolution"_a,
        "Orders to either side in which the amplitude of an order is read.");
    module.def("band_amplitudes",
               &bandAmplitudes,
               "spectra"_a,
               "orders"_a,
               "order"_a,
               "reach"_a,
               "window"_a,
               "Of each row, what the lines round an order hold together.");
}

} // namespace

void bindAnalysis(nb::module_& module)
{
    bindBands(module);
    bindSettings(module);
    bindResults(module);
}

} // namespace Harmotrack::Python
