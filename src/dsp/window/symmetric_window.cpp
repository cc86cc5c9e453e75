#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
bool SymmetricWindow<T>::equals(const Window<T>& other) const
{
    return periodic_ == dynamic_cast<const SymmetricWindow&>(other).periodic_;
}

template <typename T>
double SymmetricWindow<T>::denominator() const
{
    if (this->size_ <= 1) return 1.0;
    return static_cast<double>(periodic_ == 0 ? this->size_ - 1 : this->size_);
}

template class SymmetricWindow<double>;
template class SymmetricWindow<float>;

} // namespace Velmora::KorLib::Dsp::Window
