#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/camera_api.h"
#include "LogCapture.h"
#include "ModuleProtocol.h"
#include "emulator/VirtualModuleTest.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

using namespace korvane::emulator;

namespace {

struct Record_Free
{
    void operator()(_Device_Point_* device) const { Camera_Device_Point_UnInit(&device); }
};
using Record = std::unique_ptr<_Device_Point_, Record_Free>;

// Descriptors of this process open on video nodes.
std::size_t Open_Video_Nodes()
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        count += target.find("/dev/video") != std::string::npos;
    }
    return count;
}

// Every test starts and ends without a camera list or log stream.
class CameraApi : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        VirtualModuleTest::SetUp();
        Camera_UnInit();
        SetLog(nullptr);
    }
    void TearDown() override
    {
        Camera_UnInit();
        SetLog(nullptr);
        VirtualModuleTest::TearDown();
    }

    // Counts the cameras and makes a record for each, keyed by video node.
    std::map<std::string, Record> Records(int expectedCount)
    {
        int count = -1;
        EXPECT_EQ(Camera_Count(&count), 0);
        EXPECT_EQ(count, expectedCount);
        std::map<std::string, Record> records;
        for (int i = 0; i < count; ++i) {
            Record record(Camera_Device_Point_Init(i));
            info_camera_os info{};
            EXPECT_EQ(Camera_Get_information_Api(record.get(), &info), 0);
            records[info.device] = std::move(record);
        }
        return records;
    }
};

TEST_F(CameraApi, CountWithNoCameraStoresZero)
{
    int count = 99;
    EXPECT_EQ(Camera_Count(&count), 0);
    EXPECT_EQ(count, 0);
    EXPECT_EQ(Camera_Device_Point_Init(0), nullptr);
}

TEST_F(CameraApi, WithoutAListNothingIsFound)
{
    info_camera_String strings{};
    EXPECT_EQ(Camera_Get_Camera_String(0, &strings), -1);
    EXPECT_EQ(Camera_Device_Point_Init(0), nullptr);
    EXPECT_EQ(Camera_Reset(), -1);
    EXPECT_EQ(Camera_UnInit(), 0);
    EXPECT_EQ(Camera_UNInit(), 0);
}

TEST_F(CameraApi, CountingNeedsSomewhereToStoreTheCount) { EXPECT_EQ(Camera_Count(nullptr), -1); }

TEST_F(CameraApi, InitAndPollCountLikeCount)
{
    Add_Camera("2620", 0);
    Testbed().Add_Module(Plain_Webcam(1));
    Add_Camera("2085", 2);
    EXPECT_EQ(Camera_Init(), 2);
    EXPECT_EQ(Camera_Poll_Camera_Count(), 2);
    int count = 0;
    EXPECT_EQ(Camera_Count(&count), 0);
    EXPECT_EQ(count, 2);
    EXPECT_EQ(Camera_Device_Point_Init(2), nullptr);
    EXPECT_EQ(Camera_Device_Point_Init(-1), nullptr);
}

