#include "Extension_Unit_Class/Extension_Unit_Functions.h"

namespace {

constexpr int kNoProtocol = -1;

} // namespace

int Read_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t* value)
{
    return protocol ? protocol->Read_ISP_Register(address, value) : kNoProtocol;
}

int Write_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t value)
{
    return protocol ? protocol->Write_ISP_Register(address, value) : kNoProtocol;
}

int Read_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t* value)
{
    return protocol ? protocol->Read_Sensor_Register(address, value) : kNoProtocol;
}

int Write_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t value)
{
    return protocol ? protocol->Write_Sensor_Register(address, value) : kNoProtocol;
}

int Read_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_ISP_Mem_Piece(piece, buffer) : kNoProtocol;
}

int Write_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_ISP_Mem_Piece(piece, buffer) : kNoProtocol;
}

int Set_Rom_Code(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length)
{
    return protocol ? protocol->Set_Rom_Code(image, length) : kNoProtocol;
}

int Download_Firmware(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length,
                      float* progress)
{
    return protocol ? protocol->Download_Firmware(image, length, progress) : kNoProtocol;
}

int reset(Extension_Unit_Base_Protocol* protocol) { return protocol ? protocol->reset() : kNoProtocol; }

int Read_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_Exid(buffer) : kNoProtocol;
}

int Write_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_Exid(buffer) : kNoProtocol;
}

int Read_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_Flash_Piece(piece, buffer) : kNoProtocol;
}

int Read_Flash_type(Extension_Unit_Base_Protocol* protocol)
{
    return protocol ? protocol->Read_Flash_type() : kNoProtocol;
}

int Write_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_Flash_Piece(piece, buffer) : kNoProtocol;
}

int Output_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin)
{
    return protocol ? protocol->Output_GPIO_Init_Api(pin) : kNoProtocol;
}

int Input_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin)
{
    return protocol ? protocol->Input_GPIO_Init_Api(pin) : kNoProtocol;
}

int Set_Output_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t level)
{
    return protocol ? protocol->Set_Output_GPIO_Api(pin, level) : kNoProtocol;
}

int Get_Input_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t* level)
{
    return protocol ? protocol->Get_Input_GPIO_Api(pin, level) : kNoProtocol;
}

const char* This_is(Extension_Unit_Base_Protocol* protocol) { return protocol ? protocol->This_is() : ""; }
