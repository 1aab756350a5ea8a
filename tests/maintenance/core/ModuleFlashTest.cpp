#include "ModuleFlashTest.h"

#include <gtest/gtest.h>

#include "Extension_Unit_Class/camera_api.h"

namespace korvane::maintenance {

using korvane::emulator::ChipModel;
using korvane::emulator::VirtualModule;

void ModuleFlashTest::SetUp()
{
    VirtualModuleTest::SetUp();
    Camera_UnInit();
}

void ModuleFlashTest::TearDown()
{
    Camera_UnInit();
    VirtualModuleTest::TearDown();
}

std::unique_ptr<ModuleHandle> ModuleFlashTest::open(int node)
{
    std::string error;
    auto module = ModuleHandle::openByNode(node, error);
    EXPECT_NE(module, nullptr) << error;
    return module;
}

void ModuleFlashTest::loadFlash(VirtualModule& module, std::uint32_t address, const Bytes& bytes)
{
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Load(address, bytes);
        return 0;
    });
}

Bytes ModuleFlashTest::flashBytes(VirtualModule& module, std::uint32_t address, std::size_t length)
{
    Bytes bytes(length);
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Read(address, bytes.data(), bytes.size());
        return 0;
    });
    return bytes;
}

Bytes ModuleFlashTest::flashPiece(VirtualModule& module, std::uint32_t piece)
{
    return flashBytes(module, piece * 4096, 4096);
}

} // namespace korvane::maintenance
