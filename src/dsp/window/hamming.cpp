#include "dsp/window/hamming.h"

#include <cmath>
#include <numbers>

namespace Velmora::KorLib::Dsp::Window {

template <typename T>
Hamming<T>::Hamming(std::uint64_t size, std::int32_t periodic) : SymmetricWindow<T>(size, periodic)
{
    Hamming::update();
}

template <typename T>
void Hamming<T>::update()
{
    this->generate([](double i, double D) {
        const double x = (i + i) * std::numbers::pi / D;
        return 0.54 - 0.46 * std::cos(x);
    });
    this->setCorrectionFactors(correctionFactors(WindowType::Hamming));
}

template <typename T>
std::unique_ptr<Window<T>> Hamming<T>::clone() const
{
    return std::make_unique<Hamming>(*this);
}

template class Hamming<double>;
template class Hamming<float>;

} // namespace Velmora::KorLib::Dsp::Window
