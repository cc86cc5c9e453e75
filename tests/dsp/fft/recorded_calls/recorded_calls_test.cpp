// What a transform asks of FFTW, and under which lock. Run by ctest, which puts the recording
// library ahead on the search path.

#include "recording_fftw.h"

#include "any_fft.h"
#include "dsp/fft/fft.h"
#include "dsp/fft/fftw_lib.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <thread>
#include <vector>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Complex = std::complex<double>;

class RecordedCalls : public testing::Test {
protected:
    struct Call {
        FftwCall fftw;
        bool plannerLocked;
    };

    void SetUp() override
    {
        calls.clear();
        library_ = Platform::SharedLibrary::open(FFTWLib<double>::instance().libraryName());
        fftw_ = static_cast<RecordingFftw*>(library_.symbol("recordingFftw"));
        ASSERT_NE(fftw_, nullptr) << "the recording library is not first on the search path";
        *fftw_ = {&observe, 0, -1};
    }

    void TearDown() override { library_.close(); }

    [[nodiscard]] RecordingFftw& fftw() { return *fftw_; }

    /// Names of the calls since the last time, with sizes where a call has one.
    static std::vector<std::string> takeNames()
    {
        std::vector<std::string> names;
        for (const Call& call : calls) {
            const std::string size = std::to_string(call.fftw.size);
            names.push_back(call.fftw.size == 0 ? call.fftw.function
                                                : call.fftw.function + (" " + size));
        }
        calls.clear();
        return names;
    }

    static inline std::vector<Call> calls;

private:
    static void observe(const FftwCall* call)
    {
        calls.push_back({*call, isLocked(FFTWLib<double>::instance().plannerMutex())});
    }

    // A thread may not try a mutex that it holds itself.
    static bool isLocked(std::mutex& mutex)
    {
        bool locked = true;
        std::thread([&] {
            if (!mutex.try_lock()) return;
            locked = false;
            mutex.unlock();
        }).join();
        return locked;
    }

    Platform::SharedLibrary library_;
    RecordingFftw* fftw_ = nullptr;
};

TEST_F(RecordedCalls, NewObjectAsksNothing)
{
    {
        FFT<double> fft(kScaleToAmplitude, kInPlace);
        fft.execute();
        fft.setSize(0);
    }
    EXPECT_THAT(takeNames(), IsEmpty());
}

TEST_F(RecordedCalls, EachSizeGivesBackPlanAndBuffersAndMakesNewOnes)
{
    auto fft = std::make_unique<FFT<double>>(kScaleToAmplitude, kInPlace);
    fft->setSize(1024);
    const fftw_plan firstPlan = fft->plan();
    const double* const firstBuffer = fft->timeData();
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 1026", "plan_dft_r2c_1d 1024"));

    fft->setSize(512);
    EXPECT_EQ(calls[0].fftw.in, firstPlan);
    EXPECT_EQ(calls[1].fftw.in, firstBuffer);
    EXPECT_NE(fft->timeBuffer.begin, firstBuffer);
    EXPECT_THAT(takeNames(),
                ElementsAre("destroy_plan", "free", "alloc_real 514", "plan_dft_r2c_1d 512"));

    fft.reset();
    EXPECT_THAT(takeNames(), ElementsAre("destroy_plan", "free"));
}

// A cache would save nothing: an unchanged size is not set again by those who care.
TEST_F(RecordedCalls, TheSameSizeIsPlannedAnewToo)
{
    FFT<double> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(8);
    takeNames();
    fft.setSize(8);
    EXPECT_THAT(takeNames(),
                ElementsAre("destroy_plan", "free", "alloc_real 10", "plan_dft_r2c_1d 8"));
}

TEST_F(RecordedCalls, SeparateBuffersAreTakenAndGivenBackOneByOne)
{
    auto fft = std::make_unique<FFT<double>>(kScaleToAmplitude, kSeparate);
    fft->setSize(5);
    const double* const spectrum = fft->spectrumData();
    const double* const time = fft->timeData();
    EXPECT_EQ(calls[0].fftw.result, spectrum);
    EXPECT_EQ(calls[1].fftw.result, time);
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 6", "alloc_real 5", "plan_dft_r2c_1d 5"));

    fft.reset();
    EXPECT_THAT((std::vector<const void*>{calls[1].fftw.in, calls[2].fftw.in}),
                testing::UnorderedElementsAre(time, spectrum));
    EXPECT_THAT(takeNames(), ElementsAre("destroy_plan", "free", "free"));
}

