#ifndef KORVANE_EXTENSION_UNIT_USB_VIDEO_ENUM_H
#define KORVANE_EXTENSION_UNIT_USB_VIDEO_ENUM_H

// Video device walks through libudev.

#include "Extension_Unit_Class/Dev_Message.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"

// The camera walk: every video node whose chip is recognised, done in the
// constructor. Appends one protocol per camera to the given list (the caller
// owns them, to be freed with Delete_Extension_Unit) and its description to
// C_Dev_Mes at the same index.
class USB_Video_Enum
{
public:
    explicit USB_Video_Enum(List_Container<Extension_Unit_Base_Protocol*>* protocols);

    Dev_Message C_Dev_Mes;

private:
    void Walk(List_Container<Extension_Unit_Base_Protocol*>& protocols);
};

// The free-standing walk: every node that answers the capability query, no
// chip detection. Null on failure; see v4l2_device_list_t for what to free.
v4l2_device_list_t* Usb_Video_Dev_Enum();

#endif
