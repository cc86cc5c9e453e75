#include "dsp/fir/remez.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <numbers>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

using std::numbers::pi;

constexpr int kIterationLimit = 40;
constexpr double kRippleTolerance = 1e-4; // relative difference of the extremes at the end

constexpr std::int32_t kConverged = 0;
constexpr std::int32_t kNotConverged = -1;
constexpr std::int32_t kTooFewExtrema = -2;
constexpr std::int32_t kTooManyExtrema = -3;

struct Band {
    double lower;
    double upper;
    double lowerGain;
    double upperGain;
    double weight;
};

struct Problem {
    std::size_t tapCount; // N
    std::vector<Band> bands;
    double firstEdge;
    bool differentiator;
    bool symmetric; // else antisymmetric
    double pointsPerTerm;

    [[nodiscard]] bool odd() const { return tapCount % 2 != 0; }

    // r, the free cosine terms of A once the factor of the symmetry is taken out
    [[nodiscard]] std::size_t terms() const { return tapCount / 2 + (odd() && symmetric ? 1 : 0); }
};

struct WorkingMemory {
    // one element a grid point
    std::vector<double> grid; // fractions of the sample rate
    std::vector<double> desired;
    std::vector<double> weight;
    std::vector<double> error; // (desired - A) weight
    // r + 1 elements
    std::vector<std::size_t> extrema; // indices of grid
    std::vector<double> amplitudes;   // A at i/N, with the factor of the symmetry
    std::vector<double> x;            // cos(2πf) of the extrema
    std::vector<double> y;            // A there
    std::vector<double> ad;           // barycentric weights

    WorkingMemory(std::size_t points, std::size_t terms)
        : grid(points), desired(points), weight(points), error(points), extrema(terms + 1),
          amplitudes(terms + 1), x(terms + 1), y(terms + 1), ad(terms + 1)
    {
    }
};

// Rounded to the nearest; what no 32-bit integer holds counts as nothing.
std::int32_t pointsWithin(double spacings)
{
    const double rounded = spacings + 0.5;
    const bool holds = rounded > std::numeric_limits<std::int32_t>::min() &&
                       rounded < std::numeric_limits<std::int32_t>::max();
    return holds ? static_cast<std::int32_t>(rounded) : 0;
}

std::size_t gridSize(const Problem& problem)
{
    const double spacings = 2.0 * static_cast<double>(problem.terms()) * problem.pointsPerTerm;
    std::int64_t points = problem.symmetric ? 0 : -1;
    for (const Band& band : problem.bands)
        points += pointsWithin((band.upper - band.lower) * spacings);
    return static_cast<std::size_t>(std::max<std::int64_t>(points, 0));
}

// Fills grid, desired and weight, band after band. An antisymmetric filter has no amplitude at 0,
// nor at 0.5 when N is odd, and its grid stays clear of both by one spacing. A grid that starts
// there is one point shorter than gridSize() says; the vectors are cut to what was filled.
void createDenseGrid(const Problem& problem, WorkingMemory& memory)
{
    const std::size_t size = memory.grid.size();
    const double delta = 0.5 / (problem.pointsPerTerm * static_cast<double>(problem.terms()));
    const double lowest =
        problem.symmetric ? problem.firstEdge : std::max(problem.firstEdge, delta);

    std::size_t j = 0;
    for (std::size_t b = 0; b < problem.bands.size(); ++b) {
        const Band& band = problem.bands[b];
        double frequency = b == 0 ? lowest : band.lower;
        std::int32_t points = pointsWithin((band.upper - frequency) / delta);
        if (b == 0 && !problem.symmetric) --points;
        for (std::int32_t i = 0; i < points && j < size; ++i, ++j) {
            memory.desired[j] =
                band.lowerGain + i * (band.upperGain - band.lowerGain) / (points - 1.0);
            memory.weight[j] = band.weight;
            memory.grid[j] = frequency;
            frequency += delta;
        }
        if (j > 0) memory.grid[j - 1] = band.upper;
    }
    memory.grid.resize(j);
    memory.desired.resize(j);
    memory.weight.resize(j);
    memory.error.resize(j);

    if (!problem.symmetric && problem.odd() && j > 0 && memory.grid[j - 1] > 0.5 - delta)
        memory.grid[j - 1] = 0.5 - delta;
}

void spreadInitialExtrema(WorkingMemory& memory)
{
    const std::size_t r = memory.extrema.size() - 1;
    for (std::size_t i = 0; i <= r; ++i) memory.extrema[i] = i * (memory.grid.size() - 1) / r;
}

// Takes the fixed factor of the symmetry out of the problem, so that what is left to approach is
// a plain sum of r cosines.
void adjustForType(const Problem& problem, WorkingMemory& memory)
{
    const bool plain = problem.symmetric && problem.odd();
    for (std::size_t j = 0; j < memory.grid.size(); ++j) {
        const double f = memory.grid[j];
        if (problem.differentiator && memory.desired[j] > 0.0001) memory.weight[j] /= f;
        if (plain) continue;
        const double c = problem.symmetric ? std::cos(pi * f)
                         : problem.odd()   ? std::sin(2.0 * pi * f)
                                           : std::sin(pi * f);
        memory.desired[j] /= c;
        memory.weight[j] *= c;
    }
}

