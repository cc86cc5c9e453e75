#pragma once

#include "order_tracking/i_order_analyzer.h"

#include <algorithm>
#include <complex>
#include <cstddef>
#include <cstdint>

/// What the exported read functions have in common.
namespace Velmora::Api {

/// Whether `which` names a result set of the analyzer: 0 the one of modes 0 and 2, all others those
/// of mode 1.
inline bool isAvailable(const OrderTracking::IOrderAnalyzer& analyzer, std::int32_t which)
{
    const bool two = analyzer.getMode() == HARMOTRACK_MODE_TWO_REAL;
    return which == 0 ? !two : two;
}

/// Whether `which` names the second signal.
inline bool isSecond(std::int32_t which)
{
    return which == 2;
}

/// Copies a spectrum row; with twoSided its halves change places, so that the negative orders come
/// first and line 0 stands in the middle.
inline void
copySpectrumRow(const OrderTracking::IOrderAnalyzer& analyzer, const float* row, float* to)
{
    if (analyzer.getAnalysisSetup()->twoSided == 0) {
        std::copy_n(row, analyzer.getOrderLines(), to);
        return;
    }
    const std::ptrdiff_t half = analyzer.getOrderFFTSize() / 2;
    std::copy_n(row + half, half, to);
    std::copy_n(row, half, to + half);
}

/// Writes two floats, real part first.
inline void writeComplex(std::complex<float> value, float* to)
{
    to[0] = value.real();
    to[1] = value.imag();
}

} // namespace Velmora::Api
