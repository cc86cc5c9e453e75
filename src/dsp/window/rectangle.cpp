#include "dsp/window/rectangle.h"

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
Rectangle<T>::Rectangle(std::uint64_t size, std::int32_t periodic)
    : SymmetricWindow<T>(size, periodic)
{
    Rectangle::update();
}

template <typename T>
void Rectangle<T>::update()
{
    this->generate([](double, double) { return 1.0; });
    this->setCorrectionFactors(correctionFactors(WindowType::Rectangle));
}

template <typename T>
std::unique_ptr<Window<T>> Rectangle<T>::clone() const
{
    return std::make_unique<Rectangle>(*this);
}

template class Rectangle<double>;
template class Rectangle<float>;

} // namespace Velmora::KorLib::Dsp::Window
