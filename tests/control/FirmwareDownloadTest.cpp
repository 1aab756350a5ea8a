#include "FirmwareTestSupport.h"
#include "Firmware_Image_Generator.h"
#include "LogCapture.h"
#include "ModuleProtocol.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <memory>
#include <ostream>
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

Bytes Padded(const Bytes& image, std::uint32_t length = kArea)
{
    Bytes padded(length, 0);
    std::copy(image.begin(), image.end(), padded.begin());
    return padded;
}

// The piece events (address, write, read) of a download, in order.
std::vector<Event> Piece_Events(const std::vector<QueryRecord>& queries)
{
    std::vector<Event> pieces;
    for (const Event& event : Flash_Events(queries))
        if (event.kind == 'A' || event.kind == 'W' || event.kind == 'R')
            pieces.push_back(event);
    return pieces;
}

// What the chip answered to the GET_LEN queries of the piece data selector.
std::vector<Bytes> Piece_Length_Answers(const std::vector<QueryRecord>& queries)
{
    std::vector<Bytes> answers;
    for (const QueryRecord& query : queries)
        if (query.request.selector == 0x0F && query.request.query == kGetLen && query.error == 0)
            answers.push_back(query.data);
    return answers;
}

// The 16 sector erases of the 64 KiB area, from the top down.
std::vector<Event> Erase_Events()
{
    std::vector<Event> erases;
    for (std::uint32_t sector = 16; sector > 0; --sector)
        erases.push_back({'E', (sector - 1) * 0x1000, 0, {}});
    return erases;
}

void Expect_Events(const std::vector<Event>& events, const std::vector<Event>& expected)
{
    ASSERT_EQ(events.size(), expected.size());
    for (std::size_t i = 0; i < events.size(); ++i)
        ASSERT_EQ(events[i], expected[i]) << "event " << i << ": " << Describe(events[i]) << " instead of "
                                          << Describe(expected[i]);
}

class FirmwareDownloadTest : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        Pin_To_One_Cpu();
        VirtualModuleTest::SetUp();
        Testbed().Set_Restart_Delay(20ms);
    }

    void TearDown() override
    {
        m_protocol.reset();
        VirtualModuleTest::TearDown();
    }

    VirtualModule& Module(const std::string& chip, std::uint32_t pieceLength = 0, const std::string& part = "")
    {
        ModuleConfig config = Camera_Module(chip, 0);
        config.pieceLength = pieceLength;
        config.flashPart = part;
        VirtualModule& module = Testbed().Add_Module(config);
        Open();
        return module;
    }

    void Open()
    {
        m_protocol.reset();
        m_protocol = std::make_unique<ModuleProtocol>("/dev/video0");
        ASSERT_NE(m_protocol->get(), nullptr);
    }

    // Runs a download; its standard error output goes to *errors.
    int Download(Bytes image, float* progress, std::string* errors = nullptr)
    {
        int result = 0;
        const std::string text = korvane::test::stderrOf([&] {
            result = (*m_protocol)->Download_Firmware(image.data(), static_cast<std::uint32_t>(image.size()), progress);
        });
        if (errors)
            *errors = text;
        return result;
    }

    // Waits for the restart the download ends with and returns what the chip booted.
    Boot_Mode Boot_After_Restart(VirtualModule& module)
    {
        EXPECT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 2, 5s));
        const std::vector<Boot_Mode> boots = module.Boots();
        EXPECT_FALSE(boots.empty());
        return boots.empty() ? Boot_Mode::Rom_Boot_Code : boots.back();
    }

    std::unique_ptr<ModuleProtocol> m_protocol;
};

