/** @file
 * Harmotrack: order analysis of rotating machinery. The whole boundary of the library harmotrack64.
 *
 * Order analysis looks at the vibration or sound of a machine against the rotation of its shaft: a
 * component is described by its order, its multiple of the rotation frequency. Two kinds of object
 * do the work, side by side and without knowing of each other:
 *
 *   - The ORDER ANALYZER takes two rings of samples that the host fills: one with samples at equal
 *     angles of the shaft, one with samples at equal times. It files order spectra, frequency
 *     spectra, complex harmonics and overall levels under the bins of a value axis (mostly speed),
 *     and makes order spectra by sample count and phase-aligned means over time.
 *   - The AUTOTRACKER takes one ring of samples and finds the rotation frequency from the signal
 *     alone.
 *
 * The library does not resample: samples at equal angles come from the host. It has no user
 * interface, reads no file, environment variable or registry key, starts no thread, prints nothing
 * and never aborts; FFTW, which it loads, does when memory runs out in it (see FAILURES).
 *
 * A session with an analyzer, the same from C and C++:
 *
 *     AnalyzerHandle analyzer = create(0);              // one real signal
 *     setBinningSetup(analyzer, &binning);              // kept by pointer: these four records
 *     setOrderSetup(analyzer, &orders);                 // must outlive the analyzer
 *     setAnalysisSetup(analyzer, &analysis);
 *     setParameters(analyzer, &parameters);
 *     setSampleRate(analyzer, 25600.0, 1);
 *     setInputBufferLimit(analyzer, 1 << 20);
 *     preinitiate(analyzer);                            // derives all sizes
 *     ... getBinCount, getOrderFFTSize, getTimeFFTSize: allocate rings and tables ...
 *     setResampledBuffers(analyzer, angleRing);         // copied: the counters are the
 *     setTimeBuffers(analyzer, timeRing);               // analyzer's from now on
 *     setResultBuffers(analyzer, tables);
 *     initiate(analyzer, &error);                       // allocates everything
 *     reset(analyzer);
 *     for each delivery of samples:
 *         write them into both rings
 *         updateBuffers(analyzer, newAngleSamples, newTimeSamples);
 *         do {
 *             result = calculate(analyzer);
 *             ... read what the flags of result announce ...
 *         } while (!result.consumed);
 *     reset(analyzer);                                  // for another run with the same setup
 *     destroy(analyzer);                                // see there before you create a second one
 *
 * WHAT THE BOUNDARY CHECKS: nothing. No handle, no pointer, no size, no calling order. Whatever a
 * function needs stands in its comment, and breaking it is undefined behaviour. Most of all:
 *   - a ring `size` (or a tracker's `capacity`) of 0 or less makes calls loop for ever or fault;
 *   - a ring must hold a whole block besides the samples that wait for their turn, and its slots
 *     must stay unchanged until then (see ResampledBuffers and TimeBuffers);
 *   - `twoSided` belongs to mode 2, and the two-sided results to mode 1; with both, rows overrun.
 *
 * FAILURES leave as C++ exceptions, from these functions alone:
 *   - create: std::bad_alloc; std::runtime_error "Failed to load FFTWLib" or
 *     "Symbol <name> not found in loaded FFTWLib". After one of the latter two the process can not
 *     use analyzers any more: the library does not try again, and a further create returns an
 *     analyzer whose initiate faults. Install FFTW 3 (double precision) and start anew.
 *   - initiate: see there. autotrackerCreate, autotrackerInitiate: std::bad_alloc.
 *   - calculate: std::bad_alloc, in runs with harmonics (its only allocation).
 *   - autotrackerCalculate: std::runtime_error "Failed to initialize VexCalc.", when the tracker
 *     decimates and no kernel library is found.
 * A C host that can't catch them ends with std::terminate. FFTW reports no lack of memory: if it
 * finds none while it plans, in initiate, or for the work of a transform, in calculate, it prints
 * a line and ends the process. A host that must not end so makes sure before that there is some,
 * as harmotrack.hpp does for initiate: 12 * 16 bytes a sample of both blocks, and 1 MiB.
 *
 * THREADS: one thread at a time per handle. Different handles are independent and may work at the
 * same time; making and initiating them is serialised inside where FFTW needs it. The first sample
 * of the first decimating tracker of a process loads the kernel library without a lock: see
 * autotrackerCalculate.
 *
 * UNDER EACH FUNCTION stands one line:
 *   Threads    own: one thread at a time per handle; any: any number of threads at once
 *   Allocates  whether it takes memory of the heap
 *   Throws     the exceptions that may leave it
 *   Realtime   yes: it takes no lock, makes no system call, and the sizes of the setup bound its
 *              time
 *
 * NUMBERS: work inside is in double precision, tables are in float. The same build on the same
 * machine gives the same bits for the same samples, however they were split into deliveries. A stop
 * is the one exception: calculate() looks for it in the newest two samples of the ring, which
 * depend on where deliveries end. Where the speed falls to exactly 0, a run in which that was seen
 * is without the turns and results of N samples that another one has.
 *
 * NAMES: exports are plain names such as `create` and `reset`. A program that defines one of them
 * with C linkage itself captures every linked call; it loads the library by dlopen or LoadLibrary
 * instead and includes this header with HARMOTRACK_NO_PROTOTYPES defined, which leaves records,
 * handles and constants.
 *
 * All records are packed and little-endian, without padding: fields stand at odd offsets, so take
 * values, not addresses, of fields. A uint8_t that is a flag is false at 0 and true otherwise.
 * "complex float" in a comment means two float, real part first: an array of n of them is a float
 * array of shape (n, 2).
 */
#ifndef HARMOTRACK_HARMOTRACK_H
#define HARMOTRACK_HARMOTRACK_H

#include <stdint.h>

/** Version of this header, and of the library that was built with it. Before 1.0 a minor version
 *  may change what a host relies on, afterwards a major one. */
#define HARMOTRACK_VERSION "0.1.0"
#define HARMOTRACK_VERSION_MAJOR 0 /**< first number of HARMOTRACK_VERSION */
#define HARMOTRACK_VERSION_MINOR 1 /**< its second number */
#define HARMOTRACK_VERSION_PATCH 0 /**< its third number */

#if defined(_WIN32)
#if defined(HARMOTRACK_BUILDING)
#define HARMOTRACK_API __declspec(dllexport)
#else
#define HARMOTRACK_API __declspec(dllimport)
#endif
#else
/** Marks what the library exports. */
#define HARMOTRACK_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** An order analyzer; from create(). */
typedef struct HarmotrackAnalyzer* AnalyzerHandle;