// 1 / Π 2 (x[i] - x[k]), k ≠ i, with a floor under the product. Neighbours of x are close together,
// so the factors are taken in strides: no partial product runs out of the range of double.
double barycentricWeight(const std::vector<double>& x, std::size_t i)
{
    const std::size_t r = x.size() - 1;
    const std::size_t stride = (r - 1) / 15 + 1;
    double product = 1.0;
    for (std::size_t first = 0; first < stride; ++first)
        for (std::size_t k = first; k <= r; k += stride)
            if (k != i) product *= 2.0 * (x[i] - x[k]);
    if (std::abs(product) < 1e-5) product = 1e-5;
    return 1.0 / product;
}

// Levels the error at the present extrema: x, y and ad of an A that misses desired by δ/weight
// there, with alternating sign.
void calculateBarycentricParameters(WorkingMemory& memory)
{
    const std::size_t count = memory.extrema.size();
    for (std::size_t i = 0; i < count; ++i)
        memory.x[i] = std::cos(2.0 * pi * memory.grid[memory.extrema[i]]);
    for (std::size_t i = 0; i < count; ++i) memory.ad[i] = barycentricWeight(memory.x, i);

    double numerator = 0.0;
    double denominator = 0.0;
    double sign = 1.0;
    for (std::size_t i = 0; i < count; ++i) {
        numerator += memory.ad[i] * memory.desired[memory.extrema[i]];
        denominator += sign * memory.ad[i] / memory.weight[memory.extrema[i]];
        sign = -sign;
    }
    const double delta = numerator / denominator;

    sign = 1.0;
    for (std::size_t i = 0; i < count; ++i) {
        const std::size_t j = memory.extrema[i];
        memory.y[i] = memory.desired[j] - sign * delta / memory.weight[j];
        sign = -sign;
    }
}

// A(f), the barycentric interpolation through (x, y)
double amplitudeAt(double f, const WorkingMemory& memory)
{
    const double c0 = std::cos(2.0 * pi * f);
    double numerator = 0.0;
    double denominator = 0.0;
    for (std::size_t i = 0; i < memory.x.size(); ++i) {
        const double distance = c0 - memory.x[i];
        if (std::abs(distance) < 1e-7) return memory.y[i];
        const double c = memory.ad[i] / distance;
        denominator += c;
        numerator += c * memory.y[i];
    }
    return numerator / denominator;
}

void calculateError(WorkingMemory& memory)
{
    for (std::size_t j = 0; j < memory.grid.size(); ++j)
        memory.error[j] =
            (memory.desired[j] - amplitudeAt(memory.grid[j], memory)) * memory.weight[j];
}

// A local extremum inside the grid: not below its left neighbour in height and above its right.
bool isInnerExtremum(const std::vector<double>& error, std::size_t i)
{
    return (error[i] >= error[i - 1] && error[i] > error[i + 1] && error[i] > 0.0) ||
           (error[i] <= error[i - 1] && error[i] < error[i + 1] && error[i] < 0.0);
}

bool isEndExtremum(double end, double neighbour)
{
    return (end > 0.0 && end > neighbour) || (end < 0.0 && end < neighbour);
}

// Which of too many extrema goes: the smallest up to the first two neighbours of one sign; when
// all alternate and one is too many, the lesser of the two ends.
std::size_t dispensableExtremum(const std::vector<std::size_t>& found,
                                const std::vector<double>& error,
                                std::size_t extra)
{
    std::size_t smallest = 0;
    bool positive = error[found[0]] > 0.0;
    bool alternates = true;
    for (std::size_t i = 1; i < found.size() && alternates; ++i) {
        if (std::abs(error[found[i]]) < std::abs(error[found[smallest]])) smallest = i;
        alternates = positive ? error[found[i]] < 0.0 : error[found[i]] > 0.0;
        positive = !positive;
    }
    if (!alternates || extra != 1) return smallest;
    const bool firstIsHigher = std::abs(error[found.front()]) > std::abs(error[found.back()]);
    return firstIsHigher ? found.size() - 1 : 0;
}

