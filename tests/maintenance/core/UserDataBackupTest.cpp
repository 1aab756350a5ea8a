// The user-data backup: its file format, its files, and reading and writing
// the pieces of virtual modules.
#include "UserDataBackup.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

#include "Extension_Unit_Class/Camera_Status.h"
#include "UserDataLayout.h"
#include "ModuleFlashTest.h"
#include "support/TempDir.h"

namespace korvane::maintenance {
namespace {

using namespace korvane::emulator;
using korvane::test::readFile;
using korvane::test::TempDir;

Bytes patternPiece(std::uint8_t seed)
{
    Bytes piece(UserDataBackup::kPieceSize);
    for (std::size_t i = 0; i < piece.size(); ++i)
        piece[i] = static_cast<std::uint8_t>((i * 7 + seed * 13) & 0xFE);
    return piece;
}

UserDataBackup sampleBackup()
{
    UserDataBackup backup;
    backup.identification = "256-256-1234-A1";
    backup.model = "QLV_8M_1";
    backup.takenAt = "2026-11-21T09:13:53Z";
    backup.pieces = {patternPiece(1), patternPiece(2)};
    return backup;
}

void expectSame(const UserDataBackup& a, const UserDataBackup& b)
{
    EXPECT_EQ(a.identification, b.identification);
    EXPECT_EQ(a.model, b.model);
    EXPECT_EQ(a.takenAt, b.takenAt);
    EXPECT_EQ(a.pieces, b.pieces);
}

std::string refusal(const Bytes& bytes)
{
    UserDataBackup out;
    std::string why;
    EXPECT_FALSE(UserDataBackup::fromBytes(bytes, out, why));
    return why;
}

// Sets or clears an environment variable for the life of the object.
class ScopedEnvironment
{
public:
    ScopedEnvironment(const char* name, const char* value) : m_name(name)
    {
        if (const char* old = std::getenv(name))
            m_old = old;
        m_had = std::getenv(name) != nullptr;
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ~ScopedEnvironment()
    {
        if (m_had)
            setenv(m_name, m_old.c_str(), 1);
        else
            unsetenv(m_name);
    }

private:
    const char* m_name;
    std::string m_old;
    bool m_had = false;
};

TEST(UserDataBackupFormat, BytesRoundTrip)
{
    UserDataBackup loaded;
    std::string why;
    ASSERT_TRUE(UserDataBackup::fromBytes(sampleBackup().toBytes(), loaded, why)) << why;
    expectSame(loaded, sampleBackup());
}

TEST(UserDataBackupFormat, TheHeaderIsAsDocumented)
{
    const Bytes bytes = sampleBackup().toBytes();
    const std::string start(bytes.begin(), bytes.begin() + 12);
    EXPECT_EQ(start, std::string("KVUDBAK\n\x01\x00\x0f\x00", 12));
    // magic, version, 3 texts with their lengths, count, pieces, checksum
    EXPECT_EQ(bytes.size(), 8u + 2 + (2 + 15) + (2 + 8) + (2 + 20) + 2 + 2 * 4096 + 4);
}

TEST(UserDataBackupFormat, EveryTruncationIsRefused)
{
    const Bytes bytes = sampleBackup().toBytes();
    for (std::size_t length = 8; length < bytes.size(); length += (length < 80 ? 1 : 509)) {
        const std::string why = refusal(Bytes(bytes.begin(), bytes.begin() + length));
        EXPECT_EQ(why.rfind("the file is truncated: it ends inside the ", 0), 0u) << length << ": " << why;
    }
    EXPECT_EQ(refusal(Bytes(bytes.begin(), bytes.end() - 1)),
              "the file is truncated: it ends inside the piece 1");
}

TEST(UserDataBackupFormat, AnotherVersionIsRefused)
{
    Bytes bytes = sampleBackup().toBytes();
    bytes[8] = 2;
    EXPECT_EQ(refusal(bytes), "it is a backup of format version 2; this program reads version 1");
}

TEST(UserDataBackupFormat, AWrongChecksumIsRefused)
{
    Bytes bytes = sampleBackup().toBytes();
    bytes[100] ^= 0x01;
    EXPECT_EQ(refusal(bytes), "the checksum does not match: the file is damaged");
    bytes[100] ^= 0x01;
    bytes.back() ^= 0x80;
    EXPECT_EQ(refusal(bytes), "the checksum does not match: the file is damaged");
}

TEST(UserDataBackupFormat, OtherFilesAndExtraBytesAreRefused)
{
    EXPECT_EQ(refusal({}), "it is not a user-data backup file");
    EXPECT_EQ(refusal({'%', 'Y', 'A', 'M', 'L', ':', '1', '.', '0'}), "it is not a user-data backup file");
    Bytes bytes = sampleBackup().toBytes();
    bytes.insert(bytes.end() - 4, 0x00);
    EXPECT_EQ(refusal(bytes), "the file has 1 bytes too many");
}

TEST(UserDataBackupFormat, APieceCountOutOfRangeIsRefused)
{
    UserDataBackup none = sampleBackup();
    none.pieces.clear();
    EXPECT_EQ(refusal(none.toBytes()), "the piece count 0 is not between 1 and 16");
}

// The fuzzer's seed was written from the documented layout by another program.
TEST(UserDataBackupFiles, AFileWrittenFromTheDocumentedLayoutLoads)
{
    UserDataBackup loaded;
    std::string why;
    ASSERT_TRUE(UserDataBackup::load(KORVANE_SOURCE_DIR "/tests/fuzz/seeds/user-data-backup", loaded, why)) << why;
    EXPECT_EQ(loaded.identification, "100-100-7119-KV0000000001");
    EXPECT_EQ(loaded.model, "QLV_8M_1");
    EXPECT_EQ(loaded.takenAt, "2026-11-21T09:13:53Z");
    ASSERT_EQ(loaded.pieces.size(), 2u);
    const std::string calibration = readFile(KORVANE_SOURCE_DIR "/data/sample_calibration.yml");
    EXPECT_EQ(std::string(loaded.pieces[0].begin(), loaded.pieces[0].begin() + calibration.size()), calibration);
}

TEST(UserDataBackupFiles, DefaultDirectoryFollowsTheEnvironment)
{
    ScopedEnvironment home("HOME", "/home/tester");
    {
        ScopedEnvironment chosen("KORVANE_BACKUP_DIR", "/srv/backups");
        ScopedEnvironment state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(UserDataBackup::defaultDirectory(), "/srv/backups");
    }
    {
        ScopedEnvironment chosen("KORVANE_BACKUP_DIR", nullptr);
        ScopedEnvironment state("XDG_STATE_HOME", "/state");
        EXPECT_EQ(UserDataBackup::defaultDirectory(), "/state/korvane/backups");
    }
    ScopedEnvironment chosen("KORVANE_BACKUP_DIR", nullptr);
    ScopedEnvironment state("XDG_STATE_HOME", nullptr);
    EXPECT_EQ(UserDataBackup::defaultDirectory(), "/home/tester/.local/state/korvane/backups");
}

TEST(UserDataBackupFiles, SaveAndLoadRoundTrip)
{
    TempDir dir;
    const std::string directory = dir.file("state/korvane/backups");
    std::string path;
    std::string why;
    ASSERT_TRUE(sampleBackup().save(directory, path, why)) << why;
    EXPECT_EQ(path, directory + "/256-256-1234-A1_20261121T091353Z.kvbackup");
    UserDataBackup loaded;
    ASSERT_TRUE(UserDataBackup::load(path, loaded, why)) << why;
    expectSame(loaded, sampleBackup());
}

TEST(UserDataBackupFiles, SaveNeverOverwrites)
{
    TempDir dir;
    std::string first;
    std::string second;
    std::string why;
    ASSERT_TRUE(sampleBackup().save(dir.path(), first, why)) << why;
    const std::string firstBytes = readFile(first);
    UserDataBackup other = sampleBackup();
    other.pieces[0] = patternPiece(9);
    ASSERT_TRUE(other.save(dir.path(), second, why)) << why;
    EXPECT_NE(first, second);
    EXPECT_EQ(readFile(first), firstBytes);
    UserDataBackup loaded;
    ASSERT_TRUE(UserDataBackup::load(second, loaded, why)) << why;
    expectSame(loaded, other);
}

TEST(UserDataBackupFiles, SaveIntoAnUnusableDirectoryFails)
{
    TempDir dir;
    const std::string file = dir.write("plain", "x");
    std::string path;
    std::string why;
    EXPECT_FALSE(sampleBackup().save(file + "/backups", path, why));
    EXPECT_EQ(why.rfind("cannot make the directory " + file + "/backups", 0), 0u) << why;
}

TEST(UserDataBackupFiles, ATruncatedOrMissingFileIsRefusedWithItsPath)
{
    TempDir dir;
    const Bytes bytes = sampleBackup().toBytes();
    const std::string path = dir.write("cut.kvbackup", std::string(bytes.begin(), bytes.begin() + 2000));
    UserDataBackup loaded;
    std::string why;
    EXPECT_FALSE(UserDataBackup::load(path, loaded, why));
    EXPECT_EQ(why, path + " is refused: the file is truncated: it ends inside the piece 0");
    EXPECT_FALSE(UserDataBackup::load(dir.file("absent"), loaded, why));
    EXPECT_EQ(why.rfind("cannot read " + dir.file("absent"), 0), 0u) << why;
}

class UserDataBackupModuleTest : public ModuleFlashTest
{
protected:
    // A 2620 module on /dev/video0 whose user-data pieces hold two patterns.
    VirtualModule& addPatternedModule(std::uint8_t first, std::uint8_t second)
    {
        VirtualModule& module = Add_Camera("2620", 0);
        loadFlash(module, 15 * 4096, patternPiece(first));
        loadFlash(module, 14 * 4096, patternPiece(second));
        return module;
    }
};

UserDataBackup backupOf(ModuleHandle& module)
{
    UserDataBackup backup;
    std::string why;
    EXPECT_TRUE(UserDataBackup::readFrom(module, backup, why)) << why;
    return backup;
}

TEST_F(UserDataBackupModuleTest, TheBackupOfA2620ModuleEqualsItsFlash)
{
    VirtualModule& virtualModule = addPatternedModule(3, 4);
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    const UserDataBackup backup = backupOf(*module);
    ASSERT_EQ(backup.pieces.size(), 2u);
    EXPECT_EQ(backup.pieces[0], flashPiece(virtualModule, 15));
    EXPECT_EQ(backup.pieces[1], flashPiece(virtualModule, 14));
    EXPECT_EQ(backup.pieces[0], patternPiece(3));
    EXPECT_EQ(backup.identification, module->identification());
    EXPECT_EQ(backup.model, "QLV_8M_1");
    EXPECT_EQ(backup.takenAt.size(), 20u);
    EXPECT_EQ(backup.takenAt.back(), 'Z');
    EXPECT_TRUE(UserDataBackup::downloadCoversUserData(*module));
}

TEST_F(UserDataBackupModuleTest, WriteToRestoresOverwrittenFlash)
{
    VirtualModule& virtualModule = addPatternedModule(5, 6);
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    const UserDataBackup backup = backupOf(*module);
    std::string why;
    loadFlash(virtualModule, 14 * 4096, Bytes(2 * 4096, 0x00));
    ASSERT_TRUE(backup.writeTo(*module, why)) << why;
    EXPECT_EQ(flashPiece(virtualModule, 15), patternPiece(5));
    EXPECT_EQ(flashPiece(virtualModule, 14), patternPiece(6));
}

TEST_F(UserDataBackupModuleTest, AFailedWriteIsReported)
{
    VirtualModule& virtualModule = Add_Camera("2620", 0);
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    virtualModule.Fail_Queries(FaultRule{kAny, kAny, kSetCur, EIO, kAlways, 0});
    std::string why;
    EXPECT_FALSE(sampleBackup().writeTo(*module, why));
    const std::string meaning =
        Camera_Status_Message(Camera_Operation::Flash_Piece, Camera_Status::Flash_Transfer_Failed);
    EXPECT_EQ(why, "writing user-data piece 0 failed (status -3): " + meaning);
}

TEST_F(UserDataBackupModuleTest, AReadBackDifferenceIsReported)
{
    VirtualModule& virtualModule = Add_Camera("2620", 0);
    virtualModule.With_Chip([](ChipModel& chip) {
        chip.Flash().Set_Stuck_Bits(14 * 4096 + 10, 0x01);
        return 0;
    });
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    std::string why;
    EXPECT_FALSE(sampleBackup().writeTo(*module, why));
    EXPECT_EQ(why, "user-data piece 1 reads back different from the backup");
}

TEST_F(UserDataBackupModuleTest, ABackupOfAnotherModelOrPieceCountIsRefused)
{
    VirtualModule& virtualModule = Add_Camera("2281", 0);
    const Bytes before = flashPiece(virtualModule, 13);
    auto module = open(0);
    ASSERT_NE(module, nullptr);
    std::string why;
    EXPECT_FALSE(sampleBackup().writeTo(*module, why));
    EXPECT_EQ(why, "the backup was taken from a module of model QLV_8M_1, this module is of model QLV_3M_1");
    UserDataBackup threePieces = sampleBackup();
    threePieces.model = "QLV_3M_1";
    threePieces.pieces.push_back(patternPiece(7));
    EXPECT_FALSE(threePieces.writeTo(*module, why));
    EXPECT_EQ(why, "the backup holds 3 pieces, the module's chip has 2");
    EXPECT_EQ(flashPiece(virtualModule, 13), before);
}

// The layout agrees with the chip protocols: each piece written through the
// flat API lands in the flash piece the layout names, on every chip.
TEST_F(UserDataBackupModuleTest, TheLayoutMatchesEveryChip)
{
    const char* const chips[] = {"2620", "2085", "2092", "2281", "2650", "2282"};
    int node = 0;
    for (const char* chip : chips) {
        SCOPED_TRACE(chip);
        VirtualModule& virtualModule = Add_Camera(chip, node);
        auto module = open(node);
        ASSERT_NE(module, nullptr);
        UserDataLayout layout;
        ASSERT_TRUE(UserDataLayout::forModel(module->model(), layout)) << module->model();
        EXPECT_TRUE(layout.downloadCoversUserData());
        UserDataBackup backup;
        backup.model = module->model();
        for (std::size_t i = 0; i < layout.pieceCount(); ++i)
            backup.pieces.push_back(patternPiece(static_cast<std::uint8_t>(20 + i)));
        std::string why;
        ASSERT_TRUE(backup.writeTo(*module, why)) << why;
        for (std::size_t i = 0; i < layout.pieceCount(); ++i)
            EXPECT_EQ(flashPiece(virtualModule, layout.flashPieces()[i]), backup.pieces[i]) << i;
        Bytes beyond(4096);
        EXPECT_EQ(Camera_Flash_R_Api(module->device(), 3, beyond.data()), -7);
        module.reset();
        Camera_UnInit();
        node += 2;
    }
}

TEST(UserDataLayoutTest, AnUnknownModelHasNoLayout)
{
    UserDataLayout layout;
    EXPECT_FALSE(UserDataLayout::forModel("UNKNOW", layout));
    EXPECT_TRUE(UserDataLayout::forModel("QLV_8M_1", layout));
    EXPECT_EQ(layout.flashPieces(), (std::vector<std::uint32_t>{15, 14}));
}

} // namespace
} // namespace korvane::maintenance
