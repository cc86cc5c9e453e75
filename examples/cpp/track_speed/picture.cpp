#include "picture.h"

#include "number_text.h"
#include "plot_text.h"
#include "tracking.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Examples {
namespace {

// Okabe and Ito's colours, which the colour-blind tell apart too.
constexpr const char* kTracked = "#0072b2";
constexpr const char* kKnown = "#d55e00";
constexpr const char* kInvalid = "#999999";

constexpr double kLeft = 0.075;
constexpr double kRight = 0.975;
constexpr double kBottom = 0.085;

std::string data(const std::string& name, const std::string& rows)
{
    return '$' + name + " << END_OF_DATA\n" + (rows.empty() ? "NaN NaN\n" : rows) + "END_OF_DATA\n";
}

std::string point(double x, double y)
{
    return plotNumber(x) + ' ' + plotNumber(y) + '\n';
}

// Curves are broken where no estimate is valid.
std::string dataBlocks(const Report& report)
{
    std::string valid;
    std::string invalid;
    std::string explained;
    for (const Host::SpeedEstimate& estimate : report.speed.estimates) {
        valid += estimate.valid ? point(estimate.seconds, estimate.rpm) : "\n";
        if (!estimate.valid && estimate.rpm > 0.0) invalid += point(estimate.seconds, estimate.rpm);
        explained += point(estimate.seconds, 100.0 * estimate.explained);
    }
    std::string text =
        data("valid", valid) + data("invalid", invalid) + data("explained", explained);
    if (!report.comparison) return text;
    std::string known;
    std::string errors;
    for (const ComparedEstimate& estimate : report.comparison->estimates()) {
        known += point(estimate.seconds, estimate.knownRpm);
        errors += estimate.valid ? point(estimate.seconds, estimate.errorPercent) : "\n";
    }
    return text + data("known", known) + data("errors", errors);
}

std::string line(const std::string& name, const char* colour, double width)
{
    return '$' + name + " using 1:2 with lines linewidth " + plotNumber(width) +
           " linecolor rgb '" + colour + '\'';
}

std::string panel(double bottom, double top, const std::string& title, const std::string& yLabel)
{
    return placeText({kLeft, kRight, bottom, top}) + headingText(title) + "set ylabel " +
           quotedText(yLabel) + " noenhanced\n";
}

std::string speedPanel(const Report& report, double bottom)
{
    double lowest = report.settings.maxRpm;
    double highest = report.settings.minRpm;
    for (const Host::SpeedEstimate& estimate : report.speed.estimates) {
        if (!estimate.valid) continue;
        lowest = std::min(lowest, estimate.rpm);
        highest = std::max(highest, estimate.rpm);
    }
    if (report.comparison) {
        for (const ComparedEstimate& estimate : report.comparison->estimates()) {
            lowest = std::min(lowest, estimate.knownRpm);
            highest = std::max(highest, estimate.knownRpm);
        }
    }
    const double margin = std::max(0.05 * (highest - lowest), 0.01 * highest);
    const std::string known = report.source.hasMark ? "tacho" : "column of speed";
    return panel(bottom, 0.86, "Speed", "rpm") + "set yrange " +
           rangeText(lowest - margin, highest + margin) + '\n' +
           ticsText("ytics", lowest - margin, highest + margin) +
           "set key at graph 1,1.01 right bottom horizontal Left reverse samplen 1.5 maxrows 1\n"
           "set format x ''\nset xlabel ''\nplot " +
           (report.comparison ? line("known", kKnown, 5.0) + " title " +
                                    quotedText(known + ", mean of the block") + ", "
                              : std::string()) +
           "$invalid using 1:2 with points pointtype 7 pointsize 0.6 linecolor rgb '" + kInvalid +
           "' title 'not valid', " + line("valid", kTracked, 2.0) +
           " title 'tracked'\nset key off\n";
}

std::string errorPanel(const Comparison& comparison, double bottom, double top)
{
    const double reach = std::max(1.2 * comparison.quantile(0.98), 0.1);
    return panel(bottom, top, "Error of the valid estimates", "%") + "set yrange " +
           rangeText(-reach, reach) + '\n' + ticsText("ytics", -reach, reach) + "plot " +
           line("errors", kTracked, 1.5) + " notitle\n";
}

std::string explainedPanel(double bottom, double top)
{
    return panel(bottom, top, "Energy that the orders explain", "% of the block") +
           "set yrange [0:100]\nset ytics 25\nset format x '%g'\nset xlabel 'Time (s)' offset "
           "0,0.4\n"
           "plot " +
           line("explained", kTracked, 1.5) + " notitle\n";
}

std::string titles(const Report& report)
{
    std::string orders;
    for (const float order : report.settings.orders)
        orders += (orders.empty() ? "" : ", ") + shortest(order);
    return "set label 1 " + quotedText(report.source.file + ", " + report.source.names.front()) +
           " at screen " + plotNumber(kLeft) +
           ",0.955 left noenhanced font 'DejaVu Sans Bold,22'\nset label 2 " +
           quotedText("Tracked by the orders " + orders + " from " +
                      rounded(report.settings.minRpm) + " to " + rounded(report.settings.maxRpm) +
                      " rpm, in blocks of " + fourDigits(report.plan.blockSeconds()) + " s; " +
                      foundText(report.speed) + '.') +
           " at screen " + plotNumber(kLeft) +
           ",0.915 left noenhanced textcolor rgb '#555555' font ',15'\n";
}

} // namespace

std::string pictureScript(const Report& report)
{
    const auto& estimates = report.speed.estimates;
    const bool compared = report.comparison && report.comparison->validCount() > 0;
    const double hop = estimates.size() > 1 ? estimates[1].seconds - estimates[0].seconds : 1.0;
    return "set encoding utf8\n"
           "set terminal pngcairo size 1600,1000 font 'DejaVu Sans,14' background rgb 'white'\n" +
           dataBlocks(report) + "set multiplot\nset border linecolor rgb '#404040'\n" +
           "set grid xtics ytics linecolor rgb '#d0d0d0' linewidth 1 dashtype 1\nset xrange " +
           rangeText(estimates.front().seconds - hop, estimates.back().seconds + hop) + '\n' +
           titles(report) + speedPanel(report, compared ? 0.5 : 0.36) +
           "unset label 1\nunset label 2\n" +
           (compared ? errorPanel(*report.comparison, 0.3, 0.44) : std::string()) +
           explainedPanel(kBottom, compared ? 0.235 : 0.295) + "unset multiplot\n";
}

} // namespace Harmotrack::Examples
