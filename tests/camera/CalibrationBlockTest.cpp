#include <gtest/gtest.h>

#include <string>

#include "camera/CalibrationBlock.h"

using namespace korvane;

namespace {

constexpr std::size_t kBlock = 4096;

// A block holding text, then zero bytes up to 4096.
std::string blockOf(const std::string& text)
{
    std::string block = text;
    block.resize(kBlock, '\0');
    return block;
}

struct BlockCase
{
    const char* name;
    std::string block;
    std::string problem;
};

TEST(CalibrationBlock, ProblemOfEachBlock)
{
    std::string stray = blockOf("%YAML:1.0\n");
    stray[100] = 'x';
    std::string erasedTail = blockOf("%YAML:1.0\n");
    erasedTail.replace(2048, 2048, 2048, '\xFF');
    std::string noZero(kBlock, 'a');
    std::string oneByteShort = blockOf("%YAML:1.0\n");
    oneByteShort.pop_back();
    const BlockCase cases[] = {
        {"nothing read", "", "nothing could be read from the module's flash"},
        {"erased", std::string(kBlock, '\xFF'), "the block is erased (every byte is 0xFF)"},
        {"all zero", std::string(kBlock, '\0'), "the block is empty (every byte is zero)"},
        {"stray byte", stray, "non-zero bytes follow the file's end, at offset 100"},
        {"erased tail", erasedTail, "non-zero bytes follow the file's end, at offset 2048"},
        {"file then zeros", blockOf("%YAML:1.0\nSerialNumber: 1\n"), ""},
        {"file without padding", noZero, ""},
        {"short read", oneByteShort, ""},
        {"one 0xFF byte", std::string(1, '\xFF'), "the block is erased (every byte is 0xFF)"},
    };
    for (const BlockCase& c : cases)
        EXPECT_EQ(calibrationBlockProblem(c.block), c.problem) << c.name;
}

TEST(CalibrationBlock, FileEndsAtTheFirstZeroByte)
{
    const std::string block = blockOf("%YAML:1.0\n");
    EXPECT_EQ(calibrationFileLength(block.data(), block.size()), 10u);
    EXPECT_EQ(calibrationFileLength(block.data(), 4), 4u);
    const std::string full(kBlock, 'a');
    EXPECT_EQ(calibrationFileLength(full.data(), full.size()), kBlock);
    const std::string zero(kBlock, '\0');
    EXPECT_EQ(calibrationFileLength(zero.data(), zero.size()), 0u);
    EXPECT_EQ(calibrationFileLength(zero.data(), 0), 0u);
}

} // namespace