/** An autotracker; from autotrackerCreate(). */
typedef struct HarmotrackTracker* TrackerHandle;

/* ------------------------------------------------------------------------------------------------
 * Numbers of the setups. Fields that take them are int32_t.
 * --------------------------------------------------------------------------------------------- */

/** Argument of create(). */
enum {
    HARMOTRACK_MODE_ONE_REAL = 0, /**< one real signal: signalA */
    /** two real signals: every result twice, and the two-sided results */
    HARMOTRACK_MODE_TWO_REAL = 1,
    /** one complex signal: signalA + j signalB; so is any other value */
    HARMOTRACK_MODE_ONE_COMPLEX = 2
};

/** BinningSetup.direction; any value not listed is as 0. */
enum {
    HARMOTRACK_DIRECTION_BOTH = 0,    /**< rising and falling values enter bins */
    HARMOTRACK_DIRECTION_RISING = 1,  /**< rising values only: run-ups */
    HARMOTRACK_DIRECTION_FALLING = 2, /**< falling values only: coast-downs */
    /** rising if the first value lies in the lower half of the bins, else falling */
    HARMOTRACK_DIRECTION_AUTOMATIC = 3
};

/**
 * AnalysisSetup.windowType. initiate() refuses any value above 8, and any negative one, with
 * std::invalid_argument "Unsupported window type.". All windows are periodic and amplitude-true: a
 * sine on a line reads its amplitude (for TRANSIENT: times windowParameter / block size).
 */
enum {
    HARMOTRACK_WINDOW_RECTANGLE = 0,
    HARMOTRACK_WINDOW_HANNING = 1,
    HARMOTRACK_WINDOW_HAMMING = 2,
    HARMOTRACK_WINDOW_FLATTOP = 3,
    HARMOTRACK_WINDOW_TRIANGLE = 4,
    HARMOTRACK_WINDOW_BLACKMAN = 5,
    /** decays to windowParameter, in (0, 1], over a block; the overall level is NaN */
    HARMOTRACK_WINDOW_EXPONENTIAL = 6,
    /** 1 for the first windowParameter samples (0: for all), then 0 */
    HARMOTRACK_WINDOW_TRANSIENT = 7,
    HARMOTRACK_WINDOW_BLACKMAN_HARRIS = 8 /**< seven terms */
};

/** AnalysisSetup.amplitudeType, the factor on every line but line 0; any other value is as 0. */
enum {
    HARMOTRACK_AMPLITUDE_PEAK = 0,        /**< 1 */
    HARMOTRACK_AMPLITUDE_RMS = 1,         /**< 1 / sqrt(2) */
    HARMOTRACK_AMPLITUDE_PEAK_TO_PEAK = 2 /**< 2 */
};

/** AnalysisSetup.blockMode; with any other value no block is ever stored in a bin. */
enum {
    /** one block, centred on the sample at which the value crosses a bin's centre */
    HARMOTRACK_BLOCK_AT_CROSSING = 0,
    /** blocks edge to edge inside a bin, and a flushing block at each change of bin; after a
     * stretch off the axis its blocks are made up for, one a sample, into the bin of the return:
     * the ring must still hold them */
    HARMOTRACK_BLOCK_CONTIGUOUS = 1
};

/**
 * AnalysisSetup.averagingType: how a new result meets the old one in its bin, line by line. With a
 * value above 3, or a negative one, nothing is ever written.
 */
enum {
    HARMOTRACK_AVERAGING_OVERWRITE = 0,
    HARMOTRACK_AVERAGING_KEEP_FIRST = 1, /**< only the first result of a bin is kept */
    /** running linear mean; of real and imaginary part for harmonics */
    HARMOTRACK_AVERAGING_MEAN = 2,
    /** the larger one; for harmonics the one of larger modulus */
    HARMOTRACK_AVERAGING_PEAK_HOLD = 3
};

/**
 * AnalysisSetup.weightingType, a complex factor H(f) on every line; any other value multiplies
 * by 1. A frequency spectrum takes H at its lines. An order spectrum takes H at order * speed / 60,
 * from a table of max(binCount, 100) speeds: row r stands for minRpm + r * (maxRpm - minRpm) /
 * rows, and the speed at the middle of a block takes the nearest row (the first below minRpm, the
 * last above). So the factor is that of the row's speed, not of the exact one: half a row off at
 * most, which is up to 4.5 % of speed at 600 rpm in a table of 100 rows from 600 to 6000.
 */
enum {
    HARMOTRACK_WEIGHTING_NONE = 0,                /**< no table is built */
    HARMOTRACK_WEIGHTING_A = 1,                   /**< sound level weighting A */
    HARMOTRACK_WEIGHTING_C = 2,                   /**< sound level weighting C */
    HARMOTRACK_WEIGHTING_INTEGRATE = 3,           /**< 1 / (j 2 pi f), and 0 at f = 0 */
    HARMOTRACK_WEIGHTING_DOUBLE_INTEGRATE = 4,    /**< 1 / (j 2 pi f)^2, and 0 at f = 0 */
    HARMOTRACK_WEIGHTING_DIFFERENTIATE = 5,       /**< j 2 pi f */
    HARMOTRACK_WEIGHTING_DOUBLE_DIFFERENTIATE = 6 /**< (j 2 pi f)^2 */
};

/**
 * AnalysisSetup.phaseReference, for harmonics of integer order and delta spectra: which phase a
 * component a cos(o phi + psi) of order o has, phi being the shaft's angle.
 */
enum {
    HARMOTRACK_PHASE_REFERENCE_SINE = 0,  /**< psi + pi / 2: the phase of the component as a sine */
    HARMOTRACK_PHASE_REFERENCE_COSINE = 1 /**< psi; so has any other value */
};

/** AnalysisSetup.phaseMode, for harmonics of integer order and delta spectra. */
enum {
    /** relative to the shaft: ResampledBuffers.angle; so has any other value */
    HARMOTRACK_PHASE_MODE_SHAFT = 0,
    /** relative to the phase of order 1 in the same spectrum */
    HARMOTRACK_PHASE_MODE_FIRST_ORDER = 1
};

/** AnalysisSetup.dcLineMode, for the order spectra of mode 2. */
enum {
    /** line 0 is left as the transform gives it; so does any other value */
    HARMOTRACK_DC_LINE_UNSCALED = 0,
    /** line 0 gets twice the amplitude scale, as every other line has */
    HARMOTRACK_DC_LINE_SCALED = 1
};

