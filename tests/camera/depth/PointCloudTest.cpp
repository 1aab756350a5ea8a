#include <cmath>
#include <fstream>
#include <sstream>

#include <gtest/gtest.h>

#include "DepthTestSupport.h"
#include "camera/PointCloudFile.h"
#include "support/TempDir.h"

using namespace korvane::test;
using std::chrono::microseconds;

namespace {

// Perspective geometry with B = 0.05 m and f = 320, on an 8 x 8 image: a
// constant disparity of 32 is 0.5 m everywhere.
class Cloud : public ::testing::Test
{
protected:
    void SetUp() override
    {
        EXPECT_TRUE(camera.setDepthMode(2));
        camera.Threshold = 1000;
        camera.setGeometry(320, 50, cv::Size(8, 8));
        image = cv::Mat(8, 8, CV_8UC3);
        for (int r = 0; r < 8; ++r)
            for (int c = 0; c < 8; ++c)
                image.at<cv::Vec3b>(r, c) = cv::Vec3b(r, c, 7);
    }

    template <typename Point>
    std::vector<Point> cloudOf(const cv::Mat& disparity)
    {
        camera.startPublishing(image, disparity);
        std::vector<Point> points;
        microseconds stamp{0};
        camera.getPointCloud(points, stamp);
        camera.stopPublishing();
        return points;
    }

    DepthProbe camera;
    cv::Mat image;
};

} // namespace

TEST_F(Cloud, FullCellsKeepTwoOfTheirFourSamples)
{
    const auto points = cloudOf<cv::Vec3f>(cv::Mat(8, 8, CV_32F, cv::Scalar(32)));
    EXPECT_EQ(points.size(), 4u * 2u); // four cells, smallest and largest key dropped
    for (const auto& p : points)
        EXPECT_FLOAT_EQ(p[2], 0.5f);
}

TEST_F(Cloud, ACellWithThreeCandidatesContributesOnePoint)
{
    cv::Mat disparity(8, 8, CV_32F, cv::Scalar(32));
    // Sample (r=1, c=3) reads the disparity at row 3, column 1: make it invalid.
    disparity.at<float>(3, 1) = 0;
    const auto points = cloudOf<cv::Vec3f>(disparity);
    // The first cell keeps one point: of (1,1), (3,1), (3,3) the middle key is (3,1)'s.
    size_t firstCell = 0;
    for (const auto& p : points)
        if (p[0] < 0 && p[1] < 0)
            ++firstCell;
    EXPECT_EQ(firstCell, 1u);
    EXPECT_EQ(points.size(), 1u + 3u * 2u);
}

TEST_F(Cloud, EqualKeysDropOnlyTheFirstCandidate)
{
    // With the principal point at (2, 2) the four samples of the first cell
    // lie symmetrically around it: same depth, same key.
    camera.m_rectifyCameraMatrix.at<double>(0, 2) = 2;
    camera.m_rectifyCameraMatrix.at<double>(1, 2) = 2;
    const auto points = cloudOf<cv::Vec3f>(cv::Mat(8, 8, CV_32F, cv::Scalar(32)));
    std::vector<cv::Point> firstCell;
    for (const auto& p : points) {
        const cv::Point pixel(static_cast<int>(std::lround(p[0] / p[2] * 320 + 2)),
                              static_cast<int>(std::lround(p[1] / p[2] * 320 + 2)));
        if (pixel.x < 4 && pixel.y < 4)
            firstCell.push_back(pixel);
    }
    // (1,1) is dropped; (3,1), (1,3) and (3,3) stay, in gathering order.
    EXPECT_EQ(firstCell, (std::vector<cv::Point>{{3, 1}, {1, 3}, {3, 3}}));
}

TEST_F(Cloud, ColouredFormTakesTheColourOfTheSourcePixel)
{
    const auto points = cloudOf<PCL>(cv::Mat(8, 8, CV_32F, cv::Scalar(32)));
    ASSERT_EQ(points.size(), 8u);
    for (const PCL& p : points) {
        const int c = static_cast<int>(std::lround(p.position[0] / p.position[2] * 320 + 3.5));
        const int r = static_cast<int>(std::lround(p.position[1] / p.position[2] * 320 + 3.5));
        EXPECT_EQ(p.color, cv::Vec3b(r, c, 7));
        EXPECT_TRUE((r & 1) && (c & 1));
    }
}

TEST_F(Cloud, ColouredFormKeepsTheDiscAndTheDepthLimits)
{
    camera.Threshold = 0;
    EXPECT_TRUE(cloudOf<PCL>(cv::Mat(8, 8, CV_32F, cv::Scalar(32))).empty());
    camera.Threshold = 1000;
    // 8 px of disparity is 2.0 m: beyond the limit for the coloured form...
    EXPECT_TRUE(cloudOf<PCL>(cv::Mat(8, 8, CV_32F, cv::Scalar(8))).empty());
    // ...while the positions form has no limits.
    EXPECT_EQ(cloudOf<cv::Vec3f>(cv::Mat(8, 8, CV_32F, cv::Scalar(8))).size(), 8u);
}

TEST_F(Cloud, CallingTwiceWithoutClearingDoublesTheContent)
{
    camera.startPublishing(image, cv::Mat(8, 8, CV_32F, cv::Scalar(32)));
    std::vector<cv::Vec3f> points;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getPointCloud(points, stamp));
    const size_t once = points.size();
    ASSERT_TRUE(camera.getPointCloud(points, stamp));
    camera.stopPublishing();
    EXPECT_EQ(points.size(), 2 * once);
}

TEST_F(Cloud, LongitudeLatitudeWithThresholdZeroGivesAtMostOnePoint)
{
    EXPECT_TRUE(camera.setDepthMode(1));
    camera.Threshold = 0;
    EXPECT_LE(cloudOf<PCL>(cv::Mat(8, 8, CV_32F, cv::Scalar(32))).size(), 1u);
    EXPECT_LE(cloudOf<cv::Vec3f>(cv::Mat(8, 8, CV_32F, cv::Scalar(32))).size(), 1u);
}

TEST_F(Cloud, NoDisparityWorkerMeansNoPointsAndNoWait)
{
    std::vector<PCL> points;
    microseconds stamp{0};
    EXPECT_FALSE(camera.getPointCloud(points, stamp));
}

TEST_F(Cloud, StampIsThatOfTheMatchedRawPair)
{
    camera.startPublishing(image, cv::Mat(8, 8, CV_32F, cv::Scalar(32)));
    std::vector<PCL> points;
    microseconds stamp{0};
    ASSERT_TRUE(camera.getPointCloud(points, stamp));
    camera.stopPublishing();
    EXPECT_GT(stamp.count(), 0);
    EXPECT_LE(stamp, camera.m_disparityFrames.newest().timeStamp);
}

namespace {

// A small PLY reader for the files the kit writes.
struct PlyContent
{
    std::string format;
    std::vector<std::string> properties;
    std::vector<cv::Vec3f> positions;
    std::vector<cv::Vec3b> rgb;
};

PlyContent readPly(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    PlyContent ply;
    std::string line;
    size_t count = 0;
    while (std::getline(in, line) && line != "end_header") {
        std::istringstream words(line);
        std::string word;
        words >> word;
        if (word == "format")
            words >> ply.format;
        else if (word == "element")
            words >> word >> count;
        else if (word == "property") {
            std::string type, name;
            words >> type >> name;
            ply.properties.push_back(type + " " + name);
        }
    }
    const bool colour = ply.properties.size() == 6;
    for (size_t i = 0; i < count; ++i) {
        cv::Vec3f p;
        cv::Vec3b c;
        if (ply.format == "ascii") {
            in >> p[0] >> p[1] >> p[2];
            if (colour) {
                int r, g, b;
                in >> r >> g >> b;
                c = cv::Vec3b(r, g, b);
            }
        } else {
            in.read(reinterpret_cast<char*>(&p[0]), 12);
            if (colour)
                in.read(reinterpret_cast<char*>(&c[0]), 3);
        }
        ply.positions.push_back(p);
        if (colour)
            ply.rgb.push_back(c);
    }
    return ply;
}

std::vector<PCL> somePoints()
{
    return {PCL{{0.1f, -0.25f, 0.5f}, {10, 20, 30}}, PCL{{1e-3f, 2.5f, 0.75f}, {255, 0, 128}},
            PCL{{-0.123456789f, 0, 1}, {1, 2, 3}}};
}

} // namespace

TEST(PointCloudFile, BinaryFileReadsBackTheSamePointsAndColours)
{
    TempDir dir;
    const auto points = somePoints();
    ASSERT_TRUE(korvane::writePly(dir.file("c.ply"), points));
    const PlyContent ply = readPly(dir.file("c.ply"));
    EXPECT_EQ(ply.format, "binary_little_endian");
    EXPECT_EQ(ply.properties, (std::vector<std::string>{"float x", "float y", "float z", "uchar red",
                                                        "uchar green", "uchar blue"}));
    ASSERT_EQ(ply.positions.size(), points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(ply.positions[i], points[i].position);
        EXPECT_EQ(ply.rgb[i], cv::Vec3b(points[i].color[2], points[i].color[1], points[i].color[0]));
    }
}

TEST(PointCloudFile, AsciiFileReadsBackTheSamePoints)
{
    TempDir dir;
    const auto points = somePoints();
    ASSERT_TRUE(korvane::writePly(dir.file("c.ply"), points, korvane::PlyFormat::Ascii));
    const PlyContent ply = readPly(dir.file("c.ply"));
    EXPECT_EQ(ply.format, "ascii");
    ASSERT_EQ(ply.positions.size(), points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        EXPECT_EQ(ply.positions[i], points[i].position); // nine significant digits round-trip a float
        EXPECT_EQ(ply.rgb[i], cv::Vec3b(points[i].color[2], points[i].color[1], points[i].color[0]));
    }
}

TEST(PointCloudFile, PositionsOnlyHaveNoColourProperties)
{
    TempDir dir;
    const std::vector<cv::Vec3f> points = {{1, 2, 3}, {4, 5, 6}};
    ASSERT_TRUE(korvane::writePly(dir.file("p.ply"), points));
    const PlyContent ply = readPly(dir.file("p.ply"));
    EXPECT_EQ(ply.properties.size(), 3u);
    EXPECT_EQ(ply.positions, points);
}

TEST(PointCloudFile, UnwritablePlaceFailsAndLeavesNothing)
{
    TempDir dir;
    EXPECT_FALSE(korvane::writePly(dir.file("missing/c.ply"), somePoints()));
    EXPECT_FALSE(korvane::writePly(dir.path(), somePoints())); // a directory of that name
    std::ifstream part(dir.path() + ".part");
    EXPECT_FALSE(part.good());
}
