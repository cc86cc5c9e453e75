#pragma once

#include <harmotrack/harmotrack.h>

#include <cstdint>
#include <memory>
#include <vector>

namespace Harmotrack::Host {

/// An analyzer for as long as a run needs it, with the four setup records that it reads.
///
/// destroy() leaves an analyzer's working memory allocated, so no handle is ever destroyed here: it
/// goes back to a pool of idle ones, by mode, and the next lease takes it from there. A process
/// needs as many handles as runs that work at once. The setups live as long as their handle, in the
/// pool too. A lease serves one thread at a time; leases are independent, and the pool has a mutex.
class AnalyzerLease {
public:
    /// @param mode  HARMOTRACK_MODE_...
    /// @throws HostError  FFTW is not there; the sentence names the package to install. The library
    ///                    tries once a process, so every later lease throws it too.
    explicit AnalyzerLease(std::int32_t mode);
    ~AnalyzerLease();

    AnalyzerLease(const AnalyzerLease&) = delete;
    AnalyzerLease& operator=(const AnalyzerLease&) = delete;

    /// The records that the handle keeps pointers to, and the array that one of them points to.
    struct Setups {
        BinningSetup binning{};
        OrderSetup orders{};
        AnalysisSetup analysis{};
        AnalyzerParameters parameters{};
        std::vector<float> harmonicOrders;
    };

    [[nodiscard]] AnalyzerHandle handle() const;
    [[nodiscard]] Setups& setups();

    /// The handle is in a state that no further run can trust; it will not go back to the pool.
    void discard();

private:
    struct Entry;

    std::unique_ptr<Entry> entry_;
    bool discarded_ = false;
};

} // namespace Harmotrack::Host
