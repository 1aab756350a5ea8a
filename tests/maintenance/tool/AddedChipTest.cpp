// A chip the library has never heard of, described once below and added to
// the chip registry: detection finds it, the tool lists it, backs up its
// user data, updates it on the update path its description names and
// writes the user data back. The emulated chip is built from the same
// description.
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "ChipCatalog.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/Firmware_Form.h"
#include "Extension_Unit_Class/camera_api.h"
#include "Firmware_Image_Generator.h"
#include "ToolTestSupport.h"
#include "UserDataLayout.h"
#include "emulator/ChipProfile.h"

using namespace korvane::test;
using namespace std::chrono_literals;
using korvane::emulator::Boot_Mode;
using korvane::emulator::ChipProfile;
using korvane::emulator::VirtualModule;
using korvane::firmware::Firmware_Image_Kind;
using korvane::firmware::Make_Firmware_Image;

namespace {

using Bytes = std::vector<std::uint8_t>;

// The made-up chip: unit 4, 2048-byte pieces, a 128 KiB image area, user
// data in flash pieces 30 and 29, the 0x89 0x16 image, the boot-code path.
constexpr std::uint16_t kUnit = 4;
constexpr std::uint32_t kChipCode = 0x1F0;
constexpr Firmware_Image_Kind kImageKind = Firmware_Image_Kind::Header_2088;

const Extension_Unit_Chip_Table kTable = {
    kUnit,
    Make_Extension_Unit_Templates(kUnit),
    {Get_Len_Request(kUnit, XU_SEL_PIECE_CONTROL, 1), Set_Cur_Request(kUnit, XU_SEL_PIECE_CONTROL, 1),
     Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 0x800)},
    3,
    0x800,
    {30, 29, 0},
    1.64f,
    Flash_Id_Source::Id_Selector,
    // 1 + 1 + 1 + 32 + 2 x 63 + 2 + 1 = 164 steps.
    {{SPCA_2088, 0}, 0x0, 0x20000, 0x0, true,
     {{0x2034, 0x00}, {0x2030, 0xFF}, {0x2031, 0x00}, {0x2032, 0x00}, {0x2033, 0x02}, {0x2034, 0x01}}},
};

const Chip_Id_Rule kRules[] = {{0x5B, CHIP_ID_ANY, CHIP_ID_ANY, kChipCode}};
const Chip_Detection_Table kDetection = {0x00, false, kRules, 1};

const Chip_Description kChip = {
    "KVX_TEST_1", "KX0001", kChipCode, &kTable, &kDetection, 5, "KVX_TEST_1", &Make_Table_Protocol,
    Chip_Update_Path::Boot_Code, {nullptr, nullptr, nullptr, nullptr},
};

// The emulated chip, as the description has it: its unit, the id its test
// looks for, its piece length and the header its images carry.
ChipProfile Emulated(const Chip_Description& chip, const char* name)
{
    const Bytes image = Make_Firmware_Image(kImageKind, 0x1000);
    const std::uint16_t header = static_cast<std::uint16_t>(image[0] << 8 | image[1]);
    return {name,
            static_cast<std::uint8_t>(chip.table->unitId),
            static_cast<std::uint8_t>(chip.detection->rules[0].id),
            0x00,
            0x00,
            chip.table->pieceLength,
            "GD25Q40C",
            chip.table->firmware.headerAddress,
            {header, 0},
            true};
}

constexpr const char* kEmulatedName = "kx01";

void Add_Chip_Once()
{
    static const bool added = [] {
        Register_Chip_Description(kChip);
        korvane::emulator::Add_Chip_Profile(Emulated(kChip, kEmulatedName));
        return true;
    }();
    (void)added;
}

std::uint32_t Piece_Address(std::uint32_t piece) { return piece * 4096; }

class AddedChip : public ToolTest
{
protected:
    void SetUp() override
    {
        Add_Chip_Once();
        ToolTest::SetUp();
        Testbed().Set_Restart_Delay(20ms);
    }

