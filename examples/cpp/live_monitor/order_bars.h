#pragma once

#include <span>
#include <string>

namespace Harmotrack::Examples {

/// An order spectrum as bars of characters, its scale on the left and its orders below.
///
/// @param spectrum    shape (orders): amplitudes, the first of order 0
/// @param resolution  distance of the lines, orders
/// @param highest     of the scale, above 0
/// @param columns     characters of the bars, 10 or more: each shows the greatest of its lines
/// @param rows        lines of text of the bars, 2 or more
std::string orderBars(std::span<const float> spectrum,
                      double resolution,
                      double highest,
                      std::size_t columns,
                      std::size_t rows);

} // namespace Harmotrack::Examples
