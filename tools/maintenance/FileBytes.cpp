#include "FileBytes.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iterator>

namespace korvane::maintenance {

bool readFileBytes(const std::string& path, std::vector<std::uint8_t>& bytes, std::string& why)
{
    std::ifstream in(path, std::ios::binary);
    if (!in) {
        why = std::strerror(errno);
        return false;
    }
    bytes.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    if (in.bad()) {
        why = "read error";
        return false;
    }
    return true;
}

} // namespace korvane::maintenance
