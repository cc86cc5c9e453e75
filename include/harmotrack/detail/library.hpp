/// @file
/// The library of the process and the pool of its idle handles.
#ifndef HARMOTRACK_DETAIL_LIBRARY_HPP
#define HARMOTRACK_DETAIL_LIBRARY_HPP

#include <harmotrack/detail/functions.hpp>
#include <harmotrack/detail/require.hpp>
#include <harmotrack/detail/transform.hpp>
#include <harmotrack/setups.hpp>

#include <array>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack {

namespace Detail {

/// Asks for memory and gives it back at once: where the next step would end the process for want of
/// it, or fail for ever, a refusal here is an exception.
inline void reserve(std::size_t bytes)
{
    ::operator delete(::operator new(bytes));
}

/// FFTW ends the process if memory runs out while it plans. So more than it takes is reserved: for
/// transforms of so many samples in all up to 6 complex blocks, prime lengths being the worst, and
/// 0.3 MB of its own; the buffers and the windows, which are made in between, are 3 blocks.
inline void reserveForPlanning(std::size_t samples)
{
    constexpr std::size_t kBlocks = 12;
    constexpr std::size_t kPlanner = 1 << 20;
    reserve(kBlocks * samples * 2 * sizeof(double) + kPlanner);
}

/// What an idle analyzer is set up with: the smallest blocks there are, and every path, so that
/// each lets go of the tables that it had.
struct IdleAnalyzerSetup {
    static constexpr std::int32_t kSlots = 16; ///< two blocks

    BinningSetup binning{0, 0.0F, 0.0F, 1.0F, 0.0F, 0, 1.0};
    OrderSetup orders{1.0F, 4, 0, nullptr};
    AnalysisSetup analysis = [] {
        AnalysisSetup setup{};
        setup.fixedTimeLines = 1;
        setup.timeLines = 4;
        return setup;
    }();
    AnalyzerParameters everything{1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    AnalyzerParameters rowsAlone{0, 0, 0, 1, 1, 0, 0, 0, 0, 0};
    std::array<double, kSlots> silence{};
};

/// Makes a used analyzer as good as new and lets it point to no memory of anyone's.
///
/// A path that the next setup leaves out would keep its tables, and reset() would go on clearing
/// them: so all paths are initiated once, small, with null tables. What reset() leaves is undone by
/// a run over a few zeros that has a result: results count as dirty, so that the next reset()
/// clears every table, the turns and the delta means; the block's mean binned value is 0, so that
/// no delta is released for the sake of an old one; the speed is 0; a stop is news again.
///
/// @return  false if it failed: then the handle is not to be used again
inline bool detach(const Functions& c, AnalyzerHandle handle)
{
    static IdleAnalyzerSetup idle; // read alone, by all threads
    const double* zeros = idle.silence.data();
    constexpr std::int32_t kSlots = IdleAnalyzerSetup::kSlots;
    try {
        c.setBinningSetup(handle, &idle.binning);
        c.setOrderSetup(handle, &idle.orders);
        c.setAnalysisSetup(handle, &idle.analysis);
        c.setParameters(handle, &idle.everything);
        c.setSampleRate(handle, 8.0, 1);
        c.setInputBufferLimit(handle, 2 * kSlots);
        c.preinitiate(handle);
        c.setResampledBuffers(handle, {zeros, zeros, zeros, zeros, zeros, zeros, kSlots, 0, 0, 0});
        c.setTimeBuffers(handle, {zeros, zeros, kSlots, 0, 0});
        c.setResultBuffers(handle, {});
        reserveForPlanning(kSlots);
        std::int32_t error = 0;
        c.initiate(handle, &error);
        if (error != 0) return false;
        c.setParameters(handle, &idle.rowsAlone);
        c.reset(handle);
        c.updateBuffers(handle, kSlots, 0);
        return c.calculate(handle).timeOrderSpectrum != 0;
    } catch (...) {
        return false;
    }
}

/// What makes a tracker of a signal at 1000 Hz decimate, by 1000 / 4 / 20 = 12.
struct ThrowAwayTracker {
    static constexpr std::int32_t kSlots = 4096;

    ThrowAwayTracker()
    {
        setup.orders = &order;
        setup.orderCount = 1;
        setup.minFrequency = 10.0;
        setup.maxFrequency = 20.0;
    }

    ThrowAwayTracker(const ThrowAwayTracker&) = delete;
    ThrowAwayTracker& operator=(const ThrowAwayTracker&) = delete;

    float order = 1.0F;
    TrackingSetup setup{};
    std::vector<double> silence = std::vector<double>(kSlots);
};

/// The library, loaded or linked, and its handles. One per process; never destroyed, so that no
/// thread and no static object can meet a pool that is gone.
class Library {
public:
    static Library& instance()
    {
        static auto* library = new Library;
        return *library;
    }

