#include "face_host.h"

#include <bit>
#include <cstddef>

namespace Face {
namespace {

class Words {
public:
    void add(uint32_t word) { words_.push_back(word); }

    void add(float value) { add(std::bit_cast<uint32_t>(value)); }

    void add(double value)
    {
        const auto bits = std::bit_cast<uint64_t>(value);
        add(static_cast<uint32_t>(bits));
        add(static_cast<uint32_t>(bits >> 32U));
    }

    void add(std::span<const float> values)
    {
        for (const float value : values) add(value);
    }

    void add(std::span<const std::complex<float>> values)
    {
        for (const auto& value : values) {
            add(value.real());
            add(value.imag());
        }
    }

    std::vector<uint32_t> take() { return std::move(words_); }

private:
    std::vector<uint32_t> words_;
};

void addSet(Words& words, const AnyAnalyzer& analyzer, Signal signal)
{
    const Results& results = analyzer.setup().results;
    const int bins = analyzer.sizes().bins;
    if (results.binHarmonics)
        for (std::size_t h = 0; h < analyzer.setup().orders.harmonicOrders.size(); ++h)
            words.add(analyzer.binHarmonics(static_cast<int>(h), signal));
    for (int bin = 0; bin < bins; ++bin) {
        if (results.binOrderSpectrum) words.add(analyzer.binOrderSpectrum(bin, signal));
        if (results.binTimeSpectrum) words.add(analyzer.binTimeSpectrum(bin, signal));
    }
    if (results.timeOrderSpectrum) {
        const Row row = analyzer.timeOrderSpectrum(signal);
        words.add(row.values);
        words.add(row.time);
    }
    if (results.deltaHarmonics) {
        const DeltaValues delta = analyzer.deltaHarmonics(signal);
        words.add(delta.values);
        words.add(delta.time);
    }
    if (results.deltaOrderSpectrum) words.add(analyzer.deltaOrderSpectrum(signal));
    if (results.overall) words.add(analyzer.overall(signal));
}

void addNews(Words& words, const News& news)
{
    for (const bool flag : {news.binHarmonics,
                            news.binOrderSpectrum,
                            news.binOrderTwoSided,
                            news.timeOrderSpectrum,
                            news.timeOrderTwoSided,
                            news.binTimeSpectrum,
                            news.binTimeTwoSided,
                            news.deltaHarmonics,
                            news.deltaOrderSpectrum,
                            news.overall,
                            news.turnsUpdated,
                            news.rpmUpdated})
        words.add(flag ? 1U : 0U);
    words.add(static_cast<uint32_t>(news.bin));
}

} // namespace

AnalyzerSetup machineSetup()
{
    AnalyzerSetup setup;
    setup.sampleRate = 1024.0;
    setup.binning.direction = Direction::Rising;
    setup.binning.minValue = 1000.0F;
    setup.binning.maxValue = 2000.0F;
    setup.binning.step = 100.0F;
    setup.orders.orderResolution = 0.25F;
    setup.orders.maxOrder = 16;
    setup.analysis.averagingType = Averaging::Overwrite;
    setup.analysis.timeLines = 64;
    setup.analysis.removeMeanOrder = false;
    setup.analysis.removeMeanTime = false;
    setup.largestDelivery = 4096;
    return setup;
}

AngleSamples
angleSamples(const Boundary::Recording& recording, Mode mode, int64_t first, int64_t last)
{
    const auto part = [&](const std::vector<double>& values) {
        return std::span(values).subspan(static_cast<std::size_t>(first),
                                         static_cast<std::size_t>(last - first));
    };
    AngleSamples samples;
    samples.signalA = part(recording.signalA);
    if (mode != Mode::OneReal) samples.signalB = part(recording.signalB);
    samples.binSignal = part(recording.binSignal);
    samples.frequency = part(recording.frequency);
    samples.angle = part(recording.angle);
    samples.time = part(recording.time);
    return samples;
}

TimeSamples
timeSamples(const Boundary::Recording& recording, Mode mode, int64_t first, int64_t last)
{
    const auto part = [&](const std::vector<double>& values) {
        return std::span(values).subspan(static_cast<std::size_t>(first),
                                         static_cast<std::size_t>(last - first));
    };
    TimeSamples samples;
    samples.signalA = part(recording.timeA);
    if (mode != Mode::OneReal) samples.signalB = part(recording.timeB);
    return samples;
}

std::vector<uint32_t> readAll(const AnyAnalyzer& analyzer)
{
    Words words;
    addSet(words, analyzer, Signal::First);
    if (analyzer.mode() == Mode::TwoReal) addSet(words, analyzer, Signal::Second);
    const Results& results = analyzer.setup().results;
    for (int bin = 0; bin < analyzer.sizes().bins; ++bin) {
        if (results.binOrderTwoSided) words.add(analyzer.binOrderTwoSided(bin));
        if (results.binTimeTwoSided) words.add(analyzer.binTimeTwoSided(bin));
    }
    if (results.timeOrderTwoSided) {
        const Row row = analyzer.timeOrderTwoSided();
        words.add(row.values);
        words.add(row.time);
    }
    words.add(static_cast<uint32_t>(analyzer.turns().count));
    words.add(analyzer.turns().time);
    if (const auto speed = analyzer.speed()) {
        words.add(speed->rpm);
        words.add(speed->time);
    }
    return words.take();
}

std::vector<uint32_t> runThrough(AnyAnalyzer& analyzer,
                                 const Boundary::Recording& recording,
                                 int64_t samples,
                                 int64_t piece)
{
    std::vector<uint32_t> all = readAll(analyzer);
    const auto append = [&all](const std::vector<uint32_t>& words) {
        all.insert(all.end(), words.begin(), words.end());
    };
    const bool wantsTime = analyzer.setup().wantsTimeSamples();
    int64_t timeFed = 0;
    for (int64_t fed = 0; fed < samples;) {
        const int64_t to = std::min(fed + piece, samples);
        const int64_t timeTo = wantsTime ? recording.timeSamplesBy(to) : 0;
        analyzer.feed(angleSamples(recording, analyzer.mode(), fed, to),
                      timeSamples(recording, analyzer.mode(), timeFed, timeTo));
        fed = to;
        timeFed = timeTo;
        while (const auto news = analyzer.next()) {
            Words words;
            addNews(words, *news);
            append(words.take());
            append(readAll(analyzer));
        }
    }
    append(readAll(analyzer));
    return all;
}

} // namespace Face
