#include "emulator/ChipModel.h"

#include "Extension_Unit_Class/Extension_Unit_Templates.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace korvane::emulator {

namespace {

constexpr std::uint16_t kChipIdRegister = 0x20FF;
constexpr std::uint16_t kChipIdARegister = 0x2051;
constexpr std::uint16_t kChipIdBRegister = 0x20D9;
constexpr std::uint16_t kRestartRegister = 0x2034;
constexpr std::uint16_t kModeRegister = 0x20D8;
constexpr std::uint8_t kModeChange = 0x5A;
constexpr std::uint8_t kIdOpcodeIndex = 13;
constexpr std::uint16_t kProgramWindow = 64;
// A query's size is 16 bits: a piece longer than that moves in transfers of this many bytes.
constexpr std::uint32_t kLongPieceTransfer = 0x8000;

// Bits of the GPIO input registers that only the pins drive.
std::uint8_t Read_Only_Bits(std::uint16_t address)
{
    switch (address) {
    case 0x2045: case 0x2046: case 0x2058:
        return 0xFF;
    case 0x204C:
        return 0x08;
    default:
        return 0x00;
    }
}

std::uint32_t Little_Endian(const std::uint8_t* data, int bytes)
{
    std::uint32_t value = 0;
    for (int i = bytes - 1; i >= 0; --i)
        value = value << 8 | data[i];
    return value;
}

void Put_Little_Endian(std::uint8_t* data, std::uint32_t value, int bytes)
{
    for (int i = 0; i < bytes; ++i)
        data[i] = static_cast<std::uint8_t>(value >> (8 * i));
}

} // namespace

ChipModel::ChipModel(const ChipProfile& profile, const FlashPart& flash)
    : m_profile(profile), m_flash(flash), m_pieceLength(profile.pieceLength)
{
    Restart();
}

void ChipModel::Restart()
{
    m_isp.fill(0);
    m_sensor.fill(0);
    m_commandSet.fill(0xFF);
    m_isp[kChipIdRegister] = m_profile.chipId;
    m_isp[kChipIdARegister] = m_profile.chipIdA;
    m_isp[kChipIdBRegister] = m_profile.chipIdB;
    m_ispAddress = m_sensorAddress = 0;
    m_commandIndex = 0;
    m_pieceAddress = 0;
    m_pieceControl = 0;
    m_restartRequested = false;
    m_refusedWrites = 0;
    m_booted = Has_Valid_Header() ? Boot_Mode::Firmware : Boot_Mode::Rom_Boot_Code;
}

bool ChipModel::Has_Valid_Header() const
{
    std::uint8_t header[2];
    m_flash.Read(m_profile.headerOffset, header, 2);
    const std::uint16_t pair = static_cast<std::uint16_t>(header[0] << 8 | header[1]);
    for (std::uint16_t valid : m_profile.headers)
        if (valid != 0 && pair == valid)
            return true;
    return false;
}

std::uint32_t ChipModel::Piece_Transfer_Length() const
{
    return m_pieceLength > 0xFFFF ? kLongPieceTransfer : m_pieceLength;
}

bool ChipModel::Take_Restart_Request()
{
    const bool requested = m_restartRequested;
    m_restartRequested = false;
    return requested;
}

std::uint32_t ChipModel::Control_Length(std::uint8_t selector) const
{
    switch (selector) {
    case XU_SEL_ISP_ADDR: case XU_SEL_SENSOR_ADDR: case XU_SEL_SENSOR_VALUE:
        return 2;
    case XU_SEL_ISP_VALUE: case XU_SEL_FLASH_CMD_INDEX: case XU_SEL_FLASH_CMD_VALUE: case XU_SEL_PIECE_CONTROL:
        return 1;
    case XU_SEL_SECTOR_ERASE: case XU_SEL_PIECE_ADDR:
        return 4;
    case XU_SEL_PIECE_DATA:
        return Piece_Transfer_Length();
    case XU_SEL_PROGRAM_WINDOW:
        return kProgramWindow;
    case XU_SEL_FLASH_ID:
        return 3;
    default:
        return 0;
    }
}

int ChipModel::Answer(const XuQuery& query, std::uint8_t* data)
{
    if (query.unit != m_profile.unitId)
        return ENOENT;
    const std::uint32_t length = Control_Length(query.selector);
    if (length == 0)
        return ENOENT;
    switch (query.query) {
    case kGetLen:
        if (query.size != 2)
            return ENOBUFS;
        // The piece length goes into 16 bits: 0x10000 reads as 0.
        Put_Little_Endian(data, query.selector == XU_SEL_PIECE_DATA ? m_pieceLength : length, 2);
        return 0;
    case kGetInfo:
        if (query.size != 1)
            return ENOBUFS;
        data[0] = 0x03; // supports GET and SET
        return 0;
    case kGetMin: case kGetMax: case kGetRes: case kGetDef:
        if (query.size != length)
            return ENOBUFS;
        std::memset(data, 0, length);
        return 0;
    case kSetCur:
        return query.size != length ? ENOBUFS : Set(query.selector, data);
    case kGetCur:
        return query.size != length ? ENOBUFS : Get(query.selector, data);
    default:
        return EINVAL;
    }
}

