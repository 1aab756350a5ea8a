#include "CalibrationFormat.h"

#include <algorithm>

namespace korvane {

namespace {

using Item = CalibrationFormat::Item;
using Kind = CalibrationFormat::Kind;
constexpr int kWrittenOnly = CalibrationFormat::kWrittenOnly;

// RightRotation is written before Translation and read after it; both orders
// are kept. "PositonNumber" is spelled so in the file format.
std::vector<CalibrationFormat::Entry> tableEntries()
{
    return {
        // key                          item                               kind               rows cols min read
        {"SerialNumber",                Item::SerialNumber,                Kind::WholeNumber, 0,   0,   1,  0},
        {"PositonNumber",               Item::PositionNumber,              Kind::WholeNumber, 0,   0,   1,  1},
        {"RectifyFrameSize",            Item::RectifyFrameSize,            Kind::FrameSize,   1,   2,   2,  kWrittenOnly},
        {"LeftXi",                      Item::LeftXi,                      Kind::Matrix,      0,   0,   1,  2},
        {"LeftIntrinsicMatrix",         Item::LeftIntrinsicMatrix,         Kind::Matrix,      3,   3,   9,  3},
        {"LeftDistortionCoefficients",  Item::LeftDistortionCoefficients,  Kind::Matrix,      1,   0,   4,  4},
        {"LeftRotation",                Item::LeftRotation,                Kind::Matrix,      3,   3,   9,  5},
        {"RightXi",                     Item::RightXi,                     Kind::Matrix,      0,   0,   1,  6},
        {"RightIntrinsicMatrix",        Item::RightIntrinsicMatrix,        Kind::Matrix,      3,   3,   9,  7},
        {"RightDistortionCoefficients", Item::RightDistortionCoefficients, Kind::Matrix,      1,   0,   4,  8},
        {"RightRotation",               Item::RightRotation,               Kind::Matrix,      3,   3,   9,  10},
        {"Translation",                 Item::Translation,                 Kind::Matrix,      0,   0,   3,  9},
        {"Reserved",                    Item::Reserved,                    Kind::Identity,    3,   3,   9,  kWrittenOnly},
    };
}

std::vector<const CalibrationFormat::Entry*> sortedReadEntries()
{
    std::vector<const CalibrationFormat::Entry*> read;
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder())
        if (entry.isRead())
            read.push_back(&entry);
    std::sort(read.begin(), read.end(), [](const auto* a, const auto* b) { return a->readPosition < b->readPosition; });
    return read;
}

} // namespace

bool CalibrationFormat::Entry::fits(const cv::Mat& value) const
{
    return (rows == 0 || value.rows == rows) && (cols == 0 || value.cols == cols) &&
           static_cast<int>(value.total()) >= minElements;
}

const std::vector<CalibrationFormat::Entry>& CalibrationFormat::writeOrder()
{
    static const std::vector<Entry> entries = tableEntries();
    return entries;
}

const std::vector<const CalibrationFormat::Entry*>& CalibrationFormat::readOrder()
{
    static const std::vector<const Entry*> read = sortedReadEntries();
    return read;
}

cv::Mat CalibrationFormat::identityValue()
{
    return cv::Mat::eye(3, 3, CV_64F);
}

cv::Mat CalibrationFormat::value(const Contents& contents, const Entry& entry)
{
    switch (entry.kind) {
    case Kind::WholeNumber: {
        const int number = entry.item == Item::SerialNumber ? contents.serialNumber : contents.positionNumber;
        return (cv::Mat_<double>(1, 1) << number);
    }
    case Kind::FrameSize:
        return (cv::Mat_<double>(1, 2) << contents.rectifiedSize.width, contents.rectifiedSize.height);
    case Kind::Identity: return identityValue();
    case Kind::Matrix: break;
    }
    switch (entry.item) {
    case Item::LeftXi: return contents.left[2];
    case Item::LeftIntrinsicMatrix: return contents.left[0];
    case Item::LeftDistortionCoefficients: return contents.left[1];
    case Item::LeftRotation: return contents.left[3];
    case Item::RightXi: return contents.right[2];
    case Item::RightIntrinsicMatrix: return contents.right[0];
    case Item::RightDistortionCoefficients: return contents.right[1];
    case Item::RightRotation: return contents.right[3];
    case Item::Translation: return contents.left[4];
    default: return cv::Mat();
    }
}

bool CalibrationFormat::write(const std::string& path, const Contents& contents)
{
    if (contents.left.size() < 5 || contents.right.size() < 5)
        return false;
    cv::FileStorage fs(path, cv::FileStorage::WRITE);
    if (!fs.isOpened())
        return false;
    for (const Entry& entry : writeOrder())
        fs << entry.key << value(contents, entry);
    fs.release();
    return true;
}

} // namespace korvane
