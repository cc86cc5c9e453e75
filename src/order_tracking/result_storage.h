#pragma once

#include "order_tracking/harmonic_table.h"
#include "order_tracking/waterfall.h"

#include <complex>
#include <vector>

namespace Velmora::OrderTracking {

/// Everything that an analyzer hands to its host. A is the first signal, B the second of mode 1.
/// The cells of a waterfall stand in itself or in the host's memory; all else is its own.
struct ResultStorage {
    using BinWaterfall = Waterfall<float, double>;

    HarmonicTable harmonicsA; ///< shape (harmonics, bins)
    HarmonicTable harmonicsB;

    // Newest order spectrum by sample count.
    std::vector<float> orderRowA;        ///< shape (order lines)
    std::vector<float> orderRowB;        ///< shape (order lines)
    std::vector<float> orderRowTwoSided; ///< shape (N - 1)
    double orderRowTime = 0.0;           ///< seconds, of the block's middle sample

    BinWaterfall orderA;        ///< shape (bins, order lines)
    BinWaterfall orderB;        ///< shape (bins, order lines)
    BinWaterfall orderTwoSided; ///< shape (bins, N - 1)
    BinWaterfall timeA;         ///< shape (bins, T / 2)
    BinWaterfall timeB;         ///< shape (bins, T / 2)
    BinWaterfall timeTwoSided;  ///< shape (bins, T - 1)

    std::vector<float> overallA; ///< shape (bins), RMS
    std::vector<float> overallB;

    std::vector<std::complex<float>> deltaHarmonicsA; ///< shape (harmonics), running mean
    std::vector<std::complex<float>> deltaHarmonicsB;
    std::vector<std::complex<float>> deltaSpectrumA; ///< shape (order lines), running mean
    std::vector<std::complex<float>> deltaSpectrumB;
    double deltaTime = 0.0; ///< seconds, of the newest release
};

} // namespace Velmora::OrderTracking
