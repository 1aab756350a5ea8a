#include "camera/calibration/CalibrationFile.h"

#include <cmath>

#include <opencv2/ccalib/omnidir.hpp>

#include "camera/ModuleFrameSize.h"

namespace korvane::calibration {

namespace {

// One eye's parameter vector: intrinsic matrix, distortion row, xi,
// rectifying rotation, translation (64-bit floats).
std::vector<cv::Mat> eyeParams(const StereoCalibrator::Eye& eye, double toCalibratedWidth, const cv::Matx33d& rotation,
                               const cv::Vec3d& translation)
{
    cv::Matx33d k = eye.intrinsics;
    for (int r = 0; r < 2; ++r)
        for (int c = 0; c < 3; ++c)
            k(r, c) *= toCalibratedWidth;
    const cv::Vec4d& d = eye.distortion;
    return {cv::Mat(k, true), (cv::Mat_<double>(1, 4) << d[0], d[1], d[2], d[3]), (cv::Mat_<double>(1, 1) << eye.xi),
            cv::Mat(rotation, true), (cv::Mat_<double>(1, 3) << translation[0], translation[1], translation[2])};
}

void rectifyingRotations(const StereoCalibrator::Result& result, cv::Matx33d& left, cv::Matx33d& right)
{
    cv::Mat r1, r2;
    cv::omnidir::stereoRectify(cv::Mat(result.rotation), cv::Mat(result.translation), r1, r2);
    left = cv::Matx33d(r1);
    right = cv::Matx33d(r2);
}

// Unit-less perspective coordinates of pixels after an eye's rectifying
// rotation.
std::vector<cv::Vec2d> rectified(const std::vector<cv::Point2f>& pixels, const StereoCalibrator::Eye& eye,
                                 const cv::Matx33d& rotation)
{
    cv::Mat in(1, static_cast<int>(pixels.size()), CV_64FC2);
    for (size_t i = 0; i < pixels.size(); ++i)
        in.at<cv::Vec2d>(0, static_cast<int>(i)) = cv::Vec2d(pixels[i].x, pixels[i].y);
    cv::Mat out;
    cv::omnidir::undistortPoints(in, out, cv::Mat(eye.intrinsics), cv::Mat(eye.distortion),
                                 cv::Mat(cv::Mat_<double>(1, 1) << eye.xi), cv::Mat(rotation));
    return std::vector<cv::Vec2d>(out.begin<cv::Vec2d>(), out.end<cv::Vec2d>());
}

} // namespace

CalibrationFormat::Contents CalibrationFile::contents(const StereoCalibrator::Result& result, cv::Size rawSize,
                                                      const Numbers& numbers)
{
    const double toCalibratedWidth = static_cast<double>(kCalibratedRawWidth) / rawSize.width;
    cv::Matx33d left, right;
    rectifyingRotations(result, left, right);
    return {eyeParams(result.left, toCalibratedWidth, left, result.translation),
            eyeParams(result.right, toCalibratedWidth, right, result.translation), numbers.serialNumber,
            numbers.positionNumber, numbers.rectifiedSize};
}

bool CalibrationFile::write(const std::string& path, const StereoCalibrator::Result& result, cv::Size rawSize,
                            const Numbers& numbers)
{
    return result.ok && rawSize.width > 0 && CalibrationFormat::write(path, contents(result, rawSize, numbers));
}

std::vector<double> CalibrationFile::epipolarErrors(const StereoCalibrator::Result& result,
                                                    const std::vector<TargetDetector::PairCorners>& views,
                                                    cv::Size rectifiedSize, double hFovDegrees)
{
    const double focal = rectifiedSize.width / 2.0 / std::tan(hFovDegrees * CV_PI / 360.0);
    cv::Matx33d leftRotation, rightRotation;
    rectifyingRotations(result, leftRotation, rightRotation);
    std::vector<double> errors;
    for (size_t v = 0; v < views.size(); ++v) {
        if (v >= result.viewErrors.size() || result.viewErrors[v] < 0.0)
            continue;
        const std::vector<cv::Vec2d> l = rectified(views[v].left, result.left, leftRotation);
        const std::vector<cv::Vec2d> r = rectified(views[v].right, result.right, rightRotation);
        const cv::Rect2d view(0.0, 0.0, rectifiedSize.width, rectifiedSize.height);
        const cv::Point2d centre(rectifiedSize.width / 2.0 - 0.5, rectifiedSize.height / 2.0 - 0.5);
        for (size_t i = 0; i < l.size(); ++i) {
            const cv::Point2d left = centre + cv::Point2d(l[i][0], l[i][1]) * focal;
            const cv::Point2d right = centre + cv::Point2d(r[i][0], r[i][1]) * focal;
            if (view.contains(left) && view.contains(right))
                errors.push_back(std::abs(left.y - right.y));
        }
    }
    return errors;
}

} // namespace korvane::calibration
