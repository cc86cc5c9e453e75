/// @file
/// Which library carries out the Fourier transforms. The library asks for FFTW by its file name and
/// gets what is open under that name: so whoever opens one before decides.
#ifndef HARMOTRACK_DETAIL_TRANSFORM_HPP
#define HARMOTRACK_DETAIL_TRANSFORM_HPP

#include <harmotrack/detail/functions.hpp>
#include <harmotrack/setups.hpp>

#include <string>
#include <string_view>

namespace Harmotrack {

namespace Detail {

/// Folder of a file with a separator at its end; empty for a bare name.
inline std::string folderOf(const std::string& pathUtf8)
{
    const std::size_t separator = pathUtf8.find_last_of("/\\");
    return separator == std::string::npos ? std::string() : pathUtf8.substr(0, separator + 1);
}

/// What is open under the name of FFTW, opening it if need be.
inline TransformInUse transformUnderItsName()
{
    void* const library = openLibrary(kFftwFile);
    if (library == nullptr) return {};
    const auto* const version = static_cast<const char*>(symbolOf(library, "fftw_version"));
    return {version == nullptr ? "unknown" : version, fileOf(symbolOf(library, "fftw_execute"))};
}

inline bool isOwn(const TransformInUse& transform)
{
    return std::string_view(transform.name).substr(0, 7) == "rustfft";
}

/// Where FFTW is looked for: as the system does, and beside the library.
inline bool openFftw(const std::string& folder)
{
    return openLibrary(kFftwFile) != nullptr ||
           (!folder.empty() && openLibrary(folder + kFftwFile) != nullptr);
}

inline std::string ownTransformIn(const std::string& folder)
{
    return folder + "harmotrack/" + kFftwFile;
}

inline bool openOwnTransform(const std::string& folder)
{
    return !folder.empty() && openLibrary(ownTransformIn(folder)) != nullptr;
}

/// Opens a transform, which stays open.
///
/// @param folder  of the library
/// @return  false if there is none
/// @throws Error  the one that was chosen is not there, or another one is open already
inline bool openTransform(Transform choice, const std::string& folder)
{
    if (choice == Transform::Automatic) return openFftw(folder) || openOwnTransform(folder);
    if (choice == Transform::Fftw && !openFftw(folder)) return false;
    if (choice == Transform::Own && !openOwnTransform(folder))
        throw Error("The transform " + ownTransformIn(folder) +
                    " can not be loaded: it is not there, or something that it needs is not.");
    const TransformInUse open = transformUnderItsName();
    if (isOwn(open) != (choice == Transform::Own))
        throw Error("The transform " + open.name + " (" + open.pathUtf8 +
                    ") is loaded already: another one is chosen before anything loads it.");
    return true;
}

} // namespace Detail

} // namespace Harmotrack

#endif
