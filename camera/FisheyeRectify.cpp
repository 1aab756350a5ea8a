#include "FisheyeRectify.h"

#include "GuardedMutex.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <map>
#include <memory>
#include <mutex>
#include <tuple>
#include <vector>

#include <opencv2/core/hal/intrin.hpp>
#include <opencv2/imgproc.hpp>

namespace {

// Columns [begin, end) of one row that a mask keeps; begin == end: none.
struct RowSpan
{
    int begin = 0;
    int end = 0;
};

using RowSpans = std::vector<RowSpan>;

// Kept span of row `row` of the circular mask.
RowSpan circleRowSpan(int row, int rows, int cols, int radius)
{
    const long long cx = cols / 2;
    const long long dy = rows / 2 - row;
    const float r2 = static_cast<float>(static_cast<long long>(radius) * radius);
    const float reach = r2 - static_cast<float>(dy * dy);
    if (!(reach >= 0.0f))
        return {};
    const float root = std::sqrt(reach);
    const long long half = root >= static_cast<float>(cols) ? cols : static_cast<long long>(root);
    RowSpan span;
    span.begin = static_cast<int>(std::max(cx - half, 0LL));
    span.end = static_cast<int>(std::min(cx + half + 1, static_cast<long long>(cols)));
    return span;
}

// The circular mask's spans, computed once per image size and radius: the
// capture worker masks every frame with the same ones.
class CircleSpanCache
{
public:
    std::shared_ptr<const RowSpans> spans(int rows, int cols, int radius)
    {
        const Key key{rows, cols, radius};
        korvane::GuardedMutex::Lock lock(m_mutex);
        auto found = m_entries.find(key);
        if (found != m_entries.end())
            return found->second;
        if (m_entries.size() >= kMaxEntries)
            m_entries.clear();
        auto spans = std::make_shared<RowSpans>(static_cast<size_t>(rows));
        for (int i = 0; i < rows; ++i)
            (*spans)[static_cast<size_t>(i)] = circleRowSpan(i, rows, cols, radius);
        m_entries.emplace(key, spans);
        return spans;
    }

private:
    using Key = std::tuple<int, int, int>;
    static constexpr size_t kMaxEntries = 8;

    korvane::GuardedMutex m_mutex; // guards m_entries
    std::map<Key, std::shared_ptr<const RowSpans>> m_entries KORVANE_GUARDED_BY(m_mutex);
};

CircleSpanCache& circleSpanCache()
{
    static CircleSpanCache cache;
    return cache;
}

bool maskable(const cv::Mat& left, const cv::Mat& right)
{
    return left.dims == 2 && right.dims == 2 && !left.empty() && left.size() == right.size();
}

// Zeroes every pixel of `image` outside the kept span of its row.
void blackOutsideSpans(cv::Mat& image, const RowSpans& spans)
{
    const size_t pixelBytes = image.elemSize();
    const size_t cols = static_cast<size_t>(image.cols);
    for (int i = 0; i < image.rows; ++i) {
        uchar* row = image.ptr(i);
        const RowSpan span = spans[static_cast<size_t>(i)];
        if (span.begin >= span.end) {
            std::memset(row, 0, cols * pixelBytes);
            continue;
        }
        std::memset(row, 0, static_cast<size_t>(span.begin) * pixelBytes);
        std::memset(row + static_cast<size_t>(span.end) * pixelBytes, 0,
                    (cols - static_cast<size_t>(span.end)) * pixelBytes);
    }
}

// The elliptic mask's rule for one pixel, kept separate from the span search
// so that both evaluate the very same expression.
struct EllipseRule
{
    float rowAxis2; // A^2
    float colAxis2; // B^2
    float cx;
    float cy;

