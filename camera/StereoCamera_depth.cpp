// Depth: metric and false-colour depth images from disparity, and the colour
// ramp of the display image.
#include "StereoCamera.h"

#include "StreamPipeline.h"

#include <cmath>
#include <limits>

#include <opencv2/core.hpp>

namespace {

// Low byte of a value truncated to a 32-bit integer; 0 when it is not a
// finite number in that range.
uchar lowByte(double value)
{
    if (!std::isfinite(value) || value < std::numeric_limits<int>::min() ||
        value > std::numeric_limits<int>::max())
        return 0;
    return static_cast<uchar>(static_cast<int>(value) & 0xff);
}

} // namespace

cv::Vec3b getclolor(float min, float max, float value)
{
    const float mid = (max - min) / 2 + min;
    float c0 = 0, c1 = 0, c2 = 0;
    if (mid >= value) {
        c0 = (max - value) / (mid - min) * 255;
        c1 = (value - min) / (mid - min) * 255;
    } else {
        c1 = (max - value) / (max - mid) * 255;
        c2 = (value - min) / (max - mid) * 255;
    }
    return cv::Vec3b(lowByte(std::round(c0)), lowByte(std::round(c1)), lowByte(std::round(c2)));
}

uchar getBlueSegVal(float min, float max, float value)
{
    const float half = (max - min) / 2;
    const float d = value - min;
    if (d >= half || d < 0)
        return 0;
    return lowByte(255.0 - 255.0 * d / half);
}

uchar getGreenSegVal(float min, float max, float value)
{
    const float half = (max - min) / 2;
    const float range = max - min;
    const float d = value - min;
    if (d >= range || d <= 0)
        return 0;
    if (d <= half)
        return lowByte(-255.0 * d / half);
    return lowByte(-255.0 * d / (half - range) - 255.0 * range / (half - range));
}

uchar getRedSegVal(float min, float max, float value)
{
    const float half = (max - min) / 2;
    const float range = max - min;
    const float d = value - min;
    if (d < half)
        return 0;
    return lowByte(255.0 * half / (range - half) + 255.0 * d / (range - half));
}

// Depthmode 1 uses the longitude-latitude geometry (the view angle here over
// 180, not over the rectification's 222), Depthmode 2 the perspective one.
// Any other mode has no depth.
float StereoCamera::depthOf(float d, int column, float baseline) const
{
    const float width = static_cast<float>(RectifyFrameSize.width);
    if (Depthmode == kLonLatView) {
        const double angle = m_panoramicAngle;
        const float shifted = (static_cast<float>(column) - d) / width;
        const float share = d / width;
        return static_cast<float>(baseline * std::sin(CV_PI * ((180 - angle) / 2 / 180 + shifted)) /
                                  std::sin(CV_PI * share));
    }
    if (Depthmode == kPerspectiveView && !m_rectifyCameraMatrix.empty())
        return static_cast<float>(m_rectifyCameraMatrix.at<double>(0, 0) * baseline / d);
    return 0.0f;
}

bool StereoCamera::getDepthFrame(cv::Mat& disparity, cv::Mat& depth)
{
    if (disparity.empty() || disparity.type() != CV_32FC1)
        return false;
    const float baseline = static_cast<float>(0.001 * cv::norm(Translation));
    depth.create(disparity.size(), CV_32FC1);
    depth.setTo(-1.0f);
    cv::parallel_for_(cv::Range(0, disparity.rows), [&](const cv::Range& rows) {
        for (int r = rows.start; r < rows.end; ++r) {
            const float* d = disparity.ptr<float>(r);
            float* z = depth.ptr<float>(r);
            for (int c = 0; c < disparity.cols; ++c) {
                if (!(d[c] > m_minDepth))
                    continue;
                const float value = depthOf(d[c], c, baseline);
                z[c] = (value > m_maxDepth || value < m_minDepth) ? 0.0f : value;
            }
        }
    });
    return !depth.empty();
}

bool StereoCamera::getDepthFrame(cv::Mat& depth, bool colour, std::chrono::microseconds& stamp)
{
    if (!m_computeRunning)
        return false;
    // Wakes with the capture worker's next raw pair; the disparity itself is
    // copied under its own lock, so that the copy never races the worker.
    if (!readNextRawPair([&](const TimeFrame& pair) { stamp = pair.timeStamp; }))
        return false;
    cv::Mat disparity;
    cv::Mat centre;
    m_disparityFrames.readNewest([&](const TimeFrame& newest, std::chrono::microseconds) {
        disparity = newest.right.clone();
        centre = newest.left.clone();
    });
    if (disparity.empty() || disparity.type() != CV_32FC1)
        return false;
    colour = true; // always the colour image: the grey form is kept but never used
    const float baseline = static_cast<float>(0.001 * cv::norm(Translation));

    // Range of the depths shown, from every disparity above the minimum depth value.
    float maxD = 0.0f;
    float minD = 1e11f;
    for (int r = 0; r < disparity.rows; ++r) {
        const float* d = disparity.ptr<float>(r);
        for (int c = 0; c < disparity.cols; ++c) {
            if (!(d[c] > m_minDepth))
                continue;
            const float z = depthOf(d[c], c, baseline);
            maxD = std::max(maxD, z);
            minD = std::min(minD, z);
        }
    }
    maxD = std::min(maxD, m_maxDepth);
    minD = std::max(minD, m_minDepth);

    depth = cv::Mat::zeros(disparity.size(), colour ? CV_8UC3 : CV_8UC1);
    cv::parallel_for_(cv::Range(0, disparity.rows), [&](const cv::Range& rows) {
        for (int r = rows.start; r < rows.end; ++r) {
            const float* d = disparity.ptr<float>(r);
            for (int c = 0; c < disparity.cols; ++c) {
                if (!(d[c] > 0))
                    continue;
                float z = depthOf(d[c], c, baseline);
                if (z > m_maxDepth || z < m_minDepth)
                    z = 0;
                if (colour && z > 0)
                    depth.at<cv::Vec3b>(r, c) = getclolor(minD, maxD, z);
                else if (!colour && z != 0)
                    depth.at<uchar>(r, c) = lowByte(std::round((maxD - z) / (maxD - minD) * 255));
            }
        }
    });
    cv::flip(depth, depth, -1);

    if (m_transmit && m_transmode == korvane::stream::kCentreAndDepth && Depthmode == kPerspectiveView &&
        !centre.empty() && centre.rows == depth.rows)
        m_streamSink.sendSideBySide(centre, depth);
    return !depth.empty();
}
