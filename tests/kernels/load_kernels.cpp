// The unit tests do not lie beside the kernel library, so it is loaded from where it was built.

#include "kernels/kernel_table.h"

#include <gtest/gtest.h>

namespace {

class LoadedKernels : public testing::Environment {
public:
    void SetUp() override
    {
        ASSERT_NE(Velmora::Kernels::initializeVexCalc(0, 220, HARMOTRACK_LIBRARY_DIR), -1);
    }
};

[[maybe_unused]] const testing::Environment* const kLoadedKernels =
    testing::AddGlobalTestEnvironment(new LoadedKernels);

} // namespace
