#pragma once

#include "harmotrack/harmotrack.h"
#include "order_tracking/order_analyzer.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {

/// One sample of the equal-angle ring.
struct AngleSample {
    double a = 0.0;
    double b = 0.0;
    double bin = 0.0;        ///< binned value
    double frequency = 10.0; ///< Hz
    double angle = 0.0;      ///< degrees
    double time = 0.0;       ///< seconds
};

/// Sample i with the value i everywhere, so that line 0 of a rectangular block tells where it
/// began: at its value less 7.5.
inline AngleSample numbered(std::int64_t i, double bin = 1300.0)
{
    const auto x = static_cast<double>(i);
    return {.a = x, .b = -x, .bin = bin, .time = x};
}

/// What a result announces, in words: the names of its flags, then "bin 3" if one was stored, then
/// "more" if the call ended early. An empty text is a call that consumed all and found nothing.
inline std::string announced(const CalculationResult& result)
{
    std::string text;
    const auto add = [&](bool set, const std::string& what) {
        if (set) text += (text.empty() ? "" : " ") + what;
    };
    add(result.binHarmonics != 0, "binHarmonics");
    add(result.binOrderSpectrum != 0, "binOrderSpectrum");
    add(result.binOrderTwoSided != 0, "binOrderTwoSided");
    add(result.timeOrderSpectrum != 0, "timeOrderSpectrum");
    add(result.timeOrderTwoSided != 0, "timeOrderTwoSided");
    add(result.binTimeSpectrum != 0, "binTimeSpectrum");
    add(result.binTimeTwoSided != 0, "binTimeTwoSided");
    add(result.deltaHarmonics != 0, "deltaHarmonics");
    add(result.deltaOrderSpectrum != 0, "deltaOrderSpectrum");
    add(result.overall != 0, "overall");
    add(result.turnsUpdated != 0, "turns");
    add(result.rpmUpdated != 0, "rpm");
    const std::int32_t bin = result.bin;
    add(bin != -1, "bin " + std::to_string(bin));
    add(result.consumed == 0, "more");
    return text;
}

/// A result and the number of samples that had been taken when it came.
struct Event {
    std::int64_t processed;
    std::string what;

    bool operator==(const Event&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Event& event)
{
    return out << event.processed << ": " << event.what;
}

/// The samples at which something was announced.
inline std::vector<std::int64_t> positions(const std::vector<Event>& events)
{
    std::vector<std::int64_t> list;
    for (const Event& event : events) list.push_back(event.processed - 1);
    return list;
}

/// A small host with one analyzer. Its setups start with
///
///     bins           0 .. 10, centres 1000, 1100, ... 2000, hysteresis 10 %
///     order block    N = 16 samples in 2 revolutions of 8; line k is order k / 2
///     time block     T = 16 samples in 0.1 s; line k is 10 k Hz
///     spectra        rectangular window, peak amplitudes, contiguous blocks, the newest stays
///     phases         against the shaft, as cosines
///     rings          53 and 47 slots
///     flags          none
///
/// A test changes what it is about, calls prepare(), and then delivers samples.
class AnalyzerRig {
public:
    explicit AnalyzerRig(std::int32_t mode = HARMOTRACK_MODE_ONE_REAL) : analyzer(mode)
    {
        binning.minValue = 1000.0F;
        binning.maxValue = 2000.0F;
        binning.step = 100.0F;
        binning.hysteresisPercent = 10.0F;
        binning.scale = 1.0;
        order.orderResolution = 0.5F;
        order.maxOrder = 4;
        analysis.blockMode = HARMOTRACK_BLOCK_CONTIGUOUS;
        analysis.timeLines = 8;
        analysis.fixedTimeLines = 1;
        analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_COSINE;
        analysis.minRpm = 600.0F;
        analysis.maxRpm = 6000.0F;
    }

    AnalyzerRig(const AnalyzerRig&) = delete;
    AnalyzerRig& operator=(const AnalyzerRig&) = delete;

    /// Up to preinitiate().
    void derive()
    {
        order.harmonicCount = static_cast<std::int32_t>(orders.size());
        order.harmonicOrders = orders.data();
        analyzer.setBinningSetup(&binning);
        analyzer.setOrderSetup(&order);
        analyzer.setAnalysisSetup(&analysis);
        analyzer.setParameters(&parameters);
        analyzer.setSampleRate(sampleRate);
        analyzer.setRateDivider(rateDivider);
        analyzer.preinitiate();
    }

