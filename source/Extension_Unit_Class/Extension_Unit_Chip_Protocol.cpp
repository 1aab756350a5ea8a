#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Chip_Detection.h"
#include "Extension_Unit_Class/Firmware_Form.h"
#include "Extension_Unit_Class/camera_api.h"

#include "Flash_Piece_Channel.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <utility>
#include <vector>

#include <unistd.h>

using namespace Camera_Status;

namespace {

constexpr std::uint16_t kUserPieces = 3;
constexpr std::uint16_t kExidPiece = 13;
constexpr std::size_t kExidOffset = 3584;
constexpr std::size_t kExidLength = 16;
constexpr std::uint8_t kIdOpcodeIndex = 13;
constexpr std::uint16_t kFlashIdRegister = 0x2C24;
constexpr std::uint8_t kNoGpioFunction = 255;
constexpr std::size_t kProgramWindowLength = 64;
constexpr useconds_t kPiecePause = 10000;

// The log line of one transfer result, in the library's "[name]=value" form.
void Log_Result(const char* name, int result)
{
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\r\n[%s]=%d\r\n", name, result);
}

std::uint32_t Piece_Address(std::uint16_t piece) { return static_cast<std::uint32_t>(piece) << 12; }

const char* Base_Name(const char* path)
{
    const char* slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

void Trace(const char* file, int line, const char* function)
{
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\r\n %s(%d)-%s\r\n", Base_Name(file), line, function);
}

void Log_Flash_Type(Serial_Flash_Type family)
{
    FILE* log = Camera_Log_Stream();
    if (!log)
        return;
    char format[256];
    std::snprintf(format, sizeof format, "%s%s", "\r\n[%s]=", "Get_Flash_Type= %s \r\n");
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::fprintf(log, format, "Put_Serial_Flash_Type_Name(SF_Type)", Serial_Flash_Type_Name[family]);
#pragma GCC diagnostic pop
}

} // namespace

// A trace line of a flash path on the library's log stream: source file, line, function.
#define Trace_Flash_Path() Trace(__FILE__, __LINE__, __func__)

Extension_Unit_Chip_Protocol::Extension_Unit_Chip_Protocol(Extension_Unit_Base_Class* extUnit,
                                                           const Extension_Unit_Chip_Table& table,
                                                           const char* name)
    : pExtUnit(extUnit),
      SF_Command(Unidentified_Serial_Flash_Command()),
      SF_Command_Set(Unidentified_Serial_Flash_Command()),
      str_name(name),
      u_StepNum(0),
      f_Schedule(0.0f),
      m_table(table),
      m_flashIdentified(false)
{
}

Extension_Unit_Chip_Protocol::~Extension_Unit_Chip_Protocol() = default;

std::unique_ptr<Extension_Unit_Chip_Protocol> Extension_Unit_Chip_Protocol::On_Table(
    Extension_Unit_Base_Class* extUnit, const Extension_Unit_Chip_Table& table, const char* name)
{
    return std::unique_ptr<Extension_Unit_Chip_Protocol>(new Extension_Unit_Chip_Protocol(extUnit, table, name));
}

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
    if (!value)
        return Bad_Argument;
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
    if (!value)
        return Bad_Argument;
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

int Extension_Unit_Chip_Protocol::Read_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer)
{
    Trace_Flash_Path();
    if (!buffer)
        return Bad_Argument;
    if (const int prepared = Ensure_Flash_Identified())
        return prepared;
    if (SF_Command.SF_TYPE == SF_UNKNOW)
        return No_Flash;
    if (const int loaded = Set_Flash_type(false))
        return loaded;
    std::uint16_t length = 0;
    if (Get_Flash_Length_Mes(length) != 0)
        return Flash_Transfer_Failed;
    if (!Divides_A_Piece(length))
        return Piece_Length_Unusable;
    return Piece_Channel().Read(Piece_Address(piece), length, buffer);
}

