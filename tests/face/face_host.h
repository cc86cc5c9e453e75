/// What the tests of harmotrack.hpp have in common: setups for the simulated machines of the
/// boundary's tests, and everything that a run gives, as bits.
#ifndef HARMOTRACK_TESTS_FACE_FACE_HOST_H
#define HARMOTRACK_TESTS_FACE_FACE_HOST_H

#include "boundary/test_host.h"

#include <harmotrack/harmotrack.hpp>

#include <cstdint>
#include <string>
#include <vector>

namespace Face {

using namespace Harmotrack;

inline constexpr Mode kModes[] = {Mode::OneReal, Mode::TwoReal, Mode::OneComplex};

/// Bins 1000, 1100 .. 2000, entered at their centres by rising values; orders to 16 by 0.25, so
/// blocks of N = 128 with 64 lines; time blocks of 128 at 1024 Hz, so 64 lines by 8 Hz; Hanning
/// window, overwriting, no means removed. No result is asked for.
AnalyzerSetup machineSetup();

/// Samples first .. last - 1 of a recording, at equal angles.
AngleSamples
angleSamples(const Boundary::Recording& recording, Mode mode, int64_t first, int64_t last);

/// Samples first .. last - 1 of a recording, at equal times.
TimeSamples
timeSamples(const Boundary::Recording& recording, Mode mode, int64_t first, int64_t last);

/// Everything that can be read of an analyzer, as bits.
std::vector<uint32_t> readAll(const AnyAnalyzer& analyzer);

/// Feeds samples up to a number, in deliveries of `piece`, takes all results and returns, as bits,
/// each announcement with everything that could be read at it.
std::vector<uint32_t> runThrough(AnyAnalyzer& analyzer,
                                 const Boundary::Recording& recording,
                                 int64_t samples,
                                 int64_t piece);

/// The sentence that a call ends with; empty if it ends well.
template <typename Call>
std::string sentenceOf(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error.what();
    }
    return {};
}

} // namespace Face

#endif
