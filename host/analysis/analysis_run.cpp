#include "host/analysis/analysis_run.h"

#include "host/analysis/analyzer_pass.h"
#include "host/equal_angle/axis.h"
#include "host/equal_angle/resampler.h"
#include "host/host_error.h"
#include "host/ranges.h"
#include "host/shaft/tachometer.h"
#include "host/signals/rate_check.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <string>
#include <utility>

namespace Harmotrack::Host {
namespace {

// The share of the sampling rate that the resampling passes untouched.
constexpr double kPassedShareOfRate = 0.45;

// How much is delivered to the library at once.
constexpr double kDeliverySeconds = 0.25;

// Steps of angle are made so far ahead of the samples: the resampler keeps the older samples that a
// shaft needs which slows down by then.
constexpr double kStepsAheadSeconds = 1.0;

constexpr std::size_t kMostEvents = 10000;
constexpr std::size_t kMostTurns = 100000;

void checkSignals(std::span<const UniformSignal> signals)
{
    if (signals.empty() || signals.size() > 2)
        throw HostError("The number of signals is " + std::to_string(signals.size()) +
                        ", and 1 or 2 are allowed.");
    const UniformSignal& first = signals.front();
    for (const UniformSignal& signal : signals) {
        if (signal.samples.size() != first.samples.size() || signal.rateHz != first.rateHz ||
            signal.startSeconds != first.startSeconds)
            throw HostError("The two signals differ in start, rate or length, and they must be "
                            "sampled together.");
    }
}

void checkInput(const RunInput& input, const AnalysisSettings& settings)
{
    if (input.channels < 1 || input.channels > 2)
        throw HostError("The number of channels is " + std::to_string(input.channels) +
                        ", and 1 or 2 are allowed.");
    if (settings.twoSided && input.channels != 2)
        throw HostError("Two-sided results need two signals, and there is one.");
    checkRate("The sampling rate", input.rateHz);
    checkTime("The time of the first sample", input.startSeconds);
    if (input.tachometer && input.speed)
        throw HostError("A run has one source of the angle, and a tacho and a speed were given.");
}

void checkReach(double speedRpm, double rateHz, const AnalysisSettings& settings)
{
    const double reach = kPassedShareOfRate * rateHz;
    const double highest = settings.highestOrder * speedRpm / 60.0;
    if (highest <= reach * (1.0 + 1e-9)) return;
    throw HostError("Order " + numberText(settings.highestOrder) + " is " + numberText(highest) +
                    " Hz at " + numberText(speedRpm) + " rpm, above 45 % of the sampling rate of " +
                    numberText(rateHz) + " Hz; the highest order possible is " +
                    numberText(std::floor(reach / (speedRpm / 60.0) * 10.0) / 10.0) + ".");
}

} // namespace

/// A run in pieces.
class AnalysisRun::Stream {
public:
    Stream(const AnalysisSettings& settings, const RunInput& input, RunCallbacks callbacks);

    void feed(std::span<const std::span<const double>> samples);

    void feedStamp(double seconds) { rate_.add(resampler_.written(), seconds); }

    void feedTacho(std::span<const double> samples);
    void feedEdges(std::span<const PulseEdge> edges);
    void feedSpeed(std::span<const double> seconds, std::span<const double> speedRpm);
    void feedKnots(std::span<const AngleKnot> knots);
    std::vector<AnalysisResults> finish();

private:
    [[nodiscard]] AnalyzerPass::RingNeeds ringNeeds() const;
    [[nodiscard]] std::size_t mostSteps() const;
    [[nodiscard]] double numberAt(double seconds) const;
    [[nodiscard]] bool isOnAxis(const EqualAngleStep& step) const;
    void takeTacho();
    void takeKnots(std::span<const AngleKnot> knots);
    void process();
    void deliver(const EqualAngleSamples& samples);
    void deliverSlice(const EqualAngleSamples& samples, std::size_t first, std::size_t count);
    void deliverTime();
    void fillColumns(const EqualAngleSamples& samples, std::size_t first, std::size_t count);
    void beginStretch(const EqualAngleStep& step);
    void endStretch();
    void note(const EqualAngleStep& step);
    void keep(const EqualAngleSamples& samples);
    void letGo();
    void checkLength() const;
    void addShared(AnalysisResults& results);

