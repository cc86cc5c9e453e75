#pragma once

#include <exception>

namespace Harmotrack::Examples {

/// The user or the system asked the program to end.
struct Interrupted : std::exception {
    explicit Interrupted(int signalNumber) : signal(signalNumber) {}

    [[nodiscard]] const char* what() const noexcept override { return "interrupted"; }

    int signal;
};

/// Turns SIGINT, SIGTERM and SIGHUP into an exception at the next check, so that everything that
/// was begun is undone on the way out. A write beyond the limit of a file's size fails instead of
/// ending the process.
class Interruption {
public:
    static void install();

    /// @throws Interrupted  a signal came since the last check
    static void check();

    /// Ends the process by the signal, as if it had never been caught: the shell sees its cause.
    [[noreturn]] static void endBy(int signal);
};

} // namespace Harmotrack::Examples
