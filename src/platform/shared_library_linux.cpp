#include "platform/shared_library.h"

#include <dlfcn.h>

#include <filesystem>
#include <system_error>

namespace Velmora::Platform {
namespace {

std::string directoryOfThisCode()
{
    static const char kOwnAddress = 0;
    Dl_info info{};
    if (dladdr(&kOwnAddress, &info) == 0 || info.dli_fname == nullptr) return {};

    // A program that was found by the shell's search is known by its bare name alone.
    const std::filesystem::path file(info.dli_fname);
    if (!file.has_parent_path()) return {};

    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(file, error);
    return (error ? file : absolute).lexically_normal().parent_path().string();
}

const std::string kLibraryDirectory = directoryOfThisCode();

} // namespace

SharedLibrary SharedLibrary::open(const std::string& nameUtf8)
{
    SharedLibrary library;
    // An empty name would mean the program itself.
    if (!nameUtf8.empty()) library.handle_ = dlopen(nameUtf8.c_str(), RTLD_NOW | RTLD_LOCAL);
    return library;
}

void* SharedLibrary::symbol(const char* name) const
{
    // A null handle would mean every library of the process.
    return handle_ == nullptr ? nullptr : dlsym(handle_, name);
}

void SharedLibrary::close()
{
    if (handle_ != nullptr) dlclose(handle_);
    handle_ = nullptr;
}

const std::string& libraryDirectory()
{
    return kLibraryDirectory;
}

const char* sharedLibrarySuffix()
{
    return ".so";
}

template <>
const char* fftwLibraryName<double>()
{
    return "libfftw3.so.3";
}

template <>
const char* fftwLibraryName<float>()
{
    return "libfftw3f.so.3";
}

} // namespace Velmora::Platform