    /// The table of the linked names, to be used unless load() comes first.
    bool offer(const Functions& linked)
    {
        const std::lock_guard lock(mutex_);
        if (!ready_) functions_ = linked;
        ready_ = true;
        return true;
    }

    void load(const std::string& pathUtf8)
    {
        const std::lock_guard lock(mutex_);
        void* const library = openLibrary(pathUtf8);
        if (library == nullptr)
            throw Error("The library " + pathUtf8 +
                        " can not be loaded: it is not there, or something that it needs is not.");
        if (library == loaded_) return;
        requireThat(loaded_ == nullptr && analyzers_.made + trackers_.made == 0,
                    "The library is in use already: load() is called once, before anything else.");
        Functions found{};
        // NOLINTNEXTLINE(bugprone-macro-parentheses): a member's name
#define HARMOTRACK_BIND(NAME) bind(found.NAME, library, #NAME, pathUtf8);
        HARMOTRACK_FUNCTIONS(HARMOTRACK_BIND)
#undef HARMOTRACK_BIND
        functions_ = found;
        loaded_ = library;
        ready_ = true;
    }

    /// Opens the transform, unless that is left to the first analyzer.
    void useTransform(Transform choice)
    {
        const std::lock_guard lock(mutex_);
        requireReady();
        if (choice != Transform::Automatic) openTransform(choice);
    }

    TransformInUse transformInUse()
    {
        const std::lock_guard lock(mutex_);
        requireReady();
        openTransform(Transform::Automatic);
        return transformUnderItsName();
    }

    const Functions& functions()
    {
        const std::lock_guard lock(mutex_);
        requireReady();
        return functions_;
    }

    AnalyzerHandle takeAnalyzer(Mode mode)
    {
        const std::lock_guard lock(mutex_);
        requireReady();
        auto& idle = analyzers_.idle[static_cast<std::size_t>(mode)];
        if (!idle.empty()) {
            AnalyzerHandle handle = idle.back();
            idle.pop_back();
            return handle;
        }
        return makeAnalyzer(mode);
    }

    /// Takes an analyzer back, unless it is not fit to be used again.
    void giveBack(AnalyzerHandle handle, Mode mode, bool fit) noexcept
    {
        fit = fit && detach(functions_, handle);
        const std::lock_guard lock(mutex_);
        analyzers_.keep(handle, fit ? static_cast<std::size_t>(mode) : kAbandoned);
    }

    TrackerHandle takeTracker()
    {
        const std::lock_guard lock(mutex_);
        requireReady();
        auto& idle = trackers_.idle[0];
        if (!idle.empty()) {
            TrackerHandle handle = idle.back();
            idle.pop_back();
            return handle;
        }
        try {
            trackers_.reserveOneMore();
            TrackerHandle handle = functions_.autotrackerCreate();
            ++trackers_.made;
            return handle;
        } catch (const std::bad_alloc&) {
            throw Error("Memory ran out for a tracker.");
        }
    }

    void giveBack(TrackerHandle handle, bool fit) noexcept
    {
        functions_.autotrackerSetTrackingSetup(handle, nullptr);
        functions_.autotrackerSetSignalBuffer(handle, {});
        const std::lock_guard lock(mutex_);
        trackers_.keep(handle, fit ? 0 : kAbandoned);
    }

    /// Initiates a tracker, one at a time: for the filter of a decimating one the library calls
    /// lgamma(), which writes a variable of the whole process.
    void initiateTracker(TrackerHandle handle)
    {
        const std::lock_guard lock(filterMutex_);
        functions_.autotrackerInitiate(handle);
    }

    /// Loads the kernels, which the library does without a lock at the first sample of the first
    /// decimating tracker: through a tracker that no one else has.
    void loadKernels();

    /// Runs what takes memory. If that runs out, even for the words that say so, a sentence says so
    /// that was made while there was some.
    template <typename Step>
    static auto withSentence(const Step& step) -> decltype(step())
    {
        try {
            return step();
        } catch (const std::bad_alloc&) {
            throw Error(instance().memoryRanOut_);
        } catch (const std::length_error&) {
            throw Error(instance().memoryRanOut_);
        }
    }

    PoolCounts analyzers(Mode mode)
    {
        const std::lock_guard lock(mutex_);
        return {analyzers_.made,
                analyzers_.idle[static_cast<std::size_t>(mode)].size(),
                analyzers_.idle[kAbandoned].size()};
    }

    PoolCounts trackers()
    {
        const std::lock_guard lock(mutex_);
        return {trackers_.made, trackers_.idle[0].size(), trackers_.idle[kAbandoned].size()};
    }

private:
    static constexpr std::size_t kAbandoned = 3; ///< behind the lists of the three modes

    /// Handles that no object has: idle ones by mode, and the abandoned, which stay reachable.
    template <typename Handle>
    struct Pool {
        std::array<std::vector<Handle>, kAbandoned + 1> idle;
        std::size_t made = 0;

