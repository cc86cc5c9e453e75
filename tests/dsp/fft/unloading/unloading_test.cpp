#include "dsp/fft/fft.h"
#include "dsp/fft/fftw_lib.h"

#include <gtest/gtest.h>

#include <dlfcn.h>

#include <memory>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

/// The loaded FFTW, to be closed again; null if it is not loaded.
void* openIfLoaded()
{
    return dlopen(FFTWLib<double>::instance().libraryName(), RTLD_NOW | RTLD_NOLOAD);
}

bool isLoaded()
{
    void* const library = openIfLoaded();
    if (library != nullptr) dlclose(library);
    return library != nullptr;
}

// The tables of FFTW's planner would be lost with the library, and a leak detector would say so.
void clearPlannerTables()
{
    void* const library = openIfLoaded();
    reinterpret_cast<void (*)()>(dlsym(library, "fftw_cleanup"))();
    dlclose(library);
}

double firstLineOfOnes(FFT<double>& fft)
{
    fft.setSize(8);
    std::fill(fft.timeBuffer.begin, fft.timeBuffer.end, 1.0);
    fft.execute();
    return fft.spectrumBuffer.begin[0].real();
}

TEST(FFTWLib, IsLoadedWithTheFirstObjectAndUnloadedWithTheLast)
{
    ASSERT_FALSE(isLoaded());
    for (int cycle = 0; cycle < 3; ++cycle) {
        auto first = std::make_unique<FFT<double>>(kScaleToAmplitude, kInPlace);
        EXPECT_TRUE(isLoaded());
        auto second = std::make_unique<FFT<double>>(kScaleToAmplitude, kInPlace);
        EXPECT_EQ(FFTWLib<double>::instance().referenceCount(), 2);

        first.reset();
        EXPECT_TRUE(isLoaded());
        EXPECT_EQ(firstLineOfOnes(*second), 1.0);

        second->setSize(0);
        clearPlannerTables();
        second.reset();
        EXPECT_FALSE(isLoaded());
        EXPECT_EQ(FFTWLib<double>::instance().referenceCount(), 0);
    }
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft
