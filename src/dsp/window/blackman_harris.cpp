#include "dsp/window/blackman_harris.h"

#include <array>
#include <cmath>
#include <numbers>

namespace Velmora::KorLib::Dsp::Window {

template <std::same_as<double> T>
BlackmanHarris<T>::BlackmanHarris(std::uint64_t size, std::int32_t periodic)
    : SymmetricWindow<T>(size, periodic)
{
    BlackmanHarris::update();
}

template <std::same_as<double> T>
void BlackmanHarris<T>::update()
{
    constexpr std::array<double, 7> a = {0.271051400693424,
                                         0.433297939234485,
                                         0.21812299954311,
                                         0.065925446388031,
                                         0.010811742098371,
                                         0.000776584825226,
                                         1.3887217352e-5};
    this->generate([&a](double i, double D) {
        const double y = (i + 1.0) * (2.0 * std::numbers::pi) / D;
        return a[0] - a[1] * std::cos(y) + a[2] * std::cos(2.0 * y) - a[3] * std::cos(3.0 * y) +
               a[4] * std::cos(4.0 * y) - a[5] * std::cos(5.0 * y) + a[6] * std::cos(6.0 * y);
    });
    this->setCorrectionFactors(correctionFactors(WindowType::BlackmanHarris));
}

template <std::same_as<double> T>
std::unique_ptr<Window<T>> BlackmanHarris<T>::clone() const
{
    return std::make_unique<BlackmanHarris>(*this);
}

template class BlackmanHarris<double>;

} // namespace Velmora::KorLib::Dsp::Window
