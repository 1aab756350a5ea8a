#include "Extension_Unit_Class/Video_Node_Description.h"

#include <cstdlib>
#include <cstring>

namespace {

// Text of a capability field, which the driver need not terminate.
template <std::size_t N>
const char* Capability_Text(const std::uint8_t (&field)[N])
{
    return reinterpret_cast<const char*>(field);
}

// A sysfs attribute or a node path: NUL-terminated, read no further than a field holds.
constexpr std::size_t kTerminated = static_cast<std::size_t>(-1);

} // namespace

void Copy_Description_Text(char* field, std::size_t fieldSize, const char* text, std::size_t textSize)
{
    if (!text || fieldSize == 0)
        return;
    const std::size_t limit = fieldSize - 1 < textSize ? fieldSize - 1 : textSize;
    const std::size_t length = strnlen(text, limit);
    std::memcpy(field, text, length);
    std::memset(field + length, 0, fieldSize - length);
}

unsigned long long Attribute_Number(const char* text, int base)
{
    return text ? std::strtoull(text, nullptr, base) : 0;
}

void Describe_Video_Node(_v4l2_dev_sys_data_t& description, const char* node, const v4l2_capability& capability,
                         const Usb_Device_Attributes* usb, bool bcdFromAttribute)
{
    Copy_Description_Text(description.device, node, kTerminated);
    Copy_Description_Text(description.name, Capability_Text(capability.card), sizeof capability.card);
    Copy_Description_Text(description.driver, Capability_Text(capability.driver), sizeof capability.driver);
    Copy_Description_Text(description.location, Capability_Text(capability.bus_info), sizeof capability.bus_info);
    description.valid = 1;
    description.current = 0;
    if (!usb)
        return;
    description.vendor = static_cast<std::uint32_t>(Attribute_Number(usb->idVendor, 16));
    description.product = static_cast<std::uint32_t>(Attribute_Number(usb->idProduct, 16));
    description.busnum = Attribute_Number(usb->busnum, 10);
    description.devnum = Attribute_Number(usb->devnum, 10);
    std::memset(description.iManufacturer, 0, sizeof description.iManufacturer);
    std::memset(description.iProduct, 0, sizeof description.iProduct);
    std::memset(description.iSerialNumber, 0, sizeof description.iSerialNumber);
    std::memset(description.Device_Path, 0, sizeof description.Device_Path);
    Copy_Description_Text(description.Device_Path, node, kTerminated);
    Copy_Description_Text(description.iManufacturer, usb->manufacturer, kTerminated);
    Copy_Description_Text(description.iProduct, usb->product, kTerminated);
    Copy_Description_Text(description.iSerialNumber, usb->serial, kTerminated);
    description.Vid = static_cast<std::uint16_t>(description.vendor);
    description.Pid = static_cast<std::uint16_t>(description.product);
    description.Bcd = bcdFromAttribute ? static_cast<std::uint16_t>(Attribute_Number(usb->bcdDevice, 10))
                                       : static_cast<std::uint16_t>(description.devnum & 0xFFFF);
}
