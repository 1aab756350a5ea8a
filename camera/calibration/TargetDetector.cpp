#include "camera/calibration/TargetDetector.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
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

float bilinear(const cv::Mat& m, cv::Point2f q)
{
    const int x = static_cast<int>(std::floor(q.x)), y = static_cast<int>(std::floor(q.y));
    if (x < 0 || y < 0 || x + 1 >= m.cols || y + 1 >= m.rows)
        return 0.0f;
    const float fx = q.x - static_cast<float>(x), fy = q.y - static_cast<float>(y);
    return (1 - fy) * ((1 - fx) * m.at<float>(y, x) + fx * m.at<float>(y, x + 1)) +
           fy * ((1 - fx) * m.at<float>(y + 1, x) + fx * m.at<float>(y + 1, x + 1));
}

// ChArUco corners in a small image, where the white rim between a corner
// and the markers is two or three pixels wide, are settled on the four
// edges leaving them only: strips a pixel either side of each edge, a fifth
// of the way to the next corner, which the markers' own edges do not
// reach. The edges' directions come from the neighbouring corners. A corner
// this fit moves more than kMostMoved from where the square-window fit put
// it sits where neither holds (a marker's edge, a misplaced neighbour) and
// is dropped; one without neighbours to fit on keeps its place.
void refineOnEdges(const cv::Mat& g, int cornersPerRow, std::vector<int>& ids, std::vector<cv::Point2f>& pixels)
{
    cv::Mat f, gx, gy;
    g.convertTo(f, CV_32F);
    cv::Sobel(f, gx, CV_32F, 1, 0, 3, 1.0 / 8);
    cv::Sobel(f, gy, CV_32F, 0, 1, 3, 1.0 / 8);
    std::map<int, cv::Point2f> byId;
    for (size_t i = 0; i < ids.size(); ++i)
        byId[ids[i]] = pixels[i];
    constexpr double kReach = 0.2;     // of the distance to the next corner
    constexpr double kHalfWidth = 1.0; // pixels either side of an edge
    constexpr double kStep = 0.5;      // pixels between samples
    constexpr double kMostMoved = 0.3; // pixels
    std::vector<int> keptIds;
    std::vector<cv::Point2f> kept;
    for (size_t i = 0; i < ids.size(); ++i) {
        const int row = ids[i] / cornersPerRow, column = ids[i] % cornersPerRow;
        // Towards the next corner along the row and the column, and back.
        const int steps[4][2] = {{0, 1}, {0, -1}, {1, 0}, {-1, 0}};
        cv::Point2f arms[4];
        bool have[4];
        for (int k = 0; k < 4; ++k) {
            const int r = row + steps[k][0], c = column + steps[k][1];
            const auto next = (c < 0 || c >= cornersPerRow || r < 0) ? byId.end() : byId.find(r * cornersPerRow + c);
            have[k] = next != byId.end();
            if (have[k])
                arms[k] = next->second - pixels[i];
        }
        for (int k = 0; k < 4; ++k)
            if (!have[k] && have[k ^ 1]) {
                arms[k] = -arms[k ^ 1];
                have[k] = true;
            }
        if (!have[0] || !have[2]) {
            keptIds.push_back(ids[i]);
            kept.push_back(pixels[i]);
            continue;
        }
        cv::Point2f p = pixels[i];
        bool fitted = true;
        for (int iteration = 0; iteration < 20; ++iteration) {
            // The point every sampled gradient's edge line passes nearest.
            cv::Matx22d a = cv::Matx22d::zeros();
            cv::Vec2d b(0.0, 0.0);
            for (const cv::Point2f& arm : arms) {
                const double length = cv::norm(arm);
                const cv::Point2f along = arm * static_cast<float>(1.0 / length), across(-along.y, along.x);
                for (double t = kStep; t <= kReach * length; t += kStep)
                    for (double s = -kHalfWidth; s <= kHalfWidth + 1e-9; s += kStep) {
                        const cv::Point2f q = p + along * static_cast<float>(t) + across * static_cast<float>(s);
                        const cv::Vec2d gradient(bilinear(gx, q), bilinear(gy, q));
                        const cv::Matx22d outer = gradient * gradient.t();
                        a += outer;
                        b += outer * cv::Vec2d(q.x, q.y);
                    }
            }
            if (cv::determinant(a) < 1e-9) {
                fitted = false;
                break;
            }
            const cv::Vec2d solved = a.inv() * b;
            const cv::Point2f next(static_cast<float>(solved[0]), static_cast<float>(solved[1]));
            const double moved = cv::norm(next - p);
            p = next;
            if (moved < 0.001)
                break;
        }
        if (fitted && cv::norm(p - pixels[i]) <= kMostMoved) {
            keptIds.push_back(ids[i]);
            kept.push_back(p);
        }
    }
    ids = std::move(keptIds);
    pixels = std::move(kept);
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
        if (g.cols < kEnlargeBelowWidth)
            refineOnEdges(g, m_target.innerCorners().width, corners.ids, corners.pixels);
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
