#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2092_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/Extunit.h"
#include "LogCapture.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

using namespace korvane::emulator;

namespace {

struct Protocol_Delete
{
    void operator()(Extension_Unit_Base_Protocol* protocol) const { Delete_Extension_Unit(protocol); }
};
using Protocol_Ptr = std::unique_ptr<Extension_Unit_Base_Protocol, Protocol_Delete>;

std::string Id_Line(const char* address, std::uint8_t value)
{
    char line[32];
    std::snprintf(line, sizeof line, "\t this %s %02x!\r\n", address, value);
    return line;
}

std::string Three_Id_Lines(std::uint8_t id, std::uint8_t a, std::uint8_t b)
{
    return Id_Line("20ff", id) + Id_Line("2051", a) + Id_Line("20d9", b);
}

std::string Announcement(const std::string& name)
{
    return "\r\n[\"" + name + "\"]=*****************\t" + name + "\t*******************";
}

std::string Match_Line(const std::string& name) { return "\r\n\t\t Protocol mate " + name + "\r\n"; }

// The queries of one ISP register read, from the request templates.
std::vector<QueryRecord> Register_Read(std::uint16_t unit, std::uint16_t address, std::uint8_t value, int error = 0)
{
    const Extension_Unit_Templates templates = Make_Extension_Unit_Templates(unit);
    const auto query = [](const Windows_UVC_xu_control& request) {
        return XuQuery{static_cast<std::uint8_t>(request.w_Index), static_cast<std::uint8_t>(request.w_Value),
                       request.b_Request, request.w_Length};
    };
    const std::uint8_t low = static_cast<std::uint8_t>(address & 0xFF);
    const std::uint8_t high = static_cast<std::uint8_t>(address >> 8);
    const std::vector<std::uint8_t> none;
    return {
        {"/dev/video0", query(templates.Windows_set_isp_addr.get_len), error ? none : std::vector<std::uint8_t>{2, 0}, error},
        {"/dev/video0", query(templates.Windows_set_isp_addr.cur), {low, high}, error},
        {"/dev/video0", query(templates.Windows_get_isp_val.get_len), error ? none : std::vector<std::uint8_t>{1, 0}, error},
        {"/dev/video0", query(templates.Windows_get_isp_val.cur), error ? none : std::vector<std::uint8_t>{value}, error},
    };
}

void Append(std::vector<QueryRecord>& all, const std::vector<QueryRecord>& more)
{
    all.insert(all.end(), more.begin(), more.end());
}

void Expect_Same_Queries(const std::vector<QueryRecord>& actual, const std::vector<QueryRecord>& expected)
{
    ASSERT_EQ(actual.size(), expected.size());
    for (std::size_t i = 0; i < actual.size(); ++i) {
        SCOPED_TRACE("query " + std::to_string(i));
        EXPECT_EQ(actual[i].node, expected[i].node);
        EXPECT_EQ(actual[i].request.unit, expected[i].request.unit);
        EXPECT_EQ(actual[i].request.selector, expected[i].request.selector);
        EXPECT_EQ(actual[i].request.query, expected[i].request.query);
        EXPECT_EQ(actual[i].request.size, expected[i].request.size);
        EXPECT_EQ(actual[i].data, expected[i].data);
        EXPECT_EQ(actual[i].error, expected[i].error);
    }
}

class ChipDetectionTest : public VirtualModuleTest
{
protected:
    void TearDown() override
    {
        if (m_fd >= 0)
            close(m_fd);
        VirtualModuleTest::TearDown();
    }

    VirtualModule& Camera(const std::string& chip)
    {
        VirtualModule& module = Add_Camera(chip, 0);
        m_fd = open("/dev/video0", O_RDWR | O_NONBLOCK);
        EXPECT_GE(m_fd, 0) << std::strerror(errno);
        return module;
    }

