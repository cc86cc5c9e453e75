#include "dsp/fir/filter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

constexpr double kRate = 1000.0;

double number(std::istream& line)
{
    std::string field;
    std::getline(line, field, ',');
    return std::stod(field);
}

// One row of tests/golden/fir_filter.csv.
void expectTapsOf(const std::string& row)
{
    SCOPED_TRACE(row.substr(0, 40));
    std::istringstream line(row);
    const auto type = static_cast<FilterType>(static_cast<std::int32_t>(number(line)));
    const auto window = static_cast<FilterWindow>(static_cast<std::int32_t>(number(line)));
    const double width = number(line);
    const double cutoff1 = number(line);
    const double cutoff2 = number(line);
    const double attenuation = number(line);
    std::vector<double> expected;
    for (double tap = 0.0; line >> tap;) expected.push_back(tap);

    Filter filter;
    filter.setWindowDesign(type, width, kRate, cutoff1, cutoff2, window, attenuation);
    EXPECT_EQ(filter.status(), 0);
    const std::vector<float> taps = filter.getCoefficients();
    ASSERT_EQ(taps.size(), expected.size());
    double greatest = 0.0;
    for (const double tap : expected) greatest = std::max(greatest, std::abs(tap));
    for (std::size_t i = 0; i < taps.size(); ++i)
        EXPECT_NEAR(static_cast<double>(taps[i]), expected[i], 1e-6 * greatest) << "tap " << i;
}

// Every type with every window, of even and of odd order.
TEST(WindowMethod, TapsAreThoseOfAnIndependentDesign)
{
    std::ifstream file(HARMOTRACK_GOLDEN_DIR "/fir_filter.csv");
    int rows = 0;
    for (std::string row; std::getline(file, row);) {
        if (row.empty() || row[0] == '#' || row.starts_with("type,")) continue;
        expectTapsOf(row);
        ++rows;
    }
    EXPECT_EQ(rows, 160);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fir
