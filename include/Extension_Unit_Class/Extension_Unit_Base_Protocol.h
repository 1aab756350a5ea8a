#ifndef KORVANE_EXTENSION_UNIT_BASE_PROTOCOL_H
#define KORVANE_EXTENSION_UNIT_BASE_PROTOCOL_H

// The operations of a camera's controller chip. Every chip protocol
// implements all of them; the order of declaration is the interface's slot
// order. Results are status codes (0 success, negative failure) unless noted.

#include "Extension_Unit_Class/SerialFlashCommand.h"

#include <cstdint>
#include "Extension_Unit_Class/KorvaneControlExport.h"

class KORVANE_CONTROL_EXPORT Extension_Unit_Base_Protocol
{
public:
    // Defined out of line, so that the interface's vtable and type information
    // have one home in the control library.
    virtual ~Extension_Unit_Base_Protocol();

    virtual int Read_ISP_Register(std::uint16_t address, std::uint8_t* value) = 0;
    virtual int Write_ISP_Register(std::uint16_t address, std::uint8_t value) = 0;
    virtual int Read_Sensor_Register(std::uint16_t address, std::uint16_t* value) = 0;
    virtual int Write_Sensor_Register(std::uint16_t address, std::uint16_t value) = 0;
    virtual int Read_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) = 0;
    virtual int Write_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) = 0;
    virtual int Set_Flash_type(bool full) = 0;
    // Identifies the flash part, stores its family into *type (may be null)
    // and returns the full command set.
    virtual SerialFlashCommand Read_Flash_type(std::uint8_t* type) = 0;
    // The fitted flash part (0 when none matches).
    virtual int Read_Flash_type() = 0;
    virtual int Get_Flash_Length_Mes(std::uint16_t& length) = 0;
    virtual int Set_Rom_Code(std::uint8_t* image, std::uint32_t length) = 0;
    virtual int Download_Firmware(std::uint8_t* image, std::uint32_t length, float* progress) = 0;
    virtual int reset() = 0;
    virtual int Read_Exid(std::uint8_t* buffer) = 0;
    virtual int Write_Exid(std::uint8_t* buffer) = 0;
    virtual int Read_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) = 0;
    virtual int Write_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) = 0;
    virtual int Output_GPIO_Init_Api(std::uint32_t pin) = 0;
    virtual int Input_GPIO_Init_Api(std::uint32_t pin) = 0;
    virtual int Set_Output_GPIO_Api(std::uint32_t pin, std::uint8_t level) = 0;
    virtual int Get_Input_GPIO_Api(std::uint32_t pin, std::uint8_t* level) = 0;
    // The protocol's model name.
    virtual const char* This_is() = 0;
};

#endif