    // Detection on the node, with its log.
    Protocol_Ptr Detect(std::string& log)
    {
        LogCapture capture;
        Protocol_Ptr protocol(Get_Extension_Unit(m_fd));
        log = capture.text();
        return protocol;
    }

    static std::uint32_t Chip_Code(Extension_Unit_Base_Protocol& protocol)
    {
        auto* chip = dynamic_cast<Extension_Unit_Chip_Protocol*>(&protocol);
        return chip && chip->pExtUnit ? chip->pExtUnit->Get_Pair_Chip() : 0;
    }

    int m_fd = -1;
};

struct Detection_Case
{
    const char* chip;
    std::uint32_t code;
    const char* name;
};

class ChipDetectionOfEachChip : public ChipDetectionTest, public ::testing::WithParamInterface<Detection_Case>
{
};

TEST_P(ChipDetectionOfEachChip, GivesTheChipsProtocol)
{
    const Detection_Case& expected = GetParam();
    Camera(expected.chip);
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_STREQ(protocol->This_is(), expected.name);
    EXPECT_EQ(Chip_Code(*protocol), expected.code);
}

INSTANTIATE_TEST_SUITE_P(Chips, ChipDetectionOfEachChip,
                         ::testing::Values(Detection_Case{"2620", 256, "QLV_8M_1"},
                                           Detection_Case{"2281", 257, "QLV_3M_1"},
                                           Detection_Case{"2085", 258, "QLV_1080P_1"},
                                           Detection_Case{"2092", 259, "QLV_1080P_2"},
                                           Detection_Case{"2650", 261, "QLVR_56_2"},
                                           Detection_Case{"2282", 262, "QLVR_1080p_3D"}),
                         [](const auto& info) { return std::string("SPCA") + info.param.chip; });

TEST_F(ChipDetectionTest, Spca2620IsFoundByTheFirstTestOnUnitFour)
{
    VirtualModule& module = Camera("2620");
    module.Clear_Queries();
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(log, Three_Id_Lines(0xD2, 0, 0) + Announcement("QLVR_56_2") + Match_Line("QLV_8M_1"));

    std::vector<QueryRecord> expected;
    Append(expected, Register_Read(4, 0x20FF, 0xD2));
    Append(expected, Register_Read(4, 0x2051, 0x00));
    Append(expected, Register_Read(4, 0x20D9, 0x00));
    Expect_Same_Queries(module.Queries(), expected);
}

TEST_F(ChipDetectionTest, Spca2281IsFoundOnUnitThreeAfterTheFirstTestFails)
{
    VirtualModule& module = Camera("2281");
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(log, Three_Id_Lines(0xFE, 0, 0) + Id_Line("20ff", 0xA8) + Announcement("QLV_3M_1") +
                       Match_Line("QLV_3M_1"));

    std::vector<QueryRecord> expected;
    Append(expected, Register_Read(4, 0x20FF, 0, ENOENT));
    Append(expected, Register_Read(4, 0x2051, 0, ENOENT));
    Append(expected, Register_Read(4, 0x20D9, 0, ENOENT));
    Append(expected, Register_Read(3, 0x20FF, 0xA8));
    Expect_Same_Queries(module.Queries(), expected);
}

TEST_F(ChipDetectionTest, IdFourIsAnSpca2650)
{
    Camera("2650");
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 261u);
    EXPECT_EQ(log, Three_Id_Lines(0x04, 0, 2) + Announcement("QLVR_56_2") + Match_Line("QLVR_56_2"));
}

TEST_F(ChipDetectionTest, IdZeroIsAnSpca2650)
{
    VirtualModule& module = Camera("2650");
    module.Set_Isp(0x20FF, 0x00);
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 261u);
    EXPECT_STREQ(protocol->This_is(), "QLVR_56_2");
}

TEST_F(ChipDetectionTest, IdC5GivesTheSpca2092Protocol)
{
    Camera("2092");
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_NE(dynamic_cast<Extension_Unit_SPCA2092_Protocol*>(protocol.get()), nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 259u);
    EXPECT_EQ(log, Three_Id_Lines(0xC5, 1, 0) + Announcement("QLVR_56_2") + Match_Line("QLV_1080P_2"));
}

