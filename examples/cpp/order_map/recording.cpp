#include "recording.h"

#include "csv_columns.h"
#include "interruption.h"

#include "host/host_error.h"
#include "host/shaft_angle.h"
#include "host/tachometer.h"

#include <sndfile.hh>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <filesystem>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;
using Host::UniformSignal;

void checkChannel(int channel, int channels, const std::string& file)
{
    if (channel < 1 || channel > channels)
        throw HostError("Channel " + std::to_string(channel) + " was asked for, and " + file +
                        " has channels 1 to " + std::to_string(channels) + ".");
}

std::vector<int> signalChannels(const Options& options, int channels)
{
    std::vector<int> chosen = options.signalChannels;
    for (int channel = 1; options.signalChannels.empty() && channel <= channels; ++channel) {
        if (channel != options.tachoChannel && chosen.size() < 2) chosen.push_back(channel);
    }
    if (chosen.empty())
        throw HostError("The recording " + options.audioFile +
                        " has no channel besides that of the tacho.");
    if (chosen.size() > 2)
        throw HostError("The number of signal channels is " + std::to_string(chosen.size()) +
                        ", and 1 or 2 are allowed.");
    for (const int channel : chosen) {
        checkChannel(channel, channels, options.audioFile);
        if (channel == options.tachoChannel)
            throw HostError("Channel " + std::to_string(channel) +
                            " is that of the tacho and can't be a signal too.");
    }
    return chosen;
}

// Reads the channels asked for, counted from 1, scaled to the value of full scale.
std::vector<UniformSignal>
readChannels(SndfileHandle& file, const std::string& name, const std::vector<int>& channels)
{
    constexpr std::size_t kBlockFrames = 65536;
    const auto stride = static_cast<std::size_t>(file.channels());
    std::vector<double> block(kBlockFrames * stride);
    std::vector<UniformSignal> signals(channels.size());
    for (UniformSignal& signal : signals) {
        signal.rateHz = file.samplerate();
        signal.samples.reserve(static_cast<std::size_t>(file.frames()));
    }
    sf_count_t frames = 0;
    for (;;) {
        Interruption::check();
        const sf_count_t got = file.readf(block.data(), kBlockFrames);
        if (got <= 0) break;
        frames += got;
        for (std::size_t c = 0; c < channels.size(); ++c) {
            const auto offset = static_cast<std::size_t>(channels[c] - 1);
            for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i)
                signals[c].samples.push_back(block[i * stride + offset]);
        }
    }
    if (file.error() != SF_ERR_NO_ERROR || frames < file.frames())
        throw HostError("The recording " + name + " is cut short: " + std::to_string(frames) +
                        " of " + std::to_string(file.frames()) + " samples can be read.");
    if (frames == 0) throw HostError("The recording " + name + " has no samples.");
    return signals;
}

Recording readAudio(const Options& options)
{
    const std::string& name = options.audioFile;
    if (!std::filesystem::exists(name)) throw HostError("There is no file " + name + ".");
    if (!(options.fullScale > 0.0) || !std::isfinite(options.fullScale))
        throw HostError("The value of full scale is " + Host::numberText(options.fullScale) +
                        ", and it must be above 0.");
    SndfileHandle file(name);
    if (!file || file.error() != SF_ERR_NO_ERROR)
        throw HostError("The file " + name +
                        " is no recording that can be read: " + file.strError());
    checkChannel(options.tachoChannel, file.channels(), name);
    std::vector<int> channels = signalChannels(options, file.channels());
    const std::size_t signalCount = channels.size();
    channels.push_back(options.tachoChannel);

    std::vector<UniformSignal> signals = readChannels(file, name, channels);
    const UniformSignal tacho = std::move(signals.back());
    signals.pop_back();
    for (UniformSignal& signal : signals) {
        for (double& value : signal.samples) value *= options.fullScale;
    }
    std::vector<std::string> names;
    for (std::size_t s = 0; s < signalCount; ++s)
        names.push_back("channel " + std::to_string(channels[s]));

    Host::TachometerSettings settings = options.tacho;
    settings.name = "The tacho channel " + std::to_string(options.tachoChannel);
    Host::TachoReading reading = Host::Tachometer(settings).read(tacho);
    if (Host::ShaftAngle::segmentsOf(reading.knots).empty())
        throw HostError(settings.name + " gives " + std::to_string(reading.pulses) +
                        " pulses that can't be read as those of a shaft" +
                        (reading.events.empty() ? "." : ": " + reading.events.back().text()));
    return {std::filesystem::path(name).filename().string(),
            std::move(signals),
            std::move(names),
            std::move(reading.knots),
            settings.gearRatio == 1.0,
            std::move(reading.events)};
}

Recording readTable(const Options& options)
{
    if (options.signalColumns.size() > 2)
        throw HostError("The number of signal columns is " +
                        std::to_string(options.signalColumns.size()) + ", and 1 or 2 are allowed.");
    std::vector<std::string> names{options.timeColumn, options.speedColumn};
    names.insert(names.end(), options.signalColumns.begin(), options.signalColumns.end());
    std::vector<std::vector<double>> columns = readCsvColumns(options.csvFile, names);
    for (double& time : columns[0]) time *= options.timeUnitSeconds;

    const Host::ShaftAngle angle = Host::ShaftAngle::fromSpeed(columns[0], columns[1]);
    std::vector<UniformSignal> signals;
    for (std::size_t c = 2; c < columns.size(); ++c)
        signals.push_back(Host::toUniform(columns[0], columns[c]));
    return {std::filesystem::path(options.csvFile).filename().string(),
            std::move(signals),
            options.signalColumns,
            angle.knots(),
            false,
            {}};
}

} // namespace

double Recording::turns() const
{
    double turns = 0.0;
    for (const Host::ShaftAngle& segment : Host::ShaftAngle::segmentsOf(knots))
        turns += segment.turns();
    return turns;
}

Recording readRecording(const Options& options)
{
    return options.csvFile.empty() ? readAudio(options) : readTable(options);
}

} // namespace Harmotrack::Examples
