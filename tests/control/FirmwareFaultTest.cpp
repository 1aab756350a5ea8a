// Faults during a download: a transfer that fails at each query of a
// download, from the first to the last, a power loss at a sample of
// queries, and a read-back difference in each piece. After each,
// the result code is the one the failure calls for, the module boots either
// the complete new image or its ROM boot code, never a partial image, and a
// second download succeeds.
//
// Each case starts where an update starts its download: the old image in
// the flash with its header cleared by the boot-code switch. (The erase runs
// from the top down, so an image whose header were still valid would stand
// half-erased behind it until the last sector.)
#include "FirmwareTestSupport.h"
#include "Firmware_Image_Generator.h"
#include "ModuleProtocol.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

using namespace korvane::emulator;
using namespace firmware_test;
using korvane::firmware::Firmware_Image_Kind;
using korvane::firmware::Make_Firmware_Image;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint32_t kArea = 0x10000;
// Two pieces keep each case short; the order (piece 1, then piece 0) is the same as with more.
constexpr std::uint32_t kPieceLength = 0x8000;
// A chip that reports 0 (0x10000): one piece, moved in two transfers.
constexpr std::uint32_t kWholeAreaPiece = 0x10000;
constexpr std::size_t kPowerLossSample = 6;

Bytes Padded(const Bytes& image)
{
    Bytes padded(kArea, 0);
    std::copy(image.begin(), image.end(), padded.begin());
    return padded;
}

// Where the queries of a clean download fall.
struct Download_Shape
{
    std::size_t total = 0;      // queries in all
    std::size_t firstErase = 0;  // index of the first erase query
    std::size_t firstPiece = 0;  // index of the first query of the piece writes
    std::size_t headerData = 0;  // index of the data query that writes piece 0, the header
    std::size_t firstReset = 0;  // index of the first query of the closing restart
};

class FirmwareFaultTest : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        Pin_To_One_Cpu();
        VirtualModuleTest::SetUp();
        Testbed().Set_Restart_Delay(0ms);
        ModuleConfig config = Camera_Module("2620", 0);
        config.pieceLength = Piece_Length();
        m_module = &Testbed().Add_Module(config);
        m_plugs = 1;
        m_old = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 11);
        m_new = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0xA000, 12);
    }

    void TearDown() override
    {
        m_protocol.reset();
        VirtualModuleTest::TearDown();
    }

    virtual std::uint32_t Piece_Length() const { return kPieceLength; }

    // The module with the old image, freshly started, and a protocol on it.
    void Start_Case()
    {
        m_module->Clear_Faults();
        m_module->Lose_Power_After(-1);
        m_module->With_Chip([](ChipModel& chip) { chip.Flash().Clear_Stuck_Bits(); });
        Bytes switched = Padded(m_old);
        switched[0] = switched[1] = 0x00;
        Load_Flash(*m_module, 0, switched);
        Power_Cycle();
        ASSERT_EQ(m_module->Boots().back(), Boot_Mode::Rom_Boot_Code);
        Open();
        m_module->Clear_Queries();
    }

    void Open()
    {
        m_protocol.reset();
        m_protocol = std::make_unique<ModuleProtocol>("/dev/video0");
        ASSERT_NE(m_protocol->get(), nullptr);
    }

    void Power_Cycle()
    {
        Testbed().Unplug(*m_module);
        Testbed().Replug(*m_module);
        ++m_plugs;
    }

    int Download(const Bytes& image)
    {
        Bytes bytes = image;
        int result = 0;
        korvane::test::stderrOf([&] {
            result = (*m_protocol)->Download_Firmware(bytes.data(), static_cast<std::uint32_t>(bytes.size()), nullptr);
        });
        return result;
    }

    // Waits for a restart the module asked for, or power-cycles it.
    void Restart(bool requested)
    {
        if (requested) {
            ++m_plugs;
            ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(*m_module, m_plugs, 5s));
        } else {
            Power_Cycle();
        }
    }

    // What the module booted holds no partial image.
    void Expect_Complete_Image_Or_Boot_Code()
    {
        const Boot_Mode boot = m_module->Boots().back();
        const Bytes flash = Flash_Bytes(*m_module, 0, kArea);
        if (boot == Boot_Mode::Firmware)
            EXPECT_EQ(flash, Padded(m_new)) << "a valid header over a partial image";
        else
            EXPECT_FALSE(flash[0] == 0x89 && flash[1] == 0x26);
        EXPECT_EQ(boot == Boot_Mode::Firmware, flash == Padded(m_new));
    }

    void Expect_Second_Download_Succeeds()
    {
        m_module->Clear_Faults();
        m_module->With_Chip([](ChipModel& chip) { chip.Flash().Clear_Stuck_Bits(); });
        Open();
        ASSERT_EQ(Download(m_new), 0);
        Restart(true);
        EXPECT_EQ(m_module->Boots().back(), Boot_Mode::Firmware);
        EXPECT_EQ(Flash_Bytes(*m_module, 0, kArea), Padded(m_new));
    }

    Download_Shape Shape()
    {
        Start_Case();
        EXPECT_EQ(Download(m_new), 0);
        const std::vector<QueryRecord> queries = m_module->Queries();
        Restart(true);
        Download_Shape shape;
        shape.total = queries.size();
        // Each transfer is a GET_LEN and then the query that moves the data.
        for (std::size_t i = 0; i < queries.size(); ++i) {
            const XuQuery& query = queries[i].request;
            if (query.query != kSetCur)
                continue;
            if (!shape.firstErase && query.selector == 0x0D)
                shape.firstErase = i - 1;
            if (!shape.firstPiece && query.selector == 0x0E)
                shape.firstPiece = i - 1;
            if (query.selector == 0x0F)
                shape.headerData = i;
        }
        // The restart is six register writes of four queries each, at the end.
        shape.firstReset = shape.total - 6 * 4;
        return shape;
    }

    // One transfer failure at query `index` of a download.
    void Fail_At(std::size_t index, const Download_Shape& shape)
    {
        SCOPED_TRACE("failure at query " + std::to_string(index));
        Start_Case();
        FaultRule rule;
        rule.error = EIO;
        rule.skip = static_cast<int>(index);
        m_module->Fail_Queries(rule);
        const int result = Download(m_new);
        // A failed restart write is not reported: the image is complete by then.
        const bool inRestart = index >= shape.firstReset;

        EXPECT_EQ(result, inRestart ? 0 : -3);
        Restart(false);
        Expect_Complete_Image_Or_Boot_Code();
        // The header is written when its data query goes through (a failed GET_LEN before it does not stop it).
        const bool headerWritten = index + 1 == shape.headerData || index > shape.headerData;
        EXPECT_EQ(m_module->Boots().back(), headerWritten ? Boot_Mode::Firmware : Boot_Mode::Rom_Boot_Code);
        Expect_Second_Download_Succeeds();
        ++m_cases;
    }

    // One transfer failure at each query from `first` up to `end`, in turn.
    void Fail_At_Each(std::size_t first, std::size_t end, const Download_Shape& shape)
    {
        for (std::size_t index = first; index < end; ++index)
            Fail_At(index, shape);
    }

    // A read-back difference in that piece: -1, the header sector blank, the
    // boot code started, and a second download succeeds.
    void Expect_Read_Back_Difference_Handled(std::uint32_t piece)
    {
        SCOPED_TRACE("difference in piece " + std::to_string(piece));
        Start_Case();
        const std::uint32_t address = piece * Piece_Length() + 100;
        m_module->With_Chip([address](ChipModel& chip) { chip.Flash().Set_Stuck_Bits(address, 0xFF); });
        EXPECT_EQ(Download(m_new), -1);
        Restart(true);
        EXPECT_EQ(m_module->Boots().back(), Boot_Mode::Rom_Boot_Code);
        EXPECT_EQ(Flash_Bytes(*m_module, 0, 4096), Bytes(4096, 0xFF));
        Expect_Second_Download_Succeeds();
        ++m_cases;
    }

    // The power fails at query `index`; the module comes back by itself.
    void Lose_Power_At(std::size_t index, const Download_Shape& shape)
    {
        SCOPED_TRACE("power loss at query " + std::to_string(index));
        Start_Case();
        m_module->Lose_Power_After(static_cast<int>(index));
        const int result = Download(m_new);
        EXPECT_EQ(result, index >= shape.firstReset ? 0 : -3);
        Restart(true);
        Expect_Complete_Image_Or_Boot_Code();
        Expect_Second_Download_Succeeds();
        ++m_cases;
    }

    void Report(const char* what)
    {
        std::printf("fault cases run (%s): %d\n", what, m_cases);
        RecordProperty("fault_cases", m_cases);
    }

    VirtualModule* m_module = nullptr;
    std::unique_ptr<ModuleProtocol> m_protocol;
    int m_plugs = 0;
    int m_cases = 0;
    Bytes m_old;
    Bytes m_new;
};

