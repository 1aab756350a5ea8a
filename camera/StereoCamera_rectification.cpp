// Rectification: intrinsic scaling and map building at capture start, and the
// rectified frames.
#include "StereoCamera.h"

#include "StreamPipeline.h"

#include <algorithm>

#include <opencv2/imgproc.hpp>

namespace {

// Multiplies rows 0 and 1 (focal lengths, skew, principal point) in place.
void scaleFocalRows(cv::Mat& intrinsics, float scale)
{
    for (int r = 0; r < std::min(intrinsics.rows, 2); ++r) {
        cv::Mat row = intrinsics.row(r);
        row *= static_cast<double>(scale);
    }
}

double firstValue(const cv::Mat& m)
{
    cv::Mat values;
    m.reshape(1, 1).convertTo(values, CV_64F);
    return values.at<double>(0);
}

// A fresh image, so that images the caller still shares keep their pixels.
// Bilinear, with black outside the fisheye image; empty maps throw. Through
// the fixed-point form when it was made from these maps: the same pixels.
cv::Mat remapped(const cv::Mat& raw, const cv::Mat (&maps)[2], const FixedPointMaps& fixed)
{
    cv::Mat out;
    if (fixed.madeFrom(maps[0], maps[1]))
        cv::remap(raw, out, fixed.positions, fixed.fractions, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    else
        cv::remap(raw, out, maps[0], maps[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return out;
}

} // namespace

// Maps are built only when the rectified size is set and every calibration
// matrix except LeftIntrinsicMatrix is present. Leaving the left intrinsics
// out of the test is deliberate and kept; without them the left maps point
// outside the image, so the left views come out black.
void StereoCamera::prepareRectification(float scale)
{
    const bool calibrated = !Translation.empty() && !LeftXi.empty() && !LeftRotation.empty() &&
                            !LeftDistortionCoefficients.empty() && !RightXi.empty() &&
                            !RightRotation.empty() && !RightIntrinsicMatrix.empty() &&
                            !RightDistortionCoefficients.empty();
    if (RectifyFrameSize.empty() || !calibrated)
        return;
    scaleFocalRows(LeftIntrinsicMatrix, scale);
    scaleFocalRows(RightIntrinsicMatrix, scale);

    m_rectifyCameraMatrix = korvane::perspectiveCameraMatrix(RectifyFrameSize, hFov);
    const cv::Mat lonLat = korvane::lonLatCameraMatrix(RectifyFrameSize, m_panoramicAngle, m_lonLatDivisor);
    const double leftXi = firstValue(LeftXi);
    const double rightXi = firstValue(RightXi);
    initRectifyMap(LeftIntrinsicMatrix, LeftDistortionCoefficients, LeftRotation, m_rectifyCameraMatrix,
                   leftXi, leftXi, RectifyFrameSize, korvane::kRectifyPerspective,
                   m_perspectiveMaps[0][0], m_perspectiveMaps[0][1]);
    initRectifyMap(RightIntrinsicMatrix, RightDistortionCoefficients, RightRotation,
                   m_rectifyCameraMatrix, rightXi, rightXi, RectifyFrameSize,
                   korvane::kRectifyPerspective, m_perspectiveMaps[1][0], m_perspectiveMaps[1][1]);
    initRectifyMap(LeftIntrinsicMatrix, LeftDistortionCoefficients, LeftRotation, lonLat, leftXi, 0.0,
                   RectifyFrameSize, korvane::kRectifyLonLat, m_lonLatMaps[0][0], m_lonLatMaps[0][1]);
    initRectifyMap(RightIntrinsicMatrix, RightDistortionCoefficients, RightRotation, lonLat, rightXi,
                   0.0, RectifyFrameSize, korvane::kRectifyLonLat, m_lonLatMaps[1][0],
                   m_lonLatMaps[1][1]);
    for (int eye = 0; eye < 2; ++eye) {
        m_perspectiveFixed[eye] = FixedPointMaps::from(m_perspectiveMaps[eye][0], m_perspectiveMaps[eye][1]);
        m_lonLatFixed[eye] = FixedPointMaps::from(m_lonLatMaps[eye][0], m_lonLatMaps[eye][1]);
    }
}

bool StereoCamera::getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre)
{
    std::chrono::microseconds stamp{0};
    return getRectStereoFrame(left, right, centre, stamp);
}

// Always the perspective views, whatever Depthmode says; feeds the
// transmission writer in modes 2 (right view) and 3 (both side by side).
bool StereoCamera::getRectStereoFrame(cv::Mat& left, cv::Mat& right)
{
    cv::Mat rawLeft;
    cv::Mat rawRight;
    std::chrono::microseconds stamp{0};
    if (getStereoFrame(rawLeft, rawRight, stamp)) {
        left = remapped(rawLeft, m_perspectiveMaps[0], m_perspectiveFixed[0]);
        right = remapped(rawRight, m_perspectiveMaps[1], m_perspectiveFixed[1]);
        if (m_transmit && m_transmode == korvane::stream::kRectifiedRight) {
            transmitFrame(right);
        } else if (m_transmit && m_transmode == korvane::stream::kRectifiedPair) {
            cv::Mat joined;
            cv::hconcat(left, right, joined);
            transmitFrame(joined);
        }
    }
    return !left.empty() && !right.empty();
}

// The centre image is always the perspective left view; left and right
// follow Depthmode (1 longitude-latitude, 2 perspective, else untouched).
// A failed fetch leaves all three as they were.
bool StereoCamera::getRectStereoFrame(cv::Mat& left, cv::Mat& right, cv::Mat& centre,
                                      std::chrono::microseconds& stamp)
{
    cv::Mat rawLeft;
    cv::Mat rawRight;
    if (getStereoFrame(rawLeft, rawRight, stamp))
        rectifyRawPair(rawLeft, rawRight, left, right, centre);
    return !left.empty() && !right.empty() && !centre.empty();
}

void StereoCamera::rectifyRawPair(const cv::Mat& rawLeft, const cv::Mat& rawRight, cv::Mat& left, cv::Mat& right,
                                  cv::Mat& centre)
{
    centre = remapped(rawLeft, m_perspectiveMaps[0], m_perspectiveFixed[0]);
    if (Depthmode == kPerspectiveView) {
        left = centre.clone();
        right = remapped(rawRight, m_perspectiveMaps[1], m_perspectiveFixed[1]);
    } else if (Depthmode == kLonLatView) {
        left = remapped(rawLeft, m_lonLatMaps[0], m_lonLatFixed[0]);
        right = remapped(rawRight, m_lonLatMaps[1], m_lonLatFixed[1]);
    }
}