    /// Up to initiate(): rings of the present sizes, with counters at the present start.
    void initiate()
    {
        derive();
        for (auto* values : {&a_, &b_, &bin_, &frequency_, &angle_, &time_})
            values->assign(angleSlots, 0.0);
        for (auto* values : {&timeA_, &timeB_}) values->assign(timeSlots, 0.0);

        ResampledBuffers angleRing{};
        angleRing.signalA = a_.data();
        angleRing.signalB = secondSignal() ? b_.data() : nullptr;
        angleRing.binSignal = bin_.data();
        angleRing.frequency = frequency_.data();
        angleRing.angle = angle_.data();
        angleRing.time = time_.data();
        angleRing.size = static_cast<std::int32_t>(angleSlots);
        angleRing.writeIndex =
            static_cast<std::int32_t>(firstAngleSample % static_cast<std::int64_t>(angleSlots));
        angleRing.written = firstAngleSample;
        angleRing.processed = firstAngleSample;
        analyzer.setResampledBuffers(angleRing);

        TimeBuffers timeRing{};
        timeRing.signalA = timeA_.data();
        timeRing.signalB = secondSignal() ? timeB_.data() : nullptr;
        timeRing.size = static_cast<std::int32_t>(timeSlots);
        timeRing.writeIndex =
            static_cast<std::int32_t>(firstTimeSample % static_cast<std::int64_t>(timeSlots));
        timeRing.written = firstTimeSample;
        analyzer.setTimeBuffers(timeRing);
        analyzer.setResultBuffers(tables);
        analyzer.initiate();
    }

    /// Up to reset(): ready to run.
    void prepare()
    {
        initiate();
        analyzer.reset();
    }

    void addAngle(const AngleSample& sample)
    {
        const auto slot = static_cast<std::size_t>(analyzer.getResampledBuffers().writeIndex);
        a_[slot] = sample.a;
        b_[slot] = sample.b;
        bin_[slot] = sample.bin;
        frequency_[slot] = sample.frequency;
        angle_[slot] = sample.angle;
        time_[slot] = sample.time;
        analyzer.updateBuffers(1, 0);
    }

    void addTime(double a, double b = 0.0)
    {
        const auto slot = static_cast<std::size_t>(analyzer.getTimeBuffers().writeIndex);
        timeA_[slot] = a;
        timeB_[slot] = b;
        analyzer.updateBuffers(0, 1);
    }

    /// One call.
    std::string calculate() { return announced(analyzer.calculate()); }

    /// Calls until all is consumed, and appends to events what was announced.
    void drain()
    {
        for (bool more = true; more;) {
            const CalculationResult result = analyzer.calculate();
            more = result.consumed == 0;
            const std::string what = announced(result);
            if (!what.empty()) events.push_back({processed(), what});
            if (onResult && !what.empty()) onResult(result);
        }
    }

    /// Delivers samples one by one, drains after each, and returns what was announced.
    template <typename MakeSample>
    std::vector<Event> run(std::int64_t count, const MakeSample& make)
    {
        events.clear();
        for (std::int64_t i = 0; i < count; ++i) {
            addAngle(make(i));
            drain();
        }
        return events;
    }

    [[nodiscard]] std::int64_t processed() const
    {
        return analyzer.getResampledBuffers().processed;
    }

    BinningSetup binning{};
    OrderSetup order{};
    AnalysisSetup analysis{};
    AnalyzerParameters parameters{};
    ResultBuffers tables{};
    std::vector<float> orders;
    double sampleRate = 160.0; ///< Hz
    std::int32_t rateDivider = 1;
    std::size_t angleSlots = 53;
    std::size_t timeSlots = 47;
    std::int64_t firstAngleSample = 0;
    std::int64_t firstTimeSample = 0;
    std::function<void(const CalculationResult&)> onResult; ///< may be empty
    std::vector<Event> events;
    OrderAnalyzer analyzer;

private:
    [[nodiscard]] bool secondSignal() const
    {
        return analyzer.getMode() != HARMOTRACK_MODE_ONE_REAL;
    }

    std::vector<double> a_, b_, bin_, frequency_, angle_, time_;
    std::vector<double> timeA_, timeB_;
};

} // namespace Velmora::OrderTracking
