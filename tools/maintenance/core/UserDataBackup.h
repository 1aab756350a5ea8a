#ifndef KORVANE_TOOLS_MAINTENANCE_USERDATABACKUP_H
#define KORVANE_TOOLS_MAINTENANCE_USERDATABACKUP_H

#include <cstdint>
#include <string>
#include <vector>

namespace korvane::maintenance {

class ModuleHandle;

// The user-data pieces of one module (its calibration block among them),
// with the module's identification, its chip model and the time they were
// read; kept in a backup file so that they survive a firmware download or a
// mistaken flash write.
//
// Backup file, version 1 (numbers little-endian):
//   offset  size      field
//   0       8         "KVUDBAK\n"
//   8       2         format version (1)
//   10      2         length I of the identification (at most 256)
//   12      I         identification, "bcdDevice-bcdDevice-vid-serial"
//           2 + M     model name, its length first (at most 256)
//           2 + T     time taken, UTC, ISO 8601 ("2026-11-21T09:13:53Z"), its length first (at most 256)
//           2         piece count N (1 .. 16)
//           N x 4096  the pieces, in flat piece index order
//           4         CRC-32 (zlib) of every byte before it
// Nothing follows the checksum.
class UserDataBackup
{
public:
    static constexpr std::size_t kPieceSize = 4096;
    static constexpr std::uint16_t kFormatVersion = 1;

    std::string identification;
    std::string model;
    std::string takenAt;
    std::vector<std::vector<std::uint8_t>> pieces;

    // $KORVANE_BACKUP_DIR, else $XDG_STATE_HOME/korvane/backups, else
    // $HOME/.local/state/korvane/backups.
    static std::string defaultDirectory();

    // Reads every user-data piece of the module's chip, and its
    // identification, model and the present time.
    static bool readFrom(ModuleHandle& module, UserDataBackup& out, std::string& why);
    // Writes every piece to the module, reads each back and compares. A
    // module of another model than the backup's is refused.
    bool writeTo(ModuleHandle& module, std::string& why) const;
    // True when the chip's firmware download rewrites flash that holds user-data pieces.
    static bool downloadCoversUserData(const ModuleHandle& module);

    // Saves to a new file in directory (made when missing); an existing file
    // is never overwritten. path receives the file's path.
    bool save(const std::string& directory, std::string& path, std::string& why) const;
    static bool load(const std::string& path, UserDataBackup& out, std::string& why);

    // The file's bytes, and the parser: refuses (with why) anything but a
    // complete file of a version it reads with the right checksum.
    std::vector<std::uint8_t> toBytes() const;
    static bool fromBytes(const std::vector<std::uint8_t>& bytes, UserDataBackup& out, std::string& why);

    // The present time, UTC, ISO 8601.
    static std::string utcNow();
};

} // namespace korvane::maintenance

#endif
