// Does a tachometer follow what machines do? Pulses of simulated shafts over a grid of courses,
// wheels and disturbances; prints the tables of README.md, and on the standard error what it is at.
//
//     tacho_grid                 all
//     tacho_grid --quick         each course from two angles
//     tacho_grid --only TEXT     the tables and the rows whose names contain the text

#include "host/shaft/tachometer.h"
#include "tests/host/shaft/shaft_course.h"

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <functional>
#include <optional>
#include <random>
#include <string>
#include <utility>
#include <vector>

namespace {

using Harmotrack::Host::ShaftCourse;
using Harmotrack::Host::Tachometer;
using Harmotrack::Host::TachometerSettings;
using Harmotrack::Host::TruePulse;

constexpr int kStartAngles = 10;
constexpr int kFewStartAngles = 2;
constexpr double kMostWrong = 0.01;

struct Choice {
    bool quick = false;
    std::string text; ///< in the names of tables and rows; empty: all
};

struct Cell {
    std::string name;
    std::vector<ShaftCourse> courses;
    Harmotrack::Host::Standstill still{-1.0, -1.0};
};

struct Wheel {
    std::string name;
    double pulses;
    int missing;
};

const std::vector<Wheel> kWheels{
    {"1", 1.0, 0}, {"2", 2.0, 0}, {"4", 4.0, 0}, {"60", 60.0, 0}, {"60-2", 60.0, 2}};

/// What is done to the pulses of a wheel; nothing if empty.
using Disturbance = std::function<std::vector<TruePulse>(std::vector<TruePulse>, std::mt19937&)>;

std::vector<ShaftCourse> evenRuns(bool up)
{
    std::vector<ShaftCourse> courses;
    for (const double rpm : {600.0, 1500.0, 3000.0, 6000.0}) {
        for (const double seconds : {2.0, 5.0, 10.0, 30.0, 60.0}) {
            if (up)
                courses.push_back({{{0.0, 0.0}, {seconds, rpm}}});
            else
                courses.push_back({{{0.0, rpm}, {seconds, 0.0}}});
        }
    }
    return courses;
}

/// From one speed to another, with five seconds of each.
ShaftCourse change(double fromRpm, double toRpm, double seconds)
{
    return {{{0.0, fromRpm}, {5.0, fromRpm}, {5.0 + seconds, toRpm}, {10.0 + seconds, toRpm}}};
}

std::vector<Cell> cells()
{
    ShaftCourse sawtooth{{{0.0, 600.0}}};
    for (int k = 0; k < 10; ++k)
        sawtooth.corners.push_back({2.0 * (k + 1), k % 2 == 0 ? 3000.0 : 600.0});
    const ShaftCourse engine{{{0.0, 0.0},
                              {0.15, 200.0},
                              {0.30, 150.0},
                              {0.45, 220.0},
                              {0.60, 160.0},
                              {0.75, 230.0},
                              {1.25, 1300.0},
                              {2.25, 850.0},
                              {7.25, 850.0}}};
    return {{"0 to 600 .. 6000 rpm in 2 .. 60 s", evenRuns(true)},
            {"600 .. 6000 to 0 rpm in 2 .. 60 s", evenRuns(false)},
            {"250 to 900 rpm in 0.3 s", {change(250.0, 900.0, 0.3)}},
            {"600 to 1200 rpm in 0.1 s", {change(600.0, 1200.0, 0.1)}},
            {"500 to 1500 rpm in 50 ms", {change(500.0, 1500.0, 0.05)}},
            {"3000 to 300 rpm in 0.3 s", {change(3000.0, 300.0, 0.3)}},
            {"an engine's start", {engine}},
            {"run-down, 8 s of standstill, run-up",
             {{{{0.0, 1500.0}, {5.0, 0.0}, {13.0, 0.0}, {18.0, 1500.0}}}},
             {5.0, 13.0}},
            {"600 to 3000 rpm and back, 2 s each way", {sawtooth}}};
}

/// Each pulse comes early or late by as much as a share of the shorter pitch beside it says
/// (standard deviation).
Disturbance jitter(double share)
{
    return [share](std::vector<TruePulse> pulses, std::mt19937& random) {
        std::normal_distribution<double> normal(0.0, share);
        const std::vector<TruePulse> exact = pulses;
        for (std::size_t k = 1; k + 1 < pulses.size(); ++k) {
            const double pitch = std::min(exact[k].seconds - exact[k - 1].seconds,
                                          exact[k + 1].seconds - exact[k].seconds);
            pulses[k].seconds += std::clamp(normal(random), -0.4, 0.4) * pitch;
        }
        return pulses;
    };
}

Disturbance missing(double share)
{
    return [share](std::vector<TruePulse> pulses, std::mt19937& random) {
        std::bernoulli_distribution lost(share);
        std::vector<TruePulse> left;
        for (const TruePulse& pulse : pulses) {
            if (left.size() < 4 || &pulse == &pulses.back() || !lost(random)) left.push_back(pulse);
        }
        return left;
    };
}

Disturbance extra(double share)
{
    return [share](const std::vector<TruePulse>& pulses, std::mt19937& random) {
        std::bernoulli_distribution comes(share);
        std::uniform_real_distribution<double> where(0.05, 0.95);
        std::vector<TruePulse> all;
        for (const TruePulse& pulse : pulses) {
            if (all.size() > 4 && comes(random)) {
                const TruePulse& last = all.back();
                const double at = where(random);
                all.push_back({last.seconds + at * (pulse.seconds - last.seconds),
                               last.turns + at * (pulse.turns - last.turns)});
            }
            all.push_back(pulse);
        }
        return all;
    };
}

struct Count {
    int wrong = 0;
    int runs = 0;
};

Count follow(const Cell& cell, const Wheel& wheel, const Disturbance& disturb, int startAngles)
{
    Count count;
    std::mt19937 random(1);
    TachometerSettings settings;
    settings.pulsesPerRevolution = wheel.pulses;
    settings.missingTeeth = wheel.missing;
    for (const ShaftCourse& course : cell.courses) {
        for (int k = 0; k < startAngles; ++k) {
            const double first = k / (startAngles * wheel.pulses);
            std::vector<TruePulse> pulses = pulsesOf(course, wheel.pulses, first, wheel.missing);
            if (disturb) pulses = disturb(std::move(pulses), random);
            const auto reading = Tachometer(settings).readPulses(momentsOf(pulses));
            const double share = wrongShare(pulses, reading.knots, cell.still);
            ++count.runs;
            if (share > kMostWrong) ++count.wrong;
        }
    }
    return count;
}

/// Ten; where many courses are disturbed, chance differs enough from one to the next.
int startAnglesOf(const Cell& cell, const Disturbance& disturb, const Choice& choice)
{
    const bool few = choice.quick || (disturb && cell.courses.size() > kStartAngles);
    return few ? kFewStartAngles : kStartAngles;
}

bool contains(const std::string& name, const std::string& text)
{
    return name.find(text) != std::string::npos;
}

void print(const std::string& title, const Disturbance& disturb, const Choice& choice)
{
    std::vector<Cell> rows = cells();
    if (!contains(title, choice.text))
        std::erase_if(rows, [&](const Cell& cell) { return !contains(cell.name, choice.text); });
    if (rows.empty()) return;

    std::printf("\n| %s |", title.c_str());
    for (const Wheel& wheel : kWheels) std::printf(" %s |", wheel.name.c_str());
    std::printf("\n|---|");
    for (std::size_t k = 0; k < kWheels.size(); ++k) std::printf("---|");
    std::printf("\n");
    for (const Cell& cell : rows) {
        std::printf("| %s |", cell.name.c_str());
        for (const Wheel& wheel : kWheels) {
            std::fprintf(
                stderr, "%s: %s, wheel %s\n", title.c_str(), cell.name.c_str(), wheel.name.c_str());
            const Count count = follow(cell, wheel, disturb, startAnglesOf(cell, disturb, choice));
            std::printf(" %d of %d |", count.wrong, count.runs);
            std::fflush(stdout);
        }
        std::printf("\n");
    }
}

std::optional<Choice> choiceOf(const std::vector<std::string>& arguments)
{
    Choice choice;
    for (std::size_t k = 0; k < arguments.size(); ++k) {
        if (arguments[k] == "--quick")
            choice.quick = true;
        else if (arguments[k] == "--only" && k + 1 < arguments.size())
            choice.text = arguments[++k];
        else
            return std::nullopt;
    }
    return choice;
}

} // namespace

int main(int argc, char** argv)
{
    const std::optional<Choice> choice = choiceOf({argv + 1, argv + argc});
    if (!choice) {
        std::fprintf(stderr, "usage: tacho_grid [--quick] [--only TEXT]\n");
        return 2;
    }
    print("clean pulses", {}, *choice);
    print("each early or late by 1 %", jitter(0.01), *choice);
    print("each early or late by 3 %", jitter(0.03), *choice);
    print("2 % missing", missing(0.02), *choice);
    print("2 % extra", extra(0.02), *choice);
    print("10 % missing", missing(0.1), *choice);
    print("10 % extra", extra(0.1), *choice);
}
