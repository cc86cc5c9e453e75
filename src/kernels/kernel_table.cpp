#include "kernels/kernel_table.h"

#include "kernels/kernel_variant.h"
#include "kernels/processor_info.h"
#include "platform/shared_library.h"

#include <iterator>

namespace Velmora::Kernels {
namespace {

using Platform::SharedLibrary;

constexpr std::int32_t kLoadedNow = 0;
constexpr std::int32_t kFailed = -1;

// The interface of the kernel library that this table is made for.
constexpr std::int32_t kInterface = 13;

std::string fileName(std::uint32_t variant)
{
    return std::string("vexcalc-") + kKernelVariantNames[variant] + "_64" +
           Platform::sharedLibrarySuffix();
}

SharedLibrary openBesideUsOrAnywhere(const std::string& name)
{
    const std::string& ourDirectory = Platform::libraryDirectory();
    if (!ourDirectory.empty()) {
        const SharedLibrary library = SharedLibrary::open(ourDirectory + "/" + name);
        if (library) return library;
    }
    return SharedLibrary::open(name);
}

SharedLibrary openBuild(std::uint32_t variant, const std::string& directory)
{
    const std::string name = fileName(variant);
    if (directory.empty()) return openBesideUsOrAnywhere(name);
    const bool endsInSlash = directory.back() == '/' || directory.back() == '\\';
    return SharedLibrary::open(directory + (endsInSlash ? "" : "/") + name);
}

bool isUsable(const SharedLibrary& library, std::int32_t minimumVersion)
{
    using GetVersion = void (*)(std::int32_t * major,
                                std::int32_t * minor,
                                std::int32_t interfaceNumber,
                                std::int32_t * valid);
    const auto getVersion = reinterpret_cast<GetVersion>(library.symbol("vexcalcGetVersion"));
    std::int32_t major = 0;
    std::int32_t minor = 0;
    std::int32_t valid = 0;
    getVersion(&major, &minor, kInterface, &valid);
    return valid != 0 && std::int64_t{major} * 100 + minor >= minimumVersion;
}

void bindKernels(const SharedLibrary& library)
{
#define KERNEL(type, name) kernelTable.name = reinterpret_cast<type>(library.symbol(#name));
#define NAMELESS_KERNEL(type, name)
#include "kernels/kernel_list.inc"
#undef NAMELESS_KERNEL
#undef KERNEL
}

} // namespace

KernelTable kernelTable;

std::int32_t
loadVexCalc(std::uint32_t variant, std::int32_t minimumVersion, const std::string& directory)
{
    if (variant == static_cast<std::uint32_t>(KernelVariant::Automatic))
        variant = static_cast<std::uint32_t>(bestVariant(processorInfo()));
    if (variant >= std::size(kKernelVariantNames)) return kFailed;

    const SharedLibrary library = openBuild(variant, directory);
    if (!library || !isUsable(library, minimumVersion)) return kFailed;
    bindKernels(library);
    kernelTable.loaded = true;
    return kLoadedNow;
}

} // namespace Velmora::Kernels
