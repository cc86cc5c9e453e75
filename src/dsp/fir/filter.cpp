#include "dsp/fir/filter.h"

#include "dsp/fir/remez.h"
#include "dsp/window/blackman.h"
#include "dsp/window/flattop.h"
#include "dsp/window/hamming.h"
#include "dsp/window/hanning.h"
#include "dsp/window/kaiser.h"
#include "dsp/window/rectangle.h"
#include "kernels/kernel_table.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <utility>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

using std::numbers::pi;

constexpr std::int32_t kMinimumKernelVersion = 220;

// The least integer, which no design accepts, for what no integer holds.
std::int32_t orderOf(double value)
{
    using Limits = std::numeric_limits<std::int32_t>;
    const bool holds = value > Limits::min() && value < Limits::max();
    return holds ? static_cast<std::int32_t>(value) : Limits::min();
}

} // namespace

void Filter::setWindowDesign(FilterType filterType,
                             double transitionWidth,
                             double sampleRate,
                             double cutoff1,
                             double cutoff2,
                             FilterWindow windowType,
                             double attenuation)
{
    filterType_ = filterType;
    design_ = FilterDesign::WindowMethod;
    sampleRate_ = sampleRate;
    cutoff1_ = cutoff1;
    transitionWidth_ = transitionWidth;
    windowType_ = windowType;
    kaiserFromSpecification_ = 1;

    if (filterType == FilterType::BandPass || filterType == FilterType::BandStop) {
        if (cutoff1 > cutoff2) status_ = kInvalidDescription;
        cutoff2_ = cutoff2;
    }

    if (windowType == FilterWindow::Kaiser) {
        attenuation_ = attenuation;
        order_ = orderOf(std::ceil((std::max(8.0, std::abs(attenuation)) - 7.95) * sampleRate /
                                   (transitionWidth * 14.357078426905355)));
    } else {
        const auto window = static_cast<std::size_t>(windowType);
        const double factor = orderFactors_[std::min<std::size_t>(window, 4)];
        order_ = orderOf(std::round(sampleRate * 0.5 / (2.0 * transitionWidth) * factor));
    }

    normalise_ = true;
    changed();
}

void Filter::setEquirippleDesign(std::int32_t order,
                                 std::vector<double> bandEdgesInHertz,
                                 std::vector<double> bandGains,
                                 double sampleRate)
{
    design_ = FilterDesign::Equiripple;
    sampleRate_ = sampleRate;
    order_ = order;
    bandEdges_ = std::move(bandEdgesInHertz);
    for (double& edge : bandEdges_) edge = edge / (sampleRate * 0.5) * 0.5;
    bandGains_ = std::move(bandGains);
    changed();
}

void Filter::setCoefficients(const std::vector<double>& values)
{
    design_ = FilterDesign::Custom;
    coefficientList_.clear();
    order_ = static_cast<std::int32_t>(values.size());
    coefficients_ = allocateCoefficients(order_);
    std::transform(values.begin(), values.end(), coefficients_.begin(), [](double value) {
        return static_cast<float>(value);
    });
    history_ = AlignedFloats(values.size());
    changed();
}

void Filter::update()
{
    if (!isValid()) {
        status_ = design_ == FilterDesign::Custom ? kDesigned : kInvalidDescription;
        return;
    }
    if (design_ == FilterDesign::Equiripple) designEquiripple();
    if (design_ == FilterDesign::WindowMethod) designByWindow();
    if (normalise_) divideByReferenceGain();
    status_ = kDesigned;
}

void Filter::designByWindow()
{
    coefficientList_.clear();
    windowValues_.clear();
    if (!buildIdealResponse()) return;
    sumStepResponse();
    history_ = AlignedFloats(coefficients_.size());
    applyWindow();
}

// Returns whether there is one.
bool Filter::buildIdealResponse()
{
    const auto type = static_cast<std::uint32_t>(filterType_);
    if (type > static_cast<std::uint32_t>(FilterType::Hilbert)) {
        status_ = kInvalidDescription;
        coefficients_ = AlignedFloats();
        return false;
    }
    // Three types do not free what they replace, as the header says.
    if (filterType_ <= FilterType::BandPass) coefficients_.abandon();
    coefficients_ = allocateCoefficients(tapCount());
    const std::int32_t middle = order_ / 2;
    for (std::int32_t i = 0; i <= order_; ++i)
        coefficients_[static_cast<std::size_t>(i)] = idealTap(i - middle);
    return true;
}

