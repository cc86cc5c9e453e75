#pragma once

#include <Eigen/Core>

namespace Velmora::Autotracker {

/// Determinant and inverse of square matrices of one size, by the decomposition P M = L U with
/// partial pivoting: of each column the entry of greatest magnitude on or below the diagonal.
///
/// After Golub and van Loan, "Matrix Computations", 3.4. All work is a few columns at a time over
/// the entries of one, so it asks for no panels of a size that depends on the caches of the
/// processor, the order of the sums is the same everywhere, and for up to 16 columns they are those
/// of Eigen::PartialPivLU to the bit.
///
/// **Memory.** resize() takes it. The rest allocates nothing.
class LuDecomposition {
public:
    /// @throws std::bad_alloc
    void resize(Eigen::Index size);

    /// @param matrix  shape (size, size)
    void compute(const Eigen::MatrixXd& matrix);

    [[nodiscard]] double determinant() const { return sign_ * lu_.diagonal().prod(); }

    /// @param[out] inverse  shape (size, size); not finite where a pivot is 0
    void invertInto(Eigen::MatrixXd& inverse) const;

private:
    void bringPivotUp(Eigen::Index k);
    void solveLower(Eigen::MatrixXd& columns) const;
    void solveUpper(Eigen::MatrixXd& columns) const;

    Eigen::MatrixXd lu_;                        ///< U, and L below its diagonal of ones
    Eigen::Matrix<Eigen::Index, -1, 1> pivots_; ///< row that changed places with row k
    double sign_ = 1.0;                         ///< determinant of P
};

} // namespace Velmora::Autotracker
