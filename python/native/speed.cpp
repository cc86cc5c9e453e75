#include "speed.h"

#include "arrays.h"
#include "progress.h"

#include "host/host_error.h"
#include "host/shaft/angle_knot.h"
#include "host/shaft/pulse_detector.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/speed_profile.h"
#include "host/shaft/tacho_event.h"
#include "host/shaft/tacho_settings.h"
#include "host/shaft/tachometer.h"
#include "host/signals/uniform_signal.h"
#include "host/tracking/tracking_run.h"
#include "host/tracking/tracking_settings.h"

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

/// The segments of known angle, the number of pulses, what was mended or dropped, in words, and
/// what has to be known before that.
using TachoReading = std::
    tuple<std::vector<ShaftAngle>, std::size_t, std::vector<std::string>, std::vector<std::string>>;

/// Reads a tacho channel in pieces of any size; samples are read where they stand, none is kept.
class TachoReader {
public:
    TachoReader(const Host::TachometerSettings& settings, double rateHz, double startSeconds)
        : tachometer_(settings)
    {
        tachometer_.start(rateHz, startSeconds);
    }

    void feed(const Samples& samples)
    {
        const nb::gil_scoped_release unlocked;
        tachometer_.feed(spanOf(samples));
        take();
    }

    TachoReading finish()
    {
        const nb::gil_scoped_release unlocked;
        tachometer_.finish();
        take();
        return {ShaftAngle::segmentsOf(knots_),
                tachometer_.pulses(),
                std::move(events_),
                tachometer_.remarks()};
    }

private:
    void take()
    {
        const std::vector<Host::AngleKnot> knots = tachometer_.takeKnots();
        knots_.insert(knots_.end(), knots.begin(), knots.end());
        for (const Host::TachoEvent& event : tachometer_.takeEvents())
            events_.push_back(event.text());
    }

    Host::Tachometer tachometer_;
    std::vector<Host::AngleKnot> knots_;
    std::vector<std::string> events_;
};

TachoReading readPulses(const Samples& seconds, const Host::TachometerSettings& settings)
{
    const Host::TachoReading read = Host::Tachometer(settings).readPulses(spanOf(seconds));
    std::vector<std::string> events;
    for (const Host::TachoEvent& event : read.events) events.push_back(event.text());
    return {ShaftAngle::segmentsOf(read.knots), read.pulses, std::move(events), read.remarks};
}

/// Finds the pulses of a tacho channel likewise, as they stand there, before anything is mended.
class PulseReader {
public:
    PulseReader(const Host::TachometerSettings& settings, double rateHz, double startSeconds)
        : detector_(settings, rateHz, startSeconds)
    {
    }

    void feed(const Samples& samples)
    {
        const nb::gil_scoped_release unlocked;
        take(detector_.feed(spanOf(samples)));
    }

    /// Their times, seconds, rising. @throws HostError  there are none
    Array<double> finish()
    {
        take(detector_.finish());
        if (seconds_.empty()) throw Host::HostError(detector_.noPulsesText());
        return arrayOf(std::move(seconds_));
    }

private:
    void take(const std::vector<Host::PulseEdge>& edges)
    {
        for (const Host::PulseEdge& edge : edges) {
            if (seconds_.empty() || edge.seconds > seconds_.back())
                seconds_.push_back(edge.seconds);
        }
    }

    Host::PulseDetector detector_;
    std::vector<double> seconds_;
};

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
        .def_rw("smoothing_turns", &TachometerSettings::smoothingTurns, nb::arg().none())
        .def_rw("name", &TachometerSettings::name)
        .def("validate", &TachometerSettings::validate);
    nb::class_<TachoReader>(module, "TachoReader", "Reads a tacho channel in pieces.")
        .def(nb::init<const TachometerSettings&, double, double>(),
             "settings"_a,
             "rate"_a,
             "start"_a)
        .def("feed", &TachoReader::feed, "samples"_a)
        .def("finish",
             &TachoReader::finish,
             "Segments of known angle, number of pulses, what was mended or dropped, and what has "
             "to "
             "be known before that.");
    module.def("read_pulses",
               &readPulses,
               "seconds"_a,
               "settings"_a,
               nb::call_guard<nb::gil_scoped_release>(),
               "The same of the times of pulses.");
    nb::class_<PulseReader>(module, "PulseReader", "Finds the pulses of a tacho channel in pieces.")
        .def(nb::init<const TachometerSettings&, double, double>(),
             "settings"_a,
             "rate"_a,
             "start"_a)
        .def("feed", &PulseReader::feed, "samples"_a)
        .def("finish", &PulseReader::finish, "Times as they stand there, seconds.");
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

/// The segments in which the shaft turns, and the stretches between them in words.
using ProfileReading = std::pair<std::vector<ShaftAngle>, std::vector<std::string>>;

ProfileReading
readProfile(const Samples& seconds, const Samples& rpm, double standstillRpm, double longestGap)
{
    Host::SpeedProfile profile({standstillRpm, longestGap});
    const std::vector<Host::AngleKnot> knots = profile.feed(spanOf(seconds), spanOf(rpm));
    ProfileReading reading{ShaftAngle::segmentsOf(knots), {}};
    if (profile.impossible().count > 0) reading.second.push_back(profile.impossible().text());
    for (const Host::SpeedGap& gap : profile.takeGaps()) reading.second.push_back(gap.text());
    return reading;
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
        .def_prop_ro("lost", &lostStretches, "Where the machine was lost: from and to, seconds.");
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
        .def_prop_ro("first_turn", &ShaftAngle::startTurns, "Angle at the start.")
        .def_prop_ro("start", &ShaftAngle::startSeconds, "First moment of known angle, seconds.")
        .def_prop_ro("end", &ShaftAngle::endSeconds, "Last moment of known angle, seconds.")
        .def_prop_ro("turns", &ShaftAngle::turns, "Turns from the start to the end.")
        .def("turns_at", &each<&ShaftAngle::turnsAt>, "seconds"_a)
        .def("rpm_at", &each<&ShaftAngle::speedRpmAt>, "seconds"_a)
        .def("seconds_at", &each<&ShaftAngle::secondsAt>, "turns"_a);
    module.def(
        "turns_passed",
        [](const std::vector<ShaftAngle>& segments) { return Host::turnsPassed(segments); },
        "segments"_a,
        "Whole turns that the own angle of each segment lacks where the count goes on behind a "
        "gap.");
    module.def("read_profile",
               &readProfile,
               "seconds"_a,
               "rpm"_a,
               "standstill_rpm"_a,
               "longest_gap"_a,
               nb::call_guard<nb::gil_scoped_release>(),
               "Segments in which the shaft turns, and what lies between them in words.");
    bindTachometer(module);
    bindTracking(module);
}

} // namespace Harmotrack::Python
