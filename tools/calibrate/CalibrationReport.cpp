#include "CalibrationReport.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <sstream>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "camera/FisheyeRectify.h"
#include "camera/StereoRectifier.h"
#include "camera/calibration/CalibrationFile.h"
#include "CoverageMap.h"

namespace {

using korvane::calibration::StereoCalibrator;

double percentile(std::vector<double> values, double fraction)
{
    if (values.empty())
        return 0.0;
    std::sort(values.begin(), values.end());
    return values[static_cast<size_t>(fraction * (values.size() - 1))];
}

std::string fixed(double value, int decimals)
{
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

korvane::StereoRectifier::Eye rectifierEye(const StereoCalibrator::Eye& eye, const cv::Mat& rotation)
{
    const cv::Vec4d& d = eye.distortion;
    return {cv::Mat(eye.intrinsics, true), (cv::Mat_<double>(1, 4) << d[0], d[1], d[2], d[3]), rotation, eye.xi};
}

} // namespace

CalibrationReport::CalibrationReport(Input input) : m_in(std::move(input))
{
    const std::vector<double> errors = korvane::calibration::CalibrationFile::epipolarErrors(
        m_in.result, m_in.views, kRectifiedSize, kFieldOfView);
    m_epipolarMedian = percentile(errors, 0.5);
    m_epipolar95 = percentile(errors, 0.95);
}

std::string CalibrationReport::summary() const
{
    const StereoCalibrator::Result& r = m_in.result;
    std::ostringstream out;
    out << "korvane-calibrate report\n"
        << "target: " << m_in.target << "\n"
        << "source: " << m_in.source << ", frames of " << m_in.rawSize.width << "x" << m_in.rawSize.height
        << " (the calibration file is stated for the 1856-pixel raw width)\n"
        << "views with the target in both eyes: " << m_in.views.size() << " of "
        << m_in.views.size() + m_in.missed.size() << " frames\n";
    for (const std::string& missed : m_in.missed)
        out << "  not used: " << missed << "\n";
    const auto names = [&](const std::vector<int>& views) {
        std::string list;
        for (int v : views)
            list += (list.empty() ? "" : ", ") + m_in.viewNames[static_cast<size_t>(v)];
        return list.empty() ? std::string("none") : list;
    };
    out << "dropped views (error far above the others'): " << names(r.dropped) << "\n"
        << "views the calibration could not use: " << names(r.rejected) << "\n";
    if (!r.ok) {
        out << "no calibration: " << r.error << "\n";
        return out.str();
    }
    CoverageMap left(r.eyeSize), right(r.eyeSize);
    for (const auto& view : m_in.views) {
        left.add(view.left);
        right.add(view.right);
    }
    out << "RMS reprojection error: left " << fixed(r.left.rms, 3) << " px, right " << fixed(r.right.rms, 3)
        << " px, pair " << fixed(r.pairRms, 3) << " px\n"
        << "rectified epipolar error (" << kRectifiedSize.width << "x" << kRectifiedSize.height << ", hFov "
        << kFieldOfView << "): median " << fixed(m_epipolarMedian, 3) << " px, 95th percentile "
        << fixed(m_epipolar95, 3) << " px\n"
        << "baseline: " << fixed(cv::norm(r.translation), 2) << " mm\n"
        << "coverage of the fisheye circle: left " << fixed(100.0 * left.fraction(), 0) << " %, right "
        << fixed(100.0 * right.fraction(), 0) << " %\n"
        << "per-view RMS error (px):\n";
    for (size_t v = 0; v < m_in.views.size(); ++v) {
        const bool dropped = std::find(r.dropped.begin(), r.dropped.end(), static_cast<int>(v)) != r.dropped.end();
        out << "  " << m_in.viewNames[v] << ": "
            << (dropped ? std::string("dropped") : r.viewErrors[v] < 0.0 ? std::string("not used") : fixed(r.viewErrors[v], 3))
            << "\n";
    }
    return out.str();
}

cv::Mat CalibrationReport::coverage(bool right) const
{
    const StereoCalibrator::Result& r = m_in.result;
    CoverageMap map(r.eyeSize);
    std::vector<std::vector<cv::Point2f>> used, dropped;
    for (size_t v = 0; v < m_in.views.size(); ++v) {
        const auto& corners = right ? m_in.views[v].right : m_in.views[v].left;
        const bool isDropped = std::find(r.dropped.begin(), r.dropped.end(), static_cast<int>(v)) != r.dropped.end();
        (isDropped ? dropped : used).push_back(corners);
        if (!isDropped)
            map.add(corners);
    }
    return map.image(used, dropped);
}

cv::Mat CalibrationReport::rectifiedPreview(const cv::Mat& frame) const
{
    const StereoCalibrator::Result& r = m_in.result;
    const korvane::CalibrationFormat::Contents file =
        korvane::calibration::CalibrationFile::contents(r, m_in.rawSize, {});
    korvane::StereoRectifier rectifier;
    rectifier.build(rectifierEye(r.left, file.left[3]), rectifierEye(r.right, file.right[3]),
                    korvane::perspectiveCameraMatrix(kRectifiedSize, kFieldOfView),
                    korvane::lonLatCameraMatrix(kRectifiedSize, 180.0, 222.0), kRectifiedSize);
    const int half = frame.cols / 2;
    cv::Mat preview;
    cv::hconcat(rectifier.rectify(frame(cv::Rect(0, 0, half, frame.rows)), korvane::StereoRectifier::kPerspective, 0),
                rectifier.rectify(frame(cv::Rect(half, 0, half, frame.rows)), korvane::StereoRectifier::kPerspective, 1),
                preview);
    for (int y = 20; y < preview.rows; y += 24)
        cv::line(preview, {0, y}, {preview.cols - 1, y}, cv::Scalar(0, 220, 255), 1);
    return preview;
}

namespace {

bool writeText(const std::filesystem::path& path, const std::string& text, std::string& error)
{
    FILE* file = std::fopen(path.c_str(), "w");
    if (file == nullptr) {
        error = "cannot write the report into " + path.parent_path().string();
        return false;
    }
    const bool wrote = std::fwrite(text.data(), 1, text.size(), file) == text.size();
    if (std::fclose(file) != 0 || !wrote) {
        error = "cannot write " + path.string();
        return false;
    }
    return true;
}

std::string escapedHtml(const std::string& text)
{
    std::string out;
    for (char c : text)
        out += c == '<' ? "&lt;" : c == '>' ? "&gt;" : c == '&' ? "&amp;" : std::string(1, c);
    return out;
}

} // namespace

std::string CalibrationReport::html(bool withPictures) const
{
    std::string page = "<!DOCTYPE html>\n<html><head><meta charset=\"utf-8\"><title>Calibration report</title>"
                       "</head>\n<body>\n<h1>Calibration report</h1>\n<pre>" +
                       escapedHtml(summary()) + "</pre>\n";
    if (withPictures)
        page += "<h2>Coverage of each eye</h2>\n<p><img src=\"coverage_left.png\" alt=\"left eye coverage\"> "
                "<img src=\"coverage_right.png\" alt=\"right eye coverage\"></p>\n"
                "<h2>Rectified preview</h2>\n<p><img src=\"rectified.png\" alt=\"rectified preview\"></p>\n";
    return page + "</body></html>\n";
}

bool CalibrationReport::write(const std::string& directory, const cv::Mat& previewFrame, std::string& error) const
{
    std::error_code ec;
    std::filesystem::create_directories(directory, ec);
    const std::filesystem::path dir(directory);
    const bool pictures = m_in.result.ok;
    if (!writeText(dir / "summary.txt", summary(), error) || !writeText(dir / "summary.html", html(pictures), error))
        return false;
    if (!pictures)
        return true;
    if (!cv::imwrite((dir / "coverage_left.png").string(), coverage(false)) ||
        !cv::imwrite((dir / "coverage_right.png").string(), coverage(true)) ||
        (!previewFrame.empty() && !cv::imwrite((dir / "rectified.png").string(), rectifiedPreview(previewFrame)))) {
        error = "cannot write the report's pictures into " + directory;
        return false;
    }
    return true;
}
