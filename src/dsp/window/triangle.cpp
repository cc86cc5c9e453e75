#include "dsp/window/triangle.h"

#include <cmath>

namespace Velmora::KorLib::Dsp::Window {

template <std::same_as<double> T>
Triangle<T>::Triangle(std::uint64_t size, std::int32_t periodic)
    : SymmetricWindow<T>(size, periodic)
{
    Triangle::update();
}

template <std::same_as<double> T>
void Triangle<T>::update()
{
    this->generate([](double i, double D) { return 1.0 - std::abs((2.0 * i - D) / D); });
    this->setCorrectionFactors(correctionFactors(WindowType::Triangle));
}

template <std::same_as<double> T>
std::unique_ptr<Window<T>> Triangle<T>::clone() const
{
    return std::make_unique<Triangle>(*this);
}

template class Triangle<double>;

} // namespace Velmora::KorLib::Dsp::Window
