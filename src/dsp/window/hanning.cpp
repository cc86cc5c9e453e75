#include "dsp/window/hanning.h"

#include <cmath>
#include <numbers>

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
Hanning<T>::Hanning(std::uint64_t size, std::int32_t periodic) : SymmetricWindow<T>(size, periodic)
{
    Hanning::update();
}

template <typename T>
void Hanning<T>::update()
{
    this->generate([](double i, double D) {
        const double x = (i + i) * std::numbers::pi / D;
        return (1.0 - std::cos(x)) * 0.5;
    });
    this->setCorrectionFactors(correctionFactors(WindowType::Hanning));
}

template <typename T>
std::unique_ptr<Window<T>> Hanning<T>::clone() const
{
    return std::make_unique<Hanning>(*this);
}

template class Hanning<double>;
template class Hanning<float>;

} // namespace Velmora::KorLib::Dsp::Window
