#include "dsp/dsp_object.h"

namespace Velmora::KorLib::Dsp {

DspObject::DspObject(const DspObject& other) : updateCount_(other.updateCount_.load()) {}

DspObject& DspObject::operator=(const DspObject& other)
{
    if (this != &other) updateCount_.exchange(other.updateCount_.load());
    return *this;
}

void DspObject::beginUpdate()
{
    updateCount_.fetch_add(1);
}

void DspObject::endUpdate()
{
    if (updateCount_.fetch_sub(1) == 1) lockedUpdate();
}

void DspObject::changed()
{
    if (updateCount_.load() == 0) lockedUpdate();
}

void DspObject::lockedUpdate()
{
    const std::scoped_lock lock(updateMutex_);
    update();
}

} // namespace Velmora::KorLib::Dsp