    AnalysisSettings settings_;
    RunInput input_;
    RunCallbacks callbacks_;
    std::optional<Tachometer> tachometer_;
    std::optional<SpeedProfile> speed_;
    EqualAngleAxis axis_;
    EqualAngleResampler resampler_;
    std::vector<std::unique_ptr<AnalyzerPass>> passes_;
    std::size_t orderBlock_;
    std::size_t timeBlock_;
    std::size_t deliverySamples_;
    std::size_t stepsPerTurn_;
    RateCheck rate_;

    // Of the equal-angle samples in delivery, column by column, as the library takes them.
    struct Columns {
        std::vector<double> speedRpm, speedHz, angleDegrees, seconds;
    };

    Columns columns_;

    bool inStretch_ = false;
    double stretchSeconds_ = 0.0; ///< of its first equal-time sample
    long long timeDelivered_ = 0; ///< number of the next equal-time sample to be delivered
    std::size_t stretchSamples_ = 0;
    std::size_t longestStretch_ = 0;
    double lastStepSeconds_ = 0.0;

    AnalysisResults shared_;      ///< what passes have in common
    std::size_t stepsToNote_ = 0; ///< until the speed is noted again
    std::size_t turnsPerNote_ = 1;
};

AnalysisRun::Stream::Stream(const AnalysisSettings& settings,
                            const RunInput& input,
                            RunCallbacks callbacks)
    : settings_(settings), input_((checkInput(input, settings), input)),
      callbacks_(std::move(callbacks)), axis_(2 * settings.maxOrder(), input.startSeconds),
      resampler_(input.rateHz, input.startSeconds, input.channels, 2 * settings.maxOrder()),
      passes_([&] {
          std::vector<std::unique_ptr<AnalyzerPass>> passes;
          const auto add = [&](Pass pass) {
              passes.push_back(
                  std::make_unique<AnalyzerPass>(settings, input.channels, input.rateHz, pass));
          };
          if (settings.passes == Passes::Together) {
              add(Pass::Both);
          } else {
              add(Pass::Rising);
              add(Pass::Falling);
          }
          return passes;
      }()),
      orderBlock_(passes_.front()->orderBlockSamples()),
      timeBlock_(passes_.front()->timeBlockSamples()),
      deliverySamples_(
          static_cast<std::size_t>(std::max(std::ceil(kDeliverySeconds * input.rateHz), 1.0))),
      stepsPerTurn_(static_cast<std::size_t>(2 * settings.maxOrder())), rate_(input.rateHz)
{
    if (input_.tachometer) {
        TachometerSettings tacho = *input_.tachometer;
        tachometer_.emplace(std::move(tacho));
        tachometer_->start(input_.rateHz, input_.startSeconds);
    }
    if (input_.speed) speed_.emplace(*input_.speed);
    for (const auto& pass : passes_) pass->initiate(ringNeeds());
}

// An equal-angle sample waits until half an order block and half a time block are newer, and a
// delivery may come on top. The fastest samples come at twice the share of the rate that the orders
// may reach.
AnalyzerPass::RingNeeds AnalysisRun::Stream::ringNeeds() const
{
    const double fastest =
        2.0 * settings_.maxOrder() * kPassedShareOfRate * input_.rateHz / settings_.highestOrder;
    const double halfTime = 0.5 * static_cast<double>(timeBlock_);
    const double waitingSeconds =
        (halfTime + static_cast<double>(deliverySamples_)) / input_.rateHz;

    // Half an order block takes longest at the start of the speed axis; a time block that is gone
    // by then is left out by the library.
    const double slowestHz =
        (settings_.minRpm > settings_.stepRpm ? settings_.minRpm : settings_.stepRpm) / 60.0;
    const double lateSeconds =
        std::min(0.75 / settings_.orderResolution / slowestHz, kLongestWaitSeconds);
    return {.largestDelivery = std::max(deliverySamples_, mostSteps()),
            // The speed of a sample is a mean over a turn; within it the shaft may run ahead a
            // little.
            .waitingAngle = static_cast<std::size_t>(std::ceil(1.1 * waitingSeconds * fastest)),
            .lateTime = static_cast<std::size_t>(std::ceil(lateSeconds * input_.rateHz))};
}

// How many equal-angle samples are delivered at once.
std::size_t AnalysisRun::Stream::mostSteps() const
{
    return std::max(stepsPerTurn_, orderBlock_ / 4);
}

double AnalysisRun::Stream::numberAt(double seconds) const
{
    return (seconds - input_.startSeconds) * input_.rateHz;
}

void AnalysisRun::Stream::feed(std::span<const std::span<const double>> samples)
{
    if (samples.size() != input_.channels)
        throw HostError("The number of channels is " + std::to_string(samples.size()) + ", and " +
                        std::to_string(input_.channels) + " were announced.");
    for (std::size_t c = 0; c < samples.size(); ++c) {
        if (samples[c].size() != samples[0].size())
            throw HostError("The channels have " + std::to_string(samples[0].size()) + " and " +
                            std::to_string(samples[c].size()) +
                            " samples, and the counts must be equal.");
        const auto bad = std::find_if(samples[c].begin(), samples[c].end(), [](double value) {
            return !std::isfinite(value);
        });
        if (bad == samples[c].end()) continue;
        const double number =
            static_cast<double>(resampler_.written() + (bad - samples[c].begin()));
        throw HostError("Signal " + std::to_string(c + 1) +
                        " holds a value that is not a finite number at " +
                        numberText(input_.startSeconds + number / input_.rateHz) + " s.");
    }
    resampler_.feed(samples);
    process();
}

void AnalysisRun::Stream::feedTacho(std::span<const double> samples)
{
    if (!tachometer_) throw HostError("Samples of a tacho came, and none was announced.");
    tachometer_->feed(samples);
    takeTacho();
}

void AnalysisRun::Stream::feedEdges(std::span<const PulseEdge> edges)
{
    if (!tachometer_) throw HostError("Pulses of a tacho came, and none was announced.");
    tachometer_->feedEdges(edges);
    takeTacho();
}

void AnalysisRun::Stream::feedSpeed(std::span<const double> seconds,
                                    std::span<const double> speedRpm)
{
    if (!speed_) throw HostError("Values of a speed came, and none was announced.");
    takeKnots(speed_->feed(seconds, speedRpm));
    for (const SpeedGap& gap : speed_->takeGaps()) {
        if (shared_.remarks.size() < kMostEvents) shared_.remarks.push_back(gap.text());
    }
}

void AnalysisRun::Stream::feedKnots(std::span<const AngleKnot> knots)
{
    if (tachometer_ || speed_)
        throw HostError("Knots of the angle came, and another source was announced.");
    takeKnots(knots);
}

void AnalysisRun::Stream::takeTacho()
{
    for (const TachoEvent& event : tachometer_->takeEvents()) {
        ++shared_.tachoEventCount;
        if (shared_.tachoEvents.size() < kMostEvents) shared_.tachoEvents.push_back(event);
        if (callbacks_.onTachoEvent) callbacks_.onTachoEvent(event);
    }
    takeKnots(tachometer_->takeKnots());
}

void AnalysisRun::Stream::takeKnots(std::span<const AngleKnot> knots)
{
    axis_.feed(knots);
    process();
}

// Takes as many steps of angle to the library as have their samples.
void AnalysisRun::Stream::process()
{
    resampler_.request(axis_.take(resampler_.endSeconds() + kStepsAheadSeconds));
    const EqualAngleSamples samples = resampler_.take();
    if (callbacks_.onAngleSignal && !samples.steps.empty()) callbacks_.onAngleSignal(samples);
    if (settings_.keepAngleSignal) keep(samples);
    deliver(samples);
    if (inStretch_) deliverTime();
    letGo();
}

// In contiguous blocks a stretch off the speed axis ends the stretch: the library would make up for
// its blocks, from samples that the ring no longer holds.
bool AnalysisRun::Stream::isOnAxis(const EqualAngleStep& step) const
{
    if (settings_.blockMode != BlockMode::Contiguous) return true;
    const double last = settings_.minRpm + (settings_.binCount() - 1) * settings_.stepRpm;
    return step.speedRpm > settings_.minRpm - 1.4 * settings_.stepRpm &&
           step.speedRpm < last + 1.4 * settings_.stepRpm;
}

void AnalysisRun::Stream::deliver(const EqualAngleSamples& samples)
{
    const std::size_t most = mostSteps();
    std::size_t first = 0;
    std::size_t end = 0;
    const auto flush = [&] {
        if (end > first) deliverSlice(samples, first, end - first);
    };
    for (; end < samples.steps.size(); ++end) {
        const EqualAngleStep& step = samples.steps[end];
        checkReach(step.speedRpm, input_.rateHz, settings_);
        note(step);
        const bool onAxis = isOnAxis(step);
        const bool gone = resampler_.oldest() > timeDelivered_;
        if (inStretch_ && (step.beginsSegment || !onAxis || gone)) {
            flush();
            first = end;
            endStretch();
        }
        if (!onAxis) {
            first = end + 1;
            continue;
        }
        if (!inStretch_) beginStretch(step);
        if (end - first >= most ||
            (end > first && step.seconds - samples.steps[first].seconds > kDeliverySeconds)) {
            flush();
            first = end;
        }
    }
    flush();
}

void AnalysisRun::Stream::deliverSlice(const EqualAngleSamples& samples,
                                       std::size_t first,
                                       std::size_t count)
{
    fillColumns(samples, first, count);
    AngleSamples angle;
    angle.signalA = std::span(samples.values[0]).subspan(first, count);
    if (input_.channels == 2) angle.signalB = std::span(samples.values[1]).subspan(first, count);
    angle.binSignal = columns_.speedRpm;
    angle.frequency = columns_.speedHz;
    angle.angle = columns_.angleDegrees;
    angle.time = columns_.seconds;
    for (const auto& pass : passes_) pass->deliver(angle, {}, callbacks_.onResult);
    stretchSamples_ += count;
    lastStepSeconds_ = samples.steps[first + count - 1].seconds;
    deliverTime();
}

void AnalysisRun::Stream::fillColumns(const EqualAngleSamples& samples,
                                      std::size_t first,
                                      std::size_t count)
{
    for (std::vector<double>* column :
         {&columns_.speedRpm, &columns_.speedHz, &columns_.angleDegrees, &columns_.seconds})
        column->resize(count);
    for (std::size_t k = 0; k < count; ++k) {
        const EqualAngleStep& step = samples.steps[first + k];
        columns_.speedRpm[k] = step.speedRpm;
        columns_.speedHz[k] = step.speedRpm / 60.0;
        columns_.angleDegrees[k] = step.angleDegrees(static_cast<int>(stepsPerTurn_));
        columns_.seconds[k] = step.seconds - stretchSeconds_;
    }
}

// The library takes a sample once half a time block beyond it is there, and needs no more.
void AnalysisRun::Stream::deliverTime()
{
    const double needed =
        std::ceil(numberAt(lastStepSeconds_) + 0.5 * static_cast<double>(timeBlock_)) + 2.0;
    const long long until = std::min(resampler_.written(), static_cast<long long>(needed));
    while (timeDelivered_ < until) {
        const auto count =
            std::min(static_cast<std::size_t>(until - timeDelivered_), deliverySamples_);
        TimeSamples time;
        time.signalA = resampler_.samples(0, timeDelivered_).first(count);
        if (input_.channels == 2) time.signalB = resampler_.samples(1, timeDelivered_).first(count);
        for (const auto& pass : passes_) pass->deliver({}, time, callbacks_.onResult);
        timeDelivered_ += static_cast<long long>(count);
    }
}

// The first equal-time sample of a stretch is the one that a block round the first step reaches
// back to.
void AnalysisRun::Stream::beginStretch(const EqualAngleStep& step)
{
    const auto number = std::clamp(static_cast<long long>(std::floor(numberAt(step.seconds))),
                                   resampler_.oldest(),
                                   resampler_.written());
    timeDelivered_ = std::max(resampler_.oldest(), number - static_cast<long long>(timeBlock_));
    stretchSeconds_ = input_.startSeconds + static_cast<double>(timeDelivered_) / input_.rateHz;
    for (const auto& pass : passes_) pass->beginStretch(stretchSeconds_);
    inStretch_ = true;
    stretchSamples_ = 0;
    lastStepSeconds_ = step.seconds;
    deliverTime();
}

void AnalysisRun::Stream::endStretch()
{
    deliverTime();
    for (const auto& pass : passes_) pass->endStretch();
    longestStretch_ = std::max(longestStretch_, stretchSamples_);
    inStretch_ = false;
}

// One value of the speed a turn; when there are too many, every other one goes.
void AnalysisRun::Stream::note(const EqualAngleStep& step)
{
    const bool first = shared_.seconds.empty();
    shared_.lowestRpm = first ? step.speedRpm : std::min(shared_.lowestRpm, step.speedRpm);
    shared_.highestRpm = std::max(shared_.highestRpm, step.speedRpm);
    if (step.beginsSegment) stepsToNote_ = 0;
    if (stepsToNote_-- > 0) return;
    stepsToNote_ = stepsPerTurn_ * turnsPerNote_ - 1;
    shared_.seconds.push_back(step.seconds);
    shared_.speedRpm.push_back(step.speedRpm);
    if (shared_.seconds.size() < kMostTurns) return;
    for (std::vector<double>* values : {&shared_.seconds, &shared_.speedRpm}) {
        for (std::size_t k = 0; 2 * k < values->size(); ++k) (*values)[k] = (*values)[2 * k];
        values->resize((values->size() + 1) / 2);
    }
    turnsPerNote_ *= 2;
}

void AnalysisRun::Stream::keep(const EqualAngleSamples& samples)
{
    EqualAngleSamples& kept = shared_.angleSignal;
    kept.values.resize(input_.channels);
    kept.steps.insert(kept.steps.end(), samples.steps.begin(), samples.steps.end());
    for (std::size_t c = 0; c < input_.channels; ++c)
        kept.values[c].insert(
            kept.values[c].end(), samples.values[c].begin(), samples.values[c].end());
}

// Samples may go that neither a step to come nor the equal-time ring needs.
void AnalysisRun::Stream::letGo()
{
    const double blockSeconds = static_cast<double>(timeBlock_) / input_.rateHz;
    const double newest = resampler_.endSeconds();
    const double longestWait = std::max(kLongestWaitSeconds, 2.0 * blockSeconds);
    double next = std::max(axis_.certainSeconds() - blockSeconds, newest - longestWait);
    if (inStretch_)
        next = std::max(
            std::min(next,
                     input_.startSeconds + static_cast<double>(timeDelivered_) / input_.rateHz),
            newest - longestWait);
    resampler_.keepFrom(next);
}

std::vector<AnalysisResults> AnalysisRun::Stream::finish()
{
    if (tachometer_) {
        tachometer_->finish();
        takeTacho();
        const std::vector<std::string> first = tachometer_->remarks();
        shared_.remarks.insert(shared_.remarks.begin(), first.begin(), first.end());
    }
    axis_.endSegment();
    resampler_.finish();
    process();
    if (inStretch_) endStretch();
    checkLength();
    std::vector<AnalysisResults> results;
    for (const auto& pass : passes_) {
        results.push_back(pass->results());
        addShared(results.back());
    }
    return results;
}

void AnalysisRun::Stream::addShared(AnalysisResults& results)
{
    results.seconds = shared_.seconds;
    results.speedRpm = shared_.speedRpm;
    results.lowestRpm = shared_.lowestRpm;
    results.highestRpm = shared_.highestRpm;
    results.angleSignal = shared_.angleSignal;
    results.tachoEvents = shared_.tachoEvents;
    results.tachoEventCount = shared_.tachoEventCount;
    results.remarks = shared_.remarks;
    const std::string rateRemark = rate_.remark();
    if (!rateRemark.empty()) results.remarks.push_back(rateRemark);
    if (speed_ && speed_->impossible().count > 0)
        results.remarks.push_back(speed_->impossible().text());
}

void AnalysisRun::Stream::checkLength() const
{
    // A run in contiguous blocks may never have come to its axis.
    const bool offAxis = settings_.blockMode == BlockMode::Contiguous && !shared_.seconds.empty();
    if (longestStretch_ <= orderBlock_ && !offAxis) {
        const double turns =
            static_cast<double>(longestStretch_) / static_cast<double>(stepsPerTurn_);
        throw HostError("The recording has " + numberText(turns) +
                        " revolutions with known angle and complete samples, and a block of order "
                        "resolution " +
                        numberText(settings_.orderResolution) + " needs more than " +
                        numberText(1.0 / settings_.orderResolution) + ".");
    }
    const double recordedSeconds = static_cast<double>(resampler_.written()) / input_.rateHz;
    const double blockSeconds = static_cast<double>(timeBlock_) / input_.rateHz;
    if (blockSeconds > recordedSeconds)
        throw HostError("The recording lasts " + numberText(recordedSeconds) +
                        " s, and a block for the frequency spectra needs " +
                        numberText(blockSeconds) +
                        " s: take a coarser order resolution or fewer frequency lines.");
}

AnalysisRun::AnalysisRun(AnalysisSettings settings) : settings_(std::move(settings))
{
    settings_.validate();
}

AnalysisRun::~AnalysisRun() = default;
AnalysisRun::AnalysisRun(AnalysisRun&&) noexcept = default;
AnalysisRun& AnalysisRun::operator=(AnalysisRun&&) noexcept = default;

AnalysisResults AnalysisRun::run(std::span<const UniformSignal> signals,
                                 const ShaftAngle& angle,
                                 const Progress& progress) const
{
    if (settings_.passes == Passes::Apart)
        throw HostError("Passes apart give two sets of tables, and one was asked for.");
    return std::move(runPasses(signals, angle.knots(), progress).front());
}

std::vector<AnalysisResults> AnalysisRun::runPasses(std::span<const UniformSignal> signals,
                                                    std::span<const AngleKnot> knots,
                                                    const Progress& progress) const
{
    checkSignals(signals);
    const UniformSignal& first = signals.front();
    RunInput input;
    input.rateHz = first.rateHz;
    input.startSeconds = first.startSeconds;
    input.channels = signals.size();
    Stream stream(settings_, input, {});

    // All speeds are known: the sentence names the highest order that the whole run allows.
    double fastest = 0.0;
    for (const ShaftAngle& segment : ShaftAngle::segmentsOf(knots)) {
        for (const EqualAngleStep& step :
             equalAngleSteps(segment, 16, first.startSeconds, first.endSeconds()))
            fastest = std::max(fastest, step.speedRpm);
    }
    checkReach(fastest * (1.0 - 1e-6), input.rateHz, settings_);

    const auto chunk =
        static_cast<std::size_t>(std::max(std::ceil(kDeliverySeconds * first.rateHz), 1.0));
    const std::size_t samples = first.samples.size();
    auto nextKnot = knots.begin();
    std::vector<std::span<const double>> parts(signals.size());
    for (std::size_t done = 0; done < samples;) {
        const std::size_t count = std::min(chunk, samples - done);
        for (std::size_t c = 0; c < signals.size(); ++c)
            parts[c] = std::span(signals[c].samples).subspan(done, count);
        done += count;
        const double until = first.startSeconds + static_cast<double>(done) / first.rateHz;
        const auto end = std::find_if(
            nextKnot, knots.end(), [&](const AngleKnot& knot) { return knot.seconds > until; });
        stream.feedKnots({nextKnot, end});
        nextKnot = end;
        stream.feed(parts);
        if (progress) progress(static_cast<double>(done) / static_cast<double>(samples));
    }
    stream.feedKnots({nextKnot, knots.end()});
    return stream.finish();
}

AnalysisRun::Stream& AnalysisRun::stream()
{
    if (!stream_) throw HostError("The run has not been started.");
    return *stream_;
}

void AnalysisRun::start(const RunInput& input, RunCallbacks callbacks)
{
    stream_.reset();
    try {
        stream_ = std::make_unique<Stream>(settings_, input, std::move(callbacks));
    } catch (const std::bad_alloc&) {
        throw HostError("Memory ran out for the start of a run.");
    }
}

void AnalysisRun::feed(std::span<const std::span<const double>> samples)
{
    stream().feed(samples);
}

void AnalysisRun::feedStamp(double seconds)
{
    stream().feedStamp(seconds);
}

void AnalysisRun::feedTacho(std::span<const double> samples)
{
    stream().feedTacho(samples);
}

void AnalysisRun::feedPulses(std::span<const double> seconds)
{
    std::vector<PulseEdge> edges;
    edges.reserve(seconds.size());
    for (const double time : seconds) edges.push_back({time, true});
    stream().feedEdges(edges);
}

void AnalysisRun::feedEdges(std::span<const PulseEdge> edges)
{
    stream().feedEdges(edges);
}

void AnalysisRun::feedSpeed(std::span<const double> seconds, std::span<const double> speedRpm)
{
    stream().feedSpeed(seconds, speedRpm);
}

void AnalysisRun::feedKnots(std::span<const AngleKnot> knots)
{
    stream().feedKnots(knots);
}

std::vector<AnalysisResults> AnalysisRun::finish()
{
    std::vector<AnalysisResults> results = stream().finish();
    stream_.reset();
    return results;
}

} // namespace Harmotrack::Host
