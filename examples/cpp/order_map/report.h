#pragma once

#include "recording.h"

#include "host/analysis_results.h"
#include "host/analysis_settings.h"

#include <string>

namespace Harmotrack::Examples {

/// Everything that the tables, the summary and the picture are made from.
struct Report {
    const Recording& recording;
    const Host::AnalysisSettings& settings;
    const Host::AnalysisResults& results;
    std::string unit; ///< of the signals

    /// As in "mm/s peak".
    [[nodiscard]] std::string amplitudeUnit() const;
};

/// A number in the fewest digits that give the same float or double back.
std::string shortest(float value);
std::string shortest(double value);

/// An order or a speed as people write it: 0.1, not 0.30000000000000004.
std::string rounded(double value);

} // namespace Harmotrack::Examples
