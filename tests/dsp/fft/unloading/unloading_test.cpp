#include "dsp/fft/fft.h"
#include "dsp/fft/fftw_lib.h"

#include "platform/is_loaded.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

bool fftwIsLoaded()
{
    return isLoaded(FFTWLib<double>::instance().libraryName());
}

// The tables of FFTW's planner would be lost with the library, and a leak detector would say so.
void clearPlannerTables()
{
    auto library = Platform::SharedLibrary::open(FFTWLib<double>::instance().libraryName());
    reinterpret_cast<void (*)()>(library.symbol("fftw_cleanup"))();
    library.close();
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
    ASSERT_FALSE(fftwIsLoaded());
    for (int cycle = 0; cycle < 3; ++cycle) {
        auto first = std::make_unique<FFT<double>>(kScaleToAmplitude, kInPlace);
        EXPECT_TRUE(fftwIsLoaded());
        auto second = std::make_unique<FFT<double>>(kScaleToAmplitude, kInPlace);
        EXPECT_EQ(FFTWLib<double>::instance().referenceCount(), 2);

        first.reset();
        EXPECT_TRUE(fftwIsLoaded());
        EXPECT_EQ(firstLineOfOnes(*second), 1.0);

        second->setSize(0);
        clearPlannerTables();
        second.reset();
        EXPECT_FALSE(fftwIsLoaded());
        EXPECT_EQ(FFTWLib<double>::instance().referenceCount(), 0);
    }
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft
