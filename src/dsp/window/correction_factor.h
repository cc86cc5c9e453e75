#pragma once

#include "dsp/window/window_type.h"

#include <cstdint>

namespace Velmora::KorLib::Dsp::Window {

/// Numbers by which a correction factor is asked for. Unsigned for the same reason as WindowType.
enum class CorrectionType : std::uint32_t {
    Amplitude = 0,
    Energy = 1,
    NoiseBandwidth = 2,
    EnergyToAmplitude = 3,
};

/// What a window does to the level of a spectrum, and how it is undone. With <.> the mean over
/// the N samples of a periodic window w:
///
///     amplitude           1 / <w>           makes the line of a sine read its amplitude
///     energy              1 / sqrt(<w^2>)   keeps the energy of a block
///     noiseBandwidth      <w^2> / <w>^2     equivalent noise bandwidth, in lines
///     energyToAmplitude   <w> / sqrt(<w^2>) turns the sum over amplitude-true lines into energy
struct CorrectionFactors {
    double amplitude;
    double energy;
    double noiseBandwidth;
    double energyToAmplitude;
};

/// The factors of a shape: constants, whatever the size or the form of a window of that shape.
/// They are the values of a long periodic window; those of Triangle are of infinite length, and a
/// Triangle of N samples differs by the order of 1/N^2. An Exponential has no factors that hold
/// for the shape, so all its entries are NaN: ask an object instead.
/// @throws std::invalid_argument  "Unsupported window type."
[[nodiscard]] const CorrectionFactors& correctionFactors(WindowType type);

/// One factor of a shape, as double or rounded to float (T double or float). Makes no window and
/// allocates nothing.
/// @throws std::invalid_argument  "Unsupported correction type.", whatever the window type is;
///                                else "Unsupported window type."
template <typename T>
[[nodiscard]] T correctionFactor(WindowType type, CorrectionType correction);

extern template double correctionFactor<double>(WindowType, CorrectionType);
extern template float correctionFactor<float>(WindowType, CorrectionType);

} // namespace Velmora::KorLib::Dsp::Window