/** TrackingSetup.startFrequencySource: where tracking starts without a start frequency. */
enum {
    HARMOTRACK_START_AT_MINIMUM = 0,
    HARMOTRACK_START_AT_MAXIMUM = 1,
    HARMOTRACK_START_AT_ZERO = 2 /**< so does any other value */
};

#pragma pack(push, 1)

/* ------------------------------------------------------------------------------------------------
 * Setups of the analyzer: kept by pointer and read at every use. They stay the host's; keep them
 * alive and unchanged from their set... call until the analyzer is destroyed or given others.
 * --------------------------------------------------------------------------------------------- */

/**
 * The axis of the bins, and how a value enters a bin. 29 bytes.
 *
 * The binned value of a sample is binSignal * scale. Bin b has its centre at minValue + b * step;
 * there are trunc((maxValue - minValue) / step) + 1 bins, at least one. The last bin ends half a
 * step above its centre; the first begins 1.5 steps below its own. A value off the axis, a NaN
 * among them, belongs to no bin and restarts the classification.
 */
typedef struct BinningSetup {
    int32_t direction; /**< HARMOTRACK_DIRECTION_... */
    float minValue;    /**< centre of bin 0 */
    float maxValue;    /**< upper end of the axis */
    float step;        /**< distance of the bin centres; above 0 */
    /** Per cent of step. HARMOTRACK_BLOCK_AT_CROSSING: how far the value must have left the centre
     *  last crossed before the next crossing counts. HARMOTRACK_BLOCK_CONTIGUOUS: how far beyond
     *  the edge of its bin a value must go to leave it. */
    float hysteresisPercent;
    /** flag: a change of bin flushes no block (HARMOTRACK_BLOCK_CONTIGUOUS) */
    uint8_t blocksAcrossBins;
    double scale; /**< factor on binSignal */
} BinningSetup;

/** The order axis, and the orders to be extracted. 20 bytes. */
typedef struct OrderSetup {
    /** Distance of the order lines; above 0. Line k is order k * orderResolution, as long as
     *  maxOrder is 4 or more, 1 / orderResolution a whole number, and the input buffer limit does
     *  not cut the block: nothing corrects for it otherwise. */
    float orderResolution;
    /** highest order: the equal-angle ring has 2 * maxOrder samples per revolution */
    int32_t maxOrder;
    int32_t harmonicCount; /**< entries of harmonicOrders, 0 or more */
    /** shape (harmonicCount); read by initiate() only, may be freed afterwards; may be null for a
     *  count of 0. The line of an order is the nearest one, halves away from zero; a negative order
     *  counts from the end of a twoSided spectrum. An order is fractional if it has a fractional
     *  part, whatever its line. */
    const float* harmonicOrders;
} OrderSetup;

/** Blocks, spectra, averaging, phases and weighting. 66 bytes. */
typedef struct AnalysisSetup {
    int32_t windowType;    /**< HARMOTRACK_WINDOW_..., for both transforms */
    float windowParameter; /**< of HARMOTRACK_WINDOW_EXPONENTIAL and HARMOTRACK_WINDOW_TRANSIENT */
    int32_t amplitudeType; /**< HARMOTRACK_AMPLITUDE_... */
    int32_t blockMode;     /**< HARMOTRACK_BLOCK_... */
    int32_t averagingType; /**< HARMOTRACK_AVERAGING_... */
    int32_t timeLines;     /**< lines of the frequency spectra, if fixedTimeLines */
    /** flag: the time FFT has 2 * timeLines points; else they follow from maxRpm, see
     *  getTimeFFTSize() */
    uint8_t fixedTimeLines;
    /** overlap of the order rows by sample count: 0 edge to edge, 100 a row at every sample */
    float overlapPercent;
    /** flag: delta results are released when a block's mean binned value moved by more than step
     *  since the last release */
    uint8_t deltaOnBinChange;
    uint8_t deltaOnTime;    /**< flag: delta results are released after the time below */
    float deltaMinutes;     /**< minutes part of that time */
    float deltaSeconds;     /**< seconds part of that time */
    int32_t phaseReference; /**< HARMOTRACK_PHASE_REFERENCE_... */
    int32_t phaseMode;      /**< HARMOTRACK_PHASE_MODE_... */
    float minRpm;           /**< lowest speed of the weighting table of the order spectra, rpm */
    float maxRpm; /**< highest speed of that table, and the speed that sizes the time FFT, rpm */
    int32_t weightingType; /**< HARMOTRACK_WEIGHTING_... */
    int32_t dcLineMode;    /**< HARMOTRACK_DC_LINE_... */
    /** Flag, mode 2: order spectra keep all N lines of the complex transform, the negative orders
     *  too. Leave it 0 in modes 0 and 1. In mode 0 the lines above N / 2 are the conjugates of
     *  their mirror lines; in mode 1 with weighting the second signal is weighted by the columns of
     *  the row and of the rows that follow it, and by 1 past the end of the table. */
    uint8_t twoSided;
    uint8_t removeMeanTime; /**< flag: subtract a block's mean before the time FFT */
    /** flag: subtract a block's mean before the order FFT (never for delta results) */
    uint8_t removeMeanOrder;
} AnalysisSetup;

/**
 * What is to be computed: ten flags, each with the function that reads its result. 10 bytes.
 * The same ten flags in the same order open CalculationResult.
 */
typedef struct AnalyzerParameters {
    /** complex value per harmonic and bin: readOrderDomainHarmonic, readOrderDomainHarmonicBin */
    uint8_t binHarmonics;
    uint8_t binOrderSpectrum; /**< order spectrum per bin: readOrderDomainBinWaterfall */
    /** mode 1, two-sided order spectrum per bin, besides binOrderSpectrum or binHarmonics:
     *  readOrderDomainBinWaterfallTwoSided */
    uint8_t binOrderTwoSided;
    /** order spectrum at regular sample steps: readOrderDomainTimeWaterfall */
    uint8_t timeOrderSpectrum;
    /** mode 1, the same two-sided: readOrderDomainTimeWaterfallTwoSided */
    uint8_t timeOrderTwoSided;
    uint8_t binTimeSpectrum; /**< frequency spectrum per bin: readTimeDomainBinWaterfall */
    /** mode 1, two-sided frequency spectrum per bin: ResultBuffers.binTimeTwoSided */
    uint8_t binTimeTwoSided;
    /** harmonics averaged over a delta period: readOrderDomainHarmonicsTimeDelta */
    uint8_t deltaHarmonics;
    /** complex order spectrum averaged over a delta period: readOrderSpectrumTimeDelta */
    uint8_t deltaOrderSpectrum;
    uint8_t overall; /**< overall level per bin: readOverall */
} AnalyzerParameters;

