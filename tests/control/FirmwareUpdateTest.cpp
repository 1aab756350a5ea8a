#include "FirmwareTestSupport.h"
#include "Firmware_Image_Generator.h"
#include "ModuleProtocol.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/camera_api.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

using namespace korvane::emulator;
using namespace firmware_test;
using korvane::firmware::Firmware_Image_Kind;
using korvane::firmware::Make_Firmware_Image;
using namespace std::chrono_literals;

namespace {

using Bytes = std::vector<std::uint8_t>;

Bytes Padded(const Bytes& image, std::uint32_t length)
{
    Bytes padded(length, 0);
    std::copy(image.begin(), image.end(), padded.begin());
    return padded;
}

bool Has_Isp_Write(const std::vector<QueryRecord>& queries, std::uint32_t address)
{
    for (const Event& event : Flash_Events(queries))
        if (event.kind == 'I' && event.value == address)
            return true;
    return false;
}

// Where the first event equal to `event` stands among the flash events, or their count.
std::size_t Position_Of(const std::vector<Event>& events, const Event& event)
{
    return static_cast<std::size_t>(std::find(events.begin(), events.end(), event) - events.begin());
}

// The node that received the first sector erase, empty when none did.
std::string Node_Of_First_Erase(const std::vector<QueryRecord>& queries)
{
    for (const QueryRecord& query : queries)
        if (query.request.selector == 0x0D && query.request.query == kSetCur && query.error == 0)
            return query.node;
    return "";
}

// A module with the large image area (768 KiB) on a 1 MiB flash, on /dev/video0.
ModuleConfig Large_Area_Module(const std::string& chip, const Bytes& firmware)
{
    ModuleConfig config = Camera_Module(chip, 0);
    config.flashPart = "GD25Q80C";
    config.firmware = firmware;
    return config;
}

constexpr std::uint32_t kLargeArea = 0xC0000;

class FirmwareUpdateTest : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        Pin_To_One_Cpu();
        VirtualModuleTest::SetUp();
        Testbed().Set_Restart_Delay(200ms);
    }

    void TearDown() override
    {
        Camera_Device_Point_UnInit(&m_device);
        Camera_UnInit();
        VirtualModuleTest::TearDown();
    }

    // The access record of the camera at that index of a fresh list.
    _Device_Point_* Device(int index)
    {
        Camera_Device_Point_UnInit(&m_device);
        EXPECT_GT(Camera_Init(), index);
        m_device = Camera_Device_Point_Init(index);
        EXPECT_NE(m_device, nullptr);
        return m_device;
    }

    int Update(const Bytes& image, float* progress, std::string* errors = nullptr)
    {
        int result = 0;
        const std::string text = korvane::test::stderrOf([&] {
            result = Camera_Updata(m_device, image.data(), static_cast<unsigned>(image.size()), progress);
        });
        if (errors)
            *errors = text;
        return result;
    }

    // Runs an update of a module that leaves and never comes back: -6, and how long it took
    // (at least the rounds' pauses; no upper bound, which a busy machine could break).
    std::chrono::steady_clock::duration Vanishing_Update(const Bytes& image)
    {
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(Update(image, nullptr), -6);
        return std::chrono::steady_clock::now() - start;
    }

    _Device_Point_* m_device = nullptr;
};

TEST_F(FirmwareUpdateTest, The2620IsUpdatedThroughItsBootCode)
{
    VirtualModule& module = Add_Camera("2620", 0);
    const Bytes old = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x6000, 3);
    Load_Flash(module, 0, old);
    Device(0);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 4);
    float progress = 0.0f;
    std::string errors;

    ASSERT_EQ(Update(image, &progress, &errors), 0);

    EXPECT_EQ(progress, 100.0f);
    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(147, 1.47f));
    EXPECT_EQ(Flash_Bytes(module, 0, 0x10000), Padded(image, 0x10000));
    // Restarted into the boot code by the switch, then into the new firmware.
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 3, 5s));
    EXPECT_EQ(module.Boots(), (std::vector<Boot_Mode>{Boot_Mode::Rom_Boot_Code, Boot_Mode::Firmware}));
}

