// Point clouds: a sparse cloud sampled on a grid of the newest disparity,
// thinned per cell, in the left eye's camera frame in metres.
#include "StereoCamera.h"

#include <cmath>

namespace {

// One sample that may become a point, and the key the thinning ranks it by.
struct Candidate
{
    PCL point;
    float key;
};

const int kCell = 4;

// Drops the candidates with the smallest and the largest key (the first of
// equals; one only when they coincide) and keeps the rest, in order. A cell
// with 2 or fewer candidates contributes nothing.
template <typename Out, typename Convert>
void thinCell(const std::vector<Candidate>& cell, std::vector<Out>& points, Convert convert)
{
    if (cell.size() <= 2)
        return;
    size_t smallest = 0;
    size_t largest = 0;
    float minKey = 1e9f;
    float maxKey = 0.0f;
    for (size_t i = 0; i < cell.size(); ++i) {
        if (cell[i].key < minKey) {
            minKey = cell[i].key;
            smallest = i;
        }
        if (cell[i].key > maxKey) {
            maxKey = cell[i].key;
            largest = i;
        }
    }
    for (size_t i = 0; i < cell.size(); ++i)
        if (i != smallest && i != largest)
            points.push_back(convert(cell[i].point));
}

bool inside(const cv::Mat& m, int row, int column)
{
    return row >= 0 && column >= 0 && row < m.rows && column < m.cols;
}

// What the sampling needs from the camera, read once per call.
struct CloudGeometry
{
    double fx, fy, cx, cy;
    double translationNorm; // millimetres
    double xi;
    int threshold;
    int depthMode;
};

// Gathers the candidates of one sampled pixel (r, c) into `cell`.
void sample(const CloudGeometry& g, const cv::Mat& image, const cv::Mat& disparity, const cv::Mat& depth,
            int r, int c, bool coloured, std::vector<Candidate>& cell)
{
    if (!inside(image, r, c))
        return;
    const cv::Vec3b colour = image.at<cv::Vec3b>(r, c);
    if (g.depthMode == 1) {
        if (std::hypot(c - g.cx, r - g.cy) > g.threshold)
            return;
        const double x = (c - g.cx) / g.fx;
        const double y = (r - g.cy) / g.fy;
        const double r2 = x * x + y * y;
        const double kappa = (g.xi + std::sqrt(1 + (1 - g.xi * g.xi) * r2)) / (1 + r2);
        if (std::isnan(kappa))
            return;
        const double s0 = kappa * x, s1 = kappa * y, s2 = kappa - g.xi;
        const double longitude = std::acos(-s0);
        const double latitude = std::acos(-s1 / std::hypot(s1, s2));
        const double rowPos = latitude * disparity.rows / CV_PI;
        const double colPos = longitude * disparity.cols / CV_PI;
        if (!(rowPos >= 0 && colPos >= 0 && rowPos < disparity.rows && colPos < disparity.cols))
            return;
        const int row = static_cast<int>(rowPos);
        const int column = static_cast<int>(colPos);
        const float d = disparity.at<float>(row, column);
        const float z = depth.at<float>(row, column);
        if (!(d > 0 && z > 0))
            return;
        const cv::Vec3f position(static_cast<float>(s0 * z), static_cast<float>(s1 * z),
                                 static_cast<float>(s2 * z));
        const float key = static_cast<float>(std::sqrt(z * s0 * s0 + z * s1 * s1 + z * s2 * s2));
        cell.push_back({PCL{position, colour}, key});
        return;
    }
    if (g.depthMode != 2)
        return;
    // The disparity and depth are read with row and column exchanged, as the
    // kit always has; samples that would leave the image are skipped.
    if (!inside(disparity, c, r))
        return;
    float z = 0;
    if (coloured) {
        if (std::hypot(c - g.cx, r - g.cy) > g.threshold)
            return;
        z = depth.at<float>(c, r);
    } else {
        z = static_cast<float>((g.translationNorm / 1000 * g.fx) / disparity.at<float>(c, r));
    }
    if (!(z > 0) || !std::isfinite(z))
        return;
    const float v0 = static_cast<float>((c - g.cx) / g.fx);
    const float v1 = static_cast<float>((r - g.cy) / g.fy);
    const cv::Vec3f position(v0 * z, v1 * z, z);
    cell.push_back({PCL{position, colour}, std::sqrt(z * (v0 * v0 + v1 * v1 + 1))});
}

// The geometry from the rectified camera matrix, the translation and the
// left mirror parameter; false when the rectification was never built.
bool readGeometry(const cv::Mat& P, const cv::Mat& translation, const cv::Mat& leftXi, int threshold,
                  int depthMode, CloudGeometry& g)
{
    if (P.rows != 3 || P.cols != 3 || P.type() != CV_64F || translation.empty() || leftXi.empty())
        return false;
    g.fx = P.at<double>(0, 0);
    g.fy = P.at<double>(1, 1);
    g.cx = P.at<double>(0, 2);
    g.cy = P.at<double>(1, 2);
    g.translationNorm = cv::norm(translation);
    cv::Mat xi;
    leftXi.convertTo(xi, CV_64F);
    g.xi = xi.at<double>(0);
    g.threshold = threshold;
    g.depthMode = depthMode;
    return true;
}

template <typename Out, typename Convert>
bool buildCloud(const cv::Mat& image, const cv::Mat& disparity, const cv::Mat& depth,
                const CloudGeometry& g, bool coloured, std::vector<Out>& points, Convert convert)
{
    std::vector<Candidate> cell;
    for (int top = 0; top < image.rows; top += kCell) {
        for (int leftEdge = 0; leftEdge < image.cols; leftEdge += kCell) {
            cell.clear();
            for (int r = top; r < top + kCell; ++r)
                for (int c = leftEdge; c < leftEdge + kCell; ++c)
                    if ((r & 1) && (c & 1))
                        sample(g, image, disparity, depth, r, c, coloured, cell);
            thinCell(cell, points, convert);
        }
    }
    return !points.empty();
}

} // namespace

