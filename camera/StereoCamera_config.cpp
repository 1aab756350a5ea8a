// Configuration file: loading and saving the camera's settings.
#include "StereoCamera.h"

#include "StreamPipeline.h"

#include "ModuleFrameSize.h"

#include <array>
#include <cmath>
#include <iostream>
#include <new>

#include "MatrixFileValues.h"
#include "StorageText.h"

namespace {

using korvane::NodeStatus;

// The keys loadConfig reads, in reading order.
enum ConfigKey {
    kLogLevel, kDeviceNode, kFrameSize, kRectifyFrameSize, kFrameRate, kThreshold,
    kAlgorithm, kIpLastSegment, kHFov, kTransrate, kTransmode, kDepthmode, kKeyCount
};

const std::array<const char*, kKeyCount> kKeyNames = {
    "LogLevel", "DeviceNode", "FrameSize", "RectifyFrameSize", "FrameRate", "Threshold",
    "Algorithm", "IpLastSegment", "hFov", "Transrate", "Transmode", "Depthmode"};

// Checked values of the keys that are present in the file.
struct ConfigValues
{
    std::array<bool, kKeyCount> present{};
    std::array<int, kKeyCount> integer{};   // integer keys, truncated
    cv::Size frameSize;
    cv::Size rectifyFrameSize;
    double hFov = 0.0;
    double transrate = 0.0;
};

bool isIntegerKey(int key)
{
    return key == kLogLevel || key == kDeviceNode || key == kThreshold || key == kAlgorithm ||
           key == kIpLastSegment || key == kTransmode || key == kDepthmode || key == kFrameRate;
}

bool readSize(const cv::Mat& m, cv::Size& size)
{
    return korvane::elementToInt(m, 0, size.width) && korvane::elementToInt(m, 1, size.height);
}

// Reads and checks every key; false (with the reason in `why`) when a present
// key does not hold a value of the expected form.
bool readConfigValues(cv::FileStorage& fs, ConfigValues& values, std::string& why)
{
    for (int key = 0; key < kKeyCount; ++key) {
        cv::Mat m;
        std::string reason;
        const NodeStatus status = korvane::readMatrixNode(fs[kKeyNames[key]], m, reason);
        if (status == NodeStatus::Absent)
            continue;
        bool ok = status == NodeStatus::Present;
        if (ok && isIntegerKey(key))
            ok = korvane::elementToInt(m, 0, values.integer[key]);
        if (ok && key == kFrameSize)
            ok = readSize(m, values.frameSize);
        if (ok && key == kRectifyFrameSize)
            ok = readSize(m, values.rectifyFrameSize);
        if (ok && (key == kHFov || key == kTransrate))
            ok = korvane::elementToDouble(m, 0, key == kHFov ? values.hFov : values.transrate);
        if (!ok) {
            why = std::string("key ") + kKeyNames[key] + ": " +
                  (reason.empty() ? "value is not a finite number in range" : reason);
            return false;
        }
        values.present[key] = true;
    }
    return true;
}

} // namespace

