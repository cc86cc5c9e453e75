#include "dsp/window/blackman.h"

#include <cmath>
#include <numbers>

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
Blackman<T>::Blackman(std::uint64_t size, std::int32_t periodic)
    : SymmetricWindow<T>(size, periodic)
{
    Blackman::update();
}

template <typename T>
void Blackman<T>::update()
{
    this->generate([](double i, double D) {
        const double x = i * (2.0 * std::numbers::pi) / D;
        return 0.08 * std::cos(2.0 * x) + (0.42 - 0.5 * std::cos(x));
    });
    this->setCorrectionFactors(correctionFactors(WindowType::Blackman));
}

template <typename T>
std::unique_ptr<Window<T>> Blackman<T>::clone() const
{
    return std::make_unique<Blackman>(*this);
}

template class Blackman<double>;
template class Blackman<float>;

} // namespace Velmora::KorLib::Dsp::Window
