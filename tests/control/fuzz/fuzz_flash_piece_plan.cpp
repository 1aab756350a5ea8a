// Feeds arbitrary piece-length answers and area sizes to the piece channel's
// plans, and arbitrary written and read-back bytes to the download's verify:
// the plans must stay within range and agree with each other, and the verify
// must read no byte past what it compares, whatever the bytes.
//
// Input: the chip's two answer bytes (low first), two bytes for the area's
// sector count (1 to 65536), then the written bytes and the read-back bytes
// of one piece, split at half the rest.
#include "Extension_Unit_Class/Flash_Piece_Plan.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

// A download over more pieces than this has its order checked at samples only.
constexpr std::uint32_t kWholeOrderPieces = 4096;

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

std::uint16_t Take16(const std::uint8_t*& data, std::size_t& size)
{
    std::uint8_t bytes[2] = {0, 0};
    const std::size_t taken = std::min<std::size_t>(size, 2);
    std::memcpy(bytes, data, taken);
    data += taken;
    size -= taken;
    return static_cast<std::uint16_t>(bytes[0] | bytes[1] << 8);
}

// Transfers of a plan: each inside the piece, none overlapping, together the whole piece.
void Check_Transfers(const Piece_Transfer_Plan& plan, std::uint32_t pieceLength)
{
    Check(plan.count > 0);
    Check(plan.step > 0 && plan.step <= 0xFFFF);
    Check(static_cast<std::uint64_t>(plan.step) * plan.count == pieceLength);
    for (std::uint32_t k = 0; k < plan.count; ++k) {
        const std::uint32_t offset = Transfer_Offset(plan, k);
        Check(offset % plan.step == 0);
        Check(static_cast<std::uint64_t>(offset) + plan.step <= pieceLength);
        const std::uint32_t slot = offset / plan.step;
        Check(plan.topDown ? slot == plan.count - 1 - k : slot == k);
    }
}

void Check_Piece_Transfers(std::uint16_t answer)
{
    const Piece_Transfer_Plan plan = Flash_Piece_Transfers(answer);
    Check(!plan.topDown);
    Check((plan.count != 0) == Divides_A_Piece(answer));
    if (plan.count != 0) {
        Check(plan.step == answer);
        Check_Transfers(plan, FLASH_PIECE_SIZE);
    }
}

void Check_Order(const Download_Plan& plan)
{
    if (plan.pieces <= kWholeOrderPieces) {
        std::vector<bool> seen(plan.pieces, false);
        for (std::uint32_t n = 0; n < plan.pieces; ++n) {
            const std::uint32_t piece = Download_Piece_At(plan, n);
            Check(piece < plan.pieces && !seen[piece]);
            seen[piece] = true;
            // Pieces 1 .. N-1 in rising order, then the header piece.
            Check(n + 1 == plan.pieces ? piece == 0 : piece == n + 1);
        }
        return;
    }
    for (std::uint32_t n : {0u, 1u, plan.pieces / 2, plan.pieces - 2, plan.pieces - 1}) {
        const std::uint32_t piece = Download_Piece_At(plan, n);
        Check(piece < plan.pieces);
        Check(n + 1 == plan.pieces ? piece == 0 : piece == n + 1);
    }
}

void Check_Erase(const Download_Plan& plan, std::uint32_t area)
{
    Check(plan.sectors == area / FLASH_PIECE_SIZE);
    for (std::uint32_t n = 0; n < plan.sectors; n += 1 + plan.sectors / 64) {
        const std::uint32_t offset = Erased_Sector_Offset(plan, n);
        Check(offset < area && offset % FLASH_PIECE_SIZE == 0);
        Check(offset == area - (n + 1) * FLASH_PIECE_SIZE);
    }
    Check(Erased_Sector_Offset(plan, plan.sectors - 1) == 0);
}

void Check_Verify(const Download_Plan& plan, const std::uint8_t* data, std::size_t size)
{
    // Exact-size copies of the compared bytes, so that reading further is caught.
    const std::size_t half = size / 2;
    std::vector<std::uint8_t> written(plan.comparedBytes, 0);
    std::vector<std::uint8_t> readBack(plan.comparedBytes, 0);
    std::memcpy(written.data(), data, std::min<std::size_t>(half, written.size()));
    std::memcpy(readBack.data(), data + half, std::min<std::size_t>(size - half, readBack.size()));
    const bool verified = Read_Back_Verified(plan, written.data(), readBack.data());
    Check(verified == (written == readBack));
    Check(Read_Back_Verified(plan, written.data(), written.data()));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::uint16_t answer = Take16(data, size);
    const std::uint32_t area = (static_cast<std::uint32_t>(Take16(data, size)) + 1) * FLASH_PIECE_SIZE;

    const std::uint32_t pieceLength = Reported_Piece_Length(answer);
    Check(pieceLength >= 1 && pieceLength <= 0x10000);
    Check(pieceLength == (answer == 0 ? 0x10000u : answer));
    Check(Transfer_Length(pieceLength) <= 0xFFFF);
    Check_Piece_Transfers(answer);
    // A piece length that makes up a 4096-byte piece always makes up the area.
    Check(!Divides_A_Piece(answer) || area % pieceLength == 0);

    const Download_Plan plan = Plan_Download(answer, area);
    Check(plan.refusal == 0 || plan.refusal == FLASH_PIECE_REFUSED);
    Check(plan.pieceLength == pieceLength);
    Check(plan.comparedBytes == std::min(DOWNLOAD_COMPARED_BYTES, pieceLength));
    Check(plan.comparedBytes >= 1 && plan.comparedBytes <= plan.pieceLength);
    // Every length the answer can stand for moves in whole transfers of at most a query's size.
    Check(plan.transfers.topDown);
    Check_Transfers(plan.transfers, pieceLength);
    Check(plan.transfers.count == (pieceLength > 0xFFFF ? 2u : 1u));
    Check(Transfer_Offset(plan.transfers, plan.transfers.count - 1) == 0);
    Check((plan.refusal == 0) == (area % pieceLength == 0));
    if (plan.refusal != 0) {
        Check(plan.pieces == 0 && plan.sectors == 0);
    } else {
        Check(plan.pieces >= 1);
        Check(static_cast<std::uint64_t>(plan.pieces) * plan.pieceLength == area);
        Check_Order(plan);
        Check_Erase(plan, area);
    }
    Check_Verify(plan, data, size);
    return 0;
}
