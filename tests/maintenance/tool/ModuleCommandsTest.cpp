// The tool's reading and register commands on virtual modules: list, info,
// ISP and sensor registers, GPIO and calib-save, with their outputs and exit
// statuses.
#include <cerrno>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "CommandTable.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/camera_api.h"
#include "ToolTestSupport.h"
#include "support/TempDir.h"

using namespace korvane::test;
using korvane::emulator::ChipModel;
using korvane::emulator::FaultRule;
using korvane::emulator::ModuleConfig;
using korvane::emulator::VirtualModule;

namespace {

using ModuleCommands = ToolTest;

TEST_F(ModuleCommands, ListsEveryModuleWithNodeChipIdsSerialAndFlashPart)
{
    ModuleConfig first = korvane::emulator::Camera_Module("2620", 0);
    first.serial = "FIRST01";
    ModuleConfig second = korvane::emulator::Camera_Module("2650", 2);
    second.serial = "SECOND02";
    addModule(first);
    addModule(second);

    const ToolRun run = runTool({"list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.err, "");
    EXPECT_EQ(lineWith(run.out, "NODE"), "NODE         CHIP      MODEL          VID:PID    SERIAL           FLASH");
    EXPECT_EQ(lineWith(run.out, "FIRST01"),
              "/dev/video0  SPCA2620  QLV_8M_1       1bcf:2cd1  FIRST01          MX25L512");
    EXPECT_EQ(lineWith(run.out, "SECOND02"),
              "/dev/video2  SPCA2650  QLVR_56_2      1bcf:2cd1  SECOND02         GD25Q40C");
}

TEST_F(ModuleCommands, NoModuleGivesStatusThreeForEveryModuleCommand)
{
    const std::vector<std::vector<std::string>> commands = {
        {"list"}, {"info"}, {"isp-read", "0x2041"}, {"isp-write", "0x2041", "1"}, {"sensor-read", "0", "0x10"},
        {"sensor-write", "0", "0x10", "1"}, {"gpio-get", "1"}, {"gpio-set", "1", "1"},
        {"calib-save", work().file("block.bin")}};
    for (const auto& command : commands) {
        const ToolRun run = runTool(command);
        EXPECT_EQ(run.status, 3) << command[0];
        EXPECT_EQ(run.err, "korvane-maintenance: no module is attached\n") << command[0];
    }
    EXPECT_FALSE(std::filesystem::exists(work().file("block.bin")));
}

TEST_F(ModuleCommands, ANodeWithoutAModuleGivesStatusThree)
{
    addModule(0);
    const ToolRun run = runTool({"info", "--device", "4"});
    EXPECT_EQ(run.status, 3);
    EXPECT_EQ(run.err, "korvane-maintenance: no module on /dev/video4\n");
    EXPECT_EQ(run.out, "");
}

TEST_F(ModuleCommands, InfoReportsAValidCalibration)
{
    ModuleConfig config = korvane::emulator::Camera_Module("2620", 1);
    config.vendorId = 1234;
    config.bcdDevice = "256";
    config.serial = "A1";
    VirtualModule& module = addModule(config);
    const std::string file = work().file("factory.yml");
    writeCalibrationFile(file, 4242, 7);
    loadCalibrationBlock(module, readFile(file));

    const ToolRun run = runTool({"info", "--device=1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Identification: 256-256-1234-A1\n"
                       "Model:          QLV_8M_1 (SPCA2620)\n"
                       "Node:           /dev/video1\n"
                       "Serial:         A1\n"
                       "Flash part:     MX25L512\n"
                       "Calibration:    valid calibration file\n");
}

// Control characters in the module's USB strings reach no terminal raw.
TEST_F(ModuleCommands, DeviceStringsArePrintedWithTheirControlCharactersEscaped)
{
    ModuleConfig config = korvane::emulator::Camera_Module("2620", 0);
    // The virtual module's device description reads "\\n" as a line end.
    config.serial = "KV\x1b[2J\\nX";
    config.manufacturer = "Maker\x1b]0;title\x07\\nInc";
    config.product = "Cam\x1b[31m\\nred";
    addModule(config);
    int count = 0;
    ASSERT_EQ(Camera_Count(&count), 0);
    _Device_Point_* device = Camera_Device_Point_Init(0);
    ASSERT_NE(device, nullptr);
    info_camera_String strings{};
    Camera_Get_Info_String_Api(device, &strings);
    Camera_Device_Point_UnInit(&device);
    Camera_UnInit();
    ASSERT_STREQ(strings.iSerialNumber, "KV\x1b[2J\nX");
    ASSERT_STREQ(strings.iManufacturer, "Maker\x1b]0;title\x07\nInc");

    const std::string serial = "KV\\x1b[2J\\x0aX";
    const ToolRun list = runTool({"list"});
    EXPECT_EQ(list.status, 0) << list.err;
    EXPECT_EQ(list.out, "NODE         CHIP      MODEL          VID:PID    SERIAL           FLASH\n"
                        "/dev/video0  SPCA2620  QLV_8M_1       1bcf:2cd1  " + serial + "   MX25L512\n");
    const ToolRun info = runTool({"info"});
    EXPECT_EQ(lineWith(info.out, "Identification:"), "Identification: 100-100-7119-" + serial);
    EXPECT_EQ(lineWith(info.out, "Serial:"), "Serial:         " + serial);
    for (const ToolRun& run : {list, info})
        for (char c : run.out + run.err)
            EXPECT_TRUE(c == '\n' || (c >= 0x20 && c < 0x7F)) << "byte " << int(static_cast<unsigned char>(c));
}

TEST_F(ModuleCommands, InfoWarnsOfAFlashThatLostItsCalibration)
{
    addModule(0); // an erased flash
    const ToolRun run = runTool({"info"});
    EXPECT_EQ(run.status, 0) << run.err;
    const std::string line = lineWith(run.out, "Calibration:");
    EXPECT_EQ(line, "Calibration:    NOT a valid calibration file: the block is erased (every byte is 0xFF)");
    EXPECT_TRUE(contains(run.out, "\n                restore a backup (restore) or write a calibration file "
                                  "(calib-write)\n"))
        << run.out;
}

TEST_F(ModuleCommands, InfoWhoseFlashReadFailsEndsWithStatusOne)
{
    VirtualModule& module = addModule(0);
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kGetCur, EIO,
                         korvane::emulator::kAlways});
    const ToolRun run = runTool({"info"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(lineWith(run.out, "Calibration:"), "the flash read failed")) << run.out;
    EXPECT_EQ(run.err, "korvane-maintenance: reading the calibration block failed\n");
}

TEST_F(ModuleCommands, IspRegistersAreReadAndWritten)
{
    VirtualModule& module = addModule(0);
    module.Set_Isp(0x1234, 0xAB);
    ToolRun run = runTool({"isp-read", "0x1234"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "ISP 0x1234 = 0xAB (171)\n");

    run = runTool({"isp-write", "4661", "0x5c"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "ISP 0x1235 <- 0x5C\n");
    EXPECT_EQ(module.Isp(0x1235), 0x5C);
}

TEST_F(ModuleCommands, SensorRegistersAreReadAndWritten)
{
    VirtualModule& module = addModule(0);
    module.With_Chip([](ChipModel& chip) {
        chip.Set_Sensor(0x3000, 0x1F2E);
        return 0;
    });
    ToolRun run = runTool({"sensor-read", "0x20", "0x3000"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "sensor 0x3000 = 0x1F2E (7982)\n");

    run = runTool({"sensor-write", "0x20", "0x3002", "0xBEEF"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "sensor 0x3002 <- 0xBEEF\n");
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Sensor(0x3002); }), 0xBEEF);
}

TEST_F(ModuleCommands, AFailedRegisterTransferGivesStatusOne)
{
    VirtualModule& module = addModule(0);
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_ISP_VALUE, korvane::emulator::kSetCur, EIO,
                         korvane::emulator::kAlways});
    const ToolRun run = runTool({"isp-write", "0x1235", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.err, "korvane-maintenance: writing ISP register 0x1235 failed (status -")) << run.err;
}

TEST_F(ModuleCommands, AFailedTransferIsToldInTheControlChannelsWords)
{
    struct Case
    {
        std::vector<std::string> command;
        std::string what;
        Camera_Operation operation;
    };
    const Case cases[] = {
        {{"isp-write", "0x1235", "1"}, "writing ISP register 0x1235", Camera_Operation::Register},
        {{"gpio-set", "3", "1"}, "making an output of GPIO pin 3", Camera_Operation::Gpio},
    };
    VirtualModule& module = addModule(0);
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_ISP_VALUE, korvane::emulator::kSetCur, EIO,
                         korvane::emulator::kAlways});
    for (const Case& failing : cases) {
        const ToolRun run = runTool(failing.command);
        const std::string meaning = Camera_Status_Message(failing.operation, Camera_Status::Transfer_Failed);
        EXPECT_EQ(run.err, "korvane-maintenance: " + failing.what + " failed (status -1): " + meaning + "\n");
    }
}

