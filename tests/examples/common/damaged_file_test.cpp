// What the example programs read recordings with, on files that are damaged: cut at every byte, and
// with every byte of the head changed. Whatever it is, it ends in one sentence, or in what the file
// still says; a sanitizer sees the rest.

#include "scratch_folder.h"
#include "small_machine.h"

#include "csv_columns.h"
#include "source.h"

#include "host/host_error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace Harmotrack::Tests {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

// 0.4 s with eight turns: all that there is to read, in a few kB.
SmallMachine tinyMachine()
{
    SmallMachine machine;
    machine.rateHz = 800.0;
    machine.seconds = 0.4;
    return machine;
}

class DamagedFile : public testing::Test {
protected:
    // The bytes of a recording in a format of libsndfile.
    std::string recording(int format)
    {
        storeAudio(file_, tinyMachine().frames(), tinyMachine().rateHz, format);
        return contentOf(file_);
    }

    // What comes of reading a content: nothing with a sentence.
    template <typename Result>
    std::optional<Result> read(const std::string& content, const std::function<Result()>& reader)
    {
        store(file_, content);
        sentence_.clear();
        try {
            return reader();
        } catch (const Host::HostError& error) {
            sentence_ = error.what();
        }
        // One line, whole, that begins as a sentence and ends as one.
        EXPECT_THAT(sentence_, MatchesRegex("[A-Z][^\n]*\\."));
        return std::nullopt;
    }

    std::optional<Examples::Source> readAudio(const std::string& content)
    {
        Examples::SourceOptions options;
        options.audioFile = file_;
        options.tachoChannel = 3;
        return read<Examples::Source>(content, [&] { return Examples::readSource(options, 2); });
    }

    std::optional<Examples::Source> readTable(const std::string& content)
    {
        Examples::SourceOptions options;
        options.csvFile = file_;
        options.timeColumn = "Time";
        options.timeUnitSeconds = 1e-3;
        options.speedColumn = "Speed";
        options.signalColumns = {"Signal"};
        return read<Examples::Source>(content, [&] { return Examples::readSource(options, 1); });
    }

    using Columns = std::vector<std::vector<double>>;

    std::optional<Columns> readColumns(const std::string& content)
    {
        return read<Columns>(content, [&] {
            return Examples::readCsvColumns(file_, {"Time", "Speed", "Signal"});
        });
    }

    ScratchFolder folder_;
    std::string file_ = folder_ / "damaged";
    std::string sentence_;
};

// All that is announced must be there.
TEST_F(DamagedFile, RecordingCutAtAnyByteIsRefused)
{
    for (const int format : {kWav, kFloatWav, kFlac}) {
        const std::string whole = recording(format);
        ASSERT_TRUE(readAudio(whole)) << sentence_;
        for (std::size_t size = 0; size < whole.size(); ++size)
            EXPECT_FALSE(readAudio(whole.substr(0, size))) << format << " cut at " << size;
    }
}

TEST_F(DamagedFile, WavCutInItsSamplesIsSaidToBe)
{
    const std::string whole = recording(kWav);
    EXPECT_FALSE(readAudio(whole.substr(0, whole.size() - 1)));
    EXPECT_THAT(sentence_, HasSubstr("is cut short: 2879 of 2880 bytes of samples can be read."));
}

// The head of a WAV file is what stands before its samples; that of a FLAC file, its stream
// information and the head of the first frame.
TEST_F(DamagedFile, RecordingWithAnyByteOfItsHeadChangedIsReadOrRefused)
{
    constexpr std::size_t kHead = 128;
    for (const int format : {kWav, kFloatWav, kFlac}) {
        const std::string whole = recording(format);
        for (std::size_t at = 0; at < kHead; ++at) {
            for (const char byte : {'\x00', '\x7F', '\xFF'}) {
                std::string changed = whole;
                changed[at] = byte;
                const auto source = readAudio(changed);
                if (!source) continue;
                for (const Host::UniformSignal& signal : source->signals) {
                    EXPECT_LE(signal.samples.size(), whole.size()) << at;
                    EXPECT_GT(signal.rateHz, 0.0) << at;
                }
            }
        }
    }
}

// The rows before the cut are read as they are; of the last number the digits that are left.
TEST_F(DamagedFile, TableCutAtAnyByteIsReadUpToThereOrRefused)
{
    const std::string whole = tinyMachine().table();
    const Columns all = readColumns(whole).value();
    std::size_t read = 0;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const auto part = readColumns(whole.substr(0, size));
        if (!part) continue;
        ++read;
        const auto lines = std::count(whole.data(), whole.data() + size, '\n');
        const std::size_t rows = part->front().size();
        ASSERT_EQ(rows, static_cast<std::size_t>(lines) - (whole[size - 1] == '\n' ? 1 : 0));
        for (std::size_t c = 0; c < all.size(); ++c) {
            ASSERT_EQ((*part)[c].size(), rows);
            const bool last = c + 1 == all.size();
            EXPECT_TRUE(std::equal((*part)[c].begin(), (*part)[c].end() - last, all[c].begin()));
        }
        EXPECT_LE(std::abs((*part)[2].back()), std::abs(all[2][rows - 1]));
    }
    EXPECT_GT(read, all[0].size());
}

// With all that is made of it.
TEST_F(DamagedFile, SourceOfATableCutAtAnyByteIsMadeOrRefused)
{
    const std::string whole = tinyMachine().table();
    ASSERT_TRUE(readTable(whole)) << sentence_;
    for (std::size_t size = 0; size < whole.size(); ++size) {
        const auto source = readTable(whole.substr(0, size));
        EXPECT_TRUE(!source || source->signals.front().samples.size() <= 200U);
    }
}

TEST_F(DamagedFile, TableWithAnyByteChangedIsReadOrRefused)
{
    const std::string whole = tinyMachine().table();
    for (std::size_t at = 0; at < std::min<std::size_t>(whole.size(), 400); ++at) {
        for (const char byte : {'\x00', '\xFF', '\n', ',', '"'}) {
            std::string changed = whole;
            changed[at] = byte;
            readTable(changed);
        }
    }
}

// A sentence can't show everything that a file holds.
TEST_F(DamagedFile, TableThatIsNoTextIsRefusedInOneLine)
{
    EXPECT_FALSE(readColumns(std::string("Ti\0me\x1B[2J,Speed\n", 16) + std::string(5000, '\x01')));
    EXPECT_THAT(sentence_, HasSubstr("the columns are: Ti?me?[2J, Speed."));
    EXPECT_FALSE(readColumns(std::string(5000, 'x')));
    EXPECT_LT(sentence_.size(), 500U);
}

} // namespace
} // namespace Harmotrack::Tests
