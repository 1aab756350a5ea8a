#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"

#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>
#include <utility>

// Flash access, ISP memory pieces, GPIO and firmware download are not
// implemented yet: until they are, those operations report failure
// (-1, or -3 for the piece transfers) without sending anything.

namespace {

constexpr int kNotAvailable = -1;
constexpr int kPieceTransferFailed = -3;

} // namespace

Extension_Unit_Chip_Protocol::Extension_Unit_Chip_Protocol(Extension_Unit_Base_Class* extUnit,
                                                           const Extension_Unit_Chip_Table& table,
                                                           const char* name)
    : pExtUnit(extUnit),
      SF_Command(Unidentified_Serial_Flash_Command()),
      SF_Command_Set(Unidentified_Serial_Flash_Command()),
      str_name(name),
      u_StepNum(0),
      f_Schedule(0.0f),
      m_table(table)
{
}

Extension_Unit_Chip_Protocol::~Extension_Unit_Chip_Protocol() = default;

void Extension_Unit_Chip_Protocol::Own_Extension_Unit(std::unique_ptr<Extension_Unit_Base_Class> extUnit)
{
    m_ownedExtUnit = std::move(extUnit);
    pExtUnit = m_ownedExtUnit.get();
}

int Extension_Unit_Chip_Protocol::Send(const Windows_UVC_xu_control_unit& request, void* data)
{
    Windows_UVC_xu_control_unit transaction = request;
    transaction.cur.p_data = static_cast<std::uint8_t*>(data);
    return pExtUnit->Unit(m_table.unitId).EXT_UNIT_IO(&transaction);
}

int Extension_Unit_Chip_Protocol::Read_ISP_Register(std::uint16_t address, std::uint8_t* value)
{
    std::uint8_t addressBytes[2] = {static_cast<std::uint8_t>(address & 0xFF),
                                    static_cast<std::uint8_t>(address >> 8)};
    const int addressResult = Send(m_table.templates.Windows_set_isp_addr, addressBytes);
    return addressResult | Send(m_table.templates.Windows_get_isp_val, value);
}

int Extension_Unit_Chip_Protocol::Write_ISP_Register(std::uint16_t address, std::uint8_t value)
{
    std::uint8_t addressBytes[2] = {static_cast<std::uint8_t>(address & 0xFF),
                                    static_cast<std::uint8_t>(address >> 8)};
    const int addressResult = Send(m_table.templates.Windows_set_isp_addr, addressBytes);
    return addressResult | Send(m_table.templates.Windows_set_isp_val, &value);
}

int Extension_Unit_Chip_Protocol::Read_Sensor_Register(std::uint16_t address, std::uint16_t* value)
{
    std::uint8_t addressBytes[2] = {static_cast<std::uint8_t>(address & 0xFF),
                                    static_cast<std::uint8_t>(address >> 8)};
    std::uint8_t valueBytes[2] = {static_cast<std::uint8_t>(*value & 0xFF), static_cast<std::uint8_t>(*value >> 8)};
    const int addressResult = Send(m_table.templates.Windows_set_sensor_addr, addressBytes);
    const int valueResult = Send(m_table.templates.Windows_get_sensor_val, valueBytes);
    *value = static_cast<std::uint16_t>(valueBytes[0] | (valueBytes[1] << 8));
    return addressResult | valueResult;
}

int Extension_Unit_Chip_Protocol::Write_Sensor_Register(std::uint16_t address, std::uint16_t value)
{
    std::uint8_t addressBytes[2] = {static_cast<std::uint8_t>(address & 0xFF),
                                    static_cast<std::uint8_t>(address >> 8)};
    std::uint8_t valueBytes[2] = {static_cast<std::uint8_t>(value & 0xFF), static_cast<std::uint8_t>(value >> 8)};
    const int addressResult = Send(m_table.templates.Windows_set_sensor_addr, addressBytes);
    return addressResult | Send(m_table.templates.Windows_set_sensor_val, valueBytes);
}

int Extension_Unit_Chip_Protocol::Read_ISP_Mem_Piece(std::uint16_t, std::uint8_t*) { return kPieceTransferFailed; }

int Extension_Unit_Chip_Protocol::Write_ISP_Mem_Piece(std::uint16_t, std::uint8_t*) { return kPieceTransferFailed; }

int Extension_Unit_Chip_Protocol::Set_Flash_type(bool)
{
    // No flash part has been identified, so no command set may be loaded.
    return -4;
}

SerialFlashCommand Extension_Unit_Chip_Protocol::Read_Flash_type(std::uint8_t* type)
{
    if (type)
        *type = static_cast<std::uint8_t>(SF_Command.SF_TYPE);
    return SF_Command;
}

int Extension_Unit_Chip_Protocol::Read_Flash_type() { return 0; }

int Extension_Unit_Chip_Protocol::Get_Flash_Length_Mes(std::uint16_t&) { return kPieceTransferFailed; }

int Extension_Unit_Chip_Protocol::Set_Rom_Code(std::uint8_t*, std::uint32_t) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Download_Firmware(std::uint8_t*, std::uint32_t, float*) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::reset() { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Read_Exid(std::uint8_t*) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Write_Exid(std::uint8_t*) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Read_Flash_Piece(std::uint16_t, std::uint8_t*) { return kPieceTransferFailed; }

int Extension_Unit_Chip_Protocol::Write_Flash_Piece(std::uint16_t, std::uint8_t*) { return kPieceTransferFailed; }

int Extension_Unit_Chip_Protocol::Output_GPIO_Init_Api(std::uint32_t) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Input_GPIO_Init_Api(std::uint32_t) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Set_Output_GPIO_Api(std::uint32_t, std::uint8_t) { return kNotAvailable; }

int Extension_Unit_Chip_Protocol::Get_Input_GPIO_Api(std::uint32_t, std::uint8_t*) { return kNotAvailable; }

const char* Extension_Unit_Chip_Protocol::This_is() { return str_name.c_str(); }

std::uint8_t Extension_Unit_Chip_Protocol::Read_Id_Register(std::uint16_t address, std::uint8_t preset)
{
    std::uint8_t value = preset;
    Read_ISP_Register(address, &value);
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\t this %04x %02x!\r\n", address, value);
    return value;
}

int Extension_Unit_Chip_Protocol::Recognise(const Chip_Detection_Table& detection)
{
    Chip_Id_Registers registers{};
    registers.id = Read_Id_Register(ISP_CHIP_ID, detection.presetId);
    if (detection.readsAllThree) {
        registers.a = Read_Id_Register(ISP_CHIP_ID_A, 0);
        registers.b = Read_Id_Register(ISP_CHIP_ID_B, 0);
    }
    const std::uint32_t chipCode = Match_Chip_Id(detection.rules, detection.ruleCount, registers);
    if (chipCode == 0)
        return 0;
    pExtUnit->ChipType = chipCode;
    return 1;
}
