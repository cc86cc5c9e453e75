#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Velmora::KorLib::Dsp {

/// Base of every object that derives data from parameters.
///
/// A setter of a subclass writes its field and calls changed(), which recomputes everything that
/// is derived, at once and under the object's mutex. A caller that sets several parameters
/// brackets them by beginUpdate() and endUpdate(), and one recomputation runs at the end:
///
///     object.beginUpdate();
///     object.setSize(1024);
///     object.setWeighting(WeightingType::A);
///     object.endUpdate();                        // update() runs here, once
///
/// Brackets may be nested; only the outermost end recomputes. Nothing compares old values with
/// new ones: a setter that stores the value that is already there recomputes too. An endUpdate()
/// without its beginUpdate() wraps the count, and the object never recomputes again.
///
/// The mutex serialises update() and nothing else. Setters write and readers read without it, so
/// an object's parameters must not change while another thread reads it. It is not recursive:
/// update() must not call changed() or endUpdate() on its own object.
class DspObject {
public:
    DspObject() = default;

    /// Takes over the depth of open batches, with a mutex of its own: a copy made inside a bracket
    /// is batching too, and has no bracket that would end it.
    DspObject(const DspObject& other);
    DspObject& operator=(const DspObject& other);
    virtual ~DspObject() = default;

    /// Recomputes everything that the subclass derives from its parameters.
    virtual void update() = 0;

    /// Opens a batch. Takes no lock.
    void beginUpdate();

    /// Closes a batch; the outermost one runs update() under the mutex. An exception of update()
    /// passes through, with the mutex free and the batch closed.
    /// @throws std::system_error  the mutex could not be locked; update() has not run
    void endUpdate();

    /// Runs update() under the mutex, unless a batch is open: then it returns at once, without
    /// the lock.
    /// @throws std::system_error  the mutex could not be locked; update() has not run
    void changed();

private:
    void lockedUpdate();

    std::mutex updateMutex_;
    std::atomic<std::uint32_t> updateCount_{0};
};

} // namespace Velmora::KorLib::Dsp
