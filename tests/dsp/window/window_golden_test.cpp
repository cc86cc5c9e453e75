#include "dsp/window/blackman.h"
#include "dsp/window/blackman_harris.h"
#include "dsp/window/exponential.h"
#include "dsp/window/flattop.h"
#include "dsp/window/hamming.h"
#include "dsp/window/hanning.h"
#include "dsp/window/kaiser.h"
#include "dsp/window/rectangle.h"
#include "dsp/window/triangle.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::KorLib::Dsp::Window {
namespace {

// One line of tests/golden/windows.csv.
struct Golden {
    std::string shape;
    std::uint64_t size = 0;
    std::int32_t periodic = 0;
    double parameter = 0.0;
    std::vector<double> samples;
};

Golden parse(const std::string& line)
{
    std::istringstream fields(line);
    std::string field;
    const auto next = [&] {
        std::getline(fields, field, ',');
        return field;
    };
    Golden golden;
    golden.shape = next();
    golden.size = std::stoull(next());
    golden.periodic = std::stoi(next());
    golden.parameter = std::stod(next());
    while (std::getline(fields, field, ',')) golden.samples.push_back(std::stod(field));
    return golden;
}

std::vector<Golden> readGolden()
{
    std::ifstream file(GOLDEN_DIR "/windows.csv");
    std::vector<Golden> all;
    for (std::string line; std::getline(file, line);)
        if (!line.starts_with('#')) all.push_back(parse(line));
    return all;
}

template <typename T>
void expectSamples(const Window<T>& window, const Golden& golden, double tolerance)
{
    SCOPED_TRACE(golden.shape + " " + std::to_string(golden.size) +
                 (golden.periodic == 0 ? " symmetric" : " periodic"));
    ASSERT_EQ(window.samples().size(), golden.samples.size());
    for (std::uint64_t i = 0; i < window.size(); ++i)
        EXPECT_NEAR(static_cast<double>(window.at(i)), golden.samples[i], tolerance) << i;
}

// Sums of up to seven terms near 1, each with an argument of its own rounding.
constexpr double kDoubleTolerance = 1e-14;

// Half a unit in the last place of a float near 1.
constexpr double kFloatTolerance = 6.0e-8;

template <template <typename> typename Shape>
int compareBothElementTypes(const Golden& golden)
{
    expectSamples(Shape<double>(golden.size, golden.periodic), golden, kDoubleTolerance);
    expectSamples(Shape<float>(golden.size, golden.periodic), golden, kFloatTolerance);
    return 1;
}

int compare(const Golden& golden)
{
    if (golden.shape == "Rectangle") return compareBothElementTypes<Rectangle>(golden);
    if (golden.shape == "Hanning") return compareBothElementTypes<Hanning>(golden);
    if (golden.shape == "Hamming") return compareBothElementTypes<Hamming>(golden);
    if (golden.shape == "Flattop") return compareBothElementTypes<Flattop>(golden);
    if (golden.shape == "Blackman") return compareBothElementTypes<Blackman>(golden);
    if (golden.shape == "Triangle")
        expectSamples(Triangle<double>(golden.size, golden.periodic), golden, kDoubleTolerance);
    else if (golden.shape == "BlackmanHarris")
        expectSamples(
            BlackmanHarris<double>(golden.size, golden.periodic), golden, kDoubleTolerance);
    else if (golden.shape == "Exponential")
        expectSamples(Exponential<double>(golden.size, golden.parameter), golden, kDoubleTolerance);
    else if (golden.shape == "Kaiser")
        expectSamples(
            Kaiser<float>(golden.size, golden.periodic, golden.parameter), golden, kFloatTolerance);
    else
        return 0;
    return 1;
}

TEST(Window, EveryShapeInBothFormsAgreesWithSciPy)
{
    int compared = 0;
    for (const Golden& golden : readGolden()) compared += compare(golden);
    EXPECT_EQ(compared, 88);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window
