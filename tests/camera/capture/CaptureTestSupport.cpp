#include "CaptureTestSupport.h"

#include <chrono>
#include <csignal>
#include <thread>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <opencv2/videoio.hpp>

namespace korvane::test {

namespace {

const int kBlock = 8;

cv::Rect centreBlock(int cols, int rows)
{
    return cv::Rect(cols / 2 - kBlock / 2, rows / 2 - kBlock / 2, kBlock, kBlock);
}

} // namespace

std::string writeTestVideo(const TempDir& dir, cv::Size raw, int frames, double fps,
                           const std::string& name)
{
    const std::string path = dir.file(name);
    cv::VideoWriter writer(path, cv::VideoWriter::fourcc('F', 'F', 'V', '1'), fps, raw, true);
    cv::Mat frame(raw, CV_8UC3);
    for (int i = 0; i < frames; ++i) {
        for (int r = 0; r < raw.height; ++r)
            for (int c = 0; c < raw.width; ++c)
                frame.at<cv::Vec3b>(r, c) = cv::Vec3b(200, static_cast<uchar>((r + i) & 0xff),
                                                      static_cast<uchar>(c & 0xff));
        const int half = raw.width / 2;
        frame(centreBlock(half, raw.height)).setTo(cv::Scalar(i, 10, 20));
        frame(centreBlock(half, raw.height) + cv::Point(half, 0)).setTo(cv::Scalar(i, 10, 20));
        writer.write(frame);
    }
    return path;
}

int frameIndexOf(const cv::Mat& half)
{
    return half.at<cv::Vec3b>(half.rows / 2, half.cols / 2)[0];
}

ChildOutcome runInChild(const std::function<void()>& body, int timeoutMs)
{
    ChildOutcome outcome;
    int pipeEnds[2];
    if (pipe(pipeEnds) != 0)
        return outcome;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        close(pipeEnds[0]);
        dup2(pipeEnds[1], STDOUT_FILENO);
        body();
        std::fflush(nullptr);
        _exit(0);
    }
    close(pipeEnds[1]);
    fcntl(pipeEnds[0], F_SETFL, O_NONBLOCK);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    int status = 0;
    char buffer[4096];
    for (;;) {
        ssize_t n;
        while ((n = read(pipeEnds[0], buffer, sizeof buffer)) > 0)
            outcome.out.append(buffer, static_cast<size_t>(n));
        if (waitpid(child, &status, WNOHANG) == child) {
            while ((n = read(pipeEnds[0], buffer, sizeof buffer)) > 0)
                outcome.out.append(buffer, static_cast<size_t>(n));
            outcome.exited = WIFEXITED(status);
            outcome.status = outcome.exited ? WEXITSTATUS(status) : -1;
            break;
        }
        if (std::chrono::steady_clock::now() > deadline) {
            kill(child, SIGKILL);
            waitpid(child, &status, 0);
            break;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    close(pipeEnds[0]);
    return outcome;
}

} // namespace korvane::test
