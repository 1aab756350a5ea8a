#include "Extension_Unit_Class/Extension_Unit_UNKNOW_Protocol.h"

#include "Extension_Unit_Class/Camera_Status.h"

using Camera_Status::No_Chip;

Extension_Unit_UNKNOW_Protocol::Extension_Unit_UNKNOW_Protocol() : pExtUnit(nullptr), str_name("UNKNOW") {}

int Extension_Unit_UNKNOW_Protocol::Read_ISP_Register(std::uint16_t, std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Write_ISP_Register(std::uint16_t, std::uint8_t) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Read_Sensor_Register(std::uint16_t, std::uint16_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Write_Sensor_Register(std::uint16_t, std::uint16_t) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Read_ISP_Mem_Piece(std::uint16_t, std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Write_ISP_Mem_Piece(std::uint16_t, std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Set_Flash_type(bool) { return No_Chip; }

SerialFlashCommand Extension_Unit_UNKNOW_Protocol::Read_Flash_type(std::uint8_t*) { return SerialFlashCommand{}; }

int Extension_Unit_UNKNOW_Protocol::Read_Flash_type() { return 0; }
int Extension_Unit_UNKNOW_Protocol::Get_Flash_Length_Mes(std::uint16_t&) { return 0; }
int Extension_Unit_UNKNOW_Protocol::Set_Rom_Code(std::uint8_t*, std::uint32_t) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Download_Firmware(std::uint8_t*, std::uint32_t, float*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::reset() { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Read_Exid(std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Write_Exid(std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Read_Flash_Piece(std::uint16_t, std::uint8_t*) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Write_Flash_Piece(std::uint16_t, std::uint8_t*) { return No_Chip; }

// Positive, unlike its siblings; kept so.
int Extension_Unit_UNKNOW_Protocol::Output_GPIO_Init_Api(std::uint32_t) { return Camera_Status::No_Chip_Output_Init; }

int Extension_Unit_UNKNOW_Protocol::Input_GPIO_Init_Api(std::uint32_t) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Set_Output_GPIO_Api(std::uint32_t, std::uint8_t) { return No_Chip; }
int Extension_Unit_UNKNOW_Protocol::Get_Input_GPIO_Api(std::uint32_t, std::uint8_t*) { return No_Chip; }
const char* Extension_Unit_UNKNOW_Protocol::This_is() { return str_name.c_str(); }
