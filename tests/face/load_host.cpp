// A host whose own functions are called create, reset and calculate, exported from the program as
// unkindly as can be. It takes the library from the file in its first argument, and no call of
// either ends in the other. With that argument alone: a library that has no kernels beside it.
#define HARMOTRACK_NO_PROTOTYPES
#include <harmotrack/harmotrack.hpp>

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace {

int ownCalls = 0;

void check(bool condition, const char* sentence)
{
    if (condition) return;
    std::printf("Not so: %s\n", sentence);
    std::exit(1);
}

template <typename Call>
std::string sentenceOf(const Call& call)
{
    try {
        call();
    } catch (const Harmotrack::Error& error) {
        return error.what();
    }
    return {};
}

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

using namespace Harmotrack;

AnalyzerSetup setupOfACrossing()
{
    AnalyzerSetup setup;
    setup.sampleRate = 1024.0;
    setup.binning.minValue = 1000.0F;
    setup.binning.maxValue = 2000.0F;
    setup.binning.step = 100.0F;
    setup.orders.orderResolution = 0.25F;
    setup.orders.maxOrder = 16;
    setup.results.binOrderSpectrum = true;
    return setup;
}

// A steady shaft with order 4 of amplitude 3; its binned value crosses 1200 at sample 256.
void feedACrossing(AnyAnalyzer& analyzer)
{
    constexpr std::size_t kSamples = 512;
    std::vector<double> signal(kSamples), value(kSamples), hertz(kSamples, 32.0);
    std::vector<double> angle(kSamples), seconds(kSamples);
    for (std::size_t i = 0; i < kSamples; ++i) {
        const auto k = static_cast<double>(i);
        signal[i] = 3.0 * std::cos(2.0 * 3.14159265358979323846 * 4.0 * k / 32.0);
        value[i] = i < 256 ? 1180.0 : 1220.0;
        angle[i] = 360.0 * std::fmod(k, 32.0) / 32.0;
        seconds[i] = k / 1024.0;
    }
    analyzer.feed({signal, {}, value, hertz, angle, seconds});
}

void useTheLibrary()
{
    Analyzer<Mode::OneReal> analyzer(setupOfACrossing());
    feedACrossing(analyzer);
    int spectra = 0;
    while (const auto news = analyzer.next())
        if (news->binOrderSpectrum) ++spectra;
    check(spectra == 1, "the centre is crossed once");
    check(std::abs(static_cast<double>(analyzer.binOrderSpectrum(2)[16]) - 3.0) < 1e-5,
          "order 4 reads its amplitude");
}

TrackerSetup setupOfATracker(double sampleRate)
{
    TrackerSetup setup;
    setup.sampleRate = sampleRate;
    setup.orders = {1, 2, 3};
    setup.minFrequency = 600.0;
    setup.maxFrequency = 6000.0;
    return setup;
}

// At 1000 Hz there is no decimation, at 6000 Hz there is, and only then kernels are needed.
int tryTrackers(const char* path)
{
    load(path);
    for (int attempt = 0; attempt < 2; ++attempt)
        check(sentenceOf([] { Autotracker{setupOfATracker(6000.0)}; }).find("vexcalc-") !=
                  std::string::npos,
              "a tracker that decimates says what is missing");
    Autotracker tracker(setupOfATracker(1000.0));
    tracker.feed(std::vector<double>(100, 1.0));
    check(tracker.next().has_value(), "a tracker that does not decimate works");
    return 0;
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what was not expected ends the test
int main(int argc, char** argv)
{
    if (argc == 2) return tryTrackers(argv[1]);
    check(argc == 3, "the paths of the library and of another one are the arguments");
    check(sentenceOf(useTheLibrary) ==
              "The library is not there yet: call Harmotrack::load() first.",
          "without load() there is no library");
    check(sentenceOf([] { load("no/such/library"); }).find("no/such/library can not be loaded") !=
              std::string::npos,
          "a path that leads nowhere has a sentence");
    check(sentenceOf([] { load(""); }).find("can not be loaded") != std::string::npos,
          "and so has an empty one");
    check(sentenceOf([&] { load(argv[2]); }).find("has no function create") != std::string::npos,
          "a library without our functions has a sentence");

    load(argv[1]);
    load(argv[1]);
    useTheLibrary();
    check(ownCalls == 0, "the library's calls are the library's");
    check(sentenceOf([&] { load(argv[2]); }).find("in use already") != std::string::npos,
          "another library does not take its place");
    useTheLibrary();

    check(create(0) == nullptr, "create of the program stays the program's");
    reset(nullptr);
    calculate(nullptr);
    check(ownCalls == 3, "and so do reset and calculate");
    return 0;
}