/* ------------------------------------------------------------------------------------------------
 * Rings and tables: passed by value and copied. The memory that they point to stays the host's;
 * keep it until the analyzer is destroyed or given other memory and initiated again. After the
 * hand-over the counters of the copy are the analyzer's: report new samples by updateBuffers().
 * --------------------------------------------------------------------------------------------- */

/**
 * The ring of samples at equal angles, 2 * maxOrder to a revolution. 72 bytes.
 *
 * Each array has shape (size). The sample with running number k, counted from 0, stands in slot
 * writeIndex - (written - k), wrapped into 0 .. size - 1; size need be no power of two.
 *
 * A sample is taken when half an order block of newer samples stands behind it, and blocks reach
 * back from it: N samples for order rows, N / 2 for the blocks of bins at a crossing, N for
 * contiguous ones. So a ring holds at least 1.5 * N samples and the largest delivery; the samples
 * of a delivery stay in place until calculate() reports `consumed`.
 */
typedef struct ResampledBuffers {
    const double* signalA; /**< first signal */
    /** mode 1: second signal; mode 2: imaginary part; mode 0: never read, may be null */
    const double* signalB;
    const double* binSignal; /**< the quantity that is binned, before scale */
    const double* frequency; /**< rotation frequency, Hz */
    /** shaft angle, degrees, within 0 to 360; a turn is counted when it falls from above 180 */
    const double* angle;
    const double* time; /**< time stamp, seconds, on the axis of the other ring */
    int32_t size;       /**< slots; above 0 */
    int32_t writeIndex; /**< slot of the next sample to be written, 0 .. size - 1 */
    int64_t written;    /**< samples written since the start */
    int64_t processed;  /**< samples consumed by calculate() since the start */
} ResampledBuffers;

/**
 * The ring of samples at equal times, at sampleRate / rateDivider. 32 bytes.
 *
 * Sample number s, counted from 0, was taken at s / (sampleRate / rateDivider) seconds. A block
 * reaches half a block to either side of its time (contiguous ones: from half a block after their
 * start); so the ring holds at least two blocks and the largest delivery.
 */
typedef struct TimeBuffers {
    const double* signalA; /**< first signal */
    const double* signalB; /**< as in ResampledBuffers */
    int32_t size;          /**< slots; above 0 */
    int32_t writeIndex;    /**< slot of the next sample to be written, 0 .. size - 1 */
    int64_t written;       /**< samples written since the start */
} TimeBuffers;

/**
 * Tables in the host's memory. 48 bytes.
 *
 * Each is an array of float, row after row, one row per bin, or null: then the analyzer keeps that
 * table itself, to be read by the read... functions. With N = getOrderFFTSize(),
 * T = getTimeFFTSize(), B = getBinCount() and C = N with twoSided, else N / 2. Values are moduli in
 * the signal's unit, scaled by amplitudeType. The analyzer writes rows inside calculate() and
 * clears the tables in reset().
 *
 * A two-sided row holds L - 1 + k for order (or line) k and L - 1 - k for its negative, with L the
 * lines of the one-sided spectrum: the amplitudes of the two senses of rotation of signalA + j
 * signalB.
 */
typedef struct ResultBuffers {
    float* binOrderA;        /**< shape (B, C): order spectra */
    float* binOrderB;        /**< shape (B, C), mode 1: order spectra of the second signal */
    float* binOrderTwoSided; /**< shape (B, N - 1), mode 1 */
    float* binTimeA;         /**< shape (B, T / 2): frequency spectra */
    float* binTimeB;        /**< shape (B, T / 2), mode 1: frequency spectra of the second signal */
    float* binTimeTwoSided; /**< shape (B, T - 1), mode 1 */
} ResultBuffers;

/** Where a run stands after one call of calculate(). 17 bytes. */
typedef struct CalculationResult {
    /** flags 0 to 9, as in AnalyzerParameters: this call produced that result */
    uint8_t binHarmonics;
    uint8_t binOrderSpectrum; /**< likewise */
    /** set as asked for in modes 0 and 2 too, where no such row exists */
    uint8_t binOrderTwoSided;
    uint8_t timeOrderSpectrum;  /**< likewise */
    uint8_t timeOrderTwoSided;  /**< as binOrderTwoSided */
    uint8_t binTimeSpectrum;    /**< likewise */
    uint8_t binTimeTwoSided;    /**< as binOrderTwoSided */
    uint8_t deltaHarmonics;     /**< likewise */
    uint8_t deltaOrderSpectrum; /**< likewise */
    uint8_t overall;            /**< likewise */
    uint8_t turnsUpdated;       /**< flag: the turn counter moved; readTurns() has news */
    /** flag: readRPM() has a value to be taken: that of the sample of a bin's or a delta harmonic's
     *  result, or 0 for a stop */
    uint8_t rpmUpdated;
    int32_t bin; /**< bin whose block was stored in this call, -1 if none */
    /** flag: all samples that could be taken were taken; 0: a result ended the call early, read it
     *  and call again */
    uint8_t consumed;
} CalculationResult;

/** The time FFT. 20 bytes. */
typedef struct TimeFFTSetup {
    int32_t size;         /**< T, points */
    double resolution;    /**< Hz per line */
    double blockDuration; /**< seconds of one block, 1 / resolution */
} TimeFFTSetup;

/* ------------------------------------------------------------------------------------------------
 * Records of the autotracker.
 * --------------------------------------------------------------------------------------------- */

/**
 * What is to be tracked. 92 bytes. Kept by pointer and read at every step; in automatic mode
 * autotrackerPreinitiate() writes four of its fields. Frequencies are in Hz or in rpm.
 */
