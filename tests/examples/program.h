#pragma once

#include <optional>
#include <string>
#include <vector>

namespace Harmotrack::Tests {

/// How a program is run.
struct Launch {
    std::vector<std::string> arguments;            ///< after the program's name
    std::vector<std::string> environment;          ///< "NAME=value", on top of our own
    std::optional<unsigned long> fileSizeLimit;    ///< bytes that a file may grow to
    std::optional<std::string> standardOutput;     ///< file to write to instead of the pipe
    std::optional<int> interruptAfterMilliseconds; ///< SIGINT
    bool terminal = false;                         ///< standard error is a terminal
};

/// How it ended.
struct Outcome {
    int exitCode = -1; ///< -1 if a signal ended it
    int signal = 0;    ///< that signal
    std::string output;
    std::string errors;
};

/// Runs a program to its end.
Outcome runProgram(const std::string& program, const Launch& launch);

} // namespace Harmotrack::Tests
