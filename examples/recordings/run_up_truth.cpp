#include "run_up_truth.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace Harmotrack::Examples {

namespace {

using Json = nlohmann::ordered_json;

constexpr double kTableStepRpm = 10.0;

/// Decimals are cut where they carry nothing, so that the file stays small and readable.
double rounded(double value, double digits)
{
    const double scale = std::pow(10.0, digits);
    return std::round(value * scale) / scale;
}

std::vector<double> tableSpeeds(const RunUpSettings& settings)
{
    const auto [lower, upper] = std::minmax(settings.startRpm, settings.endRpm);
    std::vector<double> speeds;
    for (double step = 0.0; lower + step * kTableStepRpm < upper; ++step)
        speeds.push_back(lower + step * kTableStepRpm);
    speeds.push_back(upper);
    return speeds;
}

/// Columns of a component's table, one row per speed.
template <typename OrbitAt>
void addTable(Json& component, const std::vector<double>& speeds, OrbitAt orbitAt)
{
    const auto addDirection = [&](const char* name, std::complex<double> Orbit::*direction) {
        Json amplitude = Json::array();
        Json phase = Json::array();
        for (const double rpm : speeds) {
            const std::complex<double> value = orbitAt(rpm).*direction;
            amplitude.push_back(rounded(std::abs(value), 6));
            phase.push_back(rounded(std::arg(value) * 180.0 / std::numbers::pi, 4));
        }
        component[name] = {{"amplitude", amplitude}, {"phase_deg", phase}};
    };
    addDirection("x", &Orbit::x);
    addDirection("y", &Orbit::y);
}

Json unbalanceTruth(const std::vector<double>& speeds)
{
    const auto resonance = [](const Resonance& of) -> Json {
        return {{"natural_rpm", of.naturalRpm}, {"damping_ratio", of.dampingRatio}};
    };
    Json component = {
        {"name", "unbalance"},
        {"order", 1.0},
        {"law",
         "single-degree-of-freedom rotor, r = rpm / natural_rpm, omega = 2 pi rpm / 60: amplitude "
         "= omega eccentricity_mm r^2 / sqrt((1 - r^2)^2 + (2 damping_ratio r)^2); phase in x = "
         "heavy_spot_deg + 90 - atan2(2 damping_ratio r, 1 - r^2), in y 90 degrees less, with the "
         "r of y"},
        {"eccentricity_mm", kUnbalance.eccentricityMm},
        {"heavy_spot_deg", kUnbalance.heavySpotDeg},
        {"resonance_x", resonance(kUnbalance.x)},
        {"resonance_y", resonance(kUnbalance.y)},
    };
    addTable(component, speeds, unbalanceOrbit);
    return component;
}

Json whirlTruth(const Whirl& whirl, const std::vector<double>& speeds)
{
    const auto circle = [](const Circle& of) -> Json {
        return {{"amplitude", of.amplitude}, {"phase_deg", of.phaseDeg}};
    };
    Json component = {
        {"name", whirl.name},
        {"order", whirl.order},
        {"law",
         "x + iy = rpm / reference_rpm * (F exp(i order phi) + B exp(-i order phi)), F and B the "
         "forward and the backward circle as amplitude exp(i phase)"},
        {"reference_rpm", kWhirlReferenceRpm},
        {"forward", circle(whirl.forward)},
        {"backward", circle(whirl.backward)},
    };
    addTable(component, speeds, [&](double rpm) { return whirlOrbit(whirl, rpm); });
    return component;
}

Json channelTruth()
{
    const auto channel = [](int number, const char* name, const char* unit, double fullScale) {
        return Json{{"number", number}, {"name", name}, {"unit", unit}, {"full_scale", fullScale}};
    };
    return {channel(1, "vibration velocity x", "mm/s", RunUp::kFullScaleVibration),
            channel(2, "vibration velocity y", "mm/s", RunUp::kFullScaleVibration),
            channel(3, "tacho", "V", RunUp::kFullScaleTacho)};
}

Json truthOf(const RunUp& run, const std::string& recordingName)
{
    const RunUpSettings& s = run.settings();
    const std::vector<double> speeds = tableSpeeds(s);
    Json components = Json::array({unbalanceTruth(speeds)});
    for (const Whirl& whirl : kWhirls) components.push_back(whirlTruth(whirl, speeds));
    return {
        {"recording", recordingName},
        {"sample_rate_hz", s.rateHz},
        {"samples", run.sampleCount()},
        {"duration_s", s.durationSeconds},
        {"channels", channelTruth()},
        {"conventions",
         {{"scale", "physical value = sample (-1 .. 1) * full_scale of its channel"},
          {"component",
           "amplitude * cos(order * phi + phase), amplitude is peak; a leading component has the "
           "greater phase"},
          {"phi", "angle of the shaft, 0 at the first mark and 2 pi more at each further one"},
          {"quarter_turn",
           "y stands a quarter turn from x in the direction of rotation: a circle with the shaft "
           "has 90 degrees less phase in y than in x; a sine has phase -90 degrees"},
          {"truth", "quasi-steady: amplitude and phase are those of steady running at the speed"}}},
        {"speed",
         {{"profile",
           "linear: rpm(t) = start_rpm + (end_rpm - start_rpm) t / duration_s; phi / (2 pi) = "
           "start_turns + (start_rpm + rpm(t)) t / 120"},
          {"start_rpm", s.startRpm},
          {"end_rpm", s.endRpm},
          {"start_turns", RunUp::kStartTurns}}},
        {"tacho",
         {{"pulses_per_revolution", 1},
          {"edge", "rising"},
          {"level", RunUp::kTachoLevel},
          {"rest", 0.0},
          {"peak", RunUp::kTachoPeak},
          {"shape",
           "peak exp(sharpness (cos(phi - phi_peak) - 1)), phi_peak = acos(1 - ln(peak / level) / "
           "sharpness)"},
          {"sharpness", RunUp::kTachoSharpness},
          {"marks", run.markCount()},
          {"first_mark_s", run.markTime(0)}}},
        {"noise",
         {{"kind", "white, Gaussian, independent in x and y, none in the tacho"},
          {"rms", s.noiseRms},
          {"unit", "mm/s"},
          {"seed", s.seed}}},
        {"table_rpm", speeds},
        {"components", components},
    };
}

/// One line for a value that holds no objects, however long; objects and what holds them indented.
void print(const Json& value, const std::string& indent, std::string& text)
{
    const auto isObject = [](const Json& element) { return element.is_object(); };
    if (!value.is_object() && std::none_of(value.begin(), value.end(), isObject)) {
        text += value.dump();
        return;
    }
    const std::string inner = indent + "  ";
    std::string separator = "\n";
    text += value.is_object() ? "{" : "[";
    for (const auto& [key, element] : value.items()) {
        text += separator + inner;
        if (value.is_object()) text += Json(key).dump() + ": ";
        print(element, inner, text);
        separator = ",\n";
    }
    text += '\n' + indent + (value.is_object() ? "}" : "]");
}

} // namespace

std::string runUpTruth(const RunUp& run, const std::string& recordingName)
{
    std::string text;
    print(truthOf(run, recordingName), "", text);
    return text + '\n';
}

} // namespace Harmotrack::Examples
