#include "map_panels.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Harmotrack::Examples {
namespace {

using Host::AnalysisResults;

// What a map shows: the cells of a table in rows of speed and columns of order, from firstColumn
// on.
struct Map {
    std::string name;
    const Host::Table& table;
    const std::vector<double>& orders;
    std::size_t firstColumn;
    std::size_t columns;
};

struct DecibelRange {
    double low;
    double high;
};

double decibels(float amplitude)
{
    return amplitude > 0.0F ? 20.0 * std::log10(static_cast<double>(amplitude))
                            : std::numeric_limits<double>::quiet_NaN();
}

// From a little below the usual cell, so that the noise has its own shades, up to the greatest one;
// 30 to 80 dB. The leakage of slow drifts below order 0.25 does not count.
DecibelRange decibelRange(const AnalysisResults& results)
{
    constexpr double kLowestOrder = 0.25;
    std::vector<double> cells;
    for (const Host::SignalResults& signal : results.signals) {
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            if (results.orderBlocks[b] == 0) continue;
            for (std::size_t k = 0; k < results.orders.size(); ++k) {
                const double value = decibels(signal.orderMap.row(b)[k]);
                if (results.orders[k] > kLowestOrder && std::isfinite(value))
                    cells.push_back(value);
            }
        }
    }
    if (cells.empty()) return {-80.0, 0.0};
    const double high = 5.0 * std::ceil(*std::max_element(cells.begin(), cells.end()) / 5.0);
    const auto usual = cells.begin() + static_cast<std::ptrdiff_t>(cells.size() / 5);
    std::nth_element(cells.begin(), usual, cells.end());
    return {std::clamp(5.0 * std::floor(*usual / 5.0) - 5.0, high - 80.0, high - 30.0), high};
}

// Cells of a map in dB, as gnuplot reads a matrix, with the places of their centres. A map finer
// than the picture is thinned to it by the greatest of the cells that share a place; rows of speeds
// that no block fell into stay empty.
struct Matrix {
    std::string data;
    double firstOrder;
    double orderStep;
    double firstRpm;
    double rpmStep;
};

Matrix matrixOf(const Report& report, const Map& map)
{
    constexpr std::size_t kMostColumns = 1600;
    constexpr std::size_t kMostRows = 1000;
    const AnalysisResults& results = report.results;
    const std::size_t rows = results.binRpm.size();
    const std::size_t across = (map.columns + kMostColumns - 1) / kMostColumns;
    const std::size_t along = (rows + kMostRows - 1) / kMostRows;
    const std::size_t end = map.firstColumn + map.columns;

    const auto acrossCells = static_cast<double>(across);
    const auto alongCells = static_cast<double>(along);
    const double order = report.settings.orderResolution;
    const double rpm = report.settings.stepRpm;
    Matrix matrix{"",
                  map.orders[map.firstColumn] + 0.5 * (acrossCells - 1.0) * order,
                  acrossCells * order,
                  results.binRpm.front() + 0.5 * (alongCells - 1.0) * rpm,
                  alongCells * rpm};
    for (std::size_t b = 0; b < rows; b += along) {
        for (std::size_t k = map.firstColumn; k < end; k += across) {
            float greatest = 0.0F;
            for (std::size_t i = b; i < std::min(b + along, rows); ++i) {
                if (results.orderBlocks[i] == 0) continue;
                for (std::size_t j = k; j < std::min(k + across, end); ++j)
                    greatest = std::max(greatest, map.table.row(i)[j]);
            }
            matrix.data += plotNumber(decibels(greatest)) + ' ';
        }
        matrix.data += '\n';
    }
    if (rows == 1) { // gnuplot draws no image of one row
        matrix.data += matrix.data;
        matrix.firstRpm -= 0.25 * rpm;
        matrix.rpmStep *= 0.5;
    }
    return matrix;
}

std::string colourBar(const Report& report, const DecibelRange& range, const Area& area)
{
    constexpr double kGap = 0.012;
    constexpr double kWidth = 0.012;
    const std::string convention = report.amplitudeUnit().substr(report.unit.size() + 1);
    return "set cbrange " + rangeText(range.low, range.high) + "\nset cblabel " +
           quotedText("Amplitude (dB re 1 " + report.unit + ", " + convention + ')') +
           " noenhanced offset 1\nset colorbox user origin screen " +
           plotNumber(area.right + kGap) + ',' + plotNumber(area.bottom) + " size screen " +
           plotNumber(kWidth) + ',' + plotNumber(area.top - area.bottom) + '\n';
}

std::string
mapPanel(const Report& report, const Map& map, const DecibelRange& range, const Area& area)
{
    const Matrix matrix = matrixOf(report, map);
    const double halfOrder = 0.5 * report.settings.orderResolution;
    const double halfRpm = 0.5 * report.settings.stepRpm;
    return "$cells << END_OF_CELLS\n" + matrix.data + "END_OF_CELLS\n" + placeText(area) +
           headingText(map.name) + colourBar(report, range, area) +
           "set xlabel 'Order' offset 0,0.4\nset ylabel 'Speed (rpm)' offset 0.5\nset xrange " +
           rangeText(map.orders[map.firstColumn] - halfOrder,
                     map.orders[map.firstColumn + map.columns - 1] + halfOrder) +
           "\nset yrange " +
           rangeText(report.results.binRpm.front() - halfRpm,
                     report.results.binRpm.back() + halfRpm) +
           "\nset tics out nomirror\nset mxtics 5\nset mytics 5\n"
           "set object 1 rectangle from graph 0,0 to graph 1,1 behind fillstyle solid noborder "
           "fillcolor rgb '#e6e6e6'\nplot $cells matrix using (" +
           plotNumber(matrix.firstOrder) + " + $1 * " + plotNumber(matrix.orderStep) + "):(" +
           plotNumber(matrix.firstRpm) + " + $2 * " + plotNumber(matrix.rpmStep) +
           "):3 with image notitle\nunset object 1\nunset colorbox\n";
}

Map orderMap(const Report& report, std::size_t signal)
{
    const AnalysisResults& results = report.results;
    return {"Order map, " + report.recording.names[signal],
            results.signals[signal].orderMap,
            results.orders,
            0,
            results.orders.size()};
}

Map whirlMap(const Report& report)
{
    constexpr double kHighestOrder = 10.0;
    const std::vector<double>& orders = report.results.whirlOrders;
    const double slack = 0.5 * report.settings.orderResolution;
    const auto first = std::lower_bound(orders.begin(), orders.end(), -kHighestOrder - slack);
    const auto end = std::lower_bound(orders.begin(), orders.end(), kHighestOrder + slack);
    return {"Whirl of " + report.recording.names[0] + " and " + report.recording.names[1] +
                ": backward at negative, forward at positive orders",
            report.results.whirlMap,
            orders,
            static_cast<std::size_t>(first - orders.begin()),
            static_cast<std::size_t>(end - first)};
}

} // namespace

std::string mapPanels(const Report& report, const Area& area)
{
    constexpr double kGap = 0.1;
    const DecibelRange range = decibelRange(report.results);
    if (report.results.signals.size() == 1)
        return mapPanel(report, orderMap(report, 0), range, area);

    const double height = (area.top - area.bottom - kGap) / 2.0;
    const Area upper{area.left, area.right, area.top - height, area.top};
    const Area lower{area.left, area.right, area.bottom, area.bottom + height};
    const Map second = report.settings.twoSided ? whirlMap(report) : orderMap(report, 1);
    return mapPanel(report, orderMap(report, 0), range, upper) +
           mapPanel(report, second, range, lower);
}

} // namespace Harmotrack::Examples
