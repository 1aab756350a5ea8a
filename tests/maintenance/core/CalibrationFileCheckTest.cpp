// The calibration file check, on texts, files and flash blocks.
#include "CalibrationFileCheck.h"

#include <gtest/gtest.h>

#include "CalibrationText.h"
#include "support/TempDir.h"

namespace korvane::maintenance {
namespace {

using korvane::test::readFile;
using korvane::test::TempDir;
using korvane::test::withoutKey;

const char* const kKeys[] = {
    "SerialNumber",        "PositonNumber",           "LeftXi",
    "LeftIntrinsicMatrix", "LeftDistortionCoefficients", "LeftRotation",
    "RightXi",             "RightIntrinsicMatrix",    "RightDistortionCoefficients",
    "Translation",         "RightRotation",
};

std::string sampleText() { return readFile(KORVANE_SOURCE_DIR "/data/sample_calibration.yml"); }

// The text padded with a trailing comment to exactly size bytes.
std::string paddedTo(std::string text, std::size_t size)
{
    text += "#";
    text.resize(size - 1, 'x');
    return text + "\n";
}

std::vector<std::uint8_t> blockOf(const std::string& text)
{
    std::vector<std::uint8_t> block(text.begin(), text.end());
    block.resize(CalibrationFileCheck::kBlockSize, 0);
    return block;
}

TEST(CalibrationFileCheck, TheSampleFileIsComplete)
{
    std::string why;
    EXPECT_TRUE(CalibrationFileCheck::checkFile(KORVANE_SOURCE_DIR "/data/sample_calibration.yml", why)) << why;
    EXPECT_TRUE(why.empty());
}

TEST(CalibrationFileCheck, EachMissingKeyIsNamed)
{
    for (const char* key : kKeys) {
        const std::string text = withoutKey(sampleText(), key);
        ASSERT_LT(text.size(), sampleText().size()) << key;
        std::string why;
        EXPECT_FALSE(CalibrationFileCheck::checkText(text, why)) << key;
        EXPECT_EQ(why, std::string("key ") + key + " is missing");
    }
}

TEST(CalibrationFileCheck, AMatrixOfTheWrongShapeIsNamed)
{
    std::string text = sampleText();
    const std::string rows = "LeftRotation: !!opencv-matrix\n   rows: 3\n   cols: 3";
    const std::size_t at = text.find(rows);
    ASSERT_NE(at, std::string::npos);
    text.replace(at, rows.size(), "LeftRotation: !!opencv-matrix\n   rows: 1\n   cols: 9");
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkText(text, why));
    EXPECT_EQ(why, "key LeftRotation holds a matrix of 1 x 9, which has the wrong shape");
}

TEST(CalibrationFileCheck, AMalformedValueIsNamed)
{
    std::string text = withoutKey(sampleText(), "RightXi");
    text += "RightXi: [ 1.19, \"not a matrix\" ]\n";
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkText(text, why));
    EXPECT_EQ(why.rfind("key RightXi is malformed: ", 0), 0u) << why;
}

TEST(CalibrationFileCheck, ASerialNumberThatIsNoWholeNumberIsRefused)
{
    std::string text = sampleText();
    const std::string serial = "data: [ 1001. ]";
    text.replace(text.find(serial), serial.size(), "data: [ .Nan ]");
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkText(text, why));
    EXPECT_EQ(why, "key SerialNumber is not a whole number");
}

TEST(CalibrationFileCheck, TextThatIsNoParameterFileIsRefused)
{
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkText("just some words\n", why));
    EXPECT_FALSE(why.empty());
    EXPECT_FALSE(CalibrationFileCheck::checkText(std::string("%YAML:1.0\n\0\x01\x02", 14), why));
    EXPECT_EQ(why, "it is not a text parameter file (it holds bytes no such file holds)");
    EXPECT_FALSE(CalibrationFileCheck::checkText("", why));
    EXPECT_EQ(why, "it is empty");
}

TEST(CalibrationFileCheck, AFileOf4096BytesFitsAndOneOf4097DoesNot)
{
    TempDir dir;
    std::string why;
    const std::string fits = dir.write("fits.yml", paddedTo(sampleText(), 4096));
    ASSERT_EQ(readFile(fits).size(), 4096u);
    EXPECT_TRUE(CalibrationFileCheck::checkFile(fits, why)) << why;

    const std::string tooLong = dir.write("long.yml", paddedTo(sampleText(), 4097));
    ASSERT_EQ(readFile(tooLong).size(), 4097u);
    EXPECT_FALSE(CalibrationFileCheck::checkFile(tooLong, why));
    EXPECT_EQ(why, "it is longer than the 4096-byte calibration block");
}

TEST(CalibrationFileCheck, AMissingFileIsNamed)
{
    TempDir dir;
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkFile(dir.file("absent.yml"), why));
    EXPECT_EQ(why, "cannot read " + dir.file("absent.yml"));
}

TEST(CalibrationFileCheck, ABlockHoldsTheFileFollowedByZeros)
{
    std::string why;
    EXPECT_TRUE(CalibrationFileCheck::checkBlock(blockOf(sampleText()), why)) << why;
    EXPECT_TRUE(CalibrationFileCheck::checkBlock(blockOf(paddedTo(sampleText(), 4096)), why)) << why;
}

TEST(CalibrationFileCheck, ABlockWithTrailingNonZeroBytesIsRefused)
{
    std::vector<std::uint8_t> block = blockOf(sampleText());
    block[3000] = 0x41;
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkBlock(block, why));
    EXPECT_EQ(why, "the block has non-zero bytes after the file's end, at offset 3000");
}

TEST(CalibrationFileCheck, AnErasedBlankOrShortBlockIsNamed)
{
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkBlock(std::vector<std::uint8_t>(4096, 0xFF), why));
    EXPECT_EQ(why, "the block is erased (every byte is 0xFF)");
    EXPECT_FALSE(CalibrationFileCheck::checkBlock(std::vector<std::uint8_t>(4096, 0), why));
    EXPECT_EQ(why, "it is empty");
    EXPECT_FALSE(CalibrationFileCheck::checkBlock(std::vector<std::uint8_t>(4095, 0), why));
    EXPECT_EQ(why, "the block is 4095 bytes, not 4096");
}

TEST(CalibrationFileCheck, ABlockWithAnIncompleteFileIsNamed)
{
    std::string why;
    EXPECT_FALSE(CalibrationFileCheck::checkBlock(blockOf(withoutKey(sampleText(), "Translation")), why));
    EXPECT_EQ(why, "key Translation is missing");
}

} // namespace
} // namespace korvane::maintenance
