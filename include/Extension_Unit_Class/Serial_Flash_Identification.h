#ifndef KORVANE_EXTENSION_UNIT_SERIAL_FLASH_IDENTIFICATION_H
#define KORVANE_EXTENSION_UNIT_SERIAL_FLASH_IDENTIFICATION_H

// Serial flash identification as pure decisions on the ID answers: which
// command-set family fits the fitted part, which opcodes it gets, and which
// known part it is.

#include "Extension_Unit_Class/SerialFlashCommand.h"

#include <array>
#include <cstdint>

// The supported flash parts, numbered from 0.
enum SerialFlashPart : std::int32_t
{
    SF_UNDEFINED, SF_MX25L512, SF_GD25Q512, SF_FM25F005, SF_FM25F01, SF_MD25D512, SF_MD25D10,
    SF_MX25L1006E, SF_GT25F512, SF_PM25LQ512, SF_W25X05CL, SF_MK25D40, SF_ZB25D16, SF_MK25D16,
    SF_GD25D10B, SF_BY25Q512, SF_GD25D05, SF_IS25LQ040B, SF_IS25LQ512, SF_MX25V1006F, SF_W25X10CL,
    SF_MK25D80, SF_MK25D40BT, SF_T25S80XZ, SF_P25Q40H, SF_T25S80PW, SF_P25Q05H, SF_P25Q10H,
    SF_MX25L4006E, SF_PM25WQ080, SF_PM25LQ080, SF_GD25LQ128, SF_GD25LQ80, SF_W25Q80BW, SF_GD25Q16C,
    SF_GD25Q20C, SF_LE25U20AMB, SF_BG25Q40A, SF_GD25Q40C, SF_BH25D40A, SF_GD25D20C, SF_MX25L2006E,
    SF_MX25V2033FM1L, SF_P25Q21H, SF_FM25W04, SF_FM25Q04, SF_FM25W02, SF_MX25V2035F, SF_W25X40CLSNIG,
    SF_W25X20CLSNIG, SF_MX25U3235F, SF_XT25F01, SF_XT25F01C_D, SF_BH25D05, SF_BH25D10B, SF_MX25V8035F,
    SF_MX25L6406E, SF_FH25V08, SF_P25Q80H, SF_GD25Q80CTIG, SF_EN25Q80C, SF_MX25V4035F, SF_MX25L5121E,
    SF_MX25L1021E, SF_KH25L5121E, SF_KH25L1021E, SF_SST25VF512, SF_PM25LD512, SF_PM25LD256,
    SF_PM25LV512, SF_AT25F512B, SF_AT25SF041, SF_EN25F05, SF_EN25F40, SF_EN25F10A, SF_EN25F20A,
    SF_EN25Q40A, SF_AMICA25LS512,
};

// Printable names of the Serial_Flash_Type families, indexed by family.
extern const char Serial_Flash_Type_Name[SF_UNKNOW + 1][256];

// The ID opcodes asked in this order: JEDEC ID, manufacturer/device ID, electronic signature.
constexpr std::array<std::uint8_t, 3> SERIAL_FLASH_ID_OPCODES = {0x9F, 0x90, 0xAB};

// The part's 24-bit answers to the three ID opcodes, first byte lowest.
struct Serial_Flash_Id
{
    std::uint32_t jedec;              // 0x9F
    std::uint32_t manufacturerDevice; // 0x90
    std::uint32_t signature;          // 0xAB
};

// Three answer bytes as one value, first byte lowest.
std::uint32_t Serial_Flash_Id_Value(const std::uint8_t (&bytes)[3]);

// The command-set family of the part; SF_UNKNOW for a part that must not be
// written. A part that answers nothing known is taken for SF_MX.
Serial_Flash_Type Serial_Flash_Family(const Serial_Flash_Id& id);

// The fitted part, SF_UNDEFINED when none matches.
SerialFlashPart Serial_Flash_Part(const Serial_Flash_Id& id);

// The two command sets kept by a protocol for an identified part.
struct Serial_Flash_Commands
{
    SerialFlashCommand full;  // chip erase included; SF_TYPE SF_UNKNOW when not writable
    SerialFlashCommand write; // the same with chip erase switched off
};

Serial_Flash_Commands Serial_Flash_Commands_For(const Serial_Flash_Id& id);

// The twelve opcodes that are loaded into the chip, SF_Read .. SF_WRSR, in field order.
std::array<std::uint8_t, 12> Serial_Flash_Loaded_Opcodes(const SerialFlashCommand& command);

#endif
