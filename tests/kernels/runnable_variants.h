#pragma once

#include <string>
#include <vector>

namespace Velmora::Kernels {

/// Names of the builds that this machine can run, as the compiler's own run-time knows, poorest
/// first: the last one is the best.
inline std::vector<std::string> runnableVariants()
{
    std::vector<std::string> names{"std"};
    if (__builtin_cpu_supports("sse2")) names.emplace_back("sse2");
    if (__builtin_cpu_supports("sse4.1")) names.emplace_back("sse41");
    if (__builtin_cpu_supports("avx")) names.emplace_back("avx");
    if (__builtin_cpu_supports("avx2") && __builtin_cpu_supports("fma"))
        names.emplace_back("avx2fma3");
    return names;
}

} // namespace Velmora::Kernels
