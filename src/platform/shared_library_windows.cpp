#include "platform/shared_library.h"

#include <windows.h>

namespace Velmora::Platform {
namespace {

/// UTF-16 of a UTF-8 text; empty if the text is empty or not valid UTF-8.
std::wstring wide(const std::string& utf8)
{
    const int bytes = static_cast<int>(utf8.size());
    const int length =
        MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, nullptr, 0);
    if (length <= 0) return {};

    std::wstring text(static_cast<std::size_t>(length), L'\0');
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, utf8.data(), bytes, text.data(), length);
    return text;
}

} // namespace

SharedLibrary SharedLibrary::open(const std::string& nameUtf8)
{
    SharedLibrary library;
    const std::wstring name = wide(nameUtf8);
    if (!name.empty()) library.handle_ = LoadLibraryW(name.c_str());
    return library;
}

void* SharedLibrary::symbol(const char* name) const
{
    if (handle_ == nullptr) return nullptr;
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HMODULE>(handle_), name));
}

void SharedLibrary::close()
{
    if (handle_ != nullptr) FreeLibrary(static_cast<HMODULE>(handle_));
    handle_ = nullptr;
}

const std::string& libraryDirectory()
{
    static const std::string kSystemSearch;
    return kSystemSearch;
}

const char* sharedLibrarySuffix()
{
    return ".dll";
}

template <>
const char* fftwLibraryName<double>()
{
    return "libfftw3-3_64.dll";
}

template <>
const char* fftwLibraryName<float>()
{
    return "libfftw3f-3_64.dll";
}

} // namespace Velmora::Platform
