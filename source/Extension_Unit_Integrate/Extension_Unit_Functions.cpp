#include "Extension_Unit_Class/Extension_Unit_Functions.h"

#include "Extension_Unit_Class/Camera_Status.h"

// Every flat function answers a null protocol with Bad_Argument.
using Camera_Status::Bad_Argument;

int Read_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t* value)
{
    return protocol ? protocol->Read_ISP_Register(address, value) : Bad_Argument;
}

int Write_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t value)
{
    return protocol ? protocol->Write_ISP_Register(address, value) : Bad_Argument;
}

int Read_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t* value)
{
    return protocol ? protocol->Read_Sensor_Register(address, value) : Bad_Argument;
}

int Write_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t value)
{
    return protocol ? protocol->Write_Sensor_Register(address, value) : Bad_Argument;
}

int Read_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_ISP_Mem_Piece(piece, buffer) : Bad_Argument;
}

int Write_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_ISP_Mem_Piece(piece, buffer) : Bad_Argument;
}

int Set_Rom_Code(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length)
{
    return protocol ? protocol->Set_Rom_Code(image, length) : Bad_Argument;
}

int Download_Firmware(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length,
                      float* progress)
{
    return protocol ? protocol->Download_Firmware(image, length, progress) : Bad_Argument;
}

int reset(Extension_Unit_Base_Protocol* protocol) { return protocol ? protocol->reset() : Bad_Argument; }

int Read_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_Exid(buffer) : Bad_Argument;
}

int Write_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_Exid(buffer) : Bad_Argument;
}

int Read_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Read_Flash_Piece(piece, buffer) : Bad_Argument;
}

int Read_Flash_type(Extension_Unit_Base_Protocol* protocol)
{
    return protocol ? protocol->Read_Flash_type() : Bad_Argument;
}

int Write_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer)
{
    return protocol ? protocol->Write_Flash_Piece(piece, buffer) : Bad_Argument;
}

int Output_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin)
{
    return protocol ? protocol->Output_GPIO_Init_Api(pin) : Bad_Argument;
}

int Input_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin)
{
    return protocol ? protocol->Input_GPIO_Init_Api(pin) : Bad_Argument;
}

int Set_Output_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t level)
{
    return protocol ? protocol->Set_Output_GPIO_Api(pin, level) : Bad_Argument;
}

int Get_Input_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t* level)
{
    return protocol ? protocol->Get_Input_GPIO_Api(pin, level) : Bad_Argument;
}

const char* This_is(Extension_Unit_Base_Protocol* protocol) { return protocol ? protocol->This_is() : ""; }
