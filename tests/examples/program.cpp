#include "program.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Harmotrack::Tests {
namespace {

struct Channel {
    int ours = -1;
    int theirs = -1;
};

Channel pipeChannel()
{
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
    return {ends[0], ends[1]};
}

Channel terminalChannel()
{
    Channel channel;
    if (::openpty(&channel.ours, &channel.theirs, nullptr, nullptr, nullptr) != 0)
        throw std::runtime_error("no terminal");
    return channel;
}

// In the child: becomes the program, or ends with 127.
[[noreturn]] void become(const std::string& program,
                         const Launch& launch,
                         const Channel& output,
                         const Channel& errors)
{
    ::dup2(output.theirs, STDOUT_FILENO);
    ::dup2(errors.theirs, STDERR_FILENO);
    if (launch.standardOutput) {
        const int file = ::open(launch.standardOutput->c_str(), O_WRONLY);
        ::dup2(file, STDOUT_FILENO);
    }
    if (launch.fileSizeLimit) {
        const rlimit limit{*launch.fileSizeLimit, *launch.fileSizeLimit};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    for (const std::string& entry : launch.environment) {
        const std::size_t sign = entry.find('=');
        ::setenv(entry.substr(0, sign).c_str(), entry.substr(sign + 1).c_str(), 1);
    }
    std::vector<std::string> words{program};
    words.insert(words.end(), launch.arguments.begin(), launch.arguments.end());
    std::vector<char*> pointers;
    pointers.reserve(words.size() + 1);
    for (std::string& word : words) pointers.push_back(word.data());
    pointers.push_back(nullptr);
    ::execv(program.c_str(), pointers.data());
    ::_exit(127);
}

// Reads both channels until the program has closed them; a terminal ends with an error.
void collect(const Channel& output,
             const Channel& errors,
             const Launch& launch,
             pid_t process,
             Outcome& outcome)
{
    std::array<pollfd, 2> waiting{pollfd{output.ours, POLLIN, 0}, pollfd{errors.ours, POLLIN, 0}};
    std::array<std::string*, 2> texts{&outcome.output, &outcome.errors};
    bool interrupted = !launch.interruptAfterMilliseconds;
    while (waiting[0].fd >= 0 || waiting[1].fd >= 0) {
        const int patience = interrupted ? -1 : *launch.interruptAfterMilliseconds;
        const int ready = ::poll(waiting.data(), waiting.size(), patience);
        if (ready == 0) {
            ::kill(process, SIGINT);
            interrupted = true;
        }
        for (std::size_t i = 0; ready > 0 && i < waiting.size(); ++i) {
            if (waiting[i].fd < 0 || waiting[i].revents == 0) continue;
            std::array<char, 4096> block{};
            const ssize_t got = ::read(waiting[i].fd, block.data(), block.size());
            if (got > 0) texts[i]->append(block.data(), static_cast<std::size_t>(got));
            if (got == 0 || (got < 0 && errno != EINTR)) waiting[i].fd = -1;
        }
    }
}

} // namespace

Outcome runProgram(const std::string& program, const Launch& launch)
{
    const Channel output = pipeChannel();
    const Channel errors = launch.terminal ? terminalChannel() : pipeChannel();
    const pid_t process = ::fork();
    if (process < 0) throw std::runtime_error("no process");
    if (process == 0) become(program, launch, output, errors);
    ::close(output.theirs);
    ::close(errors.theirs);

    Outcome outcome;
    collect(output, errors, launch, process, outcome);
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    ::close(output.ours);
    ::close(errors.ours);
    if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
    return outcome;
}

} // namespace Harmotrack::Tests
