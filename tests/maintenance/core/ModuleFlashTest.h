#ifndef KORVANE_TESTS_MAINTENANCE_CORE_MODULEFLASHTEST_H
#define KORVANE_TESTS_MAINTENANCE_CORE_MODULEFLASHTEST_H

#include <cstdint>
#include <memory>
#include <vector>

#include "ModuleHandle.h"
#include "emulator/VirtualModuleTest.h"

namespace korvane::maintenance {

using Bytes = std::vector<std::uint8_t>;

// A test on its own virtual device tree, with the control channel's camera
// list gone before and after, and direct access to the modules' flash.
class ModuleFlashTest : public korvane::emulator::VirtualModuleTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    // The module on /dev/video<node>; null (and a failure) when there is none.
    std::unique_ptr<ModuleHandle> open(int node);

    static void loadFlash(korvane::emulator::VirtualModule& module, std::uint32_t address, const Bytes& bytes);
    static Bytes flashBytes(korvane::emulator::VirtualModule& module, std::uint32_t address, std::size_t length);
    // The 4096-byte flash piece of that number.
    static Bytes flashPiece(korvane::emulator::VirtualModule& module, std::uint32_t piece);
};

} // namespace korvane::maintenance

#endif