// Replaces extrema by the r + 1 that count among the local extrema of error.
std::int32_t searchExtrema(WorkingMemory& memory)
{
    const std::vector<double>& error = memory.error;
    const std::size_t wanted = memory.extrema.size();
    const std::size_t room = 2 * (wanted - 1);
    const std::size_t last = error.size() - 1;

    std::vector<std::size_t> found;
    found.reserve(room);
    if (isEndExtremum(error[0], error[1])) found.push_back(0);
    for (std::size_t i = 1; i < last; ++i) {
        if (!isInnerExtremum(error, i)) continue;
        if (found.size() == room) return kTooManyExtrema;
        found.push_back(i);
    }
    if (isEndExtremum(error[last], error[last - 1])) {
        if (found.size() == room) return kTooManyExtrema;
        found.push_back(last);
    }
    if (found.size() < wanted) return kTooFewExtrema;

    for (std::size_t extra = found.size() - wanted; extra > 0; --extra) {
        const std::size_t i = dispensableExtremum(found, error, extra);
        found.erase(found.begin() + static_cast<std::ptrdiff_t>(i));
    }
    std::copy(found.begin(), found.end(), memory.extrema.begin());
    return kConverged;
}

bool ripplesAreEqual(const WorkingMemory& memory)
{
    double least = std::abs(memory.error[memory.extrema[0]]);
    double greatest = least;
    for (const std::size_t j : memory.extrema) {
        least = std::min(least, std::abs(memory.error[j]));
        greatest = std::max(greatest, std::abs(memory.error[j]));
    }
    return (greatest - least) / greatest < kRippleTolerance;
}

// The exchange itself: level the error at the extrema, find where it is extreme now, again.
std::int32_t exchange(WorkingMemory& memory)
{
    for (int iteration = 0; iteration < kIterationLimit; ++iteration) {
        calculateBarycentricParameters(memory);
        calculateError(memory);
        const std::int32_t result = searchExtrema(memory);
        if (result != kConverged) return result;
        if (ripplesAreEqual(memory)) return kConverged;
    }
    return kNotConverged;
}

// Samples of the filter's own amplitude at i/N: the factor of the symmetry comes back in.
void sampleAmplitudes(const Problem& problem, WorkingMemory& memory)
{
    const auto N = static_cast<double>(problem.tapCount);
    for (std::size_t i = 0; i <= problem.tapCount / 2; ++i) {
        const auto line = static_cast<double>(i);
        double c = 1.0;
        if (problem.symmetric && !problem.odd()) c = std::cos(pi * line / N);
        if (!problem.symmetric)
            c = problem.odd() ? std::sin(2.0 * pi * line / N) : std::sin(pi * line / N);
        memory.amplitudes[i] = amplitudeAt(line / N, memory) * c;
    }
}

// taps[n] of the frequency samples; M = (N - 1)/2 is the centre of symmetry.
void inverseTransform(const Problem& problem, const std::vector<double>& amplitudes, double* taps)
{
    const auto N = static_cast<double>(problem.tapCount);
    const double M = (N - 1.0) / 2.0;
    // the lines that have a mirror line; the line at N/2, of even N, has none
    const std::size_t paired = (problem.tapCount - 1) / 2;

    for (std::size_t n = 0; n < problem.tapCount; ++n) {
        const double offset = static_cast<double>(n) - M;
        const double theta = offset * 2.0 * pi / N;
        double sum = 0.0;
        if (problem.symmetric) sum = amplitudes[0];
        if (!problem.symmetric && !problem.odd())
            sum = amplitudes[problem.tapCount / 2] * std::sin(offset * pi);
        for (std::size_t k = 1; k <= paired; ++k) {
            const double angle = static_cast<double>(k) * theta;
            sum += 2.0 * amplitudes[k] * (problem.symmetric ? std::cos(angle) : std::sin(angle));
        }
        taps[n] = sum / N;
    }
}

} // namespace

std::int32_t remez(double* taps,
                   std::int32_t tapCount,
                   std::int32_t bandCount,
                   const double* bands,
                   const double* gains,
                   const double* weights,
                   std::int32_t type,
                   std::int32_t gridDensity)
{
    Problem problem{.tapCount = static_cast<std::size_t>(tapCount),
                    .bands = {},
                    .firstEdge = bands[0],
                    .differentiator = type == 2,
                    .symmetric = type == 1,
                    .pointsPerTerm = static_cast<double>(gridDensity)};
    for (std::ptrdiff_t b = 0; b < bandCount; ++b) {
        const double* edge = bands + 2 * b;
        const double* gain = gains + 2 * b;
        problem.bands.push_back({edge[0], edge[1], gain[0], gain[1], weights[b]});
    }

    auto memory = std::make_unique<WorkingMemory>(gridSize(problem), problem.terms());
    createDenseGrid(problem, *memory);

    // A grid of fewer points than extremes has too few of them, whatever the error.
    std::int32_t result = kTooFewExtrema;
    if (memory->grid.size() >= memory->extrema.size()) {
        spreadInitialExtrema(*memory);
        adjustForType(problem, *memory);
        result = exchange(*memory);
    }
    if (result == kTooFewExtrema || result == kTooManyExtrema) {
        static_cast<void>(memory.release()); // stays allocated, as the header says
        return result;
    }

    calculateBarycentricParameters(*memory);
    sampleAmplitudes(problem, *memory);
    inverseTransform(problem, memory->amplitudes, taps);
    return result;
}

} // namespace Velmora::KorLib::Dsp::Fir
