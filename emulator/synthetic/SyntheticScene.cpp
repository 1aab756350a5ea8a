#include "emulator/synthetic/SyntheticScene.h"

#include <cmath>

namespace korvane::synthetic {

namespace {

const cv::Vec3d kRight(1.0, 0.0, 0.0);
const cv::Vec3d kDown(0.0, 1.0, 0.0);
const cv::Vec3d kForward(0.0, 0.0, 1.0);

// Horizontal axis of a panel turned by `degrees` about the vertical axis.
cv::Vec3d turned(double degrees)
{
    const double a = degrees * CV_PI / 180.0;
    return {std::cos(a), 0.0, -std::sin(a)};
}

std::vector<SceneObject> room()
{
    using T = ProceduralTexture;
    return {
        SceneObject::plane({0.0, 0.0, 3.2}, kRight, kDown, T::noise({150, 180, 205}, {40, -25, 30}, 0.12, 11)),
        SceneObject::plane({0.0, 1.1, 0.0}, kRight, kForward, T::noise({95, 125, 110}, {-20, 30, 25}, 0.10, 12)),
        SceneObject::plane({0.0, -1.4, 0.0}, kRight, kForward, T::noise({200, 200, 195}, {20, 10, -30}, 0.12, 13)),
        SceneObject::plane({-2.2, 0.0, 0.0}, kForward, kDown, T::noise({170, 120, 90}, {30, 30, -20}, 0.10, 14)),
        SceneObject::plane({2.3, 0.0, 0.0}, kForward, kDown, T::noise({95, 110, 170}, {-25, 35, 30}, 0.10, 15)),
        SceneObject::plane({0.0, 0.0, -2.0}, kRight, kDown, T::noise({130, 130, 130}, {35, -20, 20}, 0.10, 16)),
    };
}

} // namespace

SyntheticScene::SyntheticScene() : m_objects(room())
{
    using T = ProceduralTexture;
    m_board = m_objects.size();
    m_objects.push_back(SceneObject::panel({-0.08, -0.06, 0.85}, turned(20.0), kDown,
                                           kSquaresAcross / 2 * kSquareSize, kSquaresDown / 2 * kSquareSize,
                                           T::checker({40, 40, 40}, {225, 225, 225}, kSquareSize, 0.008)));
    m_objects.push_back(SceneObject::sphere({0.38, 0.12, 0.76}, 0.11, T::noise({70, 80, 190}, {40, 60, -30}, 0.03, 21))
                            .moving({0.10, 0.0, 0.0}, 2.0, 0.0));
    m_objects.push_back(SceneObject::panel({-0.38, 0.30, 0.95}, kRight, kDown, 0.14, 0.12,
                                           T::noise({60, 190, 200}, {50, -40, 30}, 0.03, 22))
                            .moving({0.0, 0.0, 0.12}, 3.0, 0.5));
    m_objects.push_back(SceneObject::panel({0.25, -0.35, 1.7}, turned(-15.0), kDown, 0.55, 0.30,
                                           T::noise({150, 110, 160}, {-30, 50, 30}, 0.05, 23)));
}

SyntheticScene SyntheticScene::wall(double distance)
{
    SyntheticScene scene;
    scene.m_objects = room();
    scene.m_board = scene.m_objects.size();
    scene.m_objects.push_back(SceneObject::plane({0.0, 0.0, distance}, kRight, kDown,
                                                 ProceduralTexture::noise({140, 150, 120}, {60, -45, 50}, 0.03, 31)));
    return scene;
}

SyntheticScene SyntheticScene::withObject(const SceneObject& object)
{
    SyntheticScene scene;
    scene.m_objects = room();
    scene.m_board = scene.m_objects.size();
    scene.m_objects.push_back(object);
    return scene;
}

bool SyntheticScene::trace(const cv::Vec3d& origin, const cv::Vec3d& direction, double t,
                           cv::Vec3d& colour, double& distance) const
{
    constexpr double kMinDistance = 1e-6;
    const SceneObject* nearest = nullptr;
    for (const SceneObject& object : m_objects) {
        double d = 0.0;
        if (object.intersect(origin, direction, t, kMinDistance, d) && (!nearest || d < distance)) {
            nearest = &object;
            distance = d;
        }
    }
    if (!nearest)
        return false;
    colour = nearest->colourAt(origin + direction * distance, t);
    return true;
}

std::vector<cv::Vec3d> SyntheticScene::boardCorners(double t) const
{
    std::vector<cv::Vec3d> corners;
    for (int row = 1; row < kSquaresDown; ++row)
        for (int col = 1; col < kSquaresAcross; ++col)
            corners.push_back(m_objects[m_board].surfacePoint((col - kSquaresAcross / 2) * kSquareSize,
                                                              (row - kSquaresDown / 2) * kSquareSize, t));
    return corners;
}

} // namespace korvane::synthetic
