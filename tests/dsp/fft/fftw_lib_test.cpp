#include "dsp/fft/fftw_lib.h"

#include "dsp/fft/fft.h"
#include "dsp/fft/fftw_lib_error.h"

#include <gtest/gtest.h>

#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

TEST(FFTWLib, EachObjectIsOneUserForAsLongAsItLives)
{
    auto& library = FFTWLib<double>::instance();
    const std::int32_t before = library.referenceCount();
    {
        const FFT<double> real(kScaleToAmplitude, kInPlace);
        const FFT<std::complex<double>> complex(kScaleToAmplitude, kSeparate);
        EXPECT_EQ(library.referenceCount(), before + 2);
    }
    EXPECT_EQ(library.referenceCount(), before);
}

TEST(FFTWLib, SinglePrecisionHasNamesOfItsOwnAndNoUsers)
{
    auto& single = FFTWLib<float>::instance();
    EXPECT_STREQ(single.prefix(), "fftwf_");
    EXPECT_STREQ(FFTWLib<double>::instance().prefix(), "fftw_");
    EXPECT_STRNE(single.libraryName(), FFTWLib<double>::instance().libraryName());
    EXPECT_EQ(single.referenceCount(), 0);
    EXPECT_EQ(single.functions().execute, nullptr);
}

// A host cannot see our own type, and catches its base.
TEST(FFTWLibError, IsARuntimeErrorThatCarriesItsText)
{
    static_assert(std::is_base_of_v<std::runtime_error, FFTWLibError>);
    EXPECT_STREQ(FFTWLibError("Failed to load FFTWLib").what(), "Failed to load FFTWLib");
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft
