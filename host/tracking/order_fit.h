#pragma once

#include <cstddef>
#include <memory>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// How much of a block of samples a least-squares fit of some orders explains at a speed.
///
///     model     y[i] = c + Σ a[j] cos(j-th angle) + b[j] sin(j-th angle)
///     angle     2π order[j] f (i - (N - 1) / 2) / rate
///     explained 1 - (energy of y - model) / (energy of y - mean of y)
///
/// About the middle of the block the cosines and the constant are even and the sines are odd, so
/// the normal equations fall into two independent systems, whose matrices are sums of Dirichlet
/// kernels in closed form: only the 2 m projections cost N steps. An object serves one thread.
class OrderFit {
public:
    OrderFit(std::vector<float> orders, double rateHz, std::size_t blockSamples);
    ~OrderFit();
    OrderFit(OrderFit&&) noexcept;
    OrderFit& operator=(OrderFit&&) noexcept;

    /// The block that later calls ask about.
    void take(std::span<const double> block);

    /// Energy of the block about its mean.
    [[nodiscard]] double energy() const;

    /// Share of the energy that the orders explain at a rotation frequency, 0 to 1; 0 for a block
    /// without energy.
    [[nodiscard]] double explained(double hertz);

private:
    struct State;

    std::unique_ptr<State> state_;
};

} // namespace Harmotrack::Host
