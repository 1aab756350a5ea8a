#include "Extension_Unit_Class/Flash_Piece_Plan.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace {

// The piece-length answer as the chip sends it: two bytes, low byte first.
std::uint16_t Answer(std::uint8_t low, std::uint8_t high) { return static_cast<std::uint16_t>(low | high << 8); }

std::vector<std::uint32_t> Offsets(const Piece_Transfer_Plan& plan)
{
    std::vector<std::uint32_t> offsets;
    for (std::uint32_t k = 0; k < plan.count; ++k)
        offsets.push_back(Transfer_Offset(plan, k));
    return offsets;
}

std::vector<std::uint32_t> Written_Pieces(const Download_Plan& plan)
{
    std::vector<std::uint32_t> pieces;
    for (std::uint32_t n = 0; n < plan.pieces; ++n)
        pieces.push_back(Download_Piece_At(plan, n));
    return pieces;
}

std::vector<std::uint32_t> Erased_Sectors(const Download_Plan& plan)
{
    std::vector<std::uint32_t> offsets;
    for (std::uint32_t n = 0; n < plan.sectors; ++n)
        offsets.push_back(Erased_Sector_Offset(plan, n));
    return offsets;
}

TEST(FlashPiecePlan, AnswerZeroStandsForSixtyFourKiB)
{
    EXPECT_EQ(Reported_Piece_Length(Answer(0x00, 0x00)), 0x10000u);
    EXPECT_EQ(Reported_Piece_Length(Answer(0x00, 0x10)), 0x1000u);
    EXPECT_EQ(Reported_Piece_Length(Answer(0x00, 0x04)), 0x400u);
    EXPECT_EQ(Reported_Piece_Length(Answer(0xFF, 0xFF)), 0xFFFFu);
    EXPECT_EQ(Reported_Piece_Length(Answer(0x01, 0x00)), 1u);
}

TEST(FlashPiecePlan, LengthsThatMakeUpAPiece)
{
    struct Case
    {
        std::uint16_t length;
        bool divides;
    };
    const Case cases[] = {{0, false},   {1, true},      {2, true},      {3, false},      {0x400, true},
                          {0x800, true}, {0xC00, false}, {0x1000, true}, {0x1001, false}, {0x2000, false},
                          {0x8000, false}, {0xFFFF, false}};
    for (const Case& c : cases)
        EXPECT_EQ(Divides_A_Piece(c.length), c.divides) << "length " << c.length;
}

TEST(FlashPiecePlan, PieceReadAndProgramRiseInTheChipsLength)
{
    EXPECT_EQ(Offsets(Flash_Piece_Transfers(0x400)), (std::vector<std::uint32_t>{0, 0x400, 0x800, 0xC00}));
    EXPECT_EQ(Offsets(Flash_Piece_Transfers(0x1000)), std::vector<std::uint32_t>{0});
    EXPECT_EQ(Flash_Piece_Transfers(1).count, 4096u);
    EXPECT_EQ(Flash_Piece_Transfers(0).count, 0u);
    EXPECT_EQ(Flash_Piece_Transfers(0x300).count, 0u);
    EXPECT_EQ(Flash_Piece_Transfers(0x2000).count, 0u);
}

TEST(FlashPiecePlan, DownloadPieceMovesInOneTransferUpToTheQuerySize)
{
    for (std::uint32_t length : {1u, 0x400u, 0x1000u, 0x8000u, 0xFFFFu}) {
        const Piece_Transfer_Plan plan = Download_Piece_Transfers(length);
        EXPECT_EQ(plan.step, length);
        EXPECT_EQ(Offsets(plan), std::vector<std::uint32_t>{0}) << "length " << length;
    }
}

TEST(FlashPiecePlan, SixtyFourKiBPieceMovesHeaderHalfLast)
{
    const Piece_Transfer_Plan plan = Download_Piece_Transfers(0x10000);
    EXPECT_EQ(plan.step, 0x8000u);
    EXPECT_EQ(Offsets(plan), (std::vector<std::uint32_t>{0x8000, 0}));
    EXPECT_EQ(Download_Piece_Transfers(0).count, 0u);
    EXPECT_EQ(Download_Piece_Transfers(0x18000).count, 3u);
    EXPECT_EQ(Download_Piece_Transfers(0x10001).count, 0u);
}

struct Download_Case
{
    const char* name;
    std::uint16_t answer;
    std::uint32_t area;
    int refusal;
    std::uint32_t pieceLength;
    std::uint32_t pieces;
    std::uint32_t compared;
    std::vector<std::uint32_t> order;
};

void PrintTo(const Download_Case& c, std::ostream* os) { *os << c.name; }