TEST_F(CameraApi, FullClientSequenceOnTwoModules)
{
    VirtualModule& first = Add_Camera("2620", 0);
    ModuleConfig secondConfig = Camera_Module("2650", 1);
    secondConfig.vendorId = 0x0c45;
    secondConfig.productId = 0x6366;
    secondConfig.bcdDevice = "0203";
    secondConfig.manufacturer = "Korvane Optics";
    secondConfig.product = "Fisheye Pair";
    secondConfig.serial = "SN-2650-A";
    secondConfig.busnum = 2;
    secondConfig.devnum = 9;
    VirtualModule& second = Testbed().Add_Module(secondConfig);

    LogCapture log;
    std::map<std::string, Record> records = Records(2);
    ASSERT_EQ(records.size(), 2u);
    _Device_Point_* a = records.at("/dev/video0").get();
    _Device_Point_* b = records.at("/dev/video1").get();

    info_camera_os info;
    std::memset(&info, 0x41, sizeof info);
    info.deviceID[259] = '\0';
    ASSERT_EQ(Camera_Get_information_Api(b, &info), 0);
    EXPECT_EQ(info.vid, 0x0c45);
    EXPECT_EQ(info.pid, 0x6366);
    EXPECT_EQ(info.bcdDevice, 203) << "bcdDevice is read in base 10";
    EXPECT_STREQ(info.device, "/dev/video1");
    EXPECT_EQ(info.icType, 0);
    EXPECT_EQ(info.busnum, 2u);
    EXPECT_EQ(info.devnum, 9u);
    EXPECT_STREQ(info.location, "usb-0000:00:14.0-9");
    EXPECT_EQ(std::string(info.deviceID), std::string(259, 'A')) << "left as the caller had it";

    info_camera_String strings;
    std::memset(&strings, 0x42, sizeof strings);
    ASSERT_EQ(Camera_Get_Info_String_Api(b, &strings), 0);
    EXPECT_STREQ(strings.iManufacturer, "Korvane Optics");
    EXPECT_STREQ(strings.iProduct, "Fisheye Pair");
    EXPECT_STREQ(strings.iSerialNumber, "SN-2650-A");
    ASSERT_EQ(Camera_Get_Info_String_Api(a, &strings), 0);
    EXPECT_STREQ(strings.iManufacturer, first.Config().manufacturer.c_str());
    EXPECT_STREQ(strings.iSerialNumber, first.Config().serial.c_str());

    // Each record reaches its own module.
    EXPECT_EQ(a->Set_ISP_Reg(a, 0x2043, 0x1A5), 0);
    EXPECT_EQ(b->Set_ISP_Reg(b, 0x2043, 0x3C), 0);
    EXPECT_EQ(first.Isp(0x2043), 0xA5) << "the low 8 bits of the value";
    EXPECT_EQ(second.Isp(0x2043), 0x3C);
    std::uint8_t value = 0;
    EXPECT_EQ(a->Get_ISP_Reg(a, 0x2043, &value), 0);
    EXPECT_EQ(value, 0xA5);
    EXPECT_EQ(b->Output_Gpio_init(b, 9), 0);
    EXPECT_EQ(second.Isp(0x2042), 0x02);
    EXPECT_EQ(first.Isp(0x2042), 0x00);

    std::vector<std::uint8_t> pieceA = Pattern_Piece(21);
    std::vector<std::uint8_t> pieceB = Pattern_Piece(22);
    EXPECT_EQ(a->Falsh_W(a, 0, pieceA.data()), 0);
    EXPECT_EQ(b->Falsh_W(b, 0, pieceB.data()), 0);
    EXPECT_EQ(Flash_Bytes(first, 15 * 4096, 4096), pieceA);
    EXPECT_EQ(Flash_Bytes(second, 46 * 4096, 4096), pieceB);
    std::vector<std::uint8_t> back(4096);
    EXPECT_EQ(b->Falsh_R(b, 0, back.data()), 0);
    EXPECT_EQ(back, pieceB);

    std::uint8_t exid[16] = {};
    EXPECT_EQ(b->pExid_R(b, exid), 0);
    EXPECT_EQ(std::vector<std::uint8_t>(exid, exid + 16), Identification_Block(second.Config()));

    Record_Free{}(records.at("/dev/video0").release());
    _Device_Point_* raw = records.at("/dev/video1").release();
    Camera_Device_Point_UnInit(&raw);
    EXPECT_EQ(raw, nullptr);
    Camera_Device_Point_UnInit(&raw); // nothing for a null record
    EXPECT_EQ(Camera_UnInit(), 0);
    EXPECT_NE(log.text().find("Protocol mate QLVR_56_2"), std::string::npos);
    EXPECT_NE(log.text().find("Get_Flash_Type= SF_MX"), std::string::npos);
}

