// A process that has no FFTW, or one that lacks functions, hears so each time that it wants an
// analyzer, and the library's create() is never asked again once it has failed. Processes of their
// own: the program's dlopen stands before the system's and answers for FFTW alone, with nothing or
// with the library in the first argument.
#include <harmotrack/harmotrack.hpp>

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

const char* substitute = nullptr; ///< for FFTW; null as long as there is none
bool fftwIsThere = false;
int creates = 0;

} // namespace

extern "C" __attribute__((visibility("default"))) void* dlopen(const char* name, int flags)
{
    using Open = void* (*)(const char*, int);
    static const auto original = reinterpret_cast<Open>(dlsym(RTLD_NEXT, "dlopen"));
    if (name == nullptr || std::strstr(name, "libfftw3") == nullptr || fftwIsThere)
        return original(name, flags);
    return substitute == nullptr ? nullptr : original(substitute, flags);
}

namespace {

using namespace Harmotrack;

void check(bool condition, const char* sentence)
{
    if (condition) return;
    std::printf("Not so: %s\n", sentence);
    std::exit(1);
}

std::string sentenceOfAnAnalyzer()
{
    AnalyzerSetup setup;
    setup.sampleRate = 1024.0;
    setup.binning.step = 1.0F;
    setup.results.binOrderSpectrum = true;
    try {
        Analyzer<Mode::OneReal> analyzer(setup);
    } catch (const Error& error) {
        return error.what();
    }
    return {};
}

AnalyzerHandle countedCreate(std::int32_t mode)
{
    ++creates;
    return ::create(mode);
}

} // namespace

// NOLINTNEXTLINE(bugprone-exception-escape): what was not expected ends the test
int main(int argc, char** argv)
{
    const_cast<Detail::Functions&>(Detail::Library::instance().functions()).create = countedCreate;
    if (argc > 1) substitute = argv[1];
    const std::string noFftw =
        "FFTW 3 (double precision) could not be loaded; install it (Debian's package "
        "libfftw3-double3) and start again.";

    check(sentenceOfAnAnalyzer() == noFftw, "the first analyzer has the sentence");
    check(sentenceOfAnAnalyzer() == noFftw, "and so has the second");
    check(creates == (argc > 1 ? 1 : 0), "create() is called only if FFTW can be opened, and once");

    fftwIsThere = true;
    if (argc > 1) {
        check(sentenceOfAnAnalyzer() == noFftw, "a process whose create() has failed is lost");
        check(creates == 1, "and does not call it again");
    } else {
        check(sentenceOfAnAnalyzer().empty(), "one that has called none starts with FFTW");
    }
    return 0;
}
