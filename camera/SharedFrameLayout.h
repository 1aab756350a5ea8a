#ifndef KORVANE_CAMERA_SHAREDFRAMELAYOUT_H
#define KORVANE_CAMERA_SHAREDFRAMELAYOUT_H

// The System V shared-memory segment through which a capturing process
// hands the masked left image of each frame to other processes.
//
//   key        9000 + position number
//   size       (raw width / 2) * raw height * 3 + 4 bytes
//   bytes 0-3  status word, native-endian 32-bit: 0 empty (the reader took
//              the last image), 2 a new image is present
//   bytes 4-   the left image, 8-bit BGR, rows top to bottom, width * 3
//              bytes a row, no padding
//
// The writer copies a frame only while the word is 0: it sets 2, then copies.
// A reader copies the image, then sets 0. There is no other lock.

#include <cstddef>
#include <cstdint>

#include <opencv2/core.hpp>

namespace korvane::shm {

constexpr int kKeyBase = 9000;
constexpr std::int32_t kEmpty = 0;
constexpr std::int32_t kNewImage = 2;
constexpr size_t kHeaderBytes = 4;

inline int keyFor(int posNumber) { return kKeyBase + posNumber; }

// Segment size for a left image size, in 64 bits so that no size wraps
// round; 0 for a size with a side below 1.
inline std::uint64_t segmentBytesForImage(cv::Size image)
{
    if (image.width < 1 || image.height < 1)
        return 0;
    return static_cast<std::uint64_t>(image.width) * static_cast<std::uint64_t>(image.height) * 3 + kHeaderBytes;
}

// Segment size for a raw side-by-side frame size (the width halved with
// integer division).
inline size_t segmentBytes(cv::Size rawFrame)
{
    return static_cast<size_t>(segmentBytesForImage(cv::Size(rawFrame.width / 2, rawFrame.height)));
}

// The status word is shared with another process: atomic accesses keep both
// sides' compilers and the race checkers honest.
inline std::int32_t loadStatus(const void* segment)
{
    return __atomic_load_n(static_cast<const std::int32_t*>(segment), __ATOMIC_ACQUIRE);
}

inline void storeStatus(void* segment, std::int32_t value)
{
    __atomic_store_n(static_cast<std::int32_t*>(segment), value, __ATOMIC_RELEASE);
}

inline std::uint8_t* imageBytes(void* segment) { return static_cast<std::uint8_t*>(segment) + kHeaderBytes; }

} // namespace korvane::shm

#endif
