#ifndef KORVANE_EXTENSION_UNIT_FUNCTIONS_H
#define KORVANE_EXTENSION_UNIT_FUNCTIONS_H

// The chip protocol's operations as free functions taking the protocol
// first. A null protocol gives -1 (This_is: empty text).

#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"

#include <cstdint>

int Read_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t* value);
int Write_ISP_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint8_t value);
int Read_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t* value);
int Write_Sensor_Register(Extension_Unit_Base_Protocol* protocol, std::uint16_t address, std::uint16_t value);
int Read_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer);
int Write_ISP_Mem_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer);
int Set_Rom_Code(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length);
int Download_Firmware(Extension_Unit_Base_Protocol* protocol, std::uint8_t* image, std::uint32_t length,
                      float* progress);
int reset(Extension_Unit_Base_Protocol* protocol);
int Read_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer);
int Write_Exid(Extension_Unit_Base_Protocol* protocol, std::uint8_t* buffer);
int Read_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer);
// The fitted flash part (the part lookup form).
int Read_Flash_type(Extension_Unit_Base_Protocol* protocol);
int Write_Flash_Piece(Extension_Unit_Base_Protocol* protocol, std::uint16_t piece, std::uint8_t* buffer);
int Output_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin);
int Input_GPIO_Init_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin);
int Set_Output_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t level);
int Get_Input_GPIO_Api(Extension_Unit_Base_Protocol* protocol, std::uint32_t pin, std::uint8_t* level);
const char* This_is(Extension_Unit_Base_Protocol* protocol);

#endif
