#include "output_folder.h"

#include "host/host_error.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace Harmotrack::Examples {
namespace {

namespace fs = std::filesystem;

OutputError failure(const fs::path& path, int error)
{
    return OutputError(path.string() + " could not be written: " + std::strerror(error) + ".");
}

// Writes and hands the data to the disk; 0 or the system's error.
int store(int file, const std::string& content)
{
    const char* from = content.data();
    std::size_t left = content.size();
    while (left > 0) {
        const ssize_t written = ::write(file, from, left);
        if (written < 0 && errno == EINTR) continue;
        if (written < 0) return errno;
        from += written;
        left -= static_cast<std::size_t>(written);
    }
    // Devices and some file systems know no fsync, which is no failure of ours.
    if (::fsync(file) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) return errno;
    return 0;
}

} // namespace

OutputFolder::OutputFolder(fs::path folder) : folder_(std::move(folder))
{
    if (folder_.empty()) folder_ = ".";
    std::error_code error;
    std::vector<fs::path> missing;
    for (fs::path path = folder_; !path.empty() && !fs::exists(path, error);
         path = path.parent_path())
        missing.push_back(path);
    fs::create_directories(folder_, error);
    if (!error && !fs::is_directory(folder_))
        error = std::make_error_code(std::errc::not_a_directory);
    if (!error && ::access(folder_.c_str(), W_OK | X_OK) != 0)
        error = std::error_code(errno, std::generic_category());
    for (auto path = missing.rbegin(); path != missing.rend(); ++path) {
        std::error_code ignored;
        if (fs::is_directory(*path, ignored)) madeFolders_.push_back(*path);
    }
    if (!error) return;
    for (auto path = madeFolders_.rbegin(); path != madeFolders_.rend(); ++path) {
        std::error_code ignored;
        fs::remove(*path, ignored);
    }
    throw Host::HostError("The output folder " + folder_.string() +
                          " can't be used: " + error.message() + ".");
}

OutputFolder::~OutputFolder()
{
    std::error_code ignored;
    for (const File& file : files_) fs::remove(file.temporary, ignored);
    for (auto path = madeFolders_.rbegin(); path != madeFolders_.rend(); ++path)
        fs::remove(*path, ignored); // removes empty folders alone
}

void OutputFolder::write(const std::string& name, const std::string& content)
{
    const fs::path final = folder_ / name;
    const fs::path temporary = folder_ / ("." + name + "." + std::to_string(::getpid()) + ".part");
    const int file = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    if (file < 0) throw failure(final, errno);
    files_.push_back({temporary, final});
    int error = store(file, content);
    if (::close(file) != 0 && error == 0) error = errno;
    if (error != 0) throw failure(final, error);
}

void OutputFolder::commit()
{
    for (const File& file : files_) {
        if (fs::is_directory(file.final)) throw failure(file.final, EISDIR);
    }
    while (!files_.empty()) {
        const File& file = files_.back();
        if (std::rename(file.temporary.c_str(), file.final.c_str()) != 0)
            throw failure(file.final, errno);
        files_.pop_back();
    }
    madeFolders_.clear();
}

} // namespace Harmotrack::Examples