// The power fails half-way through the download that follows the boot-code
// switch: the module comes back in its boot code, never with a partial
// image, and the next update succeeds.
TEST_F(FirmwareUpdateTest, PowerLossDuringTheUpdateLeavesTheBootCode)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Load_Flash(module, 0, Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x6000, 3));
    Device(0);
    module.Clear_Queries();
    module.Lose_Power_After(300);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x9000, 4);

    EXPECT_EQ(Update(image, nullptr), -3);

    const std::vector<QueryRecord> queries = module.Queries();
    const bool erased = std::any_of(queries.begin(), queries.end(), [](const QueryRecord& query) {
        return query.request.selector == 0x0D && query.request.query == kSetCur && query.error == 0;
    });
    EXPECT_TRUE(erased) << "the power failed in the download";
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 3, 5s));
    EXPECT_EQ(module.Boots(), (std::vector<Boot_Mode>{Boot_Mode::Rom_Boot_Code, Boot_Mode::Rom_Boot_Code}));

    Device(0);
    ASSERT_EQ(Update(image, nullptr), 0);
    EXPECT_EQ(Flash_Bytes(module, 0, 0x10000), Padded(image, 0x10000));
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 5, 5s));
    EXPECT_EQ(module.Boots().back(), Boot_Mode::Firmware);
}

TEST_F(FirmwareUpdateTest, CameraThatComesBackAtAnotherNodeIsFoundByItsIdentity)
{
    VirtualModule& other = Add_Camera("2620", 0);
    VirtualModule& module = Add_Camera("2620", 1);
    const Bytes untouched = Flash_Bytes(other, 0, 0x10000);
    Testbed().Move_On_Reappearance(module, 7);
    Device(1);
    other.Clear_Queries();
    module.Clear_Queries();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x4000, 8);

    ASSERT_EQ(Update(image, nullptr), 0);

    EXPECT_EQ(Flash_Bytes(module, 0, 0x10000), Padded(image, 0x10000));
    EXPECT_EQ(Flash_Bytes(other, 0, 0x10000), untouched);
    EXPECT_FALSE(Has_Isp_Write(other.Queries(), 0x2034)) << "the other camera is not restarted";
    const std::vector<QueryRecord> queries = module.Queries();
    const auto written = std::find_if(queries.begin(), queries.end(), [](const QueryRecord& query) {
        return query.request.selector == 0x0D && query.request.query == kSetCur;
    });
    ASSERT_NE(written, queries.end());
    EXPECT_EQ(written->node, "/dev/video7");
}

TEST_F(FirmwareUpdateTest, TheCallersRecordLeadsToTheCameraFoundAgain)
{
    Add_Camera("2620", 0);
    VirtualModule& module = Add_Camera("2620", 1);
    Testbed().Move_On_Reappearance(module, 7);
    Device(1);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x4000, 9);

    ASSERT_EQ(Update(image, nullptr), 0);

    // The list was rebuilt while the camera was away; the record now names it on its new node.
    info_camera_os information{};
    ASSERT_EQ(Camera_Get_information_Api(m_device, &information), 0);
    EXPECT_STREQ(information.device, "/dev/video7");
    info_camera_String strings{};
    ASSERT_EQ(Camera_Get_Info_String_Api(m_device, &strings), 0);
    EXPECT_EQ(std::string(strings.iSerialNumber), "KV1000000001");
    _Device_Point_* fresh = Camera_Device_Point_Init(static_cast<int>(m_device->u_index));
    ASSERT_NE(fresh, nullptr);
    EXPECT_EQ(fresh->p_device, m_device->p_device) << "the protocol of the present list";
    Camera_Device_Point_UnInit(&fresh);
}

TEST_F(FirmwareUpdateTest, CameraThatNeverComesBackGivesMinusSix)
{
    VirtualModule& module = Add_Camera("2620", 0);
    const Bytes old = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x6000, 3);
    Load_Flash(module, 0, old);
    Testbed().Set_Restart_Delay(std::nullopt);
    Device(0);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x4000, 4);

    // 1 s after the switch, then 20 rounds a second apart.
    const auto waited = Vanishing_Update(image);
    EXPECT_GE(waited, 20s);
    EXPECT_EQ(Camera_Init(), 0);
    // Only the header was cleared: the old image is still there behind it.
    EXPECT_EQ(Flash_Bytes(module, 0, 2), (Bytes{0x00, 0x00}));
    EXPECT_EQ(Flash_Bytes(module, 2, old.size() - 2), Bytes(old.begin() + 2, old.end()));
}

