#pragma once

#include "program.h"
#include "scratch_folder.h"
#include "small_machine.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace Harmotrack::Tests {

/// Tests of a program on the recording of the small machine, which stands in a folder of the test's
/// own; so do the results.
class ProgramTest : public testing::Test {
protected:
    explicit ProgramTest(std::string program) : program_(std::move(program))
    {
        storeAudio(recording_, SmallMachine().frames(), SmallMachine().rateHz, kFlac);
    }

    [[nodiscard]] Outcome run(const std::vector<std::string>& arguments) const
    {
        Launch launch;
        launch.arguments = arguments;
        return runProgram(program_, launch);
    }

    /// The program refuses: exit code 2, one sentence with these words, and no output folder.
    void expectRefusal(const std::vector<std::string>& arguments, const std::string& words) const
    {
        expectRefusal(run(arguments), words);
    }

    /// Without gnuplot on the search path.
    void expectMissingGnuplotNamed(const std::vector<std::string>& arguments) const
    {
        Launch launch;
        launch.arguments = arguments;
        launch.environment = {"PATH=" + folder_.path().string()};
        expectRefusal(runProgram(program_, launch), "gnuplot-nox");
    }

    static std::vector<std::string> with(std::vector<std::string> arguments,
                                         const std::vector<std::string>& more)
    {
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    /// Where the small machine's table, stored in this file, has its time and its signal.
    static std::vector<std::string> columnsOf(const std::string& table)
    {
        return {"--csv", table, "--time", "Time", "--time-unit", "ms", "--signal", "Signal"};
    }

    std::string program_;
    ScratchFolder folder_;
    std::string recording_ = folder_ / "machine.flac";
    std::string output_ = folder_ / "results";

private:
    void expectRefusal(const Outcome& outcome, const std::string& words) const
    {
        EXPECT_EQ(outcome.exitCode, 2) << words;
        EXPECT_THAT(outcome.errors, testing::HasSubstr(words));
        EXPECT_EQ(std::count(outcome.errors.begin(), outcome.errors.end(), '\n'), 1)
            << outcome.errors;
        EXPECT_THAT(outcome.output, testing::IsEmpty());
        EXPECT_FALSE(std::filesystem::exists(output_)) << words;
    }
};

} // namespace Harmotrack::Tests