TEST_F(RecordedCalls, PlansGoFromSamplesToLinesOrBack)
{
    FFT<double> real(kScaleToAmplitude, kSeparate);
    real.setSize(8);
    EXPECT_STREQ(calls.back().fftw.function, "plan_dft_r2c_1d");
    EXPECT_EQ(calls.back().fftw.in, real.timeData());
    EXPECT_EQ(calls.back().fftw.out, real.spectrumData());
    EXPECT_EQ(calls.back().fftw.flags, 64U);

    AnyFFT<double> realBack(kScaleToAmplitude, kInverse, kSeparate);
    realBack.setSize(8);
    EXPECT_STREQ(calls.back().fftw.function, "plan_dft_c2r_1d");
    EXPECT_EQ(calls.back().fftw.in, realBack.spectrumData());
    EXPECT_EQ(calls.back().fftw.out, realBack.timeData());
    EXPECT_EQ(calls.back().fftw.flags, 64U);

    FFT<Complex> complex(kScaleToAmplitude, kSeparate);
    complex.setSize(8);
    EXPECT_STREQ(calls.back().fftw.function, "plan_dft_1d");
    EXPECT_EQ(calls.back().fftw.in, complex.timeData());
    EXPECT_EQ(calls.back().fftw.out, complex.spectrumData());
    EXPECT_EQ(calls.back().fftw.sign, -1);
    EXPECT_EQ(calls.back().fftw.flags, 64U);

    AnyFFT<Complex> complexBack(kScaleToAmplitude, kInverse, kSeparate);
    complexBack.setSize(8);
    EXPECT_STREQ(calls.back().fftw.function, "plan_dft_1d");
    EXPECT_EQ(calls.back().fftw.in, complexBack.spectrumData());
    EXPECT_EQ(calls.back().fftw.out, complexBack.timeData());
    EXPECT_EQ(calls.back().fftw.sign, +1);
    EXPECT_EQ(calls.back().fftw.flags, 64U);
}

// Also in the destructor.
TEST_F(RecordedCalls, AllButExecutingHappensUnderThePlannerLock)
{
    {
        FFT<double> fft(kScaleToAmplitude, kSeparate);
        fft.setSize(8);
        fft.execute();
        fft.executeRaw();
        fft.setSize(0);
        fft.setSize(8);
    }
    ASSERT_EQ(calls.size(), 14U);
    for (const Call& call : calls)
        EXPECT_EQ(call.plannerLocked, std::string(call.fftw.function) != "execute")
            << call.fftw.function;
}

TEST_F(RecordedCalls, DirectionOfNeitherWayHasBuffersButNoPlanAndTheDestructorLeavesThem)
{
    {
        AnyFFT<double> fft(kScaleToAmplitude, 0, kInPlace);
        fft.setSize(8);
        EXPECT_EQ(fft.plan(), nullptr);
        EXPECT_EQ(fft.timeBuffer.count, 8U);
        fft.execute();
    }
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 10"));
}

TEST_F(RecordedCalls, BuffersWithoutAPlanAreGivenBackBySizeZero)
{
    {
        AnyFFT<double> fft(kScaleToAmplitude, 0, kInPlace);
        fft.setSize(8);
        fft.setSize(0);
    }
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 10", "free"));
}

TEST_F(RecordedCalls, PlacementOfNeitherKindHasAPlanButNoBuffersAndTheDestructorLeavesIt)
{
    {
        FFT<double> fft(kScaleToAmplitude, 2);
        fft.setSize(8);
        EXPECT_NE(fft.plan(), nullptr);
        EXPECT_EQ(calls.back().fftw.in, nullptr);
        EXPECT_EQ(calls.back().fftw.out, nullptr);
        EXPECT_EQ(fft.timeBuffer.begin, nullptr);
        EXPECT_EQ(fft.timeBuffer.end, nullptr);
        EXPECT_EQ(fft.timeLength(), 8U);
        EXPECT_EQ(fft.timeBuffer.count, 8U);
        EXPECT_EQ(fft.spectrumBuffer.count, 5U);
    }
    EXPECT_THAT(takeNames(), ElementsAre("plan_dft_r2c_1d 8"));
}

TEST_F(RecordedCalls, PlanWithoutBuffersIsGivenBackBySizeZero)
{
    FFT<double> fft(kScaleToAmplitude, 2);
    fft.setSize(8);
    fft.setSize(0);
    EXPECT_EQ(fft.timeBuffer.count, 0U);
    EXPECT_THAT(takeNames(), ElementsAre("plan_dft_r2c_1d 8", "destroy_plan"));
}

TEST_F(RecordedCalls, RefusedPlanIsNotReportedAndExecutesNothing)
{
    fftw().plansFail = 1;
    {
        FFT<double> fft(kScaleToAmplitude, kInPlace);
        fft.setSize(4);
        fft.timeBuffer.begin[0] = 3.0;
        fft.execute();
        EXPECT_EQ(fft.spectrumBuffer.begin[0].real(), 3.0);
    }
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 6", "plan_dft_r2c_1d 4"));
}

TEST_F(RecordedCalls, MissingMemoryThrowsAndLeavesTheObjectEmpty)
{
    fftw().allocationsLeft = 1;
    FFT<double> fft(kScaleToAmplitude, kSeparate);
    EXPECT_THROW(fft.setSize(4), std::bad_alloc);
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 6", "alloc_real 4", "free"));
    EXPECT_EQ(fft.spectrumData(), nullptr);
    EXPECT_EQ(fft.spectrumBuffer.begin, nullptr);
    EXPECT_EQ(fft.spectrumBuffer.count, 0U);
    fft.execute();

    fftw().allocationsLeft = -1;
    fft.setSize(4);
    EXPECT_THAT(takeNames(), ElementsAre("alloc_real 6", "alloc_real 4", "plan_dft_r2c_1d 4"));
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft
