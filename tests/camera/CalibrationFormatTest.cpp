// The calibration file's description, and the saver that follows it.
#include "camera/CalibrationFormat.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

#include "CameraTestSupport.h"
#include "support/TempDir.h"

using namespace korvane::test;
using korvane::CalibrationFormat;

namespace {

std::vector<std::string> writtenKeys()
{
    std::vector<std::string> keys;
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder())
        keys.push_back(entry.key);
    return keys;
}

} // namespace

TEST(CalibrationFormat, KeysAndItemsAreUnique)
{
    std::set<std::string> keys;
    std::set<CalibrationFormat::Item> items;
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder()) {
        EXPECT_TRUE(keys.insert(entry.key).second) << entry.key;
        EXPECT_TRUE(items.insert(entry.item).second) << entry.key;
    }
}

TEST(CalibrationFormat, ReadOrderHoldsEveryReadKeyOnceByPosition)
{
    std::size_t readKeys = 0;
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder())
        readKeys += entry.isRead() ? 1 : 0;
    const std::vector<const CalibrationFormat::Entry*>& read = CalibrationFormat::readOrder();
    ASSERT_EQ(read.size(), readKeys);
    for (std::size_t i = 0; i < read.size(); ++i)
        EXPECT_EQ(read[i]->readPosition, static_cast<int>(i)) << read[i]->key;
}

TEST(CalibrationFormat, FitsChecksRowsColumnsAndElementCount)
{
    const CalibrationFormat::Entry entry{"Key", CalibrationFormat::Item::LeftRotation, CalibrationFormat::Kind::Matrix,
                                         1, 0, 4, 0};
    EXPECT_TRUE(entry.fits(cv::Mat::zeros(1, 4, CV_64F)));
    EXPECT_TRUE(entry.fits(cv::Mat::zeros(1, 5, CV_64F)));
    EXPECT_FALSE(entry.fits(cv::Mat::zeros(1, 3, CV_64F)));
    EXPECT_FALSE(entry.fits(cv::Mat::zeros(2, 4, CV_64F)));
    EXPECT_FALSE(entry.fits(cv::Mat()));
}

TEST(CalibrationFormat, SaverWritesTheTableKeysInItsOrderWithValuesThatFit)
{
    TempDir dir;
    Probe camera(kAbsentDevice);
    ASSERT_TRUE(camera.loadCalibParams(dir.write("sample.yml", sampleCalibrationYaml())));
    camera.setRectFrameSize(cv::Size(640, 480));
    const std::string saved = dir.file("saved.yml");
    ASSERT_TRUE(camera.saveCalibParams(saved));

    EXPECT_EQ(topLevelKeys(saved), writtenKeys());
    cv::FileStorage fs(saved, cv::FileStorage::READ);
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder()) {
        cv::Mat value;
        fs[entry.key] >> value;
        EXPECT_TRUE(entry.fits(value)) << entry.key;
        EXPECT_EQ(value.type(), CV_64F) << entry.key;
    }
}
