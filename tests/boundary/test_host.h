/// A small host for tests: it keeps the rings and tables, simulates a machine, delivers the samples
/// and records what comes of them. It knows the library by its public header alone.
#ifndef HARMOTRACK_TESTS_BOUNDARY_TEST_HOST_H
#define HARMOTRACK_TESTS_BOUNDARY_TEST_HOST_H

#include "harmotrack/harmotrack.h"

#include <array>
#include <complex>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Boundary {

inline constexpr double kPi = 3.14159265358979323846;
inline constexpr std::array<int32_t, 3> kModes = {0, 1, 2};

/// `which` of the results of a mode: {0} in modes 0 and 2, {1, 2} in mode 1.
std::vector<int32_t> resultSets(int32_t mode);

// ---- the machine --------------------------------------------------------------------------------

/// One moment of a machine.
struct Instant {
    double seconds;
    double revolutions; ///< of the shaft, fractions included
    double hertz;       ///< speed of the shaft
};

using Signal = std::function<double(const Instant&)>;

Signal silence();
Signal constant(double value);

/// amplitude * cos(order * shaft angle + phase)
Signal tone(double amplitude, double order, double phase);

Signal sum(Signal first, Signal second);

/// `before` up to a number of revolutions, `after` from there on.
Signal stepAt(double revolutions, double before, double after);

/// White noise of uniform distribution with mean 0 and standard deviation 1: always the same value
/// at the same moment, and a value of its own every microsecond.
Signal noise(uint64_t seed);

/// A shaft with constant acceleration; closed forms of its angle over time and back.
struct Shaft {
    double startHertz = 32.0;
    double hertzPerSecond = 0.0;
    double startRevolutions = 0.0; ///< at the first sample
    double startSeconds = 0.0;     ///< time stamp of the first sample

    [[nodiscard]] Instant atSeconds(double seconds) const;
    [[nodiscard]] Instant atRevolutions(double revolutions) const;
};

struct Machine {
    Shaft shaft;
    Signal signalA;
    Signal signalB;
    Signal binSignal;
};

/// All samples of a run, ready to be delivered: equal-angle samples at exactly equal angles, and
/// equal-time samples over the same stretch of time.
struct Recording {
    std::vector<double> signalA, signalB, binSignal, frequency, angle, time;
    std::vector<double> timeA, timeB;
    double timeRate = 0.0;

    [[nodiscard]] int64_t samples() const { return static_cast<int64_t>(time.size()); }

    /// Equal-time samples that a host has when it has `angleSamples` equal-angle ones.
    [[nodiscard]] int64_t timeSamplesBy(int64_t angleSamples) const;
};

Recording record(const Machine& machine,
                 int64_t samples,
                 int32_t samplesPerRevolution = 32,
                 double timeRate = 1024.0);

/// A steady shaft at 32 Hz, so 1024 samples a second at 32 a revolution: sample k of either ring is
/// that of time k / 1024 s, and order o is 32 * o hertz, on the same line of both spectra of a
/// Host. Its binned value crosses 1200, the centre of bin kCrossedBin, at sample kCrossing alone.
inline constexpr int64_t kCrossing = 256;
inline constexpr int64_t kCrossingSamples = 512;
inline constexpr int32_t kCrossedBin = 2;
Machine crossing(Signal signalA, Signal signalB = silence());

/// A linear run-up from 960 to 2040 rpm in 9 s, its speed in rpm as binned value: it rises through
/// the centres of the 11 bins of a Host.
inline constexpr int64_t kRunUpSamples = 7200;
inline constexpr int32_t kRunUpBins = 11;
Machine runUp(Signal signalA, Signal signalB = silence());

// ---- the host -----------------------------------------------------------------------------------

/// Positions in Outcome::flags and Call::flags.
enum Flag : uint8_t {
    BinHarmonics,
    BinOrderSpectrum,
    BinOrderTwoSided,
    TimeOrderSpectrum,
    TimeOrderTwoSided,
    BinTimeSpectrum,
    BinTimeTwoSided,
    DeltaHarmonics,
    DeltaOrderSpectrum,
    Overall
};

using Flags = std::array<uint8_t, 10>;

/// The flags named in a list, all others clear.
Flags flags(std::initializer_list<Flag> set);

/// What one call of calculate() returned, unpacked.
struct Call {
    Flags flags{};
    bool turnsUpdated = false;
    bool rpmUpdated = false;
    int32_t bin = -1;
    bool consumed = false;

    [[nodiscard]] bool hasResult() const;
};

/// A call that produced a result, with all that its flags announce.
struct Outcome {
    Flags flags{};
    int32_t bin = -1;
    bool rpmUpdated = false;
    int32_t turns = 0;
    double turnTime = 0.0;
    double rpm = 0.0;
    double rpmTime = 0.0;        ///< time stamp of the sample that had the result
    std::vector<uint32_t> words; ///< the bits of everything that was read

    bool operator==(const Outcome&) const = default;
};

/// Empty if two runs gave the same bits, else one sentence on the first difference.
std::string firstDifference(const std::vector<Outcome>& a, const std::vector<Outcome>& b);

/// How the samples of a run are split into deliveries.
enum class Split { AllAtOnce, OneByOne, Primes };

/// A number with the time stamp that it was read with.
template <typename Value>
struct Stamped {
    Value value;
    double time;
};