    VirtualModule& addAddedChip(int videoNumber)
    {
        return addModule(korvane::emulator::Camera_Module(kEmulatedName, videoNumber));
    }
};

TEST_F(AddedChip, TheImageKindIsOneTheDescriptionTakes)
{
    EXPECT_EQ(FirmwareType(Make_Firmware_Image(kImageKind, 0x1000).data(), 0x1000), kTable.firmware.imageTypes[0]);
}

TEST_F(AddedChip, IsDetectedAfterEveryBuiltInTestAndGetsTheSharedProtocol)
{
    const std::vector<const Chip_Description*> order = Chip_Detection_Order();
    ASSERT_FALSE(order.empty());
    EXPECT_EQ(order.back(), &kChip);
    addAddedChip(0);

    ASSERT_EQ(Camera_Init(), 1);
    _Device_Point_* device = Camera_Device_Point_Init(0);
    ASSERT_NE(device, nullptr);
    EXPECT_STREQ(This_is(device->p_device), "KVX_TEST_1");
    Camera_Device_Point_UnInit(&device);
}

TEST_F(AddedChip, TheToolListsItAndKnowsItsImagesAndUserData)
{
    addAddedChip(0);
    const ToolRun run = runTool({"list"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(lineWith(run.out, "/dev/video0"),
              "/dev/video0  KX0001    KVX_TEST_1     1bcf:2cd1  KV1000000000     GD25Q40C");

    EXPECT_EQ(korvane::maintenance::chipsTakingImageType(SPCA_2088), "SPCA2281 or KX0001");
    const korvane::maintenance::ChipFacts* facts = korvane::maintenance::chipFactsFor("KVX_TEST_1");
    ASSERT_NE(facts, nullptr);
    const Download_Progress_Plan& plan = facts->plan;
    EXPECT_EQ(plan.preparingSteps + plan.sectors + 2 * plan.pieces + 1, 164);
    EXPECT_FLOAT_EQ(164 / plan.stepsPerPercent, 100.0f);

    korvane::maintenance::UserDataLayout layout;
    ASSERT_TRUE(korvane::maintenance::UserDataLayout::forModel("KVX_TEST_1", layout));
    EXPECT_EQ(layout.flashPieces(), (std::vector<std::uint32_t>{30, 29}));
    EXPECT_TRUE(layout.downloadCoversUserData());
}

TEST_F(AddedChip, AnUpdateTakesTheBootCodePathAndKeepsTheUserData)
{
    VirtualModule& module = addAddedChip(0);
    const Bytes first = patternBytes(4096, 11);
    const Bytes second = patternBytes(4096, 12);
    loadFlash(module, Piece_Address(30), first);
    loadFlash(module, Piece_Address(29), second);
    const Bytes image = Make_Firmware_Image(kImageKind, 0x9000, 3);
    const std::string path = work().write("fw.bin", std::string(image.begin(), image.end()));

    const ToolRun run = runTool({"firmware", path, "--wait", "10"});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    ASSERT_EQ(backupFiles().size(), 1u);
    EXPECT_TRUE(contains(run.out, "to /dev/video0 (KX0001)\n")) << run.out;
    EXPECT_TRUE(contains(run.out, "] 100.0% restarting\n")) << run.out;
    EXPECT_TRUE(contains(run.out, "User data restored and verified from " + backupFiles()[0] + "\n")) << run.out;

    Bytes expected = image;
    expected.resize(29 * 4096, 0);
    EXPECT_EQ(flashBytes(module, 0, 29 * 4096), expected);
    EXPECT_EQ(flashBytes(module, Piece_Address(30), 4096), first);
    EXPECT_EQ(flashBytes(module, Piece_Address(29), 4096), second);
    // The boot-code switch restarted it into its boot code, the download into the new firmware.
    ASSERT_GE(module.Boots().size(), 2u);
    EXPECT_EQ(module.Boots().front(), Boot_Mode::Rom_Boot_Code);
    EXPECT_EQ(module.Boots().back(), Boot_Mode::Firmware);
}

} // namespace