    float rowTerm(int i) const
    {
        const float di = static_cast<float>(i) - cy;
        return di * di / rowAxis2;
    }
    bool keeps(float rowTermValue, int j) const
    {
        const float dj = static_cast<float>(j) - cx;
        return !(rowTermValue + dj * dj / colAxis2 > 1.0f);
    }
};

// Kept span of one row of the ellipse. Along a row the rule's value falls and
// then rises with j (every float step is monotonic), so the kept columns form
// one run around the column nearest cx, found by bisection on each side.
// Returns false when the row's values are not finite and the span argument
// does not hold; the caller then tests each pixel.
bool ellipseRowSpan(const EllipseRule& rule, int i, int cols, RowSpan& span)
{
    const float rowTermValue = rule.rowTerm(i);
    if (!std::isfinite(rowTermValue) || !std::isfinite(rule.cx) || !(rule.colAxis2 > 0.0f) ||
        !std::isfinite(rule.colAxis2))
        return false;
    const float nearest = std::floor(rule.cx);
    int centre = nearest < 0.0f ? 0 : nearest >= static_cast<float>(cols - 1) ? cols - 1
                                                                               : static_cast<int>(nearest);
    if (!rule.keeps(rowTermValue, centre) && centre + 1 < cols && rule.keeps(rowTermValue, centre + 1))
        ++centre;
    if (!rule.keeps(rowTermValue, centre)) {
        span = {};
        return true;
    }
    int lo = 0;          // first kept column lies in [lo, centre]
    int hi = centre;
    while (lo < hi) {
        const int mid = lo + (hi - lo) / 2;
        if (rule.keeps(rowTermValue, mid))
            hi = mid;
        else
            lo = mid + 1;
    }
    span.begin = lo;
    lo = centre;         // last kept column lies in [centre, cols - 1]
    hi = cols - 1;
    while (lo < hi) {
        const int mid = hi - (hi - lo) / 2;
        if (rule.keeps(rowTermValue, mid))
            lo = mid;
        else
            hi = mid - 1;
    }
    span.end = lo + 1;
    return true;
}

void blackPixel(cv::Mat& image, int i, int j)
{
    std::memset(image.ptr(i, j), 0, image.elemSize());
}

// Everything initRectifyMap needs per pixel, read once.
struct RectifyModel
{
    double fx, fy, cx, cy, s;
    double k1, k2, p1, p2;
    double xi, xi2;
    int mode;
    cv::Matx33d iP, iR, iPR;
};

double rowMul(const cv::Matx33d& m, double a, double b, double c, int row)
{
    return m(row, 0) * a + m(row, 1) * b + m(row, 2) * c;
}

cv::Vec3d applyRows(const cv::Matx33d& m, double a, double b, double c)
{
    return {rowMul(m, a, b, c, 0), rowMul(m, a, b, c, 1), rowMul(m, a, b, c, 2)};
}

// Ray, in the eye's camera frame, of rectified pixel (u, v).
cv::Vec3d rectifiedRay(const RectifyModel& m, double u, double v)
{
    if (m.mode == korvane::kRectifyPerspective)
        return applyRows(m.iPR, u, v, 1.0);
    if (m.mode == korvane::kRectifyLonLat) {
        const double theta = rowMul(m.iP, u, v, 1.0, 0);
        const double h = rowMul(m.iP, u, v, 1.0, 1);
        const double sinTheta = std::sin(theta);
        return applyRows(m.iR, -std::cos(theta), -sinTheta * std::cos(h), sinTheta * std::sin(h));
    }
    if (m.mode == korvane::kRectifyStereographic) {
        const double x = rowMul(m.iP, u, v, 1.0, 0);
        const double y = rowMul(m.iP, u, v, 1.0, 1);
        const double r2 = x * x + y * y;
        const double kappa = (m.xi2 + std::sqrt(1.0 + (1.0 - m.xi2 * m.xi2) * r2)) / (1.0 + r2);
        return applyRows(m.iR, kappa * x, kappa * y, kappa - m.xi2);
    }
    return {0.0, 0.0, 0.0};
}

// Fisheye pixel of a ray: normalisation, unified projection, distortion.
cv::Point2d fisheyePixel(const RectifyModel& m, const cv::Vec3d& ray)
{
    const double n = std::sqrt(ray[0] * ray[0] + ray[1] * ray[1] + ray[2] * ray[2]);
    const double xn0 = ray[0] / n;
    const double xn1 = ray[1] / n;
    const double xn2 = ray[2] / n;
    const double x = xn0 / (xn2 + m.xi);
    const double y = xn1 / (xn2 + m.xi);
    const double r2 = x * x + y * y;
    const double r4 = r2 * r2;
    const double radial = 1.0 + m.k1 * r2 + m.k2 * r4;
    const double xd = x * radial + 2.0 * m.p1 * x * y + m.p2 * (r2 + 2.0 * x * x);
    const double yd = y * radial + m.p1 * (r2 + 2.0 * y * y) + 2.0 * m.p2 * x * y;
    return {m.fx * xd + m.s * yd + m.cx, m.fy * yd + m.cy};
}

// A 3x3 numeric matrix as doubles; false for any other shape.
bool readMatrix3x3(const cv::Mat& in, cv::Mat& out)
{
    if (in.dims != 2 || in.rows != 3 || in.cols != 3 || in.channels() != 1)
        return false;
    in.convertTo(out, CV_64F);
    return true;
}

bool readModel(const cv::Mat& K, const cv::Mat& D, const cv::Mat& R, const cv::Mat& P, double xi,
               double xi2, int mode, RectifyModel& model)
{
    cv::Mat k, r, p, d;
    if (!readMatrix3x3(K, k) || !readMatrix3x3(R, r) || !readMatrix3x3(P, p) || D.channels() != 1 ||
        D.total() < 4)
        return false;
    D.reshape(1, 1).convertTo(d, CV_64F);
    model.fx = k.at<double>(0, 0);
    model.fy = k.at<double>(1, 1);
    model.cx = k.at<double>(0, 2);
    model.cy = k.at<double>(1, 2);
    model.s = k.at<double>(0, 1);
    model.k1 = d.at<double>(0);
    model.k2 = d.at<double>(1);
    model.p1 = d.at<double>(2);
    model.p2 = d.at<double>(3);
    model.xi = xi;
    model.xi2 = xi2;
    model.mode = mode;
    model.iP = cv::Matx33d(cv::Mat(p.inv(cv::DECOMP_LU)));
    model.iR = cv::Matx33d(cv::Mat(r.inv(cv::DECOMP_LU)));
    model.iPR = cv::Matx33d(cv::Mat((p * r).inv(cv::DECOMP_LU)));
    return true;
}

// Sines and cosines of the longitude (per column) and latitude (per row) of
// a longitude-latitude view whose longitude depends on the column alone and
// latitude on the row alone. Each angle is the very expression the per-pixel
// evaluation uses, so the tables change no bit of the maps.
struct LonLatTables
{
    std::vector<double> cosTheta, sinTheta; // per column
    std::vector<double> cosH, sinH;         // per row
};

// With iP(0,1) and iP(1,0) zero, iP(0,1) v and iP(1,0) u are zeros of a sign
// that does not depend on u, v >= 0: the longitude of (u, v) equals that of
// (u, 0) and the latitude that of (0, v), bit for bit.
bool separableLonLat(const cv::Matx33d& iP)
{
    return iP(0, 1) == 0.0 && iP(1, 0) == 0.0;
}

LonLatTables lonLatTables(const cv::Matx33d& iP, cv::Size size)
{
    LonLatTables t;
    const size_t cols = static_cast<size_t>(size.width);
    const size_t rows = static_cast<size_t>(size.height);
    t.cosTheta.resize(cols);
    t.sinTheta.resize(cols);
    t.cosH.resize(rows);
    t.sinH.resize(rows);
    for (size_t j = 0; j < cols; ++j) {
        const double theta = rowMul(iP, static_cast<double>(j), 0.0, 1.0, 0);
        t.cosTheta[j] = std::cos(theta);
        t.sinTheta[j] = std::sin(theta);
    }
    for (size_t i = 0; i < rows; ++i) {
        const double h = rowMul(iP, 0.0, static_cast<double>(i), 1.0, 1);
        t.cosH[i] = std::cos(h);
        t.sinH[i] = std::sin(h);
    }
    return t;
}

// Rays of one map row, one array per component.
struct RowRays
{
    std::vector<double> x, y, z;
    explicit RowRays(int cols)
        : x(static_cast<size_t>(cols)), y(static_cast<size_t>(cols)), z(static_cast<size_t>(cols))
    {
    }
};

#if CV_SIMD128_64F
// fisheyePixel for two rays at once: every operation is the scalar one in the
// same order, each lane rounded as a scalar double would be.
void fisheyePixels2(const RectifyModel& m, const double* rx, const double* ry, const double* rz, float* xs,
                    float* ys)
{
    using V = cv::v_float64x2;
    const V r0 = cv::v_load(rx), r1 = cv::v_load(ry), r2v = cv::v_load(rz);
    const V n = cv::v_sqrt(r0 * r0 + r1 * r1 + r2v * r2v);
    const V xn0 = r0 / n, xn1 = r1 / n, xn2 = r2v / n;
    const V xi = cv::v_setall_f64(m.xi);
    const V x = xn0 / (xn2 + xi);
    const V y = xn1 / (xn2 + xi);
    const V r2 = x * x + y * y;
    const V r4 = r2 * r2;
    const V one = cv::v_setall_f64(1.0), two = cv::v_setall_f64(2.0);
    const V k1 = cv::v_setall_f64(m.k1), k2 = cv::v_setall_f64(m.k2);
    const V twoP1 = cv::v_setall_f64(2.0 * m.p1), twoP2 = cv::v_setall_f64(2.0 * m.p2);
    const V p1 = cv::v_setall_f64(m.p1), p2 = cv::v_setall_f64(m.p2);
    const V radial = one + k1 * r2 + k2 * r4;
    const V xd = x * radial + twoP1 * x * y + p2 * (r2 + two * x * x);
    const V yd = y * radial + p1 * (r2 + two * y * y) + twoP2 * x * y;
    const V u = cv::v_setall_f64(m.fx) * xd + cv::v_setall_f64(m.s) * yd + cv::v_setall_f64(m.cx);
    const V v = cv::v_setall_f64(m.fy) * yd + cv::v_setall_f64(m.cy);
    cv::v_store_low(xs, cv::v_cvt_f32(u));
    cv::v_store_low(ys, cv::v_cvt_f32(v));
}
#endif

// Projects a row of rays into map row i, two at a time where the machine can.
void projectRow(const RectifyModel& m, const RowRays& rays, float* xs, float* ys, int cols)
{
    int j = 0;
#if CV_SIMD128_64F
    for (; j + 2 <= cols; j += 2)
        fisheyePixels2(m, &rays.x[static_cast<size_t>(j)], &rays.y[static_cast<size_t>(j)],
                       &rays.z[static_cast<size_t>(j)], xs + j, ys + j);
#endif
    for (; j < cols; ++j) {
        const size_t k = static_cast<size_t>(j);
        const cv::Point2d pixel = fisheyePixel(m, {rays.x[k], rays.y[k], rays.z[k]});
        xs[j] = static_cast<float>(pixel.x);
        ys[j] = static_cast<float>(pixel.y);
    }
}

// Fills the rows of the map pair in parallel: the rays of a row, then their
// projection; long-lat rays from the tables when the view allows them.
class RectifyMapRows : public cv::ParallelLoopBody
{
public:
    RectifyMapRows(const RectifyModel& model, cv::Mat& map1, cv::Mat& map2)
        : m_model(model), m_map1(map1), m_map2(map2),
          m_useTables(model.mode == korvane::kRectifyLonLat && separableLonLat(model.iP))
    {
        if (m_useTables)
            m_tables = lonLatTables(model.iP, map1.size());
    }

