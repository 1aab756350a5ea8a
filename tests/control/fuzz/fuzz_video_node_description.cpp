// Feeds arbitrary capability answers and USB attribute texts to the device
// description: every text field must end within its array, hold the start
// of its source up to the source's own end and nothing more, and the ids
// must be parsed or 0, whatever the bytes.
//
// Input: a v4l2_capability's bytes, one byte of switches (USB parent, Bcd
// from the attribute, which attributes are present), then the node path and
// the eight attribute texts separated by newlines.
#include "Extension_Unit_Class/Video_Node_Description.h"

#include <cctype>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr std::size_t kAttributes = 8;

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

// The field ends within its array, holds the source's text cut to the field
// (the source read up to sourceSize bytes or its first NUL), then zeros.
template <std::size_t N>
void Check_Field(const char (&field)[N], const char* source, std::size_t sourceSize)
{
    const std::size_t length = strnlen(field, N);
    Check(length < N);
    for (std::size_t i = length; i < N; ++i)
        Check(field[i] == '\0');
    if (!source) {
        Check(length == 0);
        return;
    }
    const std::size_t sourceLength = strnlen(source, sourceSize);
    Check(length == (sourceLength < N - 1 ? sourceLength : N - 1));
    Check(std::memcmp(field, source, length) == 0);
}

template <std::size_t N>
void Check_Empty(const char (&field)[N])
{
    for (char c : field)
        Check(c == '\0');
}

bool All_Of(const char* text, int (*is)(int), std::size_t longest)
{
    const std::size_t length = std::strlen(text);
    if (length == 0 || length > longest)
        return false;
    for (std::size_t i = 0; i < length; ++i)
        if (!is(static_cast<unsigned char>(text[i])))
            return false;
    return true;
}

unsigned long long Digits_Value(const char* text, int base)
{
    unsigned long long value = 0;
    for (const char* c = text; *c; ++c) {
        const int digit = std::isdigit(static_cast<unsigned char>(*c)) ? *c - '0'
                                                                         : std::tolower(static_cast<unsigned char>(*c)) - 'a' + 10;
        value = value * static_cast<unsigned>(base) + static_cast<unsigned>(digit);
    }
    return value;
}

// No sign, space or digit to start with: no number at all.
bool Starts_Without_A_Number(const char* text, int base)
{
    const unsigned char first = static_cast<unsigned char>(text[0]);
    const bool digit = base == 16 ? std::isxdigit(first) != 0 : std::isdigit(first) != 0;
    return !digit && !std::isspace(first) && first != '+' && first != '-';
}

// A number read as far as it goes: its digits' value for a plain run of
// digits, 0 for a text that has none to start with.
void Check_Number(unsigned long long value, const char* text, int base, int longestDigits)
{
    if (!text) {
        Check(value == 0);
        return;
    }
    if (All_Of(text, base == 16 ? &isxdigit : &isdigit, static_cast<std::size_t>(longestDigits)))
        Check(value == Digits_Value(text, base));
    if (Starts_Without_A_Number(text, base))
        Check(value == 0);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    // On the heap and of its exact size, so that a read past its end is caught.
    auto capability = std::make_unique<v4l2_capability>();
    const std::size_t capabilityBytes = size < sizeof *capability ? size : sizeof *capability;
    std::memcpy(capability.get(), data, capabilityBytes);
    data += capabilityBytes;
    size -= capabilityBytes;
    std::uint8_t switches = 0;
    if (size > 0) {
        switches = data[0];
        ++data;
        --size;
    }

    // The node path and the attributes, each its own terminated text.
    std::vector<std::string> texts(1 + kAttributes);
    std::size_t next = 0;
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == '\n' && next + 1 < texts.size())
            ++next;
        else
            texts[next].push_back(static_cast<char>(data[i]));
    }
    const char* node = texts[0].c_str();
    const char* attribute[kAttributes];
    for (std::size_t i = 0; i < kAttributes; ++i)
        attribute[i] = (switches >> (i % 6 + 2)) & 1 ? texts[1 + i].c_str() : nullptr;
    const Usb_Device_Attributes usb = {attribute[0], attribute[1], attribute[2], attribute[3],
                                       attribute[4], attribute[5], attribute[6], attribute[7]};
    const bool hasUsb = (switches & 1) != 0;
    const bool bcdFromAttribute = (switches & 2) != 0;

    auto description = std::make_unique<_v4l2_dev_sys_data_t>();
    Describe_Video_Node(*description, node, *capability, hasUsb ? &usb : nullptr, bcdFromAttribute);

    const auto text = [](const std::uint8_t* field) { return reinterpret_cast<const char*>(field); };
    constexpr std::size_t kTerminated = static_cast<std::size_t>(-1);
    Check_Field(description->device, node, kTerminated);
    Check_Field(description->name, text(capability->card), sizeof capability->card);
    Check_Field(description->driver, text(capability->driver), sizeof capability->driver);
    Check_Field(description->location, text(capability->bus_info), sizeof capability->bus_info);
    Check(description->valid == 1 && description->current == 0);
    if (!hasUsb) {
        Check(description->vendor == 0 && description->product == 0 && description->busnum == 0 &&
              description->devnum == 0 && description->Vid == 0 && description->Pid == 0 && description->Bcd == 0);
        Check_Empty(description->Device_Path);
        Check_Empty(description->iManufacturer);
        Check_Empty(description->iProduct);
        Check_Empty(description->iSerialNumber);
        return 0;
    }
    Check_Field(description->Device_Path, node, kTerminated);
    Check_Field(description->iManufacturer, usb.manufacturer, kTerminated);
    Check_Field(description->iProduct, usb.product, kTerminated);
    Check_Field(description->iSerialNumber, usb.serial, kTerminated);

    Check_Number(description->vendor, usb.idVendor, 16, 8);
    Check_Number(description->product, usb.idProduct, 16, 8);
    Check_Number(description->busnum, usb.busnum, 10, 19);
    Check_Number(description->devnum, usb.devnum, 10, 19);
    Check(description->Vid == (description->vendor & 0xFFFF));
    Check(description->Pid == (description->product & 0xFFFF));
    if (bcdFromAttribute) {
        Check_Number(description->Bcd, usb.bcdDevice, 10, 4);
    } else {
        Check(description->Bcd == (description->devnum & 0xFFFF));
    }
    return 0;
}
