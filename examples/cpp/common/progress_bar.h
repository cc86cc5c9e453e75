#pragma once

#include <string>

namespace Harmotrack::Examples {

/// A bar on the terminal, if standard error is one; gone when it is done.
class ProgressBar {
public:
    /// @param what  "Analysing"
    explicit ProgressBar(std::string what);
    ~ProgressBar();

    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    /// @param share  0 to 1
    void show(double share);

private:
    std::string what_;
    bool terminal_;
    int shown_ = -1;
};

} // namespace Harmotrack::Examples
