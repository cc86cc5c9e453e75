#include "host/analysis/channel_runs.h"

#include "host/host_error.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <thread>
#include <utility>

namespace Harmotrack::Host {
namespace {

/// The channels of one call, taken one after the other by whoever is free.
class Work {
public:
    Work(std::span<const UniformSignal> signals,
         std::span<const AngleKnot> knots,
         const AnalysisSettings& settings)
        : signals_(signals), knots_(knots), run_(settings), results_(signals.size()),
          failures_(signals.size())
    {
    }

    /// Analyses one channel. @return  false if none is left
    bool takeOne()
    {
        const std::size_t c = next_++;
        if (c >= signals_.size()) return false;
        try {
            results_[c] = std::move(run_.runPasses(signals_.subspan(c, 1), knots_).front());
        } catch (...) {
            failures_[c] = std::current_exception();
        }
        ++done_;
        return true;
    }

    void stop() { next_ = signals_.size(); }

    [[nodiscard]] double share() const
    {
        return static_cast<double>(done_) / static_cast<double>(signals_.size());
    }

    std::vector<AnalysisResults> results()
    {
        for (const std::exception_ptr& failure : failures_) {
            if (failure) std::rethrow_exception(failure);
        }
        return std::move(results_);
    }

private:
    std::span<const UniformSignal> signals_;
    std::span<const AngleKnot> knots_;
    const AnalysisRun run_;
    std::atomic<std::size_t> next_{0};
    std::atomic<std::size_t> done_{0};
    std::vector<AnalysisResults> results_;
    std::vector<std::exception_ptr> failures_;
};

/// Threads that are joined however the scope is left.
class Helpers {
public:
    Helpers(Work& work, std::size_t count) : work_(work)
    {
        for (std::size_t i = 0; i < count; ++i)
            threads_.emplace_back([&work] {
                while (work.takeOne()) {
                }
            });
    }

    ~Helpers()
    {
        work_.stop();
        for (std::thread& thread : threads_) thread.join();
    }

    Helpers(const Helpers&) = delete;
    Helpers& operator=(const Helpers&) = delete;

private:
    Work& work_;
    std::vector<std::thread> threads_;
};

} // namespace

std::vector<AnalysisResults> analyseChannels(std::span<const UniformSignal> signals,
                                             std::span<const AngleKnot> knots,
                                             const AnalysisSettings& settings,
                                             unsigned threads,
                                             const AnalysisRun::Progress& progress)
{
    if (settings.passes == Passes::Apart)
        throw HostError("Passes apart give two sets of tables a channel, and one was asked for.");
    if (threads == 0) threads = std::max(std::thread::hardware_concurrency(), 1U);
    Work work(signals, knots, settings);
    {
        const std::size_t most = std::min<std::size_t>(threads, signals.size());
        const Helpers helpers(work, most - std::min<std::size_t>(most, 1));
        while (work.takeOne()) {
            if (progress && work.share() < 1.0) progress(work.share());
        }
    }
    if (progress && !signals.empty()) progress(1.0);
    return work.results();
}

} // namespace Harmotrack::Host