TEST_F(CameraApi, FreshRecordIsFilledAsDocumented)
{
    Add_Camera("2620", 0);
    Add_Camera("2281", 1);
    std::map<std::string, Record> records = Records(2);
    for (auto& [node, record] : records) {
        SCOPED_TRACE(node);
        _Device_Point_* d = record.get();
        EXPECT_EQ(d->FlashType, 0xFF);
        EXPECT_EQ(d->ISP_ID, 0);
        EXPECT_NE(d->p_device, nullptr);
        EXPECT_EQ(d->pInfo, nullptr);
        EXPECT_EQ(d->RES_1, nullptr);
        EXPECT_EQ(d->RES_2, nullptr);
        EXPECT_EQ(d->respoint, nullptr);
        EXPECT_EQ(d->Falsh_R, &Camera_Flash_R_Api);
        EXPECT_EQ(d->Falsh_W, &Camera_Flash_W_Api);
        EXPECT_EQ(d->Set_ISP_Reg, &Camera_Set_ISP_Reg_Api);
        EXPECT_EQ(d->Get_ISP_Reg, &Camera_Get_ISP_Reg_Api);
        EXPECT_EQ(d->Set_Sensor_Reg, &Camera_Set_Sensor_Reg_Api);
        EXPECT_EQ(d->Get_Sensor_Reg, &Camera_Get_Sensor_Reg_Api);
        EXPECT_EQ(d->Input_Gpio_Get, &Camera_Get_Input_GPIO_Api);
        EXPECT_EQ(d->Output_Gpio_set, &Camera_Set_Output_GPIO_Api);
        EXPECT_EQ(d->Input_Gpio_init, &Camera_Input_GPIO_Init_Api);
        EXPECT_EQ(d->Output_Gpio_init, &Camera_Output_GPIO_Init_Api);
        EXPECT_EQ(d->pInfoStr, &Camera_Get_Info_String_Api);
        EXPECT_EQ(d->pExid_R, &Camera_Get_ExID_Api);
        EXPECT_EQ(d->pExid_W, &Camera_Set_ExID_Api);
    }
    Record second(Camera_Device_Point_Init(1));
    EXPECT_EQ(second->u_index, 1u);
    EXPECT_EQ(sizeof(info_camera_os), 808u);
}

TEST_F(CameraApi, StringOfAnIndexOutOfRangeIsEmpty)
{
    Add_Camera("2620", 0);
    Add_Camera("2085", 1);
    Records(2);
    info_camera_String strings;
    std::memset(&strings, 0x43, sizeof strings);
    EXPECT_EQ(Camera_Get_Camera_String(5, &strings), 0);
    EXPECT_STREQ(strings.iManufacturer, "");
    EXPECT_STREQ(strings.iProduct, "");
    EXPECT_STREQ(strings.iSerialNumber, "");
    EXPECT_EQ(Camera_Get_Camera_String(1, &strings), 0);
    EXPECT_STRNE(strings.iSerialNumber, "");
}

TEST_F(CameraApi, SensorSlaveIdIsIgnored)
{
    VirtualModule& module = Add_Camera("2620", 0);
    std::map<std::string, Record> records = Records(1);
    _Device_Point_* d = records.at("/dev/video0").get();
    std::vector<std::vector<std::uint8_t>> traffic;
    for (std::uint8_t slaveId : {0x00, 0x36, 0xFF}) {
        module.Clear_Queries();
        EXPECT_EQ(Camera_Set_Sensor_Reg_Api(d, slaveId, 0x3012, 0x1BEEF), 0);
        std::uint16_t word = 0;
        EXPECT_EQ(Camera_Get_Sensor_Reg_Api(d, slaveId, 0x3012, &word), 0);
        EXPECT_EQ(word, 0xBEEF);
        std::vector<std::uint8_t> sent;
        for (const QueryRecord& query : module.Queries())
            sent.insert(sent.end(), query.data.begin(), query.data.end());
        traffic.push_back(sent);
    }
    EXPECT_EQ(traffic[0], traffic[1]);
    EXPECT_EQ(traffic[0], traffic[2]);
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Sensor(0x3012); }), 0xBEEF);
}

