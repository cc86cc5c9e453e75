#pragma once

#include "dsp/dsp_object.h"
#include "dsp/window/correction_factor.h"
#include "dsp/window/window_type.h"

#include <concepts>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmora::KorLib::Dsp::Window {

/// A window function: its samples, and the correction factors that belong to its shape.
///
/// T is double or float. All shapes compute in double; a float window rounds each sample when it
/// stores it, and each factor likewise. A window is generated when it is constructed and
/// generated anew by each setter, or once at the end of a batch (see DspObject); a
/// default-constructed one is empty and all its fields are 0. The samples are the only memory that
/// it owns. What a reader returned by reference is valid until the next generation.
///
/// An object serves one thread at a time; objects are independent.
template <typename T>
class Window : public DspObject {
public:
    /// Sets the memory of the samples to size() and computes samples and factors.
    /// @throws std::bad_alloc, std::length_error  the samples do not fit
    void update() override = 0;

    /// A new object of the same class with a copy of every field.
    [[nodiscard]] virtual std::unique_ptr<Window> clone() const = 0;

    /// Whether other has the same shape parameter. Sizes are not compared, nor are shapes within
    /// the family of SymmetricWindow: a Hanning and a Hamming of one form are equal.
    /// @throws std::bad_cast  other is not of the class that compares
    [[nodiscard]] virtual bool equals(const Window& other) const = 0;

    /// Makes the window of a type.
    /// @param size       N, in samples
    /// @param periodic   0: symmetric form, else periodic; Exponential and Transient have one form
    ///                   and ignore it
    /// @param parameter  Exponential: its final value. Transient: its length in samples, fraction
    ///                   cut off; a number that no length can hold (negative, NaN, 2^64 and above)
    ///                   shortens nothing. All other types ignore it. A float is widened first.
    /// @throws std::invalid_argument  "Unsupported window type.", before anything is allocated
    [[nodiscard]] static std::unique_ptr<Window>
    create(WindowType type,
           std::uint64_t size,
           std::int32_t periodic,
           double parameter) requires std::same_as<T, double>;
    [[nodiscard]] static std::unique_ptr<Window>
    create(WindowType type,
           std::uint64_t size,
           std::int32_t periodic,
           float parameter) requires std::same_as<T, double>;

    void setSize(std::uint64_t size);

    /// Sample of index 0 .. size() - 1; not checked.
    [[nodiscard]] T& at(std::uint64_t index) { return samples_[index]; }

    [[nodiscard]] const T& at(std::uint64_t index) const { return samples_[index]; }

    [[nodiscard]] const std::vector<T>& samples() const { return samples_; }

    [[nodiscard]] std::uint64_t size() const { return size_; }

    /// See CorrectionFactors for what the four mean.
    [[nodiscard]] T amplitudeCorrection() const { return amplitudeCorrection_; }

    [[nodiscard]] T noiseBandwidth() const { return noiseBandwidth_; }

    [[nodiscard]] T energyCorrection() const { return energyCorrection_; }

    [[nodiscard]] T energyToAmplitude() const { return energyToAmplitude_; }

protected:
    Window() = default;
    Window(const Window&) = default;
    Window& operator=(const Window&) = default;

    void setCorrectionFactors(const CorrectionFactors& factors);

    std::vector<T> samples_;
    std::uint64_t size_ = 0;
    T amplitudeCorrection_ = 0;
    T noiseBandwidth_ = 0;
    T energyCorrection_ = 0;
    T energyToAmplitude_ = 0;
};

template <typename T>
void Window<T>::setSize(std::uint64_t size)
{
    size_ = size;
    this->changed();
}

template <typename T>
void Window<T>::setCorrectionFactors(const CorrectionFactors& factors)
{
    amplitudeCorrection_ = static_cast<T>(factors.amplitude);
    noiseBandwidth_ = static_cast<T>(factors.noiseBandwidth);
    energyCorrection_ = static_cast<T>(factors.energy);
    energyToAmplitude_ = static_cast<T>(factors.energyToAmplitude);
}

} // namespace Velmora::KorLib::Dsp::Window
