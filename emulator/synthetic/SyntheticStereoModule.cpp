#include "emulator/synthetic/SyntheticStereoModule.h"

#include <cmath>

namespace korvane::synthetic {

namespace {

cv::Vec3b toPixel(const cv::Vec3d& colour)
{
    return {cv::saturate_cast<uchar>(colour[0]), cv::saturate_cast<uchar>(colour[1]),
            cv::saturate_cast<uchar>(colour[2])};
}

} // namespace

SyntheticStereoModule::SyntheticStereoModule(cv::Size rawSize, const SyntheticScene& scene)
    : SyntheticStereoModule(rawSize)
{
    m_scene = scene;
}

SyntheticStereoModule::SyntheticStereoModule(cv::Size rawSize) : m_rawSize(rawSize)
{
}

double SyntheticStereoModule::scale() const
{
    return static_cast<float>(m_rawSize.width) / static_cast<float>(kCalibratedRawWidth);
}

cv::Mat SyntheticStereoModule::renderEye(int frameIndex, bool right) const
{
    const UnifiedEye& eye = m_rig.eye(right);
    const double t = timeOf(frameIndex);
    const double s = scale();
    cv::Mat image(m_rawSize.height, m_rawSize.width / 2, CV_8UC3, cv::Scalar::all(0));
    cv::parallel_for_(cv::Range(0, image.rows), [&](const cv::Range& rows) {
        for (int i = rows.start; i < rows.end; ++i) {
            auto* row = image.ptr<cv::Vec3b>(i);
            for (int j = 0; j < image.cols; ++j) {
                cv::Vec3d direction;
                cv::Vec3d colour;
                double distance = 0.0;
                if (eye.pixelRay({static_cast<double>(j), static_cast<double>(i)}, s, direction) &&
                    m_scene.trace(eye.centre(), direction, t, colour, distance))
                    row[j] = toPixel(colour);
            }
        }
    });
    return image;
}

cv::Mat SyntheticStereoModule::renderFrame(int frameIndex) const
{
    cv::Mat frame;
    cv::hconcat(renderEye(frameIndex, false), renderEye(frameIndex, true), frame);
    return frame;
}

cv::Matx33d SyntheticStereoModule::perspectiveMatrix(cv::Size rectifiedSize, double hFovDegrees)
{
    const double f = rectifiedSize.width / 2.0 / std::tan(hFovDegrees * CV_PI / 360.0);
    return {f, 0.0, rectifiedSize.width / 2.0 - 0.5, 0.0, f, rectifiedSize.height / 2.0 - 0.5, 0.0, 0.0, 1.0};
}

cv::Mat SyntheticStereoModule::renderDepth(int frameIndex, cv::Size rectifiedSize, double hFovDegrees,
                                           const cv::Matx33d& viewFromRig) const
{
    const cv::Matx33d rigFromView = viewFromRig.t();
    const cv::Matx33d p = perspectiveMatrix(rectifiedSize, hFovDegrees);
    const cv::Vec3d origin = m_rig.eye(false).centre();
    const double t = timeOf(frameIndex);
    cv::Mat depth(rectifiedSize, CV_32FC1, cv::Scalar::all(0));
    cv::parallel_for_(cv::Range(0, depth.rows), [&](const cv::Range& rows) {
        for (int i = rows.start; i < rows.end; ++i) {
            auto* row = depth.ptr<float>(i);
            for (int j = 0; j < depth.cols; ++j) {
                const cv::Vec3d ray((j - p(0, 2)) / p(0, 0), (i - p(1, 2)) / p(1, 1), 1.0);
                const double length = cv::norm(ray);
                cv::Vec3d colour;
                double distance = 0.0;
                if (m_scene.trace(origin, rigFromView * ray / length, t, colour, distance))
                    row[j] = static_cast<float>(distance / length);
            }
        }
    });
    return depth;
}

cv::Point2d SyntheticStereoModule::rectifiedPixel(const cv::Vec3d& point, bool right,
                                                  cv::Size rectifiedSize, double hFovDegrees) const
{
    const cv::Vec3d q = perspectiveMatrix(rectifiedSize, hFovDegrees) * (point - m_rig.eye(right).centre());
    return {q[0] / q[2], q[1] / q[2]};
}

bool SyntheticStereoModule::visibleFrom(const cv::Vec3d& point, bool right, double t) const
{
    const cv::Vec3d origin = m_rig.eye(right).centre();
    const double length = cv::norm(point - origin);
    cv::Vec3d colour;
    double distance = 0.0;
    return m_scene.trace(origin, (point - origin) / length, t, colour, distance) &&
           std::abs(distance - length) < 1e-6 * length;
}

} // namespace korvane::synthetic
