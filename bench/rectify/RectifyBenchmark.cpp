// Fisheye masks, rectification maps and remapping: the library against the
// straightforward per-pixel evaluation, at both raw sizes (eye images of
// 928 x 800 and 464 x 400) and three rectified sizes; and the four map pairs
// of a capture start at 928 x 800 against OpenCV contrib's omnidir, with
// their ratio printed at the end.
#include <cstdio>

#include <benchmark/benchmark.h>

#include <opencv2/calib3d.hpp>
#include <opencv2/ccalib/omnidir.hpp>
#include <opencv2/imgproc.hpp>

#include "CollectingReporter.h"
#include "SummaryRun.h"
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

// Rounds of both eyes copied fresh from noise, then `mask(rawWidth, left,
// right)` on them, as the capture worker masks fresh halves; the bytes of
// one eye.
template <class Mask>
int64_t freshMaskRounds(benchmark::State& state, Mask mask)
{
    const int rawWidth = static_cast<int>(state.range(0));
    const cv::Mat sourceLeft = noiseEye(rawWidth, 1);
    const cv::Mat sourceRight = noiseEye(rawWidth, 2);
    cv::Mat left = sourceLeft.clone();
    cv::Mat right = sourceRight.clone();
    for (auto _ : state) {
        sourceLeft.copyTo(left);
        sourceRight.copyTo(right);
        mask(rawWidth, left, right);
        benchmark::DoNotOptimize(left.data);
    }
    return static_cast<int64_t>(left.total() * left.elemSize());
}

// Circular mask with the kit's radius (raw width / 4) on both eyes.
template <bool PerPixel>
void circleMask(benchmark::State& state)
{
    const int64_t eyeBytes = freshMaskRounds(state, [](int rawWidth, cv::Mat& left, cv::Mat& right) {
        if (PerPixel)
            korvane::test::perPixelCircleMask(rawWidth >> 2, left, right);
        else
            convertRawFisheyeImage(rawWidth >> 2, left, right);
    });
    state.SetBytesProcessed(state.iterations() * 2 * eyeBytes);
}

// The two copies alone, to subtract from the mask figures.
void copyOnly(benchmark::State& state)
{
    freshMaskRounds(state, [](int, cv::Mat&, cv::Mat&) {});
}

template <bool PerPixel>
void ellipseMask(benchmark::State& state)
{
    freshMaskRounds(state, [](int, cv::Mat& left, cv::Mat& right) {
        if (PerPixel)
            korvane::test::perPixelEllipseMask(left, right, 3.0f, -2.0f, 1.5f, -0.5f);
        else
            convertRawFisheyeImage(left, right, 3.0f, -2.0f, 1.5f, -0.5f);
    });
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

constexpr int kNoDevice = 97; // a video node that is not there

// Both eyes' calibration, the right eye turned a little the other way.
EyeCalibration eyeCalibration(int rawWidth, int eye)
{
    EyeCalibration c = calibration(rawWidth);
    if (eye == 1)
        cv::Rodrigues(cv::Vec3d(-0.012, 0.014, -0.003), c.R);
    return c;
}

// A camera calibrated with both eyes, whose capture-start map building
// (four float map pairs and their fixed-point forms) the benchmark runs.
class MapCamera : public StereoCamera
{
public:
    explicit MapCamera(cv::Size rect) : StereoCamera(kNoDevice)
    {
        if (m_log)
            m_log->setLogLevel(-1);
        setRawFrameSize({1856, 800});
        setRectFrameSize(rect);
        for (int eye = 0; eye < 2; ++eye) {
            const EyeCalibration c = eyeCalibration(1856, eye);
            const cv::Mat translation = (cv::Mat_<double>(3, 1) << -0.06, 0.0, 0.0);
            setCalibParams({c.K, c.D, (cv::Mat_<double>(1, 1) << c.xi), c.R, translation}, eye == 1);
        }
    }
    void buildMaps() { prepareRectification(1.0f); }
};

// The four map pairs of a capture start (perspective and longitude-latitude,
// both eyes): 0 as the camera builds them, float and fixed-point forms;
// 1 the float maps alone; 2 omnidir's float maps for the same views.
void fourMapPairs(benchmark::State& state)
{
    const cv::Size size(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
    const int variant = static_cast<int>(state.range(2));
    MapCamera camera(size);
    const cv::Mat views[2] = {viewMatrix(korvane::kRectifyPerspective, size),
                              viewMatrix(korvane::kRectifyLonLat, size)};
    const int modes[2] = {korvane::kRectifyPerspective, korvane::kRectifyLonLat};
    const int omnidirModes[2] = {cv::omnidir::RECTIFY_PERSPECTIVE, cv::omnidir::RECTIFY_LONGLATI};
    const EyeCalibration eyes[2] = {eyeCalibration(1856, 0), eyeCalibration(1856, 1)};
    for (auto _ : state) {
        if (variant == 0) {
            camera.buildMaps();
            continue;
        }
        // Fresh maps each round, as at a capture start.
        cv::Mat maps[2][2][2];
        for (int view = 0; view < 2; ++view)
            for (int eye = 0; eye < 2; ++eye) {
                const EyeCalibration& c = eyes[eye];
                cv::Mat* out = maps[view][eye];
                const double xi2 = modes[view] == korvane::kRectifyLonLat ? 0.0 : c.xi;
                if (variant == 1)
                    initRectifyMap(c.K, c.D, c.R, views[view], c.xi, xi2, size, modes[view], out[0], out[1]);
                else
                    cv::omnidir::initUndistortRectifyMap(c.K, c.D, cv::Mat(1, 1, CV_64F, cv::Scalar(c.xi)), c.R,
                                                         views[view], size, CV_32FC1, out[0], out[1],
                                                         omnidirModes[view]);
            }
        benchmark::DoNotOptimize(maps[1][1][0].data);
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
BENCHMARK(fourMapPairs)
    ->Args({928, 800, 0})
    ->Args({928, 800, 1})
    ->Args({928, 800, 2})
    ->ArgNames({"w", "h", "variant"})
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime()
    ->MinTime(2.0);

namespace {

// The usual output, then the four map pairs against omnidir.
class SummaryReporter : public CollectingReporter
{
public:
    using CollectingReporter::CollectingReporter;

    void Finalize() override
    {
        CollectingReporter::Finalize();
        const double omnidir = ms("fourMapPairs/w:928/h:800/variant:2");
        std::printf("\nFour map pairs at 928x800 (perspective and longitude-latitude, both eyes)\n");
        std::printf("%-42s %9s %12s\n", "", "ms", "x omnidir");
        const char* names[3] = {"capture start (float and fixed-point maps)", "float maps alone",
                                "omnidir, float maps"};
        for (int variant = 0; variant < 3; ++variant) {
            const double time = ms("fourMapPairs/w:928/h:800/variant:" + std::to_string(variant));
            std::printf("%-42s", names[variant]);
            cell(time, 9, 2);
            cell(time < 0 || omnidir <= 0 ? -1 : time / omnidir, 12, 2);
            std::printf("\n");
        }
    }
};

} // namespace

int main(int argc, char** argv)
{
    if (!startBenchmarks(argc, argv))
        return 1;
    runWithSummary<SummaryReporter>();
    return 0;
}
