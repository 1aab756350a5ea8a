#ifndef KORVANE_EMULATOR_SYNTHETIC_PROCEDURALTEXTURE_H
#define KORVANE_EMULATOR_SYNTHETIC_PROCEDURALTEXTURE_H

#include <cstdint>

#include <opencv2/core.hpp>

namespace korvane::synthetic {

// A deterministic colour pattern over a surface's 2D coordinates (metres).
// Every kind is smooth at the scale of a pixel, so point sampling renders
// it without aliasing: gradient noise for stereo matching, a checker board
// with softened edges whose corners are sharp, locatable saddles, and a
// printed image (a calibration target) with softened edges.
class ProceduralTexture
{
public:
    // Colour = base * (1 + 1.8 (n1 - 0.5)) + accent * 2 (n2 - 0.5), with two
    // independent gradient noises n1, n2 of the given feature size, about 0
    // to 1.
    static ProceduralTexture noise(const cv::Vec3d& baseBgr, const cv::Vec3d& accentBgr,
                                   double featureSize, std::uint32_t seed);
    // Squares of the given size with corners at integer multiples of it;
    // colour changes across an edge over about edgeWidth.
    static ProceduralTexture checker(const cv::Vec3d& darkBgr, const cv::Vec3d& lightBgr,
                                     double squareSize, double edgeWidth);

    // An image printed at metresPerPixel, centred on the surface origin:
    // pixel (x, y) covers [x, x + 1) * metresPerPixel from the print's
    // top-left corner. Edges are softened by a Gaussian of edgeWidth (metres);
    // outside the print the surface is white.
    static ProceduralTexture print(const cv::Mat& image, double metresPerPixel, double edgeWidth);

    // BGR colour, 0 to 255 (not clamped), at surface point (a, b).
    cv::Vec3d colour(double a, double b) const;

private:
    enum class Kind { Noise, Checker, Print };

    ProceduralTexture(Kind kind, const cv::Vec3d& first, const cv::Vec3d& second, double size,
                      double sharpness, std::uint32_t seed);
    double gradientNoise(double a, double b, std::uint32_t seed) const;
    double fractalNoise(double a, double b, std::uint32_t seed) const;
    cv::Vec3d printColour(double a, double b) const;

    Kind m_kind;
    cv::Vec3d m_first;   // noise: base colour; checker: dark colour
    cv::Vec3d m_second;  // noise: accent colour; checker: light colour
    double m_size;       // feature size or square size, metres
    double m_sharpness;  // checker: 1 / softening of sin(pi a / size)
    std::uint32_t m_seed;
    cv::Mat m_print; // print: the softened image, CV_32FC3
};

} // namespace korvane::synthetic

#endif