TEST_F(FirmwareDownloadTest, WholeDownloadOnThe2620)
{
    VirtualModule& module = Module("2620");
    Load_Flash(module, 0, Bytes(kArea, 0x5A));
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000);
    module.Clear_Queries();
    float progress = -1.0f;
    std::string errors;

    ASSERT_EQ(Download(image, &progress, &errors), 0);

    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(147, 1.47f));
    EXPECT_EQ(Schedule_Lines(errors).front(), "DownLoad Schedule 0.680272 %");
    EXPECT_EQ(Schedule_Lines(errors).back(), "DownLoad Schedule 100.000000 %");
    EXPECT_EQ(errors.find("\n"), errors.find("\r\n") + 1) << "lines end in CR LF";
    EXPECT_EQ(progress, 100.0f);
    EXPECT_EQ(m_protocol->chip()->u_StepNum, 147u);
    EXPECT_EQ(m_protocol->chip()->f_Schedule, 100.0f);
    EXPECT_EQ(Flash_Bytes(module, 0, kArea), Padded(image));

    // Erase from the top, pieces 1 .. 63 written and read back, piece 0 last, then the restart.
    std::vector<Event> expected = Erase_Events();
    for (std::uint32_t n = 1; n <= 64; ++n) {
        const std::uint32_t address = (n % 64) * 1024;
        expected.push_back({'A', address, 0, {}});
        expected.push_back({'W', 1024, 0, {}});
        expected.push_back({'A', address, 0, {}});
        expected.push_back({'R', 1024, 0, {}});
    }
    for (const Event& event : Reset_Events())
        expected.push_back(event);
    const std::vector<Event> events = Flash_Events(module.Queries());
    ASSERT_NO_FATAL_FAILURE(Expect_Events(events, expected));
    // The data of each write is the image's piece.
    const Bytes padded = Padded(image);
    for (std::size_t i = 16; i + 3 < events.size() - 6; i += 4) {
        const std::uint32_t address = events[i].value;
        const Bytes piece(padded.begin() + address, padded.begin() + address + 1024);
        ASSERT_EQ(events[i + 1].data, piece) << "piece at 0x" << std::hex << address;
    }
    // Nothing is sent after the restart request.
    const std::vector<QueryRecord> queries = module.Queries();
    ASSERT_FALSE(queries.empty());
    EXPECT_EQ(queries.back().request.selector, 0x03);
    EXPECT_EQ(queries.back().data, Bytes{0x01});

    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

TEST_F(FirmwareDownloadTest, NullProgressPointerStillPrintsProgress)
{
    VirtualModule& module = Module("2620", 4096);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x3000);
    std::string errors;

    ASSERT_EQ(Download(image, nullptr, &errors), 0);

    // 1 + 1 + 16 + 2 x 15 + 2 + 1 steps with 4096-byte pieces.
    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(51, 1.47f));
    EXPECT_EQ(Flash_Bytes(module, 0, kArea), Padded(image));
}

TEST_F(FirmwareDownloadTest, UserDataPiecesAreRewrittenWithTheImage)
{
    VirtualModule& module = Module("2620", 4096);
    Load_Flash(module, 0xE000, Pattern_Piece(3));
    Load_Flash(module, 0xF000, Pattern_Piece(4));
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0xE800);

    ASSERT_EQ(Download(image, nullptr), 0);

    const Bytes piece14 = Flash_Bytes(module, 0xE000, 4096);
    EXPECT_TRUE(std::equal(piece14.begin(), piece14.begin() + 0x800, image.begin() + 0xE000));
    EXPECT_EQ(Bytes(piece14.begin() + 0x800, piece14.end()), Bytes(0x800, 0));
    EXPECT_EQ(Flash_Bytes(module, 0xF000, 4096), Bytes(4096, 0));
}

TEST_F(FirmwareDownloadTest, ImageOfAnotherChipSendsNothing)
{
    VirtualModule& module = Module("2620");
    module.Clear_Queries();
    for (Firmware_Image_Kind kind : {Firmware_Image_Kind::Header_2085, Firmware_Image_Kind::Header_2088,
                                     Firmware_Image_Kind::Large, Firmware_Image_Kind::Kun}) {
        std::string errors;
        float progress = -1.0f;
        EXPECT_EQ(Download(Make_Firmware_Image(kind, 0x34001), &progress, &errors), -2);
        EXPECT_EQ(errors, "");
        EXPECT_EQ(progress, -1.0f);
    }
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(FirmwareDownloadTest, ImageLongerThanTheAreaSendsNothing)
{
    VirtualModule& module = Module("2620");
    module.Clear_Queries();
    EXPECT_EQ(Download(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, kArea + 1), nullptr), -2);
    EXPECT_EQ(Download(Bytes{}, nullptr), -2);
    EXPECT_EQ((*m_protocol)->Download_Firmware(nullptr, 100, nullptr), -2);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(FirmwareDownloadTest, TwoPieceChipWritesPieceOneThenPieceZero)
{
    VirtualModule& module = Module("2620", 0x8000);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000);
    module.Clear_Queries();
    std::string errors;

    ASSERT_EQ(Download(image, nullptr, &errors), 0);

    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(23, 1.47f));
    const std::vector<Event> pieces = Piece_Events(module.Queries());
    const std::vector<Event> expected = {{'A', 0x8000, 0, {}}, {'W', 0x8000, 0, {}}, {'A', 0x8000, 0, {}},
                                         {'R', 0x8000, 0, {}}, {'A', 0, 0, {}},      {'W', 0x8000, 0, {}},
                                         {'A', 0, 0, {}},      {'R', 0x8000, 0, {}}};
    EXPECT_EQ(pieces, expected);
    EXPECT_EQ(Flash_Bytes(module, 0, kArea), Padded(image));
}

