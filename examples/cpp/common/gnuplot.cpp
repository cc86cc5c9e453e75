#include "gnuplot.h"

#include "interruption.h"

#include "host/host_error.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <spawn.h>
#include <sstream>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ; // NOLINT(readability-identifier-naming): the system's name

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

constexpr const char* kMissing =
    "gnuplot, which draws the picture, was not found; install it (Debian's package gnuplot-nox) or "
    "leave the picture out by --no-picture.";

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

// A file without a name, gone when it is closed.
File scratchFile(const std::string& content)
{
    File file(std::tmpfile(), std::fclose);
    if (!file || std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
        std::fflush(file.get()) != 0)
        throw HostError(std::string("The commands for gnuplot could not be stored: ") +
                        std::strerror(errno) + ".");
    std::rewind(file.get());
    return file;
}

// A child process; ended and waited for, whatever happens.
class Child {
public:
    explicit Child(pid_t process) : process_(process) {}

    ~Child()
    {
        if (process_ == 0) return;
        ::kill(process_, SIGTERM);
        (void)wait();
    }

    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    int wait()
    {
        int status = 0;
        while (::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = 0;
        return status;
    }

private:
    pid_t process_;
};

pid_t spawn(int input, int output, int errors)
{
    posix_spawn_file_actions_t actions{};
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, input, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, errors, STDERR_FILENO);
    std::array<char, 8> name{"gnuplot"};
    std::array<char, 3> defaults{"-d"};
    std::array<char*, 3> arguments{name.data(), defaults.data(), nullptr};
    pid_t process = 0;
    const int error =
        ::posix_spawnp(&process, name.data(), &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    if (error == ENOENT) throw HostError(kMissing);
    if (error != 0)
        throw HostError(std::string("gnuplot could not be started: ") + std::strerror(error) + ".");
    return process;
}

std::string readToEnd(int pipe)
{
    constexpr int kPatienceMilliseconds = 100;
    std::string content;
    std::array<char, 65536> block{};
    for (;;) {
        Interruption::check();
        pollfd waiting{pipe, POLLIN, 0};
        if (::poll(&waiting, 1, kPatienceMilliseconds) <= 0) continue;
        const ssize_t got = ::read(pipe, block.data(), block.size());
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return content;
        content.append(block.data(), static_cast<std::size_t>(got));
    }
}

bool isWholePng(const std::string& picture)
{
    constexpr std::array<char, 8> kStart{'\x89', 'P', 'N', 'G', '\r', '\n', '\x1A', '\n'};
    constexpr std::size_t kTrailer = 8; // the type and the check sum of the last chunk
    return picture.size() > kStart.size() + kTrailer &&
           std::equal(kStart.begin(), kStart.end(), picture.begin()) &&
           picture.compare(picture.size() - kTrailer, 4, "IEND") == 0;
}

std::string firstLineOf(std::FILE* file)
{
    std::rewind(file);
    std::array<char, 512> line{};
    while (std::fgets(line.data(), line.size(), file) != nullptr) {
        std::string text(line.data());
        while (!text.empty() && (text.back() == '\n' || text.back() == ' ')) text.pop_back();
        if (!text.empty()) return text;
    }
    return "no message";
}

} // namespace

void requireGnuplot()
{
    const char* path = std::getenv("PATH");
    std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
    for (std::string folder; std::getline(folders, folder, ':');) {
        if (::access((folder + "/gnuplot").c_str(), X_OK) == 0) return;
    }
    throw HostError(kMissing);
}

std::string runGnuplot(const std::string& script)
{
    const File input = scratchFile(script);
    const File errors = scratchFile("");
    std::array<int, 2> ends{};
    if (::pipe(ends.data()) != 0)
        throw HostError(std::string("gnuplot could not be started: ") + std::strerror(errno) + ".");
    const File output(::fdopen(ends[0], "r"), std::fclose);
    File childsEnd(::fdopen(ends[1], "w"), std::fclose);
    // The child keeps its copy of the writing end alone, or the reading would never end.
    ::fcntl(ends[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(ends[1], F_SETFD, FD_CLOEXEC);
    Child child(spawn(fileno(input.get()), ends[1], fileno(errors.get())));
    childsEnd.reset();

    std::string picture = readToEnd(ends[0]);
    const int status = child.wait();
    Interruption::check(); // a signal from the terminal strikes gnuplot too
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0 || !isWholePng(picture))
        throw HostError("gnuplot made no picture: " + firstLineOf(errors.get()));
    return picture;
}

} // namespace Harmotrack::Examples
