#include "order_bars.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <vector>

namespace Harmotrack::Examples {
namespace {

// Blocks of an eighth of a character to a whole one.
constexpr std::array<const char*, 9> kBlocks{" ", "▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
constexpr double kEighths = 8.0;

std::string number(double value, const char* format)
{
    std::array<char, 32> text{};
    std::snprintf(text.data(), text.size(), format, value);
    return text.data();
}

std::vector<double> greatestOfColumns(std::span<const float> spectrum, std::size_t columns)
{
    std::vector<double> greatest(columns, 0.0);
    for (std::size_t k = 0; k < spectrum.size(); ++k) {
        double& column = greatest[k * columns / spectrum.size()];
        column = std::max(column, static_cast<double>(spectrum[k]));
    }
    return greatest;
}

} // namespace

std::string orderBars(std::span<const float> spectrum,
                      double resolution,
                      double highest,
                      std::size_t columns,
                      std::size_t rows)
{
    std::string text;
    const std::vector<double> greatest = greatestOfColumns(spectrum, columns);
    for (std::size_t row = 0; row < rows; ++row) {
        const std::size_t below = rows - 1 - row;
        const bool labelled = row == 0 || below == 0;
        text += labelled ? number(row == 0 ? highest : 0.0, "%6.2f ") : std::string(7, ' ');
        for (const double value : greatest) {
            const double filled = value / highest * static_cast<double>(rows) * kEighths -
                                  kEighths * static_cast<double>(below);
            text += kBlocks[static_cast<std::size_t>(std::clamp(filled, 0.0, kEighths))];
        }
        text += '\n';
    }
    std::string axis(columns + 7, ' ');
    const double orders = resolution * static_cast<double>(spectrum.size());
    for (int order = 0; order < orders; ++order) {
        const auto at = 7 + static_cast<std::size_t>(order / orders * static_cast<double>(columns));
        const std::string label = std::to_string(order);
        if (at + label.size() <= axis.size()) axis.replace(at, label.size(), label);
    }
    return text + axis + '\n';
}

} // namespace Harmotrack::Examples
