#include <gtest/gtest.h>

#include <sys/stat.h>

#include "CameraTestSupport.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

using namespace korvane::test;

namespace {

class CalibrationFile : public ::testing::Test
{
protected:
    bool loadText(const std::string& text)
    {
        path = dir.write("calib.yml", text);
        bool result = true;
        err = stderrOf([&] { result = camera.loadCalibParams(path); });
        return result;
    }

    // The nine calibration matrices in reading order.
    static std::vector<cv::Mat> nine(const Probe& c)
    {
        return {c.LeftXi, c.LeftIntrinsicMatrix, c.LeftDistortionCoefficients, c.LeftRotation,
                c.RightXi, c.RightIntrinsicMatrix, c.RightDistortionCoefficients, c.Translation,
                c.RightRotation};
    }

    TempDir dir;
    Probe camera{kAbsentDevice};
    std::string err;
    std::string path;
};

const std::string kInvalidParams = "\033[1m\033[31m[StereoCamera][ERROR] Invalid params format!\n\033[0m";

std::vector<cv::Mat> eyeSet(double seed, int count)
{
    std::vector<cv::Mat> params = {
        (cv::Mat_<double>(3, 3) << seed, 0, 460, 0, seed, 400, 0, 0, 1),
        (cv::Mat_<double>(1, 4) << -0.05, 0.01, 0.001, seed / 1e5),
        (cv::Mat_<double>(1, 1) << seed / 400.0),
        cv::Mat(cv::Mat::eye(3, 3, CV_64F)),
        (cv::Mat_<double>(1, 3) << -seed / 4.0, 0.2, 0.1),
        (cv::Mat_<double>(1, 1) << 12345),
    };
    params.resize(static_cast<size_t>(count));
    return params;
}

} // namespace

TEST_F(CalibrationFile, SampleFileLoadsEveryMatrixAndTheNumbers)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    EXPECT_EQ(err, "");
    EXPECT_EQ(camera.getSerialNumber(), 1001);
    EXPECT_EQ(camera.getPosNumber(), 3);
    EXPECT_EQ(camera.LeftXi.at<double>(0, 0), 1.21);
    EXPECT_EQ(camera.LeftIntrinsicMatrix.at<double>(1, 2), 401.7);
    EXPECT_EQ(camera.RightDistortionCoefficients.at<double>(0, 3), 0.0001);
    EXPECT_EQ(camera.Translation.at<double>(0, 0), -120.4);
    for (const cv::Mat& m : nine(camera))
        EXPECT_EQ(m.type(), CV_64F);
}

TEST_F(CalibrationFile, SavedFileLoadsBackTheSameMatricesAndNumbers)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    camera.setSerialNumber(77);
    camera.setPosNumber(5);
    const std::string saved = dir.file("saved.yml");
    ASSERT_TRUE(camera.saveCalibParams(saved));

    Probe loaded(kAbsentDevice);
    ASSERT_TRUE(loaded.loadCalibParams(saved));
    EXPECT_EQ(loaded.getSerialNumber(), 77);
    EXPECT_EQ(loaded.getPosNumber(), 5);
    const auto expected = nine(camera);
    const auto actual = nine(loaded);
    for (size_t i = 0; i < expected.size(); ++i)
        EXPECT_TRUE(sameMatrix(expected[i], actual[i])) << "matrix " << i;
}

TEST_F(CalibrationFile, SavedFileHasTheWriteOrderAndTheRectifiedSize)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    camera.setRectFrameSize(cv::Size(640, 480));
    const std::string saved = dir.file("saved.yml");
    ASSERT_TRUE(camera.saveCalibParams(saved));
    EXPECT_EQ(topLevelKeys(saved),
              (std::vector<std::string>{"SerialNumber", "PositonNumber", "RectifyFrameSize", "LeftXi",
                                        "LeftIntrinsicMatrix", "LeftDistortionCoefficients",
                                        "LeftRotation", "RightXi", "RightIntrinsicMatrix",
                                        "RightDistortionCoefficients", "RightRotation",
                                        "Translation", "Reserved"}));
    cv::FileStorage fs(saved, cv::FileStorage::READ);
    cv::Mat size, reserved;
    fs["RectifyFrameSize"] >> size;
    fs["Reserved"] >> reserved;
    EXPECT_TRUE(sameMatrix(size, (cv::Mat_<double>(1, 2) << 640, 480)));
    EXPECT_TRUE(sameMatrix(reserved, cv::Mat::eye(3, 3, CV_64F)));
}

