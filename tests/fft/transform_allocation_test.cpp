// Executing a plan allocates nothing: what it works in belongs to the plan. Every way to the C heap
// that Rust's library takes is counted: the process defines these functions over those of glibc.

#include "transform_library.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>

namespace {

int heapCalls = 0;

} // namespace

// NOLINTBEGIN(bugprone-reserved-identifier,readability-identifier-naming): names of the C library
extern "C" {
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t number, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);
void __libc_free(void* block);

void* malloc(size_t bytes) noexcept
{
    ++heapCalls;
    return __libc_malloc(bytes);
}

void* calloc(size_t number, size_t bytes) noexcept
{
    ++heapCalls;
    return __libc_calloc(number, bytes);
}

void* realloc(void* block, size_t bytes) noexcept
{
    ++heapCalls;
    return __libc_realloc(block, bytes);
}

int posix_memalign(void** block, size_t alignment, size_t bytes) noexcept
{
    ++heapCalls;
    *block = __libc_memalign(alignment, bytes);
    return *block == nullptr ? ENOMEM : 0;
}

void free(void* block) noexcept
{
    ++heapCalls;
    __libc_free(block);
}
}

// NOLINTEND(bugprone-reserved-identifier,readability-identifier-naming)

namespace {

class TransformAllocation : public testing::TestWithParam<Kind> {};

INSTANTIATE_TEST_SUITE_P(Kind,
                         TransformAllocation,
                         testing::Values(Kind::RealForward,
                                         Kind::RealBackward,
                                         Kind::ComplexForward,
                                         Kind::ComplexBackward));

TEST_P(TransformAllocation, ThereIsNoneInExecution)
{
    for (const int n : {1, 2, 3, 5, 31, 64, 97, 225, 1000, 1009, 4096, 9973, 16384, 16411, 65536}) {
        const Array input(ours(), 2 * static_cast<std::size_t>(n) + 2);
        const Array other(ours(), input.size());
        for (const Array* output : {&input, &other}) {
            for (std::size_t i = 0; i < input.size(); ++i) input[i] = 1.0;
            const int before = heapCalls;
            fftw_plan plan = planOf(ours(), GetParam(), n, input, *output);
            ASSERT_NE(plan, nullptr);
            EXPECT_GT(heapCalls, before) << "the calls are not counted";
            const int planned = heapCalls;
            ours().execute(plan);
            EXPECT_EQ(heapCalls, planned) << n;
            ours().destroyPlan(plan);
        }
    }
}

} // namespace
