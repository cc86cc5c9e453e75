#include "dsp/frequency_domain_filter/frequency_domain_filter.h"

#include "dsp/frequency_domain_filter/complex_product.h"

#include <cmath>
#include <exception>

namespace Velmora::KorLib::Dsp::FrequencyDomainFilter {
namespace {

constexpr double kTwoPi = 6.283185307179586;

// What brings the curves to 1 at 1 kHz: 10^0.1, 10^0.0085 and 10^0.003.
constexpr double kGainA = 1.2589254117941673;
constexpr double kGainB = 1.019764760044717;
constexpr double kGainC = 1.0069316688518042;

// Callers catch std::exception and read its text; the type has no other meaning.
class FilterError : public std::exception {
public:
    explicit FilterError(const char* text) : text_(text) {}

    [[nodiscard]] const char* what() const noexcept override { return text_; }

private:
    const char* text_;
};

constexpr double squared(double x)
{
    return x * x;
}

// The two double poles that curves A, B and C have in common; F = f².
double commonFactor(double F)
{
    return squared(12194.0) * F / ((squared(20.6) + F) * (squared(12194.0) + F));
}

double curveA(double F)
{
    return commonFactor(F) * kGainA * F / std::sqrt((squared(107.7) + F) * (squared(737.9) + F));
}

double curveB(double f, double F)
{
    return commonFactor(F) * kGainB * f / std::sqrt(squared(158.5) + F);
}

double curveC(double F)
{
    return commonFactor(F) * kGainC;
}

// 1080769.16, and the squares of 79919.29 and 1345600, are the constants of this curve: not to be
// brought in line with a published one.
double curveD(double f, double F)
{
    const double h =
        (squared(1037918.48 - F) + 1080769.16 * F) / (squared(9837328.0 - F) + 11723776.0 * F);
    return std::sqrt(h / ((squared(79919.29) + F) * (squared(1345600.0) + F))) * f /
           6.8966888496476e-5;
}

} // namespace

WeightingType weightingFromSetup(std::uint32_t number)
{
    switch (number) {
    case 1:
        return WeightingType::A;
    case 2:
        return WeightingType::C;
    case 3:
        return WeightingType::Integrate;
    case 4:
        return WeightingType::DoubleIntegrate;
    case 5:
        return WeightingType::Differentiate;
    case 6:
        return WeightingType::DoubleDifferentiate;
    default:
        return WeightingType::Linear;
    }
}

template <typename T>
void FrequencyDomainFilter<T>::setOutputMode(OutputMode outputMode)
{
    outputMode_ = outputMode;
    changed();
}

template <typename T>
void FrequencyDomainFilter<T>::setWeighting(WeightingType weighting)
{
    weighting_ = weighting;
    changed();
}

template <typename T>
void FrequencyDomainFilter<T>::setFrequencies(T start, T step, std::size_t count)
{
    frequencies_.resize(count);
    for (std::size_t k = 0; k < count; ++k) frequencies_[k] = static_cast<T>(k) * step + start;
    changed();
}

template <typename T>
std::complex<T> FrequencyDomainFilter<T>::response(T frequency) const
{
    const T f = frequency;
    const T F = f * f;
    const T omega = kTwoPi * f;
    switch (weighting_) {
    case WeightingType::A:
        return curveA(F);
    case WeightingType::B:
        return curveB(f, F);
    case WeightingType::C:
        return curveC(F);
    case WeightingType::D:
        return curveD(f, F);
    case WeightingType::Linear:
        return 1.0;
    case WeightingType::Integrate:
        if (f == 0.0) return 0.0;
        return {0.0, -1.0 / omega};
    case WeightingType::DoubleIntegrate:
        if (f == 0.0) return 0.0;
        return -1.0 / squared(omega);
    case WeightingType::Differentiate:
        return {0.0, omega};
    case WeightingType::DoubleDifferentiate:
        return -squared(omega);
    }
    return 0.0;
}

template <typename T>
void FrequencyDomainFilter<T>::apply(std::span<std::complex<T>> spectrum) const
{
    if (spectrum.size() != magnitude_.size())
        throw FilterError("Size of spectrum must equal filter size");
    if (outputMode_ == OutputMode::Decibels)
        throw FilterError("Decibels filter cannot be applied to complex spectrum");
    multiply(spectrum, response_.data());
}

template <typename T>
void FrequencyDomainFilter<T>::update()
{
    magnitude_.resize(frequencies_.size());
    response_.resize(frequencies_.size());
    for (std::size_t k = 0; k < frequencies_.size(); ++k) {
        const std::complex<T> H = response(frequencies_[k]);
        const T modulus = std::hypot(H.real(), H.imag());
        if (outputMode_ == OutputMode::Linear) {
            magnitude_[k] = modulus;
            response_[k] = H;
        } else {
            magnitude_[k] = 20.0 * std::log10(modulus);
            response_[k] = 0.0;
        }
    }
}

template class FrequencyDomainFilter<double>;

} // namespace Velmora::KorLib::Dsp::FrequencyDomainFilter