// A 16-bit length answer of 0 stands for 0x10000: the whole area is one
// piece, piece 0, written and verified in two 0x8000-byte transfers each
// (a query's size cannot hold 0x10000), the half with the header last, and
// the chip restarted last.
TEST_F(FirmwareDownloadTest, OnePieceChipWritesAndVerifiesOnlyPieceZero)
{
    VirtualModule& module = Module("2620", 0x10000);
    Load_Flash(module, 0, Bytes(kArea, 0x3C));
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0xB000, 6);
    module.Clear_Queries();
    float progress = -1.0f;
    std::string errors;

    ASSERT_EQ(Download(image, &progress, &errors), 0);

    // 1 + 1 + 16 + 2 + 1 steps: progress ends short of 100.
    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(21, 1.47f));
    EXPECT_EQ(progress, 21 / 1.47f);
    EXPECT_LT(progress, 100.0f);
    EXPECT_EQ(m_protocol->chip()->u_StepNum, 21u);
    EXPECT_EQ(Flash_Bytes(module, 0, kArea), Padded(image));
    const std::vector<QueryRecord> queries = module.Queries();
    ASSERT_FALSE(Piece_Length_Answers(queries).empty());
    EXPECT_EQ(Piece_Length_Answers(queries).front(), (Bytes{0x00, 0x00}));

    std::vector<Event> expected = Erase_Events();
    for (char kind : {'W', 'R'})
        for (std::uint32_t half : {0x8000u, 0u}) {
            expected.push_back({'A', half, 0, {}});
            expected.push_back({kind, 0x8000, 0, {}});
        }
    for (const Event& event : Reset_Events())
        expected.push_back(event);
    const std::vector<Event> events = Flash_Events(queries);
    ASSERT_NO_FATAL_FAILURE(Expect_Events(events, expected));
    const Bytes padded = Padded(image);
    EXPECT_EQ(events[17].data, Bytes(padded.begin() + 0x8000, padded.end()));
    EXPECT_EQ(events[19].data, Bytes(padded.begin(), padded.begin() + 0x8000));
    EXPECT_EQ(queries.back().request.selector, 0x03);
    EXPECT_EQ(queries.back().data, Bytes{0x01});

    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

// The one piece is compared on its first 1024 bytes; a difference there
// leaves the header sector blank (erased: the chip's length cannot make up
// a 4096-byte piece write) and the chip in its boot code.
TEST_F(FirmwareDownloadTest, OnePieceReadBackDifferenceLeavesTheHeaderSectorBlank)
{
    VirtualModule& module = Module("2620", 0x10000);
    module.With_Chip([](ChipModel& chip) { chip.Flash().Set_Stuck_Bits(700, 0x40); });
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x6000);
    image[700] = 0x00;
    module.Clear_Queries();
    std::string errors;

    EXPECT_EQ(Download(image, nullptr, &errors), -1);

    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(2 + 16 + 2, 1.47f));
    EXPECT_EQ(Flash_Bytes(module, 0, 4096), Bytes(4096, 0xFF));
    const std::vector<Event> events = Flash_Events(module.Queries());
    ASSERT_GE(events.size(), 7u);
    EXPECT_EQ(events[events.size() - 7], (Event{'E', 0, 0, {}}));
    EXPECT_EQ(std::vector<Event>(events.end() - 6, events.end()), Reset_Events());
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Rom_Boot_Code);
}

