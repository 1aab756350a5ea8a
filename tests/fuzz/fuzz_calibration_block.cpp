// Feeds arbitrary blocks, as read from a module's flash, to the device
// camera's block checks and to the maintenance tool's block check: they must
// never crash, and must agree on what makes a block unusable, whatever the
// bytes.
//
// The input is used twice: as a block of its own length, and as the start of
// a 4096-byte block padded with zero bytes (what a written calibration file
// looks like in flash).
#include "CalibrationFileCheck.h"
#include "camera/CalibrationBlock.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace {

using korvane::maintenance::CalibrationFileCheck;

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

void Check_Block(const std::vector<std::uint8_t>& block)
{
    const std::string bytes(block.begin(), block.end());

    // The device camera's cut: the file is the block up to its first zero byte.
    const std::size_t fileLength = korvane::calibrationFileLength(bytes.data(), bytes.size());
    Check(fileLength <= bytes.size());
    Check(bytes.find('\0') == (fileLength == bytes.size() ? std::string::npos : fileLength));

    // The device camera's report: no problem exactly for a file followed by zero bytes.
    const std::string problem = korvane::calibrationBlockProblem(bytes);
    const bool erased = std::all_of(bytes.begin(), bytes.end(), [](char c) { return c == '\xFF'; });
    const bool zerosAfterFile =
        std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(fileLength), bytes.end(), [](char c) { return c == 0; });
    const bool usable = !bytes.empty() && !erased && zerosAfterFile && fileLength > 0;
    Check(problem.empty() == usable);

    // The tool's check refuses whatever the device camera reports, and says why.
    std::string why;
    const bool valid = CalibrationFileCheck::checkBlock(block, why);
    Check(valid == why.empty());
    if (block.size() != CalibrationFileCheck::kBlockSize)
        Check(!valid);
    if (valid)
        Check(usable && fileLength <= CalibrationFileCheck::kBlockSize);
    if (block.size() == CalibrationFileCheck::kBlockSize && !usable)
        Check(!valid);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Check_Block(std::vector<std::uint8_t>(data, data + size));
    std::vector<std::uint8_t> padded(CalibrationFileCheck::kBlockSize, 0);
    std::copy_n(data, std::min(size, padded.size()), padded.begin());
    Check_Block(padded);
    return 0;
}
