#include <harmotrack/harmotrack.h>

#include <gtest/gtest.h>

#include <string>

namespace {

// Hosts compare numbers; packages, documents and people read the text.
TEST(Version, TextAndNumbersOfTheHeaderAgree)
{
    EXPECT_EQ(std::to_string(HARMOTRACK_VERSION_MAJOR) + "." +
                  std::to_string(HARMOTRACK_VERSION_MINOR) + "." +
                  std::to_string(HARMOTRACK_VERSION_PATCH),
              HARMOTRACK_VERSION);
}

} // namespace
