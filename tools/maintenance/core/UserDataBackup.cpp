#include "UserDataBackup.h"

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <iterator>

#include <fcntl.h>
#include <unistd.h>

#include <zlib.h>

#include "FailureText.h"
#include "ModuleHandle.h"
#include "PrintableText.h"
#include "UserDataLayout.h"

namespace korvane::maintenance {

namespace {

const char kMagic[8] = {'K', 'V', 'U', 'D', 'B', 'A', 'K', '\n'};
constexpr std::size_t kMaxText = 256;
constexpr std::size_t kMaxPieces = 16;
constexpr std::size_t kChecksumSize = 4;
// Far above the largest file of the format.
constexpr std::uintmax_t kMaxFileSize = 1u << 20;
// Names tried after the first when a file of that name exists.
constexpr int kMaxNameSuffix = 1000;

std::string environment(const char* name)
{
    const char* value = std::getenv(name);
    return value ? value : "";
}

void putU16(std::vector<std::uint8_t>& out, std::uint16_t value)
{
    out.push_back(static_cast<std::uint8_t>(value & 0xFF));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
}

void putText(std::vector<std::uint8_t>& out, const std::string& text)
{
    const std::size_t length = std::min(text.size(), kMaxText);
    putU16(out, static_cast<std::uint16_t>(length));
    out.insert(out.end(), text.begin(), text.begin() + static_cast<std::ptrdiff_t>(length));
}

std::uint32_t checksum(const std::uint8_t* data, std::size_t length)
{
    return static_cast<std::uint32_t>(crc32(0L, data, static_cast<uInt>(length)));
}

// Reads the fields of a backup file in order; the first shortfall is kept
// as the reason.
class FieldReader
{
public:
    FieldReader(const std::vector<std::uint8_t>& bytes, std::size_t end) : m_bytes(bytes), m_end(end) {}

    bool u16(const char* field, std::uint16_t& value)
    {
        if (!has(2, field))
            return false;
        value = static_cast<std::uint16_t>(m_bytes[m_at] | (m_bytes[m_at + 1] << 8));
        m_at += 2;
        return true;
    }
    bool text(const char* field, std::string& value, std::string& why)
    {
        std::uint16_t length = 0;
        if (!u16(field, length))
            return false;
        if (length > kMaxText) {
            why = std::string("the ") + field + " is " + std::to_string(length) + " bytes long, more than " +
                  std::to_string(kMaxText);
            return false;
        }
        if (!has(length, field))
            return false;
        value.assign(m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at),
                     m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at + length));
        m_at += length;
        return true;
    }
    bool piece(std::size_t index, std::vector<std::uint8_t>& value)
    {
        const std::string field = "piece " + std::to_string(index);
        if (!has(UserDataBackup::kPieceSize, field.c_str()))
            return false;
        const auto start = m_bytes.begin() + static_cast<std::ptrdiff_t>(m_at);
        value.assign(start, start + static_cast<std::ptrdiff_t>(UserDataBackup::kPieceSize));
        m_at += UserDataBackup::kPieceSize;
        return true;
    }
    std::size_t position() const { return m_at; }
    const std::string& shortfall() const { return m_shortfall; }

private:
    bool has(std::size_t count, const char* field)
    {
        if (m_end - m_at >= count)
            return true;
        m_shortfall = std::string("the file is truncated: it ends inside the ") + field;
        return false;
    }

    const std::vector<std::uint8_t>& m_bytes;
    std::size_t m_end;
    std::size_t m_at = sizeof kMagic;
    std::string m_shortfall;
};

bool readFields(FieldReader& reader, UserDataBackup& out, std::string& why)
{
    std::uint16_t count = 0;
    const bool read = reader.text("identification", out.identification, why) &&
                      reader.text("model", out.model, why) && reader.text("time", out.takenAt, why) &&
                      reader.u16("piece count", count);
    if (!read) {
        if (why.empty())
            why = reader.shortfall();
        return false;
    }
    if (count == 0 || count > kMaxPieces) {
        why = "the piece count " + std::to_string(count) + " is not between 1 and " + std::to_string(kMaxPieces);
        return false;
    }
    out.pieces.assign(count, {});
    for (std::size_t i = 0; i < count; ++i) {
        if (!reader.piece(i, out.pieces[i])) {
            why = reader.shortfall();
            return false;
        }
    }
    return true;
}

