#ifndef KORVANE_CAMERA_CALIBRATIONBLOCK_H
#define KORVANE_CAMERA_CALIBRATIONBLOCK_H

// Internal: the device camera's view of the calibration block read from the
// module's flash (a calibration file followed by zero bytes up to
// CalibrationFormat::kBlockSize), on the block's bytes alone. Not installed.

#include <cstddef>
#include <string>

namespace korvane {

// What keeps a block read from flash from being a calibration file followed
// by zero bytes; empty when nothing does.
std::string calibrationBlockProblem(const std::string& block);

// How many of the block's first length bytes the calibration file takes:
// up to its first zero byte, the settings parser refusing text with NUL bytes
// in it; length when there is none.
std::size_t calibrationFileLength(const char* block, std::size_t length);

} // namespace korvane

#endif
