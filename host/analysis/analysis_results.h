#pragma once

#include "host/equal_angle/resampler.h"
#include "host/shaft/tacho_event.h"

#include <complex>
#include <cstddef>
#include <span>
#include <string>
#include <vector>

namespace Harmotrack::Host {

/// A table of numbers, row after row.
struct Table {
    std::size_t columns = 0;
    std::vector<float> values; ///< shape (rows, columns)

    [[nodiscard]] std::size_t rows() const { return columns == 0 ? 0 : values.size() / columns; }

    [[nodiscard]] std::span<const float> row(std::size_t index) const
    {
        return std::span<const float>(values).subspan(index * columns, columns);
    }

    [[nodiscard]] std::span<float> row(std::size_t index)
    {
        return std::span<float>(values).subspan(index * columns, columns);
    }

    void append(std::span<const float> cells)
    {
        values.insert(values.end(), cells.begin(), cells.end());
    }
};

/// What an analysis found for one signal. Values are amplitudes in the signal's unit, in the
/// convention of AnalysisSettings.amplitude. Rows of bins that no block fell into hold 0 and say
/// nothing: of orderMap and harmonics where orderBlocks is 0, of frequencyMap and overall where
/// timeBlocks is 0.
struct SignalResults {
    Table orderMap;                                          ///< shape (bins, orders)
    Table frequencyMap;                                      ///< shape (bins, frequencies)
    std::vector<std::vector<std::complex<float>>> harmonics; ///< shape (harmonics, bins)
    std::vector<float> overall; ///< shape (bins), RMS whatever the amplitude convention
};

/// Which movement of the speed a table of results holds.
enum class Pass { Both, Rising, Falling };

/// What the library made of the resolutions that were asked for.
struct AchievedResolution {
    double orders = 0.0;      ///< distance of the order lines, 1 / revolutions
    double revolutions = 0.0; ///< that an order block spans
    double hertz = 0.0;       ///< distance of the frequency lines
    double seconds = 0.0;     ///< that a block of equal-time samples spans
};

/// The tables of one pass of a run, with their axes.
struct AnalysisResults {
    Pass pass = Pass::Both;

    std::vector<double> binRpm;      ///< shape (bins), centres
    std::vector<double> orders;      ///< shape (orders), 0 up to the highest asked for
    std::vector<double> frequencies; ///< shape (frequencies), Hz
    std::vector<int> orderBlocks;    ///< shape (bins), order blocks that fell into the bin
    std::vector<int> timeBlocks;     ///< shape (bins), blocks of equal-time samples likewise
    std::vector<SignalResults> signals;
    AchievedResolution resolution;

    std::vector<double> whirlOrders; ///< shape (orders), -highest .. highest, if asked for
    /// shape (bins, orders): circle radii of signal 1 + j signal 2, forward at positive orders
    Table whirlMap;

    // How the shaft turned: one value a revolution.
    std::vector<double> seconds;
    std::vector<double> speedRpm;

    double lowestRpm = 0.0; ///< extremes of the speed over the analysed samples; 0 without any
    double highestRpm = 0.0;

    /// The signals at equal angles, if asked for (AnalysisSettings.keepAngleSignal).
    EqualAngleSamples angleSignal;

    std::vector<TachoEvent> tachoEvents; ///< the first 10000 of them
    std::size_t tachoEventCount = 0;     ///< all of them
    std::vector<std::string> remarks;    ///< other things to know, a sentence each
};

/// One result as the library produces it. Spans are valid during the callback alone.
struct BlockResult {
    Pass pass = Pass::Both;
    std::size_t signal = 0; ///< counted from 0
    double seconds = 0.0;   ///< of the middle of the block
    double speedRpm = 0.0;  ///< there; of a spectrum by sample count at the end of its block
    /// Bin of the speed axis; -1 for a spectrum by sample count
    /// (AnalysisSettings.rowOverlapPercent).
    int bin = -1;
    /// shape (orders): the bin's spectrum, averaged with what the segment had in it before, or the
    /// spectrum of the last block of samples; empty if the block is one of equal-time samples
    std::span<const float> orderSpectrum;
    /// shape (frequencies), likewise; empty if the block is one of equal-angle samples
    std::span<const float> frequencySpectrum;
    std::span<const std::complex<float>> harmonics; ///< shape (harmonics), with orderSpectrum
    /// shape (whirlOrders): the bin's row of AnalysisResults.whirlMap, with the orderSpectrum of
    /// the first signal, if two-sided results were asked for
    std::span<const float> whirlSpectrum;
    float overall = 0.0F; ///< RMS, with frequencySpectrum
};

} // namespace Harmotrack::Host
