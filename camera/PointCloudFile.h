#ifndef KORVANE_CAMERA_POINTCLOUDFILE_H
#define KORVANE_CAMERA_POINTCLOUDFILE_H

#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "StereoCamera.h"
#include "camera/KorvaneCameraExport.h"

namespace korvane {

// PLY export of point clouds, readable by common point-cloud tools.
enum class PlyFormat { BinaryLittleEndian, Ascii };

// Writes x, y, z (float, metres) and red, green, blue (uchar) per vertex.
// False, with nothing left half-written under `path`, when the file cannot
// be written.
KORVANE_CAMERA_EXPORT bool writePly(const std::string& path, const std::vector<PCL>& points,
              PlyFormat format = PlyFormat::BinaryLittleEndian);

// Positions only: x, y, z (float) per vertex.
KORVANE_CAMERA_EXPORT bool writePly(const std::string& path, const std::vector<cv::Vec3f>& points,
              PlyFormat format = PlyFormat::BinaryLittleEndian);

} // namespace korvane

#endif
