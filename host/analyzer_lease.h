#pragma once

#include <harmotrack/harmotrack.hpp>

#include <cstdint>
#include <vector>

namespace Harmotrack::Host {

/// An analyzer for as long as a run needs it, with the four setup records that it reads: from the
/// pool of harmotrack.hpp, and back to it when the run is over. A lease serves one thread at a
/// time; leases are independent.
class AnalyzerLease {
public:
    /// @param mode  HARMOTRACK_MODE_...
    /// @throws HostError  FFTW is not there; the sentence names the package to install
    explicit AnalyzerLease(std::int32_t mode);

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
    Setups setups_;
    Detail::AnalyzerLease lease_; ///< the last member, so that it ends first
};

} // namespace Harmotrack::Host