bool StereoCamera::loadConfig(std::string fileName)
{
    if (korvane::inspectStorageFile(fileName) == korvane::StorageText::Refused) {
        std::cerr << "Read A NULL File," << fileName << " not loaded!" << std::endl;
        return false;
    }
    try {
        std::unique_ptr<cv::FileStorage> fs(
            new (std::nothrow) cv::FileStorage(fileName, cv::FileStorage::READ));
        if (!fs || !fs->isOpened()) {
            std::cerr << "Read File: " << fileName << " Error!" << std::endl;
            return false;
        }
        ConfigValues v;
        std::string why;
        if (!readConfigValues(*fs, v, why)) {
            std::cerr << "Read A NULL File," << fileName << " not loaded!" << std::endl;
            std::cerr << "Bad configuration file " << fileName << ", " << why << std::endl;
            return false;
        }

        LogLevel = v.present[kLogLevel] ? v.integer[kLogLevel] : 1;
        if (v.present[kThreshold])
            Threshold = v.integer[kThreshold];
        if (v.present[kAlgorithm])
            Algorithm = v.integer[kAlgorithm];
        if (!v.present[kDeviceNode]) {
            std::cerr << "Invalid deviceNode!" << std::endl;
            fs->release();
            return false;
        }
        DeviceNode = v.integer[kDeviceNode];
        const cv::Size raw = v.present[kFrameSize] ? v.frameSize : korvane::kFullModuleFrame;
        {
            korvane::GuardedMutex::Lock lock(m_settingsMutex);
            FrameSize = raw;
        }
        // Deliberately the rectified height of the object itself, not the raw one.
        RectifyFrameSize = v.present[kRectifyFrameSize]
                               ? v.rectifyFrameSize
                               : cv::Size(raw.width >> 2, RectifyFrameSize.height >> 1);
        m_frameRate = v.present[kFrameRate] ? static_cast<float>(v.integer[kFrameRate]) : 30.0f;
        if (v.present[kIpLastSegment])
            IpLastSegment = v.integer[kIpLastSegment];
        if (v.present[kTransrate]) {
            m_transrate = v.transrate;
            if (m_transrate > m_frameRate) {
                std::cerr << "m_transrate must be set to lower than m_frameRate (default m_frameRate) "
                          << std::endl;
                m_transrate = m_frameRate;
            }
        }
        if (v.present[kTransmode]) {
            m_transmode = v.integer[kTransmode];
            if (m_transmode < korvane::stream::kSendNothing || m_transmode > korvane::stream::kLastTransmissionMode) {
                std::cerr << "m_transmode must be set to -1~4 (default -1) " << std::endl;
                m_transmode = korvane::stream::kSendNothing;
            }
        }
        if (v.present[kHFov]) {
            hFov = v.hFov;
            if (hFov > kMaxFieldOfView || hFov < kMinFieldOfView) {
                std::cerr << "fov=" << hFov << " must be set to 60 ~ 140（Angle） (default 90)"
                          << std::endl;
                hFov = m_defaultFov;
            }
        } else {
            hFov = m_defaultFov;
        }
        if (v.present[kDepthmode]) {
            Depthmode = v.integer[kDepthmode];
            if (Depthmode != kLonLatView && Depthmode != kPerspectiveView) {
                // The message names m_transmode although it is about Depthmode; kept as is.
                std::cerr << "m_transmode must be set to 1 or 2 (default 1) " << std::endl;
                Depthmode = kLonLatView;
            }
        }
        loadReceiverNetwork((*fs)["ReceiverNetwork"]);
        loadPairsInFlight((*fs)["PairsInFlight"]);
        fs->release();
        return true;
    } catch (const std::exception&) {
        std::cerr << "Read A NULL File," << fileName << " not loaded!" << std::endl;
        return false;
    }
}

// Optional: the stream receiver's network prefix, a string such as "10.0.0.".
void StereoCamera::loadReceiverNetwork(const cv::FileNode& node)
{
    if (node.empty() || node.isNone())
        return;
    if (!node.isString() || !setReceiverNetwork(static_cast<std::string>(node)))
        std::cerr << "ReceiverNetwork must be three octets each followed by a dot (default "
                  << getReceiverNetwork() << ") " << std::endl;
}

// Optional: how many pairs the disparity worker matches at once, a number
// (plain or as a 1 x 1 matrix) from 1 to kMaxPairsInFlight.
void StereoCamera::loadPairsInFlight(const cv::FileNode& node)
{
    if (node.empty() || node.isNone())
        return;
    int pairs = 0;
    bool ok = false;
    if (node.isInt() || node.isReal()) {
        const double v = static_cast<double>(node);
        ok = std::isfinite(v) && v >= 1 && v <= kMaxPairsInFlight;
        pairs = ok ? static_cast<int>(v) : 0;
    } else {
        cv::Mat m;
        std::string reason;
        ok = korvane::readMatrixNode(node, m, reason) == NodeStatus::Present && m.total() == 1 &&
             korvane::elementToInt(m, 0, pairs);
    }
    if (!ok || !setPairsInFlight(pairs))
        std::cerr << "PairsInFlight must be set to 1~" << kMaxPairsInFlight << " (default "
                  << defaultPairsInFlight() << ") " << std::endl;
}

bool StereoCamera::saveConfig(std::string fileName)
{
    try {
        std::unique_ptr<cv::FileStorage> fs(
            new (std::nothrow) cv::FileStorage(fileName, cv::FileStorage::WRITE));
        if (!fs || !fs->isOpened()) {
            std::cerr << "Save File: " << fileName << " Error!" << std::endl;
            return false;
        }
        *fs << "LogLevel" << korvane::scalarMatrix(LogLevel);
        *fs << "DeviceNode" << korvane::scalarMatrix(DeviceNode);
        *fs << "FrameSize" << korvane::sizeMatrix(rawFrameSize());
        *fs << "RectifyFrameSize" << korvane::sizeMatrix(RectifyFrameSize);
        // The serial number goes under FrameRate; loading reads it back as the rate.
        *fs << "FrameRate" << korvane::scalarMatrix(m_serialNumber);
        *fs << "Threshold" << korvane::scalarMatrix(Threshold);
        *fs << "Algorithm" << korvane::scalarMatrix(Algorithm);
        *fs << "IpLastSegment" << korvane::scalarMatrix(IpLastSegment);
        *fs << "Reserved" << cv::Mat(cv::Mat::eye(3, 3, CV_64F));
        korvane::syncFileSystem();
        fs->release();
        fs.reset();
        korvane::syncFileSystem();
        return true;
    } catch (const std::exception&) {
        std::cerr << "Save File: " << fileName << " Error!" << std::endl;
        return false;
    }
}
