#include "api/handles.h"
#include "api/read_rules.h"

#include <algorithm>
#include <cstddef>

using Velmora::Api::analyzerOf;
using Velmora::Api::copySpectrumRow;
using Velmora::Api::isAvailable;
using Velmora::Api::isSecond;
using Velmora::Api::writeComplex;

void readTurns(AnalyzerHandle analyzer, int32_t* turns, double* time)
{
    *turns = analyzerOf(analyzer).turnCount();
    *time = analyzerOf(analyzer).lastTurnTime();
}

void readRPM(AnalyzerHandle analyzer, float* rpm, double* time)
{
    *rpm = analyzerOf(analyzer).rpm();
    *time = analyzerOf(analyzer).rpmTime();
}

void readOverall(AnalyzerHandle analyzer, int32_t bin, float* levels, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& overall = isSecond(which) ? results.overallB : results.overallA;
    levels[bin] = overall[static_cast<std::size_t>(bin)];
}

void readOrderDomainBinWaterfall(AnalyzerHandle analyzer, int32_t bin, float* table, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& waterfall = isSecond(which) ? results.orderB : results.orderA;
    const std::ptrdiff_t lines = analyzerOf(analyzer).getOrderLines();
    copySpectrumRow(
        analyzerOf(analyzer), waterfall.row(static_cast<std::uint64_t>(bin)), table + bin * lines);
}

void readOrderDomainBinWaterfallTwoSided(AnalyzerHandle analyzer, int32_t bin, float* table)
{
    const auto& waterfall = analyzerOf(analyzer).results().orderTwoSided;
    const auto columns = static_cast<std::ptrdiff_t>(waterfall.cols());
    std::copy_n(waterfall.row(static_cast<std::uint64_t>(bin)), columns, table + bin * columns);
}

void readOrderDomainTimeWaterfall(AnalyzerHandle analyzer, float* row, double* time, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& newest = isSecond(which) ? results.orderRowB : results.orderRowA;
    copySpectrumRow(analyzerOf(analyzer), newest.data(), row);
    *time = results.orderRowTime;
}

void readOrderDomainTimeWaterfallTwoSided(AnalyzerHandle analyzer, float* row, double* time)
{
    const auto& results = analyzerOf(analyzer).results();
    std::copy(results.orderRowTwoSided.begin(), results.orderRowTwoSided.end(), row);
    *time = results.orderRowTime;
}

void readOrderDomainHarmonic(
    AnalyzerHandle analyzer, int32_t harmonic, int32_t bin, float* values, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& table = isSecond(which) ? results.harmonicsB : results.harmonicsA;
    writeComplex(table.rows()[static_cast<std::size_t>(harmonic)][static_cast<std::size_t>(bin)],
                 values + 2 * static_cast<std::ptrdiff_t>(bin));
}

void readOrderDomainHarmonicBin(
    AnalyzerHandle analyzer, int32_t harmonic, int32_t bin, int32_t which, float* value)
{
    if (!isAvailable(analyzerOf(analyzer), which)) {
        writeComplex({}, value);
        return;
    }
    const auto& results = analyzerOf(analyzer).results();
    const auto& table = isSecond(which) ? results.harmonicsB : results.harmonicsA;
    writeComplex(table.rows()[static_cast<std::size_t>(harmonic)][static_cast<std::size_t>(bin)],
                 value);
}

void readOrderDomainHarmonicsTimeDelta(AnalyzerHandle analyzer,
                                       float* values,
                                       double* time,
                                       int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& mean = isSecond(which) ? results.deltaHarmonicsB : results.deltaHarmonicsA;
    for (std::size_t i = 0; i < mean.size(); ++i) writeComplex(mean[i], values + 2 * i);
    *time = results.deltaTime;
}

void readOrderSpectrumTimeDelta(AnalyzerHandle analyzer, float* spectrum, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& mean = isSecond(which) ? results.deltaSpectrumB : results.deltaSpectrumA;
    if (analyzerOf(analyzer).getAnalysisSetup()->twoSided == 0) {
        for (std::size_t k = 0; k < mean.size(); ++k) writeComplex(mean[k], spectrum + 2 * k);
        return;
    }
    // Of either half as many floats are copied as it has lines, which is every line in its first
    // half: hosts are built for that.
    const std::ptrdiff_t half = analyzerOf(analyzer).getOrderFFTSize() / 2;
    const auto* lines = reinterpret_cast<const float*>(mean.data());
    std::copy_n(lines + 2 * half, half, spectrum);
    std::copy_n(lines, half, spectrum + 2 * half);
}

void readTimeDomainBinWaterfall(AnalyzerHandle analyzer, int32_t bin, float* table, int32_t which)
{
    if (!isAvailable(analyzerOf(analyzer), which)) return;
    const auto& results = analyzerOf(analyzer).results();
    const auto& waterfall = isSecond(which) ? results.timeB : results.timeA;
    const std::ptrdiff_t lines = analyzerOf(analyzer).getTimeFFTSize() / 2;
    std::copy_n(waterfall.row(static_cast<std::uint64_t>(bin)), lines, table + bin * lines);
}

void readTimeDomainBinWaterfallTwoSided(AnalyzerHandle analyzer, int32_t bin, float* table)
{
    // The length is that of the frequency table, the cells are those of the order table: hosts see
    // the frequency table in their own memory.
    const auto& results = analyzerOf(analyzer).results();
    const auto columns = static_cast<std::ptrdiff_t>(results.timeTwoSided.cols());
    const auto& source = results.orderTwoSided;
    const auto first = static_cast<std::ptrdiff_t>(source.cols()) * bin;
    const auto cells = static_cast<std::ptrdiff_t>(source.rows() * source.cols());
    const auto count = std::clamp<std::ptrdiff_t>(cells - first, 0, columns);
    std::copy_n(source.data() + first, count, table + bin * columns);
}
