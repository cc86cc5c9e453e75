#include "dsp/fft/fftw_lib.h"

#include <gtest/gtest.h>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

// FFTW's planner keeps tables of its own. Were the library unloaded between two tests, nothing
// would point at them any more, and a leak detector would rightly report them. So there is one
// user more, until the process ends.
class FftwKeptLoaded : public testing::Environment {
public:
    void SetUp() override { FFTWLib<double>::instance().acquire(); }
};

const testing::Environment* const kFftwKeptLoaded =
    testing::AddGlobalTestEnvironment(new FftwKeptLoaded);

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft
