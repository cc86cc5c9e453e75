/* The whole way of an order analysis in plain C99, from samples to a table of amplitudes and phases
 * by speed, in the order in which a host goes it. harmotrack.h tells what each function and field
 * means. The machine is simulated: it runs up from 600 to 3000 rpm in 20 s and shows order 1 with
 * amplitude 1.5 and phase 30 degrees against the shaft, and order 3 with 0.5 and -90 degrees. */
#include <harmotrack/harmotrack.h>

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { Rate = 4096, Seconds = 20, MaxOrder = 16, PerTurn = 2 * MaxOrder, Orders = 2 };

static const double kPi = 3.14159265358979323846;
static const float kOrders[Orders] = {1.0F, 3.0F};

/* The analyzer keeps pointers to these four records and reads them at every use: they live as long
 * as it does, hence static. What is not named is 0, and means peak amplitudes and a block wherever
 * the speed crosses the centre of a bin. */
static BinningSetup binning = {
    .minValue = 800.0F, .maxValue = 2800.0F, .step = 400.0F, .scale = 1.0};
static OrderSetup orders = {.orderResolution = 0.125F,
                            .maxOrder = MaxOrder,
                            .harmonicCount = Orders,
                            .harmonicOrders = kOrders};
static AnalysisSetup analysis = {.windowType = HARMOTRACK_WINDOW_FLATTOP,
                                 .phaseReference = HARMOTRACK_PHASE_REFERENCE_COSINE,
                                 .timeLines = 512,
                                 .fixedTimeLines = 1};
static AnalyzerParameters parameters = {
    .binHarmonics = 1, .binOrderSpectrum = 1, .binTimeSpectrum = 1, .overall = 1};
static AnalyzerHandle analyzer;

/* The two rings, of which sample number k stands in slot k % size, and tables for results. */
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

/* 1. Say what is wanted; let the analyzer derive all sizes; make rings and tables of them. A ring
 *    takes two blocks, the largest delivery (here half a second), and what waits for the other. */
static void setUp(void)
{
    setBinningSetup(analyzer, &binning);
    setOrderSetup(analyzer, &orders);
    setAnalysisSetup(analyzer, &analysis);
    setParameters(analyzer, &parameters);
    setSampleRate(analyzer, Rate, 1);
    setInputBufferLimit(analyzer, 1 << 20);
    preinitiate(analyzer);

    angleSize = 4 * getOrderFFTSize(analyzer) + 60 * PerTurn;
    timeSize = 4 * getTimeFFTSize(analyzer) + 2 * Rate;
    double** const columns[] = {&signalByAngle, &binSignal, &frequency, &angleDegrees, &timeStamp};
    for (int i = 0; i < 5; ++i) *columns[i] = zeros(angleSize, sizeof(double));
    signalByTime = zeros(timeSize, sizeof(double));
    const ResampledBuffers angleRing = {.signalA = signalByAngle,
                                        .binSignal = binSignal,
                                        .frequency = frequency,
                                        .angle = angleDegrees,
                                        .time = timeStamp,
                                        .size = angleSize};
    setResampledBuffers(analyzer, angleRing);
    setTimeBuffers(analyzer, (TimeBuffers){.signalA = signalByTime, .size = timeSize});

    /* A table of ours is filled by the analyzer itself; those left null it keeps. */
    spectra = zeros(getBinCount(analyzer) * getOrderFFTSize(analyzer) / 2, sizeof(float));
    levels = zeros(getBinCount(analyzer), sizeof(float));
    setResultBuffers(analyzer, (ResultBuffers){.binOrderA = spectra});

    int32_t error = 0;
    initiate(analyzer, &error); /* allocates everything */
    if (error != 0) exit(EXIT_FAILURE);
    reset(analyzer);
}

/* Stands in for the sensor. */
static double vibrationAt(double turns)
{
    const double angle = 2.0 * kPi * turns;
    return 1.5 * cos(angle + kPi / 6.0) + 0.5 * cos(3.0 * angle - kPi / 2.0);
}

/* 2. Write into both rings what has come by a moment, and report how much it is. Samples at equal
 *    angles are resampled by a tacho; this shaft has made (10 + t) * t turns at t seconds. */
static void deliver(double untilSeconds)
{
    const long long angleBefore = angleWritten, timeBefore = timeWritten;
    for (;; ++angleWritten) {
        const double turns = (double)angleWritten / PerTurn;
        const double seconds = sqrt(25.0 + turns) - 5.0;
        if (seconds >= untilSeconds) break;
        const long long slot = angleWritten % angleSize;
        signalByAngle[slot] = vibrationAt(turns);
        frequency[slot] = 10.0 + 2.0 * seconds;   /* Hz */
        binSignal[slot] = 60.0 * frequency[slot]; /* bins by rpm */
        angleDegrees[slot] = 360.0 * (turns - floor(turns));
        timeStamp[slot] = seconds; /* 0 is sample 0 of the other ring */
    }
    for (; (double)timeWritten / Rate < untilSeconds; ++timeWritten) {
        const double seconds = (double)timeWritten / Rate;
        signalByTime[timeWritten % timeSize] = vibrationAt((10.0 + seconds) * seconds);
    }
    updateBuffers(analyzer, (int)(angleWritten - angleBefore), (int)(timeWritten - timeBefore));

    /* 3. Call calculate until it says that all is consumed: called once, it would leave results for
     *    later, or for ever. */
    CalculationResult result;
    do {
        result = calculate(analyzer);
        if (result.binOrderSpectrum) fprintf(stderr, "bin %d is filled\n", result.bin);
    } while (!result.consumed);
}

/* 4. Read the results of the bins: at any time, as often as wanted. */
static void print(void)
{
    puts("   rpm   order 1  phase   order 3  phase   line 8   overall");
    for (int bin = 0; bin < getBinCount(analyzer); ++bin) {
        printf("%6.0f", (double)(binning.minValue + (float)bin * binning.step));
        for (int harmonic = 0; harmonic < Orders; ++harmonic) {
            float value[2]; /* real and imaginary part */
            readOrderDomainHarmonicBin(analyzer, harmonic, bin, 0, value);
            const double re = (double)value[0], im = (double)value[1];
            printf("%10.3f%7.1f", hypot(re, im), atan2(im, re) * 180.0 / kPi);
        }
        const int line8 = bin * getOrderFFTSize(analyzer) / 2 + 8; /* order 8 * 0.125 = 1 */
        readOverall(analyzer, bin, levels, 0);
        printf("%9.3f%10.3f\n", (double)spectra[line8], (double)levels[bin]);
    }
}

int main(void)
{
    analyzer = create(HARMOTRACK_MODE_ONE_REAL);
    setUp();
    for (int half = 1; half <= 2 * Seconds; ++half) deliver(0.5 * half);
    print();
    /* Another recording would start here, set up with the same handle: destroy() frees less than an
     * analyzer holds, so a host keeps those that it has, to the end. */
    return EXIT_SUCCESS;
}
