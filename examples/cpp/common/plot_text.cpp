#include "plot_text.h"

#include "number_text.h"

#include "host/host_error.h"

#include <cmath>

namespace Harmotrack::Examples {

std::string placeText(const Area& area)
{
    return "set lmargin at screen " + plotNumber(area.left) + "\nset rmargin at screen " +
           plotNumber(area.right) + "\nset bmargin at screen " + plotNumber(area.bottom) +
           "\nset tmargin at screen " + plotNumber(area.top) + '\n';
}

std::string quotedText(const std::string& text)
{
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'') result += '\'';
        result += c == '\n' || c == '\r' ? ' ' : c;
    }
    return result + "'";
}

std::string plotNumber(double value)
{
    return std::isfinite(value) ? Host::numberText(value) : std::string("NaN");
}

std::string rangeText(double from, double to)
{
    return '[' + plotNumber(from) + ':' + plotNumber(to) + ']';
}

std::string headingText(const std::string& text)
{
    return "set label 3 " + quotedText(text) +
           " at graph 0,1 left offset character 0,0.6 noenhanced font ',16'\n";
}

std::string ticsText(const std::string& axis, double from, double to)
{
    constexpr double kLabels = 5.0;
    if (!(to > from)) return "set " + axis + " auto\n";
    return "set " + axis + ' ' + plotNumber(roundStep((to - from) / kLabels)) + '\n';
}

} // namespace Harmotrack::Examples
