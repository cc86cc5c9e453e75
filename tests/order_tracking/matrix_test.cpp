#include "order_tracking/matrix.h"

#include "order_tracking/waterfall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <numeric>
#include <type_traits>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

static_assert(!std::has_virtual_destructor_v<Matrix<float>>);
static_assert(std::is_base_of_v<Matrix<float>, Waterfall<float, double>>);

TEST(Matrix, OfANewObjectIsEmpty)
{
    const Matrix<float> matrix;
    EXPECT_EQ(matrix.rows(), 0U);
    EXPECT_EQ(matrix.cols(), 0U);
    EXPECT_EQ(matrix.external(), nullptr);
    EXPECT_THAT(matrix.storage(), IsEmpty());
}

TEST(Matrix, RowsFollowEachOtherWithoutPadding)
{
    Matrix<float> matrix;
    matrix.resize(3, 5);
    std::iota(matrix.data(), matrix.data() + 15, 0.0F);
    EXPECT_EQ(matrix.row(2), matrix.data() + 10);
    EXPECT_EQ(matrix.row(2)[4], 14.0F);
}

// Own cells are one flat array: other columns cut it anew, and only what is added is zero.
TEST(Matrix, ResizeKeepsOwnCellsAtTheirFlatPositions)
{
    Matrix<float> matrix;
    matrix.resize(2, 2);
    std::iota(matrix.data(), matrix.data() + 4, 1.0F);
    matrix.resize(2, 3);
    EXPECT_THAT(matrix.storage(), ElementsAre(1.0F, 2.0F, 3.0F, 4.0F, 0.0F, 0.0F));
    matrix.resize(1, 3);
    EXPECT_THAT(matrix.storage(), ElementsAre(1.0F, 2.0F, 3.0F));
}

TEST(Matrix, ComplexCellsStartAtZero)
{
    Matrix<std::complex<double>> matrix;
    matrix.resize(2, 3);
    EXPECT_THAT(matrix.storage(), Each(std::complex<double>()));
}

TEST(Matrix, InTheHostsMemoryKeepsNoCellsOfItsOwn)
{
    std::array<float, 6> host = {1, 2, 3, 4, 5, 6};
    Matrix<float> matrix;
    matrix.resize(2, 2);

    matrix.resize(2, 3, host.data());

    EXPECT_EQ(matrix.data(), host.data());
    EXPECT_EQ(matrix.external(), host.data());
    EXPECT_EQ(matrix.row(1)[0], 4.0F);
    EXPECT_THAT(matrix.storage(), IsEmpty());
    EXPECT_THAT(host, ElementsAre(1, 2, 3, 4, 5, 6));
}

// Dropped cells do not come back: the memory may be the same, its content is not.
TEST(Matrix, TakenOutOfTheHostsMemoryStartsAnewWithZeros)
{
    std::array<float, 4> host = {1, 2, 3, 4};
    Matrix<float> matrix;
    matrix.resize(2, 2);
    matrix.row(1)[1] = 9.0F;
    matrix.resize(2, 2, host.data());

    matrix.resize(2, 2, nullptr);

    EXPECT_EQ(matrix.data(), matrix.storage().data());
    EXPECT_THAT(matrix.storage(), ElementsAre(0.0F, 0.0F, 0.0F, 0.0F));
    EXPECT_THAT(host, ElementsAre(1, 2, 3, 4));
}

TEST(Matrix, TwoArgumentResizeStaysInTheHostsMemory)
{
    std::array<float, 6> host = {};
    Matrix<float> matrix;
    matrix.resize(2, 2, host.data());
    matrix.resize(2, 3);
    EXPECT_EQ(matrix.data(), host.data());
    EXPECT_EQ(matrix.row(1), host.data() + 3);
}

TEST(Matrix, ThreeArgumentResizeEndsInThatOfTheDerivedClass)
{
    Waterfall<float, double> waterfall;
    Matrix<float>& matrix = waterfall;
    matrix.resize(4, 2, nullptr);
    EXPECT_THAT(waterfall.counts(), ElementsAre(0, 0, 0, 0));
}

TEST(Matrix, DroppedStorageLeavesTheSizeWritten)
{
    Matrix<float> matrix;
    matrix.resize(2, 3);
    matrix.dropStorage();
    EXPECT_THAT(matrix.storage(), IsEmpty());
    EXPECT_EQ(matrix.rows(), 2U);
    EXPECT_EQ(matrix.cols(), 3U);
}

} // namespace
} // namespace Velmora::OrderTracking