TEST_F(FirmwareFaultTest, TransferFailureBeforeTheErase)
{
    const Download_Shape shape = Shape();
    ASSERT_GT(shape.firstErase, 0u);
    Fail_At_Each(0, shape.firstErase, shape);
    Report("before the erase");
}

TEST_F(FirmwareFaultTest, TransferFailureInTheErase)
{
    const Download_Shape shape = Shape();
    ASSERT_EQ(shape.firstPiece - shape.firstErase, 16u * 2);
    Fail_At_Each(shape.firstErase, shape.firstPiece, shape);
    Report("erase");
}

TEST_F(FirmwareFaultTest, TransferFailureInThePiecesAndTheRestart)
{
    const Download_Shape shape = Shape();
    Fail_At_Each(shape.firstPiece, shape.total, shape);
    Report("pieces and restart");
}

TEST_F(FirmwareFaultTest, PowerLossAtASampleOfQueries)
{
    const Download_Shape shape = Shape();
    for (std::size_t index = 1; index < shape.total; index += kPowerLossSample)
        Lose_Power_At(index, shape);
    Lose_Power_At(shape.total - 1, shape);
    Report("power loss");
}

TEST_F(FirmwareFaultTest, ReadBackDifferenceInEachPiece)
{
    for (std::uint32_t piece = 0; piece < kArea / Piece_Length(); ++piece)
        Expect_Read_Back_Difference_Handled(piece);
    Report("read-back difference");
}

// The same on a chip that reports 0 (0x10000): the whole area is piece 0,
// written in two transfers with the header's half last, so a failure
// between them leaves no valid header either.
class OnePieceFaultTest : public FirmwareFaultTest
{
protected:
    std::uint32_t Piece_Length() const override { return kWholeAreaPiece; }
};

TEST_F(OnePieceFaultTest, TransferFailureInThePieceAndTheRestart)
{
    const Download_Shape shape = Shape();
    Fail_At_Each(shape.firstPiece, shape.total, shape);
    Report("one piece: piece and restart");
}

TEST_F(OnePieceFaultTest, ReadBackDifferenceInThePiece)
{
    Expect_Read_Back_Difference_Handled(0);
    Report("one piece: read-back difference");
}

} // namespace
