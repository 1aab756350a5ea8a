#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <opencv2/imgcodecs.hpp>

#include "support/ChildProcess.h"
#include "support/TempDir.h"

using korvane::test::ChildProcess;
using korvane::test::TempDir;
using namespace std::chrono_literals;

namespace {

const std::string kName = KORVANE_MAIN_JOB_NAME;

// The main job as a child process with its standard output collected.
class MainJob : public ChildProcess
{
public:
    explicit MainJob(std::vector<std::string> args) : ChildProcess(withProgram(std::move(args))) {}

private:
    static std::vector<std::string> withProgram(std::vector<std::string> args)
    {
        args.insert(args.begin(), KORVANE_MAIN_JOB);
        return args;
    }
};

size_t plyVertexCount(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::string line;
    while (std::getline(in, line) && line != "end_header")
        if (line.rfind("element vertex ", 0) == 0)
            return std::stoul(line.substr(15));
    return 0;
}

} // namespace

TEST(MainJob, RunsOnTheSyntheticModuleWritesItsFilesAndStopsOnCtrlC)
{
    TempDir dir;
    const std::string out = dir.file("out");
    {
        MainJob job({"--frames", "4", "--save-frame", "2", "--out", out, "--no-window"});
        ASSERT_TRUE(job.started());
        ASSERT_EQ(job.finish(200s), 0) << job.output();
        const std::string& text = job.output();
        EXPECT_NE(text.find("running on the synthetic stereo module"), std::string::npos) << text;
        EXPECT_NE(text.find("frame 4/4"), std::string::npos) << text;
        EXPECT_NE(text.find("4 depth frames in"), std::string::npos) << text;
        EXPECT_NE(text.find("Latency from raw frame to depth: median"), std::string::npos) << text;
        EXPECT_NE(text.find("Depth error against ground truth"), std::string::npos) << text;
    }
    const cv::Mat depth = cv::imread(out + "/depth.png");
    EXPECT_EQ(depth.size(), cv::Size(640, 480));
    EXPECT_GT(cv::countNonZero(depth.reshape(1)), 1000);
    EXPECT_EQ(cv::imread(out + "/rect_left.png").size(), cv::Size(640, 480));
    EXPECT_EQ(cv::imread(out + "/rect_right.png").size(), cv::Size(640, 480));
    EXPECT_GT(plyVertexCount(out + "/cloud.ply"), 100u);

    // Ctrl-C stops it cleanly, with its summary (the rendered module is reused).
    MainJob endless({"--frames", "100000", "--save-frame", "1", "--out", out, "--no-window"});
    ASSERT_TRUE(endless.waitFor("frame 3/", 60s)) << endless.output();
    endless.signal(SIGINT);
    EXPECT_EQ(endless.finish(15s), 0) << endless.output();
    EXPECT_NE(endless.output().find("depth frames in"), std::string::npos);
}

TEST(MainJob, BadArgumentsAreNamedFirstThenTheUsageAndExitWithTwo)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--frames", "many"}, kName + ": --frames needs a positive whole number, not 'many'"},
        {{"--frames", "0"}, kName + ": --frames needs a positive whole number, not '0'"},
        {{"--size", "100x100"}, kName + ": --size needs 928x400 or 1856x800, not '100x100'"},
        {{"--rect", "640"}, kName + ": --rect needs WIDTHxHEIGHT in positive whole numbers, not '640'"},
        {{"--device", "3"}, kName + ": --device needs --calib FILE, the module's calibration file"},
        {{"--device", "three", "--calib", "c.yml"},
         kName + ": --device needs a whole number, 0 or more, not 'three'"},
        {{"--algorithm", "2"},
         kName + ": --algorithm needs 0 (semi-global matching) or 1 (block matching), not '2'"},
        {{"--frames"}, kName + ": --frames needs a value"},
        {{"--bogus"}, kName + ": unknown option '--bogus'"},
    };
    for (const auto& [args, message] : cases) {
        std::vector<std::string> line = args;
        line.insert(line.begin(), KORVANE_MAIN_JOB);
        int status = -1;
        const std::string output =
            korvane::test::runProgram(line, {}, status, 20s, korvane::test::StandardError::Collected);
        EXPECT_EQ(status, 2) << message;
        EXPECT_EQ(output.substr(0, output.find('\n')), message);
        EXPECT_NE(output.find(std::string("Usage: ") + kName), std::string::npos) << output;
    }
    MainJob help({"--help"});
    EXPECT_EQ(help.finish(20s), 0);
    EXPECT_NE(help.output().find(std::string("Usage: ") + kName), std::string::npos);
}