    void operator()(const cv::Range& rows) const override
    {
        RowRays rays(m_map1.cols);
        for (int i = rows.start; i < rows.end; ++i) {
            if (m_useTables)
                lonLatRays(i, rays);
            else
                rowRays(i, rays);
            projectRow(m_model, rays, m_map1.ptr<float>(i), m_map2.ptr<float>(i), m_map1.cols);
        }
    }

private:
    void put(RowRays& rays, int j, const cv::Vec3d& ray) const
    {
        const size_t k = static_cast<size_t>(j);
        rays.x[k] = ray[0];
        rays.y[k] = ray[1];
        rays.z[k] = ray[2];
    }

    void rowRays(int i, RowRays& rays) const
    {
        for (int j = 0; j < m_map1.cols; ++j)
            put(rays, j, rectifiedRay(m_model, static_cast<double>(j), static_cast<double>(i)));
    }

    // Xs = (-cos t, -sin t cos h, sin t sin h), X = iR Xs, as rectifiedRay.
    void lonLatRays(int i, RowRays& rays) const
    {
        const double cosH = m_tables.cosH[static_cast<size_t>(i)];
        const double sinH = m_tables.sinH[static_cast<size_t>(i)];
        for (int j = 0; j < m_map1.cols; ++j) {
            const double sinTheta = m_tables.sinTheta[static_cast<size_t>(j)];
            const double cosTheta = m_tables.cosTheta[static_cast<size_t>(j)];
            put(rays, j, applyRows(m_model.iR, -cosTheta, -sinTheta * cosH, sinTheta * sinH));
        }
    }

