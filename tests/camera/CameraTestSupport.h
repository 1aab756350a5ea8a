#ifndef KORVANE_TESTS_CAMERATESTSUPPORT_H
#define KORVANE_TESTS_CAMERATESTSUPPORT_H

#include <functional>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "camera/StereoCamera.h"

namespace korvane::test {

// A video device number that no machine here has: constructing on it is
// quick and leaves the camera closed.
constexpr int kAbsentDevice = 97;

// Opens the stereo camera's protected fields to the tests.
class Probe : public StereoCamera
{
public:
    using StereoCamera::StereoCamera;
    using StereoCamera::Algorithm; // values the setter refuses, as a configuration file may hold
    using StereoCamera::DeviceNode;
    using StereoCamera::FrameSize;
    using StereoCamera::IpLastSegment;
    using StereoCamera::LeftDistortionCoefficients;
    using StereoCamera::LeftIntrinsicMatrix;
    using StereoCamera::LeftRotation;
    using StereoCamera::LeftXi;
    using StereoCamera::LogLevel;
    using StereoCamera::RightDistortionCoefficients;
    using StereoCamera::RightIntrinsicMatrix;
    using StereoCamera::RightRotation;
    using StereoCamera::RightXi;
    using StereoCamera::Threshold;
    using StereoCamera::Translation;
    using StereoCamera::m_capture;
    using StereoCamera::m_computeRunning;
    using StereoCamera::m_defaultFov;
    using StereoCamera::m_fisheyeRadius;
    using StereoCamera::m_frameRate;
    using StereoCamera::m_log;
    using StereoCamera::m_logName;
    using StereoCamera::m_lonLatDivisor;
    using StereoCamera::m_maxDepth;
    using StereoCamera::m_minDepth;
    using StereoCamera::m_opened;
    using StereoCamera::m_panoramicAngle;
    using StereoCamera::m_posNumber;
    using StereoCamera::m_rectifyCameraMatrix;
    using StereoCamera::m_serialNumber;
    using StereoCamera::m_shareMemory;
    using StereoCamera::m_transmit;
    using StereoCamera::m_transmode;
    using StereoCamera::m_transrate;
};

// One matrix node of an OpenCV YAML file, "key: !!opencv-matrix ...".
std::string yamlMatrix(const std::string& key, int rows, int cols, const std::vector<double>& data);
// A whole YAML file from matrix nodes.
std::string yamlFile(const std::vector<std::string>& nodes);

// A complete, plausible calibration of both eyes, written as a file.
std::string sampleCalibrationYaml();

// The top-level keys of a file storage, in file order.
std::vector<std::string> topLevelKeys(const std::string& fileName);

// True when both matrices have the same size and type and equal elements.
bool sameMatrix(const cv::Mat& a, const cv::Mat& b);

// Runs `f` without permission to read other users' files: in a child process
// that drops root to an unprivileged user when the tests run as root.
// Returns f's result.
bool runUnprivileged(const std::function<bool()>& f);

} // namespace korvane::test

#endif