int Extension_Unit_Chip_Protocol::Write_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer)
{
    Trace_Flash_Path();
    if (!buffer)
        return Bad_Argument;
    if (const int loaded = Set_Flash_type(false))
        return loaded;
    // The piece is written in the chip's transfer length; a length that
    // cannot make up the piece is refused before the erase, so nothing is lost.
    std::uint16_t length = 0;
    if (Get_Flash_Length_Mes(length) != 0)
        return Flash_Transfer_Failed;
    if (!Divides_A_Piece(length))
        return Piece_Length_Unusable;
    Flash_Piece_Channel channel = Piece_Channel();
    if (channel.Erase_Sector(Piece_Address(piece)) != 0)
        return Flash_Transfer_Failed;
    return channel.Program(Piece_Address(piece), length, buffer);
}

int Extension_Unit_Chip_Protocol::Set_Flash_type(bool full)
{
    Trace_Flash_Path();
    if (const int identified = Ensure_Flash_Identified())
        return identified;
    if (SF_Command.SF_TYPE == SF_UNKNOW)
        return No_Flash;
    const std::array<std::uint8_t, 12> opcodes = Serial_Flash_Loaded_Opcodes(full ? SF_Command : SF_Command_Set);
    for (std::size_t i = 0; i < opcodes.size(); ++i)
        if (Load_Flash_Command(static_cast<std::uint8_t>(i + 1), opcodes[i]) != 0)
            return Flash_Transfer_Failed;
    return 0;
}

SerialFlashCommand Extension_Unit_Chip_Protocol::Read_Flash_type(std::uint8_t* type)
{
    Trace_Flash_Path();
    Serial_Flash_Id id{};
    // A part that could not be asked keeps what was known of it before.
    if (Read_Flash_Ids(id) == 0)
        Adopt_Flash_Commands(id);
    if (type)
        *type = SF_Command.SF_TYPE;
    return SF_Command;
}

int Extension_Unit_Chip_Protocol::Read_Flash_type()
{
    Trace_Flash_Path();
    Serial_Flash_Id id{};
    if (Read_Flash_Ids(id) != 0)
        return SF_UNDEFINED;
    return Serial_Flash_Part(id);
}

int Extension_Unit_Chip_Protocol::Get_Flash_Length_Mes(std::uint16_t& length)
{
    Trace_Flash_Path();
    return Piece_Channel().Query_Length(SF_Command_Set.SF_ReadId, length);
}

bool Extension_Unit_Chip_Protocol::Takes_Image(const std::uint8_t* image, std::uint32_t length, bool whole) const
{
    const Firmware_Layout& layout = m_table.firmware;
    const std::int32_t type = FirmwareType(image, length);
    const bool known = std::find(std::begin(layout.imageTypes), std::end(layout.imageTypes), type) !=
                       std::end(layout.imageTypes);
    return type != 0 && known && (!whole || length <= layout.areaLength);
}

void Extension_Unit_Chip_Protocol::Take_Download_Step(float* progress)
{
    ++u_StepNum;
    f_Schedule = static_cast<float>(u_StepNum) / m_table.progressDivisor;
    std::fprintf(stderr, "DownLoad Schedule %f %%\r\n", f_Schedule);
    if (progress)
        *progress = f_Schedule;
}