typedef struct TrackingSetup {
    /** HARMOTRACK_START_AT_..., where tracking starts without useStartFrequency */
    int32_t startFrequencySource;
    /** 0: autotrackerPreinitiate() chooses blockDuration, overlapPercent, searchStep and
     *  predictionSigmaPercent */
    int32_t manualParameters;
    /** lower end of the first search; 0 is allowed, but makes a poor search in rpm */
    double minFrequency;
    /** upper end of the first search; scale of the prior and of the decimation */
    double maxFrequency;
    double startFrequency; /**< where tracking starts with useStartFrequency */
    uint8_t reserved[8];   /**< never read or written */
    int32_t orderCount;    /**< m, entries of orders */
    /** shape (m): the orders that the machine shows; kept alive by the host; the first entry is
     *  read even for m = 0 */
    const float* orders;
    int32_t frequencyInRpm; /**< flag: frequencies here and in the result are in rpm, else in Hz */
    double blockDuration;   /**< seconds of one block */
    /** overlap of successive blocks; at 100 every call analyses the same block */
    double overlapPercent;
    /** per cent for the grid of the search, and the tolerance of the refinement in the unit of
     *  frequency; above 0, or the search never ends */
    double searchStep;
    /** standard deviation of the prediction, per cent of maxFrequency; above 0 */
    double predictionSigmaPercent;
    /** flag: start at startFrequency and never search the whole range */
    int32_t useStartFrequency;
} TrackingSetup;

/**
 * The tracker's ring of samples. 32 bytes. Passed by value and copied; samples stays the host's.
 * readIndex, writeCount and readCount of the copy are the tracker's from then on.
 */
typedef struct SignalBuffer {
    const double* samples; /**< shape (capacity) */
    int32_t capacity;   /**< slots; above 0, and at least two blocks of samples before decimation */
    int32_t readIndex;  /**< slot of the next sample to be read */
    int64_t writeCount; /**< samples written since the ring began */
    int64_t readCount;  /**< samples consumed since the ring began */
} SignalBuffer;

/** One estimate. 18 bytes. */
typedef struct TrackingResult {
    double frequency; /**< rotation frequency, in the setup's unit */
    double time;      /**< centre of the block, seconds */
    uint8_t valid;    /**< flag: this call made an estimate; else there were too few samples */
    uint8_t needsMoreSamples; /**< flag: no further whole block is waiting */
} TrackingResult;

#pragma pack(pop)

#if !defined(HARMOTRACK_NO_PROTOTYPES)

/* ------------------------------------------------------------------------------------------------
 * Analyzer: making and ending
 * --------------------------------------------------------------------------------------------- */

/**
 * Make an analyzer. It loads FFTW at the first one of the process ("libfftw3.so.3", on Windows
 * "libfftw3-3_64.dll", by the system's search).
 *
 * @param mode  HARMOTRACK_MODE_...
 * @return      the handle, never null
 *
 * What it throws is told under FAILURES above.
 *
 * Threads: any. Allocates: yes. Throws: std::bad_alloc, std::runtime_error. Realtime: no.
 */
HARMOTRACK_API AnalyzerHandle create(int32_t mode);

/**
 * Free the analyzer's own block of memory, and nothing else: no destructor runs, so the transforms,
 * tables and vectors that it owns stay allocated until the process ends, and FFTW stays loaded. A
 * host that analyses one recording after the other keeps its handles and sets them up anew, from
 * setBinningSetup() on; each step only resizes what is there.
 *
 * @param analyzer  from create(); not to be used afterwards
 *
 * The host's setups, rings and tables are not touched.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: no.
 */
HARMOTRACK_API void destroy(AnalyzerHandle analyzer);

/* ------------------------------------------------------------------------------------------------
 * Analyzer: setting up. Each stores its argument and derives nothing.
 * --------------------------------------------------------------------------------------------- */

/**
 * Keep the pointer to the axis of the bins.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setBinningSetup(AnalyzerHandle analyzer, BinningSetup* setup);

/**
 * Keep the pointer to the order axis.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setOrderSetup(AnalyzerHandle analyzer, OrderSetup* setup);

/**
 * Keep the pointer to the analysis setup.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setAnalysisSetup(AnalyzerHandle analyzer, AnalysisSetup* setup);

/**
 * Keep the pointer to the flags of what is to be computed. Storage follows the flags at initiate():
 * a flag that is set afterwards has no tables to write to.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setParameters(AnalyzerHandle analyzer, AnalyzerParameters* parameters);

/**
 * Store the rate of the equal-time ring: sampleRate / rateDivider. Sizes follow at the next
 * preinitiate().
 *
 * @param sampleRate   Hz, above 0; 20000 in a new analyzer
 * @param rateDivider  1 or more; 1 in a new analyzer
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setSampleRate(AnalyzerHandle analyzer, double sampleRate, int32_t rateDivider);

/**
 * Store the limit of the block lengths: both FFT sizes stay at or below the largest power of two
 * that does not exceed 90 % of it. It bounds nothing else, and is not compared with any ring.
 *
 * @param limit  samples, 2 or more; 20000 in a new analyzer, which allows blocks of 16384
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setInputBufferLimit(AnalyzerHandle analyzer, int32_t limit);

/**
 * Copy the description of the equal-angle ring.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setResampledBuffers(AnalyzerHandle analyzer, ResampledBuffers buffers);

/**
 * Copy the description of the equal-time ring. Without time results a `size` of 1 and null
 * pointers do; without any description the `size` is 0, and updateBuffers() never returns.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setTimeBuffers(AnalyzerHandle analyzer, TimeBuffers buffers);

/**
 * Copy the pointers to the host's tables; initiate() binds them. A table whose flags are clear at
 * that initiate() keeps its former binding, and reset() goes on clearing through it.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void setResultBuffers(AnalyzerHandle analyzer, ResultBuffers buffers);

/**
 * Derive all sizes from the four setups, the rate and the limit. With one of the four setups
 * missing it does nothing, and the sizes stay what they were (0 in a new analyzer).
 *
 *     bins             trunc((maxValue - minValue) / step) + 1, at least 1
 *     order FFT size   N = max(2 * maxOrder, 8) * max(round(1 / orderResolution), 1)
 *     time FFT size    see getTimeFFTSize()
 *
 * Both FFT sizes are kept within the limit of setInputBufferLimit().
 *
 * N is a product and needs no power of two; sizes with prime factors up to 7 are fast.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void preinitiate(AnalyzerHandle analyzer);

/**
 * Allocate everything that a run needs and bind the host's tables: transforms, weighting tables,
 * harmonics, result storage. Needs the four setups, preinitiate() and the three set...Buffers().
 * It may be repeated with other setups; it clears no results: that is reset(). Averaging starts
 * anew with it in the waterfalls, but peak hold goes on from what the tables hold.
 *
 * @param[out] error  0, or 1 if memory ran out: the analyzer is then good for nothing but destroy()
 *
 * std::invalid_argument "Unsupported window type." is thrown before any result storage was touched,
 * with *error at 0. Several analyzers may be initiated at the same time; planning waits for its
 * turn.
 *
 * Threads: own. Allocates: yes. Throws: std::invalid_argument. Realtime: no.
 */
