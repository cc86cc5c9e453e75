#include "pending_file.h"

#include <stdexcept>
#include <string>
#include <system_error>
#include <utility>

#include <unistd.h>

namespace Harmotrack::Examples {

PendingFile::PendingFile(std::filesystem::path finalPath)
    : finalPath_(std::move(finalPath)),
      path_(finalPath_.string() + '.' + std::to_string(getpid()) + ".part")
{
}

PendingFile::~PendingFile()
{
    std::error_code ignored; // after publish() there is nothing to remove
    std::filesystem::remove(path_, ignored);
}

void PendingFile::publish()
{
    std::error_code error;
    std::filesystem::rename(path_, finalPath_, error);
    if (error)
        throw std::runtime_error("Cannot write " + finalPath_.string() + ": " + error.message() +
                                 '.');
}

} // namespace Harmotrack::Examples
