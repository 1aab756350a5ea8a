#include "Extension_Unit_Class/Dev_Message.h"

Dev_Message::Dev_Message() : S_V4L2_Device_List_Index{} {}

Dev_Message::~Dev_Message() { V4l2_dev_message.Clear(); }
