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
    const korvane::StereoRectifier::Eye left{LeftIntrinsicMatrix, LeftDistortionCoefficients, LeftRotation,
                                             firstValue(LeftXi)};
    const korvane::StereoRectifier::Eye right{RightIntrinsicMatrix, RightDistortionCoefficients, RightRotation,
                                              firstValue(RightXi)};
    m_rectifier.build(left, right, m_rectifyCameraMatrix, lonLat, RectifyFrameSize);
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
        left = m_rectifier.rectify(rawLeft, korvane::StereoRectifier::kPerspective, 0);
        right = m_rectifier.rectify(rawRight, korvane::StereoRectifier::kPerspective, 1);
        if (m_transmit && m_transmode == korvane::stream::kRectifiedRight)
            m_streamSink.send(right);
        else if (m_transmit && m_transmode == korvane::stream::kRectifiedPair)
            m_streamSink.sendSideBySide(left, right);
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
        m_rectifier.rectifyPair(rawLeft, rawRight, Depthmode, left, right, centre);
    return !left.empty() && !right.empty() && !centre.empty();
}
