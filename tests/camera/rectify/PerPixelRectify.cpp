#include "PerPixelRectify.h"

#include <cmath>
#include <cstring>

#include "camera/FisheyeRectify.h"

namespace korvane::test {

namespace {

void blackPixel(cv::Mat& image, int i, int j)
{
    std::memset(image.ptr(i, j), 0, image.elemSize());
}

cv::Mat doubles(const cv::Mat& m)
{
    cv::Mat out;
    m.convertTo(out, CV_64F);
    return out;
}

// X = m (a, b, c) as a column matrix.
cv::Mat times(const cv::Mat& m, double a, double b, double c)
{
    return (cv::Mat_<double>(3, 1) << MatRowMul(m, a, b, c, 0), MatRowMul(m, a, b, c, 1),
            MatRowMul(m, a, b, c, 2));
}

cv::Mat rayOf(const cv::Mat& iP, const cv::Mat& iR, const cv::Mat& iPR, double xi2, int mode, double u,
              double v)
{
    if (mode == 2)
        return times(iPR, u, v, 1.0);
    if (mode == 1) {
        const double theta = MatRowMul(iP, u, v, 1.0, 0);
        const double h = MatRowMul(iP, u, v, 1.0, 1);
        const cv::Mat xs = (cv::Mat_<double>(3, 1) << -std::cos(theta), -std::sin(theta) * std::cos(h),
                            std::sin(theta) * std::sin(h));
        return times(iR, xs.at<double>(0), xs.at<double>(1), xs.at<double>(2));
    }
    if (mode == 0) {
        const double x = MatRowMul(iP, u, v, 1.0, 0);
        const double y = MatRowMul(iP, u, v, 1.0, 1);
        const double r2 = x * x + y * y;
        const double kappa = (xi2 + std::sqrt(1.0 + (1.0 - xi2 * xi2) * r2)) / (1.0 + r2);
        const cv::Mat xs = (cv::Mat_<double>(3, 1) << kappa * x, kappa * y, kappa - xi2);
        return times(iR, xs.at<double>(0), xs.at<double>(1), xs.at<double>(2));
    }
    return cv::Mat::zeros(3, 1, CV_64F);
}

} // namespace

void perPixelCircleMask(int radius, cv::Mat& left, cv::Mat& right)
{
    const int cx = left.cols / 2;
    const int cy = left.rows / 2;
    const float r2 = static_cast<float>(radius * radius);
    for (int i = 0; i < left.rows; ++i)
        for (int j = 0; j < left.cols; ++j) {
            const float reach = r2 - static_cast<float>((cy - i) * (cy - i));
            const bool rowOutside = reach < 0.0f;
            const int half = rowOutside ? 0 : static_cast<int>(std::sqrt(reach));
            if (rowOutside || j < cx - half || j > cx + half) {
                blackPixel(left, i, j);
                blackPixel(right, i, j);
            }
        }
}

void perPixelEllipseMask(cv::Mat& left, cv::Mat& right, float a, float b, float c, float d)
{
    const float rowAxis = static_cast<float>(left.rows / 2) + a;
    const float colAxis = static_cast<float>(left.cols / 2) + b;
    const float cx = static_cast<float>(left.cols / 2) + c;
    const float cy = static_cast<float>(left.rows / 2) + d;
    for (int i = 0; i < left.rows; ++i)
        for (int j = 0; j < left.cols; ++j) {
            const float di = static_cast<float>(i) - cy;
            const float dj = static_cast<float>(j) - cx;
            if (di * di / (rowAxis * rowAxis) + dj * dj / (colAxis * colAxis) > 1.0f) {
                blackPixel(left, i, j);
                blackPixel(right, i, j);
            }
        }
}

int perPixelRectifyMap(const cv::Mat& K, const cv::Mat& D, const cv::Mat& R, const cv::Mat& P, double xi,
                       double xi2, cv::Size size, int mode, cv::Mat& map1, cv::Mat& map2)
{
    map1 = cv::Mat(size, CV_32FC1);
    map2 = cv::Mat(size, CV_32FC1);
    const cv::Mat k = doubles(K);
    const cv::Mat d = doubles(D.reshape(1, 1));
    const cv::Mat p = doubles(P);
    const cv::Mat r = doubles(R);
    const cv::Mat iP = p.inv(cv::DECOMP_LU);
    const cv::Mat iR = r.inv(cv::DECOMP_LU);
    const cv::Mat iPR = cv::Mat(p * r).inv(cv::DECOMP_LU);
    for (int i = 0; i < size.height; ++i)
        for (int j = 0; j < size.width; ++j) {
            const cv::Mat X = rayOf(iP, iR, iPR, xi2, mode, j, i);
            const double x0 = X.at<double>(0), x1 = X.at<double>(1), x2 = X.at<double>(2);
            const double n = std::sqrt(x0 * x0 + x1 * x1 + x2 * x2);
            const double xn0 = x0 / n, xn1 = x1 / n, xn2 = x2 / n;
            const double x = xn0 / (xn2 + xi);
            const double y = xn1 / (xn2 + xi);
            const double k1 = d.at<double>(0), k2 = d.at<double>(1);
            const double p1 = d.at<double>(2), p2 = d.at<double>(3);
            const double r2 = x * x + y * y;
            const double r4 = r2 * r2;
            const double radial = 1.0 + k1 * r2 + k2 * r4;
            const double xd = x * radial + 2.0 * p1 * x * y + p2 * (r2 + 2.0 * x * x);
            const double yd = y * radial + p1 * (r2 + 2.0 * y * y) + 2.0 * p2 * x * y;
            map1.at<float>(i, j) = static_cast<float>(k.at<double>(0, 0) * xd + k.at<double>(0, 1) * yd +
                                                      k.at<double>(0, 2));
            map2.at<float>(i, j) = static_cast<float>(k.at<double>(1, 1) * yd + k.at<double>(1, 2));
        }
    return 1;
}

} // namespace korvane::test
