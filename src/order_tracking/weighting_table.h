#pragma once

#include "order_tracking/matrix.h"

#include <complex>
#include <cstdint>
#include <span>

namespace Velmora::OrderTracking {

/// Weights of every line at every speed, computed once so that a run only multiplies.
///
///     over orders:      table, shape (rows, lines)
///         row r     speed[r] = minimumSpeed + r (maximumSpeed - minimumSpeed) / rows, in rpm
///                   | H(0) H(Δ) H(2Δ) ... |,   Δ = speed[r] step / 60 hertz
///     over frequency:   table, shape (1, lines)
///         row 0     | H(0) H(step) H(2 step) ... |
///
/// The last row over orders lies one step of speed below maximumSpeed. H is the response of the
/// frequency-domain filter's weighting that the setup's number selects; number 0 means no
/// weighting, and keeps the table empty.
///
/// The builds allocate, the operations of a run do not. A build with the arguments of the last one
/// returns at once. One thread at a time.
struct WeightingTable {
    std::int32_t lines = 0;
    std::int32_t rows = 0;
    std::uint32_t setupWeighting = 0;
    double minimumSpeed = 0.0; ///< in revolutions per minute
    double maximumSpeed = 0.0; ///< in revolutions per minute
    double step = 0.0;         ///< from line to line, in orders, or in hertz over frequency
    Matrix<std::complex<double>> table;

    /// Builds the weights of a spectrum over orders. `rows` 0 is a table without any.
    void buildOrders(std::int32_t lines,
                     std::int32_t rows,
                     std::uint32_t setupWeighting,
                     double step,
                     double minimumSpeed,
                     double maximumSpeed);

    /// Builds the weights of a spectrum over frequency. The fields of speed and `rows` stay.
    void buildFrequencies(std::int32_t lines, std::uint32_t setupWeighting, double step);

    /// Weights a spectrum over orders, measured at the speed `rpm`, by the row
    ///
    ///     round((rpm - minimumSpeed) rows / (maximumSpeed - minimumSpeed))
    ///
    /// half away from zero and limited to the table; nothing is interpolated. A value that is not
    /// finite, or too large for 32 bits, takes row 0.
    ///
    /// One-sided, line k takes weight k of the row. A spectrum longer than a row runs on into the
    /// next one, and past the end of the table the weight is 1. Two-sided, either half walks the
    /// row from its start: the first negative line, in the middle of a spectrum in FFT order, takes
    /// the weight of order 0, and those above it the weights upward from there.
    void applyAtSpeed(std::span<std::complex<double>> spectrum, double rpm, bool twoSided) const;

    /// Weights a spectrum over frequency; past the end of the table the weight is 1.
    void apply(std::span<std::complex<double>> spectrum) const;

private:
    [[nodiscard]] std::int32_t rowAtSpeed(double rpm) const;
    void weight(std::span<std::complex<double>> spectrum, std::int32_t row) const;
};

} // namespace Velmora::OrderTracking