void ChipModel::Write_Isp(std::uint16_t address, std::uint8_t value)
{
    const std::uint8_t kept = Read_Only_Bits(address);
    m_isp[address] = static_cast<std::uint8_t>((value & ~kept) | (m_isp[address] & kept));
    const bool modeChange = address == kModeRegister && value == kModeChange;
    if ((address == kRestartRegister && value == 0x01) || (modeChange && m_profile.modeChangeLeavesBus))
        m_restartRequested = true;
}

std::uint32_t ChipModel::Flash_Id() const { return m_flash.Identify(m_commandSet[kIdOpcodeIndex]); }

bool ChipModel::Command_Set_Fits_Part() const
{
    const auto wanted = Write_Command_Set(m_flash.Part());
    return wanted && std::equal(wanted->begin(), wanted->end(), m_commandSet.begin() + 1);
}

template <typename Write>
int ChipModel::Guarded_Write(Write&& write)
{
    if (!Command_Set_Fits_Part()) {
        ++m_refusedWrites;
        return EIO;
    }
    write();
    return 0;
}

int ChipModel::Set(std::uint8_t selector, const std::uint8_t* data)
{
    switch (selector) {
    case XU_SEL_ISP_ADDR:
        m_ispAddress = static_cast<std::uint16_t>(Little_Endian(data, 2));
        return 0;
    case XU_SEL_ISP_VALUE:
        Write_Isp(m_ispAddress, data[0]);
        return 0;
    case XU_SEL_SENSOR_ADDR:
        m_sensorAddress = static_cast<std::uint16_t>(Little_Endian(data, 2));
        return 0;
    case XU_SEL_SENSOR_VALUE:
        m_sensor[m_sensorAddress] = static_cast<std::uint16_t>(Little_Endian(data, 2));
        return 0;
    case XU_SEL_FLASH_CMD_INDEX:
        m_commandIndex = data[0];
        return 0;
    case XU_SEL_FLASH_CMD_VALUE:
        m_commandSet[m_commandIndex] = data[0];
        if (m_commandIndex == kIdOpcodeIndex)
            Put_Little_Endian(&m_isp[kFlashIdRegister], Flash_Id(), 3);
        return 0;
    case XU_SEL_SECTOR_ERASE:
        return Guarded_Write([&] { m_flash.Erase_Sector(Little_Endian(data, 4)); });
    case XU_SEL_PIECE_ADDR:
        m_pieceAddress = Little_Endian(data, 4);
        return 0;
    case XU_SEL_PIECE_DATA:
        return Guarded_Write([&] { m_flash.Program(m_pieceAddress, data, Piece_Transfer_Length()); });
    case XU_SEL_PIECE_CONTROL:
        m_pieceControl = data[0];
        return 0;
    case XU_SEL_PROGRAM_WINDOW:
        return Guarded_Write([&] { m_flash.Program(m_pieceAddress, data, kProgramWindow); });
    default:
        return EIO; // read-only control
    }
}

int ChipModel::Get(std::uint8_t selector, std::uint8_t* data)
{
    switch (selector) {
    case XU_SEL_ISP_ADDR:
        Put_Little_Endian(data, m_ispAddress, 2);
        return 0;
    case XU_SEL_ISP_VALUE:
        data[0] = m_isp[m_ispAddress];
        return 0;
    case XU_SEL_SENSOR_ADDR:
        Put_Little_Endian(data, m_sensorAddress, 2);
        return 0;
    case XU_SEL_SENSOR_VALUE:
        Put_Little_Endian(data, m_sensor[m_sensorAddress], 2);
        return 0;
    case XU_SEL_FLASH_CMD_INDEX:
        data[0] = m_commandIndex;
        return 0;
    case XU_SEL_FLASH_CMD_VALUE:
        data[0] = m_commandSet[m_commandIndex];
        return 0;
    case XU_SEL_SECTOR_ERASE:
        std::memset(data, 0, 4);
        return 0;
    case XU_SEL_PIECE_ADDR:
        Put_Little_Endian(data, m_pieceAddress, 4);
        return 0;
    case XU_SEL_PIECE_DATA:
        m_flash.Read(m_pieceAddress, data, Piece_Transfer_Length());
        return 0;
    case XU_SEL_PIECE_CONTROL:
        data[0] = m_pieceControl;
        return 0;
    case XU_SEL_PROGRAM_WINDOW:
        m_flash.Read(m_pieceAddress, data, kProgramWindow);
        return 0;
    case XU_SEL_FLASH_ID:
        Put_Little_Endian(data, Flash_Id(), 3);
        return 0;
    default:
        return EIO;
    }
}

} // namespace korvane::emulator
