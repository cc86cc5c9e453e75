#pragma once

#include "host/analysis/analysis_settings.h"

#include <complex>
#include <cstddef>
#include <span>

namespace Harmotrack::Host {

/// Below this coherence a phase is not shown: it is that of phases that scatter by 48 degrees
/// (exp(-σ²/2) of a normal distribution; Mardia and Jupp, Directional Statistics).
inline constexpr double kLeastCoherence = 0.7;

/// How far the phases of an order's blocks agreed: the modulus of their complex mean over the
/// amplitude, 1 of phases that agree and near 0 of phases that cancel; NaN if the amplitude is 0.
[[nodiscard]] float coherence(std::complex<float> mean, float amplitude);

/// Equivalent noise bandwidth of a window in lines, N Σ w² / (Σ w)²: how many times the energy of a
/// sine stands in all lines together.
[[nodiscard]] double noiseBandwidth(Window window);

/// To how many orders from an order its amplitude is read: the window's main lobe, but no further
/// than a quarter of an order, so that the next half order stays out.
///
/// @param resolution  distance of the order lines
[[nodiscard]] double reachOfOrder(Window window, double resolution);

/// The lines of an order spectrum round an order, and the amplitude that they hold together:
///
///     A = sqrt(Σ S[k]² / noise bandwidth),    |orders[k] - order| <= reach,
///
/// and no less than the largest of the S[k], nor than the line next to the order if none is so
/// near. Moduli add up whatever the phases of their blocks were, so A stays when a mean of complex
/// amplitudes cancels. With reachOfOrder() and a Hanning window a sine on the order's line reads
/// its own amplitude exactly, and one between two lines 0.9996 of it; a sine that stands half a
/// line off the order reads 0.990. Of lines a fifth of an order apart, of which fewer fit into the
/// quarter, one between two of them reads 0.980.
class OrderBand {
public:
    /// @param orders  shape (lines), rising: those of the spectra
    /// @param reach   in orders to either side
    OrderBand(std::span<const double> orders, double order, double reach, Window window);

    /// @param spectrum  shape (lines): amplitudes
    /// @return          in the same unit and convention; NaN if a line of the band is
    [[nodiscard]] float amplitude(std::span<const float> spectrum) const;

private:
    std::size_t first_ = 0;
    std::size_t count_ = 0;
    double noiseBandwidth_;
};

} // namespace Harmotrack::Host
