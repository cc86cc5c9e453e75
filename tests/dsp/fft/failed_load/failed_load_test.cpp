// Runs in a process where a file ahead on the search path stands in for FFTW and cannot be used.
// Its one argument is the text that the failure must have. All truths are of the one first load of
// the process, and so stand in one test.

#include "dsp/fft/fft.h"
#include "dsp/fft/fftw_lib.h"
#include "dsp/fft/fftw_lib_error.h"

#include "platform/is_loaded.h"

#include <gtest/gtest.h>

#include <string>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

std::string expectedText;

void* pointer(const auto& function)
{
    return reinterpret_cast<void*>(function);
}

TEST(FailedLoad, ThrowsOnceStaysCountedAndIsNotTriedAgain)
{
    auto& library = FFTWLib<double>::instance();
    const auto textOfFailure = []() -> std::string {
        try {
            const FFT<double> first(kScaleToAmplitude, kInPlace);
        } catch (const FFTWLibError& error) {
            return error.what();
        }
        return "no failure";
    };
    EXPECT_EQ(textOfFailure(), expectedText);
    EXPECT_EQ(library.referenceCount(), 1);

    // What was loaded stays loaded, and the functions that come after the missing one stay null.
    EXPECT_EQ(isLoaded(library.libraryName()), expectedText != "Failed to load FFTWLib");
    EXPECT_EQ(pointer(library.functions().free), nullptr);

    {
        FFT<std::complex<double>> second(kScaleToAmplitude, kInPlace);
        EXPECT_EQ(library.referenceCount(), 2);
        second.execute();
        second.setSize(0);
        EXPECT_EQ(pointer(library.functions().free), nullptr);
    }
    EXPECT_EQ(library.referenceCount(), 1);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc == 2) Velmora::KorLib::Dsp::Fft::expectedText = argv[1];
    return RUN_ALL_TESTS();
}
