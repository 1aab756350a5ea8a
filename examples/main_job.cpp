// The kit's main job for now: opens a stereo camera from a configuration
// file, loads a calibration file, prints the settings and writes both files
// back out. Without a module attached the camera stays closed, which is
// reported, and everything else still runs.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include "camera/StereoCamera.h"

namespace {

struct Options
{
    std::string config = "data/sample_config.yml";
    std::string calibration = "data/sample_calibration.yml";
    std::string outDir = "out";
};

void usage(const char* program)
{
    std::printf("Usage: %s [--config FILE] [--calib FILE] [--out DIR]\n"
                "Opens a stereo camera from FILE, loads its calibration, prints the settings\n"
                "and writes config.yml and calibration.yml into DIR (default: out).\n",
                program);
}

bool parse(int argc, char** argv, Options& options)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        const bool hasValue = i + 1 < argc;
        if (arg == "--config" && hasValue)
            options.config = argv[++i];
        else if (arg == "--calib" && hasValue)
            options.calibration = argv[++i];
        else if (arg == "--out" && hasValue)
            options.outDir = argv[++i];
        else
            return false;
    }
    return true;
}

// Reads the settings that have no public getter.
class SettingsReport : public StereoCamera
{
public:
    using StereoCamera::StereoCamera;

    void print()
    {
        const cv::Size raw = getRawFrameSize();
        std::printf("device node        %d (%s)\n", getDeviceNode(), isOpened() ? "open" : "not open");
        std::printf("log level          %d\n", getLogLevel());
        std::printf("raw frame          %d x %d at %.1f fps\n", raw.width, raw.height, getRawFrameRate());
        std::printf("rectified frame    %d x %d\n", RectifyFrameSize.width, RectifyFrameSize.height);
        std::printf("matcher            %s\n", Algorithm == 0 ? "semi-global" : Algorithm == 1 ? "block" : "none");
        std::printf("depth mode         %d (%s)\n", Depthmode, Depthmode == 2 ? "perspective" : "longitude-latitude");
        std::printf("field of view      %.1f degrees\n", hFov);
        std::printf("point cloud radius %d pixels\n", Threshold);
        std::printf("stream             mode %d, %.1f fps, receiver last octet %d\n", m_transmode, m_transrate, IpLastSegment);
        std::printf("serial number      %d\n", getSerialNumber());
        std::printf("position number    %d\n", getPosNumber());
        std::vector<cv::Mat> left;
        if (getCalibParams(left, false) && !left[0].empty() && !left[2].empty())
            std::printf("left eye           fx %.2f fy %.2f cx %.2f cy %.2f xi %.3f\n",
                        left[0].at<double>(0, 0), left[0].at<double>(1, 1), left[0].at<double>(0, 2),
                        left[0].at<double>(1, 2), left[2].at<double>(0, 0));
        if (!left[4].empty())
            std::printf("baseline           %.2f mm\n", cv::norm(left[4]));
    }
};

} // namespace

int main(int argc, char** argv)
{
    Options options;
    if (!parse(argc, argv, options)) {
        usage(argv[0]);
        return 2;
    }
    SettingsReport camera(options.config);
    if (!camera.isOpened())
        std::printf("No module is open on video device %d; working on the files only.\n",
                    camera.getDeviceNode());
    if (!camera.loadCalibParams(options.calibration)) {
        std::fprintf(stderr, "Cannot load the calibration file %s\n", options.calibration.c_str());
        return 1;
    }
    camera.print();

    if (mkdir(options.outDir.c_str(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "Cannot create %s: %s\n", options.outDir.c_str(), std::strerror(errno));
        return 1;
    }
    const std::string config = options.outDir + "/config.yml";
    const std::string calibration = options.outDir + "/calibration.yml";
    if (!camera.saveConfig(config) || !camera.saveCalibParams(calibration))
        return 1;
    std::printf("Wrote %s and %s\n", config.c_str(), calibration.c_str());
    return 0;
}
