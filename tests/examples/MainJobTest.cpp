#include <chrono>
#include <csignal>
#include <fstream>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/imgcodecs.hpp>

#include "support/TempDir.h"

extern char** environ;

using korvane::test::TempDir;

namespace {

// The main job as a child process with its standard output in a pipe.
class MainJob
{
public:
    explicit MainJob(std::vector<std::string> args)
    {
        args.insert(args.begin(), KORVANE_MAIN_JOB);
        std::vector<char*> argv;
        for (auto& a : args)
            argv.push_back(a.data());
        argv.push_back(nullptr);
        int ends[2];
        if (pipe(ends) != 0)
            return;
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, ends[0]);
        if (posix_spawn(&m_pid, argv[0], &actions, nullptr, argv.data(), environ) != 0)
            m_pid = -1;
        posix_spawn_file_actions_destroy(&actions);
        close(ends[1]);
        m_out = ends[0];
        fcntl(m_out, F_SETFL, O_NONBLOCK);
    }

    ~MainJob()
    {
        if (m_pid > 0 && !m_done) {
            kill(m_pid, SIGKILL);
            waitpid(m_pid, nullptr, 0);
        }
        if (m_out >= 0)
            close(m_out);
    }

    // Collects output until `text` appears or the time runs out.
    bool waitFor(const std::string& text, int seconds)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        while (std::chrono::steady_clock::now() < deadline) {
            drain();
            if (m_text.find(text) != std::string::npos)
                return true;
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return false;
    }

    // Exit status, or -1 when it did not end in time (it is then killed).
    int finish(int seconds)
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
        int status = 0;
        while (std::chrono::steady_clock::now() < deadline) {
            drain();
            if (waitpid(m_pid, &status, WNOHANG) == m_pid) {
                m_done = true;
                drain();
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        }
        return -1;
    }

    void interrupt() { kill(m_pid, SIGINT); }
    const std::string& output() const { return m_text; }
    bool started() const { return m_pid > 0; }

private:
    void drain()
    {
        char buffer[4096];
        ssize_t n;
        while ((n = read(m_out, buffer, sizeof buffer)) > 0)
            m_text.append(buffer, static_cast<size_t>(n));
    }

    pid_t m_pid = -1;
    int m_out = -1;
    bool m_done = false;
    std::string m_text;
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
        ASSERT_EQ(job.finish(300), 0) << job.output();
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
    ASSERT_TRUE(endless.waitFor("frame 3/", 120)) << endless.output();
    endless.interrupt();
    EXPECT_EQ(endless.finish(30), 0) << endless.output();
    EXPECT_NE(endless.output().find("depth frames in"), std::string::npos);
}

TEST(MainJob, BadArgumentsPrintTheUsageAndExitWithTwo)
{
    MainJob job({"--frames", "many"});
    EXPECT_EQ(job.finish(30), 2);
    MainJob device({"--device", "3"}); // a module needs its calibration file
    EXPECT_EQ(device.finish(30), 2);
    MainJob help({"--help"});
    EXPECT_EQ(help.finish(30), 0);
    EXPECT_NE(help.output().find("Usage: korvane_main"), std::string::npos);
}
