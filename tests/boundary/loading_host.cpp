// A host whose own functions are called create, reset and calculate, exported on Linux as unkindly
// as can be. It loads the library at run time, from the path in its first argument: the
// library's calls stay the library's, and the program's the program's.
#define HARMOTRACK_NO_PROTOTYPES
#include "harmotrack/harmotrack.h"

#include "platform/shared_library.h"

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

int ownCalls = 0;

} // namespace

extern "C" {

AnalyzerHandle create(int32_t /*mode*/)
{
    ++ownCalls;
    return nullptr;
}

void reset(AnalyzerHandle /*analyzer*/)
{
    ++ownCalls;
}

CalculationResult calculate(AnalyzerHandle /*analyzer*/)
{
    ++ownCalls;
    return {};
}
}

namespace {

void check(bool condition, const char* sentence)
{
    if (condition) return;
    std::printf("Not so: %s\n", sentence);
    std::exit(1);
}

// The functions that this host needs, by name.
class Library {
public:
    explicit Library(const char* path) : library_(Velmora::Platform::SharedLibrary::open(path))
    {
        check(static_cast<bool>(library_), "the library can be loaded");
        bind(create, "create");
        bind(setBinningSetup, "setBinningSetup");
        bind(setOrderSetup, "setOrderSetup");
        bind(setAnalysisSetup, "setAnalysisSetup");
        bind(setParameters, "setParameters");
        bind(setSampleRate, "setSampleRate");
        bind(setInputBufferLimit, "setInputBufferLimit");
        bind(setResampledBuffers, "setResampledBuffers");
        bind(setTimeBuffers, "setTimeBuffers");
        bind(setResultBuffers, "setResultBuffers");
        bind(preinitiate, "preinitiate");
        bind(initiate, "initiate");
        bind(reset, "reset");
        bind(updateBuffers, "updateBuffers");
        bind(calculate, "calculate");
        bind(readOrderDomainBinWaterfall, "readOrderDomainBinWaterfall");
    }

    AnalyzerHandle (*create)(int32_t) = nullptr;
    void (*setBinningSetup)(AnalyzerHandle, BinningSetup*) = nullptr;
    void (*setOrderSetup)(AnalyzerHandle, OrderSetup*) = nullptr;
    void (*setAnalysisSetup)(AnalyzerHandle, AnalysisSetup*) = nullptr;
    void (*setParameters)(AnalyzerHandle, AnalyzerParameters*) = nullptr;
    void (*setSampleRate)(AnalyzerHandle, double, int32_t) = nullptr;
    void (*setInputBufferLimit)(AnalyzerHandle, int32_t) = nullptr;
    void (*setResampledBuffers)(AnalyzerHandle, ResampledBuffers) = nullptr;
    void (*setTimeBuffers)(AnalyzerHandle, TimeBuffers) = nullptr;
    void (*setResultBuffers)(AnalyzerHandle, ResultBuffers) = nullptr;
    void (*preinitiate)(AnalyzerHandle) = nullptr;
    void (*initiate)(AnalyzerHandle, int32_t*) = nullptr;
    void (*reset)(AnalyzerHandle) = nullptr;
    void (*updateBuffers)(AnalyzerHandle, int32_t, int32_t) = nullptr;
    CalculationResult (*calculate)(AnalyzerHandle) = nullptr;
    void (*readOrderDomainBinWaterfall)(AnalyzerHandle, int32_t, float*, int32_t) = nullptr;

private:
    template <typename Function>
    void bind(Function& function, const char* name)
    {
        function = reinterpret_cast<Function>(library_.symbol(name));
        check(function != nullptr, name);
    }

    Velmora::Platform::SharedLibrary library_; // stays open, with FFTW's state of the process
};

constexpr int32_t kSamples = 512;
constexpr double kPi = 3.14159265358979323846;

// A steady shaft with order 4 of amplitude 3; its binned value crosses 1200 at sample 256.
struct Rings {
    Rings()
    {
        for (int32_t k = 0; k < kSamples; ++k) {
            const auto i = static_cast<size_t>(k);
            signal[i] = 3.0 * std::cos(2.0 * kPi * 4.0 * k / 32.0);
            binSignal[i] = k < 256 ? 1180.0 : 1220.0;
            frequency[i] = 32.0;
            angle[i] = 360.0 * (k % 32) / 32.0;
            time[i] = k / 1024.0;
        }
    }

    std::array<double, kSamples> signal{}, binSignal{}, frequency{}, angle{}, time{};
};

int analyse(const Library& library, AnalyzerHandle analyzer, const Rings& rings)
{
    static BinningSetup binning{0, 1000.0F, 2000.0F, 100.0F, 10.0F, 0, 1.0};
    static OrderSetup orders{0.25F, 16, 0, nullptr};
    static AnalysisSetup analysis{};
    static AnalyzerParameters parameters{};
    analysis.fixedTimeLines = 1;
    analysis.timeLines = 64;
    analysis.maxRpm = 6000.0F;
    parameters.binOrderSpectrum = 1;
    library.setBinningSetup(analyzer, &binning);
    library.setOrderSetup(analyzer, &orders);
    library.setAnalysisSetup(analyzer, &analysis);
    library.setParameters(analyzer, &parameters);
    library.setSampleRate(analyzer, 1024.0, 1);
    library.setInputBufferLimit(analyzer, 1 << 20);
    library.preinitiate(analyzer);
    library.setResampledBuffers(analyzer,
                                {rings.signal.data(),
                                 nullptr,
                                 rings.binSignal.data(),
                                 rings.frequency.data(),
                                 rings.angle.data(),
                                 rings.time.data(),
                                 kSamples,
                                 0,
                                 0,
                                 0});
    library.setTimeBuffers(analyzer, {rings.signal.data(), nullptr, kSamples, 0, 0});
    library.setResultBuffers(analyzer, {});
    int32_t error = -1;
    library.initiate(analyzer, &error);
    check(error == 0, "initiate succeeds");
    library.reset(analyzer);
    library.updateBuffers(analyzer, kSamples, kSamples);

    int results = 0;
    for (;;) {
        const CalculationResult result = library.calculate(analyzer);
        if (result.binOrderSpectrum != 0) ++results;
        if (result.consumed != 0) return results;
    }
}

} // namespace

int main(int argc, char** argv)
{
    check(argc == 2, "the path of the library is the one argument");
    static const Library library(argv[1]);
    static const Rings rings;
    static AnalyzerHandle analyzer = library.create(HARMOTRACK_MODE_ONE_REAL); // kept to the end
    check(analyzer != nullptr, "create of the library makes an analyzer");
    check(analyse(library, analyzer, rings) == 1, "the centre is crossed once");
    constexpr size_t kLines = 64;
    std::vector<float> table(3 * kLines);
    library.readOrderDomainBinWaterfall(analyzer, 2, table.data(), 0);
    check(std::abs(static_cast<double>(table[2 * kLines + 16]) - 3.0) < 1e-5,
          "order 4 reads its amplitude");
    check(ownCalls == 0, "the library calls none of the program's functions");

    check(create(0) == nullptr, "create of the program stays the program's");
    reset(nullptr);
    calculate(nullptr);
    check(ownCalls == 3, "and so do reset and calculate");
    return 0;
}
