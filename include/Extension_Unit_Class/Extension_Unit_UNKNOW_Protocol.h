#ifndef KORVANE_EXTENSION_UNIT_UNKNOW_PROTOCOL_H
#define KORVANE_EXTENSION_UNIT_UNKNOW_PROTOCOL_H

// The null protocol of a recognised device with no known chip code: every
// operation does nothing and returns a fixed result.

#include "Extension_Unit_Class/Extension_Unit_Base_Class.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"

#include <string>

class Extension_Unit_UNKNOW_Protocol : public Extension_Unit_Base_Protocol
{
public:
    Extension_Unit_UNKNOW_Protocol();

    int Read_ISP_Register(std::uint16_t address, std::uint8_t* value) override;
    int Write_ISP_Register(std::uint16_t address, std::uint8_t value) override;
    int Read_Sensor_Register(std::uint16_t address, std::uint16_t* value) override;
    int Write_Sensor_Register(std::uint16_t address, std::uint16_t value) override;
    int Read_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Write_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Set_Flash_type(bool full) override;
    SerialFlashCommand Read_Flash_type(std::uint8_t* type) override;
    int Read_Flash_type() override;
    int Get_Flash_Length_Mes(std::uint16_t& length) override;
    int Set_Rom_Code(std::uint8_t* image, std::uint32_t length) override;
    int Download_Firmware(std::uint8_t* image, std::uint32_t length, float* progress) override;
    int reset() override;
    int Read_Exid(std::uint8_t* buffer) override;
    int Write_Exid(std::uint8_t* buffer) override;
    int Read_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Write_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Output_GPIO_Init_Api(std::uint32_t pin) override;
    int Input_GPIO_Init_Api(std::uint32_t pin) override;
    int Set_Output_GPIO_Api(std::uint32_t pin, std::uint8_t level) override;
    int Get_Input_GPIO_Api(std::uint32_t pin, std::uint8_t* level) override;
    const char* This_is() override;

    Extension_Unit_Base_Class* pExtUnit; // always null
    std::string str_name;
};

#endif
