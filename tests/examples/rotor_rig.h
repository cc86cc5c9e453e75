#pragma once

#include <cstdlib>
#include <string>
#include <vector>

namespace Harmotrack::Tests {

/// What a program is told of the recording of a real rotor rig, which stands outside the
/// repository: accelerations at irregular steps of about 15 ms, speed from an encoder. It is the
/// one at a nearly steady speed.
inline std::vector<std::string> rotorRig(const std::string& signal)
{
    const char* recordings = std::getenv("HARMOTRACK_RECORDINGS");
    return {"--csv",
            std::string(recordings != nullptr ? recordings : "") +
                "/rosa_rotor_imu/merged_data306.csv",
            "--time",
            "Rel Time",
            "--time-unit",
            "ms",
            "--speed",
            "Actual Speed",
            "--signal",
            signal};
}

} // namespace Harmotrack::Tests
