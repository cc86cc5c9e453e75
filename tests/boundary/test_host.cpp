#include "test_host.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <mutex>
#include <numeric>
#include <stdexcept>
#include <utility>

namespace Boundary {

std::vector<int32_t> resultSets(int32_t mode)
{
    return mode == 1 ? std::vector<int32_t>{1, 2} : std::vector<int32_t>{0};
}

// ---- the machine --------------------------------------------------------------------------------

Signal silence()
{
    return constant(0.0);
}

Signal constant(double value)
{
    return [value](const Instant&) { return value; };
}

Signal tone(double amplitude, double order, double phase)
{
    return [=](const Instant& now) {
        return amplitude * std::cos(2.0 * kPi * order * now.revolutions + phase);
    };
}

Signal sum(Signal first, Signal second)
{
    return [first = std::move(first), second = std::move(second)](const Instant& now) {
        return first(now) + second(now);
    };
}

Signal stepAt(double revolutions, double before, double after)
{
    return [=](const Instant& now) { return now.revolutions < revolutions ? before : after; };
}

Signal noise(uint64_t seed)
{
    // The finaliser of SplitMix64 (Steele, Lea, Flood 2014) on the number of the moment.
    return [seed](const Instant& now) {
        uint64_t x =
            seed * 0x9E3779B97F4A7C15U + static_cast<uint64_t>(std::llround(now.seconds * 1e6));
        x = (x ^ (x >> 30U)) * 0xBF58476D1CE4E5B9U;
        x = (x ^ (x >> 27U)) * 0x94D049BB133111EBU;
        x ^= x >> 31U;
        const double uniform = static_cast<double>(x >> 11U) / 9007199254740992.0; // 2^53
        return (uniform - 0.5) * std::sqrt(12.0);
    };
}

Instant Shaft::atSeconds(double seconds) const
{
    const double t = seconds - startSeconds;
    return {seconds,
            startRevolutions + startHertz * t + 0.5 * hertzPerSecond * t * t,
            startHertz + hertzPerSecond * t};
}

Instant Shaft::atRevolutions(double revolutions) const
{
    const double turned = revolutions - startRevolutions;
    const double hertz = std::sqrt(startHertz * startHertz + 2.0 * hertzPerSecond * turned);
    return {startSeconds + 2.0 * turned / (startHertz + hertz), revolutions, hertz};
}

int64_t Recording::timeSamplesBy(int64_t angleSamples) const
{
    if (angleSamples <= 0) return 0;
    const double newest = time[static_cast<size_t>(angleSamples - 1)];
    return std::min<int64_t>(static_cast<int64_t>((newest - time.front()) * timeRate) + 1,
                             static_cast<int64_t>(timeA.size()));
}

Recording
record(const Machine& machine, int64_t samples, int32_t samplesPerRevolution, double timeRate)
{
    Recording recording;
    recording.timeRate = timeRate;
    const Shaft& shaft = machine.shaft;
    for (int64_t k = 0; k < samples; ++k) {
        const double turned = static_cast<double>(k) / samplesPerRevolution;
        const Instant now = shaft.atRevolutions(shaft.startRevolutions + turned);
        recording.signalA.push_back(machine.signalA(now));
        recording.signalB.push_back(machine.signalB(now));
        recording.binSignal.push_back(machine.binSignal(now));
        recording.frequency.push_back(now.hertz);
        recording.angle.push_back(360.0 * (now.revolutions - std::floor(now.revolutions)));
        recording.time.push_back(now.seconds);
    }
    const double seconds = recording.time.back() - shaft.startSeconds;
    const auto timeSamples = static_cast<int64_t>(seconds * timeRate) + 1;
    for (int64_t s = 0; s < timeSamples; ++s) {
        const Instant now = shaft.atSeconds(shaft.startSeconds + static_cast<double>(s) / timeRate);
        recording.timeA.push_back(machine.signalA(now));
        recording.timeB.push_back(machine.signalB(now));
    }
    return recording;
}

Machine crossing(Signal signalA, Signal signalB)
{
    return {Shaft{},
            std::move(signalA),
            std::move(signalB),
            stepAt((static_cast<double>(kCrossing) - 0.5) / 32.0, 1180.0, 1220.0)};
}

Machine runUp(Signal signalA, Signal signalB)
{
    return {Shaft{.startHertz = 16.0, .hertzPerSecond = 2.0},
            std::move(signalA),
            std::move(signalB),
            [](const Instant& now) { return 60.0 * now.hertz; }};
}

// ---- calls and outcomes -------------------------------------------------------------------------

Flags flags(std::initializer_list<Flag> set)
{
    Flags result{};
    for (const Flag flag : set) result[flag] = 1;
    return result;
}

bool Call::hasResult() const
{
    return std::any_of(flags.begin(), flags.end(), [](uint8_t flag) { return flag != 0; });
}

std::string firstDifference(const std::vector<Outcome>& a, const std::vector<Outcome>& b)
{
    for (size_t i = 0; i < std::min(a.size(), b.size()); ++i) {
        if (a[i] == b[i]) continue;
        const auto place = std::mismatch(
            a[i].words.begin(), a[i].words.end(), b[i].words.begin(), b[i].words.end());
        return "result " + std::to_string(i) + " of " + std::to_string(a.size()) +
               " differs: bins " + std::to_string(a[i].bin) + " and " + std::to_string(b[i].bin) +
               ", times " + std::to_string(a[i].rpmTime) + " and " + std::to_string(b[i].rpmTime) +
               ", first differing word " + std::to_string(place.first - a[i].words.begin());
    }
    if (a.size() == b.size()) return "";
    return std::to_string(a.size()) + " results against " + std::to_string(b.size());
}

// ---- the host -----------------------------------------------------------------------------------

namespace {

Call unpack(const CalculationResult& result)
{
    return {{result.binHarmonics,
             result.binOrderSpectrum,
             result.binOrderTwoSided,
             result.timeOrderSpectrum,
             result.timeOrderTwoSided,
             result.binTimeSpectrum,
             result.binTimeTwoSided,
             result.deltaHarmonics,
             result.deltaOrderSpectrum,
             result.overall},
            result.turnsUpdated != 0,
            result.rpmUpdated != 0,
            result.bin,
            result.consumed != 0};
}

std::vector<double> widen(const std::vector<float>& values, size_t first, size_t count)
{
    std::vector<double> wide(count);
    for (size_t i = 0; i < count; ++i) wide[i] = static_cast<double>(values[first + i]);
    return wide;
}

std::vector<std::complex<double>> widenComplex(const std::vector<float>& values)
{
    std::vector<std::complex<double>> wide;
    for (size_t i = 0; i + 1 < values.size(); i += 2)
        wide.emplace_back(static_cast<double>(values[i]), static_cast<double>(values[i + 1]));
    return wide;
}

void append(std::vector<uint32_t>& words, double value)
{
    const auto bits = std::bit_cast<uint64_t>(value);
    words.push_back(static_cast<uint32_t>(bits));
    words.push_back(static_cast<uint32_t>(bits >> 32U));
}

void append(std::vector<uint32_t>& words, const std::vector<double>& values)
{
    for (const double value : values) append(words, value);
}

void append(std::vector<uint32_t>& words, std::complex<double> value)
{
    append(words, value.real());
    append(words, value.imag());
}

void append(std::vector<uint32_t>& words, const std::vector<std::complex<double>>& values)
{
    for (const std::complex<double> value : values) append(words, value);
}

int32_t slotOf(int64_t number, int32_t slots)
{
    return static_cast<int32_t>(number % slots);
}

} // namespace

Host::Host(int32_t mode)
    : ringFill(std::numeric_limits<double>::quiet_NaN()), mode_(mode),
      handle_(keepReachable(create(mode)))
{
    binning.direction = HARMOTRACK_DIRECTION_RISING;
    binning.minValue = 1000.0F;
    binning.maxValue = 2000.0F;
    binning.step = 100.0F;
    binning.hysteresisPercent = 10.0F;
    binning.scale = 1.0;
    orders.orderResolution = 0.25F;
    orders.maxOrder = 16;
    analysis.windowType = HARMOTRACK_WINDOW_HANNING;
    analysis.timeLines = 64;
    analysis.fixedTimeLines = 1;
    analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_COSINE;
    analysis.minRpm = 600.0F;
    analysis.maxRpm = 6000.0F;
}

void Host::start()
{
    prepare();
    handOver();
    if (begin() != 0) throw std::runtime_error("initiate ran out of memory");
    reset(handle_);
}

void Host::prepare()
{
    orders.harmonicCount = static_cast<int32_t>(harmonicOrders.size());
    orders.harmonicOrders = harmonicOrders.empty() ? nullptr : harmonicOrders.data();
    setBinningSetup(handle_, &binning);
    setOrderSetup(handle_, &orders);
    setAnalysisSetup(handle_, &analysis);
    setParameters(handle_, &parameters);
    setSampleRate(handle_, sampleRate, rateDivider);
    setInputBufferLimit(handle_, limit);
    preinitiate(handle_);
}

void Host::handOver()
{
    if (hostTables) makeTables();
    handOverTables();
    handOverRings();
}

void Host::handOverRings()
{
    for (std::vector<double>& array : angleRing_)
        array.assign(static_cast<size_t>(angleSlots), ringFill);
    for (std::vector<double>& array : timeRing_)
        array.assign(static_cast<size_t>(timeSlots), ringFill);
    angleFed_ = 0;
    timeFed_ = 0;

    ResampledBuffers angleRing{};
    angleRing.signalA = angleRing_[0].data();
    angleRing.signalB = nullSignalB ? nullptr : angleRing_[1].data();
    angleRing.binSignal = angleRing_[2].data();
    angleRing.frequency = angleRing_[3].data();
    angleRing.angle = angleRing_[4].data();
    angleRing.time = angleRing_[5].data();
    angleRing.size = angleSlots;
    angleRing.writeIndex = angleWriteIndex;
    angleRing.written = angleWritten;
    angleRing.processed = angleWritten;
    setResampledBuffers(handle_, angleRing);

    TimeBuffers timeRing{};
    timeRing.signalA = timeRing_[0].data();
    timeRing.signalB = nullSignalB ? nullptr : timeRing_[1].data();
    timeRing.size = timeSlots;
    timeRing.writeIndex = timeWriteIndex;
    timeRing.written = timeWritten;
    setTimeBuffers(handle_, timeRing);
}

void Host::makeTables()
{
    const auto rows = static_cast<size_t>(bins());
    const auto orderSamples = static_cast<size_t>(orderSize());
    const auto timeSamples = static_cast<size_t>(timeSize());
    orderTableA.assign(rows * static_cast<size_t>(orderLines()), tableFill);
    orderTableB.assign(rows * static_cast<size_t>(orderLines()), tableFill);
    orderTableTwoSided.assign(rows * (orderSamples - 1), tableFill);
    timeTableA.assign(rows * (timeSamples / 2), tableFill);
    timeTableB.assign(rows * (timeSamples / 2), tableFill);
    timeTableTwoSided.assign(rows * (timeSamples - 1), tableFill);
}

void Host::handOverTables() const
{
    const auto cells = [](const std::vector<float>& table) {
        return table.empty() ? nullptr : const_cast<float*>(table.data());
    };
    ResultBuffers tables{};
    tables.binOrderA = cells(orderTableA);
    tables.binOrderB = cells(orderTableB);
    tables.binOrderTwoSided = cells(orderTableTwoSided);
    tables.binTimeA = cells(timeTableA);
    tables.binTimeB = cells(timeTableB);
    tables.binTimeTwoSided = cells(timeTableTwoSided);
    setResultBuffers(handle_, tables);
}

int32_t Host::begin()
{
    int32_t error = -1;
    initiate(handle_, &error);
    return error;
}

void Host::restart()
{
    handOverRings();
    reset(handle_);
}

// ---- running ------------------------------------------------------------------------------------

std::vector<Outcome> Host::run(const Recording& recording, Split split)
{
    static constexpr std::array<int64_t, 11> kPrimes = {2, 3, 5, 7, 11, 13, 17, 19, 23, 29, 31};
    std::vector<Outcome> outcomes;
    size_t delivery = 0;
    while (angleFed_ < recording.samples()) {
        const int64_t rest = recording.samples() - angleFed_;
        int64_t count = rest;
        if (split == Split::OneByOne) count = 1;
        if (split == Split::Primes) count = std::min(rest, kPrimes[delivery++ % kPrimes.size()]);
        feed(recording, count);
        std::vector<Outcome> more = drain();
        outcomes.insert(outcomes.end(),
                        std::make_move_iterator(more.begin()),
                        std::make_move_iterator(more.end()));
    }
    return outcomes;
}

void Host::feed(const Recording& recording, int64_t angleSamples)
{
    feed(recording, angleSamples, recording.timeSamplesBy(angleFed_ + angleSamples) - timeFed_);
}

void Host::feed(const Recording& recording, int64_t angleSamples, int64_t timeSamples)
{
    if (angleSamples > angleSlots || timeSamples > timeSlots)
        throw std::logic_error("a delivery must fit into its ring");
    for (int64_t i = 0; i < angleSamples; ++i, ++angleFed_) {
        const auto k = static_cast<size_t>(angleFed_);
        const auto slot = static_cast<size_t>(slotOf(angleWriteIndex + angleFed_, angleSlots));
        angleRing_[0][slot] = recording.signalA.at(k);
        angleRing_[1][slot] = recording.signalB.at(k);
        angleRing_[2][slot] = recording.binSignal.at(k);
        angleRing_[3][slot] = recording.frequency.at(k);
        angleRing_[4][slot] = recording.angle.at(k);
        angleRing_[5][slot] = recording.time.at(k);
    }
    for (int64_t i = 0; i < timeSamples; ++i, ++timeFed_) {
        const auto s = static_cast<size_t>(timeFed_);
        const auto slot = static_cast<size_t>(slotOf(timeWriteIndex + timeFed_, timeSlots));
        timeRing_[0][slot] = recording.timeA.at(s);
        timeRing_[1][slot] = recording.timeB.at(s);
    }
    updateBuffers(handle_, static_cast<int32_t>(angleSamples), static_cast<int32_t>(timeSamples));
}

Call Host::call() const
{
    return unpack(calculate(handle_));
}

std::vector<Outcome> Host::drain() const
{
    std::vector<Outcome> outcomes;
    for (;;) {
        const Call result = call();
        if (result.hasResult()) outcomes.push_back(snapshot(result));
        if (result.consumed) return outcomes;
    }
}

Outcome Host::snapshot(const Call& call) const
{
    Outcome outcome;
    outcome.flags = call.flags;
    outcome.bin = call.bin;
    outcome.rpmUpdated = call.rpmUpdated;
    const Stamped<int32_t> turned = turns();
    outcome.turns = turned.value;
    outcome.turnTime = turned.time;
    const Stamped<double> newest = speed();
    outcome.rpm = newest.value;
    outcome.rpmTime = newest.time;

    if (call.bin >= 0) appendBin(outcome.words, call.bin);
    for (const int32_t which : resultSets(mode_)) {
        if (call.flags[TimeOrderSpectrum] != 0) {
            append(outcome.words, hopRow(which).value);
            append(outcome.words, hopRow(which).time);
        }
        if (call.flags[DeltaHarmonics] != 0) {
            append(outcome.words, deltaHarmonics(which).value);
            append(outcome.words, deltaHarmonics(which).time);
        }
        if (call.flags[DeltaOrderSpectrum] != 0) append(outcome.words, deltaSpectrum(which));
    }
    if (call.flags[TimeOrderTwoSided] != 0) append(outcome.words, hopTwoSidedRow().value);
    return outcome;
}

void Host::appendBin(std::vector<uint32_t>& words, int32_t bin) const
{
    for (const int32_t which : resultSets(mode_)) {
        if (producesOrderRows()) append(words, orderRow(bin, which));
        if (parameters.binHarmonics != 0) {
            for (int32_t index = 0; index < static_cast<int32_t>(harmonicOrders.size()); ++index)
                append(words, harmonic(index, bin, which));
        }
        if (producesTimeRows()) {
            append(words, timeRow(bin, which));
            append(words, overall(bin, which));
        }
    }
    if (mode_ == 1 && parameters.binOrderTwoSided != 0) append(words, orderTwoSidedRow(bin));
    if (mode_ == 1 && parameters.binTimeTwoSided != 0 && hostTables)
        append(words, timeTwoSidedRow(bin));
}

std::vector<uint32_t> Host::tableWords() const
{
    std::vector<uint32_t> words;
    for (int32_t bin = 0; bin < bins(); ++bin) appendBin(words, bin);
    return words;
}

bool Host::producesOrderRows() const
{
    return parameters.binHarmonics != 0 || parameters.binOrderSpectrum != 0 ||
           parameters.binOrderTwoSided != 0 || parameters.timeOrderSpectrum != 0 ||
           parameters.timeOrderTwoSided != 0;
}

bool Host::producesTimeRows() const
{
    return parameters.binTimeSpectrum != 0 || parameters.binTimeTwoSided != 0 ||
           parameters.overall != 0;
}

// ---- reading ------------------------------------------------------------------------------------

int32_t Host::orderLines() const
{
    return analysis.twoSided != 0 ? orderSize() : orderSize() / 2;
}

std::vector<double> Host::orderRow(int32_t bin, int32_t which) const
{
    const auto lines = static_cast<size_t>(orderLines());
    std::vector<float> table(static_cast<size_t>(bin + 1) * lines);
    readOrderDomainBinWaterfall(handle_, bin, table.data(), which);
    return widen(table, static_cast<size_t>(bin) * lines, lines);
}

std::vector<double> Host::orderTwoSidedRow(int32_t bin) const
{
    const auto columns = static_cast<size_t>(orderSize() - 1);
    std::vector<float> table(static_cast<size_t>(bin + 1) * columns);
    readOrderDomainBinWaterfallTwoSided(handle_, bin, table.data());
    return widen(table, static_cast<size_t>(bin) * columns, columns);
}

std::vector<double> Host::timeRow(int32_t bin, int32_t which) const
{
    const auto lines = static_cast<size_t>(timeSize() / 2);
    std::vector<float> table(static_cast<size_t>(bin + 1) * lines);
    readTimeDomainBinWaterfall(handle_, bin, table.data(), which);
    return widen(table, static_cast<size_t>(bin) * lines, lines);
}

std::vector<double> Host::timeTwoSidedRow(int32_t bin) const
{
    const auto columns = static_cast<size_t>(timeSize() - 1);
    return widen(timeTableTwoSided, static_cast<size_t>(bin) * columns, columns);
}

double Host::overall(int32_t bin, int32_t which) const
{
    std::vector<float> levels(static_cast<size_t>(bin + 1));
    readOverall(handle_, bin, levels.data(), which);
    return static_cast<double>(levels.back());
}

std::complex<double> Host::harmonic(int32_t index, int32_t bin, int32_t which) const
{
    std::array<float, 2> value{};
    readOrderDomainHarmonicBin(handle_, index, bin, which, value.data());
    return {static_cast<double>(value[0]), static_cast<double>(value[1])};
}

Stamped<std::vector<double>> Host::hopRow(int32_t which) const
{
    std::vector<float> row(static_cast<size_t>(orderLines()));
    double time = 0.0;
    readOrderDomainTimeWaterfall(handle_, row.data(), &time, which);
    return {widen(row, 0, row.size()), time};
}

Stamped<std::vector<double>> Host::hopTwoSidedRow() const
{
    std::vector<float> row(static_cast<size_t>(orderSize() - 1));
    double time = 0.0;
    readOrderDomainTimeWaterfallTwoSided(handle_, row.data(), &time);
    return {widen(row, 0, row.size()), time};
}

Stamped<std::vector<std::complex<double>>> Host::deltaHarmonics(int32_t which) const
{
    std::vector<float> values(2 * harmonicOrders.size());
    double time = 0.0;
    readOrderDomainHarmonicsTimeDelta(handle_, values.data(), &time, which);
    return {widenComplex(values), time};
}

std::vector<std::complex<double>> Host::deltaSpectrum(int32_t which) const
{
    std::vector<float> values(2 * static_cast<size_t>(orderLines()));
    readOrderSpectrumTimeDelta(handle_, values.data(), which);
    return widenComplex(values);
}

Stamped<int32_t> Host::turns() const
{
    int32_t turns = -1;
    double time = 0.0;
    readTurns(handle_, &turns, &time);
    return {turns, time};
}

Stamped<double> Host::speed() const
{
    float rpm = -1.0F;
    double time = 0.0;
    readRPM(handle_, &rpm, &time);
    return {static_cast<double>(rpm), time};
}

AnalyzerHandle keepReachable(AnalyzerHandle handle)
{
    // Never freed, so that it is still there when leaks are looked for after the last destructor.
    static std::mutex& mutex = *new std::mutex;
    static std::vector<AnalyzerHandle>& handles = *new std::vector<AnalyzerHandle>;
    const std::lock_guard lock(mutex);
    handles.push_back(handle);
    return handle;
}

} // namespace Boundary