TEST_F(ChipDetectionTest, IdFFGivesTheSpca2282Protocol)
{
    Camera("2282");
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_NE(dynamic_cast<Extension_Unit_SPCA2282_Protocol*>(protocol.get()), nullptr);
    EXPECT_EQ(log, Three_Id_Lines(0xFF, 0xFF, 0) + Announcement("QLVR_56_2") + Match_Line("QLVR_1080p_3D"));
}

TEST_F(ChipDetectionTest, ThirdTestAnnouncesItsOwnName)
{
    VirtualModule& module = Camera("2650");
    module.Set_Isp(0x20FF, 0x10);
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 261u);
    EXPECT_EQ(log, Three_Id_Lines(0x10, 0, 2) + Id_Line("20ff", 0) + Three_Id_Lines(0x10, 0, 2) +
                       Announcement("QLV_1080P_2") + Match_Line("QLVR_56_2"));
}

TEST_F(ChipDetectionTest, FourthTestAnnouncesItsOwnName)
{
    VirtualModule& module = Camera("2085");
    module.Set_Isp(0x2051, 0x05);
    module.Set_Isp(0x20D9, 0x05);
    module.Fail_Queries({4, XU_SEL_ISP_VALUE, 0x81, EINVAL, 1}); // the first id read
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 258u);
    EXPECT_STREQ(protocol->This_is(), "QLV_1080P_1");
    EXPECT_EQ(log, Three_Id_Lines(0xFE, 5, 5) + Id_Line("20ff", 0) + Three_Id_Lines(0xC9, 5, 5) +
                       Id_Line("20ff", 0xC9) + Announcement("QLV_8M_1") + Match_Line("QLV_1080P_1"));
}

TEST_F(ChipDetectionTest, FifthTestAnnouncesItsOwnName)
{
    VirtualModule& module = Camera("2282");
    module.Fail_Queries({4, XU_SEL_ISP_VALUE, 0x81, EINVAL, 1});
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(Chip_Code(*protocol), 262u);
    EXPECT_STREQ(protocol->This_is(), "QLVR_1080p_3D");
    EXPECT_EQ(log, Three_Id_Lines(0xFE, 0xFF, 0) + Id_Line("20ff", 0) + Three_Id_Lines(0xFF, 0xFF, 0) +
                       Id_Line("20ff", 0xFF) + Three_Id_Lines(0xFF, 0xFF, 0) + Announcement("QLVR_SOC_550_0") +
                       Match_Line("QLVR_1080p_3D"));
}

TEST_F(ChipDetectionTest, DeviceWhoseReadsAllFailIsUnknown)
{
    VirtualModule& module = Camera("2620");
    module.Fail_Queries({kAny, kAny, kAny, EIO, kAlways});
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    EXPECT_EQ(protocol, nullptr);
    EXPECT_EQ(log, Three_Id_Lines(0xFE, 0, 0) + Id_Line("20ff", 0) + Three_Id_Lines(0, 0, 0) + Id_Line("20ff", 0) +
                       Three_Id_Lines(0, 0, 0) + Match_Line("unknown error"));
}

TEST_F(ChipDetectionTest, UnrecognisedIdIsUnknown)
{
    VirtualModule& module = Camera("2620");
    module.Set_Isp(0x20FF, 0x33);
    std::string log;
    EXPECT_EQ(Detect(log), nullptr);
    EXPECT_NE(log.find(Match_Line("unknown error")), std::string::npos);
}

TEST_F(ChipDetectionTest, WithoutALogStreamNothingIsWritten)
{
    Camera("2620");
    Protocol_Ptr protocol;
    const std::string output = korvane::test::stdoutOf([&] { protocol.reset(Get_Extension_Unit(m_fd)); });
    EXPECT_NE(protocol, nullptr);
    EXPECT_EQ(output, "");
}

