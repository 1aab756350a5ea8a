// Calibration parameters: the calibration file and the parameter vectors.
#include "StereoCamera.h"

#include <iostream>
#include <new>
#include <utility>
#include <vector>

#include "MatrixFileValues.h"
#include "StorageText.h"

namespace {

using korvane::CalibrationFormat;
using korvane::NodeStatus;
using Item = CalibrationFormat::Item;
using Kind = CalibrationFormat::Kind;

const char* const kNotLoaded = "Read A NULL File, Camera CalibParams not loaded!";

// Reads one key into `out` as 64-bit floats. An absent key empties `out`; a
// value of the wrong form empties it as well and is reported: the loader's
// failure line first (once per file, `reported` tells), then the reason.
void readCalibKey(cv::FileStorage& fs, const CalibrationFormat::Entry& entry, const std::string& fileName,
                  cv::Mat& out, bool& reported)
{
    std::string why;
    const NodeStatus status = korvane::readMatrixNode(fs[entry.key], out, why);
    if (status == NodeStatus::Present && !entry.fits(out))
        why = "matrix of " + std::to_string(out.rows) + " x " + std::to_string(out.cols) +
              " has the wrong shape";
    if (!why.empty()) {
        if (!reported)
            std::cerr << kNotLoaded << std::endl;
        reported = true;
        std::cerr << "Bad calibration file " << fileName << ", key " << entry.key << ": " << why
                  << std::endl;
        out.release();
    }
}

} // namespace

cv::Mat* StereoCamera::calibrationMatrix(Item item)
{
    switch (item) {
    case Item::LeftXi: return &LeftXi;
    case Item::LeftIntrinsicMatrix: return &LeftIntrinsicMatrix;
    case Item::LeftDistortionCoefficients: return &LeftDistortionCoefficients;
    case Item::LeftRotation: return &LeftRotation;
    case Item::RightXi: return &RightXi;
    case Item::RightIntrinsicMatrix: return &RightIntrinsicMatrix;
    case Item::RightDistortionCoefficients: return &RightDistortionCoefficients;
    case Item::RightRotation: return &RightRotation;
    case Item::Translation: return &Translation;
    default: return nullptr;
    }
}

int* StereoCamera::calibrationNumber(Item item)
{
    switch (item) {
    case Item::SerialNumber: return &m_serialNumber;
    case Item::PositionNumber: return &m_posNumber;
    default: return nullptr;
    }
}

cv::Mat StereoCamera::calibrationValue(const CalibrationFormat::Entry& entry)
{
    switch (entry.kind) {
    case Kind::WholeNumber: return korvane::scalarMatrix(*calibrationNumber(entry.item));
    case Kind::FrameSize: return korvane::sizeMatrix(RectifyFrameSize);
    case Kind::Identity: return CalibrationFormat::identityValue();
    case Kind::Matrix: break;
    }
    return *calibrationMatrix(entry.item);
}

bool StereoCamera::loadCalibParams(std::string fileName)
{
    if (korvane::inspectStorageFile(fileName) == korvane::StorageText::Refused) {
        std::cerr << kNotLoaded << std::endl;
        return false;
    }
    try {
        std::unique_ptr<cv::FileStorage> fs(
            new (std::nothrow) cv::FileStorage(fileName, cv::FileStorage::READ));
        if (!fs || !fs->isOpened()) {
            std::cerr << "Read File: " << fileName << " Error!" << std::endl;
            return false;
        }
        // Matrices are read straight into the object; whole numbers are set
        // only when the file is complete.
        std::vector<std::pair<int*, int>> numbers;
        bool reported = false;
        bool complete = true;
        for (const CalibrationFormat::Entry* entry : CalibrationFormat::readOrder()) {
            if (entry->kind == Kind::WholeNumber) {
                cv::Mat value;
                readCalibKey(*fs, *entry, fileName, value, reported);
                int number = 0;
                complete = korvane::elementToInt(value, 0, number) && complete;
                numbers.emplace_back(calibrationNumber(entry->item), number);
            } else {
                cv::Mat& matrix = *calibrationMatrix(entry->item);
                readCalibKey(*fs, *entry, fileName, matrix, reported);
                complete = !matrix.empty() && complete;
            }
        }
        fs->release();
        if (!complete)
            return false;
        for (const auto& [field, number] : numbers)
            *field = number;
        return true;
    } catch (const std::exception&) {
        std::cerr << kNotLoaded << std::endl;
        return false;
    }
}

bool StereoCamera::saveCalibParams(std::string fileName)
{
    try {
        std::unique_ptr<cv::FileStorage> fs(
            new (std::nothrow) cv::FileStorage(fileName, cv::FileStorage::WRITE));
        if (!fs || !fs->isOpened()) {
            std::cerr << "Save File: " << fileName << " Error!" << std::endl;
            return false;
        }
        for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder())
            *fs << entry.key << calibrationValue(entry);
        korvane::syncFileSystem();
        fs->release();
        fs.reset();
        korvane::syncFileSystem();
        return true;
    } catch (const std::exception&) {
        std::cerr << "Save File: " << fileName << " Error!" << std::endl;
        return false;
    }
}

bool StereoCamera::setCalibParams(std::vector<cv::Mat> params, bool right)
{
    if (params.size() < 5) {
        if (m_log)
            m_log->runTimeError("Invalid params format!\n");
        return false;
    }
    (right ? RightIntrinsicMatrix : LeftIntrinsicMatrix) = params[0].clone();
    (right ? RightDistortionCoefficients : LeftDistortionCoefficients) = params[1].clone();
    (right ? RightXi : LeftXi) = params[2].clone();
    (right ? RightRotation : LeftRotation) = params[3].clone();
    Translation = params[4].clone();
    return true;
}

bool StereoCamera::getCalibParams(std::vector<cv::Mat>& params, bool right)
{
    params.push_back(right ? RightIntrinsicMatrix : LeftIntrinsicMatrix);
    params.push_back(right ? RightDistortionCoefficients : LeftDistortionCoefficients);
    params.push_back(right ? RightXi : LeftXi);
    params.push_back(right ? RightRotation : LeftRotation);
    params.push_back(Translation);
    params.push_back(m_rectifyCameraMatrix);
    return true;
}
