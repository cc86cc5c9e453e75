#pragma once

#include "host/shaft/tacho_settings.h"

#include <cstddef>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// A flank of a tacho pulse.
struct PulseEdge {
    double seconds = 0.0;
    bool rising = true;
};

/// Reads the flanks of the pulses from an analogue tacho channel, chunk by chunk.
///
/// A flank is a crossing of the level, and it counts once the signal has gone on beyond the
/// hysteresis, from beyond it on the other side. Its time is that of the last crossing of the level
/// before that, between two samples: a polynomial of fifth degree through the six samples round it
/// is solved for the level. On a band-limited flank the error is far below a hundredth of a sample,
/// where a straight line errs by several.
///
/// Low and high level of the pulses are the medians of the last 31 lowest and highest values
/// between flanks. So they follow a sensor whose height grows with the speed, and neither a spike
/// nor the swing of a gap in a toothed wheel moves them. Swings of less than 0.4 times the height
/// are noise and move them neither. They begin with what the first eight pulses show; until then,
/// for a quarter of a second at least, samples are kept and no flanks come out.
///
/// Flanks do not depend on how the samples were split into chunks. Memory: 32 megabytes at most
/// while it learns, some hundred samples afterwards. One thread at a time.
class PulseDetector {
public:
    /// @param settings      level, hysteresis, edge and name count
    /// @param rateHz        of the channel, above 0
    /// @param startSeconds  time of its first sample
    PulseDetector(TachometerSettings settings, double rateHz, double startSeconds);

    /// Takes samples and gives the flanks that are certain by now, in the order of time.
    /// @throws HostError  a sample is not finite; nothing of the chunk is taken
    std::vector<PulseEdge> feed(std::span<const double> samples);

    /// The rest, when no more samples come.
    std::vector<PulseEdge> finish();

    /// Whether the pulses it learned from have two values, and flanks between them within a sample:
    /// then the time of a flank is known to a sample. Known when the first flank comes out.
    [[nodiscard]] bool isRectangular() const { return rectangular_; }

    [[nodiscard]] double stepSeconds() const { return 1.0 / rateHz_; } ///< from sample to sample

    /// The sentence on a channel without pulses: what its values are and what a pulse must cross.
    [[nodiscard]] std::string noPulsesText() const;

private:
    struct Levels {
        double low = 0.0;
        double high = 0.0;
    };

    /// The last values of one end of the pulses, and their median.
    class Extremes {
    public:
        void add(double value);
        [[nodiscard]] double median() const;

    private:
        std::vector<double> values_;
        std::size_t next_ = 0;
    };

    [[nodiscard]] static Levels typicalLevels(std::span<const double> samples);
    void setLevels(Levels levels);
    void tryToLearn(bool atTheEnd);
    [[nodiscard]] std::size_t countPulses() const;
    void start(Levels levels);
    [[nodiscard]] bool hasTwoValues(Levels levels) const;
    void take(double sample);
    void confirm(std::size_t number, bool rising);
    void settle(std::size_t newest, bool atTheEnd);
    void forget();

    TachometerSettings settings_;
    double rateHz_;
    double startSeconds_;

    std::vector<double> samples_; ///< kept ones; the first is number first_
    std::size_t first_ = 0;
    std::size_t taken_ = 0; ///< number of the next sample to be looked at
    bool learned_ = false;
    bool rectangular_ = false;
    std::size_t learnAt_;
    double lowestSeen_;
    double highestSeen_;

    double level_ = 0.0;
    double margin_ = 0.0;
    double height_ = 0.0;
    Extremes lows_;
    Extremes highs_;
    int side_ = 0;              ///< -1 below the hysteresis was last, 1 above it, 0 not known
    double extreme_ = 0.0;      ///< on that side
    double otherExtreme_ = 0.0; ///< on the other side before
    std::size_t keepFrom_ = 0; ///< number of the last sample that had not crossed to the other side

    struct Pending {
        std::size_t before;
        bool rising;
        double level;
    };

    std::vector<Pending> pending_;
    std::vector<PulseEdge> edges_;
};

} // namespace Harmotrack::Host