// Erases the image area from the top, writes and verifies it piece by piece
// and writes the piece with the image header last, so that a download that
// stops half-way leaves no valid header over a partial image.
int Extension_Unit_Chip_Protocol::Download_Firmware(std::uint8_t* image, std::uint32_t length, float* progress)
{
    Trace_Flash_Path();
    const Firmware_Layout& layout = m_table.firmware;
    if (!Takes_Image(image, length, true))
        return Image_Does_Not_Fit;
    u_StepNum = 0;
    Take_Download_Step(progress);

    std::vector<std::uint8_t> readBack(Flash_Piece_Channel::PIECE_SIZE, 0);
    if (const int loaded = Set_Flash_type(false))
        return loaded;
    if (layout.stepAfterFlashType)
        Take_Download_Step(progress);
    std::uint16_t answer = 0;
    if (Get_Flash_Length_Mes(answer) != 0)
        return Flash_Transfer_Failed;
    // A length that does not divide the area cannot be written; nothing is erased yet.
    const Download_Plan plan = Plan_Download(answer, layout.areaLength);
    if (plan.refusal != 0)
        return plan.refusal;
    Take_Download_Step(progress);

    Flash_Piece_Channel channel = Piece_Channel();
    for (std::uint32_t n = 0; n < plan.sectors; ++n) {
        const int erased = channel.Erase_Sector(layout.areaStart + Erased_Sector_Offset(plan, n));
        Log_Result("return_", erased);
        if (erased != 0)
            return Flash_Transfer_Failed;
        Take_Download_Step(progress);
    }

    std::vector<std::uint8_t> padded(layout.areaLength, 0);
    std::copy_n(image, length, padded.begin());
    readBack.resize(std::max<std::size_t>(readBack.size(), plan.pieceLength));
    for (std::uint32_t n = 0; n < plan.pieces; ++n) {
        // Pieces 1 .. N-1 in rising order, then piece 0.
        const std::uint32_t offset = Download_Piece_At(plan, n) * plan.pieceLength;
        std::uint8_t* data = padded.data() + offset;
        if (channel.Write_Piece(layout.areaStart + offset, data, plan.pieceLength) != 0)
            return Flash_Transfer_Failed;
        usleep(kPiecePause);
        Take_Download_Step(progress);
        if (channel.Read_Back_Piece(layout.areaStart + offset, readBack.data(), plan.pieceLength) != 0)
            return Flash_Transfer_Failed;
        usleep(kPiecePause);
        Take_Download_Step(progress);
        if (!Read_Back_Verified(plan, data, readBack.data())) {
            Blank_Header_Sector(channel);
            reset();
            return Verify_Failed;
        }
    }
    Take_Download_Step(progress);
    reset();
    return 0;
}

// The header sector is blanked so that the chip starts its boot code. When
// the chip's piece length does not let the piece be written, the sector is
// erased alone: erased bytes read 0xFF all the same.
void Extension_Unit_Chip_Protocol::Blank_Header_Sector(Flash_Piece_Channel& channel)
{
    const std::uint16_t headerPiece = static_cast<std::uint16_t>(m_table.firmware.headerAddress >> 12);
    std::vector<std::uint8_t> blank(Flash_Piece_Channel::PIECE_SIZE, 0xFF);
    if (Write_ISP_Mem_Piece(headerPiece, blank.data()) != 0)
        channel.Erase_Sector(Piece_Address(headerPiece));
}

// Clears the image header (programming only clears bits, so the rest of the
// window stays as it was): the chip then starts its ROM boot code.
int Extension_Unit_Chip_Protocol::Set_Rom_Code(std::uint8_t* image, std::uint32_t length)
{
    Trace_Flash_Path();
    if (length == 0 || !Takes_Image(image, length, false)) {
        reset();
        return Image_Does_Not_Fit;
    }
    if (const int loaded = Set_Flash_type(false))
        return loaded;
    std::uint16_t pieceLength = 0;
    if (Get_Flash_Length_Mes(pieceLength) != 0)
        return Flash_Transfer_Failed;
    std::uint8_t window[kProgramWindowLength];
    std::fill(std::begin(window), std::end(window), 0xFF);
    window[0] = 0x00;
    window[1] = 0x00;
    if (Piece_Channel().Program_Window(m_table.firmware.headerAddress, window) != 0)
        return Flash_Transfer_Failed;
    usleep(kPiecePause);
    reset();
    return 0;
}

int Extension_Unit_Chip_Protocol::reset()
{
    for (const Isp_Register_Write& write : m_table.firmware.resetSequence)
        if (Write_ISP_Register(write.address, write.value) != 0)
            return Reset_Failed;
    return 0;
}

// The identification block is 16 bytes at offset 3584 of ISP memory piece 13.
int Extension_Unit_Chip_Protocol::Read_Exid(std::uint8_t* buffer)
{
    if (!buffer)
        return Bad_Argument;
    std::vector<std::uint8_t> piece(Flash_Piece_Channel::PIECE_SIZE, 0);
    const int result = Read_ISP_Mem_Piece(kExidPiece, piece.data());
    if (result == 0)
        std::memcpy(buffer, piece.data() + kExidOffset, kExidLength);
    return result;
}

// A read-modify-write of piece 13: the rest of the piece is written back as it was.
int Extension_Unit_Chip_Protocol::Write_Exid(std::uint8_t* buffer)
{
    if (!buffer)
        return Bad_Argument;
    std::vector<std::uint8_t> piece(Flash_Piece_Channel::PIECE_SIZE, 0);
    if (const int read = Read_ISP_Mem_Piece(kExidPiece, piece.data()))
        return read;
    std::memcpy(piece.data() + kExidOffset, buffer, kExidLength);
    return Write_ISP_Mem_Piece(kExidPiece, piece.data());
}