    const RectifyModel& m_model;
    cv::Mat& m_map1;
    cv::Mat& m_map2;
    const bool m_useTables;
    LonLatTables m_tables;
};

} // namespace

namespace korvane {

cv::Mat perspectiveCameraMatrix(cv::Size size, double hFovDegrees)
{
    const double fov = hFovDegrees / 180.0 * CV_PI;
    const double f = (size.width / 2.0) / std::tan(fov / 2.0);
    const double cx = size.width / 2.0 - 0.5;
    const double cy = size.height / 2.0 - 0.5;
    return (cv::Mat_<double>(3, 3) << f, 0.0, cx, 0.0, f, cy, 0.0, 0.0, 1.0);
}

cv::Mat lonLatCameraMatrix(cv::Size size, double viewAngleDegrees, double divisor)
{
    const double angle = viewAngleDegrees / divisor * CV_PI;
    const double w = size.width;
    const double h = size.height;
    const double fx = w / angle;
    const double fy = h / angle;
    const double cx = -w * (CV_PI - angle) / (2.0 * angle);
    const double cy = -h * (CV_PI - angle) / (2.0 * angle);
    return (cv::Mat_<double>(3, 3) << fx, 0.0, cx, 0.0, fy, cy, 0.0, 0.0, 1.0);
}

} // namespace korvane

