#include "dsp/window/flattop.h"

#include <array>
#include <cmath>
#include <numbers>

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
Flattop<T>::Flattop(std::uint64_t size, std::int32_t periodic) : SymmetricWindow<T>(size, periodic)
{
    Flattop::update();
}

template <typename T>
void Flattop<T>::update()
{
    constexpr std::array<double, 5> a = {
        0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368};
    this->generate([&a](double i, double D) {
        const double x = i * (2.0 * std::numbers::pi) / D;
        return a[0] - a[1] * std::cos(x) + a[2] * std::cos(2.0 * x) - a[3] * std::cos(3.0 * x) +
               a[4] * std::cos(4.0 * x);
    });
    this->setCorrectionFactors(correctionFactors(WindowType::Flattop));
}

template <typename T>
std::unique_ptr<Window<T>> Flattop<T>::clone() const
{
    return std::make_unique<Flattop>(*this);
}

template class Flattop<double>;
template class Flattop<float>;

} // namespace Velmora::KorLib::Dsp::Window
