#include "Extension_Unit_Class/Flash_Piece_Plan.h"

#include <algorithm>

std::uint32_t Reported_Piece_Length(std::uint16_t answer) { return answer == 0 ? 0x10000u : answer; }

std::uint32_t Transfer_Length(std::uint32_t pieceLength)
{
    return pieceLength > 0xFFFF ? FLASH_LONG_PIECE_TRANSFER : pieceLength;
}

bool Divides_A_Piece(std::uint16_t length)
{
    return length != 0 && length <= FLASH_PIECE_SIZE && FLASH_PIECE_SIZE % length == 0;
}

Piece_Transfer_Plan Flash_Piece_Transfers(std::uint16_t length)
{
    if (!Divides_A_Piece(length))
        return {length, 0, false};
    return {length, FLASH_PIECE_SIZE / length, false};
}

Piece_Transfer_Plan Download_Piece_Transfers(std::uint32_t pieceLength)
{
    const std::uint32_t step = Transfer_Length(pieceLength);
    if (step == 0 || pieceLength % step != 0)
        return {step, 0, true};
    return {step, pieceLength / step, true};
}

std::uint32_t Transfer_Offset(const Piece_Transfer_Plan& plan, std::uint32_t k)
{
    const std::uint32_t slot = plan.topDown ? plan.count - 1 - k : k;
    return slot * plan.step;
}

Download_Plan Plan_Download(std::uint16_t answer, std::uint32_t areaLength)
{
    Download_Plan plan{};
    plan.pieceLength = Reported_Piece_Length(answer);
    plan.comparedBytes = std::min(DOWNLOAD_COMPARED_BYTES, plan.pieceLength);
    plan.transfers = Download_Piece_Transfers(plan.pieceLength);
    // A length that does not divide the area cannot be written; nothing is erased then.
    if (areaLength % plan.pieceLength != 0) {
        plan.refusal = FLASH_PIECE_REFUSED;
        return plan;
    }
    plan.pieces = areaLength / plan.pieceLength;
    plan.sectors = areaLength / FLASH_PIECE_SIZE;
    return plan;
}

std::uint32_t Download_Piece_At(const Download_Plan& plan, std::uint32_t n) { return (n + 1) % plan.pieces; }

std::uint32_t Erased_Sector_Offset(const Download_Plan& plan, std::uint32_t n)
{
    return (plan.sectors - 1 - n) * FLASH_PIECE_SIZE;
}

bool Read_Back_Verified(const Download_Plan& plan, const std::uint8_t* written, const std::uint8_t* readBack)
{
    return std::equal(written, written + plan.comparedBytes, readBack);
}