// Only the first 1024 bytes of the one piece are compared, deliberately.
TEST_F(FirmwareDownloadTest, OnePieceDifferenceBeyondTheComparedBytesIsNotSeen)
{
    VirtualModule& module = Module("2620", 0x10000);
    module.With_Chip([](ChipModel& chip) { chip.Flash().Set_Stuck_Bits(0x9000, 0x01); });
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0xA000);
    image[0x9000] = 0x00;

    ASSERT_EQ(Download(image, nullptr), 0);

    EXPECT_EQ(Flash_Bytes(module, 0x9000, 1), Bytes{0x01});
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

// 2048-byte pieces: 32 of them, piece 0 last; 1 + 1 + 16 + 2 x 31 + 2 + 1
// steps, so progress ends short of 100 while the result is 0.
TEST_F(FirmwareDownloadTest, HalfSectorPiecesEndShortOfHundredPercent)
{
    VirtualModule& module = Module("2620", 2048);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0xC100, 2);
    module.Clear_Queries();
    float progress = -1.0f;
    std::string errors;

    ASSERT_EQ(Download(image, &progress, &errors), 0);

    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(83, 1.47f));
    EXPECT_EQ(progress, 83 / 1.47f);
    EXPECT_EQ(Flash_Bytes(module, 0, kArea), Padded(image));
    std::vector<Event> expected;
    for (std::uint32_t n = 1; n <= 32; ++n) {
        const std::uint32_t address = (n % 32) * 2048;
        expected.push_back({'A', address, 0, {}});
        expected.push_back({'W', 2048, 0, {}});
        expected.push_back({'A', address, 0, {}});
        expected.push_back({'R', 2048, 0, {}});
    }
    EXPECT_EQ(Piece_Events(module.Queries()), expected);
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

// A length that does not divide the area cannot be written: refused before anything is erased.
TEST_F(FirmwareDownloadTest, PieceLengthThatDoesNotDivideTheAreaIsRefusedBeforeErasing)
{
    for (std::uint32_t length : {3000u, 0xC000u}) {
        SCOPED_TRACE(length);
        VirtualModule& module = Module("2620", length);
        const Bytes before = Flash_Bytes(module, 0, kArea);
        module.Clear_Queries();
        std::string errors;

        EXPECT_EQ(Download(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x1000), nullptr, &errors), -3);

        EXPECT_EQ(Schedule_Lines(errors).size(), 1u);
        EXPECT_EQ(Flash_Bytes(module, 0, kArea), before);
        for (const Event& event : Flash_Events(module.Queries()))
            EXPECT_NE(event.kind, 'E');
        TearDown();
        SetUp();
    }
}

TEST_F(FirmwareDownloadTest, OnlyTheFirst1024BytesOfAPieceAreCompared)
{
    VirtualModule& module = Module("2620", 4096);
    module.With_Chip([](ChipModel& chip) { chip.Flash().Set_Stuck_Bits(3 * 4096 + 2000, 0x01); });
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000);
    image[3 * 4096 + 2000] = 0x00;

    ASSERT_EQ(Download(image, nullptr), 0);

    EXPECT_EQ(Flash_Bytes(module, 3 * 4096 + 2000, 1), Bytes{0x01});
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

TEST_F(FirmwareDownloadTest, ReadBackDifferenceBlanksTheHeaderSector)
{
    VirtualModule& module = Module("2620");
    module.With_Chip([](ChipModel& chip) { chip.Flash().Set_Stuck_Bits(5 * 1024 + 7, 0x80); });
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000);
    image[5 * 1024 + 7] = 0x00;
    module.Clear_Queries();
    std::string errors;

    EXPECT_EQ(Download(image, nullptr, &errors), -1);

    // Steps up to and including the read-back of piece 5, then no more.
    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(2 + 16 + 2 * 5, 1.47f));
    EXPECT_EQ(Flash_Bytes(module, 0, 4096), Bytes(4096, 0xFF));
    const std::vector<Event> events = Flash_Events(module.Queries());
    ASSERT_GE(events.size(), 6u);
    EXPECT_EQ(std::vector<Event>(events.end() - 6, events.end()), Reset_Events());
    // The blanking: sector 0 erased, then 0xFF written.
    const auto blank = std::find(events.rbegin(), events.rend(), Event{'E', 0, 0, {}});
    ASSERT_NE(blank, events.rend());
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Rom_Boot_Code);
}

