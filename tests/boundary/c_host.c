/* A host in plain C: the whole way of a tiny analysis, and a look at what comes of it. One real
 * signal, 3 cos(4 phi + 0.7) on a shaft at a steady 32 Hz; its binned value crosses the centre of
 * bin 2 once. Prints a sentence and ends with 1 if anything is not as it must be. */
#include "harmotrack/harmotrack.h"

#include <math.h>
#include <stdio.h>
#include <stdlib.h>

enum { SAMPLES = 512, CROSSING = 256, BLOCK = 128, BINS = 11, FOURTH = 16 };

static double signalA[SAMPLES], binSignal[SAMPLES], frequency[SAMPLES], angle[SAMPLES];
static double timeStamp[SAMPLES];
static float orderTable[BINS * BLOCK / 2];
static const float kHarmonicOrders[1] = {4.0F};

/* Kept to the end of the process, as every host of several recordings does. */
static AnalyzerHandle analyzer;

static void check(int condition, const char* sentence)
{
    if (condition) return;
    printf("Not so: %s\n", sentence);
    exit(1);
}

/* 32 samples a revolution and 1024 a second: both rings may hold the same samples. */
static void simulate(void)
{
    for (int k = 0; k < SAMPLES; ++k) {
        const double revolutions = k / 32.0;
        signalA[k] = 3.0 * cos(2.0 * 3.14159265358979323846 * 4.0 * revolutions + 0.7);
        binSignal[k] = k < CROSSING ? 1180.0 : 1220.0;
        frequency[k] = 32.0;
        angle[k] = 360.0 * (revolutions - floor(revolutions));
        timeStamp[k] = k / 1024.0;
    }
}

static void setUp(BinningSetup* binning,
                  OrderSetup* orders,
                  AnalysisSetup* analysis,
                  AnalyzerParameters* parameters)
{
    binning->minValue = 1000.0F;
    binning->maxValue = 2000.0F;
    binning->step = 100.0F;
    binning->hysteresisPercent = 10.0F;
    binning->scale = 1.0;
    orders->orderResolution = 0.25F;
    orders->maxOrder = 16;
    orders->harmonicCount = 1;
    orders->harmonicOrders = kHarmonicOrders;
    analysis->windowType = HARMOTRACK_WINDOW_HANNING;
    analysis->phaseReference = HARMOTRACK_PHASE_REFERENCE_COSINE;
    analysis->timeLines = BLOCK / 2;
    analysis->fixedTimeLines = 1;
    analysis->minRpm = 600.0F;
    analysis->maxRpm = 6000.0F;
    parameters->binHarmonics = 1;
    parameters->binOrderSpectrum = 1;
    parameters->overall = 1;
}

static void handOver(void)
{
    ResampledBuffers angleRing = {0};
    TimeBuffers timeRing = {0};
    ResultBuffers tables = {0};
    angleRing.signalA = signalA;
    angleRing.binSignal = binSignal;
    angleRing.frequency = frequency;
    angleRing.angle = angle;
    angleRing.time = timeStamp;
    angleRing.size = SAMPLES;
    timeRing.signalA = signalA;
    timeRing.size = SAMPLES;
    tables.binOrderA = orderTable;
    setResampledBuffers(analyzer, angleRing);
    setTimeBuffers(analyzer, timeRing);
    setResultBuffers(analyzer, tables);
}

static int run(void)
{
    int results = 0;
    CalculationResult result;
    updateBuffers(analyzer, SAMPLES, SAMPLES);
    do {
        result = calculate(analyzer);
        if (result.binOrderSpectrum) {
            ++results;
            check(result.bin == 2, "the block is filed under bin 2");
            check(result.binHarmonics && result.overall, "all results come at the same sample");
        }
    } while (!result.consumed);
    return results;
}

static void checkResults(void)
{
    float harmonic[2], levels[BINS];
    float rpm = 0.0F;
    double rpmTime = 0.0;
    const float* row = orderTable + 2 * BLOCK / 2;

    check(fabs((double)row[FOURTH] - 3.0) < 1e-5, "order 4 reads its amplitude");
    check(fabs((double)row[FOURTH + 1] - 1.5) < 1e-5, "a Hanning window has half on either side");
    check(fabs((double)row[FOURTH + 2]) < 1e-5, "and nothing beyond");

    readOrderDomainHarmonicBin(analyzer, 0, 2, 0, harmonic);
    check(fabs(atan2((double)harmonic[1], (double)harmonic[0]) - 0.7) < 1e-5,
          "order 4 keeps its phase against the shaft");
    readOverall(analyzer, 2, levels, 0);
    check(fabs((double)levels[2] - 3.0 / sqrt(2.0)) < 1e-5, "the overall level is the RMS");
    readRPM(analyzer, &rpm, &rpmTime);
    check(fabs((double)rpm - 1920.0) < 1e-3, "32 Hz are 1920 rpm");
}

int main(void)
{
    static BinningSetup binning;
    static OrderSetup orders;
    static AnalysisSetup analysis;
    static AnalyzerParameters parameters;
    int32_t error = -1;

    simulate();
    setUp(&binning, &orders, &analysis, &parameters);
    analyzer = create(HARMOTRACK_MODE_ONE_REAL);
    setBinningSetup(analyzer, &binning);
    setOrderSetup(analyzer, &orders);
    setAnalysisSetup(analyzer, &analysis);
    setParameters(analyzer, &parameters);
    setSampleRate(analyzer, 1024.0, 1);
    setInputBufferLimit(analyzer, 1 << 20);
    preinitiate(analyzer);
    check(getBinCount(analyzer) == BINS, "there are 11 bins");
    check(getOrderFFTSize(analyzer) == BLOCK, "an order block has 128 samples");
    check(getTimeFFTSize(analyzer) == BLOCK, "a time block has 128 samples");

    handOver();
    initiate(analyzer, &error);
    check(error == 0, "initiate succeeds");
    reset(analyzer);
    check(run() == 1, "the centre is crossed once");
    checkResults();
    return 0;
}
