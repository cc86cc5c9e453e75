#include "host/analyzer_lease.h"

#include "host/host_error.h"

#include <algorithm>
#include <exception>
#include <mutex>
#include <stdexcept>
#include <utility>

namespace Harmotrack::Host {

struct AnalyzerLease::Entry {
    std::int32_t mode = 0;
    AnalyzerHandle handle = nullptr;
    Setups setups;
};

namespace {

constexpr const char* kNoFftw =
    "FFTW 3 (double precision) could not be loaded; install it (Debian's package libfftw3-double3) "
    "and start again.";

std::mutex poolMutex;
bool fftwMissing = false;

// Idle entries outlive static destruction, so that no thread can meet a destroyed pool.
template <typename Entry>
std::vector<std::unique_ptr<Entry>>& idleEntries()
{
    static auto* entries = new std::vector<std::unique_ptr<Entry>>;
    return *entries;
}

} // namespace

AnalyzerLease::AnalyzerLease(std::int32_t mode)
{
    const std::lock_guard lock(poolMutex);
    auto& idle = idleEntries<Entry>();
    const auto found = std::find_if(
        idle.begin(), idle.end(), [&](const auto& entry) { return entry->mode == mode; });
    if (found != idle.end()) {
        entry_ = std::move(*found);
        idle.erase(found);
        return;
    }
    // After a failed load the library hands out analyzers that can't be initiated.
    if (fftwMissing) throw HostError(kNoFftw);
    entry_ = std::make_unique<Entry>();
    entry_->mode = mode;
    try {
        entry_->handle = create(mode);
    } catch (const std::runtime_error&) {
        fftwMissing = true;
        throw HostError(kNoFftw);
    }
}

AnalyzerLease::~AnalyzerLease()
{
    const std::lock_guard lock(poolMutex);
    auto& idle = idleEntries<Entry>();
    if (!discarded_) {
        idle.push_back(std::move(entry_));
        return;
    }
    // Its working memory is lost with it, so it stays reachable instead.
    entry_->mode = -1;
    idle.push_back(std::move(entry_));
}

AnalyzerHandle AnalyzerLease::handle() const
{
    return entry_->handle;
}

AnalyzerLease::Setups& AnalyzerLease::setups()
{
    return entry_->setups;
}

void AnalyzerLease::discard()
{
    discarded_ = true;
}

} // namespace Harmotrack::Host