TEST_F(FirmwareUpdateTest, StateRegisterFourOrFiveRefusesTheDownload)
{
    VirtualModule& module = Add_Camera("2650", 0);
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Large, 0x34001);
    for (std::uint8_t state : {4, 5}) {
        module.Set_Isp(0x2310, state);
        Device(0);
        module.Clear_Queries();
        EXPECT_EQ(Update(image, nullptr), -8) << "state " << int(state);
        EXPECT_FALSE(Has_Isp_Write(module.Queries(), 0x20D8));
        EXPECT_TRUE(Testbed().Is_Plugged(module));
    }
}

// On the register path the camera changes mode, leaves and is found again;
// its download then refuses an image of another chip.
TEST_F(FirmwareUpdateTest, ModeChangeAndFindAgainOnTheRegisterPath)
{
    VirtualModule& module = Add_Camera("2650", 0);
    module.Set_Isp(0x2310, 3);
    Testbed().Move_On_Reappearance(module, 2);
    Device(0);
    module.Clear_Queries();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x1000);

    EXPECT_EQ(Update(image, nullptr), -2);

    EXPECT_TRUE(Has_Isp_Write(module.Queries(), 0x20D8));
    EXPECT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 2, 1s));
    EXPECT_EQ(Camera_Init(), 1);
    info_camera_os info{};
    _Device_Point_* found = Camera_Device_Point_Init(0);
    Camera_Get_information_Api(found, &info);
    Camera_Device_Point_UnInit(&found);
    EXPECT_STREQ(info.device, "/dev/video2");
}

TEST_F(FirmwareUpdateTest, UnsupportedImagesAreRefusedBeforeAnythingIsSent)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Device(0);
    module.Clear_Queries();
    for (Firmware_Image_Kind kind : {Firmware_Image_Kind::Kun, Firmware_Image_Kind::Kun_Without_Tail,
                                     Firmware_Image_Kind::Unmarked, Firmware_Image_Kind::Large_Other_Word}) {
        EXPECT_EQ(Update(Make_Firmware_Image(kind, 0x34001), nullptr), -5);
    }
    Bytes medium = Make_Firmware_Image(Firmware_Image_Kind::Large_Variant_1, 0x31800);
    EXPECT_EQ(Update(medium, nullptr), -5);
    EXPECT_EQ(Camera_Updata(m_device, nullptr, 100, nullptr), -5);
    EXPECT_TRUE(module.Queries().empty());
}

// The 0x31801-byte CY image passes the acceptance; the direct path of the
// SPCA2281 then hands it to its download, which takes only its own form.
TEST_F(FirmwareUpdateTest, MediumImageIsAcceptedAndReachesTheDownload)
{
    VirtualModule& module = Add_Camera("2281", 0);
    Device(0);
    module.Clear_Queries();
    EXPECT_EQ(Update(Make_Firmware_Image(Firmware_Image_Kind::Large_Variant_1, 0x31801), nullptr), -2);
    EXPECT_TRUE(module.Queries().empty());
}

TEST_F(FirmwareUpdateTest, RecordWithoutFlashGivesMinusFour)
{
    VirtualModule& module = Add_Camera("2620", 0);
    Device(0)->FlashType = 0;
    module.Clear_Queries();
    EXPECT_EQ(Update(Make_Firmware_Image(Firmware_Image_Kind::Header_2620, 0x1000), nullptr), -4);
    EXPECT_EQ(Update(Make_Firmware_Image(Firmware_Image_Kind::Kun, 0x10000), nullptr), -4);
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(Camera_Updata(nullptr, nullptr, 0, nullptr), -1);
}