float Filter::idealTap(std::int32_t d) const
{
    const double w1 = cutoff1_ / nyquist();
    const double w2 = cutoff2_ / nyquist();
    const double lo = std::min(w1, w2);
    const double hi = std::max(w1, w2);
    const double x = d * pi;
    const auto cut = [d, x](double w) { return d == 0 ? w : std::sin(x * w) / x; };

    switch (filterType_) {
    case FilterType::LowPass:
        return static_cast<float>(cut(w1));
    case FilterType::HighPass: {
        const auto w = static_cast<float>(w1);
        return d == 0 ? 1.0F - w : static_cast<float>(-cut(static_cast<double>(w)));
    }
    case FilterType::BandPass:
        return static_cast<float>(cut(hi) - cut(lo));
    case FilterType::BandStop:
        return static_cast<float>(d == 0 ? 1.0 - (hi - lo) : cut(lo) - cut(hi));
    default: // Hilbert
        return d % 2 == 0 ? 0.0F : static_cast<float>(2.0 / x);
    }
}

void Filter::sumStepResponse()
{
    stepResponse_.clear();
    double sum = 0.0;
    for (const float coefficient : coefficients_) {
        sum += static_cast<double>(coefficient);
        stepResponse_.push_back(static_cast<float>(sum));
    }
}

void Filter::applyWindow()
{
    const auto window = makeWindow();
    assert(window && window->size() >= coefficients_.size());
    windowValues_ = window->samples();
    for (std::size_t i = 0; i < coefficients_.size(); ++i) coefficients_[i] *= windowValues_[i];
}

std::unique_ptr<Window::Window<float>> Filter::makeWindow()
{
    constexpr std::int32_t symmetric = 0;
    const std::size_t size = coefficients_.size();
    switch (windowType_) {
    case FilterWindow::Blackman:
        return std::make_unique<Window::Blackman<float>>(size, symmetric);
    case FilterWindow::Rectangle:
        return std::make_unique<Window::Rectangle<float>>(size, symmetric);
    case FilterWindow::Hamming:
        return std::make_unique<Window::Hamming<float>>(size, symmetric);
    case FilterWindow::Hanning:
        return std::make_unique<Window::Hanning<float>>(size, symmetric);
    case FilterWindow::Kaiser:
        if (kaiserFromSpecification_ != 1)
            return std::make_unique<Window::Kaiser<float>>(size, symmetric, kaiserBeta_);
        return std::make_unique<Window::Kaiser<float>>(
            sampleRate_, transitionWidth_, attenuation_, symmetric);
    case FilterWindow::Flattop:
        return std::make_unique<Window::Flattop<float>>(size, symmetric);
    }
    status_ = kInvalidDescription;
    return nullptr;
}

void Filter::designEquiripple()
{
    constexpr std::int32_t symmetric = 1;
    constexpr std::int32_t gridDensity = 16;

    coefficientList_.clear();
    if (bandEdges_.empty()) fillDefaultBands();
    history_ = AlignedFloats(static_cast<std::size_t>(tapCount()));

    std::vector<double> gains = bandGains_;
    gains.resize(std::max(gains.size(), bandEdges_.size()));
    const std::vector<double> weights(bandEdges_.size() / 2, 1.0);
    std::vector<double> taps(static_cast<std::size_t>(tapCount()));
    const std::int32_t result = remez(taps.data(),
                                      tapCount(),
                                      static_cast<std::int32_t>(weights.size()),
                                      bandEdges_.data(),
                                      gains.data(),
                                      weights.data(),
                                      symmetric,
                                      gridDensity);
    if (result == -1) status_ = kNotConverged;

    coefficients_ = allocateCoefficients(tapCount());
    std::transform(taps.begin(), taps.end(), coefficients_.begin(), [](double tap) {
        return static_cast<float>(tap);
    });
}

