#include "autotracker/lu_decomposition.h"

#include <algorithm>

namespace Velmora::Autotracker {
namespace {

using Eigen::Index;

/// Unknowns that are taken out of the equations of a column in one pass over it.
constexpr Index kPanel = 4;

} // namespace

void LuDecomposition::resize(Index size)
{
    lu_.resize(size, size);
    pivots_.resize(size);
}

void LuDecomposition::compute(const Eigen::MatrixXd& matrix)
{
    lu_ = matrix;
    sign_ = 1.0;
    for (Index k = 0; k < lu_.cols(); ++k) {
        bringPivotUp(k);
        const Index below = lu_.rows() - k - 1;
        auto factors = lu_.col(k).tail(below);
        if (lu_(k, k) != 0.0) factors /= lu_(k, k);
        for (Index j = k + 1; j < lu_.cols(); ++j) lu_.col(j).tail(below) -= lu_(k, j) * factors;
    }
}

void LuDecomposition::bringPivotUp(Index k)
{
    Index row = 0;
    lu_.col(k).tail(lu_.rows() - k).cwiseAbs().maxCoeff(&row);
    pivots_[k] = row + k;
    if (row == 0) return;
    lu_.row(k).swap(lu_.row(row + k));
    sign_ = -sign_;
}

void LuDecomposition::invertInto(Eigen::MatrixXd& inverse) const
{
    inverse.setIdentity();
    for (Index k = 0; k < pivots_.size(); ++k)
        if (pivots_[k] != k) inverse.row(k).swap(inverse.row(pivots_[k]));
    solveLower(inverse);
    solveUpper(inverse);
}

/// L x = b in place, from the first unknown on.
void LuDecomposition::solveLower(Eigen::MatrixXd& columns) const
{
    const Index size = lu_.rows();
    for (Index first = 0; first < size; first += kPanel) {
        const Index width = std::min(kPanel, size - first);
        const Index rest = size - first - width;
        for (Index j = 0; j < columns.cols(); ++j) {
            auto x = columns.col(j);
            for (Index k = first; k < first + width; ++k)
                for (Index i = k + 1; i < first + width; ++i) x[i] -= x[k] * lu_(i, k);
            if (rest == 0) continue;
            x.tail(rest) -= lu_.col(first).tail(rest) * x[first] +
                            lu_.col(first + 1).tail(rest) * x[first + 1] +
                            lu_.col(first + 2).tail(rest) * x[first + 2] +
                            lu_.col(first + 3).tail(rest) * x[first + 3];
        }
    }
}

/// U x = b in place, from the last unknown on.
void LuDecomposition::solveUpper(Eigen::MatrixXd& columns) const
{
    for (Index end = lu_.rows(); end > 0; end -= kPanel) {
        const Index first = std::max(end - kPanel, Index{0});
        for (Index j = 0; j < columns.cols(); ++j) {
            auto x = columns.col(j);
            for (Index k = end - 1; k >= first; --k) {
                x[k] *= 1.0 / lu_(k, k);
                for (Index i = first; i < k; ++i) x[i] -= x[k] * lu_(i, k);
            }
            if (first == 0) continue;
            x.head(first) -= lu_.col(first).head(first) * x[first] +
                             lu_.col(first + 1).head(first) * x[first + 1] +
                             lu_.col(first + 2).head(first) * x[first + 2] +
                             lu_.col(first + 3).head(first) * x[first + 3];
        }
    }
}

} // namespace Velmora::Autotracker
