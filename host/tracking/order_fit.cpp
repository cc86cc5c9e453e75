#include "host/tracking/order_fit.h"

#include <Eigen/Cholesky>
#include <Eigen/Core>

#include <algorithm>
#include <cmath>
#include <complex>
#include <numbers>
#include <numeric>
#include <utility>

namespace Harmotrack::Host {
namespace {

// Σ cos(x (i - (N - 1) / 2)) over i = 0 .. N - 1.
double dirichlet(double x, double count)
{
    const double below = std::sin(0.5 * x);
    return std::abs(below) < 1e-9 ? count : std::sin(0.5 * count * x) / below;
}

} // namespace

struct OrderFit::State {
    std::vector<float> orders;
    double rateHz;
    double count;
    std::vector<double> block; ///< without its mean
    double energy = 0.0;
    Eigen::VectorXd angles; ///< of one sample, by column: 0 for the constant, then the orders
    Eigen::MatrixXd even;   ///< normal matrices of constant and cosines, and of the sines
    Eigen::MatrixXd odd;
    Eigen::VectorXd onEven; ///< projections of the block
    Eigen::VectorXd onOdd;

    State(std::vector<float> list, double rate, std::size_t samples)
        : orders(std::move(list)), rateHz(rate), count(static_cast<double>(samples)), block(samples)
    {
        const auto m = static_cast<Eigen::Index>(orders.size());
        angles.setZero(m + 1);
        even.resize(m + 1, m + 1);
        odd.resize(m, m);
        onEven.setZero(m + 1);
        onOdd.setZero(m);
    }

    void project()
    {
        for (Eigen::Index j = 1; j < angles.size(); ++j) {
            const std::complex<double> step = std::polar(1.0, angles[j]);
            std::complex<double> turn = std::polar(1.0, -0.5 * (count - 1.0) * angles[j]);
            double cosines = 0.0;
            double sines = 0.0;
            for (const double value : block) {
                cosines += value * turn.real();
                sines += value * turn.imag();
                turn = {turn.real() * step.real() - turn.imag() * step.imag(),
                        turn.real() * step.imag() + turn.imag() * step.real()};
            }
            onEven[j] = cosines;
            onOdd[j - 1] = sines;
        }
    }

    void fillMatrices()
    {
        // Far below one turn a block the columns are nearly parallel; this keeps the systems
        // regular and takes a millionth part off what is explained.
        const double ridge = 1e-6 * count;
        for (Eigen::Index j = 0; j < angles.size(); ++j) {
            for (Eigen::Index k = 0; k <= j; ++k) {
                const double difference = 0.5 * dirichlet(angles[j] - angles[k], count);
                const double sum = 0.5 * dirichlet(angles[j] + angles[k], count);
                even(j, k) = difference + sum;
                if (k > 0) odd(j - 1, k - 1) = difference - sum;
            }
            even(j, j) += ridge;
            if (j > 0) odd(j - 1, j - 1) += ridge;
        }
    }
};

OrderFit::OrderFit(std::vector<float> orders, double rateHz, std::size_t blockSamples)
    : state_(std::make_unique<State>(std::move(orders), rateHz, blockSamples))
{
}

OrderFit::~OrderFit() = default;
OrderFit::OrderFit(OrderFit&&) noexcept = default;
OrderFit& OrderFit::operator=(OrderFit&&) noexcept = default;

void OrderFit::take(std::span<const double> block)
{
    const double mean = std::accumulate(block.begin(), block.end(), 0.0) / state_->count;
    std::transform(block.begin(), block.end(), state_->block.begin(), [mean](double value) {
        return value - mean;
    });
    state_->energy =
        std::inner_product(state_->block.begin(), state_->block.end(), state_->block.begin(), 0.0);
}

double OrderFit::energy() const
{
    return state_->energy;
}

double OrderFit::explained(double hertz)
{
    State& s = *state_;
    if (!(s.energy > 0.0)) return 0.0;
    for (std::size_t j = 0; j < s.orders.size(); ++j)
        s.angles[static_cast<Eigen::Index>(j) + 1] =
            2.0 * std::numbers::pi * static_cast<double>(s.orders[j]) * hertz / s.rateHz;
    s.project();
    s.fillMatrices();
    const double projected =
        s.onEven.dot(s.even.selfadjointView<Eigen::Lower>().ldlt().solve(s.onEven)) +
        s.onOdd.dot(s.odd.selfadjointView<Eigen::Lower>().ldlt().solve(s.onOdd));
    return std::clamp(projected / s.energy, 0.0, 1.0);
}

} // namespace Harmotrack::Host
