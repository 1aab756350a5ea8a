#include "emulator/synthetic/SyntheticTarget.h"

#include <opencv2/imgproc.hpp>

#include "emulator/synthetic/SyntheticStereoModule.h"

namespace korvane::synthetic {

namespace {

// Softening of the print's edges: a fraction of a pixel at the distances
// targets are held, so corners stay sharp saddles without aliasing.
constexpr double kEdgeWidth = 0.0006;

} // namespace

SyntheticTarget::SyntheticTarget(const cv::Mat& print, double metresPerPixel, std::vector<cv::Point2d> corners)
    : m_print(print), m_metresPerPixel(metresPerPixel), m_corners(std::move(corners))
{
    const cv::Point2d centre(print.cols * metresPerPixel / 2.0, print.rows * metresPerPixel / 2.0);
    for (cv::Point2d& corner : m_corners)
        corner -= centre;
}

SceneObject SyntheticTarget::object(const TargetPose& pose) const
{
    return SceneObject::panel(pose.centre(), pose.across(), pose.down(), m_print.cols * m_metresPerPixel / 2.0,
                              m_print.rows * m_metresPerPixel / 2.0,
                              ProceduralTexture::print(m_print, m_metresPerPixel, kEdgeWidth));
}

std::vector<cv::Vec3d> SyntheticTarget::cornerPoints(const TargetPose& pose) const
{
    std::vector<cv::Vec3d> points;
    for (const cv::Point2d& corner : m_corners)
        points.push_back(pose.point(corner.x, corner.y));
    return points;
}

cv::Mat SyntheticTarget::render(const TargetPose& pose, cv::Size rawSize) const
{
    return SyntheticStereoModule(rawSize, SyntheticScene::withObject(object(pose))).renderFrame(0);
}

std::vector<cv::Point2d> SyntheticTarget::cornerPixels(const TargetPose& pose, cv::Size rawSize, bool right,
                                                       std::vector<bool>& seen) const
{
    const SyntheticStereoModule module(rawSize);
    const UnifiedEye& eye = module.rig().eye(right);
    const double scale = module.scale();
    const cv::Rect half(0, 0, rawSize.width / 2, rawSize.height);
    std::vector<cv::Point2d> pixels;
    seen.clear();
    for (const cv::Vec3d& point : cornerPoints(pose)) {
        cv::Point2d pixel(-1.0, -1.0);
        const bool printedSide = (point - eye.centre()).dot(pose.normal()) > 0.0;
        const bool projected = eye.project(point, scale, pixel);
        seen.push_back(printedSide && projected && half.contains(pixel));
        pixels.push_back(pixel);
    }
    return pixels;
}

void SyntheticTarget::degrade(cv::Mat& frame, double blurSigma, double noiseSigma, std::uint64_t seed)
{
    if (blurSigma > 0.0)
        cv::GaussianBlur(frame, frame, cv::Size(), blurSigma, blurSigma);
    if (noiseSigma > 0.0) {
        cv::Mat noise(frame.size(), CV_32FC(frame.channels()));
        cv::RNG rng(seed);
        rng.fill(noise, cv::RNG::NORMAL, 0.0, noiseSigma);
        cv::Mat noisy;
        frame.convertTo(noisy, CV_32F);
        noisy += noise;
        noisy.convertTo(frame, frame.type());
    }
}

} // namespace korvane::synthetic
