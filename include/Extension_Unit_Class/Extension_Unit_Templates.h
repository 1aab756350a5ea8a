#ifndef KORVANE_EXTENSION_UNIT_TEMPLATES_H
#define KORVANE_EXTENSION_UNIT_TEMPLATES_H

// The constant request templates of one chip protocol. Protocols copy a
// template onto the stack, point its cur half at their data and send it.

#include "Extension_Unit_Class/Extension_Unit_Request.h"

// Selectors of the extension unit.
constexpr std::uint16_t XU_SEL_ISP_ADDR = 0x02;
constexpr std::uint16_t XU_SEL_ISP_VALUE = 0x03;
constexpr std::uint16_t XU_SEL_SENSOR_ADDR = 0x04;
constexpr std::uint16_t XU_SEL_SENSOR_VALUE = 0x05;
constexpr std::uint16_t XU_SEL_FLASH_CMD_INDEX = 0x07;
constexpr std::uint16_t XU_SEL_FLASH_CMD_VALUE = 0x08;
constexpr std::uint16_t XU_SEL_SECTOR_ERASE = 0x0D;
constexpr std::uint16_t XU_SEL_PIECE_ADDR = 0x0E;
constexpr std::uint16_t XU_SEL_PIECE_DATA = 0x0F;
constexpr std::uint16_t XU_SEL_PIECE_CONTROL = 0x10;
constexpr std::uint16_t XU_SEL_PROGRAM_WINDOW = 0x16;
constexpr std::uint16_t XU_SEL_FLASH_ID = 0x17;

struct Extension_Unit_Templates
{
    Windows_UVC_xu_control_unit Windows_set_isp_addr;
    Windows_UVC_xu_control_unit Windows_get_isp_val;
    Windows_UVC_xu_control_unit Windows_set_isp_val;
    Windows_UVC_xu_control_unit Windows_set_sensor_addr;
    Windows_UVC_xu_control_unit Windows_get_sensor_val;
    Windows_UVC_xu_control_unit Windows_set_sensor_val;
    Windows_UVC_xu_control_unit Windows_SET_Flash_Type[2];
    Windows_UVC_xu_control_unit Windows_get_flash_id;   // 3 ID bytes of the loaded ID opcode
    Windows_UVC_xu_control_unit Windows_set_sector_erase; // erases the 4096-byte sector at the address
    Windows_UVC_xu_control_unit Windows_set_piece_addr;
    Windows_UVC_xu_control_unit Windows_set_program_window; // programs 64 bytes at the piece address
};

// The templates of a chip whose extension unit has the given id.
constexpr Extension_Unit_Templates Make_Extension_Unit_Templates(std::uint16_t unit)
{
    return {
        {Get_Len_Request(unit, XU_SEL_ISP_ADDR, 2), Set_Cur_Request(unit, XU_SEL_ISP_ADDR, 2)},
        {Get_Len_Request(unit, XU_SEL_ISP_VALUE, 1), Get_Cur_Request(unit, XU_SEL_ISP_VALUE, 1)},
        {Get_Len_Request(unit, XU_SEL_ISP_VALUE, 1), Set_Cur_Request(unit, XU_SEL_ISP_VALUE, 1)},
        {Get_Len_Request(unit, XU_SEL_SENSOR_ADDR, 2), Set_Cur_Request(unit, XU_SEL_SENSOR_ADDR, 2)},
        {Get_Len_Request(unit, XU_SEL_SENSOR_VALUE, 2), Get_Cur_Request(unit, XU_SEL_SENSOR_VALUE, 2)},
        {Get_Len_Request(unit, XU_SEL_SENSOR_VALUE, 2), Set_Cur_Request(unit, XU_SEL_SENSOR_VALUE, 2)},
        {{Get_Len_Request(unit, XU_SEL_FLASH_CMD_INDEX, 0), Set_Cur_Request(unit, XU_SEL_FLASH_CMD_INDEX, 1)},
         {Get_Len_Request(unit, XU_SEL_FLASH_CMD_VALUE, 1), Set_Cur_Request(unit, XU_SEL_FLASH_CMD_VALUE, 1)}},
        {Get_Len_Request(unit, XU_SEL_FLASH_ID, 3), Get_Cur_Request(unit, XU_SEL_FLASH_ID, 3)},
        {Get_Len_Request(unit, XU_SEL_SECTOR_ERASE, 4), Set_Cur_Request(unit, XU_SEL_SECTOR_ERASE, 4)},
        {Get_Len_Request(unit, XU_SEL_PIECE_ADDR, 4), Set_Cur_Request(unit, XU_SEL_PIECE_ADDR, 4)},
        {Get_Len_Request(unit, XU_SEL_PROGRAM_WINDOW, 64), Set_Cur_Request(unit, XU_SEL_PROGRAM_WINDOW, 64)},
    };
}

#endif
