#include "order_tracking/weighting_table.h"

#include "dsp/frequency_domain_filter/complex_product.h"
#include "dsp/frequency_domain_filter/frequency_domain_filter.h"
#include "dsp/to_integer.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

namespace Weighting = KorLib::Dsp::FrequencyDomainFilter;
using KorLib::Dsp::asSize;
using Filter = Weighting::FrequencyDomainFilter<double>;

// One row: the filter at multiples of a line's distance in hertz, as a unit spectrum shows it.
void fillRow(Filter& filter,
             std::uint32_t setupWeighting,
             double lineHz,
             std::vector<std::complex<double>>& unit,
             std::complex<double>* row)
{
    filter.beginUpdate();
    filter.setOutputMode(Weighting::OutputMode::Linear);
    filter.setWeighting(Weighting::weightingFromSetup(setupWeighting));
    filter.setFrequencies(0.0, lineHz, unit.size());
    filter.endUpdate();

    std::fill(unit.begin(), unit.end(), 1.0);
    filter.apply(unit);
    std::copy(unit.begin(), unit.end(), row);
}

} // namespace

void WeightingTable::buildOrders(std::int32_t newLines,
                                 std::int32_t newRows,
                                 std::uint32_t newSetupWeighting,
                                 double newStep,
                                 double newMinimumSpeed,
                                 double newMaximumSpeed)
{
    if (newLines == lines && newRows == rows && newSetupWeighting == setupWeighting &&
        newStep == step && newMinimumSpeed == minimumSpeed && newMaximumSpeed == maximumSpeed)
        return;

    if (newSetupWeighting == 0) {
        table.dropStorage();
    } else {
        Filter filter;
        std::vector<std::complex<double>> unit(asSize(newLines));
        table.resize(asSize(newRows), asSize(newLines));
        for (std::int32_t r = 0; r < newRows; ++r) {
            const double speedRpm =
                r * (newMaximumSpeed - newMinimumSpeed) / newRows + newMinimumSpeed;
            fillRow(filter, newSetupWeighting, speedRpm * newStep / 60, unit, table.row(asSize(r)));
        }
    }
    lines = newLines;
    rows = newRows;
    setupWeighting = newSetupWeighting;
    step = newStep;
    minimumSpeed = newMinimumSpeed;
    maximumSpeed = newMaximumSpeed;
}

void WeightingTable::buildFrequencies(std::int32_t newLines,
                                      std::uint32_t newSetupWeighting,
                                      double newStep)
{
    if (newLines == lines && newSetupWeighting == setupWeighting && newStep == step) return;

    if (newSetupWeighting == 0) {
        table.dropStorage();
    } else {
        Filter filter;
        std::vector<std::complex<double>> unit(asSize(newLines));
        table.resize(1, asSize(newLines));
        fillRow(filter, newSetupWeighting, newStep, unit, table.row(0));
    }
    lines = newLines;
    setupWeighting = newSetupWeighting;
    step = newStep;
}

void WeightingTable::applyAtSpeed(std::span<std::complex<double>> spectrum,
                                  double rpm,
                                  bool twoSided) const
{
    if (setupWeighting == 0) return;
    const std::int32_t row = rowAtSpeed(rpm);
    if (twoSided) {
        const std::size_t half = spectrum.size() / 2;
        weight(spectrum.subspan(half), row);
        weight(spectrum.first(half), row);
    } else {
        weight(spectrum, row);
    }
}

void WeightingTable::apply(std::span<std::complex<double>> spectrum) const
{
    if (setupWeighting == 0) return;
    weight(spectrum, 0);
}

std::int32_t WeightingTable::rowAtSpeed(double rpm) const
{
    using Row = std::numeric_limits<std::int32_t>;
    const double row = std::round((rpm - minimumSpeed) * rows / (maximumSpeed - minimumSpeed));
    // In this form NaN, which compares to nothing, takes row 0 too.
    if (!(row >= Row::min() && row <= Row::max())) return 0;
    return std::max(std::min(static_cast<std::int32_t>(row), rows - 1), 0);
}

// From the start of a row on, as far as the table reaches.
void WeightingTable::weight(std::span<std::complex<double>> spectrum, std::int32_t row) const
{
    const std::size_t first = std::min(asSize(row) * asSize(lines), table.storage().size());
    const std::size_t reach = table.storage().size() - first;
    Weighting::multiply(spectrum.first(std::min(spectrum.size(), reach)), table.data() + first);
}

} // namespace Velmora::OrderTracking