class DownloadPlanOfAnswer : public ::testing::TestWithParam<Download_Case>
{
};

TEST_P(DownloadPlanOfAnswer, PiecesOrderAndRefusal)
{
    const Download_Case& expected = GetParam();
    const Download_Plan plan = Plan_Download(expected.answer, expected.area);
    EXPECT_EQ(plan.refusal, expected.refusal);
    EXPECT_EQ(plan.pieceLength, expected.pieceLength);
    EXPECT_EQ(plan.pieces, expected.pieces);
    EXPECT_EQ(plan.comparedBytes, expected.compared);
    EXPECT_EQ(plan.sectors, expected.refusal == 0 ? expected.area / 4096 : 0u);
    if (expected.refusal == 0) {
        EXPECT_EQ(Written_Pieces(plan), expected.order);
    }
}

std::vector<std::uint32_t> Rising_Then_Zero(std::uint32_t pieces)
{
    std::vector<std::uint32_t> order;
    for (std::uint32_t piece = 1; piece < pieces; ++piece)
        order.push_back(piece);
    order.push_back(0);
    return order;
}

INSTANTIATE_TEST_SUITE_P(
    Answers, DownloadPlanOfAnswer,
    ::testing::Values(
        Download_Case{"Spca2085Area", 0x400, 0x10000, 0, 0x400, 64, 0x400, Rising_Then_Zero(64)},
        Download_Case{"Spca2281Area", 0x1000, 0x10000, 0, 0x1000, 16, 1024, Rising_Then_Zero(16)},
        Download_Case{"Spca2650Area", 0x1000, 0xC0000, 0, 0x1000, 192, 1024, Rising_Then_Zero(192)},
        Download_Case{"ZeroIsOnePiece", 0, 0x10000, 0, 0x10000, 1, 1024, {0}},
        Download_Case{"ZeroOnTheLargeArea", 0, 0xC0000, 0, 0x10000, 12, 1024, Rising_Then_Zero(12)},
        Download_Case{"TwoPieces", 0x8000, 0x10000, 0, 0x8000, 2, 1024, {1, 0}},
        Download_Case{"OneByte", 1, 0x1000, 0, 1, 0x1000, 1, Rising_Then_Zero(0x1000)},
        Download_Case{"ShortCompare", 0x200, 0x1000, 0, 0x200, 8, 0x200, Rising_Then_Zero(8)},
        Download_Case{"NotDividingTheArea", 0x3000, 0x10000, -3, 0x3000, 0, 1024, {}},
        Download_Case{"OddLength", 0xFFFF, 0x10000, -3, 0xFFFF, 0, 1024, {}},
        Download_Case{"ZeroOnASmallArea", 0, 0x8000, -3, 0x10000, 0, 1024, {}}),
    [](const auto& info) { return std::string(info.param.name); });

TEST(FlashPiecePlan, SectorsAreErasedFromTheTopDown)
{
    const Download_Plan plan = Plan_Download(0x1000, 0x4000);
    EXPECT_EQ(Erased_Sectors(plan), (std::vector<std::uint32_t>{0x3000, 0x2000, 0x1000, 0}));
    EXPECT_EQ(Erased_Sectors(Plan_Download(0x3000, 0x4000)), std::vector<std::uint32_t>{});
}

TEST(FlashPiecePlan, ReadBackComparesTheFirstKiBOnly)
{
    const Download_Plan plan = Plan_Download(0x1000, 0x10000);
    std::vector<std::uint8_t> written(0x1000, 0x5A);
    std::vector<std::uint8_t> readBack = written;
    EXPECT_TRUE(Read_Back_Verified(plan, written.data(), readBack.data()));
    readBack[1024] ^= 1;
    readBack[0xFFF] ^= 1;
    EXPECT_TRUE(Read_Back_Verified(plan, written.data(), readBack.data()));
    readBack[1023] ^= 0x80;
    EXPECT_FALSE(Read_Back_Verified(plan, written.data(), readBack.data()));
    readBack[1023] ^= 0x80;
    readBack[0] = 0xFF;
    EXPECT_FALSE(Read_Back_Verified(plan, written.data(), readBack.data()));
}

TEST(FlashPiecePlan, ReadBackOfAShortPieceComparesThePiece)
{
    const Download_Plan plan = Plan_Download(4, 0x1000);
    const std::uint8_t written[4] = {1, 2, 3, 4};
    const std::uint8_t same[4] = {1, 2, 3, 4};
    const std::uint8_t last[4] = {1, 2, 3, 5};
    EXPECT_TRUE(Read_Back_Verified(plan, written, same));
    EXPECT_FALSE(Read_Back_Verified(plan, written, last));
}

} // namespace