HARMOTRACK_API void initiate(AnalyzerHandle analyzer, int32_t* error);

/**
 * Start a run: results are cleared, positions start at the samples already processed, and the first
 * block sets new start phases of fractional harmonics. Pending samples still count.
 *
 * Results are cleared only if a call of calculate() has raised a result flag since the last reset
 * (and at the first reset): all tables, the host's among them, the turn count, the delta results;
 * of the order rows by sample count the one of the first signal alone. What survives a reset:
 * readRPM()'s values, the turn count of a run without a result, and the newest block's mean binned
 * value: with deltaOnBinChange a run may so begin with a release at its first sample.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes, and longer with larger tables.
 */
HARMOTRACK_API void reset(AnalyzerHandle analyzer);

/* ------------------------------------------------------------------------------------------------
 * Analyzer: running
 * --------------------------------------------------------------------------------------------- */

/**
 * Report samples that the host has written. Nothing else happens until calculate().
 *
 * @param angleSamples  new samples in the equal-angle ring; a negative count takes some back
 * @param timeSamples   new samples in the equal-time ring; likewise
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
updateBuffers(AnalyzerHandle analyzer, int32_t angleSamples, int32_t timeSamples);

/**
 * Walk the samples that have half an order block of newer ones behind them and, with time results,
 * half a time block beyond their time stamp; stop after the first that produced a result. Call it
 * until `consumed` is set, reading after each call what its flags announce. All other samples wait
 * for the next updateBuffers(): a run ends with half a block unread, unless the host lets some more
 * samples follow.
 *
 * A sample can serve several results at once; the flags then stand together, and `bin` is that of
 * the store that came last. When the newest two samples of the ring show that the speed has fallen
 * to exactly 0, rpmUpdated is set once, with a speed of 0, and the next N samples update the speed
 * and nothing else. The fall is seen only by a call that has no sample to take, and so only where a
 * delivery ends with the first sample of speed 0.
 *
 * @return  what this call produced
 *
 * Harmonics are binHarmonics and deltaHarmonics. The samples of a call that threw are taken
 * again by the next one. FFTW takes memory too at blocks with a prime factor above 13. At most
 * 2^31 - 1 samples may wait at once.
 *
 * Threads: own. Allocates: with harmonics. Throws: std::bad_alloc. Realtime: without harmonics.
 */
HARMOTRACK_API CalculationResult calculate(AnalyzerHandle analyzer);

/* ------------------------------------------------------------------------------------------------
 * Analyzer: queries. Valid after preinitiate().
 * --------------------------------------------------------------------------------------------- */

/**
 * B, the number of bins.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API int32_t getBinCount(AnalyzerHandle analyzer);

/**
 * N, the samples of an order block. Order spectra have N / 2 lines, or N with twoSided.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API int32_t getOrderFFTSize(AnalyzerHandle analyzer);

/**
 * T, the samples of a time block. Frequency spectra have T / 2 lines, whatever twoSided says. It is
 * 2 * timeLines with fixedTimeLines; otherwise the largest power of two that is not above twice the
 * samples an order block spans at maxRpm, or, when the rate is below half the order block's at
 * maxRpm, the order FFT size before its limit. In both cases within the limit.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API int32_t getTimeFFTSize(AnalyzerHandle analyzer);

/**
 * Distance of the lines of a frequency spectrum, Hz.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API double getTimeFFTResolution(AnalyzerHandle analyzer);

/**
 * Duration of a time block, seconds.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API double getTimeFFTBlockDuration(AnalyzerHandle analyzer);

/**
 * The time FFT as it would be at another rate. Stores nothing; valid once order setup, analysis
 * setup and limit are set, also before preinitiate().
 *
 * @param unused       never read; the setup's own fixedTimeLines decides
 * @param sampleRate   Hz
 * @param rateDivider  1 or more
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API TimeFFTSetup getTimeFFTSetup(AnalyzerHandle analyzer,
                                            uint8_t unused,
                                            double sampleRate,
                                            int32_t rateDivider);

/* ------------------------------------------------------------------------------------------------
 * Analyzer: reading. Each copies and changes nothing; safe between two calls of calculate().
 *
 * Results of a path are there from the initiate() that had its flags on; before the first
 * reset() they are undefined. A path whose flags were all off has no tables: reading one copies
 * from a null pointer, which is undefined behaviour and mostly ends the process, unless the
 * function says that it copies nothing then. `bin` is 0 .. getBinCount() - 1 and `harmonic` 0 ..
 * harmonicCount - 1; neither is checked.
 *
 * `which` selects the signal: 0 for the one of modes 0 and 2; in mode 1, 2 for the second signal
 * and any other value but 0 for the first. With a pairing that does not exist (0 in mode 1, another
 * value in modes 0 and 2) nothing is written, except as told.
 *
 * With twoSided the rows of the first three order spectra below come with their halves exchanged:
 * the negative orders first, line 0 in the middle, at element N / 2.
 * --------------------------------------------------------------------------------------------- */

