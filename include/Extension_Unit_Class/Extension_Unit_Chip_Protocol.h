#ifndef KORVANE_EXTENSION_UNIT_CHIP_PROTOCOL_H
#define KORVANE_EXTENSION_UNIT_CHIP_PROTOCOL_H

// The operations shared by every chip protocol, driven by the chip's table.

#include "Extension_Unit_Class/Extension_Unit_Base_Class.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"
#include "Extension_Unit_Class/Extension_Unit_GPIO.h"
#include "Extension_Unit_Class/Serial_Flash_Identification.h"

#include <memory>
#include <string>

class Flash_Piece_Channel;

class Extension_Unit_Chip_Protocol : public Extension_Unit_Base_Protocol
{
public:
    ~Extension_Unit_Chip_Protocol() override;

    int Read_ISP_Register(std::uint16_t address, std::uint8_t* value) override;
    int Write_ISP_Register(std::uint16_t address, std::uint8_t value) override;
    int Read_Sensor_Register(std::uint16_t address, std::uint16_t* value) override;
    int Write_Sensor_Register(std::uint16_t address, std::uint16_t value) override;
    int Read_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Write_ISP_Mem_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    int Set_Flash_type(bool full) override;
    SerialFlashCommand Read_Flash_type(std::uint8_t* type) override;
    int Read_Flash_type() override;
    int Get_Flash_Length_Mes(std::uint16_t& length) override;
    int Set_Rom_Code(std::uint8_t* image, std::uint32_t length) override;
    int Download_Firmware(std::uint8_t* image, std::uint32_t length, float* progress) override;
    int reset() override;
    int Read_Exid(std::uint8_t* buffer) override;
    int Write_Exid(std::uint8_t* buffer) override;
    int Read_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    // A user piece whose flash piece holds the firmware image header is
    // refused (Header_Piece_Refused): erasing it would leave the module on its boot code.
    int Write_Flash_Piece(std::uint16_t piece, std::uint8_t* buffer) override;
    // The same write, allowed to land on the firmware header's piece.
    int Write_Flash_Piece_Over_Firmware_Header(std::uint16_t piece, std::uint8_t* buffer);
    int Output_GPIO_Init_Api(std::uint32_t pin) override;
    int Input_GPIO_Init_Api(std::uint32_t pin) override;
    int Set_Output_GPIO_Api(std::uint32_t pin, std::uint8_t level) override;
    int Get_Input_GPIO_Api(std::uint32_t pin, std::uint8_t* level) override;
    const char* This_is() override;

    // The registers of a pin: 0, or Unknown_Pin for a pin that does not exist.
    int Get_GPIO(std::uint32_t pin, GPIO_CONTROL* control);
    // Read-modify-writes of the pin's registers; the or of all transfer results.
    int GPIO_Output_Init(GPIO_CONTROL control);
    int GPIO_Input_Init(GPIO_CONTROL control);
    int Set_GPIO_Output(GPIO_CONTROL control, std::uint8_t level);
    int Get_GPIO_Input(GPIO_CONTROL control, std::uint8_t* level);

    // Takes over the control object this protocol drives, so that it lives as long as the protocol.
    void Own_Extension_Unit(std::unique_ptr<Extension_Unit_Base_Class> extUnit);

    // The shared protocol on a chip's table alone, for a chip with no class of its own.
    static std::unique_ptr<Extension_Unit_Chip_Protocol> On_Table(Extension_Unit_Base_Class* extUnit,
                                                                  const Extension_Unit_Chip_Table& table,
                                                                  const char* name);

    // The registers a chip test reads, each logged: the id (the preset kept when
    // the read fails), then a and b for a test that reads all three (else 0).
    Chip_Id_Registers Read_Chip_Id(const Chip_Detection_Table& detection);

    Extension_Unit_Base_Class* pExtUnit; // the control object driven; owned only after Own_Extension_Unit
    SerialFlashCommand SF_Command;
    SerialFlashCommand SF_Command_Set;
    std::string str_name;
    std::uint32_t u_StepNum;
    float f_Schedule;

protected:
    Extension_Unit_Chip_Protocol(Extension_Unit_Base_Class* extUnit, const Extension_Unit_Chip_Table& table,
                                 const char* name);

    // A chip test: reads the identification registers through this protocol,
    // logs them and applies the rules; 1 and ChipType set on a match, else 0.
    int Recognise(const Chip_Detection_Table& detection);

private:
    // Sends a copy of a template with its cur half pointed at data.
    int Send(const Windows_UVC_xu_control_unit& request, void* data);
    std::uint8_t Read_Id_Register(std::uint16_t address, std::uint8_t preset);
    int Update_Register_Bit(std::uint16_t address, std::uint8_t bit, bool set);

    // Loads one opcode into the chip's flash command register file; 0 or Flash_Transfer_Failed.
    int Load_Flash_Command(std::uint8_t index, std::uint8_t opcode);
    // Asks the flash for its answers to the three ID opcodes; 0 or Flash_Transfer_Failed.
    int Read_Flash_Ids(Serial_Flash_Id& id);
    int Read_Flash_Id_Bytes(std::uint8_t (&bytes)[3]);
    // Identifies the part once, before the first flash operation; 0 or Flash_Transfer_Failed.
    int Ensure_Flash_Identified();
    void Adopt_Flash_Commands(const Serial_Flash_Id& id);
    Flash_Piece_Channel Piece_Channel();

    // True when the image has a form this chip's download takes (and, when
    // whole is set, fits the chip's image area).
    bool Takes_Image(const std::uint8_t* image, std::uint32_t length, bool whole) const;
    // One step of download progress: counted, printed and stored through progress.
    void Take_Download_Step(float* progress);
    // After a read-back difference: the sector holding the image header reads all 0xFF.
    void Blank_Header_Sector(Flash_Piece_Channel& channel);

    const Extension_Unit_Chip_Table& m_table;
    std::unique_ptr<Extension_Unit_Base_Class> m_ownedExtUnit;
    bool m_flashIdentified;
};

#endif
