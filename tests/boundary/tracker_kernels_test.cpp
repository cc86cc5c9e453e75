// Where the library finds its kernels. On Linux that is the folder that it lies in itself, wherever
// that is; on Windows it is the program's. If there are none, the exception comes through the
// boundary, with its text. The arguments are the path of the library, and those of the kernel
// libraries that lie where it looks.

#define HARMOTRACK_NO_PROTOTYPES
#include "harmotrack/harmotrack.h"

#include "platform/is_loaded.h"
#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

std::string libraryPath;
std::vector<std::string> kernelPaths;

using Velmora::Platform::SharedLibrary;

template <typename Function>
Function* find(const SharedLibrary& library, const char* name)
{
    return reinterpret_cast<Function*>(library.symbol(name));
}

TEST(TrackerKernels, AreLoadedByATrackerThatDecimates)
{
    const SharedLibrary library = SharedLibrary::open(libraryPath);
    ASSERT_TRUE(library) << libraryPath;
    const auto create = find<TrackerHandle()>(library, "autotrackerCreate");
    const auto setRate =
        find<void(TrackerHandle, double, int32_t)>(library, "autotrackerSetSampleRate");
    const auto setRing =
        find<void(TrackerHandle, SignalBuffer)>(library, "autotrackerSetSignalBuffer");
    const auto setSetup =
        find<void(TrackerHandle, TrackingSetup*)>(library, "autotrackerSetTrackingSetup");
    const auto preinitiate = find<void(TrackerHandle)>(library, "autotrackerPreinitiate");
    const auto initiate = find<void(TrackerHandle)>(library, "autotrackerInitiate");
    const auto update = find<void(TrackerHandle, int32_t)>(library, "autotrackerUpdateNewSamples");
    const auto calculate = find<TrackingResult(TrackerHandle)>(library, "autotrackerCalculate");

    const float order = 1.0F;
    std::vector<double> ring(1000, 1.0);
    TrackingSetup setup{};
    setup.minFrequency = 10.0;
    setup.maxFrequency = 100.0;
    setup.orderCount = 1;
    setup.orders = &order;
    static TrackerHandle tracker = create(); // reachable to the end: it is never destroyed
    const auto messageAt = [&](double rate) -> std::string {
        setRate(tracker, rate, 1);
        setSetup(tracker, &setup);
        setRing(tracker, {ring.data(), 1000, 0, 0, 0});
        preinitiate(tracker);
        initiate(tracker);
        update(tracker, 10);
        try {
            static_cast<void>(calculate(tracker));
        } catch (const std::runtime_error& error) {
            return error.what();
        }
        return "no failure";
    };
    const std::string expected =
        kernelPaths.empty() ? "Failed to initialize VexCalc." : "no failure";
    EXPECT_EQ(messageAt(300.0), "no failure");
    EXPECT_EQ(std::count_if(kernelPaths.begin(), kernelPaths.end(), isLoaded), 0);
    EXPECT_EQ(messageAt(20000.0), expected);
    EXPECT_EQ(messageAt(20000.0), expected);
    EXPECT_EQ(std::count_if(kernelPaths.begin(), kernelPaths.end(), isLoaded),
              kernelPaths.empty() ? 0 : 1);
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) libraryPath = argv[1];
    for (int i = 2; i < argc; ++i) kernelPaths.emplace_back(argv[i]);
    return RUN_ALL_TESTS();
}
