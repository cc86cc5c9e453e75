/* The whole way of an order analysis in plain C99, from samples to a table of amplitudes and phases
 * by speed. The machine is simulated; everything else is what a host does, in the order in which it
 * does it. What each function and field means stands in harmotrack.h.
 *
 * The machine runs up from 600 to 3000 rpm in 20 s. It shows order 1 with amplitude 1.5 and phase
 * 30 degrees against the shaft, and order 3 with 0.5 and -90 degrees. */
#include <harmotrack/harmotrack.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { Rate = 4096, Seconds = 20, MaxOrder = 16, PerTurn = 2 * MaxOrder, OrderCount = 2 };

static const double kPi = 3.14159265358979323846;
static const double kStartHertz = 10.0, kHertzPerSecond = 2.0;
static const float kOrders[OrderCount] = {1.0F, 3.0F};

/* ---- The machine: what a real host gets from its sensors, and from resampling by the tacho. ----
 */

static double turnsAt(double seconds)
{
    return kStartHertz * seconds + 0.5 * kHertzPerSecond * seconds * seconds;
}

static double secondsAt(double turns)
{
    return 2.0 * turns /
           (kStartHertz + sqrt(kStartHertz * kStartHertz + 2.0 * kHertzPerSecond * turns));
}

static double vibrationAt(double turns)
{
    const double angle = 2.0 * kPi * turns;
    return 1.5 * cos(angle + kPi / 6.0) + 0.5 * cos(3.0 * angle - kPi / 2.0);
}

/* ---- The two rings, of which sample number k stands in slot k % size, and tables. ---- */

static double *signalByAngle, *binSignal, *frequency, *angleDegrees, *timeStamp, *signalByTime;
static int angleSize, timeSize;
static long long angleWritten, timeWritten;
static float *spectra, *levels;

static void* zeros(int count, size_t size)
{
    void* memory = calloc((size_t)count, size);
    if (memory == NULL) exit(EXIT_FAILURE);
    return memory;
}

/* Writes what the machine does until a moment, and returns how many samples at equal angles. */
static int writeAngleSamples(double untilSeconds)
{
    const long long before = angleWritten;
    for (;; ++angleWritten) {
        const double turns = (double)angleWritten / PerTurn;
        const double seconds = secondsAt(turns);
        const size_t slot = (size_t)(angleWritten % angleSize);
        if (seconds >= untilSeconds) return (int)(angleWritten - before);
        signalByAngle[slot] = vibrationAt(turns);
        frequency[slot] = kStartHertz + kHertzPerSecond * seconds; /* Hz */
        binSignal[slot] = 60.0 * frequency[slot];                  /* bins by rpm */
        angleDegrees[slot] = 360.0 * (turns - floor(turns));
        timeStamp[slot] = seconds; /* 0 is sample 0 of the other ring */
    }
}

static int writeTimeSamples(double untilSeconds)
{
    const long long before = timeWritten;
    for (; (double)timeWritten / Rate < untilSeconds; ++timeWritten)
        signalByTime[timeWritten % timeSize] = vibrationAt(turnsAt((double)timeWritten / Rate));
    return (int)(timeWritten - before);
}

/* ---- The analyzer. ---- */

/* The analyzer keeps pointers to these four records and reads them at every use: they live as long
 * as it does, hence static. What is not named is 0. */
static BinningSetup binning = {
    .minValue = 800.0F, .maxValue = 2800.0F, .step = 400.0F, .scale = 1.0};
static OrderSetup orders = {.orderResolution = 0.125F,
                            .maxOrder = MaxOrder,
                            .harmonicCount = OrderCount,
                            .harmonicOrders = kOrders};
static AnalysisSetup analysis = {.windowType = HARMOTRACK_WINDOW_FLATTOP,
                                 .amplitudeType = HARMOTRACK_AMPLITUDE_PEAK,
                                 .blockMode = HARMOTRACK_BLOCK_AT_CROSSING,
                                 .phaseReference = HARMOTRACK_PHASE_REFERENCE_COSINE,
                                 .timeLines = 512,
                                 .fixedTimeLines = 1};
static AnalyzerParameters parameters = {
    .binHarmonics = 1, .binOrderSpectrum = 1, .binTimeSpectrum = 1, .overall = 1};
