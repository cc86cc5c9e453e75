// A process that finds no FFTW that is fit for use: the exception comes through the boundary, with
// its text. The arguments are the path of the library and the text, and the path of a library that
// is opened beforehand, if there is one.

#define HARMOTRACK_NO_PROTOTYPES
#include "harmotrack/harmotrack.h"

#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <stdexcept>
#include <string>

namespace {

std::string libraryPath;
std::string expectedText;

TEST(MissingFftw, LeavesCreateAsARuntimeErrorThatSaysWhatIsMissing)
{
    const auto library = Velmora::Platform::SharedLibrary::open(libraryPath);
    ASSERT_TRUE(library) << libraryPath;
    const auto create =
        reinterpret_cast<AnalyzerHandle (*)(std::int32_t)>(library.symbol("create"));
    std::string text = "no failure";
    try {
        static_cast<void>(create(HARMOTRACK_MODE_ONE_REAL));
    } catch (const std::runtime_error& error) {
        text = error.what();
    }
    EXPECT_EQ(text, expectedText);
}

} // namespace

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    if (argc > 1) libraryPath = argv[1];
    if (argc > 2) expectedText = argv[2];
    if (argc > 3) static_cast<void>(Velmora::Platform::SharedLibrary::open(argv[3]));
    return RUN_ALL_TESTS();
}
