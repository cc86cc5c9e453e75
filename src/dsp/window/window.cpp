#include "dsp/window/window.h"

#include "dsp/window/blackman.h"
#include "dsp/window/blackman_harris.h"
#include "dsp/window/exponential.h"
#include "dsp/window/flattop.h"
#include "dsp/window/hamming.h"
#include "dsp/window/hanning.h"
#include "dsp/window/rectangle.h"
#include "dsp/window/transient.h"
#include "dsp/window/triangle.h"

#include <stdexcept>

namespace Velmora::KorLib::Dsp::Window {

namespace {

// 0 is the length that shortens nothing, and the conversion of such a number is not defined.
std::uint64_t transientLength(double parameter)
{
    constexpr double kLengthEnd = 18446744073709551616.0; // 2^64
    const bool isLength = parameter >= 0.0 && parameter < kLengthEnd;
    return isLength ? static_cast<std::uint64_t>(parameter) : 0;
}

} // namespace

template <typename T>
std::unique_ptr<Window<T>> Window<T>::create(WindowType type,
                                             std::uint64_t size,
                                             std::int32_t periodic,
                                             double parameter) requires std::same_as<T, double>
{
    switch (type) {
    case WindowType::Rectangle:
        return std::make_unique<Rectangle<T>>(size, periodic);
    case WindowType::Hanning:
        return std::make_unique<Hanning<T>>(size, periodic);
    case WindowType::Hamming:
        return std::make_unique<Hamming<T>>(size, periodic);
    case WindowType::Flattop:
        return std::make_unique<Flattop<T>>(size, periodic);
    case WindowType::Triangle:
        return std::make_unique<Triangle<T>>(size, periodic);
    case WindowType::Blackman:
        return std::make_unique<Blackman<T>>(size, periodic);
    case WindowType::Exponential:
        return std::make_unique<Exponential<T>>(size, parameter);
    case WindowType::Transient:
        return std::make_unique<Transient<T>>(size, transientLength(parameter));
    case WindowType::BlackmanHarris:
        return std::make_unique<BlackmanHarris<T>>(size, periodic);
    }
    throw std::invalid_argument("Unsupported window type.");
}

template <typename T>
std::unique_ptr<Window<T>> Window<T>::create(WindowType type,
                                             std::uint64_t size,
                                             std::int32_t periodic,
                                             float parameter) requires std::same_as<T, double>
{
    return create(type, size, periodic, static_cast<double>(parameter));
}

// The members alone: clang 14 instantiates a whole class without regard to constraints.
template std::unique_ptr<Window<double>>
Window<double>::create(WindowType, std::uint64_t, std::int32_t, double);
template std::unique_ptr<Window<double>>
Window<double>::create(WindowType, std::uint64_t, std::int32_t, float);

} // namespace Velmora::KorLib::Dsp::Window
