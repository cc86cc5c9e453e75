// A process chooses its transform once: which one is in use is told by its name and its file. The
// first argument says what is tried, the second is the file of the own transform.
#include <harmotrack/harmotrack.hpp>

#if !defined(_WIN32)
#include <dlfcn.h>
#endif

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string_view>

namespace {

bool fftwIsInstalled = true;

} // namespace

#if !defined(_WIN32)
// Stands before the system's. Where FFTW is not installed, its name finds what is open already.
extern "C" __attribute__((visibility("default"))) void* dlopen(const char* name, int flags)
{
    using Open = void* (*)(const char*, int);
    static const auto original = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
    const bool isFftw = name != nullptr && std::string_view(name) == "libfftw3.so.3";
    return original(name, isFftw && !fftwIsInstalled ? flags | RTLD_NOLOAD : flags);
}
#endif

namespace {

using namespace Harmotrack;

void check(bool condition, const std::string& sentence)
{
    if (condition) return;
    std::printf("Not so: %s\n", sentence.c_str());
    std::exit(1);
}

template <typename Call>
std::string sentenceOf(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return {};
}

// Order 4 of amplitude 3, at 32 samples a turn, in blocks of 128 samples.
double amplitudeOfOrder4()
{
    AnalyzerSetup setup;
    setup.sampleRate = 1024.0;
    setup.binning = {.minValue = 1000.0F, .maxValue = 2000.0F, .step = 100.0F};
    setup.orders = {.orderResolution = 0.25F, .maxOrder = 16, .harmonicOrders = {}};
    setup.results.binOrderSpectrum = true;
    Analyzer<Mode::OneReal> analyzer(setup);
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
    while (analyzer.next()) {
    }
    return static_cast<double>(analyzer.binOrderSpectrum(2)[16]);
}

void checkThatItIsInUse(Transform expected, const std::string& ownFile)
{
    const TransformInUse transform = transformInUse();
    const std::filesystem::path file(transform.pathUtf8);
    const bool isOwn = std::filesystem::exists(file) && std::filesystem::equivalent(file, ownFile);
    check(isOwn == (expected == Transform::Own), "it comes out of " + transform.pathUtf8);
    check(transform.name.rfind(isOwn ? "rustfft-6." : "fftw-3.", 0) == 0,
          "its name is " + transform.name);
    check(std::abs(amplitudeOfOrder4() - 3.0) < 1e-5, "order 4 reads its amplitude");
}

void checkThatAnotherIsRefused(Transform other)
{
    const std::string sentence = sentenceOf([&] { useTransform(other); });
    check(sentence.find("is loaded already") != std::string::npos, "another one: " + sentence);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what was not expected ends the test
int main(int argc, char** argv)
{
    if (argc < 3) return 2;
    const std::string_view what = argv[1];
    const std::string ownFile = argv[2];
    if (what == "left alone") {
        checkThatItIsInUse(Transform::Fftw, ownFile);
        checkThatAnotherIsRefused(Transform::Own);
    } else if (what == "without FFTW") {
        fftwIsInstalled = false;
        const std::string sentence = sentenceOf([] { useTransform(Transform::Fftw); });
        check(sentence.find("install it") != std::string::npos, "FFTW is missing: " + sentence);
        checkThatItIsInUse(Transform::Own, ownFile);
    } else if (what == "preloaded") {
        checkThatAnotherIsRefused(Transform::Fftw);
        checkThatItIsInUse(Transform::Own, ownFile);
    } else if (what == "missing") {
        const std::string sentence = sentenceOf([] { useTransform(Transform::Own); });
        check(sentence.find("can not be loaded") != std::string::npos, "none there: " + sentence);
        checkThatItIsInUse(Transform::Fftw, ownFile);
    } else {
        const Transform choice = what == "own" ? Transform::Own : Transform::Fftw;
        useTransform(choice);
        checkThatItIsInUse(choice, ownFile);
        useTransform(choice);
        useTransform(Transform::Automatic);
        checkThatAnotherIsRefused(choice == Transform::Own ? Transform::Fftw : Transform::Own);
        checkThatItIsInUse(choice, ownFile);
    }
    return 0;
}
