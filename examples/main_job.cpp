// The kit's main job: opens a module by device number or, with no module
// attached, the synthetic stereo module; runs capture, disparity, depth and
// point cloud; writes the colour depth image, the rectified views and a PLY
// point cloud of a chosen frame; reports frames per second, latency and, on
// the synthetic module, the depth error against ground truth.
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <opencv2/highgui.hpp>
#include <opencv2/imgcodecs.hpp>

#include "Extension_Unit_Class/Video_Node_Access.h"
#include "MainJobOptions.h"
#include "ToolOptions.h"
#include "WindowDisplay.h"
#include "camera/ModuleFrameSize.h"
#include "camera/PointCloudFile.h"
#include "camera/StereoCamera.h"
#include "emulator/synthetic/SyntheticSetWriter.h"

namespace {

std::atomic<bool> g_interrupted{false};

void onInterrupt(int) { g_interrupted = true; }

// False, after saying so, when this user may not open the module's video node.
bool mayOpenNode(int device)
{
    const std::string node = "/dev/video" + std::to_string(device);
    if (!Video_Node_Access::Is_Denied(node))
        return true;
    std::fprintf(stderr, "%s\n", Video_Node_Access::Denied_Message(node).c_str());
    return false;
}

bool makeDirectory(const std::string& path)
{
    if (mkdir(path.c_str(), 0755) == 0 || errno == EEXIST)
        return true;
    std::fprintf(stderr, "Cannot create %s: %s\n", path.c_str(), std::strerror(errno));
    return false;
}

// Ground truth of the synthetic module: depth of each frame, and the pixels
// whose true depth is the same in every frame (the still part of the scene),
// where any published disparity can be compared whatever frame it came from.
struct GroundTruth
{
    cv::Mat depth;     // CV_32F metres, frame 0
    cv::Mat stillMask; // CV_8U
    bool loaded = false;
};

GroundTruth loadGroundTruth(const std::string& directory, int frames)
{
    GroundTruth truth;
    cv::Mat lowest, highest;
    for (int i = 0; i < frames; ++i) {
        char name[64];
        std::snprintf(name, sizeof name, "/depth/depth_%04d.tiff", i);
        const cv::Mat depth = cv::imread(directory + name, cv::IMREAD_UNCHANGED);
        if (depth.empty() || depth.type() != CV_32FC1)
            return truth;
        if (i == 0) {
            truth.depth = depth.clone();
            lowest = depth.clone();
            highest = depth.clone();
        }
        lowest = cv::min(lowest, depth);
        highest = cv::max(highest, depth);
    }
    truth.stillMask = (highest - lowest) < 1e-5f;
    truth.loaded = true;
    return truth;
}

// Median relative error of the metric depth over the still pixels whose true
// depth lies inside the depth limits and the matcher's disparity range
// (32 pixels), where the matcher found a depth; -1 when there is none.
double medianDepthError(const cv::Mat& depth, const GroundTruth& truth, double focal, double baseline)
{
    if (!truth.loaded || depth.size() != truth.depth.size())
        return -1;
    std::vector<float> errors;
    for (int r = 0; r < depth.rows; ++r)
        for (int c = 0; c < depth.cols; ++c) {
            const float z = depth.at<float>(r, c);
            const float t = truth.depth.at<float>(r, c);
            if (!truth.stillMask.at<uchar>(r, c) || !(z > 0) || t < 0.05f || t > 1.0f ||
                focal * baseline / t >= 32)
                continue;
            errors.push_back(std::abs(z - t) / t);
        }
    if (errors.empty())
        return -1;
    std::nth_element(errors.begin(), errors.begin() + errors.size() / 2, errors.end());
    return errors[errors.size() / 2];
}

// Writes the synthetic module's set once per size; later runs reuse it.
bool prepareSynthetic(const MainJobOptions& o, std::string& directory)
{
    directory = o.outDir + "/synthetic-" + std::to_string(o.syntheticSize.width) + "x" +
                std::to_string(o.syntheticSize.height) + "-" + std::to_string(o.rectified.width) + "x" +
                std::to_string(o.rectified.height);
    const std::string done = directory + "/complete";
    struct stat info {};
    if (stat(done.c_str(), &info) == 0)
        return true;
    korvane::synthetic::SyntheticSetWriter::Options options;
    options.rawSize = o.syntheticSize;
    options.rectifiedSize = o.rectified;
    options.frameCount = 30;
    korvane::synthetic::SyntheticSetWriter writer(options);
    writer.onProgress([&](int written) {
        std::printf("\rRendering the synthetic module: %d/%d frames", written, options.frameCount);
        std::fflush(stdout);
    });
    std::string error;
    if (!writer.write(directory, error)) {
        std::fprintf(stderr, "\nCannot write the synthetic module's files: %s\n", error.c_str());
        return false;
    }
    std::printf("\n");
    if (FILE* f = std::fopen(done.c_str(), "w"))
        std::fclose(f);
    return true;
}

std::unique_ptr<StereoCamera> openCamera(const MainJobOptions& o, const std::string& syntheticDir)
{
    std::unique_ptr<StereoCamera> camera;
    if (o.device < 0) {
        camera = std::make_unique<StereoCamera>(syntheticDir + "/config.yml");
        if (!camera->loadCalibParams(syntheticDir + "/calibration.yml"))
            return nullptr;
        camera->setRawFrameSize(o.syntheticSize);
        if (!camera->openVideo(syntheticDir + "/frames/frame_%04d.png"))
            return nullptr;
    } else {
        camera = o.config.empty() ? std::make_unique<StereoCamera>(o.device) : std::make_unique<StereoCamera>(o.config);
        if (!camera->loadCalibParams(o.calibration)) {
            std::fprintf(stderr, "Cannot load the calibration file %s\n", o.calibration.c_str());
            return nullptr;
        }
        if (o.config.empty()) {
            camera->setRawFrameSize(korvane::kFullModuleFrame);
            camera->setRectFrameSize(o.rectified);
        }
        if (!camera->isOpened()) {
            std::fprintf(stderr, "No module on video device %d\n", o.device);
            return nullptr;
        }
    }
    camera->setMatchingAlgorithm(o.algorithm);
    return camera;
}

// Writes the depth image, the rectified views and the point cloud.
bool saveOutputs(StereoCamera& camera, const std::string& outDir)
{
    cv::Mat depth, left, right;
    std::chrono::microseconds stamp{0};
    std::vector<PCL> cloud;
    const bool ok = camera.getDepthFrame(depth, true, stamp) && camera.getRectStereoFrame(left, right) &&
                    camera.getPointCloud(cloud, stamp) && cv::imwrite(outDir + "/depth.png", depth) &&
                    cv::imwrite(outDir + "/rect_left.png", left) &&
                    cv::imwrite(outDir + "/rect_right.png", right) && korvane::writePly(outDir + "/cloud.ply", cloud);
    if (ok)
        std::printf("\nWrote %s/depth.png, rect_left.png, rect_right.png and cloud.ply (%zu points)\n",
                    outDir.c_str(), cloud.size());
    else
        std::fprintf(stderr, "\nCould not write the outputs into %s\n", outDir.c_str());
    return ok;
}

double median(std::vector<double> values)
{
    if (values.empty())
        return 0;
    std::nth_element(values.begin(), values.begin() + values.size() / 2, values.end());
    return values[values.size() / 2];
}

} // namespace

