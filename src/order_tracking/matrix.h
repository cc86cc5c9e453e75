#pragma once

#include <cstdint>
#include <vector>

namespace Velmora::OrderTracking {

// A matrix is always a direct member of the object that uses it and never deleted through a
// pointer to a base, so its destructor needs no place in the virtual table.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// A plain table, row after row without padding, in its own memory or in the host's.
///
///     data() -> | (0,0) (0,1) ... (0,cols-1) | (1,0) ...                element (r, c) is
///                                                                       data()[r * cols + c]
///
/// Every reader and writer goes through data(), which yields the host's memory when the matrix
/// was given some. That memory is trusted to hold rows x cols elements and to outlive its use.
/// Only resize() allocates. Nothing is checked and nothing is locked: an object serves one
/// thread at a time.
template <typename T>
class Matrix {
public:
    /// Takes the host's memory as the place of the cells, or its own again if `external` is null,
    /// and then the size, by the two-argument resize() of the most derived class.
    virtual void resize(std::uint64_t rows, std::uint64_t cols, T* external)
    {
        external_ = external;
        resize(rows, cols);
    }

    /// Sets the size. Own cells keep their flat positions, whatever the new number of columns,
    /// and new ones are zero; with external memory, which is left as it is, the own cells are
    /// dropped and their memory is kept for later.
    virtual void resize(std::uint64_t rows, std::uint64_t cols)
    {
        rows_ = rows;
        cols_ = cols;
        if (external_ != nullptr)
            storage_.clear();
        else
            storage_.resize(rows * cols);
    }

    /// Drops the own cells; the size stays written as it was.
    void dropStorage() { storage_.clear(); }

    [[nodiscard]] std::uint64_t rows() const { return rows_; }

    /// Number of columns, and the distance of one row to the next in elements.
    [[nodiscard]] std::uint64_t cols() const { return cols_; }

    [[nodiscard]] T* data() { return external_ != nullptr ? external_ : storage_.data(); }

    [[nodiscard]] const T* data() const
    {
        return external_ != nullptr ? external_ : storage_.data();
    }

    [[nodiscard]] T* row(std::uint64_t row) { return data() + row * cols_; }

    [[nodiscard]] const T* row(std::uint64_t row) const { return data() + row * cols_; }

    /// The own cells: empty while the matrix lies in the host's memory.
    [[nodiscard]] const std::vector<T>& storage() const { return storage_; }

    [[nodiscard]] const T* external() const { return external_; }

private:
    std::uint64_t rows_ = 0;
    std::uint64_t cols_ = 0;
    std::vector<T> storage_;
    T* external_ = nullptr;
};

#pragma GCC diagnostic pop

} // namespace Velmora::OrderTracking
