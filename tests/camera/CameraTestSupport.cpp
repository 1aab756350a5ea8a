#include "CameraTestSupport.h"

#include <sstream>
#include <unistd.h>

#include <opencv2/core/utils/logger.hpp>

#include "support/ChildProcess.h"

namespace korvane::test {

namespace {
// The library's own diagnostics would mix with the messages under test.
const bool kQuietOpenCv = [] {
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
#if defined(__SANITIZE_THREAD__)
    // The library's thread pool is not instrumented, so the race checker
    // cannot see its synchronisation: its parallel loops run on the calling
    // thread instead. The kit's own threads still run as always.
    cv::setNumThreads(1);
#endif
    return true;
}();
} // namespace

std::string yamlMatrix(const std::string& key, int rows, int cols, const std::vector<double>& data)
{
    std::ostringstream out;
    out.precision(17);
    out << key << ": !!opencv-matrix\n   rows: " << rows << "\n   cols: " << cols
        << "\n   dt: d\n   data: [ ";
    for (size_t i = 0; i < data.size(); ++i)
        out << (i ? ", " : "") << data[i];
    out << " ]\n";
    return out.str();
}

std::string yamlFile(const std::vector<std::string>& nodes)
{
    std::string text = "%YAML:1.0\n---\n";
    for (const auto& node : nodes)
        text += node;
    return text;
}

std::string sampleCalibrationYaml()
{
    return yamlFile({
        yamlMatrix("SerialNumber", 1, 1, {1001}),
        yamlMatrix("PositonNumber", 1, 1, {3}),
        yamlMatrix("LeftXi", 1, 1, {1.21}),
        yamlMatrix("LeftIntrinsicMatrix", 3, 3, {483.5, 0.1, 463.2, 0, 482.9, 401.7, 0, 0, 1}),
        yamlMatrix("LeftDistortionCoefficients", 1, 4, {-0.051, 0.012, 0.0004, -0.0003}),
        yamlMatrix("LeftRotation", 3, 3, {0.9999, -0.0100, 0.0050, 0.0100, 0.9999, 0.0020, -0.0050, -0.0020, 1.0}),
        yamlMatrix("RightXi", 1, 1, {1.19}),
        yamlMatrix("RightIntrinsicMatrix", 3, 3, {481.2, -0.2, 465.0, 0, 480.8, 398.9, 0, 0, 1}),
        yamlMatrix("RightDistortionCoefficients", 1, 4, {-0.049, 0.011, -0.0002, 0.0001}),
        yamlMatrix("Translation", 1, 3, {-120.4, 0.35, -0.12}),
        yamlMatrix("RightRotation", 3, 3, {0.9998, 0.0120, -0.0040, -0.0120, 0.9998, 0.0010, 0.0040, -0.0010, 1.0}),
    });
}

std::vector<std::string> topLevelKeys(const std::string& fileName)
{
    cv::FileStorage fs(fileName, cv::FileStorage::READ);
    std::vector<std::string> keys;
    for (const cv::FileNode node : fs.root())
        keys.push_back(node.name());
    return keys;
}

bool sameMatrix(const cv::Mat& a, const cv::Mat& b)
{
    if (a.size() != b.size() || a.type() != b.type())
        return false;
    return a.empty() || cv::norm(a, b, cv::NORM_INF) == 0.0;
}

bool runUnprivileged(const std::function<bool()>& f)
{
    if (geteuid() != 0)
        return f();
    ChildProcess child([&] {
        const uid_t nobody = 65534;
        if (setgid(nobody) != 0 || setuid(nobody) != 0)
            _exit(3);
        _exit(f() ? 0 : 1);
    });
    return child.finish(std::chrono::seconds(60)) == 0;
}

} // namespace korvane::test
