#include "autotracker/lu_decomposition.h"

#include <Eigen/LU>
#include <gtest/gtest.h>

#include <cmath>

namespace Velmora::Autotracker {
namespace {

using Eigen::Index;
using Eigen::MatrixXd;

// Entries in -1 .. 1 without a pattern that a pivot could follow.
MatrixXd unruly(Index size)
{
    MatrixXd matrix(size, size);
    for (Index j = 0; j < size; ++j)
        for (Index i = 0; i < size; ++i)
            matrix(i, j) = std::cos(static_cast<double>(3 * i * i + 7 * j * j + 5 * i * j));
    return matrix;
}

LuDecomposition decompositionOf(const MatrixXd& matrix)
{
    LuDecomposition decomposition;
    decomposition.resize(matrix.rows());
    decomposition.compute(matrix);
    return decomposition;
}

MatrixXd inverseOf(const MatrixXd& matrix)
{
    MatrixXd inverse(matrix.rows(), matrix.cols());
    decompositionOf(matrix).invertInto(inverse);
    return inverse;
}

// By hand: 2 * 1 - 4 * 3, and the rows change places.
TEST(LuDecomposition, OfTwoRowsIsThatByHand)
{
    const MatrixXd matrix{{2.0, 3.0}, {4.0, 1.0}};
    EXPECT_DOUBLE_EQ(decompositionOf(matrix).determinant(), -10.0);
    EXPECT_TRUE(inverseOf(matrix).isApprox(MatrixXd{{-0.1, 0.3}, {0.4, -0.2}}, 1e-15));
}

TEST(LuDecomposition, IsThatOfEigenToTheBitUpToSixteenRows)
{
    for (Index size = 1; size <= 16; ++size) {
        const MatrixXd matrix = unruly(size);
        const Eigen::PartialPivLU<MatrixXd> eigen(matrix);
        EXPECT_EQ(decompositionOf(matrix).determinant(), eigen.determinant()) << size;
        EXPECT_EQ(inverseOf(matrix), eigen.inverse()) << size;
    }
}

// The bound is that of a backward stable solution: a few units in the last place times the
// condition number, which is below 1e4 for these.
TEST(LuDecomposition, InverseTimesMatrixIsOneAtAnySize)
{
    for (const Index size : {1, 2, 3, 4, 5, 8, 17, 63, 129, 257}) {
        const MatrixXd matrix = unruly(size);
        const MatrixXd product = matrix * inverseOf(matrix);
        EXPECT_LT((product - MatrixXd::Identity(size, size)).cwiseAbs().maxCoeff(), 1e-10) << size;
    }
}

TEST(LuDecomposition, SingularMatrixHasTheDeterminantZero)
{
    for (const Index size : {2, 3, 7, 20}) {
        MatrixXd matrix = unruly(size);
        matrix.col(size / 2).setZero();
        EXPECT_EQ(decompositionOf(matrix).determinant(), 0.0) << size;
    }
}

} // namespace
} // namespace Velmora::Autotracker
