// The calibration file's description drives the saver, the loader and the
// maintenance tool's check alike.
#include "CalibrationFileCheck.h"

#include <string>

#include <gtest/gtest.h>

#include "CalibrationText.h"
#include "camera/CalibrationFormat.h"
#include "camera/KorvaneCamera.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

namespace korvane::maintenance {
namespace {

using korvane::test::CaptureStream;
using korvane::test::readFile;
using korvane::test::TempDir;
using korvane::test::withoutKey;

static_assert(CalibrationFileCheck::kBlockSize == CalibrationFormat::kBlockSize);

// A video device number that no machine here has.
constexpr int kAbsentDevice = 97;

class CalibrationFormatUsers : public ::testing::Test
{
protected:
    void SetUp() override
    {
        StereoCamera camera(kAbsentDevice);
        ASSERT_TRUE(camera.loadCalibParams(KORVANE_SOURCE_DIR "/data/sample_calibration.yml"));
        const std::string path = dir.file("saved.yml");
        ASSERT_TRUE(camera.saveCalibParams(path));
        saved = readFile(path);
    }

    // Whether the loader takes the text; its messages are kept out of the
    // test's output.
    bool loads(const std::string& text)
    {
        CaptureStream errors(2);
        StereoCamera camera(kAbsentDevice);
        return camera.loadCalibParams(dir.write("candidate.yml", text));
    }

    TempDir dir;
    std::string saved;
};

// The text with one key's value replaced by an empty matrix, which fits no
// entry.
std::string withEmptyMatrix(const std::string& text, const std::string& key)
{
    return withoutKey(text, key) + key + ": !!opencv-matrix\n   rows: 0\n   cols: 0\n   dt: d\n   data: []\n";
}

TEST_F(CalibrationFormatUsers, ASavedFilePassesTheCheckAndFitsTheBlock)
{
    std::string why;
    EXPECT_TRUE(CalibrationFileCheck::checkText(saved, why)) << why;
    ASSERT_LE(saved.size(), CalibrationFormat::kBlockSize);
    std::vector<std::uint8_t> block(saved.begin(), saved.end());
    block.resize(CalibrationFormat::kBlockSize, 0);
    EXPECT_TRUE(CalibrationFileCheck::checkBlock(block, why)) << why;
    EXPECT_TRUE(loads(saved));
}

TEST_F(CalibrationFormatUsers, EveryReadKeyIsNeededByTheLoaderAndTheCheckAndNoOther)
{
    for (const CalibrationFormat::Entry& entry : CalibrationFormat::writeOrder()) {
        SCOPED_TRACE(entry.key);
        const std::string text = withoutKey(saved, entry.key);
        ASSERT_LT(text.size(), saved.size());
        std::string why;
        EXPECT_EQ(CalibrationFileCheck::checkText(text, why), !entry.isRead());
        EXPECT_EQ(why, entry.isRead() ? std::string("key ") + entry.key + " is missing" : "");
        EXPECT_EQ(loads(text), !entry.isRead());
    }
}

TEST_F(CalibrationFormatUsers, AReadKeyOfTheWrongShapeIsRefusedByTheLoaderAndTheCheck)
{
    for (const CalibrationFormat::Entry* entry : CalibrationFormat::readOrder()) {
        SCOPED_TRACE(entry->key);
        const std::string text = withEmptyMatrix(saved, entry->key);
        std::string why;
        EXPECT_FALSE(CalibrationFileCheck::checkText(text, why));
        EXPECT_EQ(why, std::string("key ") + entry->key + " holds a matrix of 0 x 0, which has the wrong shape");
        EXPECT_FALSE(loads(text));
    }
}

} // namespace
} // namespace korvane::maintenance