int main(int argc, char** argv)
{
    MainJobOptions o;
    const auto parse = [&](std::string& error) { return o.parse(argc, argv, error); };
    if (const auto status = helpOrBadArguments(argc, argv, parse, KORVANE_MAIN_JOB_NAME, MainJobOptions::usage()))
        return *status;
    if (o.device >= 0 && !mayOpenNode(o.device))
        return 1;
    std::signal(SIGINT, onInterrupt);
    std::signal(SIGTERM, onInterrupt);
    const bool window = o.window && windowDisplayNamed();
    if (!makeDirectory(o.outDir))
        return 1;

    std::string syntheticDir;
    if (o.device < 0) {
        std::printf("No module chosen: running on the synthetic stereo module (%dx%d).\n",
                    o.syntheticSize.width, o.syntheticSize.height);
        if (!prepareSynthetic(o, syntheticDir))
            return 1;
    }
    std::unique_ptr<StereoCamera> camera = openCamera(o, syntheticDir);
    if (!camera) {
        std::fprintf(stderr, "Cannot open the camera\n");
        return 1;
    }
    const GroundTruth truth = o.device < 0 ? loadGroundTruth(syntheticDir, 30) : GroundTruth{};

    camera->startCapture(false, false);
    camera->startStereoCompute();
    std::vector<cv::Mat> params;
    camera->getCalibParams(params, false);
    const double focal = params[5].empty() ? 0 : params[5].at<double>(0, 0);
    const double baseline = 0.001 * cv::norm(params[4]);

    std::vector<double> latencies, errors;
    const auto start = std::chrono::steady_clock::now();
    int done = 0;
    bool saved = false;
    while (done < o.frames && !g_interrupted) {
        cv::Mat disparity, centre, depth;
        std::chrono::microseconds stamp{0};
        if (!camera->getDisparityFrame(disparity, centre, stamp) || disparity.empty())
            break;
        const auto now = std::chrono::duration_cast<std::chrono::microseconds>(
            std::chrono::system_clock::now().time_since_epoch());
        latencies.push_back((now - stamp).count() / 1000.0);
        camera->getDepthFrame(disparity, depth);
        const double error = medianDepthError(depth, truth, focal, baseline);
        if (error >= 0)
            errors.push_back(error);
        ++done;
        const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        std::printf("\rframe %d/%d  %.1f fps  latency %.0f ms", done, o.frames, done / seconds,
                    latencies.back());
        if (error >= 0)
            std::printf("  depth error %.1f %%", error * 100);
        std::fflush(stdout);
        if (done == std::min(o.saveFrame, o.frames) || (!saved && done == o.frames))
            saved = saveOutputs(*camera, o.outDir);
        if (window) {
            cv::imshow("Korvane: left view", centre);
            if ((cv::waitKey(1) & 0xff) == 27)
                break;
        }
    }
    const double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    camera->stopStereoCompute();
    camera->stopCapture();

    std::printf("\n%d depth frames in %.1f s: %.1f frames per second\n", done, seconds,
                done > 0 ? done / seconds : 0.0);
    std::printf("Latency from raw frame to depth: median %.0f ms\n", median(latencies));
    if (!errors.empty())
        std::printf("Depth error against ground truth (median over the still scene): %.2f %%\n",
                    median(errors) * 100);
    return saved ? 0 : 1;
}
