#include "emulator/synthetic/SyntheticRig.h"

#include <opencv2/calib3d.hpp>

#include "camera/CalibrationFormat.h"

namespace korvane::synthetic {

namespace {

constexpr double kBaseline = 0.06;     // metres
constexpr double kFieldDegrees = 100.0; // half field of view of each lens

cv::Matx33d rotation(const cv::Vec3d& rodrigues)
{
    cv::Matx33d r;
    cv::Rodrigues(rodrigues, r);
    return r;
}

cv::Mat doubles(const cv::Mat& m)
{
    cv::Mat out;
    m.convertTo(out, CV_64F);
    return out;
}

} // namespace

SyntheticRig::SyntheticRig()
    : m_left(cv::Matx33d(482.0, 0.05, 463.5, 0.0, 481.6, 401.2, 0.0, 0.0, 1.0),
             cv::Vec4d(-0.048, 0.011, 3e-4, -2e-4), 1.18, rotation({0.010, -0.015, 0.004}),
             cv::Vec3d(0.0, 0.0, 0.0), kFieldDegrees),
      m_right(cv::Matx33d(479.5, -0.04, 465.2, 0.0, 479.1, 398.6, 0.0, 0.0, 1.0),
              cv::Vec4d(-0.051, 0.012, -2e-4, 1.5e-4), 1.21, rotation({-0.008, 0.012, -0.006}),
              cv::Vec3d(kBaseline, 0.0, 0.0), kFieldDegrees)
{
}

double SyntheticRig::baselineMetres() const
{
    return cv::norm(m_right.centre() - m_left.centre());
}

// X_right = R_right^T (X_rig - C_right) and X_rig = R_left X_left + C_left,
// so T = R_right^T (C_left - C_right).
cv::Vec3d SyntheticRig::translationMillimetres() const
{
    return m_right.rotation().t() * (m_left.centre() - m_right.centre()) * 1000.0;
}

std::vector<cv::Mat> SyntheticRig::calibParams(bool right) const
{
    const UnifiedEye& e = eye(right);
    const cv::Vec4d& d = e.distortion();
    const cv::Vec3d t = translationMillimetres();
    return {doubles(cv::Mat(e.intrinsics())), (cv::Mat_<double>(1, 4) << d[0], d[1], d[2], d[3]),
            (cv::Mat_<double>(1, 1) << e.xi()), doubles(cv::Mat(e.rotation())),
            (cv::Mat_<double>(1, 3) << t[0], t[1], t[2])};
}

bool SyntheticRig::writeCalibrationFile(const std::string& path, cv::Size rectifiedSize) const
{
    return CalibrationFormat::write(path, {calibParams(false), calibParams(true), serialNumber(), positionNumber(),
                                           rectifiedSize});
}

} // namespace korvane::synthetic