// identification with every character outside [A-Za-z0-9._-] replaced, for a file name.
std::string fileNamePart(const std::string& text)
{
    std::string part = text.empty() ? "module" : text;
    for (char& c : part)
        if (!std::isalnum(static_cast<unsigned char>(c)) && c != '.' && c != '-' && c != '_')
            c = '_';
    return part;
}

std::string compactTime(const std::string& isoTime)
{
    std::string compact;
    for (char c : isoTime)
        if (c != '-' && c != ':')
            compact += c;
    return compact;
}

bool writeAll(int fd, const std::vector<std::uint8_t>& bytes)
{
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t written = write(fd, bytes.data() + done, bytes.size() - done);
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        done += static_cast<std::size_t>(written);
    }
    return fsync(fd) == 0;
}

// Creates a file that did not exist before: base + ".kvbackup", else
// base + "-2.kvbackup" and so on. Its descriptor, or -1.
int createNewFile(const std::string& base, std::string& path)
{
    for (int n = 1; n <= kMaxNameSuffix; ++n) {
        path = base + (n == 1 ? "" : "-" + std::to_string(n)) + ".kvbackup";
        const int fd = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        if (fd >= 0 || errno != EEXIST)
            return fd;
    }
    return -1;
}

bool readPiece(ModuleHandle& module, std::size_t index, std::vector<std::uint8_t>& piece, std::string& why)
{
    piece.assign(UserDataBackup::kPieceSize, 0);
    const int result = Camera_Flash_R_Api(module.device(), static_cast<int>(index), piece.data());
    if (result != 0)
        why = failureText("reading user-data piece " + std::to_string(index), Camera_Operation::Flash_Piece, result);
    return result == 0;
}

bool layoutOf(const ModuleHandle& module, UserDataLayout& layout, std::string& why)
{
    if (UserDataLayout::forModel(module.model(), layout))
        return true;
    why = "the module's chip (model " + module.model() + ") has no known user-data pieces";
    return false;
}

} // namespace

std::string UserDataBackup::defaultDirectory()
{
    const std::string configured = environment("KORVANE_BACKUP_DIR");
    if (!configured.empty())
        return configured;
    const std::string state = environment("XDG_STATE_HOME");
    if (!state.empty())
        return state + "/korvane/backups";
    return environment("HOME") + "/.local/state/korvane/backups";
}

