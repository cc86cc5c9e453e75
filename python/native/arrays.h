#pragma once

#include <nanobind/nanobind.h>
#include <nanobind/ndarray.h>

#include <cstddef>
#include <initializer_list>
#include <memory>
#include <span>
#include <utility>
#include <vector>

namespace Harmotrack::Python {

/// Samples as NumPy hands them over, without a copy if they are float64 and contiguous.
using Samples =
    nanobind::ndarray<const double, nanobind::ndim<1>, nanobind::c_contig, nanobind::device::cpu>;

/// Spectra below each other, shape (rows, lines), contiguous.
using Spectra =
    nanobind::ndarray<const float, nanobind::ndim<2>, nanobind::c_contig, nanobind::device::cpu>;

template <typename T>
using Array = nanobind::ndarray<nanobind::numpy, T>;

inline std::span<const double> spanOf(const Samples& samples)
{
    return {samples.data(), samples.shape(0)};
}

/// NumPy's view of memory that belongs to `owner`, which lives as long as the view does.
template <typename T>
Array<const T>
viewOf(const T* data, std::initializer_list<std::size_t> shape, nanobind::handle owner)
{
    return {data, shape, owner};
}

/// A vector moves into an array; nothing is copied.
template <typename T>
Array<T> arrayOf(std::vector<T> values)
{
    auto owned = std::make_unique<std::vector<T>>(std::move(values));
    T* const data = owned->data();
    const std::size_t size = owned->size();
    const nanobind::capsule owner(owned.get(),
                                  [](void* p) noexcept { delete static_cast<std::vector<T>*>(p); });
    static_cast<void>(owned.release()); // the capsule's now
    return {data, {size}, owner};
}

} // namespace Harmotrack::Python