// Waits for the next disparity publication and copies it with its centre
// image and the time stamp of the raw pair it came from.
bool StereoCamera::copyNewestDisparity(cv::Mat& image, cv::Mat& disparity, cv::Mat& depth,
                                       std::chrono::microseconds& stamp)
{
    const bool read = m_disparityFrames.readNext([&](const TimeFrame& newest) {
        image = newest.left.clone();
        disparity = newest.right.clone();
        stamp = newest.timeStamp;
    });
    if (!read)
        return false;
    if (image.type() != CV_8UC3 || disparity.type() != CV_32FC1)
        return false;
    return getDepthFrame(disparity, depth);
}

bool StereoCamera::getPointCloud(std::vector<cv::Vec3f>& points, std::chrono::microseconds& stamp)
{
    cv::Mat image, disparity, depth;
    CloudGeometry g{};
    if (!copyNewestDisparity(image, disparity, depth, stamp) ||
        !readGeometry(m_rectifyCameraMatrix, Translation, LeftXi, Threshold, Depthmode, g))
        return !points.empty();
    buildCloud(image, disparity, depth, g, false, points, [](const PCL& p) { return p.position; });
    return !points.empty();
}

bool StereoCamera::getPointCloud(std::vector<PCL>& points, std::chrono::microseconds& stamp)
{
    cv::Mat image, disparity, depth;
    CloudGeometry g{};
    if (!copyNewestDisparity(image, disparity, depth, stamp) ||
        !readGeometry(m_rectifyCameraMatrix, Translation, LeftXi, Threshold, Depthmode, g))
        return !points.empty();
    buildCloud(image, disparity, depth, g, true, points, [](const PCL& p) { return p; });
    return !points.empty();
}