std::string UserDataBackup::utcNow()
{
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

bool UserDataBackup::readFrom(ModuleHandle& module, UserDataBackup& out, std::string& why)
{
    UserDataLayout layout;
    if (!layoutOf(module, layout, why))
        return false;
    UserDataBackup backup;
    backup.identification = module.identification();
    backup.model = module.model();
    backup.takenAt = utcNow();
    backup.pieces.resize(layout.pieceCount());
    for (std::size_t i = 0; i < backup.pieces.size(); ++i)
        if (!readPiece(module, i, backup.pieces[i], why))
            return false;
    out = std::move(backup);
    return true;
}

bool UserDataBackup::writeTo(ModuleHandle& module, std::string& why) const
{
    UserDataLayout layout;
    if (!layoutOf(module, layout, why))
        return false;
    // Another chip keeps its user data elsewhere: its pieces would land in the wrong place.
    if (model != module.model()) {
        why = "the backup was taken from a module of model " + printableText(model) + ", this module is of model " +
              module.model();
        return false;
    }
    if (pieces.size() != layout.pieceCount()) {
        why = "the backup holds " + std::to_string(pieces.size()) + " pieces, the module's chip has " +
              std::to_string(layout.pieceCount());
        return false;
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        std::vector<std::uint8_t> data = pieces[i];
        const int result = Camera_Flash_W_Api(module.device(), static_cast<int>(i), data.data());
        if (result != 0) {
            why = failureText("writing user-data piece " + std::to_string(i), Camera_Operation::Flash_Piece, result);
            return false;
        }
        std::vector<std::uint8_t> readBack;
        if (!readPiece(module, i, readBack, why))
            return false;
        if (readBack != pieces[i]) {
            why = "user-data piece " + std::to_string(i) + " reads back different from the backup";
            return false;
        }
    }
    return true;
}

bool UserDataBackup::downloadCoversUserData(const ModuleHandle& module)
{
    UserDataLayout layout;
    return UserDataLayout::forModel(module.model(), layout) && layout.downloadCoversUserData();
}

std::vector<std::uint8_t> UserDataBackup::toBytes() const
{
    std::vector<std::uint8_t> bytes(std::begin(kMagic), std::end(kMagic));
    putU16(bytes, kFormatVersion);
    putText(bytes, identification);
    putText(bytes, model);
    putText(bytes, takenAt);
    putU16(bytes, static_cast<std::uint16_t>(pieces.size()));
    for (const auto& piece : pieces) {
        std::vector<std::uint8_t> sized = piece;
        sized.resize(kPieceSize, 0);
        bytes.insert(bytes.end(), sized.begin(), sized.end());
    }
    const std::uint32_t sum = checksum(bytes.data(), bytes.size());
    for (int shift = 0; shift < 32; shift += 8)
        bytes.push_back(static_cast<std::uint8_t>(sum >> shift));
    return bytes;
}

bool UserDataBackup::fromBytes(const std::vector<std::uint8_t>& bytes, UserDataBackup& out, std::string& why)
{
    if (bytes.size() < sizeof kMagic || std::memcmp(bytes.data(), kMagic, sizeof kMagic) != 0) {
        why = "it is not a user-data backup file";
        return false;
    }
    if (bytes.size() < sizeof kMagic + kChecksumSize) {
        why = "the file is truncated: it ends inside the header";
        return false;
    }
    const std::size_t end = bytes.size() - kChecksumSize;
    FieldReader reader(bytes, end);
    std::uint16_t version = 0;
    if (!reader.u16("format version", version)) {
        why = reader.shortfall();
        return false;
    }
    if (version != kFormatVersion) {
        why = "it is a backup of format version " + std::to_string(version) + "; this program reads version " +
              std::to_string(kFormatVersion);
        return false;
    }
    UserDataBackup backup;
    if (!readFields(reader, backup, why))
        return false;
    if (reader.position() != end) {
        why = "the file has " + std::to_string(end - reader.position()) + " bytes too many";
        return false;
    }
    const std::uint32_t stored = static_cast<std::uint32_t>(bytes[end]) | (static_cast<std::uint32_t>(bytes[end + 1]) << 8) |
                                 (static_cast<std::uint32_t>(bytes[end + 2]) << 16) |
                                 (static_cast<std::uint32_t>(bytes[end + 3]) << 24);
    if (stored != checksum(bytes.data(), end)) {
        why = "the checksum does not match: the file is damaged";
        return false;
    }
    out = std::move(backup);
    return true;
}

bool UserDataBackup::save(const std::string& directory, std::string& path, std::string& why) const
{
    std::error_code error;
    std::filesystem::create_directories(directory, error);
    if (error) {
        why = "cannot make the directory " + directory + ": " + error.message();
        return false;
    }
    const std::string base = directory + "/" + fileNamePart(identification) + "_" + compactTime(takenAt);
    const int fd = createNewFile(base, path);
    if (fd < 0) {
        why = "cannot create a new file in " + directory + ": " + std::strerror(errno);
        return false;
    }
    const bool written = writeAll(fd, toBytes());
    const bool closed = close(fd) == 0;
    if (!written || !closed) {
        why = "cannot write " + path;
        unlink(path.c_str());
        return false;
    }
    return true;
}

bool UserDataBackup::load(const std::string& path, UserDataBackup& out, std::string& why)
{
    std::error_code error;
    const std::uintmax_t size = std::filesystem::file_size(path, error);
    if (error) {
        why = "cannot read " + path + ": " + error.message();
        return false;
    }
    if (size > kMaxFileSize) {
        why = path + " is too large to be a user-data backup file";
        return false;
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (!file.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()))) {
        why = "cannot read " + path;
        return false;
    }
    if (!fromBytes(bytes, out, why)) {
        why = path + " is refused: " + why;
        return false;
    }
    return true;
}

} // namespace korvane::maintenance
