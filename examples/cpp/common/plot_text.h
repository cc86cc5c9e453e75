#pragma once

#include <string>

namespace Harmotrack::Examples {

// Pieces of a script for gnuplot, each a line or several, ended.

/// A panel's plotting area in shares of the picture; 0, 0 is its lower left corner.
struct Area {
    double left;
    double right;
    double bottom;
    double top;
};

std::string placeText(const Area& area);

/// A string in single quotes, in which nothing but the quote itself is special.
std::string quotedText(const std::string& text);

/// A number, "NaN" if it is not finite: gnuplot draws nothing there.
std::string plotNumber(double value);

std::string rangeText(double from, double to);

/// The heading of a panel, above its upper left corner; an empty one leaves the place free.
std::string headingText(const std::string& text);

/// Labels along an axis ("xtics", "ytics") that ends at these values: about five.
std::string ticsText(const std::string& axis, double from, double to);

} // namespace Harmotrack::Examples
