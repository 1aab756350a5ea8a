#include "emulator/synthetic/ProceduralTexture.h"

#include <algorithm>
#include <cmath>

#include <opencv2/imgproc.hpp>

namespace korvane::synthetic {

namespace {

std::uint32_t mix(std::uint32_t x)
{
    x ^= x >> 16;
    x *= 0x7feb352dU;
    x ^= x >> 15;
    x *= 0x846ca68bU;
    x ^= x >> 16;
    return x;
}

// Unit gradient at an integer lattice point.
cv::Vec2d latticeGradient(std::int64_t ix, std::int64_t iy, std::uint32_t seed)
{
    const std::uint32_t h = mix(static_cast<std::uint32_t>(ix) + mix(static_cast<std::uint32_t>(iy) + mix(seed)));
    const double angle = h / 4294967296.0 * 2.0 * CV_PI;
    return {std::cos(angle), std::sin(angle)};
}

double fade(double t)
{
    return t * t * t * (t * (t * 6.0 - 15.0) + 10.0);
}

} // namespace

ProceduralTexture::ProceduralTexture(Kind kind, const cv::Vec3d& first, const cv::Vec3d& second,
                                     double size, double sharpness, std::uint32_t seed)
    : m_kind(kind), m_first(first), m_second(second), m_size(size), m_sharpness(sharpness), m_seed(seed)
{
}

ProceduralTexture ProceduralTexture::noise(const cv::Vec3d& baseBgr, const cv::Vec3d& accentBgr,
                                           double featureSize, std::uint32_t seed)
{
    return ProceduralTexture(Kind::Noise, baseBgr, accentBgr, featureSize, 0.0, seed);
}

ProceduralTexture ProceduralTexture::checker(const cv::Vec3d& darkBgr, const cv::Vec3d& lightBgr,
                                             double squareSize, double edgeWidth)
{
    // Near an edge sin(pi a / size) ~ pi a / size: a softening of
    // pi edgeWidth / size spreads the change over about edgeWidth.
    return ProceduralTexture(Kind::Checker, darkBgr, lightBgr, squareSize,
                             squareSize / (CV_PI * edgeWidth), 0);
}

ProceduralTexture ProceduralTexture::print(const cv::Mat& image, double metresPerPixel, double edgeWidth)
{
    ProceduralTexture texture(Kind::Print, {255.0, 255.0, 255.0}, {255.0, 255.0, 255.0}, metresPerPixel, 0.0, 0);
    cv::Mat colour;
    if (image.channels() == 1)
        cv::cvtColor(image, colour, cv::COLOR_GRAY2BGR);
    else
        colour = image;
    colour.convertTo(texture.m_print, CV_32FC3);
    const double sigma = edgeWidth / metresPerPixel;
    if (sigma > 0.3)
        cv::GaussianBlur(texture.m_print, texture.m_print, cv::Size(), sigma, sigma, cv::BORDER_REPLICATE);
    return texture;
}

// Bilinear between the print's pixel centres; white beyond its border.
cv::Vec3d ProceduralTexture::printColour(double a, double b) const
{
    const double x = a / m_size + m_print.cols / 2.0 - 0.5;
    const double y = b / m_size + m_print.rows / 2.0 - 0.5;
    if (!(x >= 0.0 && y >= 0.0 && x <= m_print.cols - 1.0 && y <= m_print.rows - 1.0))
        return m_first;
    const int x0 = std::min(static_cast<int>(x), m_print.cols - 2);
    const int y0 = std::min(static_cast<int>(y), m_print.rows - 2);
    const double fx = x - x0, fy = y - y0;
    const auto at = [&](int row, int col) { return cv::Vec3d(m_print.at<cv::Vec3f>(row, col)); };
    return (at(y0, x0) * (1.0 - fx) + at(y0, x0 + 1) * fx) * (1.0 - fy) +
           (at(y0 + 1, x0) * (1.0 - fx) + at(y0 + 1, x0 + 1) * fx) * fy;
}

// Gradient noise in [0, 1]: no plateaus at the lattice points, so every
// part of a surface carries detail.
double ProceduralTexture::gradientNoise(double a, double b, std::uint32_t seed) const
{
    const double fa = std::floor(a);
    const double fb = std::floor(b);
    const auto ia = static_cast<std::int64_t>(fa);
    const auto ib = static_cast<std::int64_t>(fb);
    const double da = a - fa;
    const double db = b - fb;
    auto corner = [&](int oa, int ob) {
        const cv::Vec2d g = latticeGradient(ia + oa, ib + ob, seed);
        return g[0] * (da - oa) + g[1] * (db - ob);
    };
    const double ta = fade(da);
    const double tb = fade(db);
    const double top = corner(0, 0) * (1.0 - ta) + corner(1, 0) * ta;
    const double bottom = corner(0, 1) * (1.0 - ta) + corner(1, 1) * ta;
    return 0.5 + 0.7 * (top * (1.0 - tb) + bottom * tb);
}

// Three octaves, the finest at the feature size.
double ProceduralTexture::fractalNoise(double a, double b, std::uint32_t seed) const
{
    const double u = a / m_size;
    const double v = b / m_size;
    return 0.5 * gradientNoise(u, v, seed) + 0.3 * gradientNoise(u * 0.43, v * 0.43, seed + 101U) +
           0.2 * gradientNoise(u * 0.17, v * 0.17, seed + 202U);
}

cv::Vec3d ProceduralTexture::colour(double a, double b) const
{
    if (m_kind == Kind::Print)
        return printColour(a, b);
    if (m_kind == Kind::Checker) {
        const double sa = std::tanh(std::sin(CV_PI * a / m_size) * m_sharpness);
        const double sb = std::tanh(std::sin(CV_PI * b / m_size) * m_sharpness);
        const double t = 0.5 + 0.5 * sa * sb;
        return m_first + (m_second - m_first) * t;
    }
    const double n1 = fractalNoise(a, b, m_seed);
    const double n2 = fractalNoise(a, b, m_seed + 7919U);
    return m_first * (1.0 + 0.9 * (n1 - 0.5) * 2.0) + m_second * (n2 - 0.5) * 2.0;
}

} // namespace korvane::synthetic
