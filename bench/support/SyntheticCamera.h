#ifndef KORVANE_BENCH_SYNTHETICCAMERA_H
#define KORVANE_BENCH_SYNTHETICCAMERA_H

// The stereo camera with the synthetic module's calibration, quiet, on a
// video node that is not there: the base of the benchmarks' cameras, which
// reach into its maps and workers.

#include <opencv2/imgproc.hpp>

#include "camera/ModuleFrameSize.h"
#include "camera/StereoCamera.h"
#include "emulator/synthetic/SyntheticRig.h"

class SyntheticCamera : public StereoCamera
{
public:
    static constexpr int kNoDevice = 97;
    static constexpr double kFieldOfView = 90.0; // the synthetic module's perspective view

    SyntheticCamera(cv::Size raw, cv::Size rect, int depthMode, int algorithm) : StereoCamera(kNoDevice)
    {
        if (m_log)
            m_log->setLogLevel(-1);
        setRawFrameSize(raw);
        setRectFrameSize(rect);
        const korvane::synthetic::SyntheticRig rig;
        setCalibParams(rig.calibParams(false), false);
        setCalibParams(rig.calibParams(true), true);
        setDepthMode(depthMode);
        setMatchingAlgorithm(algorithm);
        setFieldOfView(kFieldOfView);
    }

    // Scales the intrinsics to the raw width and builds the maps, as at
    // capture start. Once per camera: the scaling is in place.
    void buildMaps() { prepareRectification(static_cast<float>(getRawFrameSize().width / double(korvane::kCalibratedRawWidth))); }
};

// One remap with a pair of float maps, bilinear with a black border as the
// camera remaps.
inline cv::Mat remapped(const cv::Mat& raw, const cv::Mat* maps)
{
    cv::Mat out;
    cv::remap(raw, out, maps[0], maps[1], cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return out;
}

// The same with the fixed-point form of the maps.
inline cv::Mat remapped(const cv::Mat& raw, const korvane::FixedPointMaps& fixed)
{
    cv::Mat out;
    cv::remap(raw, out, fixed.positions, fixed.fractions, cv::INTER_LINEAR, cv::BORDER_CONSTANT, cv::Scalar());
    return out;
}

#endif
