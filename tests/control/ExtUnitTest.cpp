#include "Extension_Unit_Class/Extension_Unit_Templates.h"
#include "Extension_Unit_Class/ext_unit.h"
#include "emulator/VirtualModuleTest.h"
#include "support/CaptureStream.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <unistd.h>

using namespace korvane::emulator;
using korvane::test::stderrOf;

namespace {

constexpr std::uint16_t kUnit = 4;

// The node of the virtual module, open for the test's lifetime.
class OpenNode
{
public:
    explicit OpenNode(const char* path) : m_fd(open(path, O_RDWR | O_NONBLOCK)) {}
    ~OpenNode()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    int fd() const { return m_fd; }

private:
    int m_fd;
};

std::string Giving_Up_Line(int error)
{
    return std::string("V4L2_CORE: ioctl (-1072663263) retried 4 times - giving up: ") + std::strerror(error) + ")\n";
}

class ExtUnitTest : public VirtualModuleTest
{
protected:
    void SetUp() override
    {
        VirtualModuleTest::SetUp();
        m_module = &Add_Camera("2620", 0);
        m_node = std::make_unique<OpenNode>("/dev/video0");
        ASSERT_GE(m_node->fd(), 0) << std::strerror(errno);
        m_unit.set_V4L2(m_node->fd(), kUnit);
    }

    void TearDown() override
    {
        m_node.reset();
        VirtualModuleTest::TearDown();
    }

    VirtualModule& Module() { return *m_module; }

    // Reads ISP register 0x20FF with get_Property after pointing the address selector at it.
    int Read_Chip_Id(std::uint8_t& value)
    {
        std::uint8_t address[2] = {0xFF, 0x20};
        m_unit.put_Property(XU_SEL_ISP_ADDR, 2, address);
        Module().Clear_Queries();
        return m_unit.get_Property(XU_SEL_ISP_VALUE, 1, &value);
    }

    std::size_t Attempts() { return Module().Queries().size(); }

    ExtUnit m_unit;

private:
    VirtualModule* m_module = nullptr;
    std::unique_ptr<OpenNode> m_node;
};

TEST_F(ExtUnitTest, ConstructorBindsNoDescriptor)
{
    ExtUnit unit;
    EXPECT_EQ(unit.dev_fd, 0);
}

TEST_F(ExtUnitTest, SetV4L2BindsDescriptorAndUnit)
{
    ExtUnit unit;
    EXPECT_EQ(unit.set_V4L2(7, 3), 0);
    EXPECT_EQ(unit.dev_fd, 7);
    EXPECT_EQ(unit.m_dwNodeId, 3);
    EXPECT_EQ(unit.set_CameraControl(9), 0);
    EXPECT_EQ(unit.dev_fd, 9);
    EXPECT_EQ(unit.m_dwNodeId, 3);
}

TEST_F(ExtUnitTest, PropertiesReachTheUnitAndSelector)
{
    std::uint8_t value = 0;
    EXPECT_EQ(Read_Chip_Id(value), 0);
    EXPECT_EQ(value, 0xD2);
    const auto queries = Module().Queries();
    ASSERT_EQ(queries.size(), 1u);
    EXPECT_EQ(queries[0].request.unit, kUnit);
    EXPECT_EQ(queries[0].request.selector, XU_SEL_ISP_VALUE);
    EXPECT_EQ(queries[0].request.query, UVC_GET_CUR);
    EXPECT_EQ(queries[0].request.size, 1);
}

TEST_F(ExtUnitTest, PutPropertySendsTheBytes)
{
    std::uint8_t address[2] = {0x34, 0x12};
    std::uint8_t value = 0x5A;
    EXPECT_EQ(m_unit.put_Property(XU_SEL_ISP_ADDR, 2, address), 0);
    EXPECT_EQ(m_unit.put_Property(XU_SEL_ISP_VALUE, 1, &value), 0);
    EXPECT_EQ(Module().Isp(0x1234), 0x5A);
    const auto queries = Module().Queries();
    ASSERT_EQ(queries.size(), 2u);
    EXPECT_EQ(queries[0].request.query, UVC_SET_CUR);
    EXPECT_EQ(queries[0].data, (std::vector<std::uint8_t>{0x34, 0x12}));
}

TEST_F(ExtUnitTest, TransientErrorsFourTimesThenSuccessIsSilent)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EAGAIN, 4});
    std::uint8_t value = 0;
    int result = -2;
    const std::string errors = stderrOf([&] { result = Read_Chip_Id(value); });
    EXPECT_EQ(result, 0);
    EXPECT_EQ(value, 0xD2);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(Attempts(), 5u);
}

TEST_F(ExtUnitTest, EveryTransientErrorKindIsRetried)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EINTR, 1});
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EAGAIN, 1});
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, ETIMEDOUT, 1});
    std::uint8_t value = 0;
    EXPECT_EQ(Read_Chip_Id(value), 0);
    EXPECT_EQ(Attempts(), 4u);
}

TEST_F(ExtUnitTest, AlwaysTimingOutGivesUpAfterFiveAttempts)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, ETIMEDOUT, kAlways});
    std::uint8_t value = 0x77;
    int result = 0;
    const std::string errors = stderrOf([&] { result = Read_Chip_Id(value); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, Giving_Up_Line(ETIMEDOUT));
    EXPECT_EQ(Attempts(), 5u);
    EXPECT_EQ(value, 0x77);
}

