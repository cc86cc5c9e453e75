#include "dsp/window/correction_factor.h"

#include <array>
#include <cstddef>
#include <limits>
#include <stdexcept>

namespace Velmora::KorLib::Dsp::Window {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// In the order of WindowType.
// clang-format off
constexpr std::array<CorrectionFactors, 9> kCorrectionFactors = {{
    // amplitude        energy            noiseBandwidth    energyToAmplitude
    {1.0,               1.0,              1.0,              1.0},               // Rectangle
    {2.0,               1.63299316185545, 1.5,              0.816496580927726}, // Hanning
    {1.85185185185185,  1.58630271892043, 1.36282578875171, 0.856603468217033}, // Hamming
    {4.63867181837559,  2.38895944917036, 3.77024644744343, 0.515009369644724}, // Flattop
    {2.0,               1.73205080756888, 1.33333333333333, 0.866025403784439}, // Triangle
    {2.38095238095238,  1.8119034440639,  1.72675736961451, 0.76099944650684},  // Blackman
    {kNaN,              kNaN,             kNaN,             kNaN},              // Exponential
    {1.0,               1.0,              1.0,              1.0},               // Transient
    {3.68933714211299,  2.27411926875704, 2.63190501844503, 0.616403213140502}, // BlackmanHarris
}};
// clang-format on

// In the order of CorrectionType.
constexpr std::array<double CorrectionFactors::*, 4> kCorrections = {
    &CorrectionFactors::amplitude,
    &CorrectionFactors::energy,
    &CorrectionFactors::noiseBandwidth,
    &CorrectionFactors::energyToAmplitude,
};

} // namespace

const CorrectionFactors& correctionFactors(WindowType type)
{
    const auto number = static_cast<std::size_t>(type);
    if (number >= kCorrectionFactors.size())
        throw std::invalid_argument("Unsupported window type.");
    return kCorrectionFactors[number];
}

template <typename T>
T correctionFactor(WindowType type, CorrectionType correction)
{
    const auto number = static_cast<std::size_t>(correction);
    if (number >= kCorrections.size()) throw std::invalid_argument("Unsupported correction type.");
    return static_cast<T>(correctionFactors(type).*kCorrections[number]);
}

template double correctionFactor<double>(WindowType, CorrectionType);
template float correctionFactor<float>(WindowType, CorrectionType);

} // namespace Velmora::KorLib::Dsp::Window
