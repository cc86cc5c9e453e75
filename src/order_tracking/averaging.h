#pragma once

#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmora::OrderTracking {

/// What a cell of a result table becomes when its bin is visited again; old is the stored value,
/// v the newly measured one, n the number of visits that the table has counted for the bin. Complex
/// values are averaged by their parts and compared by their moduli, the single-precision hypot.
///
///     Overwrite     v                                          the count becomes 1
///     KeepFirst     v if n = 0, otherwise nothing is written   the count becomes 1
///     LinearMean    (n old + v) / (n + 1), in float            the count rises by 1
///     PeakHold      the larger of old and v                    the count stays 0
///
/// Of equals, peak hold stores a new complex value and keeps an old real one, as it does beside a
/// NaN.
///
/// A number above these writes nothing, and says nothing. Numbers are compared unsigned, so a
/// negative one of a host's setup is above.
enum class Averaging : std::uint32_t { Overwrite = 0, KeepFirst = 1, LinearMean = 2, PeakHold = 3 };

inline float meanOf(float old, float value, float n, float visits)
{
    return (n * old + value) / visits;
}

inline std::complex<float>
meanOf(std::complex<float> old, std::complex<float> value, float n, float visits)
{
    return {meanOf(old.real(), value.real(), n, visits),
            meanOf(old.imag(), value.imag(), n, visits)};
}

inline float peakOf(float old, float value)
{
    return value > old ? value : old;
}

inline std::complex<float> peakOf(std::complex<float> old, std::complex<float> value)
{
    return std::hypot(old.real(), old.imag()) > std::hypot(value.real(), value.imag()) ? old
                                                                                       : value;
}

/// Visits a bin once more.
///
/// @tparam Value  float or std::complex<float>
/// @param averagingType  number of the Averaging
/// @param count          visits counted of the bin
/// @param write          is called at most once, with combine: old, value -> the cell
template <typename Value, typename Write>
void visit(std::uint32_t averagingType, std::int32_t& count, Write write)
{
    const auto replace = [](Value, Value value) { return value; };
    switch (Averaging{averagingType}) {
    case Averaging::Overwrite:
        write(replace);
        count = 1;
        break;
    case Averaging::KeepFirst:
        if (count != 0) break;
        write(replace);
        count = 1;
        break;
    case Averaging::LinearMean: {
        const auto n = static_cast<float>(count);
        const float visits = n + 1.0F;
        write([n, visits](Value old, Value value) { return meanOf(old, value, n, visits); });
        ++count;
        break;
    }
    case Averaging::PeakHold:
        write([](Value old, Value value) { return peakOf(old, value); });
        break;
    }
}

} // namespace Velmora::OrderTracking