TEST_F(CalibrationFile, RectifiedSizeIsNotReadBack)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    camera.setRectFrameSize(cv::Size(640, 480));
    const std::string saved = dir.file("saved.yml");
    ASSERT_TRUE(camera.saveCalibParams(saved));
    Probe loaded(kAbsentDevice);
    ASSERT_TRUE(loaded.loadCalibParams(saved));
    EXPECT_EQ(loaded.getRectFrameSize(), cv::Size(0, 0));
}

TEST_F(CalibrationFile, MissingRightRotationFailsAndLeavesTheRestAsRead)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    std::string text = sampleCalibrationYaml();
    text = text.substr(0, text.find("RightRotation"));
    camera.setSerialNumber(5);
    EXPECT_FALSE(loadText(text));
    EXPECT_EQ(err, "");
    EXPECT_TRUE(camera.RightRotation.empty());
    EXPECT_EQ(camera.getSerialNumber(), 5);
    EXPECT_FALSE(camera.LeftRotation.empty());
    EXPECT_FALSE(camera.Translation.empty());
}

TEST_F(CalibrationFile, AbsentKeyEmptiesAnEarlierValue)
{
    ASSERT_TRUE(loadText(sampleCalibrationYaml()));
    std::string text = sampleCalibrationYaml();
    const size_t start = text.find("LeftXi");
    text.erase(start, text.find("LeftIntrinsicMatrix") - start);
    EXPECT_FALSE(loadText(text));
    EXPECT_TRUE(camera.LeftXi.empty());
    EXPECT_FALSE(camera.LeftIntrinsicMatrix.empty());
}

TEST_F(CalibrationFile, MissingSerialNumberFailsAndKeepsTheNumbers)
{
    camera.setSerialNumber(8);
    camera.setPosNumber(9);
    std::string text = sampleCalibrationYaml();
    const size_t start = text.find("SerialNumber");
    text.erase(start, text.find("PositonNumber") - start);
    EXPECT_FALSE(loadText(text));
    EXPECT_EQ(camera.getSerialNumber(), 8);
    EXPECT_EQ(camera.getPosNumber(), 9);
    EXPECT_FALSE(camera.RightRotation.empty()); // the matrices were still read
}

TEST_F(CalibrationFile, MissingFileFails)
{
    const std::string file = dir.file("absent.yml");
    bool result = true;
    err = stderrOf([&] { result = camera.loadCalibParams(file); });
    EXPECT_FALSE(result);
    EXPECT_EQ(err, "Read File: " + file + " Error!\n");
}

TEST_F(CalibrationFile, BrokenFilesFailWithTheMessageWithoutTheFileName)
{
    const std::string full = sampleCalibrationYaml();
    for (const std::string& text : {std::string(), std::string("\x00\x9f\xff\x01", 4),
                                    full.substr(0, full.size() / 2 + 7)}) {
        EXPECT_FALSE(loadText(text));
        EXPECT_EQ(err, "Read A NULL File, Camera CalibParams not loaded!\n");
    }
}

TEST_F(CalibrationFile, DirectoryFails)
{
    bool result = true;
    err = stderrOf([&] { result = camera.loadCalibParams(dir.path()); });
    EXPECT_FALSE(result);
    EXPECT_FALSE(err.empty());
}

TEST_F(CalibrationFile, WrongNodeTypeIsReportedAndTreatedAsAbsent)
{
    std::string text = sampleCalibrationYaml() + "LeftRotation: \"identity\"\n";
    const size_t start = text.find("LeftRotation");
    text.erase(start, text.find("RightXi") - start);
    EXPECT_FALSE(loadText(text));
    EXPECT_EQ(err, "Read A NULL File, Camera CalibParams not loaded!\nBad calibration file " + path +
                       ", key LeftRotation: not a matrix\n");
    EXPECT_TRUE(camera.LeftRotation.empty());
}

TEST_F(CalibrationFile, WrongShapeIsReportedAndTreatedAsAbsent)
{
    std::string text = sampleCalibrationYaml();
    const size_t start = text.find("LeftIntrinsicMatrix");
    text.erase(start, text.find("LeftDistortionCoefficients") - start);
    text += yamlMatrix("LeftIntrinsicMatrix", 2, 2, {1, 0, 0, 1});
    EXPECT_FALSE(loadText(text));
    EXPECT_EQ(err, "Read A NULL File, Camera CalibParams not loaded!\nBad calibration file " + path +
                       ", key LeftIntrinsicMatrix: matrix of 2 x 2 has the wrong shape\n");
    EXPECT_TRUE(camera.LeftIntrinsicMatrix.empty());
}

