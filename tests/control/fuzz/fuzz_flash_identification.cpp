// Feeds arbitrary ID answers to the serial flash identification and
// arbitrary pin numbers to the GPIO lookup: the decisions must stay within
// their tables and keep their rules, whatever the bytes.
#include "Extension_Unit_Class/Extension_Unit_GPIO.h"
#include "Extension_Unit_Class/Serial_Flash_Identification.h"

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

constexpr std::uint32_t kNotWritableJedec = 0x01841F;

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

std::uint32_t Take(const std::uint8_t*& data, std::size_t& size, std::size_t bytes)
{
    std::uint8_t chunk[4] = {0, 0, 0, 0};
    const std::size_t taken = size < bytes ? size : bytes;
    std::memcpy(chunk, data, taken);
    data += taken;
    size -= taken;
    return static_cast<std::uint32_t>(chunk[0]) | static_cast<std::uint32_t>(chunk[1]) << 8 |
           static_cast<std::uint32_t>(chunk[2]) << 16 | static_cast<std::uint32_t>(chunk[3]) << 24;
}

void Check_Flash(const Serial_Flash_Id& id)
{
    const Serial_Flash_Type family = Serial_Flash_Family(id);
    const SerialFlashPart part = Serial_Flash_Part(id);
    Check(family >= SF_PMC && family <= SF_UNKNOW);
    Check(part >= SF_UNDEFINED && part <= SF_AMICA25LS512);
    Check((family == SF_UNKNOW) == (id.jedec == kNotWritableJedec));
    Check(family != SF_UNKNOW || part == SF_AT25SF041);
    Check(part != SF_UNDEFINED || family == SF_MX);
    Check(Serial_Flash_Type_Name[family][0] == 'S');

    const Serial_Flash_Commands commands = Serial_Flash_Commands_For(id);
    Check(commands.full.SF_TYPE == family && commands.write.SF_TYPE == family);
    Check(commands.write.SF_ChipErase == 0xFF);
    SerialFlashCommand withoutChipErase = commands.full;
    withoutChipErase.SF_ChipErase = 0xFF;
    Check(std::memcmp(&withoutChipErase, &commands.write, sizeof withoutChipErase) == 0);
    Check(family == SF_UNKNOW || (commands.full.SF_Read == 0x03 && commands.full.SF_WREN == 0x06 &&
                                  commands.full.SF_Program == 0x02 && commands.full.SF_WRSR == 0x01));
}

bool Pin_Exists(std::uint32_t pin) { return pin < 12 || pin == 128 || pin == 129 || pin > 255; }

void Check_Gpio(std::uint32_t pin, std::uint8_t input)
{
    GPIO_CONTROL control{};
    const int result = Look_Up_GPIO(pin, &control);
    Check(result == (Pin_Exists(pin) ? 0 : -1));
    if (result != 0)
        return;
    Check(control.Output_Enable.Reg_Addr >= 0x2041 && control.Output_Enable.Reg_Addr <= 0x2056);
    Check(control.Output_Enable.Bits_index < 8 && control.Input_Value.Bits_index < 8);
    Check(control.Pull_down.Vail == 255 || control.Pull_down.Reg_Addr == 0x20E8);
    const std::uint8_t level = GPIO_Input_Level(control, input);
    Check(level <= 1);
    Check(pin > 255 || level == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Serial_Flash_Id id{};
    id.jedec = Take(data, size, 3);
    id.manufacturerDevice = Take(data, size, 3);
    id.signature = Take(data, size, 3);
    Check_Flash(id);
    const std::uint32_t pin = Take(data, size, 4);
    Check_Gpio(pin, static_cast<std::uint8_t>(Take(data, size, 1)));
    return 0;
}
