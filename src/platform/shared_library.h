#pragma once

#include <string>

/// The only place that knows the operating system's loader, one source file a platform.
namespace Velmora::Platform {

/// A library that is bound at run time: its handle, and the way to its symbols.
///
///     auto library = SharedLibrary::open("libfftw3.so.3");
///     if (library) execute = reinterpret_cast<Execute>(library.symbol("fftw_execute"));
///
/// An object is a plain handle, as a pointer is: copies stand for the same library, and the
/// destructor unloads nothing. What is never closed stays loaded until the process ends, which is
/// what a table of functions wants that is filled once; an owner that counts its users calls
/// close() after the last one.
///
/// The library's own symbols are bound when it is opened, and it lends them to no other library.
///
/// Memory: none of its own beyond the handle. Threads: objects are independent, and open() and
/// symbol() may run on any thread; after close() no copy of the handle may be used.
class SharedLibrary {
public:
    /// An empty handle: it has no symbols, and there is nothing to close.
    SharedLibrary() = default;

    /// Loads a library, or finds it loaded.
    ///
    /// @param nameUtf8  a bare file name, which the system searches for in its own way, or a path
    /// @return empty if there is no such library, if it cannot be loaded, or if the name is empty
    ///         or cannot be converted into the system's encoding of names
    [[nodiscard]] static SharedLibrary open(const std::string& nameUtf8);

    /// @return the symbol's address; null if the library lacks it or the handle is empty
    [[nodiscard]] void* symbol(const char* name) const;

    explicit operator bool() const { return handle_ != nullptr; }

    /// Gives back what one open() took, and empties this handle; the system unloads the library
    /// with the last of its openings. An empty handle stays as it is.
    void close();

private:
    void* handle_ = nullptr;
};

/// Folder of the library, or of the program, that this code lies in; absolute and without a
/// separator at its end. Read when the code is loaded, so a later change of the working directory
/// does no harm. Empty where the system does not tell, and on Windows, where libraries are left to
/// the system's own search.
[[nodiscard]] const std::string& libraryDirectory();

/// What the file names of shared libraries end in: ".so" or ".dll".
[[nodiscard]] const char* sharedLibrarySuffix();

/// File name, UTF-8, of the FFTW library of one precision; `Real` is double or float.
template <typename Real>
[[nodiscard]] const char* fftwLibraryName();

template <>
const char* fftwLibraryName<double>();

template <>
const char* fftwLibraryName<float>();

} // namespace Velmora::Platform
