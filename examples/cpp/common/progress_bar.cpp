#include "progress_bar.h"

#include <cstddef>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace Harmotrack::Examples {

ProgressBar::ProgressBar(std::string what)
    : what_(std::move(what)), terminal_(::isatty(STDERR_FILENO) != 0)
{
}

ProgressBar::~ProgressBar()
{
    if (shown_ >= 0) std::fprintf(stderr, "\r%60s\r", "");
}

void ProgressBar::show(double share)
{
    constexpr int kWidth = 40;
    const int filled = static_cast<int>(share * kWidth);
    if (!terminal_ || filled == shown_) return;
    shown_ = filled;
    std::fprintf(stderr,
                 "\r%s [%s%s] %3.0f %%",
                 what_.c_str(),
                 std::string(static_cast<std::size_t>(filled), '#').c_str(),
                 std::string(static_cast<std::size_t>(kWidth - filled), '.').c_str(),
                 100.0 * share);
}

} // namespace Harmotrack::Examples
