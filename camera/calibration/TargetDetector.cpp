#include "camera/calibration/TargetDetector.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include <opencv2/aruco.hpp>
#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

namespace korvane::calibration {

namespace {

cv::Mat grey(const cv::Mat& image)
{
    if (image.channels() == 1)
        return image;
    cv::Mat out;
    cv::cvtColor(image, out, cv::COLOR_BGR2GRAY);
    return out;
}

// Each corner settled on a window half as wide as the distance to its
// nearest neighbour in the grid: wide enough to average the noise out, and
// inside the four squares around it wherever the lens shrinks the board.
void refineChessboard(const cv::Mat& g, cv::Size pattern, std::vector<cv::Point2f>& pixels)
{
    const std::vector<cv::Point2f> found = pixels;
    const cv::TermCriteria criteria(cv::TermCriteria::EPS + cv::TermCriteria::COUNT, 40, 0.01);
    for (int r = 0; r < pattern.height; ++r)
        for (int c = 0; c < pattern.width; ++c) {
            const size_t i = static_cast<size_t>(r * pattern.width + c);
            const size_t row = static_cast<size_t>(pattern.width);
            double nearest = std::numeric_limits<double>::max();
            if (c > 0)
                nearest = std::min(nearest, cv::norm(found[i] - found[i - 1]));
            if (c + 1 < pattern.width)
                nearest = std::min(nearest, cv::norm(found[i] - found[i + 1]));
            if (r > 0)
                nearest = std::min(nearest, cv::norm(found[i] - found[i - row]));
            if (r + 1 < pattern.height)
                nearest = std::min(nearest, cv::norm(found[i] - found[i + row]));
            const int half = std::max(2, static_cast<int>(0.5 * nearest));
            std::vector<cv::Point2f> one{found[i]};
            cv::cornerSubPix(g, one, {half, half}, {-1, -1}, criteria);
            pixels[i] = one.front();
        }
}

} // namespace

TargetDetector::TargetDetector(const CalibrationTarget& target) : m_target(target)
{
}

TargetDetector::Corners TargetDetector::detect(const cv::Mat& eyeImage) const
{
    if (eyeImage.empty() || eyeImage.depth() != CV_8U || (eyeImage.channels() != 1 && eyeImage.channels() != 3))
        return {};
    const cv::Mat g = grey(eyeImage);
    return m_target.kind() == CalibrationTarget::Kind::Chessboard ? detectChessboard(g) : detectCharuco(g);
}

// The sector-based finder's plain search finds most boards in a few tens of
// milliseconds at half size; its exhaustive search, slower, runs only when
// a quick check sees a board the plain search missed, so a frame without
// one costs little. Its own accuracy pass is left out: it costs four times
// the search, and the refinement after it places corners closer.
TargetDetector::Corners TargetDetector::detectChessboard(const cv::Mat& g) const
{
    const cv::Size pattern = m_target.innerCorners();
    std::vector<cv::Point2f> pixels;
    bool found = cv::findChessboardCornersSB(g, pattern, pixels, 0);
    if (!found && cv::checkChessboard(g, pattern))
        found = cv::findChessboardCornersSB(g, pattern, pixels, cv::CALIB_CB_EXHAUSTIVE);
    if (!found)
        return {};
    refineChessboard(g, pattern, pixels);
    // The finder may number a board from either end; the first corner is
    // made the one nearer the image's top-left.
    if (pixels.front().x + pixels.front().y > pixels.back().x + pixels.back().y)
        std::reverse(pixels.begin(), pixels.end());
    Corners corners;
    corners.ids.resize(pixels.size());
    std::iota(corners.ids.begin(), corners.ids.end(), 0);
    corners.pixels = std::move(pixels);
    return corners;
}

TargetDetector::Corners TargetDetector::detectCharuco(const cv::Mat& g) const
{
    const cv::Ptr<cv::aruco::CharucoBoard>& board = m_target.charucoBoard();
    std::vector<std::vector<cv::Point2f>> markers;
    std::vector<int> markerIds;
    // In a half-size frame the markers' cells are a pixel or two wide; they
    // are looked for in the image enlarged twice, and their corners brought
    // back.
    // Finer threshold steps and a looser outline fit find more of the
    // small, distorted markers at a fisheye's edge.
    const cv::Ptr<cv::aruco::DetectorParameters> parameters = cv::aruco::DetectorParameters::create();
    parameters->adaptiveThreshWinSizeStep = 4;
    parameters->polygonalApproxAccuracyRate = 0.05;
    parameters->perspectiveRemovePixelPerCell = 8;
    parameters->perspectiveRemoveIgnoredMarginPerCell = 0.2;
    parameters->errorCorrectionRate = 0.8;
    if (g.cols < kEnlargeBelowWidth) {
        cv::Mat enlarged;
        cv::resize(g, enlarged, cv::Size(), 2.0, 2.0, cv::INTER_CUBIC);
        cv::aruco::detectMarkers(enlarged, board->dictionary, markers, markerIds, parameters);
        for (auto& marker : markers)
            for (cv::Point2f& p : marker)
                p = (p + cv::Point2f(0.5f, 0.5f)) * 0.5f - cv::Point2f(0.5f, 0.5f);
    } else {
        cv::aruco::detectMarkers(g, board->dictionary, markers, markerIds, parameters);
    }
    if (markerIds.empty())
        return {};
    Corners corners;
    // A corner next to a found marker is placed by that marker's local
    // homography, which holds in a fisheye image where a board-wide one
    // would not.
    cv::aruco::interpolateCornersCharuco(markers, markerIds, g, board, corners.pixels, corners.ids, cv::noArray(),
                                         cv::noArray(), 1);
    // The interpolation's own refinement stops early; a tighter one on a
    // small window settles the saddles.
    // Its window stays inside the white rim between a corner and the
    // markers around it, whose cells would pull the fit.
    if (!corners.pixels.empty()) {
        double markerSide = 0.0;
        for (const auto& marker : markers)
            markerSide += cv::norm(marker[0] - marker[1]) / static_cast<double>(markers.size());
        const double squarePixels = markerSide * m_target.squareMillimetres() / m_target.markerMillimetres();
        const int half = std::max(2, std::min(4, static_cast<int>(squarePixels * 0.15)));
        cv::cornerSubPix(g, corners.pixels, {half, half}, {-1, -1},
                         cv::TermCriteria(cv::TermCriteria::EPS + cv::TermCriteria::COUNT, 50, 0.001));
    }
    return corners;
}

// The corners both eyes found, ordered by number. A chessboard found
// turned half round in one eye is turned back first.
TargetDetector::PairCorners TargetDetector::common(const Corners& left, Corners right)
{
    PairCorners pair;
    if (left.pixels.size() > 1 && left.ids == right.ids) {
        const cv::Point2f l = left.pixels.back() - left.pixels.front();
        const cv::Point2f r = right.pixels.back() - right.pixels.front();
        if (l.dot(r) < 0.0f)
            std::reverse(right.pixels.begin(), right.pixels.end());
    }
    for (size_t i = 0; i < left.ids.size(); ++i) {
        const auto match = std::find(right.ids.begin(), right.ids.end(), left.ids[i]);
        if (match == right.ids.end())
            continue;
        pair.ids.push_back(left.ids[i]);
        pair.left.push_back(left.pixels[i]);
        pair.right.push_back(right.pixels[static_cast<size_t>(match - right.ids.begin())]);
    }
    return pair;
}

bool TargetDetector::detectPair(const cv::Mat& frame, PairCorners& pair, std::string& why) const
{
    if (frame.empty() || frame.cols % 2 != 0 || frame.depth() != CV_8U ||
        (frame.channels() != 1 && frame.channels() != 3)) {
        why = "not a side-by-side 8-bit frame of an even width";
        return false;
    }
    // The eyes are searched side by side, one per core.
    const int half = frame.cols / 2;
    Corners eyes[2];
    cv::parallel_for_(cv::Range(0, 2), [&](const cv::Range& range) {
        for (int e = range.start; e < range.end; ++e)
            eyes[e] = detect(frame(cv::Rect(e * half, 0, half, frame.rows)));
    });
    const Corners& left = eyes[0];
    const Corners& right = eyes[1];
    if (left.ids.empty() && right.ids.empty()) {
        why = "no target found in either eye";
        return false;
    }
    if (left.ids.empty() || right.ids.empty()) {
        why = std::string("target found in the ") + (left.ids.empty() ? "right" : "left") + " eye only";
        return false;
    }
    pair = common(left, right);
    if (static_cast<int>(pair.ids.size()) < kMinimumCorners) {
        why = "only " + std::to_string(pair.ids.size()) + " corners seen by both eyes (at least " +
              std::to_string(kMinimumCorners) + " needed)";
        return false;
    }
    return true;
}

std::vector<cv::Point3f> TargetDetector::objectPoints(const std::vector<int>& ids) const
{
    std::vector<cv::Point3f> points;
    for (int id : ids)
        points.push_back(m_target.objectPoints().at(static_cast<size_t>(id)));
    return points;
}

} // namespace korvane::calibration
