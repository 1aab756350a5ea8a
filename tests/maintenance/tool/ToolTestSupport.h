#ifndef KORVANE_TESTS_MAINTENANCE_TOOL_TOOLTESTSUPPORT_H
#define KORVANE_TESTS_MAINTENANCE_TOOL_TOOLTESTSUPPORT_H

#include <cstdint>
#include <string>
#include <vector>

#include "DeviceTestSupport.h"

namespace korvane::test {

// What one run of the tool gave.
struct ToolRun
{
    int status;
    std::string out;
    std::string err;
};

// Runs the tool in this process with its output collected.
ToolRun runTool(const std::vector<std::string>& words);

// A tool test on virtual modules, in a fresh working directory, with the
// user-data backups going to its own directory.
class ToolTest : public DeviceTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    std::string backupDirectory() const { return work().file("backups"); }
    // The backup files written so far, sorted.
    std::vector<std::string> backupFiles() const;
};

// Flash address of a flat-API user piece on the 2620 (pieces 15, 14).
std::uint32_t userPieceAddress(int flatIndex);
// count bytes of the module's flash from address.
std::vector<std::uint8_t> flashBytes(korvane::emulator::VirtualModule& module, std::uint32_t address,
                                     std::size_t count);
void loadFlash(korvane::emulator::VirtualModule& module, std::uint32_t address, const std::vector<std::uint8_t>& bytes);
// Queries that reached the flash side of the chip (command set, erase,
// piece address and data, program window, flash ID).
std::size_t flashQueries(const std::vector<korvane::emulator::QueryRecord>& queries);
// Queries that erase or program flash: SET_CUR on sector erase, piece data or the program window.
std::size_t flashChanges(const std::vector<korvane::emulator::QueryRecord>& queries);
// A byte pattern that differs for different seeds.
std::vector<std::uint8_t> patternBytes(std::size_t length, int seed);
bool contains(const std::string& text, const std::string& part);
// The line of text that holds needle, without its line end; empty when none does.
std::string lineWith(const std::string& text, const std::string& needle);
// Splits a command line at spaces.
std::vector<std::string> words(const std::string& line);

} // namespace korvane::test

#endif