static AnalyzerHandle analyzer;

/* 1. Say what is wanted, and let the analyzer derive all sizes. */
static void prepare(void)
{
    setBinningSetup(analyzer, &binning);
    setOrderSetup(analyzer, &orders);
    setAnalysisSetup(analyzer, &analysis);
    setParameters(analyzer, &parameters);
    setSampleRate(analyzer, Rate, 1);
    setInputBufferLimit(analyzer, 1 << 20);
    preinitiate(analyzer);
}

/* 2. Make rings and tables. A ring takes at least two blocks, the largest delivery, here of half a
 *    second, and what waits in it for the other ring. */
static void handOver(void)
{
    angleSize = 4 * getOrderFFTSize(analyzer) + 60 * PerTurn;
    timeSize = 4 * getTimeFFTSize(analyzer) + 2 * Rate;
    signalByAngle = zeros(angleSize, sizeof(double));
    binSignal = zeros(angleSize, sizeof(double));
    frequency = zeros(angleSize, sizeof(double));
    angleDegrees = zeros(angleSize, sizeof(double));
    timeStamp = zeros(angleSize, sizeof(double));
    signalByTime = zeros(timeSize, sizeof(double));
    const ResampledBuffers angleRing = {.signalA = signalByAngle,
                                        .binSignal = binSignal,
                                        .frequency = frequency,
                                        .angle = angleDegrees,
                                        .time = timeStamp,
                                        .size = angleSize};
    const TimeBuffers timeRing = {.signalA = signalByTime, .size = timeSize};
    setResampledBuffers(analyzer, angleRing);
    setTimeBuffers(analyzer, timeRing);

    /* A table of ours is filled by the analyzer itself; those left null it keeps. */
    spectra = zeros(getBinCount(analyzer) * getOrderFFTSize(analyzer) / 2, sizeof(float));
    levels = zeros(getBinCount(analyzer), sizeof(float));
    const ResultBuffers tables = {.binOrderA = spectra};
    setResultBuffers(analyzer, tables);
}

/* 3. Deliver: write into both rings, report, and call calculate until it says that all is consumed.
 *    Called once, it would leave results for later, or for ever. */
static void run(void)
{
    for (int half = 1; half <= 2 * Seconds; ++half) {
        const int angleSamples = writeAngleSamples(0.5 * half);
        const int timeSamples = writeTimeSamples(0.5 * half);
        updateBuffers(analyzer, angleSamples, timeSamples);
        CalculationResult result;
        do {
            result = calculate(analyzer);
            if (result.binOrderSpectrum) fprintf(stderr, "bin %d is filled\n", result.bin);
        } while (!result.consumed);
    }
}

/* 4. Read the results of the bins: at any time, as often as wanted. */
static void print(void)
{
    const int lines = getOrderFFTSize(analyzer) / 2;
    puts("   rpm   order 1  phase   order 3  phase   line 8   overall");
    for (int bin = 0; bin < getBinCount(analyzer); ++bin) {
        printf("%6.0f", (double)(binning.minValue + (float)bin * binning.step));
        for (int harmonic = 0; harmonic < OrderCount; ++harmonic) {
            float value[2]; /* real and imaginary part */
            readOrderDomainHarmonicBin(analyzer, harmonic, bin, 0, value);
            printf("%10.3f%7.1f",
                   hypot((double)value[0], (double)value[1]),
                   atan2((double)value[1], (double)value[0]) * 180.0 / kPi);
        }
        readOverall(analyzer, bin, levels, 0);
        printf("%9.3f%10.3f\n",
               (double)spectra[bin * lines + 8], /* order 8 * 0.125 = 1 */
               (double)levels[bin]);
    }
}

int main(void)
{
    int32_t error = 0;
    analyzer = create(HARMOTRACK_MODE_ONE_REAL);
    prepare();
    handOver();
    initiate(analyzer, &error); /* allocates everything */
    if (error != 0) return EXIT_FAILURE;
    reset(analyzer);
    run();
    print();
    /* Another recording would start here, from prepare() on with the same handle: destroy() frees
     * less than an analyzer holds, so a host keeps those that it has, to the end. */
    return EXIT_SUCCESS;
}
