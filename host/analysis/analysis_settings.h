#pragma once

#include <harmotrack/setups.hpp>

#include <cstdint>
#include <optional>
#include <vector>

namespace Harmotrack::Host {

// The choices of the library that a run offers.
using Harmotrack::Amplitude;
using Harmotrack::Averaging;
using Harmotrack::BlockMode;
using Harmotrack::Direction;
using Harmotrack::PhaseMode;
using Harmotrack::PhaseReference;
using Harmotrack::Weighting;

/// Those of the library's windows that suit a machine that goes on running: they do not ask where
/// in a block an event begins.
enum class Window : std::int32_t {
    Rectangle = HARMOTRACK_WINDOW_RECTANGLE,
    Hanning = HARMOTRACK_WINDOW_HANNING,
    Hamming = HARMOTRACK_WINDOW_HAMMING,
    Flattop = HARMOTRACK_WINDOW_FLATTOP,
    Triangle = HARMOTRACK_WINDOW_TRIANGLE,
    Blackman = HARMOTRACK_WINDOW_BLACKMAN,
    BlackmanHarris = HARMOTRACK_WINDOW_BLACKMAN_HARRIS
};

/// Whether run-ups and coast-downs fall into one set of tables or each into its own.
enum class Passes { Together, Apart };

/// What an AnalysisRun computes. Every field has a default but the speed axis, which belongs to the
/// machine. The names are those of the library's records; what they do is told there.
struct AnalysisSettings {
    // The speed axis: bins with their centres at minRpm, minRpm + stepRpm, ... up to maxRpm.
    double minRpm = 0.0;
    double maxRpm = 0.0;
    double stepRpm = 0.0;
    Direction direction = Direction::Both;
    double hysteresisPercent = 25.0; ///< of stepRpm, 0 to 100

    // The order axis: lines at 0, orderResolution, 2 orderResolution ... up to highestOrder.
    double highestOrder = 40.0;   ///< of the results, 1 to 3000
    double orderResolution = 0.1; ///< the inverse of a whole number of revolutions, 1 to 1000
    std::vector<float> harmonics{1.0F, 2.0F}; ///< orders to be extracted, 0 up to highestOrder

    Window window = Window::Hanning;
    Amplitude amplitude = Amplitude::Peak;
    BlockMode blockMode = BlockMode::AtCrossing;
    Averaging averaging = Averaging::Mean;
    PhaseReference phaseReference = PhaseReference::Cosine;
    PhaseMode phaseMode = PhaseMode::Shaft;
    Weighting weighting = Weighting::None;
    bool removeMean = true; ///< subtract the mean of each block

    /// Lines of the frequency spectra, 4 to 1048576; 0 lets the library choose blocks of about an
    /// order block's duration at maxRpm.
    int timeLines = 0;

    /// Two signals: also the amplitudes of the two senses of rotation of signal 1 + j signal 2.
    bool twoSided = false;

    /// Apart: results of a rising and of a falling pass, at the cost of two analyzers. `direction`
    /// is Both then, and blockMode AtCrossing.
    Passes passes = Passes::Together;

    /// Order spectra of the last block again and again, as the shaft turns on, whatever its speed:
    /// the share of a block, 0 up to below 100 %, that one has in common with the one before. They
    /// come by callback alone.
    std::optional<double> rowOverlapPercent;

    /// Give the signals at equal angles as a result; they grow with the recording.
    bool keepAngleSignal = false;

    /// The library's maxOrder: the equal-angle samples have twice as many to a revolution. It
    /// leaves the resampling the fifth above highestOrder that it needs, and has no prime factor
    /// above 7, so that the transforms are fast.
    [[nodiscard]] int maxOrder() const;

    /// Number of bins of the speed axis.
    [[nodiscard]] int binCount() const;

    /// Samples of an order block, 2 maxOrder() / orderResolution.
    [[nodiscard]] int orderBlockSamples() const;

    /// @throws HostError  a field is out of range; the sentence names it, its value and the range
    void validate() const;
};

} // namespace Harmotrack::Host
