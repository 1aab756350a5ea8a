#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "LogCapture.h"
#include "ModuleProtocol.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

using namespace korvane::emulator;

namespace {

using Opcodes = std::array<std::uint8_t, 12>;

const Opcodes kMx = {0x03, 0x0B, 0x05, 0x06, 0x04, 0x20, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01};
const Opcodes kPmc = {0x03, 0x0B, 0x05, 0x06, 0x04, 0xD7, 0xD8, 0xC7, 0x02, 0xFF, 0xFF, 0x01};
const Opcodes kSst = {0x03, 0xFF, 0x05, 0x06, 0x04, 0x20, 0x52, 0x60, 0x02, 0xAF, 0x50, 0x01};

// A flash part of the virtual module and what the host must make of it.
struct Part_Case
{
    const char* part;
    std::uint8_t family;
    int serialFlashPart;
    const Opcodes* opcodes; // null: not writable
    std::uint8_t readIdScheme;
};

const Part_Case kParts[] = {
    {"MX25L512", SF_MX, SF_MX25L512, &kMx, 0},       {"PM25LQ512", SF_MX, SF_PM25LQ512, &kMx, 0},
    {"GD25D05", SF_MX, SF_GD25D05, &kMx, 0},         {"FM25F01", SF_MX, SF_FM25F01, &kMx, 0},
    {"IS25LQ040B", SF_MX, SF_IS25LQ040B, &kMx, 0},   {"FM25Q04", SF_MX, SF_FM25Q04, &kMx, 0},
    {"GD25Q40C", SF_MX, SF_GD25Q40C, &kMx, 0},       {"EN25Q40A", SF_EON, SF_EN25Q40A, &kMx, 0},
    {"PM25LD512", SF_PMC, SF_PM25LD512, &kPmc, 0},   {"AT25SF041", SF_UNKNOW, SF_AT25SF041, nullptr, 0},
    {"W25X40CL", SF_MX, SF_W25X40CLSNIG, &kMx, 0},   {"SST25VF512", SF_SST, SF_SST25VF512, &kSst, 1},
    {"PM25LV512", SF_PMC, SF_PM25LV512, &kPmc, 0},   {"NONE", SF_MX, SF_UNDEFINED, &kMx, 0},
};

// True when the text holds a trace line "\r\n FILE.cpp(LINE)-FUNCTION\r\n".
bool Has_Trace_Line(const std::string& text, const std::string& function)
{
    const std::string tail = ")-" + function + "\r\n";
    for (std::size_t end = text.find(tail); end != std::string::npos; end = text.find(tail, end + 1)) {
        const std::size_t open = text.rfind('(', end);
        const std::size_t start = text.rfind("\r\n ", end);
        if (open == std::string::npos || start == std::string::npos || start > open)
            continue;
        const std::string file = text.substr(start + 3, open - start - 3);
        const std::string line = text.substr(open + 1, end - open - 1);
        const bool numeric = !line.empty() && line.find_first_not_of("0123456789") == std::string::npos;
        if (numeric && file.size() > 4 && file.compare(file.size() - 4, 4, ".cpp") == 0 &&
            file.find('/') == std::string::npos)
            return true;
    }
    return false;
}

class SerialFlashTest : public VirtualModuleTest
{
protected:
    void TearDown() override
    {
        m_protocol.reset();
        VirtualModuleTest::TearDown();
    }

    VirtualModule& Module(const std::string& chip, const std::string& part = "", std::uint32_t pieceLength = 0)
    {
        ModuleConfig config = Camera_Module(chip, 0);
        config.flashPart = part;
        config.pieceLength = pieceLength;
        VirtualModule& module = Testbed().Add_Module(config);
        m_protocol = std::make_unique<ModuleProtocol>("/dev/video0");
        EXPECT_NE(m_protocol->chip(), nullptr);
        module.Clear_Queries();
        return module;
    }

    Extension_Unit_Chip_Protocol& Protocol() { return *m_protocol->chip(); }

