#pragma once

#include <filesystem>

namespace Harmotrack::Examples {

/// A file that is written under a temporary name beside its final one, so that under the final
/// name there is only ever a whole file. Who writes it opens path(), and calls publish() when all
/// is written and closed; without that the temporary file is removed.
class PendingFile {
public:
    explicit PendingFile(std::filesystem::path finalPath);
    ~PendingFile();
    PendingFile(const PendingFile&) = delete;
    PendingFile& operator=(const PendingFile&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    /// Renames, and replaces a file that had the final name.
    /// @throws std::runtime_error  one sentence with the reason
    void publish();

private:
    std::filesystem::path finalPath_;
    std::filesystem::path path_;
};

} // namespace Harmotrack::Examples
