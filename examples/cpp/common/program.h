#pragma once

#include <functional>
#include <string>

namespace Harmotrack::Examples {

/// Runs what a program does, and turns what goes wrong into one sentence on standard error, after
/// the program's name, and an exit code.
///
/// @return  0; 2 if the input or a setting was wrong or the machine lacks something (HostError); 1
///          for anything else, such as a full disk. A signal ends the process by that signal.
int runGuarded(const char* program, const std::function<void()>& run);

/// Prints to standard output.
/// @throws OutputError  it could not be printed
void print(const std::string& text);

} // namespace Harmotrack::Examples