int Extension_Unit_Chip_Protocol::Read_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer)
{
    Trace_Flash_Path();
    if (piece >= kUserPieces)
        return Piece_Out_Of_Range;
    return Read_ISP_Mem_Piece(m_table.Allow_Read_Flash_Piece_index[piece], buffer);
}

int Extension_Unit_Chip_Protocol::Write_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer)
{
    Trace_Flash_Path();
    if (piece >= kUserPieces)
        return Piece_Out_Of_Range;
    const std::uint16_t flashPiece = m_table.Allow_Read_Flash_Piece_index[piece];
    if (flashPiece == (m_table.firmware.headerAddress >> 12))
        return Header_Piece_Refused;
    return Write_ISP_Mem_Piece(flashPiece, buffer);
}

int Extension_Unit_Chip_Protocol::Write_Flash_Piece_Over_Firmware_Header(std::uint16_t piece, std::uint8_t* buffer)
{
    Trace_Flash_Path();
    if (piece >= kUserPieces)
        return Piece_Out_Of_Range;
    return Write_ISP_Mem_Piece(m_table.Allow_Read_Flash_Piece_index[piece], buffer);
}

int Extension_Unit_Chip_Protocol::Output_GPIO_Init_Api(std::uint32_t pin)
{
    GPIO_CONTROL control;
    if (Get_GPIO(pin, &control) != 0)
        return Unknown_Pin;
    return GPIO_Output_Init(control);
}

int Extension_Unit_Chip_Protocol::Input_GPIO_Init_Api(std::uint32_t pin)
{
    GPIO_CONTROL control;
    if (Get_GPIO(pin, &control) != 0)
        return Unknown_Pin;
    return GPIO_Input_Init(control);
}

int Extension_Unit_Chip_Protocol::Set_Output_GPIO_Api(std::uint32_t pin, std::uint8_t level)
{
    GPIO_CONTROL control;
    if (Get_GPIO(pin, &control) != 0)
        return Unknown_Pin;
    return Set_GPIO_Output(control, level);
}

int Extension_Unit_Chip_Protocol::Get_Input_GPIO_Api(std::uint32_t pin, std::uint8_t* level)
{
    GPIO_CONTROL control;
    if (!level)
        return Bad_Argument;
    if (Get_GPIO(pin, &control) != 0)
        return Unknown_Pin;
    return Get_GPIO_Input(control, level);
}

int Extension_Unit_Chip_Protocol::Get_GPIO(std::uint32_t pin, GPIO_CONTROL* control)
{
    return Look_Up_GPIO(pin, control);
}

int Extension_Unit_Chip_Protocol::GPIO_Output_Init(GPIO_CONTROL control)
{
    return Update_Register_Bit(control.Output_Enable.Reg_Addr, control.Output_Enable.Bits_index, true);
}

int Extension_Unit_Chip_Protocol::GPIO_Input_Init(GPIO_CONTROL control)
{
    int result = Update_Register_Bit(control.Output_Enable.Reg_Addr, control.Output_Enable.Bits_index, false);
    const Reg_Bits_Des& pullDown = control.Pull_down;
    if (pullDown.Reg_Addr != 0 && pullDown.Vail < kNoGpioFunction)
        result |= Update_Register_Bit(pullDown.Reg_Addr, pullDown.Bits_index, pullDown.Vail != 0);
    return result;
}

int Extension_Unit_Chip_Protocol::Set_GPIO_Output(GPIO_CONTROL control, std::uint8_t level)
{
    return Update_Register_Bit(control.Output_Value.Reg_Addr, control.Output_Value.Bits_index, level != 0);
}

int Extension_Unit_Chip_Protocol::Get_GPIO_Input(GPIO_CONTROL control, std::uint8_t* level)
{
    std::uint8_t value = 0;
    const int result = Read_ISP_Register(control.Input_Value.Reg_Addr, &value);
    *level = GPIO_Input_Level(control, value);
    return result;
}

const char* Extension_Unit_Chip_Protocol::This_is() { return str_name.c_str(); }

