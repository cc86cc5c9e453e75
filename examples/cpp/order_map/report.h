#pragma once

#include "number_text.h"
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

} // namespace Harmotrack::Examples