void Filter::fillDefaultBands()
{
    const double w = transitionWidth_ / nyquist();
    const double f1 = cutoff1_ / nyquist() * 0.5;
    const double f2 = cutoff2_ / nyquist() * 0.5;
    bandEdges_ = {0.0, f1 - w, f1, 0.5};
    switch (filterType_) {
    case FilterType::LowPass:
        bandGains_ = {1.0, 1.0, 0.0, 0.0};
        break;
    case FilterType::HighPass:
        bandGains_ = {0.0, 0.0, 1.0, 1.0};
        break;
    case FilterType::BandPass:
        bandEdges_ = {0.0, f1 - w, f1, f2, f2 + w, 0.5};
        bandGains_ = {0.0, 0.0, 1.0, 1.0, 0.0, 0.0};
        break;
    case FilterType::BandStop:
        bandEdges_ = {0.0, f1 - w, f1, f2, f2 + w, 0.5};
        bandGains_ = {1.0, 1.0, 0.0, 0.0, 1.0, 1.0};
        break;
    default:
        status_ = kInvalidDescription;
        bandGains_.clear();
    }
}

void Filter::divideByReferenceGain()
{
    const auto gain = static_cast<float>(magnitudeAt(referenceFrequency()));
    for (float& coefficient : coefficients_) coefficient /= gain;
}

double Filter::referenceFrequency() const
{
    switch (filterType_) {
    case FilterType::HighPass:
        return nyquist();
    case FilterType::BandPass:
        return (cutoff1_ + cutoff2_) * 0.5;
    case FilterType::Hilbert:
        return sampleRate_ * 0.25;
    default:
        return 0.0;
    }
}

// Over k = 0 .. order: a filter of given coefficients has one tap fewer, and adds the zero behind.
std::complex<double> Filter::responseAt(double f) const
{
    const double omega = f * 2.0 * pi / sampleRate_;
    std::complex<double> sum = 0.0;
    if (!coefficients_) return sum;
    const std::size_t last = std::min(static_cast<std::size_t>(order_), coefficients_.size());
    for (std::size_t k = 0; k <= last; ++k)
        sum +=
            static_cast<double>(coefficients_[k]) * std::polar(1.0, static_cast<double>(k) * omega);
    return sum;
}

double Filter::magnitudeAt(double f) const
{
    const std::complex<double> response = responseAt(f);
    return std::hypot(response.real(), response.imag());
}

double Filter::phaseAt(double f) const
{
    const std::complex<double> response = responseAt(f);
    return std::atan2(response.imag(), response.real());
}

float Filter::process(float sample)
{
    const std::int32_t taps = tapCount();
    assert(position_ < taps && static_cast<std::size_t>(taps) <= coefficients_.size());
    history_[static_cast<std::size_t>(position_)] = sample;
    if (Kernels::initializeVexCalc(0, kMinimumKernelVersion, {}) == -1)
        throw std::runtime_error("Failed to initialize VexCalc.");
    const float y = Kernels::kernelTable.vexcalcFIRFilter_float(
        history_.data(), coefficients_.data(), taps, position_);
    --position_;
    if (position_ < 0) position_ += taps;
    return y;
}

void Filter::reset()
{
    std::fill(history_.begin(), history_.end(), 0.0F);
    position_ = 0;
}

std::int32_t Filter::tapCount() const
{
    return order_ + (design_ == FilterDesign::Custom ? 0 : 1);
}

std::vector<float> Filter::getCoefficients()
{
    const auto taps = static_cast<std::size_t>(std::max(tapCount(), 0));
    for (std::size_t i = 0; i < std::min(taps, coefficients_.size()); ++i)
        coefficientList_.push_back(coefficients_[i]);
    return coefficientList_;
}

bool Filter::isValid() const
{
    if (order_ > 0 && cutoff1_ > 0.0) return nyquist() > cutoff1_ && nyquist() > cutoff2_;
    return order_ > 0 &&
           (design_ == FilterDesign::Equiripple || filterType_ == FilterType::Hilbert);
}

AlignedFloats Filter::allocateCoefficients(std::int32_t count)
{
    return AlignedFloats(static_cast<std::size_t>(count));
}

} // namespace Velmora::KorLib::Dsp::Fir
