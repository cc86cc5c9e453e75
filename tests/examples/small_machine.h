#pragma once

#include <cmath>
#include <cstddef>
#include <numbers>
#include <sndfile.hh>
#include <string>
#include <vector>

namespace Harmotrack::Tests {

/// A short recording of a machine for tests: 4 s at 8 kHz, 1200 to 2400 rpm. Channel 1 vibrates
/// with order 1 at a quarter of full scale, and order 3.5 at an eighth; channel 2 is its half;
/// channel 3 is the tacho, one smooth pulse a turn.
struct SmallMachine {
    double rateHz = 8000.0;
    double seconds = 4.0;
    double startRpm = 1200.0;
    double rpmPerSecond = 300.0;

    [[nodiscard]] double turnsAt(double t) const
    {
        return (startRpm + 0.5 * rpmPerSecond * t) * t / 60.0;
    }

    [[nodiscard]] double rpmAt(double t) const { return startRpm + rpmPerSecond * t; }

    [[nodiscard]] double vibrationAt(double t) const
    {
        const double phi = 2.0 * std::numbers::pi * turnsAt(t);
        return 0.25 * std::cos(phi + 0.5) + 0.125 * std::cos(3.5 * phi);
    }

    /// Rows of three channels, one after the other.
    [[nodiscard]] std::vector<double> frames() const
    {
        std::vector<double> result;
        for (std::size_t k = 0; k < static_cast<std::size_t>(seconds * rateHz); ++k) {
            const double t = static_cast<double>(k) / rateHz;
            const double phi = 2.0 * std::numbers::pi * turnsAt(t);
            result.push_back(vibrationAt(t));
            result.push_back(0.5 * vibrationAt(t));
            result.push_back(0.9 * std::exp(20.0 * (std::cos(phi - 0.3) - 1.0)));
        }
        return result;
    }

    /// A table of time, speed and signal at 500 Hz, with a column besides that no program can read.
    [[nodiscard]] std::string table() const
    {
        std::string text = " Time , note, Speed ,Signal\n";
        for (int k = 0; k < static_cast<int>(seconds * 500.0); ++k) {
            const double t = k / 500.0;
            text += std::to_string(1000.0 * t) + (k % 3 == 0 ? ",NaN," : ",,") +
                    std::to_string(rpmAt(t)) + ',' + std::to_string(vibrationAt(t)) + '\n';
        }
        return text;
    }
};

/// Stores rows of three channels; the format is one of libsndfile's.
inline void
storeAudio(const std::string& file, const std::vector<double>& frames, double rateHz, int format)
{
    SndfileHandle handle(file, SFM_WRITE, format, 3, static_cast<int>(rateHz));
    handle.writef(frames.data(), static_cast<sf_count_t>(frames.size() / 3));
}

inline constexpr int kFlac = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
inline constexpr int kWav = SF_FORMAT_WAV | SF_FORMAT_PCM_24;
inline constexpr int kFloatWav = SF_FORMAT_WAV | SF_FORMAT_DOUBLE;

} // namespace Harmotrack::Tests
