#ifndef KORVANE_TOOLS_MAINTENANCE_USERDATALAYOUT_H
#define KORVANE_TOOLS_MAINTENANCE_USERDATALAYOUT_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::maintenance {

// Where a chip keeps its user data: the 4096-byte flash pieces behind the
// flat API's piece indices (Camera_Flash_R_Api / Camera_Flash_W_Api), and
// the flash its firmware download erases and rewrites, as the chip's
// description in the chip registry has them. A flat index that reaches the
// firmware header's piece holds no user data and ends the list: writing an
// old header back after a download would break the new firmware.
class UserDataLayout
{
public:
    // The layout of the chip behind a protocol model name (ModuleHandle::model());
    // false for a model without user data (no chip, or one not known here).
    static bool forModel(const std::string& model, UserDataLayout& out);

    // Flash piece number of each user-data piece, in flat index order.
    const std::vector<std::uint32_t>& flashPieces() const { return m_flashPieces; }
    std::size_t pieceCount() const { return m_flashPieces.size(); }
    // True when a firmware download rewrites a flash piece that holds user data.
    bool downloadCoversUserData() const { return m_downloadCoversUserData; }

private:
    std::vector<std::uint32_t> m_flashPieces;
    bool m_downloadCoversUserData = false;
};

} // namespace korvane::maintenance

#endif
