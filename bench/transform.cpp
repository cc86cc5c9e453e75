// How exact and how fast is the own transform beside FFTW?
//
// In place, as the analyzer uses them, with the flags that the library gives. Errors are those of
// lines drawn at random against their sums in extended precision; times are the least of many
// rounds, in which the two take turns.

#include "tests/fft/transform_library.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <complex>
#include <cstdio>
#include <exception>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace {

using Extended = long double;

// Powers of two, sizes that suit orders and frequencies, and a prime.
constexpr int kLengths[] = {1024, 1000, 4096, 4099, 16384, 25600, 65536, 100000, 262144};
constexpr int kLines = 64;
constexpr int kRounds = 60;

std::vector<double> noise(std::size_t count)
{
    std::mt19937_64 bits(count);
    std::normal_distribution<double> normal;
    std::vector<double> values(count);
    for (double& value : values) value = normal(bits);
    return values;
}

/// Line k of the samples, which are real or complex: Σ x[m] exp(-2πi km/n)
std::complex<Extended> lineOf(const std::vector<double>& samples, std::size_t n, std::size_t k)
{
    const bool complex = samples.size() == 2 * n;
    std::complex<Extended> sum;
    for (std::size_t m = 0; m < n; ++m) {
        const Extended turns = static_cast<Extended>(k * m % n) / static_cast<Extended>(n);
        const Extended angle = -2 * std::numbers::pi_v<Extended> * turns;
        const std::complex<Extended> sample(complex ? samples[2 * m] : samples[m],
                                            complex ? samples[2 * m + 1] : 0.0);
        sum += sample * std::complex<Extended>(std::cos(angle), std::sin(angle));
    }
    return sum;
}

struct Line {
    std::size_t number;
    std::complex<Extended> value;
};

std::vector<Line> drawnLines(const std::vector<double>& samples, std::size_t n, std::size_t lines)
{
    std::mt19937_64 bits(n);
    std::vector<Line> drawn;
    for (int i = 0; i < kLines; ++i) {
        const std::size_t k = bits() % lines;
        drawn.push_back({k, lineOf(samples, n, k)});
    }
    return drawn;
}

/// A plan in place, and its array.
class Contestant {
public:
    Contestant(const TransformLibrary& library, Kind kind, int n)
        : library_(library), array_(library, 2 * static_cast<std::size_t>(n) + 2),
          plan_(planOf(library, kind, n, array_, array_))
    {
    }

    Contestant(const Contestant&) = delete;
    Contestant& operator=(const Contestant&) = delete;

    ~Contestant() { library_.destroyPlan(plan_); }

    double seconds(const std::vector<double>& samples)
    {
        std::copy(samples.begin(), samples.end(), array_.real());
        const auto start = std::chrono::steady_clock::now();
        library_.execute(plan_);
        const auto end = std::chrono::steady_clock::now();
        return std::chrono::duration<double>(end - start).count();
    }

    /// Root mean square of the errors, in parts of that of the lines.
    [[nodiscard]] double error(const std::vector<Line>& lines) const
    {
        Extended errors = 0;
        Extended squares = 0;
        for (const auto& [k, value] : lines) {
            errors += std::norm(value - std::complex<Extended>(array_[2 * k], array_[2 * k + 1]));
            squares += std::norm(value);
        }
        return static_cast<double>(std::sqrt(errors / squares));
    }

private:
    const TransformLibrary& library_;
    Array array_;
    fftw_plan plan_;
};

void compare(Kind kind, int n)
{
    const auto samples = noise(inputSize(kind, n));
    const std::size_t lines = outputSize(kind, n) / 2;
    Contestant theirs(fftw(), kind, n);
    Contestant own(ours(), kind, n);
    double theirTime = std::numeric_limits<double>::infinity();
    double ownTime = theirTime;
    for (int round = 0; round < kRounds; ++round) {
        theirTime = std::min(theirTime, theirs.seconds(samples));
        ownTime = std::min(ownTime, own.seconds(samples));
    }
    const auto drawn = drawnLines(samples, static_cast<std::size_t>(n), lines);
    std::printf("| %s | %d | %.1e | %.1e | %.1f | %.1f | %.2f |\n",
                kind == Kind::RealForward ? "real" : "complex",
                n,
                theirs.error(drawn),
                own.error(drawn),
                theirTime * 1e6,
                ownTime * 1e6,
                ownTime / theirTime);
}

} // namespace

int main()
{
    try {
        std::printf("| samples | N | error, FFTW | error, own | FFTW, us | own, us | own / FFTW |\n"
                    "|---|---|---|---|---|---|---|\n");
        for (const Kind kind : {Kind::RealForward, Kind::ComplexForward})
            for (const int n : kLengths) compare(kind, n);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    return 0;
}