std::uint8_t Extension_Unit_Chip_Protocol::Read_Id_Register(std::uint16_t address, std::uint8_t preset)
{
    std::uint8_t value = preset;
    Read_ISP_Register(address, &value);
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\t this %04x %02x!\r\n", address, value);
    return value;
}

Chip_Id_Registers Extension_Unit_Chip_Protocol::Read_Chip_Id(const Chip_Detection_Table& detection)
{
    Chip_Id_Registers registers{};
    registers.id = Read_Id_Register(ISP_CHIP_ID, detection.presetId);
    if (detection.readsAllThree) {
        registers.a = Read_Id_Register(ISP_CHIP_ID_A, 0);
        registers.b = Read_Id_Register(ISP_CHIP_ID_B, 0);
    }
    return registers;
}

int Extension_Unit_Chip_Protocol::Recognise(const Chip_Detection_Table& detection)
{
    const std::uint32_t chipCode = Chip_Test_Code(detection, Read_Chip_Id(detection));
    if (chipCode == 0)
        return 0;
    pExtUnit->ChipType = chipCode;
    return 1;
}

// A failed read leaves 0 in the byte, and the write goes on with it.
int Extension_Unit_Chip_Protocol::Update_Register_Bit(std::uint16_t address, std::uint8_t bit, bool set)
{
    std::uint8_t value = 0;
    const int readResult = Read_ISP_Register(address, &value);
    const std::uint8_t mask = static_cast<std::uint8_t>(1u << bit);
    value = set ? static_cast<std::uint8_t>(value | mask) : static_cast<std::uint8_t>(value & ~mask);
    return readResult | Write_ISP_Register(address, value);
}

Flash_Piece_Channel Extension_Unit_Chip_Protocol::Piece_Channel()
{
    return Flash_Piece_Channel(pExtUnit->Unit(m_table.unitId), m_table);
}

// The opcode is not sent after a failed index: it would land at the wrong index.
int Extension_Unit_Chip_Protocol::Load_Flash_Command(std::uint8_t index, std::uint8_t opcode)
{
    if (Send(m_table.templates.Windows_SET_Flash_Type[0], &index) != 0 ||
        Send(m_table.templates.Windows_SET_Flash_Type[1], &opcode) != 0)
        return Flash_Transfer_Failed;
    return 0;
}

int Extension_Unit_Chip_Protocol::Read_Flash_Id_Bytes(std::uint8_t (&bytes)[3])
{
    if (m_table.flashIdSource == Flash_Id_Source::Id_Selector)
        return Send(m_table.templates.Windows_get_flash_id, bytes);
    int result = 0;
    for (std::uint16_t i = 0; i < 3; ++i)
        result |= Read_ISP_Register(static_cast<std::uint16_t>(kFlashIdRegister + i), &bytes[i]);
    return result;
}

int Extension_Unit_Chip_Protocol::Read_Flash_Ids(Serial_Flash_Id& id)
{
    std::uint32_t* answers[] = {&id.jedec, &id.manufacturerDevice, &id.signature};
    for (std::size_t i = 0; i < SERIAL_FLASH_ID_OPCODES.size(); ++i) {
        std::uint8_t bytes[3] = {0, 0, 0};
        if (Load_Flash_Command(kIdOpcodeIndex, SERIAL_FLASH_ID_OPCODES[i]) != 0 || Read_Flash_Id_Bytes(bytes) != 0)
            return Flash_Transfer_Failed;
        *answers[i] = Serial_Flash_Id_Value(bytes);
    }
    return 0;
}

void Extension_Unit_Chip_Protocol::Adopt_Flash_Commands(const Serial_Flash_Id& id)
{
    const Serial_Flash_Commands commands = Serial_Flash_Commands_For(id);
    SF_Command = commands.full;
    SF_Command_Set = commands.write;
    m_flashIdentified = true;
    Log_Flash_Type(static_cast<Serial_Flash_Type>(SF_Command.SF_TYPE));
}

int Extension_Unit_Chip_Protocol::Ensure_Flash_Identified()
{
    if (m_flashIdentified)
        return 0;
    Serial_Flash_Id id{};
    if (Read_Flash_Ids(id) != 0)
        return Flash_Transfer_Failed;
    Adopt_Flash_Commands(id);
    return 0;
}
