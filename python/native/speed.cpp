#include "speed.h"

#include "arrays.h"
#include "progress.h"

#include "host/shaft_angle.h"
#include "host/tacho_settings.h"
#include "host/tachometer.h"
#include "host/tracking_run.h"
#include "host/tracking_settings.h"
#include "host/uniform_signal.h"

#include <nanobind/stl/optional.h>
#include <nanobind/stl/pair.h>
#include <nanobind/stl/string.h>
#include <nanobind/stl/tuple.h>
#include <nanobind/stl/vector.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace nb = nanobind;
using namespace nb::literals;

namespace Harmotrack::Python {
namespace {

using Host::ShaftAngle;

Host::UniformSignal copyOf(const Samples& samples, double rateHz, double startSeconds)
{
    const auto span = spanOf(samples);
    return {startSeconds, rateHz, std::vector<double>(span.begin(), span.end())};
}

Array<double> pulseTimes(const Samples& samples,
                         double rateHz,
                         double startSeconds,
                         const Host::TachometerSettings& settings)
{
    std::vector<double> seconds;
    {
        const nb::gil_scoped_release unlocked;
        seconds = Host::Tachometer(settings).pulseTimes(copyOf(samples, rateHz, startSeconds));
    }
    return arrayOf(std::move(seconds));
}

/// The segments of known angle, the number of pulses, and what was mended or dropped, in words.
using TachoReading = std::tuple<std::vector<ShaftAngle>, std::size_t, std::vector<std::string>>;

TachoReading told(const Host::TachoReading& reading)
{
    std::vector<std::string> events;
    for (const Host::TachoEvent& event : reading.events) events.push_back(event.text());
    return {ShaftAngle::segmentsOf(reading.knots), reading.pulses, std::move(events)};
}

TachoReading readTacho(const Samples& samples,
                       double rateHz,
                       double startSeconds,
                       const Host::TachometerSettings& settings)
{
    const nb::gil_scoped_release unlocked;
    return told(Host::Tachometer(settings).read(copyOf(samples, rateHz, startSeconds)));
}

void bindTachometer(nb::module_& module)
{
    using Host::TachometerSettings;
    nb::class_<TachometerSettings>(module, "TachometerSettings", "How a tacho's pulses are read.")
        .def(nb::init<>())
        .def_rw("level", &TachometerSettings::level, nb::arg().none())
        .def_rw("hysteresis_percent", &TachometerSettings::hysteresisPercent)
        .def_prop_rw(
            "edge",
            [](const TachometerSettings& settings) { return static_cast<int>(settings.edge); },
            [](TachometerSettings& settings, int number) {
                settings.edge = static_cast<Host::Edge>(number);
            })
        .def_rw("pulses_per_revolution", &TachometerSettings::pulsesPerRevolution)
        .def_rw("missing_teeth", &TachometerSettings::missingTeeth)
        .def_rw("gear_ratio", &TachometerSettings::gearRatio)
        .def_rw("max_rpm", &TachometerSettings::maxRpm, nb::arg().none())
        .def_rw("name", &TachometerSettings::name)
        .def("validate", &TachometerSettings::validate);
    module.def("pulse_times",
               &pulseTimes,
               "samples"_a,
               "rate"_a,
               "start"_a,
               "settings"_a,
               "Times of the pulses of an analogue tacho channel as they stand there, seconds.");
    module.def("read_tacho",
               &readTacho,
               "samples"_a,
               "rate"_a,
               "start"_a,
               "settings"_a,
               "Segments of known angle, number of pulses, and what was mended or dropped.");
}

nb::tuple toUniform(const Samples& seconds, const Samples& values)
{
    Host::UniformSignal signal;
    {
        const nb::gil_scoped_release unlocked;
        signal = Host::toUniform(spanOf(seconds), spanOf(values));
    }
    return nb::make_tuple(signal.startSeconds, signal.rateHz, arrayOf(std::move(signal.samples)));
}

ShaftAngle fromPulses(const Samples& seconds, double pulsesPerRevolution)
{
    return ShaftAngle::fromPulses(spanOf(seconds), pulsesPerRevolution);
}

ShaftAngle fromSpeed(const Samples& seconds, const Samples& rpm)
{
    return ShaftAngle::fromSpeed(spanOf(seconds), spanOf(rpm));
}

Host::TrackedSpeed track(const Samples& samples,
                         double rateHz,
                         double startSeconds,
                         double minRpm,
                         double maxRpm,
                         std::vector<float> orders,
                         double blockSeconds,
                         double leastExplained,
                         nb::object progress)
{
    const auto report = progressOf(std::move(progress));
    const nb::gil_scoped_release unlocked;
    const Host::TrackingSettings settings{
        minRpm, maxRpm, std::move(orders), blockSeconds, leastExplained};
    const auto span = spanOf(samples);
    return Host::trackSpeed(
        settings, {startSeconds, rateHz, std::vector<double>(span.begin(), span.end())}, report);
}

/// A field of all estimates, in the order of time.
template <typename Value, typename Field>
auto column(Field Host::SpeedEstimate::*field)
{
    return [field](const Host::TrackedSpeed& tracked) {
        std::vector<Value> values;
        for (const Host::SpeedEstimate& estimate : tracked.estimates)
            values.push_back(static_cast<Value>(estimate.*field));
        return arrayOf(std::move(values));
    };
}

std::vector<std::pair<double, double>> lostStretches(const Host::TrackedSpeed& tracked)
{
    std::vector<std::pair<double, double>> stretches;
    for (const Host::LostStretch& stretch : tracked.lost())
        stretches.emplace_back(stretch.fromSeconds, stretch.toSeconds);
    return stretches;
}

void bindTracking(nb::module_& module)
{
    using Host::SpeedEstimate;
    nb::class_<Host::TrackedSpeed>(module, "Tracked", "The speed of a recording, by blocks.")
        .def_prop_ro("seconds", column<double>(&SpeedEstimate::seconds), nb::rv_policy::move)
        .def_prop_ro("rpm", column<double>(&SpeedEstimate::rpm), nb::rv_policy::move)
        .def_prop_ro("explained", column<double>(&SpeedEstimate::explained), nb::rv_policy::move)
        .def_prop_ro("valid", column<std::uint8_t>(&SpeedEstimate::valid), nb::rv_policy::move)
        .def_prop_ro("valid_share", &Host::TrackedSpeed::validShare)
        .def_prop_ro("lost", &lostStretches, "Where the machine was lost: from and to, seconds.")
        .def("angle",
             &Host::TrackedSpeed::shaftAngle,
             "longest_gap"_a,
             nb::call_guard<nb::gil_scoped_release>());
    module.def("track",
               &track,
               "samples"_a,
               "rate"_a,
               "start"_a,
               "min_rpm"_a,
               "max_rpm"_a,
               "orders"_a,
               "block_seconds"_a,
               "least_explained"_a,
               "progress"_a.none(),
               "Tracks the speed of a machine in one of its signals, without a tachometer.");
}

template <double (ShaftAngle::*Reader)(double) const>
Array<double> each(const ShaftAngle& angle, const Samples& arguments)
{
    std::vector<double> values(arguments.shape(0));
    {
        const nb::gil_scoped_release unlocked;
        const auto span = spanOf(arguments);
        std::transform(span.begin(), span.end(), values.begin(), [&](double argument) {
            return (angle.*Reader)(argument);
        });
    }
    return arrayOf(std::move(values));
}

} // namespace

void bindSpeed(nb::module_& module)
{
    module.def("to_uniform",
               &toUniform,
               "seconds"_a,
               "values"_a,
               "Samples with irregular steps at equal ones: start, rate and samples.");

    nb::class_<ShaftAngle>(module, "ShaftAngle", "The angle of a shaft over time, in turns.")
        .def_static("from_pulses",
                    &fromPulses,
                    "seconds"_a,
                    "pulses_per_revolution"_a,
                    nb::call_guard<nb::gil_scoped_release>())
        .def_static("from_speed",
                    &fromSpeed,
                    "seconds"_a,
                    "rpm"_a,
                    nb::call_guard<nb::gil_scoped_release>())
        .def_prop_ro("start", &ShaftAngle::startSeconds, "First moment of known angle, seconds.")
        .def_prop_ro("end", &ShaftAngle::endSeconds, "Last moment of known angle, seconds.")
        .def_prop_ro("turns", &ShaftAngle::turns, "Turns from the start to the end.")
        .def("turns_at", &each<&ShaftAngle::turnsAt>, "seconds"_a)
        .def("rpm_at", &each<&ShaftAngle::speedRpmAt>, "seconds"_a)
        .def("seconds_at", &each<&ShaftAngle::secondsAt>, "turns"_a);
    bindTachometer(module);
    bindTracking(module);
}

} // namespace Harmotrack::Python