double MatRowMul(cv::Mat m, double a, double b, double c, int row)
{
    if (m.dims != 2 || m.channels() != 1 || m.cols < 3 || row < 0 || row >= m.rows)
        return std::numeric_limits<double>::quiet_NaN();
    cv::Mat values;
    m.row(row).colRange(0, 3).convertTo(values, CV_64F);
    const double* v = values.ptr<double>(0);
    return v[0] * a + v[1] * b + v[2] * c;
}

void convertRawFisheyeImage(int radius, cv::Mat& left, cv::Mat& right)
{
    if (!maskable(left, right))
        return;
    const std::shared_ptr<const RowSpans> spans = circleSpanCache().spans(left.rows, left.cols, radius);
    blackOutsideSpans(left, *spans);
    blackOutsideSpans(right, *spans);
}

korvane::FixedPointMaps korvane::FixedPointMaps::from(const cv::Mat& mapX, const cv::Mat& mapY)
{
    FixedPointMaps fixed;
    if (mapX.empty() || mapY.empty() || mapX.size() != mapY.size() || mapX.type() != CV_32FC1 ||
        mapY.type() != CV_32FC1)
        return fixed;
    fixed.positions.create(mapX.size(), CV_16SC2);
    fixed.fractions.create(mapX.size(), CV_16UC1);
    // Each entry converts on its own, so row bands give the whole-map result.
    cv::parallel_for_(cv::Range(0, mapX.rows), [&](const cv::Range& rows) {
        cv::Mat positions = fixed.positions.rowRange(rows.start, rows.end);
        cv::Mat fractions = fixed.fractions.rowRange(rows.start, rows.end);
        cv::convertMaps(mapX.rowRange(rows.start, rows.end), mapY.rowRange(rows.start, rows.end), positions,
                        fractions, CV_16SC2);
    });
    fixed.sourceX = mapX;
    fixed.sourceY = mapY;
    return fixed;
}