        /// Leaves room for all handles there are and one more, so that giving back never fails.
        void reserveOneMore()
        {
            for (auto& handles : idle)
                if (handles.capacity() <= made) handles.reserve(2 * made + 4);
        }

        void keep(Handle handle, std::size_t list) noexcept { idle[list].push_back(handle); }
    };

    Library() = default;

    template <typename Function>
    static void
    bind(Function& function, void* library, const char* name, const std::string& pathUtf8)
    {
        function = reinterpret_cast<Function>(symbolOf(library, name));
        if (function == nullptr)
            throw Error("The library " + pathUtf8 + " has no function " + name +
                        ", so it is no harmotrack64 or one of another version.");
    }

    void requireReady() const
    {
        requireThat(ready_, "The library is not there yet: call Harmotrack::load() first.");
    }

    static constexpr const char* kNoFftw =
        "FFTW 3 (double precision) could not be loaded; install it (Debian's package "
        "libfftw3-double3) and start again.";

    /// After a failed create() the library does not look for FFTW again and hands out analyzers
    /// that jump through null pointers. So a transform is opened before, and stays open.
    AnalyzerHandle makeAnalyzer(Mode mode)
    {
        openTransform(Transform::Automatic);
        requireThat(!createFailed_, kNoFftw);
        try {
            constexpr std::size_t kSymbols = 1 << 20; // to look them up
            reserve(kSymbols);
            analyzers_.reserveOneMore();
            AnalyzerHandle handle = functions_.create(static_cast<std::int32_t>(mode));
            ++analyzers_.made;
            return handle;
        } catch (const std::bad_alloc&) {
            throw Error("Memory ran out for an analyzer.");
        } catch (const std::runtime_error&) {
            createFailed_ = true;
            throw Error(kNoFftw);
        }
    }

    /// The loader does not tell what it lacked: lack of memory must not pass for a lack of FFTW.
    void openTransform(Transform choice)
    {
        if (transformIsOpen_ && choice == Transform::Automatic) return;
        constexpr std::size_t kFileSize = 8 << 20;
        reserve(kFileSize);
        const void* const function = reinterpret_cast<const void*>(functions_.autotrackerCreate);
        const void* const place =
            loaded_ == nullptr ? placeOf(function, "autotrackerCreate") : function;
        requireThat(Detail::openTransform(choice, folderOf(fileOf(place))), kNoFftw);
        transformIsOpen_ = true;
    }

    const Error memoryRanOut_{"Memory ran out."};
    std::mutex mutex_;
    Functions functions_{};
    bool ready_ = false;
    void* loaded_ = nullptr; ///< never closed
    bool transformIsOpen_ = false;
    bool createFailed_ = false;
    Pool<AnalyzerHandle> analyzers_;
    Pool<TrackerHandle> trackers_;
    std::mutex kernelsMutex_;
    bool kernelsAreLoaded_ = false;
    std::mutex filterMutex_;
};

#if !defined(HARMOTRACK_NO_PROTOTYPES)
inline const bool kLinkedNamesOffered = Library::instance().offer([] {
    Functions linked{};
    // NOLINTNEXTLINE(bugprone-macro-parentheses): a member's name
#define HARMOTRACK_BIND(NAME) linked.NAME = &::NAME;
    HARMOTRACK_FUNCTIONS(HARMOTRACK_BIND)
#undef HARMOTRACK_BIND
    return linked;
}());
#endif

#undef HARMOTRACK_FUNCTIONS

// No std::call_once: that of MinGW never returns after a call that has thrown.
inline void Library::loadKernels()
{
    const std::lock_guard lock(kernelsMutex_);
    if (kernelsAreLoaded_) return;
    constexpr std::size_t kFileSize = 2 << 20;
    reserve(kFileSize); // the loader does not tell what it lacked
    ThrowAwayTracker throwAway;
    TrackerHandle tracker = takeTracker();
    try {
        functions_.autotrackerSetSampleRate(tracker, 1000.0, 1);
        functions_.autotrackerSetTrackingSetup(tracker, &throwAway.setup);
        functions_.autotrackerSetSignalBuffer(
            tracker, {throwAway.silence.data(), ThrowAwayTracker::kSlots, 0, 0, 0});
        functions_.autotrackerPreinitiate(tracker);
        initiateTracker(tracker);
        functions_.autotrackerReset(tracker);
        functions_.autotrackerUpdateNewSamples(tracker, 1);
        functions_.autotrackerCalculate(tracker);
    } catch (const std::bad_alloc&) {
        giveBack(tracker, false);
        throw Error("Memory ran out for a tracker.");
    } catch (const std::runtime_error&) {
        giveBack(tracker, true);
        throw Error("The kernel library could not be loaded, which trackers need that decimate: "
                    "the files vexcalc-..._64 belong into the folder of the library, on Windows "
                    "into that of the program.");
    }
    kernelsAreLoaded_ = true;
    giveBack(tracker, true);
}

} // namespace Detail

} // namespace Harmotrack

#endif
