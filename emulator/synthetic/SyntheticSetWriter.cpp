#include "emulator/synthetic/SyntheticSetWriter.h"

#include <cstdio>
#include <filesystem>
#include <system_error>

#include <opencv2/imgcodecs.hpp>

#include "emulator/synthetic/SyntheticStereoModule.h"

namespace korvane::synthetic {

namespace {

cv::Mat number(double value)
{
    return (cv::Mat_<double>(1, 1) << value);
}

cv::Mat sizeValue(cv::Size size)
{
    return (cv::Mat_<double>(1, 2) << size.width, size.height);
}

std::string numbered(const std::string& directory, const char* pattern, int index)
{
    char name[64];
    std::snprintf(name, sizeof name, pattern, index);
    return directory + "/" + name;
}

} // namespace

SyntheticSetWriter::SyntheticSetWriter(const Options& options) : m_options(options)
{
}

bool SyntheticSetWriter::writeConfig(const std::string& path) const
{
    cv::FileStorage fs(path, cv::FileStorage::WRITE);
    if (!fs.isOpened())
        return false;
    fs << "LogLevel" << number(1) << "DeviceNode" << number(0);
    fs << "FrameSize" << sizeValue(m_options.rawSize);
    fs << "RectifyFrameSize" << sizeValue(m_options.rectifiedSize);
    fs << "FrameRate" << number(SyntheticStereoModule::kFrameRate);
    fs << "Threshold" << number(120) << "Algorithm" << number(0) << "IpLastSegment" << number(15);
    fs << "hFov" << number(m_options.hFovDegrees);
    fs << "Transrate" << number(SyntheticStereoModule::kFrameRate) << "Transmode" << number(-1);
    fs << "Depthmode" << number(2);
    fs << "Reserved" << cv::Mat(cv::Mat::eye(3, 3, CV_64F));
    fs.release();
    return true;
}

bool SyntheticSetWriter::writeManifest(const std::string& path, double baselineMetres) const
{
    cv::FileStorage fs(path, cv::FileStorage::WRITE);
    if (!fs.isOpened())
        return false;
    fs << "frames" << "frames/frame_%04d.png";
    fs << "depth" << "depth/depth_%04d.tiff";
    fs << "depthUnit" << "metres along the optical axis of the left perspective view";
    fs << "frameCount" << m_options.frameCount;
    fs << "frameRate" << SyntheticStereoModule::kFrameRate;
    fs << "rawSize" << m_options.rawSize;
    fs << "rectifiedSize" << m_options.rectifiedSize;
    fs << "hFov" << m_options.hFovDegrees;
    fs << "baselineMetres" << baselineMetres;
    fs.release();
    return true;
}

bool SyntheticSetWriter::write(const std::string& directory, std::string& error) const
{
    std::error_code ec;
    std::filesystem::create_directories(directory + "/frames", ec);
    if (!ec)
        std::filesystem::create_directories(directory + "/depth", ec);
    if (ec) {
        error = "cannot create " + directory + ": " + ec.message();
        return false;
    }
    const SyntheticStereoModule module(m_options.rawSize);
    if (!module.rig().writeCalibrationFile(directory + "/calibration.yml", m_options.rectifiedSize) ||
        !writeConfig(directory + "/config.yml") ||
        !writeManifest(directory + "/manifest.yml", module.rig().baselineMetres())) {
        error = "cannot write the settings files in " + directory;
        return false;
    }
    for (int i = 0; i < m_options.frameCount; ++i) {
        const std::string frame = numbered(directory, "frames/frame_%04d.png", i);
        const std::string depth = numbered(directory, "depth/depth_%04d.tiff", i);
        if (!cv::imwrite(frame, module.renderFrame(i)) ||
            !cv::imwrite(depth, module.renderDepth(i, m_options.rectifiedSize, m_options.hFovDegrees))) {
            error = "cannot write frame " + std::to_string(i) + " in " + directory;
            return false;
        }
        if (m_progress)
            m_progress(i + 1);
    }
    return true;
}

} // namespace korvane::synthetic