    static Opcodes Loaded(VirtualModule& module)
    {
        Opcodes opcodes{};
        module.With_Chip([&](ChipModel& chip) {
            for (std::size_t i = 0; i < opcodes.size(); ++i)
                opcodes[i] = chip.Command_Set(static_cast<std::uint8_t>(i + 1));
        });
        return opcodes;
    }

    static std::vector<QueryRecord> Sets_Of(VirtualModule& module, std::uint8_t selector)
    {
        std::vector<QueryRecord> sets;
        for (const QueryRecord& query : module.Queries())
            if (query.request.selector == selector && query.request.query == kSetCur)
                sets.push_back(query);
        return sets;
    }

    static std::uint32_t Address_Of(const QueryRecord& query)
    {
        return query.data[0] | query.data[1] << 8 | query.data[2] << 16 | static_cast<std::uint32_t>(query.data[3]) << 24;
    }

private:
    std::unique_ptr<ModuleProtocol> m_protocol;
};

// Identification of every part, on a chip that reads the ID selector and on
// one that reads the ID registers.
struct Part_On_Chip
{
    const char* chip;
    Part_Case part;
};

void PrintTo(const Part_On_Chip& c, std::ostream* out) { *out << c.part.part << " on " << c.chip; }

std::vector<Part_On_Chip> Parts_On_Chips()
{
    std::vector<Part_On_Chip> cases;
    for (const char* chip : {"2620", "2650", "2281"})
        for (const Part_Case& part : kParts)
            cases.push_back({chip, part});
    return cases;
}

class FlashPartIdentification : public SerialFlashTest, public ::testing::WithParamInterface<Part_On_Chip>
{
};

TEST_P(FlashPartIdentification, GivesFamilyPartAndCommandSets)
{
    const Part_Case& expected = GetParam().part;
    VirtualModule& module = Module(GetParam().chip, expected.part);
    std::uint8_t type = 0xEE;
    const SerialFlashCommand full = Protocol().Read_Flash_type(&type);
    EXPECT_EQ(type, expected.family);
    EXPECT_EQ(full.SF_TYPE, expected.family);
    EXPECT_EQ(Protocol().SF_Command.SF_TYPE, expected.family);
    EXPECT_EQ(Protocol().SF_Command_Set.SF_TYPE, expected.family);
    EXPECT_EQ(Protocol().SF_Command_Set.SF_ChipErase, 0xFF);
    EXPECT_EQ(Protocol().Read_Flash_type(), expected.serialFlashPart);
    if (expected.opcodes) {
        EXPECT_EQ(Protocol().SF_Command.SF_ChipErase, (*expected.opcodes)[7]);
        EXPECT_EQ(Protocol().SF_Command_Set.SF_ReadId, expected.readIdScheme);
    }
    // The three ID opcodes went through index 13 of the command register file.
    std::vector<std::uint8_t> idOpcodes;
    const std::vector<QueryRecord> values = Sets_Of(module, XU_SEL_FLASH_CMD_VALUE);
    for (const QueryRecord& value : values)
        idOpcodes.push_back(value.data[0]);
    EXPECT_EQ(idOpcodes, (std::vector<std::uint8_t>{0x9F, 0x90, 0xAB, 0x9F, 0x90, 0xAB}));
    for (const QueryRecord& index : Sets_Of(module, XU_SEL_FLASH_CMD_INDEX))
        EXPECT_EQ(index.data[0], 13);
}

TEST_P(FlashPartIdentification, LoadsTheTableOpcodesByteForByte)
{
    const Part_Case& expected = GetParam().part;
    VirtualModule& module = Module(GetParam().chip, expected.part);
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    if (!expected.opcodes) {
        module.Clear_Queries();
        EXPECT_EQ(Protocol().Set_Flash_type(false), -4);
        EXPECT_EQ(Protocol().Set_Flash_type(true), -4);
        EXPECT_TRUE(module.Queries().empty());
        return;
    }
    EXPECT_EQ(Protocol().Set_Flash_type(true), 0);
    EXPECT_EQ(Loaded(module), *expected.opcodes);
    EXPECT_EQ(Protocol().Set_Flash_type(false), 0);
    Opcodes withoutChipErase = *expected.opcodes;
    withoutChipErase[7] = 0xFF;
    EXPECT_EQ(Loaded(module), withoutChipErase);
    // Index i (1 .. 12) is written before its opcode, in field order.
    const std::vector<QueryRecord> indexes = Sets_Of(module, XU_SEL_FLASH_CMD_INDEX);
    ASSERT_EQ(indexes.size(), 3u + 24u);
    for (std::size_t i = 0; i < 12; ++i)
        EXPECT_EQ(indexes[3 + 12 + i].data[0], i + 1);
}

INSTANTIATE_TEST_SUITE_P(Parts, FlashPartIdentification, ::testing::ValuesIn(Parts_On_Chips()),
                         [](const ::testing::TestParamInfo<Part_On_Chip>& info) {
                             return std::string("chip") + info.param.chip + "_" + info.param.part.part;
                         });

TEST_F(SerialFlashTest, IdentificationIsLogged)
{
    Module("2620", "W25X40CL");
    LogCapture log;
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    const std::string text = log.text();
    EXPECT_NE(text.find("\r\n[Put_Serial_Flash_Type_Name(SF_Type)]=Get_Flash_Type= SF_MX \r\n"), std::string::npos)
        << text;
    EXPECT_TRUE(Has_Trace_Line(text, "Read_Flash_type")) << text;
}

TEST_F(SerialFlashTest, FlashPathsLeaveTraceLines)
{
    Module("2620");
    LogCapture log;
    std::vector<std::uint8_t> piece(4096);
    ASSERT_EQ(Protocol().Read_Flash_Piece(0, piece.data()), 0);
    const std::string text = log.text();
    for (const char* function : {"Read_Flash_Piece", "Read_ISP_Mem_Piece", "Set_Flash_type", "Get_Flash_Length_Mes"})
        EXPECT_TRUE(Has_Trace_Line(text, function)) << function;
    EXPECT_FALSE(Has_Trace_Line(text, "Write_Flash_Piece")) << "no write was made";
}

TEST_F(SerialFlashTest, WithoutALogStreamNothingIsWritten)
{
    Module("2620");
    SetLog(nullptr);
    std::vector<std::uint8_t> piece(4096);
    const std::string output = korvane::test::stdoutOf([&] { Protocol().Read_Flash_Piece(1, piece.data()); });
    EXPECT_EQ(output, "");
}

TEST_F(SerialFlashTest, UnwritablePartIsRefusedAndTheFlashUntouched)
{
    VirtualModule& module = Module("2620", "AT25SF041");
    const std::vector<std::uint8_t> before = Flash_Bytes(module, 0, 0x80000);
    std::vector<std::uint8_t> piece = Pattern_Piece(1);
    EXPECT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), -4);
    // User piece 2 is the firmware header's piece on this chip: refused
    // before anything is sent, unless asked for by name.
    EXPECT_EQ(Protocol().Write_Flash_Piece(2, piece.data()), -7);
    EXPECT_EQ(Protocol().Write_Flash_Piece_Over_Firmware_Header(2, piece.data()), -4);
    EXPECT_EQ(Protocol().Read_Flash_Piece(1, piece.data()), -4);
    EXPECT_EQ(Protocol().Write_ISP_Mem_Piece(13, piece.data()), -4);
    std::uint8_t exid[16] = {};
    EXPECT_EQ(Protocol().Write_Exid(exid), -4);
    EXPECT_EQ(Protocol().SF_Command.SF_TYPE, SF_UNKNOW);
    EXPECT_EQ(Flash_Bytes(module, 0, 0x80000), before);
    // Only the identification went to the chip: no command set, no erase, no data.
    for (const QueryRecord& index : Sets_Of(module, XU_SEL_FLASH_CMD_INDEX))
        EXPECT_EQ(index.data[0], 13);
    EXPECT_TRUE(Sets_Of(module, XU_SEL_SECTOR_ERASE).empty());
    EXPECT_TRUE(Sets_Of(module, XU_SEL_PIECE_DATA).empty());
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Refused_Writes(); }), 0);
}