/// One analyzer with its setups, rings and tables. The analyzer stays reachable until the process
/// ends and is never destroyed; rings and tables go with the host.
///
/// Defaults: bins 1000, 1100 .. 2000, rising, entered at their centres; orders to 16 by 0.25, so
/// blocks of N = 128 with 64 lines; time blocks of 128 at 1024 Hz, so 64 lines by 8 Hz and 1/8 s;
/// Hanning window, peak amplitudes, overwriting, phases of cosines against the shaft. No flag of
/// `parameters` is set. Rings of 10007 slots, all NaN, so that a block which reaches beyond what
/// was delivered shows.
class Host {
public:
    explicit Host(int32_t mode);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;

    // Set these before start(); those of the setups are read by the analyzer at every use.
    BinningSetup binning{};
    OrderSetup orders{};
    AnalysisSetup analysis{};
    AnalyzerParameters parameters{};
    std::vector<float> harmonicOrders;
    double sampleRate = 1024.0;
    int32_t rateDivider = 1;
    int32_t limit = 1 << 20;
    int32_t angleSlots = 10007;
    int32_t timeSlots = 10007;
    double ringFill;             ///< content of slots that were never written
    int64_t angleWritten = 0;    ///< samples already in the rings at the hand-over
    int64_t timeWritten = 0;     ///< likewise
    int32_t angleWriteIndex = 0; ///< slot of the first sample of the first delivery
    int32_t timeWriteIndex = 0;  ///< likewise
    bool hostTables = false;     ///< give the analyzer tables in the host's memory
    bool nullSignalB = false;    ///< give null for both signalB
    float tableFill = 77.0F;     ///< content of the host's tables before reset()

    /// All steps of a run up to its first sample: prepare, handOver, begin, reset.
    void start();
    void prepare();       ///< setups, rate and limit; preinitiate
    void handOver();      ///< rings and tables, made anew
    void handOverRings(); ///< the rings alone, made anew, counters as at first
    /// initiate; returns its error
    int32_t begin();
    void restart(); ///< reset, after handOverRings: a new run with the same setup

    /// Deliver a recording and take everything that comes of it.
    std::vector<Outcome> run(const Recording& recording, Split split = Split::AllAtOnce);
    /// Write the next samples of a recording into the rings and report them.
    void feed(const Recording& recording, int64_t angleSamples);
    void feed(const Recording& recording, int64_t angleSamples, int64_t timeSamples);
    [[nodiscard]] Call call() const;
    /// Call until everything is consumed.
    [[nodiscard]] std::vector<Outcome> drain() const;
    [[nodiscard]] Outcome snapshot(const Call& call) const;
    /// The bits of all tables that the flags asked for, row by row, as the read functions give
    /// them.
    [[nodiscard]] std::vector<uint32_t> tableWords() const;

    [[nodiscard]] AnalyzerHandle handle() const { return handle_; }

    [[nodiscard]] int32_t mode() const { return mode_; }

    [[nodiscard]] int32_t firstSet() const { return mode_ == 1 ? 1 : 0; }

    [[nodiscard]] int32_t orderLines() const;

    [[nodiscard]] int32_t bins() const { return getBinCount(handle_); }

    [[nodiscard]] int32_t orderSize() const { return getOrderFFTSize(handle_); }

    [[nodiscard]] int32_t timeSize() const { return getTimeFFTSize(handle_); }

    // Results, widened to double.
    [[nodiscard]] std::vector<double> orderRow(int32_t bin, int32_t which) const;
    [[nodiscard]] std::vector<double> orderTwoSidedRow(int32_t bin) const;
    [[nodiscard]] std::vector<double> timeRow(int32_t bin, int32_t which) const;
    /// From the host's own table: no function reads it.
    [[nodiscard]] std::vector<double> timeTwoSidedRow(int32_t bin) const;
    [[nodiscard]] double overall(int32_t bin, int32_t which) const;
    [[nodiscard]] std::complex<double> harmonic(int32_t index, int32_t bin, int32_t which) const;
    [[nodiscard]] Stamped<std::vector<double>> hopRow(int32_t which) const;
    [[nodiscard]] Stamped<std::vector<double>> hopTwoSidedRow() const;
    [[nodiscard]] Stamped<std::vector<std::complex<double>>> deltaHarmonics(int32_t which) const;
    [[nodiscard]] std::vector<std::complex<double>> deltaSpectrum(int32_t which) const;
    [[nodiscard]] Stamped<int32_t> turns() const;
    [[nodiscard]] Stamped<double> speed() const;

    // The host's own tables, if hostTables.
    std::vector<float> orderTableA, orderTableB, orderTableTwoSided;
    std::vector<float> timeTableA, timeTableB, timeTableTwoSided;

private:
    void makeTables();
    void handOverTables() const;
    [[nodiscard]] bool producesOrderRows() const;
    [[nodiscard]] bool producesTimeRows() const;
    void appendBin(std::vector<uint32_t>& words, int32_t bin) const;

    int32_t mode_;
    AnalyzerHandle handle_;
    std::array<std::vector<double>, 6> angleRing_;
    std::array<std::vector<double>, 2> timeRing_;
    int64_t angleFed_ = 0;
    int64_t timeFed_ = 0;
};

/// Keeps a handle reachable until the process ends. Safe from any thread.
AnalyzerHandle keepReachable(AnalyzerHandle handle);

} // namespace Boundary

#endif
