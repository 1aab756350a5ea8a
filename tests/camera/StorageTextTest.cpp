#include <gtest/gtest.h>

#include <zlib.h>

#include "CameraTestSupport.h"
#include "camera/StorageText.h"
#include "support/CaptureStream.h"
#include "support/TempDir.h"

using namespace korvane;
using namespace korvane::test;

namespace {

const std::string kSeeds = KORVANE_SOURCE_DIR "/tests/fuzz/seeds/";

std::string writeCompressed(const TempDir& dir, const std::string& name, const std::string& bytes)
{
    const std::string path = dir.file(name);
    gzFile file = gzopen(path.c_str(), "wb");
    gzwrite(file, bytes.data(), static_cast<unsigned>(bytes.size()));
    gzclose(file);
    return path;
}

} // namespace

TEST(StorageText, PlainTextIsAccepted)
{
    EXPECT_EQ(classifyStorageBytes(""), StorageText::Text);
    EXPECT_EQ(classifyStorageBytes(sampleCalibrationYaml()), StorageText::Text);
    EXPECT_EQ(classifyStorageBytes("\xff\xfe<?xml"), StorageText::Text);
}

TEST(StorageText, NulBytesAreRefused)
{
    EXPECT_EQ(classifyStorageBytes(std::string("%YAML:1.0\n\0", 11)), StorageText::Refused);
    EXPECT_EQ(classifyStorageBytes(std::string(1, '\0')), StorageText::Refused);
}

TEST(StorageText, TextLargerThanAnySettingsFileIsRefused)
{
    EXPECT_EQ(classifyStorageBytes(std::string(kMaxStorageFileBytes, ' ')), StorageText::Text);
    EXPECT_EQ(classifyStorageBytes(std::string(kMaxStorageFileBytes + 1, ' ')), StorageText::Refused);
}

TEST(StorageText, FilesAreClassifiedAsTheParserWouldReadThem)
{
    TempDir dir;
    EXPECT_EQ(inspectStorageFile(dir.write("ok.yml", sampleCalibrationYaml())), StorageText::Text);
    EXPECT_EQ(inspectStorageFile(dir.file("absent.yml")), StorageText::Unreadable);
    EXPECT_EQ(inspectStorageFile(dir.path()), StorageText::Unreadable);
    EXPECT_EQ(inspectStorageFile(writeCompressed(dir, "ok.yml.gz", sampleCalibrationYaml())),
              StorageText::Text);
    EXPECT_EQ(inspectStorageFile(writeCompressed(dir, "nul.yml.gz", std::string("a: 1\n\0", 6))),
              StorageText::Refused);
}

TEST(StorageText, InputThatCrashesTheParserIsRefused)
{
    EXPECT_FALSE(trialParseSucceeds(kSeeds + "xml-nul-in-attribute", 5000));
    EXPECT_EQ(inspectStorageFile(kSeeds + "xml-nul-in-attribute"), StorageText::Refused);
}

TEST(StorageText, InputThatMakesTheParserLoopIsRefusedAfterTheTimeLimit)
{
    EXPECT_FALSE(trialParseSucceeds(kSeeds + "yaml-parser-loop", 300));
}

TEST(StorageText, ParseErrorsAreNotFaults)
{
    TempDir dir;
    EXPECT_TRUE(trialParseSucceeds(dir.write("bad.yml", "%YAML:1.0\n---\na: [ 1,"), 5000));
    EXPECT_TRUE(trialParseSucceeds(dir.write("ok.yml", sampleCalibrationYaml()), 5000));
}

TEST(StorageText, LoadersReportRefusedFilesAsUnreadableContent)
{
    Probe camera(kAbsentDevice);
    const std::string crash = kSeeds + "xml-nul-in-attribute";
    const std::string loop = kSeeds + "yaml-parser-loop";
    bool result = true;
    EXPECT_EQ(stderrOf([&] { result = camera.loadConfig(crash); }),
              "Read A NULL File," + crash + " not loaded!\n");
    EXPECT_FALSE(result);
    EXPECT_EQ(stderrOf([&] { result = camera.loadConfig(loop); }),
              "Read A NULL File," + loop + " not loaded!\n");
    EXPECT_FALSE(result);
    EXPECT_EQ(stderrOf([&] { result = camera.loadCalibParams(crash); }),
              "Read A NULL File, Camera CalibParams not loaded!\n");
    EXPECT_FALSE(result);
    EXPECT_EQ(camera.getDeviceNode(), kAbsentDevice);
}