TEST_F(SerialFlashTest, PartAnsweringNothingKnownIsWrittenAsMx)
{
    VirtualModule& module = Module("2085", "NONE");
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    EXPECT_EQ(type, SF_MX);
    EXPECT_EQ(Protocol().Read_Flash_type(), SF_UNDEFINED);
    std::vector<std::uint8_t> piece = Pattern_Piece(3);
    EXPECT_EQ(Protocol().Write_Flash_Piece(1, piece.data()), 0);
    EXPECT_EQ(Flash_Bytes(module, 14 * 4096, 4096), piece);
}

TEST_F(SerialFlashTest, IndexAbove2IsRefusedWithoutTraffic)
{
    VirtualModule& module = Module("2620");
    std::vector<std::uint8_t> piece = Pattern_Piece(4);
    for (std::uint16_t index : {3, 4, 0xFFFF}) {
        EXPECT_EQ(Protocol().Write_Flash_Piece(index, piece.data()), -7);
        EXPECT_EQ(Protocol().Read_Flash_Piece(index, piece.data()), -7);
    }
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(piece, Pattern_Piece(4));
}

TEST_F(SerialFlashTest, PieceLengthOfEachChip)
{
    struct Length_Case
    {
        const char* chip;
        std::uint16_t length;
        std::vector<std::uint8_t> selectors;
    };
    const Length_Case cases[] = {
        {"2620", 1024, {0x10, 0x10, 0x0F}}, {"2085", 1024, {0x10, 0x10, 0x0F}}, {"2281", 4096, {0x10, 0x10, 0x0F}},
        {"2650", 4096, {0x0F, 0x0F}},      {"2282", 4096, {0x0F, 0x0F}},
    };
    for (const Length_Case& c : cases) {
        SCOPED_TRACE(c.chip);
        VirtualModule& module = Module(c.chip);
        std::uint16_t length = 0;
        EXPECT_EQ(Protocol().Get_Flash_Length_Mes(length), 0);
        EXPECT_EQ(length, c.length);
        std::vector<std::uint8_t> selectors;
        for (const QueryRecord& query : module.Queries())
            selectors.push_back(query.request.selector);
        EXPECT_EQ(selectors, c.selectors);
        TearDown();
        SetUp();
    }
}

