#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace Velmora::Platform {
namespace {

const std::string kProbe = PLATFORM_PROBE;

int callProbe(const SharedLibrary& library)
{
    return reinterpret_cast<int (*)()>(library.symbol("probeCount"))();
}

TEST(SharedLibrary, EmptyHandleHasNoSymbolsAndNothingToClose)
{
    SharedLibrary library;
    EXPECT_FALSE(library);
    EXPECT_EQ(library.symbol("malloc"), nullptr);
    library.close();
    EXPECT_FALSE(library);
}

TEST(SharedLibrary, NameThatLeadsNowhereGivesAnEmptyHandle)
{
    EXPECT_FALSE(SharedLibrary::open("libthere-is-no-such-library.so"));
    EXPECT_FALSE(SharedLibrary::open(kProbe + "/below-a-file"));
}

// The loader would take the empty name for the running program.
TEST(SharedLibrary, EmptyNameGivesAnEmptyHandle)
{
    EXPECT_FALSE(SharedLibrary::open(""));
}

// A lone continuation byte is no UTF-8.
TEST(SharedLibrary, NameThatIsNoUtf8GivesAnEmptyHandle)
{
    EXPECT_FALSE(SharedLibrary::open("\x80.so"));
}

TEST(SharedLibrary, FindsWhatTheLibraryExportsAndNothingElse)
{
    SharedLibrary library = SharedLibrary::open(kProbe);
    ASSERT_TRUE(library);
    EXPECT_NE(library.symbol("probeCount"), nullptr);
    EXPECT_EQ(library.symbol("probeCounts"), nullptr);
    library.close();
}

// The library's own counter starts anew when it was unloaded, and goes on when it was not.
TEST(SharedLibrary, StaysLoadedUntilItIsClosed)
{
    {
        const SharedLibrary library = SharedLibrary::open(kProbe);
        ASSERT_TRUE(library);
        EXPECT_EQ(callProbe(library), 1);
    }
    SharedLibrary library = SharedLibrary::open(kProbe);
    EXPECT_EQ(callProbe(library), 2);
    SharedLibrary copy = library;
    EXPECT_EQ(callProbe(copy), 3);

    library.close();
    EXPECT_FALSE(library);
    EXPECT_EQ(callProbe(copy), 4); // the first opening is still there
    copy.close();

    library = SharedLibrary::open(kProbe);
    EXPECT_EQ(callProbe(library), 1);
    library.close();
}

// Opened by a path relative to a working directory that then changes.
TEST(LibraryDirectory, IsTheFolderOfTheLibraryThatTheCodeLiesIn)
{
    namespace fs = std::filesystem;
    const fs::path folder = fs::path(kProbe).parent_path();
    const fs::path before = fs::current_path();

    fs::current_path(folder);
    SharedLibrary library = SharedLibrary::open("./" + fs::path(kProbe).filename().string());
    fs::current_path(before);
    ASSERT_TRUE(library);

    const std::string directory =
        reinterpret_cast<const char* (*)()>(library.symbol("probeDirectory"))();
#ifdef _WIN32
    EXPECT_EQ(directory, "");
#else
    EXPECT_EQ(directory, folder.string());
#endif
    library.close();
}

// Files stand side by side and are told apart by the suffix of the platform.
TEST(LibraryNames, EndInThePlatformsSuffix)
{
    EXPECT_NE(std::string(fftwLibraryName<double>()).find(sharedLibrarySuffix()),
              std::string::npos);
    EXPECT_NE(std::string(fftwLibraryName<float>()).find(sharedLibrarySuffix()), std::string::npos);
    EXPECT_STRNE(fftwLibraryName<double>(), fftwLibraryName<float>());
}

} // namespace
} // namespace Velmora::Platform
