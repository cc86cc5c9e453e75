#pragma once

#include <cstddef>
#include <memory>
#include <new>

namespace Velmora::KorLib::Dsp::Fir {

/// Floats for the kernels: aligned to 32 bytes, zeroed when they are allocated, of a fixed number.
///
/// One more zero stands behind the last element and may be read.
class AlignedFloats {
public:
    /// No memory.
    AlignedFloats() = default;

    /// @throws std::bad_alloc
    explicit AlignedFloats(std::size_t size)
        : floats_(static_cast<float*>(operator new((size + 1) * sizeof(float), kAlignment))),
          size_(size)
    {
        for (std::size_t i = 0; i <= size; ++i) floats_[i] = 0.0F;
    }

    /// Forgets the memory without freeing it.
    void abandon()
    {
        static_cast<void>(floats_.release());
        size_ = 0;
    }

    explicit operator bool() const { return floats_ != nullptr; }

    [[nodiscard]] std::size_t size() const { return size_; }

    [[nodiscard]] float* data() { return floats_.get(); }

    [[nodiscard]] float* begin() { return floats_.get(); }

    [[nodiscard]] float* end() { return floats_.get() + size_; }

    [[nodiscard]] float& operator[](std::size_t i) { return floats_[i]; }

    [[nodiscard]] const float& operator[](std::size_t i) const { return floats_[i]; }

private:
    static constexpr std::align_val_t kAlignment{32};

    struct Free {
        void operator()(float* block) const { operator delete(block, kAlignment); }
    };

    std::unique_ptr<float[], Free> floats_;
    std::size_t size_ = 0;
};

} // namespace Velmora::KorLib::Dsp::Fir
