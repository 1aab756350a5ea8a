#include "CaptureTestSupport.h"

#include <chrono>
#include <vector>

#include <opencv2/core.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/videoio.hpp>

#include "support/ChildProcess.h"

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
    // Pixel (r, c) of frame i is (200, (r + i) & 0xff, c & 0xff), built from
    // whole-image operations: a loop over every pixel is slow under the
    // sanitizers.
    cv::Mat columnRamp(1, raw.width, CV_8U);
    for (int c = 0; c < raw.width; ++c)
        columnRamp.at<uchar>(0, c) = static_cast<uchar>(c & 0xff);
    const cv::Mat blue(raw, CV_8U, cv::Scalar(200));
    const cv::Mat red = cv::repeat(columnRamp, raw.height, 1);
    cv::Mat rowRamp(raw.height, 1, CV_8U);
    cv::Mat frame;
    for (int i = 0; i < frames; ++i) {
        for (int r = 0; r < raw.height; ++r)
            rowRamp.at<uchar>(r, 0) = static_cast<uchar>((r + i) & 0xff);
        cv::merge(std::vector<cv::Mat>{blue, cv::repeat(rowRamp, 1, raw.width), red}, frame);
        const int half = raw.width / 2;
        frame(centreBlock(half, raw.height)).setTo(cv::Scalar(i, 10, 20));
        frame(centreBlock(half, raw.height) + cv::Point(half, 0)).setTo(cv::Scalar(i, 10, 20));
        writer.write(frame);
    }
    return path;
}

std::string writeTestSequence(const TempDir& dir, cv::Size raw, int frames)
{
    cv::VideoCapture reader(writeTestVideo(dir, raw, frames, 30.0));
    cv::Mat frame;
    for (int i = 0; reader.read(frame); ++i)
        cv::imwrite(dir.file("seq_" + std::to_string(i) + ".png"), frame);
    return dir.file("seq_%d.png");
}

int frameIndexOf(const cv::Mat& half)
{
    return half.at<cv::Vec3b>(half.rows / 2, half.cols / 2)[0];
}

ChildOutcome runInChild(const std::function<void()>& body, int timeoutMs)
{
    ChildProcess child(body);
    ChildOutcome outcome;
    outcome.status = child.finish(std::chrono::milliseconds(timeoutMs));
    outcome.exited = child.exitedByItself();
    outcome.out = child.output();
    return outcome;
}

} // namespace korvane::test