bool korvane::FixedPointMaps::madeFrom(const cv::Mat& mapX, const cv::Mat& mapY) const
{
    return !positions.empty() && sourceX.data == mapX.data && sourceY.data == mapY.data &&
           sourceX.size() == mapX.size() && sourceY.size() == mapY.size();
}

void korvane::splitRawFisheyeFrame(int radius, const cv::Mat& frame, cv::Mat& left, cv::Mat& right)
{
    const int half = frame.cols / 2;
    if (frame.dims != 2 || half == 0 || frame.rows == 0) {
        left = frame(cv::Rect(0, 0, half, frame.rows)).clone();
        right = frame(cv::Rect(half, 0, half, frame.rows)).clone();
        return;
    }
    // Fresh images: buffers the caller's images share with others stay untouched.
    left = cv::Mat(frame.rows, half, frame.type());
    right = cv::Mat(frame.rows, half, frame.type());
    const std::shared_ptr<const RowSpans> spans = circleSpanCache().spans(frame.rows, half, radius);
    const size_t pixelBytes = frame.elemSize();
    const size_t rowBytes = static_cast<size_t>(half) * pixelBytes;
    for (int i = 0; i < frame.rows; ++i) {
        const uchar* source = frame.ptr(i);
        const RowSpan span = (*spans)[static_cast<size_t>(i)];
        const size_t begin = static_cast<size_t>(std::max(span.begin, 0)) * pixelBytes;
        const size_t end = std::max(begin, static_cast<size_t>(std::max(span.end, 0)) * pixelBytes);
        uchar* rows[2] = {left.ptr(i), right.ptr(i)};
        for (int eye = 0; eye < 2; ++eye) {
            uchar* row = rows[eye];
            const uchar* from = source + static_cast<size_t>(eye) * rowBytes;
            std::memset(row, 0, begin);
            std::memcpy(row + begin, from + begin, end - begin);
            std::memset(row + end, 0, rowBytes - end);
        }
    }
}

void convertRawFisheyeImage(cv::Mat& left, cv::Mat& right, float a, float b, float c, float d)
{
    if (!maskable(left, right))
        return;
    const int rows = left.rows;
    const int cols = left.cols;
    const float rowAxis = static_cast<float>(rows / 2) + a;
    const float colAxis = static_cast<float>(cols / 2) + b;
    const EllipseRule rule{rowAxis * rowAxis, colAxis * colAxis, static_cast<float>(cols / 2) + c,
                           static_cast<float>(rows / 2) + d};
    RowSpans spans(static_cast<size_t>(rows));
    std::vector<int> pixelwiseRows;
    for (int i = 0; i < rows; ++i)
        if (!ellipseRowSpan(rule, i, cols, spans[static_cast<size_t>(i)])) {
            spans[static_cast<size_t>(i)] = {0, cols};
            pixelwiseRows.push_back(i);
        }
    blackOutsideSpans(left, spans);
    blackOutsideSpans(right, spans);
    for (int i : pixelwiseRows) {
        const float rowTermValue = rule.rowTerm(i);
        for (int j = 0; j < cols; ++j)
            if (!rule.keeps(rowTermValue, j)) {
                blackPixel(left, i, j);
                blackPixel(right, i, j);
            }
    }
}

int initRectifyMap(cv::Mat K, cv::Mat D, cv::Mat R, cv::Mat P, double xi, double xi2, cv::Size size,
                   int mode, cv::Mat& map1, cv::Mat& map2)
{
    if (size.width <= 0 || size.height <= 0) {
        map1 = cv::Mat();
        map2 = cv::Mat();
        return 1;
    }
    map1 = cv::Mat(size, CV_32FC1);
    map2 = cv::Mat(size, CV_32FC1);
    RectifyModel model;
    if (!readModel(K, D, R, P, xi, xi2, mode, model)) {
        map1.setTo(-1.0f);
        map2.setTo(-1.0f);
        return 1;
    }
    cv::parallel_for_(cv::Range(0, size.height), RectifyMapRows(model, map1, map2));
    return 1;
}
