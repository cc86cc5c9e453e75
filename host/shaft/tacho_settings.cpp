#include "host/shaft/tacho_settings.h"

#include "host/host_error.h"

#include <cmath>

namespace Harmotrack::Host {
namespace {

void check(bool good, const std::string& name, double value, const std::string& allowed)
{
    if (!good) throw HostError("The " + name + " is " + numberText(value) + ", and " + allowed);
}

bool isPositive(double value)
{
    return value > 0.0 && std::isfinite(value);
}

} // namespace

void TachometerSettings::validate() const
{
    if (!(hysteresisPercent >= 0.0 && hysteresisPercent <= 45.0))
        throw HostError("The tacho hysteresis is " + numberText(hysteresisPercent) +
                        " %, and 0 to 45 % of the pulses' height are allowed.");
    if (level) check(std::isfinite(*level), "tacho level", *level, "it must be a finite number.");
    check(isPositive(pulsesPerRevolution) && pulsesPerRevolution <= 1e6,
          "number of pulses per revolution",
          pulsesPerRevolution,
          "it must be above 0 and at most 1e6.");
    check(missingTeeth >= 0, "number of missing teeth", missingTeeth, "it must be 0 or more.");
    if (missingTeeth > 0) {
        check(pulsesPerRevolution == std::round(pulsesPerRevolution),
              "number of pulses per revolution",
              pulsesPerRevolution,
              "a wheel with missing teeth needs a whole number.");
        check(missingTeeth <= pulsesPerRevolution - 4.0,
              "number of missing teeth",
              missingTeeth,
              "a wheel of " + numberText(pulsesPerRevolution) + " must keep at least 4.");
    }
    check(isPositive(gearRatio), "gear ratio", gearRatio, "it must be above 0.");
    if (maxRpm) check(isPositive(*maxRpm), "limit of the speed", *maxRpm, "it must be above 0.");
    if (maxRpmPerSecond)
        check(isPositive(*maxRpmPerSecond),
              "limit of the change of speed",
              *maxRpmPerSecond,
              "it must be above 0.");
    if (smoothingTurns)
        check(*smoothingTurns >= 0.0 && *smoothingTurns <= 1000.0,
              "window of the smoothing in turns",
              *smoothingTurns,
              "0 to 1000 are allowed.");
    check(disorder >= 0 && disorder <= 1000,
          "disorder of the pulses",
          disorder,
          "0 to 1000 are allowed.");
}

} // namespace Harmotrack::Host