/**
 * Revolutions counted since the results were last cleared, and the time of the newest.
 *
 * @param[out] turns  revolutions; each is counted at the sample that comes after a fall of the
 * angle from above 180 degrees
 * @param[out] time   seconds
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readTurns(AnalyzerHandle analyzer, int32_t* turns, double* time);

/**
 * The newest speed and its time stamp; the values of the last sample taken, or 0 and the time of a
 * stop. 0 and 0 before the first sample; reset() leaves them.
 *
 * @param[out] rpm   revolutions per minute
 * @param[out] time  seconds
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readRPM(AnalyzerHandle analyzer, float* rpm, double* time);

/**
 * Overall level of a bin: RMS of the signal from the bin's stored frequency spectrum, sqrt of half
 * the sum of squared peak amplitudes, corrected for the window's noise bandwidth. Whatever was done
 * to the spectrum (weighting, averaging, peak hold) is in the level. Line 0 counts like any other
 * line. NaN with HARMOTRACK_WINDOW_EXPONENTIAL.
 *
 * @param[out] levels  shape (B), in the signal's unit; element `bin` is written
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readOverall(AnalyzerHandle analyzer, int32_t bin, float* levels, int32_t which);

/**
 * Order spectrum of a bin.
 *
 * @param[out] table  shape (B, C), C = N with twoSided, else N / 2; row `bin` is written: moduli in
 *                    the signal's unit, scaled by amplitudeType
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readOrderDomainBinWaterfall(AnalyzerHandle analyzer, int32_t bin, float* table, int32_t which);

/**
 * Two-sided order spectrum of a bin, mode 1: see ResultBuffers. Copies nothing in modes 0 and 2, or
 * without binOrderTwoSided.
 *
 * @param[out] table  shape (B, N - 1); row `bin` is written
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readOrderDomainBinWaterfallTwoSided(AnalyzerHandle analyzer, int32_t bin, float* table);

/**
 * Newest order spectrum by sample count.
 *
 * @param[out] row   shape (C): moduli, as in readOrderDomainBinWaterfall()
 * @param[out] time  seconds, of the block's middle sample
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readOrderDomainTimeWaterfall(AnalyzerHandle analyzer, float* row, double* time, int32_t which);

/**
 * Newest two-sided order spectrum by sample count, mode 1. In modes 0 and 2, and without
 * timeOrderTwoSided, it copies no row and does write the time.
 *
 * @param[out] row   shape (N - 1), as a row of ResultBuffers.binOrderTwoSided
 * @param[out] time  seconds, of the block's middle sample
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readOrderDomainTimeWaterfallTwoSided(AnalyzerHandle analyzer, float* row, double* time);

/**
 * One harmonic at one bin.
 *
 * An INTEGER order is the value of its line, turned back by order * shaft angle at the block's
 * first sample (or by order 1 of the same spectrum: phaseMode) and, for
 * HARMOTRACK_PHASE_REFERENCE_SINE, on by a quarter turn. So it has the amplitude of the component
 * and its phase against the shaft. An order whose line lies outside the spectrum has the value 0;
 * with phaseMode 1 and the line of order 1 outside the spectrum the reference phase is 0.
 *
 * A FRACTIONAL order has no fixed phase against the shaft. Its value is searched within three
 * lines, at a centred peak from the energy round it, otherwise between the two nearest lines, and
 * its phase counts from the first block after reset(), turned back by what a steady component of
 * that order gains: about 0 in the first block, its drift afterwards. phaseMode, phaseReference and
 * angle do not enter, and in mode 1 both signals are referred to the first one's start phase.
 *
 * @param[out] values  complex float, shape (B, 2), in the signal's unit, scaled by amplitudeType;
 *                     element `bin` is written
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readOrderDomainHarmonic(
    AnalyzerHandle analyzer, int32_t harmonic, int32_t bin, float* values, int32_t which);

/**
 * The same value alone.
 *
 * @param[out] value  complex float, shape (2); 0 + 0j with a `which` that does not exist
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readOrderDomainHarmonicBin(
    AnalyzerHandle analyzer, int32_t harmonic, int32_t bin, int32_t which, float* value);

/**
 * Harmonics of the delta period that ended last, or of the one that runs: complex mean over blocks
 * that lie edge to edge, values as in readOrderDomainHarmonic(). Fractional orders run N / 2
 * samples ahead here: their phase is turned back by half a block too much.
 *
 * @param[out] values  complex float, shape (harmonicCount, 2)
 * @param[out] time    seconds, of the sample of the last release
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void readOrderDomainHarmonicsTimeDelta(AnalyzerHandle analyzer,
                                                      float* values,
                                                      double* time,
                                                      int32_t which);

/**
 * Order spectrum of the delta period that ended last, or of the one that runs: complex mean of
 * spectra that were turned line by line to the shaft (line k by k * orderResolution times the
 * angle, and a quarter turn for HARMOTRACK_PHASE_REFERENCE_SINE), so that what is synchronous with
 * the shaft adds up and all else falls away. Lines 0 to N / 2 - 1.
 *
 * @param[out] spectrum  complex float, shape (C, 2). With twoSided only the first N / 2 floats, a
 *                       half of the lines, of either exchanged half arrive: clear it first
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readOrderSpectrumTimeDelta(AnalyzerHandle analyzer, float* spectrum, int32_t which);

/**
 * Frequency spectrum of a bin. Line k is k * getTimeFFTResolution() hertz.
 *
 * @param[out] table  shape (B, T / 2); row `bin` is written: moduli in the signal's unit, scaled by
 *                    amplitudeType
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readTimeDomainBinWaterfall(AnalyzerHandle analyzer, int32_t bin, float* table, int32_t which);

/**
 * T - 1 cells of the two-sided ORDER spectra, from the start of row `bin` on, into the row of a
 * two-sided frequency table, mode 1 with binOrderTwoSided and binTimeTwoSided. It ends at the end
 * of the order table, and copies nothing in modes 0 and 2. The two-sided frequency spectra
 * themselves are seen in the host's own table alone: ResultBuffers.binTimeTwoSided.
 *
 * @param[out] table  shape (B, T - 1); row `bin` is written
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
readTimeDomainBinWaterfallTwoSided(AnalyzerHandle analyzer, int32_t bin, float* table);

/* ------------------------------------------------------------------------------------------------
 * Autotracker
 *
 * A model of a constant and a sine and cosine at every listed order is fitted to a block of samples
 * at candidate frequencies; the candidate of greatest likelihood wins, first on a grid over the
 * whole range, later round a linear prediction, each refined by a bracket that closes in by golden
 * ratio. A signal at a rate far above the highest order is low-passed and decimated first.
 *
 *     TrackerHandle tracker = autotrackerCreate();
 *     autotrackerSetSampleRate(tracker, 25600.0, 1);
 *     autotrackerSetTrackingSetup(tracker, &setup);     // kept by pointer
 *     autotrackerSetSignalBuffer(tracker, ring);        // copied
 *     autotrackerPreinitiate(tracker);
 *     autotrackerInitiate(tracker);
 *     for each delivery of samples:
 *         write them into the ring
 *         autotrackerUpdateNewSamples(tracker, count);
 *         do {
 *             result = autotrackerCalculate(tracker);
 *             ... result.frequency counts if result.valid is 1 ...
 *         } while (!result.needsMoreSamples);
 *     autotrackerDestroy(tracker);
 *
 * HOW TO SET IT UP. Nothing is checked, and what the method cannot do it does not say.
 *
 *   Unit. In rpm estimates are refined: the tolerance is searchStep rpm. In hertz it is searchStep
 *   hertz, mostly wider than the grid is coarse, and the estimate is a point near the grid's best
 *   one. The grid's step is minFrequency * searchStep / 20 (maxFrequency where minFrequency is not
 *   above 0), taken as rad/s in either unit. So use rpm, and a minFrequency: without one the grid
 *   in rpm passes over the machine.
 *
 *   Orders. One order alone is ambiguous: f, f / 2 and f / 3 score alike. List two or more that
 *   are really there, with no common divisor, none twice and none 0. The rate should be at least
 *   4 * highest order * maxFrequency (in hertz).
 *
 *   Numbers. blockDuration * rate, as left by the decimation, must fit into an int32_t and be 1 or
 *   more; overlapPercent is 0 .. 100; searchStep and predictionSigmaPercent are above 0. With a
 *   predictionSigmaPercent of 0 every search but the first finds nothing.
 *
 *   Level. The likelihood is a power of the energy (the sum of squares over a block) that the
 *   orders do not explain, with an exponent of (2 m - N + 1) / 2 for m orders and N samples, and it
 *   is a double. For m = 3 it is a normal number within
 *
 *       N       125               250             300             500          1000
 *       energy  6.0e-6 .. 1.4e5   0.0030 .. 320   0.0079 .. 120   0.057 .. 17   0.24 .. 4.1
 *
 *   and the prior of later searches takes a little more off its upper end. Below, candidates score
 *   infinity and the lowest of them wins; above, they score 0 like no candidate, and if all do, the
 *   former frequency comes back with `valid` 1. What matters is the energy that the best candidate
 *   leaves over. A factor on all samples changes no winner: keep N at 300 or less by blockDuration,
 *   and scale the signal so that the energy of a whole block is about 10, which leaves room for
 *   orders 30 dB above everything else.
 *
 *   Ring. 2 * N * decimation samples or more; a block or a hop longer than the ring is read beyond
 *   its end. The decimated ring has capacity / decimation slots and is overwritten without notice
 *   when calls lag by more.
 *
 *   Decimation. It is the whole part of rate / 4 / (highest order * maxFrequency), and its low-pass
 *   has 38 taps whatever it is. Above about 10 it lets high frequencies through: at 16, half the
 *   decimated rate is damped by 5 dB and the decimated rate itself by 24 dB. A signal that is rich
 *   up there is low-passed by the host first. Stamps of a decimating tracker are early by about
 *   (decimation - 2) / rate seconds.
 * --------------------------------------------------------------------------------------------- */