TEST_F(ExtUnitTest, OtherErrorOnFirstAttemptEndsSilently)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EINVAL, 1});
    std::uint8_t value = 0;
    int result = 0;
    const std::string errors = stderrOf([&] { result = Read_Chip_Id(value); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(Attempts(), 1u);
}

TEST_F(ExtUnitTest, OtherErrorOnFourthAttemptIsReported)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EAGAIN, 3});
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EINVAL, 1});
    std::uint8_t value = 0;
    int result = 0;
    const std::string errors = stderrOf([&] { result = Read_Chip_Id(value); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, Giving_Up_Line(EINVAL));
    EXPECT_EQ(Attempts(), 4u);
}

TEST_F(ExtUnitTest, OtherErrorOnThirdAttemptIsSilent)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EAGAIN, 2});
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EBADF, 1});
    std::uint8_t value = 0;
    int result = 0;
    const std::string errors = stderrOf([&] { result = Read_Chip_Id(value); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, "");
    EXPECT_EQ(Attempts(), 3u);
}

TEST_F(ExtUnitTest, ClosedDescriptorFailsSilently)
{
    const int fd = open("/dev/null", O_RDONLY);
    ASSERT_GE(fd, 0);
    close(fd);
    ExtUnit unit;
    unit.set_V4L2(fd, kUnit);
    std::uint8_t value = 0;
    int result = 0;
    const std::string errors = stderrOf([&] { result = unit.get_Property(XU_SEL_ISP_VALUE, 1, &value); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, "");
}

Windows_UVC_xu_control_unit Isp_Value_Read(std::uint8_t* value)
{
    Windows_UVC_xu_control_unit transaction = Make_Extension_Unit_Templates(kUnit).Windows_get_isp_val;
    transaction.cur.p_data = value;
    return transaction;
}

TEST_F(ExtUnitTest, TransactionSendsGetLenThenTheData)
{
    std::uint8_t address[2] = {0xFF, 0x20};
    Windows_UVC_xu_control_unit setAddress = Make_Extension_Unit_Templates(kUnit).Windows_set_isp_addr;
    setAddress.cur.p_data = address;
    EXPECT_EQ(m_unit.EXT_UNIT_IO(&setAddress), 0);
    std::uint8_t value = 0;
    Windows_UVC_xu_control_unit read = Isp_Value_Read(&value);
    EXPECT_EQ(m_unit.EXT_UNIT_IO(&read), 0);
    EXPECT_EQ(value, 0xD2);

    const auto queries = Module().Queries();
    ASSERT_EQ(queries.size(), 4u);
    EXPECT_EQ(queries[0].request.query, UVC_GET_LEN);
    EXPECT_EQ(queries[0].request.selector, XU_SEL_ISP_ADDR);
    EXPECT_EQ(queries[0].request.size, 2);
    EXPECT_EQ(queries[1].request.query, UVC_SET_CUR);
    EXPECT_EQ(queries[1].data, (std::vector<std::uint8_t>{0xFF, 0x20}));
    EXPECT_EQ(queries[2].request.query, UVC_GET_LEN);
    EXPECT_EQ(queries[2].request.selector, XU_SEL_ISP_VALUE);
    EXPECT_EQ(queries[3].request.query, UVC_GET_CUR);
    EXPECT_EQ(queries[3].data, (std::vector<std::uint8_t>{0xD2}));
}

TEST_F(ExtUnitTest, TransactionLeavesTheGetLenAnswerInTheReservedWord)
{
    std::uint8_t control = 0;
    Windows_UVC_xu_control_unit transaction{Get_Len_Request(kUnit, XU_SEL_PIECE_DATA, 0x55550007),
                                            Get_Cur_Request(kUnit, XU_SEL_PIECE_CONTROL, 1)};
    std::uint8_t stale = 0;
    transaction.get_len.p_data = &stale;
    transaction.cur.p_data = &control;
    EXPECT_EQ(m_unit.EXT_UNIT_IO(&transaction), 0);
    EXPECT_EQ(transaction.get_len.p_data, nullptr);
    EXPECT_EQ(transaction.get_len.u_rev & 0xFFFFu, 1024u);
    EXPECT_EQ(transaction.get_len.u_rev >> 16, 0x5555u);
}

TEST_F(ExtUnitTest, FailedGetLenStepStillMovesTheData)
{
    std::uint8_t address[2] = {0xFF, 0x20};
    m_unit.put_Property(XU_SEL_ISP_ADDR, 2, address);
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_LEN, EINVAL, 1});
    std::uint8_t value = 0;
    Windows_UVC_xu_control_unit read = Isp_Value_Read(&value);
    read.get_len.p_data = &value;
    EXPECT_EQ(m_unit.EXT_UNIT_IO(&read), -1);
    EXPECT_EQ(value, 0xD2);
    EXPECT_EQ(read.get_len.p_data, nullptr);
    EXPECT_EQ(read.get_len.u_rev, 1u); // untouched expected length
}

TEST_F(ExtUnitTest, FailedDataStepFailsTheTransaction)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EIO, 1});
    std::uint8_t value = 0x33;
    Windows_UVC_xu_control_unit read = Isp_Value_Read(&value);
    EXPECT_EQ(m_unit.EXT_UNIT_IO(&read), -1);
    EXPECT_EQ(value, 0x33);
    EXPECT_EQ(read.get_len.u_rev, 1u);
}

TEST_F(ExtUnitTest, TransactionStepsRetryEachOnTheirOwn)
{
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_LEN, ETIMEDOUT, kAlways});
    Module().Fail_Queries({kUnit, XU_SEL_ISP_VALUE, UVC_GET_CUR, EAGAIN, 2});
    std::uint8_t value = 0;
    Windows_UVC_xu_control_unit read = Isp_Value_Read(&value);
    int result = 0;
    const std::string errors = stderrOf([&] { result = m_unit.EXT_UNIT_IO(&read); });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(errors, Giving_Up_Line(ETIMEDOUT));
    EXPECT_EQ(Attempts(), 5u + 3u);
}

} // namespace
