#include "host/tracker_lease.h"

#include <mutex>
#include <utility>

namespace Harmotrack::Host {

struct TrackerLease::Entry {
    TrackerHandle handle = autotrackerCreate();
    Memory memory;
};

namespace {

std::mutex poolMutex;

// Idle entries outlive static destruction, so that no thread can meet a destroyed pool.
template <typename Entry>
std::vector<std::unique_ptr<Entry>>& idleEntries()
{
    static auto* entries = new std::vector<std::unique_ptr<Entry>>;
    return *entries;
}

} // namespace

TrackerLease::TrackerLease()
{
    const std::lock_guard lock(poolMutex);
    auto& idle = idleEntries<Entry>();
    if (idle.empty()) {
        entry_ = std::make_unique<Entry>();
        return;
    }
    entry_ = std::move(idle.back());
    idle.pop_back();
}

TrackerLease::~TrackerLease()
{
    const std::lock_guard lock(poolMutex);
    idleEntries<Entry>().push_back(std::move(entry_));
}

TrackerHandle TrackerLease::handle() const
{
    return entry_->handle;
}

TrackerLease::Memory& TrackerLease::memory()
{
    return entry_->memory;
}

} // namespace Harmotrack::Host