TEST_F(SerialFlashTest, PieceLengthSchemeIsTheReadIdOfTheCommandSet)
{
    VirtualModule& module = Module("2620", "SST25VF512");
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    module.Clear_Queries();
    std::uint16_t length = 0;
    ASSERT_EQ(Protocol().Get_Flash_Length_Mes(length), 0);
    const std::vector<QueryRecord> schemes = Sets_Of(module, XU_SEL_PIECE_CONTROL);
    ASSERT_EQ(schemes.size(), 1u);
    EXPECT_EQ(schemes[0].data, (std::vector<std::uint8_t>{1}));
}

TEST_F(SerialFlashTest, PieceLengthFollowsTheChipsAnswer)
{
    Module("2620", "", 512);
    std::uint16_t length = 0;
    EXPECT_EQ(Protocol().Get_Flash_Length_Mes(length), 0);
    EXPECT_EQ(length, 512);
    std::vector<std::uint8_t> piece(4096);
    EXPECT_EQ(Protocol().Read_ISP_Mem_Piece(0, piece.data()), 0) << "512 divides a piece";
}

TEST_F(SerialFlashTest, PieceLengthThatDoesNotDivideAPieceFailsTheRead)
{
    Module("2620", "", 1000);
    std::vector<std::uint8_t> piece(4096, 0xAA);
    EXPECT_EQ(Protocol().Read_ISP_Mem_Piece(0, piece.data()), -3);
    EXPECT_EQ(piece, std::vector<std::uint8_t>(4096, 0xAA));
}

