#include "order_tracking/harmonic_table.h"

#include "order_tracking/averaging.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Velmora::OrderTracking {
namespace {

using Value = std::complex<float>;

float modulus(Value value)
{
    return std::hypot(value.real(), value.imag());
}

} // namespace

void HarmonicTable::resize(std::uint64_t harmonics, std::uint64_t bins)
{
    rows_.resize(harmonics);
    counts_.resize(bins);
    for (auto& row : rows_) row.resize(bins);
}

void HarmonicTable::clear()
{
    for (auto& row : rows_) std::fill(row.begin(), row.end(), Value{});
    std::fill(counts_.begin(), counts_.end(), 0);
}

void HarmonicTable::updateColumn(std::uint64_t bin, std::span<const Value> values)
{
    const auto replace = [](Value, Value value) { return value; };
    std::int32_t& count = counts_[bin];
    switch (Averaging{averagingType_}) {
    case Averaging::Overwrite:
        combineColumn(bin, values, replace);
        count = 1;
        break;
    case Averaging::KeepFirst:
        if (count != 0) break;
        combineColumn(bin, values, replace);
        count = 1;
        break;
    case Averaging::LinearMean: {
        const auto n = static_cast<float>(count);
        const float visits = n + 1.0F;
        combineColumn(bin, values, [n, visits](Value old, Value value) {
            return Value{(old.real() * n + value.real()) / visits,
                         (old.imag() * n + value.imag()) / visits};
        });
        ++count;
        break;
    }
    case Averaging::PeakHold:
        combineColumn(bin, values, [](Value old, Value value) {
            return modulus(old) > modulus(value) ? old : value;
        });
        break;
    }
}

template <typename Combine>
void HarmonicTable::combineColumn(std::uint64_t bin, std::span<const Value> values, Combine combine)
{
    for (std::size_t harmonic = 0; harmonic < rows_.size(); ++harmonic) {
        Value& cell = rows_[harmonic][bin];
        cell = combine(cell, values[harmonic]);
    }
}

} // namespace Velmora::OrderTracking
