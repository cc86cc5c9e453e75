/// What several boundary tests expect alike.
#ifndef HARMOTRACK_TESTS_BOUNDARY_EXPECTATIONS_H
#define HARMOTRACK_TESTS_BOUNDARY_EXPECTATIONS_H

#include <gtest/gtest.h>

#include <complex>
#include <vector>

namespace Boundary {

/// Tables are in float: an analytic value is met within a few units of its last place.
inline constexpr double kFloatTolerance = 1e-6;

inline void expectRow(const std::vector<double>& row,
                      const std::vector<double>& expected,
                      double tolerance = kFloatTolerance)
{
    ASSERT_EQ(row.size(), expected.size());
    for (size_t k = 0; k < row.size(); ++k)
        EXPECT_NEAR(row[k], expected[k], tolerance) << "line " << k;
}

inline void expectComplex(std::complex<double> value,
                          std::complex<double> expected,
                          double tolerance = kFloatTolerance)
{
    EXPECT_NEAR(value.real(), expected.real(), tolerance);
    EXPECT_NEAR(value.imag(), expected.imag(), tolerance);
}

} // namespace Boundary

#endif