// A reported 0 stands for 0x10000, which no 4096-byte piece is made of:
// reads and writes are refused with -3 before any piece transfer, and the
// flash keeps what it held.
TEST_F(SerialFlashTest, WholeAreaPieceLengthIsRefusedByPieceReadsAndWrites)
{
    VirtualModule& module = Module("2620", "", 0x10000);
    const std::vector<std::uint8_t> stored = Pattern_Piece(8);
    Load_Flash(module, 0xF000, stored);
    std::uint16_t length = 7;
    EXPECT_EQ(Protocol().Get_Flash_Length_Mes(length), 0);
    EXPECT_EQ(length, 0);
    module.Clear_Queries();

    std::vector<std::uint8_t> piece(4096, 0xAA);
    EXPECT_EQ(Protocol().Read_Flash_Piece(0, piece.data()), -3);
    EXPECT_EQ(piece, std::vector<std::uint8_t>(4096, 0xAA));
    std::vector<std::uint8_t> replacement = Pattern_Piece(9);
    EXPECT_EQ(Protocol().Write_Flash_Piece(0, replacement.data()), -3);

    EXPECT_EQ(Flash_Bytes(module, 0xF000, 4096), stored);
    for (const QueryRecord& query : module.Queries()) {
        EXPECT_NE(query.request.selector, XU_SEL_SECTOR_ERASE);
        EXPECT_NE(query.request.selector, XU_SEL_PIECE_ADDR);
        EXPECT_FALSE(query.request.selector == XU_SEL_PIECE_DATA && query.request.query != kGetLen);
    }
}

TEST_F(SerialFlashTest, PieceLengthThatDoesNotDivideAPieceIsRefusedBeforeTheErase)
{
    VirtualModule& module = Module("2620", "", 1000);
    const std::vector<std::uint8_t> stored = Pattern_Piece(2);
    Load_Flash(module, 0xE000, stored);
    std::vector<std::uint8_t> replacement = Pattern_Piece(3);
    EXPECT_EQ(Protocol().Write_Flash_Piece(1, replacement.data()), -3);
    EXPECT_EQ(Flash_Bytes(module, 0xE000, 4096), stored);
    EXPECT_TRUE(Sets_Of(module, XU_SEL_SECTOR_ERASE).empty());
}

// A chip that reports 2048 has its pieces written and read in 2048-byte transfers.
TEST_F(SerialFlashTest, PieceWriteAndReadFollowTheReportedLength)
{
    VirtualModule& module = Module("2620", "", 2048);
    std::vector<std::uint8_t> piece = Pattern_Piece(4);
    ASSERT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), 0);
    EXPECT_EQ(Flash_Bytes(module, 0xF000, 4096), piece);
    const std::vector<QueryRecord> data = Sets_Of(module, XU_SEL_PIECE_DATA);
    ASSERT_EQ(data.size(), 2u);
    EXPECT_EQ(data[0].data.size(), 2048u);
    std::vector<std::uint8_t> back(4096, 0);
    ASSERT_EQ(Protocol().Read_Flash_Piece(0, back.data()), 0);
    EXPECT_EQ(back, piece);
}

TEST_F(SerialFlashTest, FailedLengthQueryIsATransferFailure)
{
    VirtualModule& module = Module("2620");
    module.Fail_Queries({kAny, XU_SEL_PIECE_CONTROL, kAny, EIO, kAlways});
    std::uint16_t length = 7;
    EXPECT_EQ(Protocol().Get_Flash_Length_Mes(length), -3);
    EXPECT_EQ(length, 7);
}

