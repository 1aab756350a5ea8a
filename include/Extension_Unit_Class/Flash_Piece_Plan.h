#ifndef KORVANE_EXTENSION_UNIT_FLASH_PIECE_PLAN_H
#define KORVANE_EXTENSION_UNIT_FLASH_PIECE_PLAN_H

// The bulk piece channel's decisions on the chip's piece-length answer, as
// pure functions: how a piece moves in transfers, how a firmware download
// is cut into pieces and in which order they go, and when a read-back
// verifies. The transfers themselves stay with the channel.

#include "Extension_Unit_Class/Camera_Status.h"

#include <cstdint>

// Bytes of one flash piece (and of one erasable sector).
constexpr std::uint32_t FLASH_PIECE_SIZE = 4096;
// A query's size is 16 bits: a longer piece moves in transfers of this many bytes.
constexpr std::uint32_t FLASH_LONG_PIECE_TRANSFER = 0x8000;
// Only this much of each download piece is compared after its read-back, whatever the piece length.
constexpr std::uint32_t DOWNLOAD_COMPARED_BYTES = 1024;
// A download refused because the chip's piece length does not divide the image area.
constexpr int FLASH_PIECE_REFUSED = Camera_Status::Piece_Length_Unusable;

// The piece length a chip's 16-bit answer stands for: 0 is 0x10000 (the field wraps).
std::uint32_t Reported_Piece_Length(std::uint16_t answer);
// Bytes per transfer of a download piece of that length.
std::uint32_t Transfer_Length(std::uint32_t pieceLength);
// True when transfers of that length make up a 4096-byte piece exactly (a reported 0 stands for 0x10000: never).
bool Divides_A_Piece(std::uint16_t length);

// How one piece moves: count transfers of step bytes each, rising from the
// piece's start or from its top down. count 0: the piece cannot be moved.
struct Piece_Transfer_Plan
{
    std::uint32_t step;
    std::uint32_t count;
    bool topDown;
};

// A 4096-byte piece read or programmed in transfers of the chip's length,
// rising; nothing when the length does not divide the piece.
Piece_Transfer_Plan Flash_Piece_Transfers(std::uint16_t length);
// A download piece: one transfer, or several of 0x8000 bytes when it is
// longer than a query holds, from the top down so that the piece's start
// (the image header in piece 0) goes last; nothing when it cannot be split.
Piece_Transfer_Plan Download_Piece_Transfers(std::uint32_t pieceLength);
// Where the k-th transfer (from 0, below count) starts in the piece.
std::uint32_t Transfer_Offset(const Piece_Transfer_Plan& plan, std::uint32_t k);

// A firmware download over an image area, decided before anything is erased.
struct Download_Plan
{
    int refusal;                  // 0, or FLASH_PIECE_REFUSED: the piece length does not divide the area
    std::uint32_t pieceLength;    // bytes per download piece
    std::uint32_t pieces;         // areaLength / pieceLength; 0 when refused
    std::uint32_t sectors;        // 4096-byte sectors erased, from the top down; 0 when refused
    std::uint32_t comparedBytes;  // bytes of each piece compared with its read-back
    Piece_Transfer_Plan transfers; // how each piece moves
};

// The download of an area of areaLength bytes (a whole number of sectors)
// given the chip's answer to the piece-length query.
Download_Plan Plan_Download(std::uint16_t answer, std::uint32_t areaLength);
// The piece written n-th (n from 0, below pieces): pieces 1 .. N-1 in
// rising order, then piece 0, which holds the image header.
std::uint32_t Download_Piece_At(const Download_Plan& plan, std::uint32_t n);
// The area offset of the sector erased n-th (n from 0, below sectors): from the top down.
std::uint32_t Erased_Sector_Offset(const Download_Plan& plan, std::uint32_t n);
// True when the first compared bytes read back equal the bytes written;
// both hold at least the plan's compared bytes.
bool Read_Back_Verified(const Download_Plan& plan, const std::uint8_t* written, const std::uint8_t* readBack);

#endif
