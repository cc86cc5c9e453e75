#include "run_up_recording.h"

#include <sndfile.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

namespace {

constexpr int kChannels = 3;
constexpr std::int64_t kFramesPerBlock = 8192;

/// A value as the 24 upper bits of an int, the form in which libsndfile stores it untouched.
int stored(double value, double fullScale, const char* channel, std::int64_t frame)
{
    constexpr long kSteps = 1L << 23;
    const long steps = std::lround(value / fullScale * kSteps);
    if (steps < -kSteps || steps >= kSteps) {
        std::ostringstream sentence;
        sentence << "The " << channel << " channel reaches " << value << " at sample " << frame
                 << ", beyond its full scale of " << fullScale << ": lower the noise or the speed.";
        throw std::runtime_error(sentence.str());
    }
    return static_cast<int>(steps * 256);
}

std::runtime_error cannotWrite(const std::filesystem::path& path, const char* reason)
{
    return std::runtime_error("Cannot write " + path.string() + ": " + reason);
}

} // namespace

bool writeRecording(RunUp& run,
                    const std::filesystem::path& path,
                    const std::function<bool(std::int64_t)>& progress)
{
    SF_INFO info{};
    info.samplerate = run.settings().rateHz;
    info.channels = kChannels;
    info.format = SF_FORMAT_FLAC | SF_FORMAT_PCM_24;
    std::unique_ptr<SNDFILE, int (*)(SNDFILE*)> file(sf_open(path.c_str(), SFM_WRITE, &info),
                                                     &sf_close);
    if (!file) throw cannotWrite(path, sf_strerror(nullptr));

    const std::int64_t count = run.sampleCount();
    std::vector<int> block;
    for (std::int64_t written = 0; written < count;) {
        const std::int64_t frames = std::min(kFramesPerBlock, count - written);
        block.clear();
        for (std::int64_t frame = written; frame < written + frames; ++frame) {
            const RunUpSample sample = run.next();
            block.push_back(stored(sample.x, RunUp::kFullScaleVibration, "x", frame));
            block.push_back(stored(sample.y, RunUp::kFullScaleVibration, "y", frame));
            block.push_back(stored(sample.tacho, RunUp::kFullScaleTacho, "tacho", frame));
        }
        if (sf_writef_int(file.get(), block.data(), frames) != frames)
            throw cannotWrite(path, sf_strerror(file.get()));
        written += frames;
        if (!progress(written)) return false;
    }
    if (const int error = sf_close(file.release()); error != 0)
        throw cannotWrite(path, sf_error_number(error));
    return true;
}

} // namespace Harmotrack::Examples