TEST_F(SerialFlashTest, PieceReadGoesThroughTheFlashWindow)
{
    VirtualModule& module = Module("2620");
    const std::vector<std::uint8_t> stored = Pattern_Piece(5);
    Load_Flash(module, 0xF000, stored);
    std::vector<std::uint8_t> piece(4096);
    ASSERT_EQ(Protocol().Read_Flash_Piece(0, piece.data()), 0);
    EXPECT_EQ(piece, stored);
    // Four transfers of 1024 bytes, each a GET_LEN and SET_CUR of the address and a GET_LEN and GET_CUR of the data.
    const std::vector<QueryRecord> queries = module.Queries();
    ASSERT_GE(queries.size(), 16u);
    const std::vector<QueryRecord> pieceQueries(queries.end() - 16, queries.end());
    for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        const QueryRecord* q = &pieceQueries[4 * k];
        EXPECT_EQ(q[0].request.query, kGetLen);
        EXPECT_EQ(q[1].request.query, kSetCur);
        EXPECT_EQ(Address_Of(q[1]), 0xF000 + 1024 * k);
        EXPECT_EQ(q[2].request.query, kGetLen);
        EXPECT_EQ(q[2].request.selector, XU_SEL_PIECE_DATA);
        EXPECT_EQ(q[3].request.query, kGetCur);
        EXPECT_EQ(q[3].request.size, 1024);
    }
}

TEST_F(SerialFlashTest, FailedPieceReadEndsWithMinusThree)
{
    VirtualModule& module = Module("2620");
    module.Fail_Queries({kAny, XU_SEL_PIECE_DATA, kGetCur, EIO, 1, 2});
    std::vector<std::uint8_t> piece(4096);
    EXPECT_EQ(Protocol().Read_Flash_Piece(0, piece.data()), -3);
    std::size_t dataReads = 0;
    for (const QueryRecord& query : module.Queries())
        dataReads += query.request.selector == XU_SEL_PIECE_DATA && query.request.query == kGetCur;
    EXPECT_EQ(dataReads, 3u) << "nothing is asked after the failed request";
}

TEST_F(SerialFlashTest, PieceWriteErasesThenProgramsInChipLengthPieces)
{
    for (const char* chip : {"2620", "2650"}) {
        SCOPED_TRACE(chip);
        VirtualModule& module = Module(chip);
        const std::uint16_t length = std::string(chip) == "2620" ? 1024 : 4096;
        std::vector<std::uint8_t> piece = Pattern_Piece(6);
        ASSERT_EQ(Protocol().Write_ISP_Mem_Piece(7, piece.data()), 0);
        const std::vector<QueryRecord> erases = Sets_Of(module, XU_SEL_SECTOR_ERASE);
        ASSERT_EQ(erases.size(), 1u);
        EXPECT_EQ(Address_Of(erases[0]), 7u * 4096);
        const std::vector<QueryRecord> addresses = Sets_Of(module, XU_SEL_PIECE_ADDR);
        const std::vector<QueryRecord> data = Sets_Of(module, XU_SEL_PIECE_DATA);
        ASSERT_EQ(addresses.size(), 4096u / length);
        ASSERT_EQ(data.size(), 4096u / length);
        for (std::size_t k = 0; k < addresses.size(); ++k) {
            EXPECT_EQ(Address_Of(addresses[k]), 7u * 4096 + k * length);
            EXPECT_EQ(data[k].data.size(), length);
        }
        EXPECT_EQ(Flash_Bytes(module, 7 * 4096, 4096), piece);
        TearDown();
        SetUp();
    }
}

TEST_F(SerialFlashTest, WriteUsesTheCommandSetWithoutChipErase)
{
    VirtualModule& module = Module("2620", "PM25LD512");
    std::vector<std::uint8_t> piece = Pattern_Piece(7);
    ASSERT_EQ(Protocol().Write_Flash_Piece(1, piece.data()), 0);
    const Opcodes loaded = Loaded(module);
    EXPECT_EQ(loaded[7], 0xFF);
    EXPECT_EQ(loaded[5], 0xD7);
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Refused_Writes(); }), 0);
}

// A failure at any one transfer of a piece write: -3, nothing sent after the
// failed transaction, and the flash holds exactly what was written before it.
struct Failing_Write_Case
{
    const char* chip;
    std::uint32_t targetAddress; // flash address of user piece 0
    std::uint32_t chunk;         // bytes per data transfer
    std::size_t lengthQueries;   // single queries that ask the piece length
};

void PrintTo(const Failing_Write_Case& c, std::ostream* out) { *out << c.chip; }

