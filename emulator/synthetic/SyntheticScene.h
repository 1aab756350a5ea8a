#ifndef KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSCENE_H
#define KORVANE_EMULATOR_SYNTHETIC_SYNTHETICSCENE_H

#include <vector>

#include <opencv2/core.hpp>

#include "emulator/synthetic/SceneObject.h"

namespace korvane::synthetic {

// The synthetic module's scene, in the rig frame (x right, y down, z
// forward, metres, origin at the left eye): a closed room whose walls stand
// 1.1 to 3.2 m away, with noise textures, and in front of the eyes a checker
// board (static, 0.78 to 0.92 m, turned 20 degrees), a sphere swinging from
// side to side (0.65 to 0.87 m), a panel moving to and fro in depth (0.83 to
// 1.07 m) and a large static panel at about 1.7 m. Every ray meets a surface.
class SyntheticScene
{
public:
    SyntheticScene();

    // The room alone with one textured wall square to the eyes at `distance`
    // metres, in front of everything the rectified views see: a known plane
    // of constant depth in every direction.
    static SyntheticScene wall(double distance);

    // The room alone with one object in front of the eyes, such as a
    // calibration target.
    static SyntheticScene withObject(const SceneObject& object);

    // First surface met by a ray from `origin` along the unit `direction` at
    // time t (seconds): its colour (BGR, 0 to 255) and distance (metres).
    bool trace(const cv::Vec3d& origin, const cv::Vec3d& direction, double t, cv::Vec3d& colour,
               double& distance) const;

    // Interior corners of the checker board at time t, row by row.
    std::vector<cv::Vec3d> boardCorners(double t) const;
    double boardSquareSize() const { return kSquareSize; }

private:
    static constexpr double kSquareSize = 0.04;
    static constexpr int kSquaresAcross = 10;
    static constexpr int kSquaresDown = 8;

    std::vector<SceneObject> m_objects;
    size_t m_board = 0; // index of the checker board in m_objects
};

} // namespace korvane::synthetic

#endif
