// Calibration parameters: the calibration file and the parameter vectors.
#include "StereoCamera.h"

#include <iostream>
#include <new>

#include "MatrixFileValues.h"
#include "StorageText.h"

namespace {

using korvane::NodeStatus;

// Shape a calibration matrix must have to be used by rectification and depth.
struct CalibShape
{
    int rows;     // 0: any
    int cols;     // 0: any
    int minTotal; // at least this many elements
};

const CalibShape kScalar{0, 0, 1};
const CalibShape kMatrix3x3{3, 3, 9};
const CalibShape kDistortionRow{1, 0, 4};
const CalibShape kVector3{0, 0, 3};

bool hasShape(const cv::Mat& m, const CalibShape& shape)
{
    return (shape.rows == 0 || m.rows == shape.rows) && (shape.cols == 0 || m.cols == shape.cols) &&
           static_cast<int>(m.total()) >= shape.minTotal;
}

const char* const kNotLoaded = "Read A NULL File, Camera CalibParams not loaded!";

// Reads one key into `out` as 64-bit floats. An absent key empties `out`; a
// value of the wrong form empties it as well and is reported: the loader's
// failure line first (once per file, `reported` tells), then the reason.
void readCalibKey(cv::FileStorage& fs, const char* key, const CalibShape& shape,
                  const std::string& fileName, cv::Mat& out, bool& reported)
{
    std::string why;
    const NodeStatus status = korvane::readMatrixNode(fs[key], out, why);
    if (status == NodeStatus::Present && !hasShape(out, shape))
        why = "matrix of " + std::to_string(out.rows) + " x " + std::to_string(out.cols) +
              " has the wrong shape";
    if (!why.empty()) {
        if (!reported)
            std::cerr << kNotLoaded << std::endl;
        reported = true;
        std::cerr << "Bad calibration file " << fileName << ", key " << key << ": " << why
                  << std::endl;
        out.release();
    }
}

} // namespace

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
        cv::Mat serialNumber;
        cv::Mat positionNumber;
        bool reported = false;
        readCalibKey(*fs, "SerialNumber", kScalar, fileName, serialNumber, reported);
        readCalibKey(*fs, "PositonNumber", kScalar, fileName, positionNumber, reported);
        readCalibKey(*fs, "LeftXi", kScalar, fileName, LeftXi, reported);
        readCalibKey(*fs, "LeftIntrinsicMatrix", kMatrix3x3, fileName, LeftIntrinsicMatrix, reported);
        readCalibKey(*fs, "LeftDistortionCoefficients", kDistortionRow, fileName, LeftDistortionCoefficients,
                     reported);
        readCalibKey(*fs, "LeftRotation", kMatrix3x3, fileName, LeftRotation, reported);
        readCalibKey(*fs, "RightXi", kScalar, fileName, RightXi, reported);
        readCalibKey(*fs, "RightIntrinsicMatrix", kMatrix3x3, fileName, RightIntrinsicMatrix, reported);
        readCalibKey(*fs, "RightDistortionCoefficients", kDistortionRow, fileName, RightDistortionCoefficients,
                     reported);
        readCalibKey(*fs, "Translation", kVector3, fileName, Translation, reported);
        readCalibKey(*fs, "RightRotation", kMatrix3x3, fileName, RightRotation, reported);

        int serial = 0;
        int position = 0;
        const bool complete =
            korvane::elementToInt(serialNumber, 0, serial) &&
            korvane::elementToInt(positionNumber, 0, position) && !LeftXi.empty() &&
            !LeftIntrinsicMatrix.empty() && !LeftDistortionCoefficients.empty() &&
            !LeftRotation.empty() && !RightXi.empty() && !RightIntrinsicMatrix.empty() &&
            !RightDistortionCoefficients.empty() && !Translation.empty() && !RightRotation.empty();
        fs->release();
        if (!complete)
            return false;
        m_serialNumber = serial;
        m_posNumber = position;
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
        *fs << "SerialNumber" << korvane::scalarMatrix(m_serialNumber);
        *fs << "PositonNumber" << korvane::scalarMatrix(m_posNumber);
        *fs << "RectifyFrameSize" << korvane::sizeMatrix(RectifyFrameSize);
        *fs << "LeftXi" << LeftXi;
        *fs << "LeftIntrinsicMatrix" << LeftIntrinsicMatrix;
        *fs << "LeftDistortionCoefficients" << LeftDistortionCoefficients;
        *fs << "LeftRotation" << LeftRotation;
        *fs << "RightXi" << RightXi;
        *fs << "RightIntrinsicMatrix" << RightIntrinsicMatrix;
        *fs << "RightDistortionCoefficients" << RightDistortionCoefficients;
        // Written before Translation, read after it: both orders are kept.
        *fs << "RightRotation" << RightRotation;
        *fs << "Translation" << Translation;
        *fs << "Reserved" << cv::Mat(cv::Mat::eye(3, 3, CV_64F));
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
