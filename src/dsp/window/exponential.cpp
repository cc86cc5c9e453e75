#include "dsp/window/exponential.h"

#include <cmath>
#include <limits>

namespace Velmora::KorLib::Dsp::Window {

template <std::same_as<double> T>
Exponential<T>::Exponential(std::uint64_t size, double finalValue)
{
    this->beginUpdate();
    this->setSize(size);
    setFinalValue(finalValue);
    this->endUpdate();
}

template <std::same_as<double> T>
void Exponential<T>::update()
{
    this->samples_.resize(this->size_);
    if (this->size_ == 0) {
        this->amplitudeCorrection_ = 0.0;
        return;
    }

    const double logFinal = std::log(finalValue_);
    const auto N = static_cast<double>(this->size_);
    for (std::uint64_t i = 0; i < this->size_; ++i)
        this->samples_[i] = std::exp(static_cast<double>(i) * logFinal / N);
    measureCorrectionFactors();
}

template <std::same_as<double> T>
void Exponential<T>::measureCorrectionFactors()
{
    double sum = 0.0;
    double sumOfSquares = 0.0;
    for (const double w : this->samples_) {
        sum += w;
        sumOfSquares += w * w;
    }
    const auto N = static_cast<double>(this->size_);
    const double mean = sum / N;
    const double meanSquare = sumOfSquares / N;

    this->amplitudeCorrection_ = 1.0 / mean;
    this->noiseBandwidth_ = meanSquare / (mean * mean);
    this->energyCorrection_ = 1.0 / meanSquare;
    this->energyToAmplitude_ = std::numeric_limits<double>::quiet_NaN();
}

template <std::same_as<double> T>
std::unique_ptr<Window<T>> Exponential<T>::clone() const
{
    return std::make_unique<Exponential>(*this);
}

template <std::same_as<double> T>
bool Exponential<T>::equals(const Window<T>& other) const
{
    const double difference = finalValue_ - dynamic_cast<const Exponential&>(other).finalValue_;
    return std::abs(difference) <= std::numeric_limits<double>::epsilon();
}

template <std::same_as<double> T>
void Exponential<T>::setFinalValue(double value)
{
    if (value > 0.0 && value <= 1.0) finalValue_ = value;
    this->changed();
}

template class Exponential<double>;

} // namespace Velmora::KorLib::Dsp::Window
