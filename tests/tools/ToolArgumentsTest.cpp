// The small tools name what is wrong with their arguments in their first
// line, then give their usage, and end with status 2; a source that is not
// there is named in one line, with status 1.
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

struct Refusal
{
    std::vector<std::string> command;
    std::string firstLine;
};

// Runs each command without a display; each must end with status and print firstLine first.
void expectRefusals(const std::vector<Refusal>& refusals, int status, const std::string& usage)
{
    for (const Refusal& refusal : refusals) {
        int ended = -1;
        const std::string output = runProgram(refusal.command, {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}, ended, 20s,
                                              StandardError::Collected);
        EXPECT_EQ(ended, status) << output;
        EXPECT_EQ(output.substr(0, output.find('\n')), refusal.firstLine) << output;
        if (!usage.empty()) {
            EXPECT_NE(output.find(usage), std::string::npos) << output;
        }
    }
}

TEST(ToolArguments, TheSyntheticModuleWriterNamesTheBadArgument)
{
    const std::string tool = KORVANE_SYNTHETIC_TOOL;
    expectRefusals({{{tool, "--frames", "abc", "out"},
                     "korvane-synthetic: --frames needs a positive whole number, not 'abc'"},
                    {{tool, "--frames", "2.5", "out"},
                     "korvane-synthetic: --frames needs a positive whole number, not '2.5'"},
                    {{tool, "--size", "100x100", "out"},
                     "korvane-synthetic: --size needs 1856x800 or 928x400, not '100x100'"},
                    {{tool, "--rect", "640", "out"},
                     "korvane-synthetic: --rect needs WIDTHxHEIGHT in positive whole numbers, not '640'"},
                    {{tool, "--hfov", "200", "out"},
                     "korvane-synthetic: --hfov needs a number of degrees from 60 to 140, not '200'"},
                    {{tool, "out", "--frames"}, "korvane-synthetic: --frames needs a value"},
                    {{tool, "--colour", "red", "out"}, "korvane-synthetic: unknown option '--colour'"},
                    {{tool, "one", "two"}, "korvane-synthetic: unexpected argument 'two'"},
                    {{tool}, "korvane-synthetic: give the DIRECTORY to write into"}},
                   2, "usage: korvane-synthetic");
}

TEST(ToolArguments, TheRecorderNamesTheBadArgumentAndTheMissingSource)
{
    TempDir dir;
    const std::string tool = KORVANE_RECORD_TOOL;
    const std::string out = dir.file("o.mkv");
    expectRefusals({{{tool, "--device", "zero", "--out", out},
                     "korvane-record: --device needs a whole number, 0 or more, not 'zero'"},
                    {{tool, "--source", "a.mkv", "--frames", "-1", "--out", out},
                     "korvane-record: --frames needs a whole number, 0 or more, not '-1'"},
                    {{tool, "--source", "a.mkv", "--fps", "fast", "--out", out},
                     "korvane-record: --fps needs a number, 0 or more, not 'fast'"},
                    {{tool, "--device", "0", "--size", "big", "--out", out},
                     "korvane-record: --size needs WIDTHxHEIGHT in positive whole numbers, not 'big'"},
                    {{tool, "--out", out}, "korvane-record: give either --device N or --source FILE_OR_PIPELINE"},
                    {{tool, "--source", "a.mkv"}, "korvane-record: give --out FILE.mkv, the file to record to"}},
                   2, "Usage: korvane-record");
    expectRefusals({{{tool, "--source", dir.file("none.mkv"), "--out", out},
                     "korvane-record: cannot open the source '" + dir.file("none.mkv") +
                         "': No such file or directory"},
                    {{tool, "--source", dir.path(), "--out", out},
                     "korvane-record: cannot open the source '" + dir.path() + "': it is not a regular file"}},
                   1, "");
}

TEST(ToolArguments, TheSharedMemoryReaderNamesTheBadArgumentAndTheMissingDisplay)
{
    const std::string tool = KORVANE_SHM_TOOL;
    expectRefusals({{{tool, "--position", "first"},
                     "korvane-shm-read: --position needs a whole number from 0 to 1000000000, not 'first'"},
                    {{tool, "--position", "1", "--count"}, "korvane-shm-read: --count needs a value"},
                    {{tool}, "korvane-shm-read: give --position N, the position whose images to read"},
                    {{tool, "--position", "1", "--show"},
                     "korvane-shm-read: --show needs a display, and DISPLAY and WAYLAND_DISPLAY are empty"}},
                   2, "Usage: korvane-shm-read");
}

} // namespace
