#include "CalibrationBlock.h"

#include <cstring>

namespace korvane {

std::string calibrationBlockProblem(const std::string& block)
{
    if (block.empty())
        return "nothing could be read from the module's flash";
    if (block.find_first_not_of('\xFF') == std::string::npos)
        return "the block is erased (every byte is 0xFF)";
    const std::size_t end = block.find('\0');
    const std::size_t stray = end == std::string::npos ? end : block.find_first_not_of('\0', end);
    if (stray != std::string::npos)
        return "non-zero bytes follow the file's end, at offset " + std::to_string(stray);
    if (end == 0)
        return "the block is empty (every byte is zero)";
    return {};
}

std::size_t calibrationFileLength(const char* block, std::size_t length)
{
    const void* zero = std::memchr(block, '\0', length);
    return zero ? static_cast<std::size_t>(static_cast<const char*>(zero) - block) : length;
}

} // namespace korvane