TEST_F(CalibrationFile, SavingIntoAMissingDirectoryFails)
{
    const std::string file = dir.file("none/calib.yml");
    bool result = true;
    err = stderrOf([&] { result = camera.saveCalibParams(file); });
    EXPECT_FALSE(result);
    EXPECT_EQ(err, "Save File: " + file + " Error!\n");
}

TEST_F(CalibrationFile, UnreadableFileFails)
{
    const std::string file = dir.write("secret.yml", sampleCalibrationYaml());
    ASSERT_EQ(chmod(file.c_str(), 0), 0);
    ASSERT_EQ(chmod(dir.path().c_str(), 0755), 0);
    EXPECT_TRUE(runUnprivileged([&] {
        bool result = true;
        const std::string errors = stderrOf([&] { result = camera.loadCalibParams(file); });
        return !result && errors == "Read File: " + file + " Error!\n";
    }));
}

TEST(CalibrationParams, FourMatricesAreRejectedWithTheMessage)
{
    Probe camera(kAbsentDevice);
    bool result = true;
    const std::string out = stdoutOf([&] { result = camera.setCalibParams(eyeSet(480, 4), false); });
    EXPECT_FALSE(result);
    EXPECT_EQ(out, kInvalidParams);
    EXPECT_TRUE(camera.LeftIntrinsicMatrix.empty());
}

TEST(CalibrationParams, SixMatricesStoreTheFirstFiveAsDeepCopies)
{
    Probe camera(kAbsentDevice);
    std::vector<cv::Mat> params = eyeSet(480, 6);
    ASSERT_TRUE(camera.setCalibParams(params, true));
    EXPECT_TRUE(sameMatrix(camera.RightIntrinsicMatrix, params[0]));
    EXPECT_TRUE(sameMatrix(camera.RightDistortionCoefficients, params[1]));
    EXPECT_TRUE(sameMatrix(camera.RightXi, params[2]));
    EXPECT_TRUE(sameMatrix(camera.RightRotation, params[3]));
    EXPECT_TRUE(sameMatrix(camera.Translation, params[4]));
    EXPECT_TRUE(camera.LeftIntrinsicMatrix.empty());
    EXPECT_TRUE(camera.m_rectifyCameraMatrix.empty()); // the sixth is ignored
    params[0].at<double>(0, 0) = -1;
    EXPECT_EQ(camera.RightIntrinsicMatrix.at<double>(0, 0), 480.0);
}

TEST(CalibrationParams, LeftSetGoesToTheLeftEye)
{
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setCalibParams(eyeSet(470, 5), false));
    EXPECT_EQ(camera.LeftIntrinsicMatrix.at<double>(0, 0), 470.0);
    EXPECT_TRUE(camera.RightIntrinsicMatrix.empty());
}

TEST(CalibrationParams, GetAppendsSixSharedMatricesAfterExistingOnes)
{
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.setCalibParams(eyeSet(480, 5), false));
    ASSERT_TRUE(camera.setCalibParams(eyeSet(490, 5), true));
    std::vector<cv::Mat> params = {cv::Mat(1, 1, CV_8U), cv::Mat(2, 2, CV_8U)};
    ASSERT_TRUE(camera.getCalibParams(params, true));
    ASSERT_EQ(params.size(), 8u);
    EXPECT_EQ(params[2].at<double>(0, 0), 490.0);
    EXPECT_TRUE(sameMatrix(params[6], camera.Translation));
    // Before capture starts the rectified camera matrix is empty.
    EXPECT_TRUE(params[7].empty());
    // The pixels are shared with the object's calibration.
    params[2].at<double>(0, 0) = 1.5;
    std::vector<cv::Mat> again;
    ASSERT_TRUE(camera.getCalibParams(again, true));
    EXPECT_EQ(again[0].at<double>(0, 0), 1.5);
    ASSERT_TRUE(camera.getCalibParams(again, false));
    EXPECT_EQ(again.size(), 12u);
    EXPECT_EQ(again[6].at<double>(0, 0), 480.0);
}
