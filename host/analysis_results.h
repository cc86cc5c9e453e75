#pragma once

#include <complex>
#include <cstddef>
#include <span>
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

    void append(std::span<const float> cells)
    {
        values.insert(values.end(), cells.begin(), cells.end());
    }
};

/// What an analysis found for one signal. Values are amplitudes in the signal's unit, in the
/// convention of AnalysisSettings.amplitude; rows of bins that no block fell into hold 0.
struct SignalResults {
    Table orderMap;                                          ///< shape (bins, orders)
    Table frequencyMap;                                      ///< shape (bins, frequencies)
    std::vector<std::vector<std::complex<float>>> harmonics; ///< shape (harmonics, bins)
    std::vector<float> overall; ///< shape (bins), RMS whatever the amplitude convention
};

/// All tables of a run, with their axes.
struct AnalysisResults {
    std::vector<double> binRpm;      ///< shape (bins), centres
    std::vector<double> orders;      ///< shape (orders), 0 up to the highest asked for
    std::vector<double> frequencies; ///< shape (frequencies), Hz
    std::vector<int> orderBlocks;    ///< shape (bins), order blocks that fell into the bin
    std::vector<int> timeBlocks;     ///< shape (bins), blocks of equal-time samples likewise
    std::vector<SignalResults> signals;

    std::vector<double> whirlOrders; ///< shape (orders), -highest .. highest, if asked for
    /// shape (bins, orders): circle radii of signal 1 + j signal 2, forward at positive orders
    Table whirlMap;

    // How the shaft turned: one value a revolution.
    std::vector<double> seconds;
    std::vector<double> speedRpm;

    double lowestRpm = 0.0; ///< extremes of the speed over the analysed samples
    double highestRpm = 0.0;
};

} // namespace Harmotrack::Host