TEST_F(FirmwareDownloadTest, FailedTransferLeavesTheChipAsItIs)
{
    VirtualModule& module = Module("2620", 4096);
    FaultRule rule;
    rule.selector = 0x0F;
    rule.query = kSetCur;
    rule.error = EIO;
    rule.skip = 3;
    module.Fail_Queries(rule);
    module.Clear_Queries();

    EXPECT_EQ(Download(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x8000), nullptr), -3);

    for (const Event& event : Flash_Events(module.Queries()))
        EXPECT_NE(event.kind, 'I') << "no restart after a failed transfer";
    EXPECT_TRUE(Testbed().Is_Plugged(module));
    EXPECT_EQ(Flash_Bytes(module, 0, 4096), Bytes(4096, 0xFF)) << "the header sector stays erased";
}

TEST_F(FirmwareDownloadTest, EraseResultsAreLoggedWithLoggingOn)
{
    Module("2620", 4096);
    LogCapture log;
    ASSERT_EQ(Download(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x1000), nullptr), 0);
    const std::string text = log.text();
    std::size_t lines = 0;
    for (std::size_t at = text.find("\r\n[return_]=0\r\n"); at != std::string::npos;
         at = text.find("\r\n[return_]=0\r\n", at + 1))
        ++lines;
    EXPECT_EQ(lines, 16u);
}

TEST_F(FirmwareDownloadTest, SetRomCodeClearsTheHeaderAndRestarts)
{
    VirtualModule& module = Module("2620");
    const Bytes firmware = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x2000, 5);
    Load_Flash(module, 0, firmware);
    module.Clear_Queries();
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x2000, 9);

    EXPECT_EQ((*m_protocol)->Set_Rom_Code(image.data(), static_cast<std::uint32_t>(image.size())), 0);

    Bytes expectedHeader(firmware.begin(), firmware.begin() + 64);
    expectedHeader[0] = 0x00;
    expectedHeader[1] = 0x00;
    EXPECT_EQ(Flash_Bytes(module, 0, 64), expectedHeader);
    EXPECT_EQ(Flash_Bytes(module, 64, 0x2000 - 64), Bytes(firmware.begin() + 64, firmware.end()));
    std::vector<Event> expected = {{'A', 0, 0, {}}, {'P', 64, 0, {}}};
    for (const Event& event : Reset_Events())
        expected.push_back(event);
    const std::vector<Event> events = Flash_Events(module.Queries());
    EXPECT_EQ(events, expected);
    ASSERT_EQ(events.size(), expected.size());
    Bytes window(64, 0xFF);
    window[0] = window[1] = 0x00;
    EXPECT_EQ(events[1].data, window);
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Rom_Boot_Code);
}

TEST_F(FirmwareDownloadTest, SetRomCodeRefusesAnImageOfAnotherChipButRestarts)
{
    VirtualModule& module = Module("2620");
    const Bytes firmware = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x2000);
    Load_Flash(module, 0, firmware);
    module.Clear_Queries();
    Bytes other = Make_Firmware_Image(Firmware_Image_Kind::Header_2085, 0x2000);

    EXPECT_EQ((*m_protocol)->Set_Rom_Code(other.data(), static_cast<std::uint32_t>(other.size())), -2);
    EXPECT_EQ(Flash_Events(module.Queries()), Reset_Events());
    EXPECT_EQ(Flash_Bytes(module, 0, 0x2000), firmware);
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

TEST_F(FirmwareDownloadTest, SetRomCodeRefusesAnEmptyImage)
{
    VirtualModule& module = Module("2620");
    module.Clear_Queries();
    Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x100);
    EXPECT_EQ((*m_protocol)->Set_Rom_Code(image.data(), 0), -2);
    EXPECT_EQ(Flash_Events(module.Queries()), Reset_Events());
}

TEST_F(FirmwareDownloadTest, ResetWritesTheSixRegistersInOrder)
{
    VirtualModule& module = Module("2620");
    module.Clear_Queries();
    EXPECT_EQ((*m_protocol)->reset(), 0);
    EXPECT_EQ(Flash_Events(module.Queries()), Reset_Events());
    EXPECT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 2, 5s));
}