class FailingPieceWrite : public SerialFlashTest, public ::testing::WithParamInterface<Failing_Write_Case>
{
};

TEST_P(FailingPieceWrite, FailureAtEachTransferReturnsMinusThree)
{
    const Failing_Write_Case& c = GetParam();
    VirtualModule& module = Module(c.chip);
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    const std::uint32_t span = 0x10000 + (c.targetAddress & ~0xFFFFu); // the 64 KiB holding every user piece
    std::vector<std::uint8_t> kept1 = Pattern_Piece(11);
    std::vector<std::uint8_t> kept2 = Pattern_Piece(10);
    ASSERT_EQ(Protocol().Write_Flash_Piece(1, kept1.data()), 0);
    ASSERT_EQ(Protocol().Write_Flash_Piece_Over_Firmware_Header(2, kept2.data()), 0);
    const std::vector<std::uint8_t> oldTarget = Pattern_Piece(12);
    Load_Flash(module, c.targetAddress, oldTarget);
    const std::vector<std::uint8_t> flashBefore = Flash_Bytes(module, 0, span);

    std::vector<std::uint8_t> piece = Pattern_Piece(13);
    module.Clear_Queries();
    ASSERT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), 0);
    const std::size_t transfers = module.Queries().size();
    ASSERT_EQ(transfers, 2u * (24 + 1 + 2 * 4096 / c.chunk) + c.lengthQueries);
    // Transactions of two queries (GET_LEN, then the data) load the command
    // set; the single queries that ask the piece length follow; then the erase
    // and the program are transactions again.
    const std::size_t lengthStart = 2 * 24;
    const std::size_t lengthEnd = lengthStart + c.lengthQueries;
    const auto Transaction_End = [&](std::size_t failing) -> std::size_t {
        if (failing < lengthStart)
            return failing | 1;
        if (failing < lengthEnd)
            return failing;
        return lengthEnd + ((failing - lengthEnd) | 1);
    };
    for (std::size_t failing = 0; failing < transfers; ++failing) {
        SCOPED_TRACE("failing query " + std::to_string(failing));
        Load_Flash(module, c.targetAddress, oldTarget);
        module.Clear_Queries();
        module.Fail_Queries({kAny, kAny, kAny, EIO, 1, static_cast<int>(failing)});
        EXPECT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), -3);
        const std::vector<QueryRecord> queries = module.Queries();
        // The failed query's transaction is the last one sent.
        const std::size_t transactionEnd = Transaction_End(failing);
        ASSERT_EQ(queries.size(), transactionEnd + 1);
        EXPECT_EQ(queries[failing].error, EIO);

        bool erased = false;
        std::size_t programmed = 0;
        for (const QueryRecord& query : queries) {
            if (query.error != 0 || query.request.query != kSetCur)
                continue;
            erased |= query.request.selector == XU_SEL_SECTOR_ERASE;
            programmed += query.request.selector == XU_SEL_PIECE_DATA;
        }
        std::vector<std::uint8_t> expected = erased ? std::vector<std::uint8_t>(4096, 0xFF) : oldTarget;
        std::copy_n(piece.begin(), programmed * c.chunk, expected.begin());
        std::vector<std::uint8_t> flash = Flash_Bytes(module, 0, span);
        EXPECT_TRUE(std::equal(expected.begin(), expected.end(), flash.begin() + c.targetAddress));
        std::copy(oldTarget.begin(), oldTarget.end(), flash.begin() + c.targetAddress);
        EXPECT_TRUE(flash == flashBefore) << "only the target piece changed";
    }
}

INSTANTIATE_TEST_SUITE_P(Chips, FailingPieceWrite,
                         ::testing::Values(Failing_Write_Case{"2620", 15 * 4096, 1024, 3},
                                           Failing_Write_Case{"2281", 13 * 4096, 4096, 3},
                                           Failing_Write_Case{"2650", 46 * 4096, 4096, 2}),
                         [](const ::testing::TestParamInfo<Failing_Write_Case>& info) {
                             return std::string("chip") + info.param.chip;
                         });

