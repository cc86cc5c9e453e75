#pragma once

#include "number_text.h"
#include "recording.h"

#include "host/analysis/analysis_results.h"
#include "host/analysis/analysis_settings.h"

#include <cstddef>
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

    /// Amplitude of an extracted order in a bin, whatever the phases of its blocks were.
    [[nodiscard]] float amplitude(std::size_t signal, std::size_t harmonic, std::size_t bin) const;

    /// How far the phases of its blocks agreed, 0 to 1.
    [[nodiscard]] float coherence(std::size_t signal, std::size_t harmonic, std::size_t bin) const;
};

} // namespace Harmotrack::Examples
