#include "dsp/window/kaiser.h"

#include <algorithm>
#include <cmath>

namespace Velmora::KorLib::Dsp::Window {

namespace {

std::uint64_t sizeFor(double sampleRate, double transitionWidth, double attenuation)
{
    constexpr double kWidthFactor = 14.357078426905355; // 2.285 * 2 pi
    const double order = std::ceil((std::max(8.0, std::abs(attenuation)) - 7.95) * sampleRate /
                                   (transitionWidth * kWidthFactor));

    // Converting what no size can hold is not defined; the largest size fails as out of memory.
    constexpr double kSizeEnd = 18446744073709551616.0; // 2^64
    const double size = order + 1.0;
    if (size >= kSizeEnd) return std::numeric_limits<std::uint64_t>::max();
    return size > 0.0 ? static_cast<std::uint64_t>(size) : 0;
}

double betaFor(double attenuation)
{
    if (attenuation > 50.0) return 0.1102 * (attenuation - 8.7);
    if (attenuation > 21.0)
        return 0.5842 * std::pow(attenuation - 21.0, 0.4) + 0.07886 * (attenuation - 21.0);
    return 0.0;
}

} // namespace

template <std::same_as<float> T>
Kaiser<T>::Kaiser(std::uint64_t size, std::int32_t periodic, double beta)
    : SymmetricWindow<T>(size, periodic), beta_(beta)
{
    Kaiser::update();
}

template <std::same_as<float> T>
Kaiser<T>::Kaiser(double sampleRate,
                  double transitionWidth,
                  double attenuation,
                  std::int32_t periodic)
    : Kaiser(sizeFor(sampleRate, transitionWidth, attenuation), periodic, betaFor(attenuation))
{
}

template <std::same_as<float> T>
void Kaiser<T>::update()
{
    this->samples_.clear();
    const double beta = beta_;
    const double scale = std::cyl_bessel_i(0.0, beta);
    this->generate([beta, scale](double i, double D) {
        const double h = D / 2.0;
        const double u = (i - h) / h;
        return std::cyl_bessel_i(0.0, beta * std::sqrt(1.0 - u * u)) / scale;
    });
}

template <std::same_as<float> T>
std::unique_ptr<Window<T>> Kaiser<T>::clone() const
{
    return std::make_unique<Kaiser>(*this);
}

template class Kaiser<float>;

} // namespace Velmora::KorLib::Dsp::Window