TEST_F(SerialFlashTest, IdentificationBlockIsReadFromPiece13)
{
    VirtualModule& module = Module("2620");
    std::uint8_t exid[16];
    std::memset(exid, 0xEE, sizeof exid);
    ASSERT_EQ(Protocol().Read_Exid(exid), 0);
    EXPECT_EQ(std::vector<std::uint8_t>(exid, exid + 16), Identification_Block(module.Config()));
}

TEST_F(SerialFlashTest, IdentificationBlockIsWrittenByReadModifyWrite)
{
    for (const char* chip : {"2620", "2650", "2281"}) {
        SCOPED_TRACE(chip);
        VirtualModule& module = Module(chip);
        std::vector<std::uint8_t> rest = Pattern_Piece(14);
        Load_Flash(module, 13 * 4096, rest);
        const std::vector<std::uint8_t> flashBefore = Flash_Bytes(module, 0, 0x10000);
        std::uint8_t exid[16];
        for (int i = 0; i < 16; ++i)
            exid[i] = static_cast<std::uint8_t>(0xA0 + i);
        ASSERT_EQ(Protocol().Write_Exid(exid), 0);
        std::vector<std::uint8_t> expected = flashBefore;
        std::copy(exid, exid + 16, expected.begin() + 0xDE00);
        EXPECT_TRUE(Flash_Bytes(module, 0, 0x10000) == expected);
        std::uint8_t back[16] = {};
        ASSERT_EQ(Protocol().Read_Exid(back), 0);
        EXPECT_EQ(std::vector<std::uint8_t>(back, back + 16), std::vector<std::uint8_t>(exid, exid + 16));
        TearDown();
        SetUp();
    }
}

TEST_F(SerialFlashTest, FailedIdentificationBlockReadLeavesTheBufferAndWritesNothing)
{
    VirtualModule& module = Module("2620");
    module.Fail_Queries({kAny, XU_SEL_PIECE_DATA, kGetCur, EIO, kAlways});
    std::uint8_t exid[16];
    std::memset(exid, 0x33, sizeof exid);
    EXPECT_EQ(Protocol().Read_Exid(exid), -3);
    EXPECT_EQ(std::vector<std::uint8_t>(exid, exid + 16), std::vector<std::uint8_t>(16, 0x33));
    EXPECT_EQ(Protocol().Write_Exid(exid), -3);
    EXPECT_TRUE(Sets_Of(module, XU_SEL_SECTOR_ERASE).empty());
    EXPECT_EQ(Flash_Bytes(module, 0xDE00, 16), Identification_Block(module.Config()));
}

TEST_F(SerialFlashTest, NullBuffersAreRefusedWithoutTraffic)
{
    VirtualModule& module = Module("2620");
    EXPECT_EQ(Protocol().Read_Flash_Piece(0, nullptr), -1);
    EXPECT_EQ(Protocol().Write_Flash_Piece(0, nullptr), -1);
    EXPECT_EQ(Protocol().Read_Exid(nullptr), -1);
    EXPECT_EQ(Protocol().Write_Exid(nullptr), -1);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(SerialFlashTest, UnreachableFlashIsNotTakenForAnyPart)
{
    VirtualModule& module = Module("2620");
    module.Fail_Queries({kAny, XU_SEL_FLASH_ID, kAny, EIO, kAlways});
    std::uint8_t type = 0;
    Protocol().Read_Flash_type(&type);
    EXPECT_EQ(type, SF_UNKNOW);
    EXPECT_EQ(Protocol().Read_Flash_type(), SF_UNDEFINED);
    std::vector<std::uint8_t> piece = Pattern_Piece(15);
    EXPECT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), -3);
    EXPECT_TRUE(Sets_Of(module, XU_SEL_SECTOR_ERASE).empty());
    module.Clear_Faults();
    EXPECT_EQ(Protocol().Write_Flash_Piece(0, piece.data()), 0) << "identified once the flash answers";
    EXPECT_EQ(Flash_Bytes(module, 0xF000, 4096), piece);
}

} // namespace
