/* A host by another compiler: built for the other C++ ABI of Windows, with no C run-time library at
 * all, from the header and the definition file alone. It calls every function that takes or returns
 * a record by value. Compiled as C and as C++. Prints a sentence and ends with 1 if anything is not
 * as it must be.
 *
 * One real signal, 3 cos(4 phi) on a shaft at a steady 32 Hz, whose binned value crosses the centre
 * of bin 2 once; and for the tracker, orders 1, 2 and 3 of a shaft at 40 Hz. */

/* C99 has no static assertion: an array of negative length does not compile. */
#define LAYOUT_FACT(name, condition) typedef char layout_of_##name[(condition) ? 1 : -1];
#include "../boundary/record_layout.h"

#ifdef __cplusplus
extern "C" {
#endif

/* What this host needs of the system. */
__declspec(dllimport) void* GetStdHandle(unsigned long which);
__declspec(dllimport) int WriteFile(
    void* file, const void* bytes, unsigned long count, unsigned long* written, void* how);
__declspec(dllimport) void ExitProcess(unsigned int code);

/* Every object that computes with floating point refers to it. */
int _fltused = 1;

void start(void);

#ifdef __cplusplus
}
#endif

enum { SAMPLES = 512, CROSSING = 256, BLOCK = 128, BINS = 11, ORDER_4 = 16, TRACKED = 100 };

static double signalA[SAMPLES], binSignal[SAMPLES], frequency[SAMPLES], angle[SAMPLES];
static double timeStamp[SAMPLES];
static double trackedSignal[TRACKED];
static float orderTable[BINS * BLOCK / 2];

static BinningSetup binning;
static OrderSetup orders;
static AnalysisSetup analysis;
static AnalyzerParameters parameters;
static TrackingSetup tracking;
static const float trackedOrders[3] = {1.0F, 2.0F, 3.0F};

static void print(const char* text)
{
    unsigned long length = 0;
    unsigned long written = 0;
    while (text[length] != 0) ++length;
    WriteFile(GetStdHandle((unsigned long)-11), text, length, &written, (void*)0);
}

static void check(int condition, const char* sentence)
{
    if (condition) return;
    print("Not so: ");
    print(sentence);
    print("\n");
    ExitProcess(1);
}

static int near(double value, double expected, double tolerance)
{
    const double difference = value - expected;
    return difference <= tolerance && -difference <= tolerance;
}

/* By its power series within half a turn, where sixteen terms are more than a double can tell. */
static double cosineOfTurns(double turns)
{
    const double x = 2.0 * 3.14159265358979323846 * (turns - (double)(long long)(turns + 0.5));
    double term = 1.0;
    double sum = 1.0;
    int k;
    for (k = 1; k <= 16; ++k) {
        term *= -x * x / (double)((2 * k - 1) * (2 * k));
        sum += term;
    }
    return sum;
}

static void simulate(void)
{
    int k;
    for (k = 0; k < SAMPLES; ++k) {
        const double revolutions = k / 32.0;
        signalA[k] = 3.0 * cosineOfTurns(4.0 * revolutions);
        binSignal[k] = k < CROSSING ? 1180.0 : 1220.0;
        frequency[k] = 32.0;
        angle[k] = 360.0 * (revolutions - (double)(int)revolutions);
        timeStamp[k] = k / 1024.0;
    }
    for (k = 0; k < TRACKED; ++k) {
        const double revolutions = 40.0 * k / 1000.0;
        trackedSignal[k] = cosineOfTurns(revolutions) + 0.6 * cosineOfTurns(2.0 * revolutions) +
                           0.4 * cosineOfTurns(3.0 * revolutions) +
                           0.01 * cosineOfTurns(0.123 * k * k);
    }
}

static void setUp(void)
{
    binning.minValue = 1000.0F;
    binning.maxValue = 2000.0F;
    binning.step = 100.0F;
    binning.hysteresisPercent = 10.0F;
    binning.scale = 1.0;
    orders.orderResolution = 0.25F;
    orders.maxOrder = 16;
    analysis.windowType = HARMOTRACK_WINDOW_HANNING;
    analysis.timeLines = BLOCK / 2;
    analysis.fixedTimeLines = 1;
    analysis.minRpm = 600.0F;
    analysis.maxRpm = 6000.0F;
    parameters.binOrderSpectrum = 1;
}