TEST_F(CameraApi, NullRecordOrProtocolGivesMinusOne)
{
    std::uint8_t byte = 0;
    std::uint16_t word = 0;
    std::vector<std::uint8_t> piece(4096);
    _Device_Point_ empty{};
    for (_Device_Point_* d : {static_cast<_Device_Point_*>(nullptr), &empty}) {
        EXPECT_EQ(Camera_Set_ISP_Reg_Api(d, 0x2043, 1), -1);
        EXPECT_EQ(Camera_Get_ISP_Reg_Api(d, 0x2043, &byte), -1);
        EXPECT_EQ(Camera_Set_Sensor_Reg_Api(d, 0, 1, 1), -1);
        EXPECT_EQ(Camera_Get_Sensor_Reg_Api(d, 0, 1, &word), -1);
        EXPECT_EQ(Camera_Output_GPIO_Init_Api(d, 1), -1);
        EXPECT_EQ(Camera_Input_GPIO_Init_Api(d, 1), -1);
        EXPECT_EQ(Camera_Set_Output_GPIO_Api(d, 1, 1), -1);
        EXPECT_EQ(Camera_Get_Input_GPIO_Api(d, 1, &byte), -1);
        EXPECT_EQ(Camera_Flash_R_Api(d, 0, piece.data()), -1);
        EXPECT_EQ(Camera_Flash_W_Api(d, 0, piece.data()), -1);
        EXPECT_EQ(Camera_Get_ExID_Api(d, piece.data()), -1);
        EXPECT_EQ(Camera_Set_ExID_Api(d, piece.data()), -1);
    }
    info_camera_os info{};
    info_camera_String strings{};
    EXPECT_EQ(Camera_Get_information_Api(nullptr, &info), -1);
    EXPECT_EQ(Camera_Get_Info_String_Api(nullptr, &strings), -1);
}

TEST_F(CameraApi, PieceNumberIsTakenModulo65536)
{
    VirtualModule& module = Add_Camera("2620", 0);
    std::map<std::string, Record> records = Records(1);
    _Device_Point_* d = records.at("/dev/video0").get();
    std::vector<std::uint8_t> piece = Pattern_Piece(30);
    module.Clear_Queries();
    EXPECT_EQ(Camera_Flash_W_Api(d, -1, piece.data()), -7);
    EXPECT_EQ(Camera_Flash_R_Api(d, 3, piece.data()), -7);
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(Camera_Flash_W_Api(d, 0x10001, piece.data()), 0) << "0x10001 is piece 1";
    EXPECT_EQ(Flash_Bytes(module, 14 * 4096, 4096), piece);
}

TEST_F(CameraApi, ReplacedOrDeletedListClosesItsCameras)
{
    Add_Camera("2620", 0);
    Add_Camera("2650", 1);
    EXPECT_EQ(Open_Video_Nodes(), 0u);
    EXPECT_EQ(Camera_Init(), 2);
    EXPECT_EQ(Open_Video_Nodes(), 2u) << "each camera's node stays open for its protocol";
    EXPECT_EQ(Camera_Init(), 2);
    EXPECT_EQ(Open_Video_Nodes(), 2u);
    EXPECT_EQ(Camera_UnInit(), 0);
    EXPECT_EQ(Open_Video_Nodes(), 0u);
}

TEST_F(CameraApi, ResetResetsEveryCameraAndDropsTheList)
{
    Add_Camera("2620", 0);
    Add_Camera("2085", 1);
    EXPECT_EQ(Camera_Init(), 2);
    EXPECT_EQ(Camera_Reset(), 2);
    info_camera_String strings{};
    EXPECT_EQ(Camera_Get_Camera_String(0, &strings), -1) << "the list is gone";
    EXPECT_EQ(Camera_Device_Point_Init(0), nullptr);
}

TEST_F(CameraApi, VanishedCameraFailsCleanlyAndIsFoundAgain)
{
    VirtualModule& module = Add_Camera("2620", 0);
    std::map<std::string, Record> records = Records(1);
    _Device_Point_* d = records.at("/dev/video0").get();
    std::vector<std::uint8_t> stored = Pattern_Piece(40);
    ASSERT_EQ(Camera_Flash_W_Api(d, 1, stored.data()), 0);
    Testbed().Unplug(module);
    std::vector<std::uint8_t> piece = Pattern_Piece(41);
    EXPECT_EQ(Camera_Flash_W_Api(d, 1, piece.data()), -3);
    EXPECT_EQ(Camera_Flash_R_Api(d, 1, piece.data()), -3);
    EXPECT_EQ(piece, Pattern_Piece(41));
    EXPECT_EQ(Camera_Set_ISP_Reg_Api(d, 0x2043, 1), -1);
    EXPECT_EQ(Flash_Bytes(module, 14 * 4096, 4096), stored);

    records.clear();
    Testbed().Replug(module);
    records = Records(1);
    d = records.at("/dev/video0").get();
    EXPECT_EQ(Camera_Flash_R_Api(d, 1, piece.data()), 0);
    EXPECT_EQ(piece, stored);
}

