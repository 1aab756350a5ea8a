// Fisheye masks, rectification maps and remapping: the library against the
// straightforward per-pixel evaluation, at both raw sizes (eye images of
// 928 x 800 and 464 x 400) and three rectified sizes.
#include <benchmark/benchmark.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/imgproc.hpp>

#include "PerPixelRectify.h"
#include "camera/StereoCamera.h"

namespace {

// Raw side-by-side widths; each eye is half of it, height width * 400 / 928.
cv::Size eyeSize(int rawWidth)
{
    return {rawWidth / 2, rawWidth * 400 / 928};
}

cv::Mat noiseEye(int rawWidth, unsigned seed)
{
    cv::Mat image(eyeSize(rawWidth), CV_8UC3);
    cv::RNG(seed).fill(image, cv::RNG::UNIFORM, 0, 256);
    return image;
}

// One eye's calibration at raw width 1856, scaled to the raw width as the
// kit does at capture start.
struct EyeCalibration
{
    cv::Mat K, D, R;
    double xi;
};

EyeCalibration calibration(int rawWidth)
{
    EyeCalibration c;
    c.K = (cv::Mat_<double>(3, 3) << 483.5, 0.1, 463.2, 0, 482.9, 401.7, 0, 0, 1);
    c.K.rowRange(0, 2) *= rawWidth / 1856.0;
    c.D = (cv::Mat_<double>(1, 4) << -0.051, 0.012, 4e-4, -3e-4);
    cv::Rodrigues(cv::Vec3d(0.01, -0.015, 0.004), c.R);
    c.xi = 1.21;
    return c;
}

cv::Mat viewMatrix(int mode, cv::Size size)
{
    return mode == korvane::kRectifyLonLat ? korvane::lonLatCameraMatrix(size, 180.0, 222.0)
                                           : korvane::perspectiveCameraMatrix(size, 90.0);
}

// Circular mask with the kit's radius (raw width / 4) on both eyes, on a
// fresh copy each round as the capture worker masks fresh halves.
template <bool PerPixel>
void circleMask(benchmark::State& state)
{
    const int rawWidth = static_cast<int>(state.range(0));
    const cv::Mat sourceLeft = noiseEye(rawWidth, 1);
    const cv::Mat sourceRight = noiseEye(rawWidth, 2);
    cv::Mat left = sourceLeft.clone();
    cv::Mat right = sourceRight.clone();
    for (auto _ : state) {
        sourceLeft.copyTo(left);
        sourceRight.copyTo(right);
        if (PerPixel)
            korvane::test::perPixelCircleMask(rawWidth >> 2, left, right);
        else
            convertRawFisheyeImage(rawWidth >> 2, left, right);
        benchmark::DoNotOptimize(left.data);
    }
    state.SetBytesProcessed(state.iterations() * 2 * static_cast<int64_t>(left.total() * left.elemSize()));
}

// The two copies alone, to subtract from the mask figures.
void copyOnly(benchmark::State& state)
{
    const int rawWidth = static_cast<int>(state.range(0));
    const cv::Mat sourceLeft = noiseEye(rawWidth, 1);
    const cv::Mat sourceRight = noiseEye(rawWidth, 2);
    cv::Mat left = sourceLeft.clone();
    cv::Mat right = sourceRight.clone();
    for (auto _ : state) {
        sourceLeft.copyTo(left);
        sourceRight.copyTo(right);
        benchmark::DoNotOptimize(left.data);
    }
}

template <bool PerPixel>
void ellipseMask(benchmark::State& state)
{
    const int rawWidth = static_cast<int>(state.range(0));
    const cv::Mat sourceLeft = noiseEye(rawWidth, 1);
    const cv::Mat sourceRight = noiseEye(rawWidth, 2);
    cv::Mat left = sourceLeft.clone();
    cv::Mat right = sourceRight.clone();
    for (auto _ : state) {
        sourceLeft.copyTo(left);
        sourceRight.copyTo(right);
        if (PerPixel)
            korvane::test::perPixelEllipseMask(left, right, 3.0f, -2.0f, 1.5f, -0.5f);
        else
            convertRawFisheyeImage(left, right, 3.0f, -2.0f, 1.5f, -0.5f);
        benchmark::DoNotOptimize(left.data);
    }
}

// One map pair: args raw width, rectified width, rectified height, mode.
template <bool PerPixel>
void mapBuilding(benchmark::State& state)
{
    const EyeCalibration c = calibration(static_cast<int>(state.range(0)));
    const cv::Size size(static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
    const int mode = static_cast<int>(state.range(3));
    const cv::Mat P = viewMatrix(mode, size);
    const double xi2 = mode == korvane::kRectifyLonLat ? 0.0 : c.xi;
    cv::Mat map1, map2;
    for (auto _ : state) {
        if (PerPixel)
            korvane::test::perPixelRectifyMap(c.K, c.D, c.R, P, c.xi, xi2, size, mode, map1, map2);
        else
            initRectifyMap(c.K, c.D, c.R, P, c.xi, xi2, size, mode, map1, map2);
        benchmark::DoNotOptimize(map1.data);
    }
    state.counters["pixels"] = size.area();
}

// Per frame: both eyes remapped with their pairs (bilinear, black border),
// as getRectStereoFrame does; args raw width, rectified width and height.
void remapPair(benchmark::State& state)
{
    const int rawWidth = static_cast<int>(state.range(0));
    const EyeCalibration c = calibration(rawWidth);
    const cv::Size size(static_cast<int>(state.range(1)), static_cast<int>(state.range(2)));
    const cv::Mat P = viewMatrix(korvane::kRectifyPerspective, size);
    cv::Mat map1, map2;
    initRectifyMap(c.K, c.D, c.R, P, c.xi, c.xi, size, korvane::kRectifyPerspective, map1, map2);
    const cv::Mat left = noiseEye(rawWidth, 1);
    const cv::Mat right = noiseEye(rawWidth, 2);
    for (auto _ : state) {
        cv::Mat outLeft, outRight;
        cv::remap(left, outLeft, map1, map2, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
        cv::remap(right, outRight, map1, map2, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
        benchmark::DoNotOptimize(outRight.data);
    }
}

void rawSizes(benchmark::internal::Benchmark* b)
{
    b->Arg(1856)->Arg(928)->Unit(benchmark::kMicrosecond);
}

void mapSizes(benchmark::internal::Benchmark* b)
{
    for (int mode : {korvane::kRectifyPerspective, korvane::kRectifyLonLat})
        for (int raw : {1856, 928})
            for (auto size : {cv::Size(464, 400), cv::Size(640, 480), cv::Size(928, 800)})
                b->Args({raw, size.width, size.height, mode});
    b->ArgNames({"raw", "w", "h", "mode"})->Unit(benchmark::kMillisecond);
}

void remapSizes(benchmark::internal::Benchmark* b)
{
    for (int raw : {1856, 928})
        for (auto size : {cv::Size(464, 400), cv::Size(640, 480), cv::Size(928, 800)})
            b->Args({raw, size.width, size.height});
    b->ArgNames({"raw", "w", "h"})->Unit(benchmark::kMicrosecond);
}

} // namespace

BENCHMARK(copyOnly)->Apply(rawSizes);
BENCHMARK_TEMPLATE(circleMask, false)->Name("circleMask/spans")->Apply(rawSizes);
BENCHMARK_TEMPLATE(circleMask, true)->Name("circleMask/perPixel")->Apply(rawSizes);
BENCHMARK_TEMPLATE(ellipseMask, false)->Name("ellipseMask/spans")->Apply(rawSizes);
BENCHMARK_TEMPLATE(ellipseMask, true)->Name("ellipseMask/perPixel")->Apply(rawSizes);
BENCHMARK_TEMPLATE(mapBuilding, false)->Name("mapBuilding/parallel")->Apply(mapSizes);
BENCHMARK_TEMPLATE(mapBuilding, true)->Name("mapBuilding/perPixel")->Apply(mapSizes);
BENCHMARK(remapPair)->Apply(remapSizes);

BENCHMARK_MAIN();
