#include "Flash_Piece_Channel.h"

#include "Extension_Unit_Class/Camera_Status.h"

#include <unistd.h>

using Camera_Status::Flash_Transfer_Failed;
using Camera_Status::Piece_Length_Unusable;

namespace {

constexpr useconds_t kProgramPause = 10000;
// Where the GET_LEN answers of a piece read land; the values are not used.
constexpr std::uint32_t kAddressLengthPreset = 4;
constexpr std::uint32_t kDataLengthPreset = 1024;

struct Address_Bytes
{
    explicit Address_Bytes(std::uint32_t address)
        : bytes{static_cast<std::uint8_t>(address), static_cast<std::uint8_t>(address >> 8),
                static_cast<std::uint8_t>(address >> 16), static_cast<std::uint8_t>(address >> 24)}
    {
    }
    std::uint8_t bytes[4];
};

} // namespace

Flash_Piece_Channel::Flash_Piece_Channel(ExtUnit& unit, const Extension_Unit_Chip_Table& table)
    : m_unit(unit), m_table(table)
{
}

int Flash_Piece_Channel::Single(Windows_UVC_xu_control request, void* data)
{
    request.p_data = static_cast<std::uint8_t*>(data);
    return m_unit.EXT_UNIT_IO(&request) == 0 ? 0 : Flash_Transfer_Failed;
}

int Flash_Piece_Channel::Transaction(const Windows_UVC_xu_control_unit& request, void* data)
{
    Windows_UVC_xu_control_unit transaction = request;
    transaction.cur.p_data = static_cast<std::uint8_t*>(data);
    return m_unit.EXT_UNIT_IO(&transaction) == 0 ? 0 : Flash_Transfer_Failed;
}

int Flash_Piece_Channel::Query_Length(std::uint8_t scheme, std::uint16_t& length)
{
    std::uint16_t answer = 0;
    for (std::size_t i = 0; i < m_table.pieceLengthRecordCount; ++i) {
        Windows_UVC_xu_control record = m_table.Windows_GET_Piece_Mes_Length[i];
        const bool asksLength = record.b_Request == UVC_GET_LEN;
        void* data = asksLength ? static_cast<void*>(&record.u_rev) : &scheme;
        record.p_data = static_cast<std::uint8_t*>(data);
        if (m_unit.EXT_UNIT_IO(&record) != 0)
            return Flash_Transfer_Failed;
        if (asksLength)
            answer = static_cast<std::uint16_t>(record.u_rev & 0xFFFF);
    }
    length = answer;
    return 0;
}

int Flash_Piece_Channel::Read(std::uint32_t address, std::uint16_t length, std::uint8_t* buffer)
{
    const Piece_Transfer_Plan plan = Flash_Piece_Transfers(length);
    if (plan.count == 0)
        return Piece_Length_Unusable;
    const std::uint16_t unit = m_table.unitId;
    for (std::uint32_t k = 0; k < plan.count; ++k) {
        const std::uint32_t offset = Transfer_Offset(plan, k);
        Windows_UVC_xu_control addressLength = Get_Len_Request(unit, XU_SEL_PIECE_ADDR, kAddressLengthPreset);
        Windows_UVC_xu_control dataLength = Get_Len_Request(unit, XU_SEL_PIECE_DATA, kDataLengthPreset);
        Address_Bytes piece(address + offset);
        if (Single(addressLength, &addressLength.u_rev) != 0 ||
            Single(Set_Cur_Request(unit, XU_SEL_PIECE_ADDR, 4), piece.bytes) != 0 ||
            Single(dataLength, &dataLength.u_rev) != 0 ||
            Single(Get_Cur_Request(unit, XU_SEL_PIECE_DATA, length), buffer + offset) != 0)
            return Flash_Transfer_Failed;
    }
    return 0;
}

int Flash_Piece_Channel::Set_Address(std::uint32_t address)
{
    Address_Bytes bytes(address);
    return Transaction(m_table.templates.Windows_set_piece_addr, bytes.bytes);
}

int Flash_Piece_Channel::Erase_Sector(std::uint32_t address)
{
    Address_Bytes bytes(address);
    return Transaction(m_table.templates.Windows_set_sector_erase, bytes.bytes);
}

int Flash_Piece_Channel::Program(std::uint32_t address, std::uint16_t length, std::uint8_t* buffer)
{
    const Piece_Transfer_Plan plan = Flash_Piece_Transfers(length);
    if (plan.count == 0)
        return Piece_Length_Unusable;
    const Windows_UVC_xu_control_unit data = {Get_Len_Request(m_table.unitId, XU_SEL_PIECE_DATA, length),
                                              Set_Cur_Request(m_table.unitId, XU_SEL_PIECE_DATA, length)};
    for (std::uint32_t k = 0; k < plan.count; ++k) {
        const std::uint32_t offset = Transfer_Offset(plan, k);
        if (Set_Address(address + offset) != 0 || Transaction(data, buffer + offset) != 0)
            return Flash_Transfer_Failed;
        usleep(kProgramPause);
    }
    return 0;
}

int Flash_Piece_Channel::Piece_Transfers(std::uint8_t request, std::uint32_t address, std::uint8_t* data,
                                         std::uint32_t length)
{
    const Piece_Transfer_Plan plan = Download_Piece_Transfers(length);
    if (plan.count == 0)
        return Piece_Length_Unusable;
    const auto size = static_cast<std::uint16_t>(plan.step);
    const Windows_UVC_xu_control_unit transfer = {
        Get_Len_Request(m_table.unitId, XU_SEL_PIECE_DATA, size),
        request == UVC_SET_CUR ? Set_Cur_Request(m_table.unitId, XU_SEL_PIECE_DATA, size)
                               : Get_Cur_Request(m_table.unitId, XU_SEL_PIECE_DATA, size)};
    // From the top down: the piece's start, which holds the image header in
    // piece 0, is written last, so a failure between transfers leaves no
    // valid header over a partly written piece.
    for (std::uint32_t k = 0; k < plan.count; ++k) {
        const std::uint32_t offset = Transfer_Offset(plan, k);
        if (Set_Address(address + offset) != 0 || Transaction(transfer, data + offset) != 0)
            return Flash_Transfer_Failed;
    }
    return 0;
}

int Flash_Piece_Channel::Write_Piece(std::uint32_t address, std::uint8_t* data, std::uint32_t length)
{
    return Piece_Transfers(UVC_SET_CUR, address, data, length);
}

int Flash_Piece_Channel::Read_Back_Piece(std::uint32_t address, std::uint8_t* data, std::uint32_t length)
{
    return Piece_Transfers(UVC_GET_CUR, address, data, length);
}

int Flash_Piece_Channel::Program_Window(std::uint32_t address, std::uint8_t* data)
{
    if (Set_Address(address) != 0 || Transaction(m_table.templates.Windows_set_program_window, data) != 0)
        return Flash_Transfer_Failed;
    return 0;
}
