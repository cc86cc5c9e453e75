#pragma once

#include "kernels/processor_info.h"

#include <cstdint>
#include <map>

namespace Velmora::Kernels {

/// A processor that answers what a test says, and 0 to every other question.
///
///     FakeProcessor processor;
///     processor.functions[0].eax = 7;
///     const ProcessorInfo info = processor.info();
struct FakeProcessor {
    std::map<std::uint32_t, Platform::CpuidResult> functions;
    std::uint64_t xcr0 = 0;
    int xgetbvCalls = 0;

    ProcessorInfo info()
    {
        asked = this;
        const auto cpuid = [](std::uint32_t function, std::uint32_t subFunction) {
            const auto found = asked->functions.find(function);
            const bool answers = subFunction == 0 && found != asked->functions.end();
            return answers ? found->second : Platform::CpuidResult{};
        };
        const auto xgetbv = [](std::uint32_t number) {
            ++asked->xgetbvCalls;
            return number == 0 ? asked->xcr0 : ~std::uint64_t{0};
        };
        return {cpuid, xgetbv};
    }

private:
    inline static FakeProcessor* asked = nullptr;
};

} // namespace Velmora::Kernels
