#pragma once

#include <cstddef>
#include <string>

namespace Harmotrack::Examples {

/// A number in the fewest digits that give the same float or double back.
std::string shortest(float value);
std::string shortest(double value);

/// An order or a speed as people write it: 0.1, not 0.30000000000000004.
std::string rounded(double value);

/// 1, 2 or 5 times a power of ten, the nearest to a value by ratio.
double roundStep(double value);

/// Four significant digits, right-aligned.
std::string fourDigits(double value, std::size_t width = 0);

/// A line of a summary: a name, and what there is to say in a column.
std::string summaryLine(const std::string& name, const std::string& text);

} // namespace Harmotrack::Examples
