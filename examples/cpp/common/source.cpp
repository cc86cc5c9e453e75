#include "source.h"

#include "csv_columns.h"
#include "interruption.h"
#include "wav_data.h"

#include "host/host_error.h"
#include "host/shaft/speed_profile.h"
#include "host/shaft/tachometer.h"

#include <sndfile.hh>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <utility>

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

std::string allowedCount(std::size_t most)
{
    return most == 1 ? ", and 1 is allowed." : ", and 1 or 2 are allowed.";
}

std::vector<int> signalChannels(const SourceOptions& options, int channels, std::size_t mostSignals)
{
    std::vector<int> chosen = options.signalChannels;
    for (int channel = 1; options.signalChannels.empty() && channel <= channels; ++channel) {
        if (channel != options.tachoChannel && chosen.size() < mostSignals)
            chosen.push_back(channel);
    }
    if (chosen.empty())
        throw HostError("The recording " + options.audioFile +
                        " has no channel besides that of the tacho.");
    if (chosen.size() > mostSignals)
        throw HostError("The number of signal channels is " + std::to_string(chosen.size()) +
                        allowedCount(mostSignals));
    for (const int channel : chosen) {
        checkChannel(channel, channels, options.audioFile);
        if (channel == options.tachoChannel)
            throw HostError("Channel " + std::to_string(channel) +
                            " is that of the tacho and can't be a signal too.");
    }
    return chosen;
}

[[noreturn]] void
refuseCut(const std::string& name, std::uint64_t found, std::uint64_t announced, const char* what)
{
    throw HostError("The recording " + name + " is cut short: " + std::to_string(found) + " of " +
                    std::to_string(announced) + ' ' + what + " can be read.");
}

// Reads the channels asked for, counted from 1, scaled to the value of full scale. What the head of
// the file says of its length is not believed before the samples are there.
std::vector<UniformSignal>
readChannels(SndfileHandle& file, const std::string& name, const std::vector<int>& channels)
{
    constexpr std::size_t kBlockSamples = 1 << 16;
    const auto stride = static_cast<std::size_t>(file.channels());
    const std::size_t blockFrames = std::max<std::size_t>(kBlockSamples / stride, 1);
    std::vector<double> block(blockFrames * stride);
    std::vector<UniformSignal> signals(channels.size());
    for (UniformSignal& signal : signals) signal.rateHz = file.samplerate();
    sf_count_t frames = 0;
    for (;;) {
        Interruption::check();
        const sf_count_t got = file.readf(block.data(), static_cast<sf_count_t>(blockFrames));
        if (got <= 0) break;
        frames += got;
        for (std::size_t c = 0; c < channels.size(); ++c) {
            const auto offset = static_cast<std::size_t>(channels[c] - 1);
            for (std::size_t i = 0; i < static_cast<std::size_t>(got); ++i)
                signals[c].samples.push_back(block[i * stride + offset]);
        }
    }
    if (file.error() != SF_ERR_NO_ERROR || frames < file.frames())
        refuseCut(name,
                  static_cast<std::uint64_t>(frames),
                  static_cast<std::uint64_t>(file.frames()),
                  "samples");
    if (frames == 0) throw HostError("The recording " + name + " has no samples.");
    return signals;
}

Host::ShaftAngle longestOf(const std::vector<Host::ShaftAngle>& segments)
{
    return *std::max_element(segments.begin(), segments.end(), [](const auto& a, const auto& b) {
        return a.turns() < b.turns();
    });
}

// What the tacho says of the shaft.
void addAngle(const UniformSignal& tacho, const SourceOptions& options, Source& source)
{
    Host::TachometerSettings settings = options.tacho;
    settings.name = "The tacho channel " + std::to_string(options.tachoChannel);
    Host::TachoReading reading = Host::Tachometer(settings).read(tacho);
    std::vector<Host::ShaftAngle> segments = Host::ShaftAngle::segmentsOf(reading.knots);
    if (segments.empty())
        throw HostError(settings.name + " gives " + std::to_string(reading.pulses) +
                        " pulses that can't be read as those of a shaft" +
                        (reading.events.empty() ? "." : ": " + reading.events.back().text()));
    source.angle = longestOf(segments);
    source.knots = std::move(reading.knots);
    source.tachoEvents = std::move(reading.events);
    source.remarks = std::move(reading.remarks);
    source.hasMark = settings.gearRatio == 1.0;
}

Source readAudio(const SourceOptions& options, std::size_t mostSignals)
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
    const std::optional<WavData> data = wavData(name);
    if (data && data->present < data->announced)
        refuseCut(name, data->present, data->announced, "bytes of samples");
    const bool hasTacho = options.tachoChannel != 0;
    if (hasTacho) checkChannel(options.tachoChannel, file.channels(), name);
    std::vector<int> channels = signalChannels(options, file.channels(), mostSignals);
    Source source;
    source.file = std::filesystem::path(name).filename().string();
    for (const int channel : channels) source.names.push_back("channel " + std::to_string(channel));
    if (hasTacho) channels.push_back(options.tachoChannel);

    source.signals = readChannels(file, name, channels);
    if (hasTacho) {
        addAngle(source.signals.back(), options, source);
        source.signals.pop_back();
    }
    for (UniformSignal& signal : source.signals) {
        for (double& value : signal.samples) value *= options.fullScale;
    }
    return source;
}

// What a column of speed says of the shaft: where it stands still or turns backwards, the angle
// begins anew.
void addAngle(std::span<const double> seconds,
              std::span<const double> rpm,
              const std::string& column,
              Source& source)
{
    constexpr double kUnlimited = std::numeric_limits<double>::infinity();
    Host::SpeedProfile profile({.longestGapSeconds = kUnlimited});
    source.knots = profile.feed(seconds, rpm);
    const std::vector<Host::ShaftAngle> segments = Host::ShaftAngle::segmentsOf(source.knots);
    if (segments.empty())
        throw HostError("The column " + column + " says nowhere that the shaft turns.");
    source.angle = longestOf(segments);
    for (const Host::SpeedGap& gap : profile.takeGaps()) source.remarks.push_back(gap.text());
    if (profile.impossible().count > 0) source.remarks.push_back(profile.impossible().text());
}

Source readTable(const SourceOptions& options, std::size_t mostSignals)
{
    if (options.signalColumns.size() > mostSignals)
        throw HostError("The number of signal columns is " +
                        std::to_string(options.signalColumns.size()) + allowedCount(mostSignals));
    std::vector<std::string> names{options.timeColumn};
    names.insert(names.end(), options.signalColumns.begin(), options.signalColumns.end());
    const bool hasSpeed = !options.speedColumn.empty();
    if (hasSpeed) names.push_back(options.speedColumn);
    std::vector<std::vector<double>> columns = readCsvColumns(options.csvFile, names);
    for (double& time : columns.front()) time *= options.timeUnitSeconds;

    Source source;
    source.file = std::filesystem::path(options.csvFile).filename().string();
    source.names = options.signalColumns;
    if (hasSpeed) addAngle(columns.front(), columns.back(), options.speedColumn, source);
    for (std::size_t c = 1; c <= options.signalColumns.size(); ++c)
        source.signals.push_back(Host::toUniform(columns.front(), columns[c]));
    return source;
}

} // namespace

Source readSource(const SourceOptions& options, std::size_t mostSignals)
{
    return options.csvFile.empty() ? readAudio(options, mostSignals)
                                   : readTable(options, mostSignals);
}

} // namespace Harmotrack::Examples
