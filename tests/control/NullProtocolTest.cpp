#include "Extension_Unit_Class/Extension_Unit_UNKNOW_Protocol.h"

#include "Extension_Unit_Class/Camera_Status.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(NullProtocol, EveryOperationGivesItsFixedResult)
{
    Extension_Unit_UNKNOW_Protocol null;
    Extension_Unit_Base_Protocol& protocol = null;
    std::uint8_t byte = 0x5A;
    std::uint16_t word = 0x1234;
    std::uint8_t buffer[4096] = {};
    float progress = 1.5f;

    EXPECT_EQ(protocol.Read_ISP_Register(0x20FF, &byte), -7);
    EXPECT_EQ(protocol.Write_ISP_Register(0x20FF, 1), -7);
    EXPECT_EQ(protocol.Read_Sensor_Register(0x3000, &word), -7);
    EXPECT_EQ(protocol.Write_Sensor_Register(0x3000, 1), -7);
    EXPECT_EQ(protocol.Read_ISP_Mem_Piece(13, buffer), -7);
    EXPECT_EQ(protocol.Write_ISP_Mem_Piece(13, buffer), -7);
    EXPECT_EQ(protocol.Set_Flash_type(true), -7);
    EXPECT_EQ(protocol.Set_Rom_Code(buffer, sizeof buffer), -7);
    EXPECT_EQ(protocol.Download_Firmware(buffer, sizeof buffer, &progress), -7);
    EXPECT_EQ(protocol.reset(), -7);
    EXPECT_EQ(protocol.Read_Exid(buffer), -7);
    EXPECT_EQ(protocol.Write_Exid(buffer), -7);
    EXPECT_EQ(protocol.Read_Flash_Piece(0, buffer), -7);
    EXPECT_EQ(protocol.Write_Flash_Piece(0, buffer), -7);
    EXPECT_EQ(protocol.Input_GPIO_Init_Api(3), -7);
    EXPECT_EQ(protocol.Set_Output_GPIO_Api(3, 1), -7);
    EXPECT_EQ(protocol.Get_Input_GPIO_Api(3, &byte), -7);
    EXPECT_EQ(protocol.Output_GPIO_Init_Api(3), 7);
    EXPECT_EQ(protocol.Read_Flash_type(), 0);
    EXPECT_EQ(protocol.Get_Flash_Length_Mes(word), 0);
    EXPECT_STREQ(protocol.This_is(), "UNKNOW");

    EXPECT_EQ(byte, 0x5A);
    EXPECT_EQ(word, 0x1234);
    EXPECT_EQ(progress, 1.5f);
}

TEST(NullProtocol, EveryFailureIsToldAsNoChip)
{
    Extension_Unit_UNKNOW_Protocol null;
    std::uint8_t byte = 0;
    std::uint8_t buffer[4096] = {};
    const std::string noChip = Camera_Status_Message(Camera_Operation::Register, null.Read_ISP_Register(0, &byte));
    EXPECT_NE(noChip.find("no chip protocol"), std::string::npos) << noChip;
    EXPECT_EQ(Camera_Status_Message(Camera_Operation::Gpio, null.Set_Output_GPIO_Api(3, 1)), noChip);
    EXPECT_EQ(Camera_Status_Message(Camera_Operation::Firmware_Update, null.Download_Firmware(buffer, 2, nullptr)),
              noChip);
    const std::string outputInit = Camera_Status_Message(Camera_Operation::Gpio, null.Output_GPIO_Init_Api(3));
    EXPECT_NE(outputInit.find("no chip protocol"), std::string::npos) << outputInit;
}

TEST(NullProtocol, ReadFlashTypeReturnsAnEmptySetAndLeavesTheType)
{
    Extension_Unit_UNKNOW_Protocol null;
    std::uint8_t type = 0x42;
    const SerialFlashCommand set = null.Read_Flash_type(&type);
    const SerialFlashCommand empty{};
    EXPECT_EQ(std::memcmp(&set, &empty, sizeof set), 0);
    EXPECT_EQ(type, 0x42);
}

TEST(NullProtocol, DrivesNoControlObject)
{
    Extension_Unit_UNKNOW_Protocol null;
    EXPECT_EQ(null.pExtUnit, nullptr);
    EXPECT_EQ(null.str_name, "UNKNOW");
}

} // namespace