// The "QLVR_1080p_3D" model (the SPCA2282): the mode change, then the
// boot-code switch on the same node a second later, then the module is
// found again by its identity, here at another node, and downloaded.
TEST_F(FirmwareUpdateTest, The1080p3DModelChangesModeThenTakesTheBootCodePath)
{
    const Bytes old = Make_Firmware_Image(Firmware_Image_Kind::Large_9527, 0x34001, 5);
    VirtualModule& module = Testbed().Add_Module(Large_Area_Module("2282", old));
    Testbed().Move_On_Reappearance(module, 4);
    Device(0);
    ASSERT_STREQ(This_is(m_device->p_device), "QLVR_1080p_3D");
    module.Clear_Queries();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Large_9527, 0x34001, 6);
    float progress = 0.0f;
    std::string errors;

    ASSERT_EQ(Update(image, &progress, &errors), 0);

    EXPECT_EQ(progress, 100.0f);
    EXPECT_EQ(Schedule_Lines(errors), Expected_Schedule(580, 5.8f));
    EXPECT_EQ(Flash_Bytes(module, 0, kLargeArea), Padded(image, kLargeArea));
    const std::vector<QueryRecord> queries = module.Queries();
    const std::vector<Event> events = Flash_Events(queries);
    const std::size_t modeChange = Position_Of(events, {'I', 0x20D8, 0x5A, {}});
    const std::size_t romSwitch = Position_Of(events, {'P', 64, 0, {}});
    const std::size_t restart = Position_Of(events, {'I', 0x2034, 0x01, {}});
    const std::size_t erase = Position_Of(events, {'E', kLargeArea - 0x1000, 0, {}});
    EXPECT_EQ(modeChange, 0u) << "the mode change comes first";
    EXPECT_LT(modeChange, romSwitch);
    EXPECT_LT(romSwitch, restart);
    EXPECT_LT(restart, erase);
    ASSERT_LT(erase, events.size());
    EXPECT_EQ(queries.front().node, "/dev/video0");
    EXPECT_EQ(Node_Of_First_Erase(queries), "/dev/video4");
    // The mode change keeps the module on the bus; the switch's restart
    // starts the boot code, the download's the new firmware.
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 3, 5s));
    EXPECT_EQ(module.Boots(), (std::vector<Boot_Mode>{Boot_Mode::Rom_Boot_Code, Boot_Mode::Firmware}));
}

// On the register path ("QLVR_56_x") a module that reappears at another
// node after its mode change is found by its identity and downloaded there.
TEST_F(FirmwareUpdateTest, RegisterPathFindsTheModuleAtAnotherNode)
{
    VirtualModule& module = Testbed().Add_Module(Large_Area_Module("2650", {}));
    module.Set_Isp(0x2310, 3);
    Testbed().Move_On_Reappearance(module, 3);
    Device(0);
    ASSERT_STREQ(This_is(m_device->p_device), "QLVR_56_2");
    module.Clear_Queries();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Large, 0x34001, 7);

    ASSERT_EQ(Update(image, nullptr), 0);

    EXPECT_EQ(Flash_Bytes(module, 0, kLargeArea), Padded(image, kLargeArea));
    const std::vector<QueryRecord> queries = module.Queries();
    EXPECT_EQ(queries.front().node, "/dev/video0");
    EXPECT_EQ(Node_Of_First_Erase(queries), "/dev/video3");
    ASSERT_TRUE(Testbed().Wait_Until_Plugged_Times(module, 3, 5s));
    EXPECT_EQ(module.Boots().back(), Boot_Mode::Firmware);
}

// The register path allows 30 rounds (the boot-code path 20): a module
// that never comes back after its mode change gives -6 after them, and
// its flash is untouched.
TEST_F(FirmwareUpdateTest, RegisterPathModuleThatNeverComesBackGivesMinusSix)
{
    const Bytes old = Make_Firmware_Image(Firmware_Image_Kind::Large, 0x34001, 2);
    VirtualModule& module = Testbed().Add_Module(Large_Area_Module("2650", old));
    Testbed().Set_Restart_Delay(std::nullopt);
    Device(0);
    const Bytes before = Flash_Bytes(module, 0, kLargeArea);
    module.Clear_Queries();
    const Bytes image = Make_Firmware_Image(Firmware_Image_Kind::Large, 0x34001, 4);

    // 1 s after the mode change, then 30 rounds a second apart.
    const auto waited = Vanishing_Update(image);
    EXPECT_GE(waited, 30s);
    EXPECT_TRUE(Has_Isp_Write(module.Queries(), 0x20D8));
    EXPECT_EQ(Node_Of_First_Erase(module.Queries()), "");
    EXPECT_FALSE(Testbed().Is_Plugged(module));
    EXPECT_EQ(Camera_Init(), 0);
    EXPECT_EQ(Flash_Bytes(module, 0, kLargeArea), before);
    EXPECT_EQ(Flash_Bytes(module, 0, 0x200), Bytes(old.begin(), old.begin() + 0x200));
}

} // namespace
