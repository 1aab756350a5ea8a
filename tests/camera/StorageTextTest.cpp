#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <fstream>
#include <future>
#include <iterator>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>
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

// The bytes in a memory file of this process, named as /proc/self/fd/N.
class MemoryFile
{
public:
    explicit MemoryFile(const std::string& bytes) : m_fd(memfd_create("storage-text-test", 0))
    {
        if (m_fd >= 0 && write(m_fd, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
            ADD_FAILURE() << "short write to the memory file";
    }
    ~MemoryFile()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    std::string path(const char* prefix = "/proc/self/fd/") const { return prefix + std::to_string(m_fd); }

private:
    int m_fd;
};

std::string fileBytes(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(file), {});
}

// Writes text into a named pipe once its reader has opened it, giving up
// after a few seconds; false when no reader came.
bool writeWhenRead(const std::string& pipe, const std::string& text)
{
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    int fd = -1;
    while ((fd = open(pipe.c_str(), O_WRONLY | O_NONBLOCK)) < 0) {
        if (errno != ENXIO || std::chrono::steady_clock::now() > deadline)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return written;
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

// The trial parse runs in a program of its own: a name of one of this
// process's descriptors must still reach the same file there.
TEST(StorageText, DescriptorNamesOfThisProcessAreParsedAsTheSameFile)
{
    const MemoryFile crash(fileBytes(kSeeds + "xml-nul-in-attribute"));
    EXPECT_FALSE(trialParseSucceeds(crash.path(), 5000));
    EXPECT_FALSE(trialParseSucceeds(crash.path("/dev/fd/"), 5000));
    const MemoryFile good(sampleCalibrationYaml());
    EXPECT_TRUE(trialParseSucceeds(good.path(), 5000));
    EXPECT_EQ(inspectStorageFile(good.path()), StorageText::Text);
}

// The limit counts the parser's processor time: a parse that waits longer
// than the limit without using the processor (as on a machine whose cores
// are all busy) is not refused.
TEST(StorageText, TimeTheParserSpendsWaitingIsNotCountedAgainstIt)
{
    TempDir dir;
    const std::string pipe = dir.file("waiting.yml");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    auto verdict = std::async(std::launch::async, [&] { return trialParseSucceeds(pipe, 300); });
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    ASSERT_TRUE(writeWhenRead(pipe, sampleCalibrationYaml()));
    EXPECT_TRUE(verdict.get());
}

TEST(StorageText, AParseBlockedOnItsInputIsRefusedWhenTheClockRunsOut)
{
    TempDir dir;
    const std::string pipe = dir.file("never-written.yml");
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const auto started = std::chrono::steady_clock::now();
    EXPECT_FALSE(trialParseSucceeds(pipe, 300, 500));
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
}
