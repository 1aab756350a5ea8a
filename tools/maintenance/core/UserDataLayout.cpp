#include "UserDataLayout.h"

namespace korvane::maintenance {

namespace {

constexpr std::uint32_t kPieceSize = 4096;

struct ChipLayout
{
    const char* model;
    std::vector<std::uint32_t> flashPieces;
    std::uint32_t downloadAreaStart;
    std::uint32_t downloadAreaLength;
};

// By the model name each chip protocol announces.
const ChipLayout kLayouts[] = {
    {"QLV_8M_1", {15, 14}, 0x0, 0x10000},            // SPCA2620
    {"QLV_1080P_1", {15, 14}, 0x0, 0x10000},         // SPCA2085
    {"QLV_1080P_2", {15, 14}, 0x0, 0x10000},         // SPCA2092, the SPCA2085's protocol
    {"QLV_3M_1", {13, 12}, 0x0, 0x10000},            // SPCA2281
    {"QLVR_56_2", {46, 45, 44}, 0x0, 0xC0000},       // SPCA2650
    {"QLVR_1080p_3D", {46, 45, 44}, 0x0, 0xC0000},   // SPCA2282, the SPCA2650's protocol
};

} // namespace

bool UserDataLayout::forModel(const std::string& model, UserDataLayout& out)
{
    for (const ChipLayout& layout : kLayouts) {
        if (model == layout.model) {
            out.m_flashPieces = layout.flashPieces;
            out.m_downloadAreaStart = layout.downloadAreaStart;
            out.m_downloadAreaLength = layout.downloadAreaLength;
            return true;
        }
    }
    return false;
}

bool UserDataLayout::downloadCoversUserData() const
{
    const std::uint64_t areaEnd = std::uint64_t{m_downloadAreaStart} + m_downloadAreaLength;
    for (std::uint32_t piece : m_flashPieces) {
        const std::uint64_t start = std::uint64_t{piece} * kPieceSize;
        if (start < areaEnd && start + kPieceSize > m_downloadAreaStart)
            return true;
    }
    return false;
}

} // namespace korvane::maintenance
