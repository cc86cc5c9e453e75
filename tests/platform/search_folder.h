#pragma once

#include <string>

/// Lets the system search one more folder for libraries. On Linux that begins with the next program
/// that this one starts.
void addSearchFolder(const std::string& folder);