TEST_F(ModuleCommands, BadNumbersAreUsageErrorsAndSendNothing)
{
    VirtualModule& module = addModule(0);
    const std::vector<std::vector<std::string>> commands = {
        {"isp-read", "0x10000"}, {"isp-write", "1", "256"}, {"isp-read", "12ab"}, {"sensor-read", "0x100", "1"},
        {"sensor-write", "0", "1", "0x10000"}, {"gpio-set", "1", "2"}, {"gpio-get", "1-"}, {"isp-read", ""}};
    for (const auto& command : commands) {
        const ToolRun run = runTool(command);
        EXPECT_EQ(run.status, 2) << command[0] << " " << command[1];
        EXPECT_TRUE(contains(run.err, "korvane-maintenance: bad ")) << run.err;
    }
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(ModuleCommands, GpioOutputIsEnabledAndDriven)
{
    VirtualModule& module = addModule(0);
    const ToolRun run = runTool({"gpio-set", "3", "1"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "GPIO 3 <- 1\n");
    EXPECT_EQ(module.Isp(0x2041) & 0x08, 0x08) << "output enabled";
    EXPECT_EQ(module.Isp(0x2043) & 0x08, 0x08) << "driven high";

    EXPECT_EQ(runTool({"gpio-set", "3", "0"}).status, 0);
    EXPECT_EQ(module.Isp(0x2043) & 0x08, 0);
}

TEST_F(ModuleCommands, GpioInputIsSetUpAndRead)
{
    VirtualModule& module = addModule(0);
    module.Set_Isp(0x2041, 0xFF);
    module.Set_Isp(0x20E8, 0xFF);
    module.Set_Isp(0x2045, 0xFF);
    const ToolRun run = runTool({"gpio-get", "2"});
    EXPECT_EQ(run.status, 0) << run.err;
    // The level read masks the pin's own output bit, so it reads 0 whatever the pin does.
    EXPECT_EQ(run.out, "GPIO 2 = 0\n");
    EXPECT_EQ(module.Isp(0x2041), 0xFB) << "output disabled";
    EXPECT_EQ(module.Isp(0x20E8), 0xF7) << "pull-down bit cleared";
}

TEST_F(ModuleCommands, PinsThatDoNotExistAreRefusedBeforeAnyTraffic)
{
    VirtualModule& module = addModule(0);
    for (const char* pin : {"12", "127", "130", "255"}) {
        const ToolRun run = runTool({"gpio-get", pin});
        EXPECT_EQ(run.status, 2) << pin;
        EXPECT_EQ(run.err, std::string("korvane-maintenance: there is no GPIO pin ") + pin +
                               " (pins are 0 to 11, 128, 129, and above 255)\n");
    }
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(runTool({"gpio-set", "129", "1"}).status, 0);
    EXPECT_EQ(module.Isp(0x2057) & 0x02, 0x02);
}

TEST_F(ModuleCommands, CalibSaveCopiesTheWholeBlock)
{
    VirtualModule& module = addModule(0);
    const std::vector<std::uint8_t> block = patternBytes(4096, 3);
    loadFlash(module, userPieceAddress(0), block);
    const std::string path = work().file("saved.bin");
    const ToolRun run = runTool({"calib-save", path});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(run.out, "Calibration block of /dev/video0 (4096 bytes) saved to " + path + "\n");
    EXPECT_EQ(readFile(path), std::string(block.begin(), block.end()));
}

TEST_F(ModuleCommands, CalibSaveWhoseReadFailsLeavesAnExistingFileAlone)
{
    VirtualModule& module = addModule(0);
    const std::string path = work().write("saved.bin", "keep me");
    module.Fail_Queries({korvane::emulator::kAny, XU_SEL_PIECE_DATA, korvane::emulator::kGetCur, EIO,
                         korvane::emulator::kAlways});
    const ToolRun run = runTool({"calib-save", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_TRUE(contains(run.err, "reading the calibration block failed (status -")) << run.err;
    EXPECT_EQ(readFile(path), "keep me");
}

TEST_F(ModuleCommands, CalibSaveToAPlaceWhereNoFileCanBeMade)
{
    addModule(0);
    const std::string path = work().file("missing/saved.bin");
    const ToolRun run = runTool({"calib-save", path});
    EXPECT_EQ(run.status, 4);
    EXPECT_EQ(run.err, "korvane-maintenance: cannot create " + path + ": No such file or directory\n");
}

TEST_F(ModuleCommands, EveryCommandHasHelp)
{
    for (const auto& command : korvane::maintenance::commandTable()) {
        const ToolRun run = runTool({command.name, "--help"});
        EXPECT_EQ(run.status, 0) << command.name;
        EXPECT_EQ(run.out.rfind(std::string("Usage: korvane-maintenance ") + command.name + " [--device N]", 0), 0u)
            << run.out;
        EXPECT_TRUE(contains(run.out, "Exit status: 0 success")) << command.name;
        EXPECT_EQ(run.err, "");
    }
    const ToolRun run = runTool({"--help"});
    EXPECT_EQ(run.status, 0);
    for (const auto& command : korvane::maintenance::commandTable())
        EXPECT_TRUE(contains(run.out, std::string("  ") + command.name + " ")) << command.name;
}

TEST_F(ModuleCommands, UsageErrorsGiveStatusTwo)
{
    addModule(0);
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{}, "korvane-maintenance: no command given\n"},
        {{"frobnicate"}, "korvane-maintenance: unknown command 'frobnicate'\n"},
        {{"info", "--bogus"}, "korvane-maintenance: info: unknown option --bogus\n"},
        {{"info", "--device"}, "korvane-maintenance: info: option --device needs a value\n"},
        {{"info", "--device", "zero"}, "korvane-maintenance: info: bad device number 'zero'\n"},
        {{"isp-read"}, "korvane-maintenance: isp-read takes 1 argument: isp-read ADDR\n"},
        {{"list", "extra"}, "korvane-maintenance: list takes 0 arguments: list\n"},
    };
    for (const auto& [command, message] : cases) {
        const ToolRun run = runTool(command);
        EXPECT_EQ(run.status, 2);
        EXPECT_EQ(run.err, message + "Try 'korvane-maintenance --help'.\n");
        EXPECT_EQ(run.out, "");
    }
}

} // namespace
