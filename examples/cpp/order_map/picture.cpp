#include "picture.h"

#include "curve_panels.h"
#include "map_panels.h"
#include "plot_text.h"

#include <cmath>

namespace Harmotrack::Examples {
namespace {

constexpr Area kMaps{0.055, 0.56, 0.072, 0.868};
constexpr double kColumnLeft = 0.698;
constexpr double kColumnRight = 0.98;
constexpr CurveAreas kCurves{.profile = {kColumnLeft, kColumnRight, 0.755, 0.868},
                             .cuts = {kColumnLeft, kColumnRight, 0.435, 0.65},
                             .phases = {kColumnLeft, kColumnRight, 0.275, 0.42},
                             .overall = {kColumnLeft, kColumnRight, 0.072, 0.205}};

// Viridis (van der Walt and Smith, 2015; public domain) at eleven of its 256 steps: even to the
// eye, in grey too.
constexpr const char* kPalette =
    "set palette defined (0 '#440154', 1 '#482475', 2 '#414487', 3 '#355f8d', 4 '#2a788e', "
    "5 '#21908d', 6 '#22a884', 7 '#42be71', 8 '#7ad151', 9 '#bddf26', 10 '#fde725')\n";

const char* windowName(Host::Window window)
{
    switch (window) {
    case Host::Window::Rectangle:
        return "rectangular";
    case Host::Window::Hanning:
        return "Hanning";
    case Host::Window::Hamming:
        return "Hamming";
    case Host::Window::Flattop:
        return "flat-top";
    case Host::Window::Triangle:
        return "triangular";
    case Host::Window::Blackman:
        return "Blackman";
    case Host::Window::BlackmanHarris:
        return "Blackman-Harris";
    }
    return "";
}

std::string headline(const Report& report)
{
    const Host::AnalysisSettings& settings = report.settings;
    return rounded(std::round(report.results.lowestRpm)) + " to " +
           rounded(std::round(report.results.highestRpm)) + " rpm in bins of " +
           rounded(settings.stepRpm) + " rpm.   Blocks of " +
           rounded(std::round(1.0 / settings.orderResolution)) + " revolutions, " +
           windowName(settings.window) + " window, order resolution " +
           rounded(settings.orderResolution) + '.';
}

std::string titles(const Report& report)
{
    return "set label 1 " + quotedText(report.recording.file) + " at screen " +
           plotNumber(kMaps.left) +
           ",0.962 left noenhanced font 'DejaVu Sans Bold,22'\nset label 2 " +
           quotedText(headline(report)) + " at screen " + plotNumber(kMaps.left) +
           ",0.926 left noenhanced textcolor rgb '#555555' font ',15'\n";
}

} // namespace

std::string pictureScript(const Report& report)
{
    return "set encoding utf8\n"
           "set terminal pngcairo size 2000,1250 font 'DejaVu Sans,14' background rgb 'white'\n" +
           std::string(kPalette) + "set multiplot\nset border linecolor rgb '#404040'\n" +
           titles(report) + mapPanels(report, kMaps) + "unset label 1\nunset label 2\n" +
           curvePanels(report, kCurves) + "unset multiplot\n";
}

} // namespace Harmotrack::Examples
