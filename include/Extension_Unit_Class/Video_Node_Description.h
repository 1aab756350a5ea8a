#ifndef KORVANE_EXTENSION_UNIT_VIDEO_NODE_DESCRIPTION_H
#define KORVANE_EXTENSION_UNIT_VIDEO_NODE_DESCRIPTION_H

// A device description filled from what the walk read of a video node, as
// pure decisions on the texts: every text field ends within its array, and
// a capability field without its terminator is read up to its own end only.

#include "Extension_Unit_Class/v4l2_dev_sys_data.h"

#include <cstddef>
#include <cstdint>

#include <linux/videodev2.h>

// The USB parent's sysfs attributes the description keeps: each a
// NUL-terminated text, or null when the parent lacks it.
struct Usb_Device_Attributes
{
    const char* idVendor;
    const char* idProduct;
    const char* busnum;
    const char* devnum;
    const char* manufacturer;
    const char* product;
    const char* serial;
    const char* bcdDevice;
};

// Copies text up to its first NUL, reading at most textSize bytes of it,
// into a field of fieldSize bytes: cut to fieldSize - 1 bytes, the rest of
// the field zeroed. A null text leaves the field as it is.
void Copy_Description_Text(char* field, std::size_t fieldSize, const char* text, std::size_t textSize);

template <std::size_t N>
void Copy_Description_Text(char (&field)[N], const char* text, std::size_t textSize)
{
    Copy_Description_Text(field, N, text, textSize);
}

// An attribute's number in base (16 for the ids, 10 for the others), read
// as far as it goes: 0 for a missing attribute or one that does not start
// with a number.
unsigned long long Attribute_Number(const char* text, int base);

// Fills a zeroed description: the node path and the capability's card,
// driver and bus texts, then, with a USB parent, its ids, numbers and
// strings. With bcdFromAttribute, Bcd is parsed from bcdDevice in base 10
// ("0100" gives 100, on purpose); otherwise it is the low 16 bits of devnum.
void Describe_Video_Node(_v4l2_dev_sys_data_t& description, const char* node, const v4l2_capability& capability,
                         const Usb_Device_Attributes* usb, bool bcdFromAttribute);

#endif
