#ifndef KORVANE_CAMERA_CALIBRATIONFORMAT_H
#define KORVANE_CAMERA_CALIBRATIONFORMAT_H

// The calibration parameter file: its keys in the order they are written, the
// form of each value, which keys are read back and in what order, and the
// flash block that holds the file. Every value is a matrix of doubles.

#include <cstddef>
#include <string>
#include <vector>

#include <opencv2/core.hpp>
#include "camera/KorvaneCameraExport.h"

namespace korvane {

class KORVANE_CAMERA_EXPORT CalibrationFormat
{
public:
    // Size of the block at flash address 0 that holds the file followed by
    // zero bytes.
    static constexpr std::size_t kBlockSize = 4096;

    // What a key holds.
    enum class Item {
        SerialNumber,
        PositionNumber,
        RectifyFrameSize,
        LeftXi,
        LeftIntrinsicMatrix,
        LeftDistortionCoefficients,
        LeftRotation,
        RightXi,
        RightIntrinsicMatrix,
        RightDistortionCoefficients,
        RightRotation,
        Translation,
        Reserved,
    };

    // How a value is made from what the camera holds.
    enum class Kind {
        WholeNumber, // 1 x 1: an int field; element 0 must convert back to an int
        FrameSize,   // 1 x 2: [width, height] of a cv::Size field
        Matrix,      // a calibration matrix, as it is
        Identity,    // a fixed 3 x 3 identity matrix
    };

    static constexpr int kWrittenOnly = -1;

    struct Entry
    {
        const char* key;
        Item item;
        Kind kind;
        int rows;         // 0: any
        int cols;         // 0: any
        int minElements;  // at least this many elements
        int readPosition; // place in the loader's order, or kWrittenOnly

        bool isRead() const { return readPosition != kWrittenOnly; }
        // The value has the shape that loading, rectification and depth use.
        bool fits(const cv::Mat& value) const;
    };

    // Every key, in the order the file is written.
    static const std::vector<Entry>& writeOrder();
    // The keys the loader reads, in its order; a file lacking any of them
    // does not load.
    static const std::vector<const Entry*>& readOrder();
    // The value written under a key of kind Identity.
    static cv::Mat identityValue();

    // What a calibration file holds: each eye's parameter vector as
    // setCalibParams takes it (intrinsic matrix, distortion row, xi,
    // rotation, translation; the translation of the left one is written),
    // the two numbers and the rectified size.
    struct Contents
    {
        std::vector<cv::Mat> left;
        std::vector<cv::Mat> right;
        int serialNumber = 0;
        int positionNumber = 0;
        cv::Size rectifiedSize;
    };

    // The value written under one key.
    static cv::Mat value(const Contents& contents, const Entry& entry);
    // Writes every key in the write order; false when the file cannot be
    // written or a parameter vector is short.
    static bool write(const std::string& path, const Contents& contents);
};

} // namespace korvane

#endif
