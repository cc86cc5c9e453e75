#pragma once

#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// A result could not be stored; one sentence.
struct OutputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Files that appear under their names all together, whole, or not at all.
///
/// write() stores under a hidden temporary name and reports every failure down to the disk;
/// commit() gives all files their names. Without it the destructor removes what was stored, and the
/// folders that were made for it.
class OutputFolder {
public:
    /// Makes the folder, and those above it, unless it exists.
    /// @throws Host::HostError  it can't be made, or is no folder that files can be put into
    explicit OutputFolder(std::filesystem::path folder);
    ~OutputFolder();

    OutputFolder(const OutputFolder&) = delete;
    OutputFolder& operator=(const OutputFolder&) = delete;

    /// @throws OutputError  with the system's reason, such as a full disk
    void write(const std::string& name, const std::string& content);

    /// @throws OutputError  a file could not get its name
    void commit();

private:
    struct File {
        std::filesystem::path temporary;
        std::filesystem::path final;
    };

    std::filesystem::path folder_;
    std::vector<std::filesystem::path> madeFolders_; ///< outermost first
    std::vector<File> files_;                        ///< stored and not committed
};

} // namespace Harmotrack::Examples
