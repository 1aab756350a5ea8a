#include "ToolTestSupport.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <sstream>

#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "MaintenanceTool.h"

using korvane::emulator::ChipModel;
using korvane::emulator::QueryRecord;
using korvane::emulator::VirtualModule;

namespace korvane::test {

ToolRun runTool(const std::vector<std::string>& words)
{
    std::ostringstream out;
    std::ostringstream err;
    const int status = korvane::maintenance::runMaintenanceTool(words, out, err);
    return {status, out.str(), err.str()};
}

void ToolTest::SetUp()
{
    DeviceTest::SetUp();
    setenv("KORVANE_BACKUP_DIR", backupDirectory().c_str(), 1);
}

void ToolTest::TearDown()
{
    unsetenv("KORVANE_BACKUP_DIR");
    DeviceTest::TearDown();
}

std::vector<std::string> ToolTest::backupFiles() const
{
    std::vector<std::string> files;
    if (!std::filesystem::exists(backupDirectory()))
        return files;
    for (const auto& entry : std::filesystem::directory_iterator(backupDirectory()))
        files.push_back(entry.path().string());
    std::sort(files.begin(), files.end());
    return files;
}

std::uint32_t userPieceAddress(int flatIndex) { return (flatIndex == 0 ? 15 : 14) * 4096; }

std::vector<std::uint8_t> flashBytes(VirtualModule& module, std::uint32_t address, std::size_t count)
{
    std::vector<std::uint8_t> bytes(count);
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Read(address, bytes.data(), bytes.size());
        return 0;
    });
    return bytes;
}

void loadFlash(VirtualModule& module, std::uint32_t address, const std::vector<std::uint8_t>& bytes)
{
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Load(address, bytes);
        return 0;
    });
}

std::size_t flashQueries(const std::vector<QueryRecord>& queries)
{
    static const std::vector<std::uint16_t> flashSelectors = {
        XU_SEL_FLASH_CMD_INDEX, XU_SEL_FLASH_CMD_VALUE, XU_SEL_SECTOR_ERASE, XU_SEL_PIECE_ADDR,
        XU_SEL_PIECE_DATA,      XU_SEL_PIECE_CONTROL,   XU_SEL_PROGRAM_WINDOW, XU_SEL_FLASH_ID};
    return static_cast<std::size_t>(std::count_if(queries.begin(), queries.end(), [](const QueryRecord& query) {
        return std::find(flashSelectors.begin(), flashSelectors.end(), query.request.selector) != flashSelectors.end();
    }));
}

std::size_t flashChanges(const std::vector<QueryRecord>& queries)
{
    return static_cast<std::size_t>(std::count_if(queries.begin(), queries.end(), [](const QueryRecord& query) {
        const std::uint16_t selector = query.request.selector;
        return query.request.query == korvane::emulator::kSetCur &&
               (selector == XU_SEL_SECTOR_ERASE || selector == XU_SEL_PIECE_DATA || selector == XU_SEL_PROGRAM_WINDOW);
    }));
}

std::vector<std::uint8_t> patternBytes(std::size_t length, int seed)
{
    std::vector<std::uint8_t> bytes(length);
    for (std::size_t i = 0; i < length; ++i)
        bytes[i] = static_cast<std::uint8_t>(seed * 31 + i * 7 + (i >> 8));
    return bytes;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

std::string lineWith(const std::string& text, const std::string& needle)
{
    std::istringstream lines(text);
    std::string line;
    while (std::getline(lines, line))
        if (line.find(needle) != std::string::npos)
            return line;
    return "";
}

std::vector<std::string> words(const std::string& line)
{
    std::istringstream in(line);
    std::vector<std::string> result;
    std::string word;
    while (in >> word)
        result.push_back(word);
    return result;
}

} // namespace korvane::test
