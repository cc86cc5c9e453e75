/// Every way to the C heap, counted: the program that this is linked to defines malloc and its
/// family itself, over those of glibc.
///
/// FFTW's execute has a buffer of its own for some sizes, as its planner finds best on the
/// processor: what FFTW calls for itself is told apart by the caller's address.
#ifndef HARMOTRACK_TESTS_BOUNDARY_COUNTED_HEAP_H
#define HARMOTRACK_TESTS_BOUNDARY_COUNTED_HEAP_H

#include <cstddef>
#include <cstdint>

namespace Boundary {

struct HeapCount {
    bool armed = false;
    std::int64_t allocations = 0;
    std::size_t bytes = 0;
    std::int64_t frees = 0;
    std::int64_t fftwBlocks = 0; ///< allocated by FFTW and not freed by it
};

extern HeapCount heapCount;

/// Counts from its construction to its end.
class Counting {
public:
    Counting() { heapCount = HeapCount{.armed = true}; }

    ~Counting() { heapCount.armed = false; }

    Counting(const Counting&) = delete;
    Counting& operator=(const Counting&) = delete;
};

} // namespace Boundary

#endif
