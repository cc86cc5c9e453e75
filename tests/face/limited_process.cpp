#include "limited_process.h"

#include <harmotrack/setups.hpp>

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kSucceeded = 20;
constexpr int kEndedByASentence = 21;
constexpr int kEndedOtherwise = 22;

std::size_t addressSpace()
{
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// In the child: nothing here takes memory while there is none.
[[noreturn]] void tryIt(std::size_t bytes, const std::function<void()>& what)
{
    rlimit limit{};
    ::getrlimit(RLIMIT_AS, &limit);
    const rlim_t before = limit.rlim_cur;
    limit.rlim_cur = addressSpace() + bytes;
    ::setrlimit(RLIMIT_AS, &limit);
    std::array<char, 400> sentence{};
    try {
        what();
        ::_exit(kSucceeded);
    } catch (const Harmotrack::Error& error) {
        std::strncpy(sentence.data(), error.what(), sentence.size() - 1);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "no sentence: %s\n", error.what());
        ::_exit(kEndedOtherwise);
    }
    limit.rlim_cur = before;
    ::setrlimit(RLIMIT_AS, &limit);
    try {
        if (std::strncmp(sentence.data(), "Memory ran out", 14) == 0) {
            what();
            ::_exit(kEndedByASentence);
        }
    } catch (const std::exception& error) {
        std::fprintf(stderr, "later: %s\n", error.what());
    }
    std::fprintf(stderr, "after: %s\n", sentence.data());
    ::_exit(kEndedOtherwise);
}

} // namespace

Attempt attemptWithin(std::size_t bytes, const std::function<void()>& what, std::string& how)
{
    const pid_t process = ::fork();
    if (process == 0) tryIt(bytes, what);
    int status = 0;
    ::waitpid(process, &status, 0);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kSucceeded) return Attempt::Succeeded;
    if (WIFEXITED(status) && WEXITSTATUS(status) == kEndedByASentence)
        return Attempt::EndedByASentence;
    how = WIFSIGNALED(status) ? "signal " + std::to_string(WTERMSIG(status))
                              : "exit code " + std::to_string(WEXITSTATUS(status));
    return Attempt::EndedOtherwise;
}

int attemptWithMoreAndMore(const std::function<void()>& what)
{
    constexpr std::size_t kLeast = 16384;
    constexpr std::size_t kMost = std::size_t{1} << 32U;
    int sentences = 0;
    std::string how;
    for (std::size_t bytes = 0; bytes < kMost; bytes += bytes / 6 + kLeast) {
        const Attempt attempt = attemptWithin(bytes, what, how);
        if (attempt == Attempt::Succeeded) return sentences;
        if (attempt == Attempt::EndedOtherwise) {
            ADD_FAILURE() << "with " << bytes << " bytes: " << how;
            return sentences;
        }
        ++sentences;
    }
    ADD_FAILURE() << "never succeeded";
    return sentences;
}
