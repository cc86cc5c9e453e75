#pragma once

#include <cstdint>
#include <string>

namespace Velmora::Kernels {

/// Σ coefficients[k] history[(position + k) mod count],  k = 0 .. count - 1
///
/// Both arrays are aligned to 32 bytes and of `count` elements; `position` is 0 .. count - 1.
/// Neither array is changed, and the order of summation is the build's own.
using FirFilterFunction = float (*)(const float* history,
                                    const float* coefficients,
                                    std::int32_t count,
                                    std::int32_t position);

/// A kernel that is bound and not called here; what it takes is its users' matter.
using KernelFunction = void (*)();

/// The kernels in use, one pointer a name, in the order of kernel_list.inc. A name that the build
/// lacks has a null pointer; so has `nameless`, a slot that no kernel fills.
struct KernelTable {
    bool loaded = false;
#define KERNEL(type, name) type name = nullptr;
#define NAMELESS_KERNEL KERNEL
#include "kernels/kernel_list.inc"
#undef NAMELESS_KERNEL
#undef KERNEL
};

/// The table of this process: filled once by initializeVexCalc(), never cleared.
extern KernelTable kernelTable;

/// The first call's part of initializeVexCalc().
[[nodiscard]] std::int32_t
loadVexCalc(std::uint32_t variant, std::int32_t minimumVersion, const std::string& directory);

/// Makes sure that kernelTable is filled: at the first call that succeeds, a build of the kernel
/// library is loaded, which stays for the life of the process. Later calls cost a test of a flag.
///
/// @param variant         a KernelVariant; 0 chooses the best one for this processor. Whether the
///                        processor can run a build that is named here is not checked.
/// @param minimumVersion  100 · major + minor
/// @param directory       UTF-8; with or without a slash of either kind at its end. If it is empty,
///                        the build is looked for beside our own library first, where the platform
///                        tells that folder, and then by the system's search.
///
/// @return 0 if it was loaded now, 1 if it had been loaded before, -1 if there is no such build or
///         it is too old or made for another interface; such a build stays loaded beside the next,
///         and the next call tries again
///
/// A library of that name without vexcalcGetVersion ends the process.
///
/// The flag has no lock: threads that make the first call at once may all load.
[[nodiscard]] inline std::int32_t
initializeVexCalc(std::uint32_t variant, std::int32_t minimumVersion, const std::string& directory)
{
    return kernelTable.loaded ? 1 : loadVexCalc(variant, minimumVersion, directory);
}

} // namespace Velmora::Kernels
