#pragma once

#include "host/host_error.h"

#include <CLI/CLI.hpp>

#include <cstdlib>
#include <map>
#include <string>

namespace Harmotrack::Examples {

template <typename Value>
using Names = std::map<std::string, Value>;

/// An option whose words stand for values; other words are refused with the list of those allowed.
template <typename Value, typename Target>
CLI::Option* addChoice(CLI::App& app,
                       const std::string& name,
                       Target& target,
                       const Names<Value>& names,
                       const std::string& help)
{
    std::string words;
    for (const auto& [word, value] : names) words += (words.empty() ? "" : "|") + word;
    return app
        .add_option_function<std::string>(
            name,
            [&target, &names, name, words](const std::string& word) {
                const auto found = names.find(word);
                if (found == names.end())
                    throw Host::HostError("The value of " + name + " is \"" + word + "\", and " +
                                          words + " are allowed.");
                target = found->second;
            },
            help)
        ->type_name(words);
}

/// Reads the command line. For --help it prints the help and ends the process with 0.
/// @throws Host::HostError  the line can't be understood
inline void parse(CLI::App& app, int argc, const char* const* argv)
{
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp& help) {
        std::exit(app.exit(help));
    } catch (const CLI::ParseError& error) {
        throw Host::HostError(std::string(error.what()) + " (see --help).");
    }
}

} // namespace Harmotrack::Examples