// A piece written and read back through the flat API for each index on each
// chip, landing in the chip's own flash piece.
struct Piece_Map_Case
{
    const char* chip;
    std::uint8_t pieces[3];
};

void PrintTo(const Piece_Map_Case& c, std::ostream* out) { *out << c.chip; }

class CameraApiPieces : public CameraApi, public ::testing::WithParamInterface<Piece_Map_Case>
{
};

TEST_P(CameraApiPieces, EachIndexLandsInItsFlashPiece)
{
    const Piece_Map_Case& c = GetParam();
    VirtualModule& module = Add_Camera(c.chip, 0);
    std::map<std::string, Record> records = Records(1);
    _Device_Point_* d = records.at("/dev/video0").get();
    const std::size_t size = module.With_Chip([](ChipModel& chip) { return chip.Flash().Part().size; });
    std::vector<std::uint8_t> expected = Flash_Bytes(module, 0, size);
    for (int index = 0; index < 3; ++index) {
        SCOPED_TRACE(index);
        std::vector<std::uint8_t> piece = Pattern_Piece(static_cast<unsigned>(50 + index));
        // The firmware header's piece is written only when asked for by name.
        if (c.pieces[index] == 0)
            ASSERT_EQ(Camera_Flash_W_Over_Firmware_Header_Api(d, index, piece.data()), 0);
        else
            ASSERT_EQ(Camera_Flash_W_Api(d, index, piece.data()), 0);
        std::copy(piece.begin(), piece.end(), expected.begin() + c.pieces[index] * 4096);
    }
    EXPECT_TRUE(Flash_Bytes(module, 0, size) == expected) << "only the three mapped pieces changed";
    for (int index = 0; index < 3; ++index) {
        SCOPED_TRACE(index);
        std::vector<std::uint8_t> back(4096);
        ASSERT_EQ(Camera_Flash_R_Api(d, index, back.data()), 0);
        EXPECT_EQ(back, Pattern_Piece(static_cast<unsigned>(50 + index)));
    }
    module.Clear_Queries();
    std::vector<std::uint8_t> piece(4096);
    EXPECT_EQ(Camera_Flash_W_Api(d, 3, piece.data()), -7);
    EXPECT_EQ(Camera_Flash_R_Api(d, 3, piece.data()), -7);
    EXPECT_TRUE(module.Queries().empty());
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Refused_Writes(); }), 0);
}

// Where user piece 2 is flash piece 0, the plain write would erase the
// firmware header and leave the module on its boot code: it is refused and
// nothing is sent to the chip.
TEST_P(CameraApiPieces, TheFirmwareHeadersPieceIsNotWrittenUnlessAskedFor)
{
    const Piece_Map_Case& c = GetParam();
    VirtualModule& module = Add_Camera(c.chip, 0);
    std::map<std::string, Record> records = Records(1);
    _Device_Point_* d = records.at("/dev/video0").get();
    const std::size_t size = module.With_Chip([](ChipModel& chip) { return chip.Flash().Part().size; });
    const std::vector<std::uint8_t> before = Flash_Bytes(module, 0, size);
    std::vector<std::uint8_t> piece = Pattern_Piece(77);
    module.Clear_Queries();
    const int status = Camera_Flash_W_Api(d, 2, piece.data());
    if (c.pieces[2] != 0) {
        EXPECT_EQ(status, 0);
        return;
    }
    EXPECT_EQ(status, -7);
    EXPECT_TRUE(module.Queries().empty()) << "nothing reaches the chip";
    EXPECT_TRUE(Flash_Bytes(module, 0, size) == before) << "the flash is untouched";
}

INSTANTIATE_TEST_SUITE_P(Chips, CameraApiPieces,
                         ::testing::Values(Piece_Map_Case{"2620", {15, 14, 0}}, Piece_Map_Case{"2085", {15, 14, 0}},
                                           Piece_Map_Case{"2092", {15, 14, 0}}, Piece_Map_Case{"2281", {13, 12, 0}},
                                           Piece_Map_Case{"2650", {46, 45, 44}}, Piece_Map_Case{"2282", {46, 45, 44}}),
                         [](const ::testing::TestParamInfo<Piece_Map_Case>& info) {
                             return std::string("chip") + info.param.chip;
                         });

} // namespace
