#define LAYOUT_FACT(name, condition) static_assert(condition, #name);
#include "record_layout.h"

#include <gtest/gtest.h>

#include <cstring>

extern "C" double scaleAsCReadsIt(const BinningSetup* setup);

namespace {

// The record is aligned, its double at offset 21 is not.
TEST(RecordLayout, ScaleAtItsOddOffsetReadsAlikeFromBytesFromCAndFromCxx)
{
    alignas(8) unsigned char bytes[sizeof(BinningSetup)] = {};
    const double scale = 0.1;
    std::memcpy(bytes + 21, &scale, sizeof scale);

    BinningSetup setup;
    std::memcpy(&setup, bytes, sizeof setup);
    const double read = setup.scale; // EXPECT_EQ takes references, which a packed field has none of
    EXPECT_EQ(read, scale);
    EXPECT_EQ(scaleAsCReadsIt(&setup), scale);
}

} // namespace
