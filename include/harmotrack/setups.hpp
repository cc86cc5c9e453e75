/// @file
/// What harmotrack.hpp takes and gives: setups, samples, results, and the Error that speaks of
/// them.
#ifndef HARMOTRACK_SETUPS_HPP
#define HARMOTRACK_SETUPS_HPP

#if __cplusplus < 202002L && (!defined(_MSVC_LANG) || _MSVC_LANG < 202002L)
#error "harmotrack.hpp needs C++20, as by -std=c++20."
#endif

#include <harmotrack/harmotrack.h>

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack {

/// What the caller did wrong or what the machine lacks, in one sentence that names the thing, its
/// value and what is allowed.
class Error : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// ---- numbers of the setups ----------------------------------------------------------------------

/// What an analyzer takes in.
enum class Mode : std::int32_t {
    OneReal = HARMOTRACK_MODE_ONE_REAL,      ///< one real signal
    TwoReal = HARMOTRACK_MODE_TWO_REAL,      ///< two real signals, and the two-sided results
    OneComplex = HARMOTRACK_MODE_ONE_COMPLEX ///< one complex signal: signalA + j signalB
};

/// Which movement of the binned value enters bins: HARMOTRACK_DIRECTION_...
enum class Direction : std::int32_t {
    Both = HARMOTRACK_DIRECTION_BOTH,
    Rising = HARMOTRACK_DIRECTION_RISING,
    Falling = HARMOTRACK_DIRECTION_FALLING,
    Automatic = HARMOTRACK_DIRECTION_AUTOMATIC
};

/// Window of both transforms: HARMOTRACK_WINDOW_...
enum class Window : std::int32_t {
    Rectangle = HARMOTRACK_WINDOW_RECTANGLE,
    Hanning = HARMOTRACK_WINDOW_HANNING,
    Hamming = HARMOTRACK_WINDOW_HAMMING,
    Flattop = HARMOTRACK_WINDOW_FLATTOP,
    Triangle = HARMOTRACK_WINDOW_TRIANGLE,
    Blackman = HARMOTRACK_WINDOW_BLACKMAN,
    Exponential = HARMOTRACK_WINDOW_EXPONENTIAL,
    Transient = HARMOTRACK_WINDOW_TRANSIENT,
    BlackmanHarris = HARMOTRACK_WINDOW_BLACKMAN_HARRIS
};

/// Scale of amplitudes: HARMOTRACK_AMPLITUDE_...
enum class Amplitude : std::int32_t {
    Peak = HARMOTRACK_AMPLITUDE_PEAK,
    Rms = HARMOTRACK_AMPLITUDE_RMS,
    PeakToPeak = HARMOTRACK_AMPLITUDE_PEAK_TO_PEAK
};

/// When a block is taken for a bin: HARMOTRACK_BLOCK_...
enum class BlockMode : std::int32_t {
    AtCrossing = HARMOTRACK_BLOCK_AT_CROSSING,
    Contiguous = HARMOTRACK_BLOCK_CONTIGUOUS
};

/// How a new result meets the old one in its bin: HARMOTRACK_AVERAGING_...
enum class Averaging : std::int32_t {
    Overwrite = HARMOTRACK_AVERAGING_OVERWRITE,
    KeepFirst = HARMOTRACK_AVERAGING_KEEP_FIRST,
    Mean = HARMOTRACK_AVERAGING_MEAN,
    PeakHold = HARMOTRACK_AVERAGING_PEAK_HOLD
};

/// Weighting of the spectra over frequency: HARMOTRACK_WEIGHTING_...
enum class Weighting : std::int32_t {
    None = HARMOTRACK_WEIGHTING_NONE,
    A = HARMOTRACK_WEIGHTING_A,
    C = HARMOTRACK_WEIGHTING_C,
    Integrate = HARMOTRACK_WEIGHTING_INTEGRATE,
    DoubleIntegrate = HARMOTRACK_WEIGHTING_DOUBLE_INTEGRATE,
    Differentiate = HARMOTRACK_WEIGHTING_DIFFERENTIATE,
    DoubleDifferentiate = HARMOTRACK_WEIGHTING_DOUBLE_DIFFERENTIATE
};

/// As what a component's phase counts: HARMOTRACK_PHASE_REFERENCE_...
enum class PhaseReference : std::int32_t {
    Sine = HARMOTRACK_PHASE_REFERENCE_SINE,
    Cosine = HARMOTRACK_PHASE_REFERENCE_COSINE
};

/// Against what phases count: HARMOTRACK_PHASE_MODE_...
enum class PhaseMode : std::int32_t {
    Shaft = HARMOTRACK_PHASE_MODE_SHAFT,
    FirstOrder = HARMOTRACK_PHASE_MODE_FIRST_ORDER
};

/// Line 0 of order spectra, Mode::OneComplex: HARMOTRACK_DC_LINE_...
enum class DcLine : std::int32_t {
    Unscaled = HARMOTRACK_DC_LINE_UNSCALED,
    Scaled = HARMOTRACK_DC_LINE_SCALED
};

/// Where tracking starts without a start frequency: HARMOTRACK_START_AT_...
enum class StartFrequency : std::int32_t {
    Minimum = HARMOTRACK_START_AT_MINIMUM,
    Maximum = HARMOTRACK_START_AT_MAXIMUM,
    Zero = HARMOTRACK_START_AT_ZERO
};

/// Which of the two signals of Mode::TwoReal. The other modes have the first alone.
enum class Signal : std::uint8_t { First, Second };

// ---- setups -------------------------------------------------------------------------------------

/// The axis of the bins, and how a value enters a bin: BinningSetup of harmotrack.h. Every field
/// has a default but the axis, which belongs to the machine.
struct Binning {
    Direction direction = Direction::Both; ///< which movement of the value enters bins
    float minValue = 0.0F;                 ///< centre of bin 0
    float maxValue = 0.0F;                 ///< upper end of the axis, minValue or more
    float step = 0.0F;                     ///< distance of the bin centres, above 0
    float hysteresisPercent = 25.0F;       ///< per cent of step, 0 or more
    bool blocksAcrossBins = false;         ///< a change of bin flushes no block
    double scale = 1.0;                    ///< factor on binSignal, not 0
};

/// The order axis and the orders to be extracted: OrderSetup of harmotrack.h.
struct Orders {
    float orderResolution = 0.1F;      ///< distance of the lines: 1 divided by a whole number
    int maxOrder = 50;                 ///< half the equal-angle samples of a revolution, 4 or more
    std::vector<float> harmonicOrders; ///< each on a line of the order spectra
};

/// Blocks, spectra, averaging, phases and weighting: AnalysisSetup of harmotrack.h.
struct Analysis {
    Window windowType = Window::Hanning; ///< of both transforms
    /// Window::Exponential: above 0, up to 1; Window::Transient: samples, 0 or more
    float windowParameter = 0.0F;
    Amplitude amplitudeType = Amplitude::Peak;   ///< scale of amplitudes
    BlockMode blockMode = BlockMode::AtCrossing; ///< when a block is taken for a bin
    Averaging averagingType = Averaging::Mean;   ///< how results of a bin meet
    int timeLines = 0;                           ///< 4 or more; 0: from maxRpm
    float overlapPercent = 50.0F;                ///< of the rows by sample count, 0 .. 100
    bool deltaOnBinChange = false;               ///< release when the value has moved
    bool deltaOnTime = false;                    ///< release after the time below
    float deltaSeconds = 1.0F;                   ///< that time, 0 or more
    PhaseReference phaseReference = PhaseReference::Cosine; ///< of harmonics and delta spectra
    PhaseMode phaseMode = PhaseMode::Shaft;                 ///< of harmonics and delta spectra
    float minRpm = 0.0F; ///< lowest speed of the weighting table, 0 or more
    /// Highest speed of the weighting table, and the speed that sizes the time FFT with timeLines 0
    float maxRpm = 0.0F;
    Weighting weightingType = Weighting::None; ///< weighting over frequency
    DcLine dcLineMode = DcLine::Unscaled;      ///< line 0 of order spectra, Mode::OneComplex
    /// Mode::OneComplex: order spectra of N lines, ascending from the negative orders
    bool twoSided = false;
    bool removeMeanTime = true;  ///< subtract a block's mean before the time FFT
    bool removeMeanOrder = true; ///< subtract a block's mean before the order FFT
};

/// Which results are computed: AnalyzerParameters of harmotrack.h.
struct Results {
    bool binHarmonics = false;       ///< complex value per harmonic and bin
    bool binOrderSpectrum = false;   ///< order spectrum per bin
    bool binOrderTwoSided = false;   ///< Mode::TwoReal: two-sided order spectrum per bin
    bool timeOrderSpectrum = false;  ///< order spectrum by sample count
    bool timeOrderTwoSided = false;  ///< Mode::TwoReal: the same two-sided
    bool binTimeSpectrum = false;    ///< frequency spectrum per bin
    bool binTimeTwoSided = false;    ///< Mode::TwoReal: two-sided frequency spectrum per bin
    bool deltaHarmonics = false;     ///< harmonics averaged over a delta period
    bool deltaOrderSpectrum = false; ///< complex order spectrum averaged over a delta period
    bool overall = false;            ///< overall level per bin
};

/// Everything that an analyzer is set up by.
struct AnalyzerSetup {
    double sampleRate = 0.0; ///< rate of the equal-time samples, Hz, above 0
    Binning binning;         ///< axis of the bins
    Orders orders;           ///< axis of the orders
    Analysis analysis;       ///< blocks, spectra, averaging
    Results results;         ///< what is computed, at least one of them
    /// Blocks have at most as many samples as the largest power of two within 90 % of it.
    int inputBufferLimit = 5 << 20;
    int largestDelivery = 1 << 14; ///< most samples of either kind in one feed(), above 0
    /// Slots of the equal-angle ring; 0 takes 2 blocks, the largest delivery, and what waits for
    /// half a time block at maxRpm.
    int angleRing = 0;
    /// Slots of the equal-time ring; 0 takes 2 blocks, the largest delivery, and what passes during
    /// an order block at minRpm. A time block whose beginning the ring has lost, since the speed is
    /// lower, is not taken.
    int timeRing = 0;

    /// Whether one of the results comes from the equal-time samples.
    [[nodiscard]] bool wantsTimeSamples() const
    {
        return results.binTimeSpectrum || results.binTimeTwoSided || results.overall;
    }

    /// @throws Error  a field is out of range or does not fit to the others
    void validate(Mode mode) const;
};

/// What follows from an AnalyzerSetup.
struct AnalyzerSizes {
    int bins = 0;                ///< B
    int orderBlock = 0;          ///< N, samples of an order block
    int orderLines = 0;          ///< C, columns of order spectra: N / 2, or N with twoSided
    int timeBlock = 0;           ///< T, samples of a time block; without time results meaningless
    int timeLines = 0;           ///< columns of frequency spectra, T / 2
    double timeResolution = 0.0; ///< distance of the lines of frequency spectra, Hz
    double timeBlockDuration = 0.0; ///< seconds of a time block
    int angleRing = 0;              ///< slots of the equal-angle ring
    int timeRing = 0;               ///< slots of the equal-time ring; 1 without time results
};

/// What is to be tracked: TrackingSetup of harmotrack.h, which says how to choose the numbers.
struct TrackerSetup {
    double sampleRate = 0.0;    ///< of the signal, Hz
    std::vector<float> orders;  ///< that the machine shows: above 0, none twice
    double minFrequency = 0.0;  ///< lower end of the first search, 0 or more
    double maxFrequency = 0.0;  ///< upper end of the first search, above minFrequency
    bool frequencyInRpm = true; ///< unit of all frequencies, of the results too: rpm, else Hz

    bool useStartFrequency = false; ///< start at startFrequency, never search the whole range
    double startFrequency = 0.0;    ///< 0 or more
    StartFrequency startFrequencySource = StartFrequency::Minimum; ///< where tracking starts else

    bool manualParameters = false;       ///< use the four below; else the library chooses them
    double blockDuration = 0.2;          ///< seconds
    double overlapPercent = 50.0;        ///< 0 to below 100
    double searchStep = 0.5;             ///< above 0
    double predictionSigmaPercent = 1.0; ///< above 0

    int largestDelivery = 1 << 14; ///< most samples in one feed(), above 0
    int ring = 0;                  ///< slots; 0 takes 2 blocks and the largest delivery

    /// @throws Error  a field is out of range or does not fit to the others
    void validate() const;
};

// ---- samples and results ------------------------------------------------------------------------

/// Samples at equal angles, 2 * maxOrder to a revolution. All spans have equal length but signalB,
/// which is empty in Mode::OneReal.
struct AngleSamples {
    std::span<const double> signalA;   ///< first signal
    std::span<const double> signalB;   ///< second signal, or imaginary part
    std::span<const double> binSignal; ///< the quantity that is binned; NaN is off the axis
    std::span<const double> frequency; ///< rotation frequency, Hz
    std::span<const double> angle;     ///< shaft angle, degrees, 0 .. 360
    std::span<const double> time;      ///< seconds, rising; 0 is the run's first equal-time sample
};

/// Samples at equal times, at AnalyzerSetup::sampleRate.
struct TimeSamples {
    std::span<const double> signalA; ///< first signal
    std::span<const double> signalB; ///< second signal, or imaginary part
};

/// What is new after one step of an analyzer: CalculationResult of harmotrack.h.
struct News : Results {
    bool turnsUpdated = false; ///< turns() has news
    bool rpmUpdated = false;   ///< speed() has news
    int bin = -1;              ///< whose results are new, -1 if of none
};

/// A spectrum by sample count.
struct Row {
    std::span<const float> values; ///< amplitudes by line
    double time = 0.0;             ///< seconds, of the block's middle sample; 0 before the first
};

/// Complex values of a delta period.
struct DeltaValues {
    std::span<const std::complex<float>> values; ///< by harmonic
    double time = 0.0; ///< seconds, of the last release; 0 before the first
};

/// Turns of the shaft.
struct Turns {
    int count = 0;     ///< since the start of the run
    double time = 0.0; ///< seconds, of the newest; 0 before the first
};

/// Speed of the shaft.
struct Speed {
    float rpm = 0.0F;  ///< revolutions per minute
    double time = 0.0; ///< seconds
};

/// An estimate of a tracker.
struct Estimate {
    double frequency = 0.0; ///< rotation frequency, in the setup's unit
    double time = 0.0;      ///< seconds from the first sample of the run to the block's centre
};

/// The library that carries out the Fourier transforms.
enum class Transform {
    Automatic, ///< FFTW where there is one, else the own one
    Fftw,      ///< FFTW 3: found by the system, or beside the library
    Own,       ///< the one in the folder `harmotrack` beside the library
};

/// Which library carries out the transforms of this process.
struct TransformInUse {
    std::string name;     ///< with its version: "fftw-3.3.10-sse2-avx", "rustfft-6.4.1"
    std::string pathUtf8; ///< of its file, as the system's loader tells it
};

/// Handles of the process, in use or not.
struct PoolCounts {
    std::size_t made = 0;      ///< by create() or autotrackerCreate()
    std::size_t idle = 0;      ///< ready to be taken
    std::size_t abandoned = 0; ///< failed, never to be used again
};

} // namespace Harmotrack

#endif
