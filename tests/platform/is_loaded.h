#pragma once

#include <string>

/// Whether the process holds a library of this file name, whoever opened it.
[[nodiscard]] bool isLoaded(const std::string& name);
