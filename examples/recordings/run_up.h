#pragma once

#include "gaussian_noise.h"

#include <array>
#include <complex>
#include <cstdint>
#include <string>

namespace Harmotrack::Examples {

/// What a simulated run-up is made from; the defaults are the example recording.
struct RunUpSettings {
    double durationSeconds = 30.0;
    std::int32_t rateHz = 25600;
    double startRpm = 600.0;
    double endRpm = 6000.0; ///< below startRpm for a coast-down
    double noiseRms = 0.02; ///< of each vibration channel, mm/s
    std::uint64_t seed = 1; ///< of the noise
};

/// One sentence that names the first setting out of range, its value and what is allowed; empty if
/// all are well.
std::string complaint(const RunUpSettings& settings);

/// One order of the vibration, at one speed, in the directions x and y: peak amplitude (mm/s) and
/// phase as complex numbers, so that its share of the x channel is
///
///     Re(x exp(i order phi)) = |x| cos(order phi + arg x),    phi the angle of the shaft
///
/// x and y stand a quarter turn apart in the direction of rotation. In the plane x + iy every
/// order draws an ellipse, the sum of a circle with the shaft and a circle against it:
///
///     forward exp(i order phi) + backward exp(-i order phi)
///     x = forward + conj(backward),    y = -i (forward - conj(backward))
struct Orbit {
    std::complex<double> x;
    std::complex<double> y;
};

/// A resonance as its place on the speed axis and its damping.
struct Resonance {
    double naturalRpm;
    double dampingRatio;
};

/// The unbalance of a rotor on bearings that are stiffer in y than in x, as vibration velocity:
/// each direction is a single-degree-of-freedom rotor, driven by the centrifugal force of a mass
/// that stands off the axis (Den Hartog, Mechanical Vibrations, section 2.11),
///
///     x(r) = omega eccentricity r^2 / (1 - r^2 + 2i dampingRatio r) exp(i (heavySpot + pi/2))
///     y(r) = the same with the r of y, a quarter turn later: exp(i heavySpot)
///
/// with omega the speed in rad/s and r = speed / natural speed. Between the two natural speeds the
/// orbit turns against the shaft.
struct Unbalance {
    double eccentricityMm;
    double heavySpotDeg; ///< angle of the heavy spot ahead of x when the mark passes
    Resonance x;
    Resonance y;
};

/// A circle of a whirl at the reference speed.
struct Circle {
    double amplitude; ///< mm/s peak
    double phaseDeg;
};

/// An order that grows in proportion to speed, as a sum of a forward and a backward circle.
struct Whirl {
    const char* name;
    double order;
    Circle forward;
    Circle backward;
};

inline constexpr double kWhirlReferenceRpm = 3000.0;

// clang-format off
inline constexpr Unbalance kUnbalance = {
    .eccentricityMm = 0.006, .heavySpotDeg = 35.0, .x = {2400.0, 0.08}, .y = {3000.0, 0.08}};

inline constexpr std::array<Whirl, 5> kWhirls = {{
    //                       order   forward         backward
    {"oil whirl",             0.47,  {0.70,  10.0},  {0.10,   75.0}},
    {"misalignment",          2.0,   {1.20,  20.0},  {0.50,  -60.0}},
    {"gear mesh, sideband",  23.0,   {0.12, 140.0},  {0.05,   30.0}},
    {"gear mesh",            24.0,   {0.35, -70.0},  {0.25,  110.0}},
    {"gear mesh, sideband",  25.0,   {0.16,  -5.0},  {0.04, -120.0}},
}};
// clang-format on

/// The unbalance at a speed in rpm: order 1.
Orbit unbalanceOrbit(double rpm);

/// A whirl at a speed in rpm.
Orbit whirlOrbit(const Whirl& whirl, double rpm);

/// One instant of all channels: vibration velocity in mm/s, tacho in V.
struct RunUpSample {
    double x;
    double y;
    double tacho;
};

/// A machine whose speed changes evenly from startRpm to endRpm while it vibrates.
///
/// Everything is a closed form of time: the angle, which is 0 at the first mark of the tacho,
///
///     turns(t) = kStartTurns + f0 t + (f1 - f0) t^2 / (2 duration),    phi = 2 pi turns
///
/// and the vibration, which follows the speed without delay: amplitudes and phases are those of
/// steady running at rpm(t). Only the noise has a memory, its generator: samples of a recording
/// are to be drawn once each, in order.
class RunUp {
public:
    /// Turns at the start of the recording: the first mark passes half a turn later.
    static constexpr double kStartTurns = -0.5;

    static constexpr double kFullScaleVibration = 25.0; ///< mm/s
    static constexpr double kFullScaleTacho = 10.0;     ///< V

    /// The tacho rests at 0 V and rises to its peak once a turn. The mark is the instant at which
    /// it rises through kTachoLevel, half of the peak.
    static constexpr double kTachoPeak = 5.0;  ///< V
    static constexpr double kTachoLevel = 2.5; ///< V

    /// Sharpness of the pulse, see tachoPulse().
    static constexpr double kTachoSharpness = 50.0;

    /// @throws std::invalid_argument  with the sentence of complaint(), if there is one
    explicit RunUp(const RunUpSettings& settings);

    [[nodiscard]] const RunUpSettings& settings() const { return settings_; }

    /// Samples of each channel.
    [[nodiscard]] std::int64_t sampleCount() const;

    [[nodiscard]] double rpm(double timeSeconds) const;
    [[nodiscard]] double turns(double timeSeconds) const;

    /// Number of marks in the recording.
    [[nodiscard]] std::int64_t markCount() const;

    /// The time in seconds at which a mark passes; mark 0 is the first.
    [[nodiscard]] double markTime(std::int64_t mark) const;

    /// Vibration and tacho without noise.
    [[nodiscard]] RunUpSample vibration(double timeSeconds) const;

    /// The next sample of the recording, with noise; the first call gives that of time 0.
    RunUpSample next();

private:
    RunUpSettings settings_;
    GaussianNoise noise_;
    std::int64_t nextSample_ = 0;
};

/// The tacho in V, as a function of the shaft's angle in turns: a pulse that is smooth enough to
/// be sampled without aliasing,
///
///     kTachoPeak exp(k (cos(phi - phiPeak) - 1)),    k = kTachoSharpness
///
/// whose harmonic m of the rotation falls like exp(-m^2 / 2k): those above 40 lie more than 150 dB
/// below the peak. It rises through kTachoLevel at whole turns.
double tachoPulse(double turns);

} // namespace Harmotrack::Examples
