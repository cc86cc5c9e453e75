#pragma once

#include <harmotrack/harmotrack.h>

#include <memory>
#include <vector>

namespace Harmotrack::Host {

/// A tracker for as long as a run needs it, with what it keeps pointers to.
///
/// autotrackerDestroy() leaves a tracker's working memory allocated, so no handle is ever destroyed
/// here: it goes back to a pool of idle ones, and the next lease takes it from there. A lease
/// serves one thread at a time; leases are independent, and the pool has a mutex.
class TrackerLease {
public:
    TrackerLease();
    ~TrackerLease();

    TrackerLease(const TrackerLease&) = delete;
    TrackerLease& operator=(const TrackerLease&) = delete;

    /// What the handle points to; it lives as long as the handle, in the pool too.
    struct Memory {
        TrackingSetup setup{};
        std::vector<float> orders;
        std::vector<double> ring;
    };

    [[nodiscard]] TrackerHandle handle() const;
    [[nodiscard]] Memory& memory();

private:
    struct Entry;

    std::unique_ptr<Entry> entry_;
};

} // namespace Harmotrack::Host
