#include "autotracker/autotracker.h"

#include <cmath>
#include <limits>
#include <numbers>

namespace Velmora::Autotracker {

double Autotracker::likelihood(double candidate, bool usePrior)
{
    fillDesign(candidate);
    fillGram();
    if (!invertGram()) return 0.0;

    const double residual = block_.dot(block_) - projectedEnergy();
    if (0.0 >= residual) return 0.0;

    // The norm of the matrix itself, in the place where the derivation has the root of its
    // determinant. The heights of the peaks depend on it.
    const double norm = gram_.norm();
    if (norm == 0.0) return 0.0;

    const double exponent = (2 * setup_->orderCount - blockLength_ + 1) * 0.5;
    const double value = std::pow(residual, exponent) / norm;
    return usePrior ? value * prior(candidate) : value;
}

void Autotracker::fillDesign(double candidate)
{
    const std::int32_t orders = setup_->orderCount;
    const double dt = 1.0 / trackingRate();
    design_.col(0).setOnes();
    for (std::int32_t j = 0; j < orders; ++j) {
        const double step = static_cast<double>(setup_->orders[j]) * candidate * dt;
        double* const cosine = design_.col(1 + j).data();
        double* const sine = design_.col(orders + 1 + j).data();
        for (std::int32_t i = 0; i < blockLength_; ++i) {
            const double angle = step * i;
            cosine[i] = std::cos(angle);
            sine[i] = std::sin(angle);
        }
    }
}

/// Gaussian round the prediction. Its standard deviation is a share of the top of the range and
/// does not follow the frequency.
double Autotracker::prior(double candidate) const
{
    const double sigma =
        setup_->predictionSigmaPercent / 100.0 * setup_->maxFrequency / unitFactor_;
    const double variance = sigma * sigma;
    const double distance = candidate - predictedFrequency();
    return std::exp(-(distance * distance) / (2 * variance)) *
           (1.0 / std::sqrt(2 * variance * std::numbers::pi));
}

/// GᵀG, column by column below the diagonal and mirrored above it: half the work of the product of
/// matrices as a whole, and no panels for it.
void Autotracker::fillGram()
{
    const Eigen::Index columns = gram_.cols();
    for (Eigen::Index c = 0; c < columns; ++c) {
        const Eigen::Index rows = columns - c;
        gram_.col(c).tail(rows).noalias() = design_.rightCols(rows).transpose() * design_.col(c);
        gram_.row(c).tail(rows) = gram_.col(c).tail(rows).transpose();
    }
}

/// One decomposition serves determinant and inverse.
bool Autotracker::invertGram()
{
    decomposition_.compute(gram_);
    if (std::numeric_limits<double>::epsilon() > std::abs(decomposition_.determinant()))
        return false;
    decomposition_.invertInto(gramInverse_);
    return true;
}

/// Energy of the block that the model explains.
double Autotracker::projectedEnergy()
{
    moments_.noalias() = design_.transpose() * block_;
    amplitudes_.noalias() = gramInverse_ * moments_;
    modelled_.noalias() = design_ * amplitudes_;
    return block_.dot(modelled_);
}

} // namespace Velmora::Autotracker
