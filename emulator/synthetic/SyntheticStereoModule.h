#ifndef KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSTEREOMODULE_H
#define KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSTEREOMODULE_H

#include <opencv2/core.hpp>

#include "camera/ModuleFrameSize.h"
#include "emulator/synthetic/SyntheticRig.h"
#include "emulator/synthetic/SyntheticScene.h"

namespace korvane::synthetic {

// A stereo fisheye module made of arithmetic: renders the side-by-side
// frames the real module would deliver of a known scene, and the ground
// truth to check the kit against. Rendering traces each pixel's ray through
// the inverse of the camera model the kit rectifies with. Frames are a pure
// function of their index (30 per second of scene time).
class SyntheticStereoModule
{
public:
    static constexpr double kFrameRate = 30.0;

    // rawSize: a module's full or half frame (any size with an even width
    // works; the intrinsics scale with the width over the calibrated raw
    // width, as in the kit).
    explicit SyntheticStereoModule(cv::Size rawSize = kFullModuleFrame);
    // The same module looking at another scene.
    SyntheticStereoModule(cv::Size rawSize, const SyntheticScene& scene);

    cv::Size rawSize() const { return m_rawSize; }
    double scale() const;
    const SyntheticRig& rig() const { return m_rig; }
    const SyntheticScene& scene() const { return m_scene; }
    static double timeOf(int frameIndex) { return frameIndex / kFrameRate; }

    // Side-by-side BGR frame: left eye in the left half. Pixels the lenses do
    // not see are black.
    cv::Mat renderFrame(int frameIndex) const;
    cv::Mat renderEye(int frameIndex, bool right) const;

    // Depth (CV_32FC1, metres along the optical axis) of the left eye's
    // perspective rectified view: size W x H, horizontal field of view hFov,
    // focal length (W/2) / tan(hFov/2) on both axes, principal point at the
    // image centre. `viewFromRig` turns the view away from the rig frame, as
    // a calibration's rectifying rotation of the left eye does (the rig
    // frame is the true rectified frame).
    cv::Mat renderDepth(int frameIndex, cv::Size rectifiedSize, double hFovDegrees,
                        const cv::Matx33d& viewFromRig = cv::Matx33d::eye()) const;

    // Pixel where a rig-frame point appears in an eye's perspective rectified
    // view (the pinhole model of renderDepth's camera, placed at the eye).
    static cv::Matx33d perspectiveMatrix(cv::Size rectifiedSize, double hFovDegrees);
    cv::Point2d rectifiedPixel(const cv::Vec3d& point, bool right, cv::Size rectifiedSize,
                               double hFovDegrees) const;

    // True when nothing lies between the eye and a point of the scene.
    bool visibleFrom(const cv::Vec3d& point, bool right, double t) const;

private:
    cv::Size m_rawSize;
    SyntheticRig m_rig;
    SyntheticScene m_scene;
};

} // namespace korvane::synthetic

#endif