/* 72, 32 and 48 bytes by value. */
static void handOver(AnalyzerHandle analyzer)
{
    static ResampledBuffers angleRing;
    static TimeBuffers timeRing;
    static ResultBuffers tables;
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

/* 20 bytes are returned. */
static void checkTimeSetup(AnalyzerHandle analyzer)
{
    const TimeFFTSetup setup = getTimeFFTSetup(analyzer, 0, 4096.0, 2);
    check(setup.size == BLOCK, "a time block has 128 samples at any rate");
    check(setup.resolution == 16.0, "its lines are 16 Hz apart at 2048 Hz");
    check(setup.blockDuration == 0.0625, "it takes a sixteenth of a second at 2048 Hz");
}

/* 17 bytes are returned. */
static void checkRun(AnalyzerHandle analyzer)
{
    int blocks = 0;
    CalculationResult result;
    updateBuffers(analyzer, SAMPLES, SAMPLES);
    do {
        result = calculate(analyzer);
        check(!result.binHarmonics && !result.binOrderTwoSided && !result.timeOrderSpectrum &&
                  !result.timeOrderTwoSided && !result.binTimeSpectrum && !result.binTimeTwoSided &&
                  !result.deltaHarmonics && !result.deltaOrderSpectrum && !result.overall,
              "nothing is announced that was not asked for");
        if (result.binOrderSpectrum) {
            ++blocks;
            check(result.bin == 2, "the block is filed under bin 2");
            check(result.consumed == 0, "a result ends the call early");
        } else {
            check(result.bin == -1, "no block, no bin");
        }
    } while (!result.consumed);
    check(blocks == 1, "the centre of the bin is crossed once");
    check(near(orderTable[2 * BLOCK / 2 + ORDER_4], 3.0, 1e-5), "order 4 reads its amplitude");
    check(near(orderTable[2 * BLOCK / 2 + ORDER_4 + 1], 1.5, 1e-5), "its neighbour reads half");
    check(near(orderTable[2 * BLOCK / 2 + ORDER_4 + 2], 0.0, 1e-5), "and nothing beyond");
}

/* A language that has no records by value hands over addresses: of the result first, if it is a
 * record, and of a copy of each record that goes in. To the library that is the same call. */
static void checkAddressesForRecords(AnalyzerHandle analyzer)
{
    typedef void* (*TimeSetupIntoBytes)(void*, AnalyzerHandle, int32_t, double, int32_t);
    typedef void (*SetTimeBuffersFromBytes)(AnalyzerHandle, void*);
    static unsigned char bytes[sizeof(TimeFFTSetup)];
    static TimeBuffers timeRing;
    const TimeFFTSetup setup = getTimeFFTSetup(analyzer, 0, 4096.0, 2);
    const unsigned char* const expected = (const unsigned char*)&setup;
    int k;
    ((TimeSetupIntoBytes)(void*)getTimeFFTSetup)(bytes, analyzer, 0, 4096.0, 2);
    for (k = 0; k < (int)sizeof setup; ++k)
        check(bytes[k] == expected[k], "a record comes back where its address says");
    timeRing.signalA = signalA;
    timeRing.size = SAMPLES;
    ((SetTimeBuffersFromBytes)(void*)setTimeBuffers)(analyzer, &timeRing);
}

static void checkAnalyzer(void)
{
    int32_t error = -1;
    const AnalyzerHandle analyzer = create(HARMOTRACK_MODE_ONE_REAL);
    setBinningSetup(analyzer, &binning);
    setOrderSetup(analyzer, &orders);
    setAnalysisSetup(analyzer, &analysis);
    setParameters(analyzer, &parameters);
    setSampleRate(analyzer, 1024.0, 1);
    setInputBufferLimit(analyzer, 1 << 20);
    preinitiate(analyzer);
    check(getBinCount(analyzer) == BINS, "there are 11 bins");
    checkTimeSetup(analyzer);
    handOver(analyzer);
    checkAddressesForRecords(analyzer);
    initiate(analyzer, &error);
    check(error == 0, "initiate succeeds");
    reset(analyzer);
    checkRun(analyzer);
    destroy(analyzer);
}

/* 32 bytes by value, 18 are returned. */
static void checkTracker(void)
{
    static SignalBuffer ring;
    TrackingResult result;
    const TrackerHandle tracker = autotrackerCreate();
    tracking.minFrequency = 600.0;
    tracking.maxFrequency = 6000.0;
    tracking.frequencyInRpm = 1;
    tracking.orders = trackedOrders;
    tracking.orderCount = 3;
    ring.samples = trackedSignal;
    ring.capacity = TRACKED;
    ring.writeCount = 2000;
    ring.readCount = 2000;
    autotrackerSetTrackingSetup(tracker, &tracking);
    autotrackerSetSampleRate(tracker, 1000.0, 1);
    autotrackerPreinitiate(tracker);
    check(tracking.blockDuration == 0.1, "a block is a turn at the lowest speed");
    autotrackerSetSignalBuffer(tracker, ring);
    autotrackerInitiate(tracker);
    autotrackerReset(tracker);
    autotrackerUpdateNewSamples(tracker, TRACKED);
    result = autotrackerCalculate(tracker);
    check(result.valid == 1, "100 samples are a block");
    check(result.needsMoreSamples == 1, "and there is no other");
    check(near(result.frequency, 2400.0, 10.0), "40 Hz are 2400 rpm");
    check(near(result.time, 2.05, 1e-9), "the block's centre is 50 samples after its start");
    autotrackerDestroy(tracker);
}

void start(void)
{
    simulate();
    setUp();
    checkAnalyzer();
    checkTracker();
    ExitProcess(0);
}