/**
 * Make a tracker, at 20000 Hz and a divider of 1, without setup and ring.
 *
 * @return  the handle, never null
 *
 * Threads: any. Allocates: yes. Throws: std::bad_alloc. Realtime: no.
 */
HARMOTRACK_API TrackerHandle autotrackerCreate(void);

/**
 * Free the tracker's own block of memory and nothing else, as destroy() does: matrices, decimated
 * ring and filter stay allocated until the process ends. A host keeps its handles and sets them up
 * anew.
 *
 * @param tracker  from autotrackerCreate(); not to be used afterwards
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: no.
 */
HARMOTRACK_API void autotrackerDestroy(TrackerHandle tracker);

/**
 * Store the rate of the signal: sampleRate / rateDivider. It takes effect at the next
 * autotrackerPreinitiate().
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void
autotrackerSetSampleRate(TrackerHandle tracker, double sampleRate, int32_t rateDivider);

/**
 * Copy the description of the ring, read position and counts included; those of an earlier ring
 * are forgotten. readCount is the number of the next sample, from which time counts.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void autotrackerSetSignalBuffer(TrackerHandle tracker, SignalBuffer signal);

/**
 * Keep the pointer to the setup, which is read at every step: keep it and its orders alive.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void autotrackerSetTrackingSetup(TrackerHandle tracker, TrackingSetup* setup);

/**
 * Derive decimation, block length and hop, and start the frequency anew. Needs setup and rate.
 * Without manualParameters it writes into the setup: blockDuration (one turn at minFrequency, held
 * within 0.1 and 1 second), overlapPercent 50, searchStep 0.5, predictionSigmaPercent 1.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void autotrackerPreinitiate(TrackerHandle tracker);

/**
 * Allocate matrices and, with decimation, its ring and filter. Needs the ring and
 * autotrackerPreinitiate(). Each call with decimation leaves the former filter's coefficients (38
 * floats, 32-byte aligned) allocated until the process ends.
 *
 * The window of the filter is made with lgamma(), which writes the C library's `signgam`. Nothing
 * here reads it, but a race detector reports trackers that decimate and are initiated at once, and
 * a program that reads it initiates them one at a time.
 *
 * Threads: own. Allocates: yes. Throws: std::bad_alloc. Realtime: no.
 */
HARMOTRACK_API void autotrackerInitiate(TrackerHandle tracker);

/**
 * Report samples written into the ring; a negative count takes some back. At most 2^31 - 1 may
 * wait at once.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void autotrackerUpdateNewSamples(TrackerHandle tracker, int32_t count);

/**
 * Take in the new samples and, if a whole block waits, estimate the rotation frequency of one
 * block; then move on by the hop. A decimating tracker reads all announced samples at every call,
 * another one reads them by hops.
 *
 * The first search, after a start or reset without useStartFrequency, covers the whole range; each
 * later one three standard deviations (predictionSigmaPercent of maxFrequency) to either side of
 * the line through the two last estimates. It never returns with a searchStep that makes a grid
 * step of 0 or less.
 *
 * @return  the estimate; with `valid` 0 the former one. A block on which no candidate scores
 * repeats the former frequency with `valid` 1
 *
 * std::runtime_error "Failed to initialize VexCalc." comes from a decimating tracker without a
 * kernel library; one sample is then counted as read and lost. The first sample that a decimating
 * tracker of the process takes in loads the kernel library without a lock, so let one tracker take
 * it alone.
 *
 * Threads: own. Allocates: no. Throws: std::runtime_error if it decimates. Realtime: yes, but for
 * that first sample.
 */
HARMOTRACK_API TrackingResult autotrackerCalculate(TrackerHandle tracker);

/**
 * Start tracking anew, at any time after autotrackerInitiate(). Sizes, setup and the host's ring
 * stay; a decimating tracker empties its own ring and filter. Time goes on with the samples read.
 *
 * Threads: own. Allocates: no. Throws: no. Realtime: yes.
 */
HARMOTRACK_API void autotrackerReset(TrackerHandle tracker);

#endif /* HARMOTRACK_NO_PROTOTYPES */

#ifdef __cplusplus
}
#endif

#endif /* HARMOTRACK_HARMOTRACK_H */