TEST_F(FirmwareDownloadTest, ResetStopsAtTheFirstFailedWrite)
{
    VirtualModule& module = Module("2620");
    FaultRule rule;
    rule.selector = 0x03;
    rule.query = kSetCur;
    rule.error = EIO;
    rule.skip = 2;
    module.Fail_Queries(rule);
    module.Clear_Queries();

    EXPECT_EQ((*m_protocol)->reset(), -1);

    const std::vector<Event> events = Flash_Events(module.Queries());
    const std::vector<Event> reset = Reset_Events();
    const std::vector<Event> sent(reset.begin(), reset.begin() + 2);
    EXPECT_EQ(events, sent);
    EXPECT_TRUE(Testbed().Is_Plugged(module));
}

// The other chips: each its own image form, area, piece length and divisor,
// the same algorithm, ending at 100 percent.
struct Chip_Case
{
    const char* chip;
    const char* flashPart; // empty: the chip's own
    Firmware_Image_Kind kind;
    std::uint32_t imageLength;
    std::uint32_t area;
    unsigned steps;
    float divisor;
    std::uint32_t header; // where the image header lies
};

void PrintTo(const Chip_Case& chipCase, std::ostream* out) { *out << chipCase.chip; }

class ChipDownload : public FirmwareDownloadTest, public ::testing::WithParamInterface<Chip_Case>
{
};

TEST_P(ChipDownload, WholeDownloadEndsAtHundredPercent)
{
    const Chip_Case& chipCase = GetParam();
    VirtualModule& module = Module(chipCase.chip, 0, chipCase.flashPart);
    const Bytes image = Make_Firmware_Image(chipCase.kind, chipCase.imageLength);
    float progress = 0.0f;
    std::string errors;

    ASSERT_EQ(Download(image, &progress, &errors), 0);

    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(chipCase.steps, chipCase.divisor));
    EXPECT_EQ(Schedule_Lines(errors).back(), "DownLoad Schedule 100.000000 %");
    EXPECT_EQ(progress, static_cast<float>(chipCase.steps) / chipCase.divisor);
    EXPECT_EQ(Flash_Bytes(module, 0, chipCase.area), Padded(image, chipCase.area));
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Firmware);
}

TEST_P(ChipDownload, SetRomCodeClearsTheHeader)
{
    const Chip_Case& chipCase = GetParam();
    VirtualModule& module = Module(chipCase.chip, 0, chipCase.flashPart);
    Bytes image = Make_Firmware_Image(chipCase.kind, chipCase.imageLength);
    Load_Flash(module, 0, image);

    EXPECT_EQ((*m_protocol)->Set_Rom_Code(image.data(), static_cast<std::uint32_t>(image.size())), 0);

    EXPECT_EQ(Flash_Bytes(module, chipCase.header, 2), (Bytes{0x00, 0x00}));
    EXPECT_EQ(Flash_Bytes(module, chipCase.header + 2, 62), Bytes(image.begin() + chipCase.header + 2,
                                                                    image.begin() + chipCase.header + 64));
    EXPECT_EQ(Boot_After_Restart(module), Boot_Mode::Rom_Boot_Code);
}

TEST_P(ChipDownload, ImageOfTheSpca2620IsRefused)
{
    const Chip_Case& chipCase = GetParam();
    VirtualModule& module = Module(chipCase.chip, 0, chipCase.flashPart);
    module.Clear_Queries();
    EXPECT_EQ(Download(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x1000), nullptr), -2);
    EXPECT_TRUE(module.Queries().empty());
}

INSTANTIATE_TEST_SUITE_P(
    Chips, ChipDownload,
    ::testing::Values(Chip_Case{"2085", "", Firmware_Image_Kind::Header_2085, 0x8000, kArea, 148, 1.48f, 0},
                      Chip_Case{"2092", "", Firmware_Image_Kind::Header_2085, 0x8000, kArea, 148, 1.48f, 0},
                      Chip_Case{"2281", "", Firmware_Image_Kind::Header_2088, 0x8000, kArea, 52, 0.52f, 0},
                      Chip_Case{"2650", "GD25Q80C", Firmware_Image_Kind::Large, 0x34001, 0xC0000, 580, 5.8f, 0x100},
                      Chip_Case{"2282", "GD25Q80C", Firmware_Image_Kind::Large_9527, 0x31801 + 0x2800, 0xC0000, 580,
                                5.8f, 0x100}));

} // namespace