TEST_F(ChipDetectionTest, ProtocolDrivesTheDescriptorOnBothUnits)
{
    Camera("2620");
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    auto* chip = dynamic_cast<Extension_Unit_Chip_Protocol*>(protocol.get());
    ASSERT_NE(chip, nullptr);
    ASSERT_NE(chip->pExtUnit, nullptr);
    EXPECT_EQ(chip->pExtUnit->dev_fd, m_fd);
    EXPECT_EQ(chip->pExtUnit->EXT_UNIT1.dev_fd, m_fd);
    EXPECT_EQ(chip->pExtUnit->EXT_UNIT1.m_dwNodeId, 3);
    EXPECT_EQ(chip->pExtUnit->EXT_UNIT2.m_dwNodeId, 4);
    EXPECT_EQ(chip->pExtUnit->FrameWorkVersion, 0u);
}

TEST_F(ChipDetectionTest, ControlObjectStartsUndetected)
{
    Extension_Unit_Base_Class control(5);
    EXPECT_EQ(control.dev_fd, 5);
    EXPECT_EQ(control.ChipType, 0u);
    EXPECT_EQ(control.Get_Pair_Chip(), 0u);
    EXPECT_EQ(control.FrameWorkVersion, 0u);
}

TEST_F(ChipDetectionTest, InitControlSetsTheChipType)
{
    Camera("2085");
    Extension_Unit_Base_Class control(m_fd);
    control.init();
    EXPECT_EQ(control.initControl(), 0);
    EXPECT_EQ(control.Get_Pair_Chip(), 258u);
}

TEST_F(ChipDetectionTest, InitControlFailsOnAWebcam)
{
    Testbed().Add_Module(Plain_Webcam(0));
    m_fd = open("/dev/video0", O_RDWR | O_NONBLOCK);
    ASSERT_GE(m_fd, 0);
    Extension_Unit_Base_Class control(m_fd);
    control.init();
    EXPECT_EQ(control.initControl(), -1);
    EXPECT_EQ(control.Get_Pair_Chip(), 0u);
}

// Register access of every chip goes to the chip's own unit.
class ChipRegisters : public ChipDetectionTest, public ::testing::WithParamInterface<const char*>
{
};

TEST_P(ChipRegisters, IspAndSensorRegistersRoundTrip)
{
    VirtualModule& module = Camera(GetParam());
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    EXPECT_EQ(protocol->Write_ISP_Register(0x2043, 0x5A), 0);
    EXPECT_EQ(module.Isp(0x2043), 0x5A);
    std::uint8_t value = 0;
    EXPECT_EQ(protocol->Read_ISP_Register(0x2043, &value), 0);
    EXPECT_EQ(value, 0x5A);

    EXPECT_EQ(protocol->Write_Sensor_Register(0x3012, 0xBEEF), 0);
    EXPECT_EQ(module.With_Chip([](ChipModel& chip) { return chip.Sensor(0x3012); }), 0xBEEF);
    std::uint16_t word = 0;
    EXPECT_EQ(protocol->Read_Sensor_Register(0x3012, &word), 0);
    EXPECT_EQ(word, 0xBEEF);
}

TEST_P(ChipRegisters, FailedTransferIsReported)
{
    VirtualModule& module = Camera(GetParam());
    std::string log;
    Protocol_Ptr protocol = Detect(log);
    ASSERT_NE(protocol, nullptr);
    module.Fail_Queries({kAny, XU_SEL_ISP_ADDR, kAny, EIO, kAlways});
    std::uint8_t value = 0;
    EXPECT_EQ(protocol->Read_ISP_Register(0x20FF, &value), -1);
    EXPECT_EQ(protocol->Write_ISP_Register(0x2043, 1), -1);
}

INSTANTIATE_TEST_SUITE_P(Chips, ChipRegisters, ::testing::Values("2620", "2281", "2085", "2092", "2650", "2282"));

} // namespace
