#include "dsp/window/transient.h"

namespace Velmora::KorLib::Dsp::Window {

template <std::same_as<double> T>
Transient<T>::Transient(std::uint64_t size, std::uint64_t length)
{
    this->beginUpdate();
    this->setSize(size);
    setLength(length);
    this->endUpdate();
}

template <std::same_as<double> T>
void Transient<T>::update()
{
    this->samples_.resize(this->size_);
    for (std::uint64_t i = 0; i < this->size_; ++i)
        this->samples_[i] = length_ == 0 || i < length_ ? 1.0 : 0.0;
    this->setCorrectionFactors(correctionFactors(WindowType::Transient));
}

template <std::same_as<double> T>
std::unique_ptr<Window<T>> Transient<T>::clone() const
{
    return std::make_unique<Transient>(*this);
}

template <std::same_as<double> T>
bool Transient<T>::equals(const Window<T>& other) const
{
    return length_ == dynamic_cast<const Transient&>(other).length_;
}

template <std::same_as<double> T>
void Transient<T>::setLength(std::uint64_t length)
{
    length_ = length;
    this->changed();
}

template class Transient<double>;

} // namespace Velmora::KorLib::Dsp::Window
