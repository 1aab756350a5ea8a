#ifndef KORVANE_EXTENSION_UNIT_CAMERA_API_H
#define KORVANE_EXTENSION_UNIT_CAMERA_API_H

// The flat API of the camera control channel: one process-wide camera list,
// per-camera access records, and the library's log stream. Not thread-safe:
// call it from one thread at a time.
//
// Calling order: SetLog (optional), Camera_Init or Camera_Count,
// Camera_Device_Point_Init(i) for an index below the count, operations
// through the record, Camera_Device_Point_UnInit, then Camera_UnInit (or
// Camera_Reset). A record keeps its protocol pointer after the list is
// replaced or deleted; using it then is the caller's mistake.

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/Firmware_Form.h"
#include "Extension_Unit_Class/ISP_TYPE.h"

#include <cstdint>
#include <cstdio>
#include "Extension_Unit_Class/KorvaneControlExport.h"

// The USB strings of a camera.
typedef struct _info_camera_String_
{
    char iManufacturer[260];
    char iProduct[260];
    char iSerialNumber[260];
} info_camera_String;

// Where a camera sits and what it is.
typedef struct _info_camera_os_
{
    std::uint16_t vid;
    std::uint16_t pid;
    std::uint16_t bcdDevice;
    char deviceID[260]; // left as the caller had it
    char device[260];   // video node path
    std::uint8_t icType;
    std::uint64_t busnum;
    std::uint64_t devnum;
    char location[260];
} info_camera_os;

struct _Device_Point_;

typedef int (*H_Fun_IPb)(_Device_Point_* device, int piece, std::uint8_t* buffer);
typedef int (*H_Fun_Cinfo)(_Device_Point_* device, info_camera_os* info);
typedef int (*H_Fun_WB)(_Device_Point_* device, unsigned address, unsigned value);
typedef int (*H_Fun_WPb)(_Device_Point_* device, unsigned address, std::uint8_t* value);
typedef int (*H_Fun_BWW)(_Device_Point_* device, std::uint8_t slaveID, unsigned address, unsigned value);
typedef int (*H_Fun_BWPw)(_Device_Point_* device, std::uint8_t slaveID, unsigned address, std::uint16_t* value);
typedef int (*H_Fun_W)(_Device_Point_* device, unsigned pin);
typedef int (*H_Fun_WW)(_Device_Point_* device, unsigned pin, unsigned level);
typedef int (*H_Fun_CinfoStr)(_Device_Point_* device, info_camera_String* info);
typedef int (*pExID)(_Device_Point_* device, std::uint8_t* buffer);

// Access record of one camera, made by Camera_Device_Point_Init.
typedef struct _Device_Point_
{
    std::uint32_t u_index;
    // Taken before p_device is set, so always 0xFF; kept so.
    std::uint8_t FlashType;
    std::uint8_t ISP_ID;
    Extension_Unit_Base_Protocol* p_device; // borrowed from the camera list
    H_Fun_IPb Falsh_R;
    H_Fun_IPb Falsh_W;
    H_Fun_Cinfo pInfo; // null
    H_Fun_WB Set_ISP_Reg;
    H_Fun_WPb Get_ISP_Reg;
    H_Fun_BWW Set_Sensor_Reg;
    H_Fun_BWPw Get_Sensor_Reg;
    H_Fun_WPb Input_Gpio_Get;
    H_Fun_WW Output_Gpio_set;
    H_Fun_W Input_Gpio_init;
    H_Fun_W Output_Gpio_init;
    void* RES_1;
    void* RES_2;
    void* respoint;
    H_Fun_CinfoStr pInfoStr;
    pExID pExid_R;
    pExID pExid_W;
} Device_Point;

// Enumerate afresh (the list is made on first use); the number of cameras.
KORVANE_CONTROL_EXPORT int Camera_Init();
KORVANE_CONTROL_EXPORT int Camera_Poll_Camera_Count();
// The same enumeration; stores the number in *count and returns 0 (-1 for a null count).
KORVANE_CONTROL_EXPORT int Camera_Count(int* count);
// Deletes the list, destroying its protocols; 0.
KORVANE_CONTROL_EXPORT int Camera_UnInit();
KORVANE_CONTROL_EXPORT int Camera_UNInit();
// Resets every camera of the list, then deletes it; the number of cameras, -1 without a list.
KORVANE_CONTROL_EXPORT int Camera_Reset();

// A new access record for a camera index below the count, else null. Free with Camera_Device_Point_UnInit.
KORVANE_CONTROL_EXPORT _Device_Point_* Camera_Device_Point_Init(int index);
// Frees the record and nulls the pointer.
KORVANE_CONTROL_EXPORT void Camera_Device_Point_UnInit(_Device_Point_** device);

// The camera's USB strings (empty for an index out of range); 0, or -1 without a list.
KORVANE_CONTROL_EXPORT int Camera_Get_Camera_String(unsigned index, info_camera_String* info);
// The same for the record's camera; 0 (-1 for a null record or info).
KORVANE_CONTROL_EXPORT int Camera_Get_Info_String_Api(_Device_Point_* device, info_camera_String* info);
// IDs, node path and bus place of the record's camera; 0 (-1 for a null record or info).
KORVANE_CONTROL_EXPORT int Camera_Get_information_Api(_Device_Point_* device, info_camera_os* info);

// Per-camera operations: the record's protocol does the work; -1 for a null record or protocol.
// Camera_Status_Message (Camera_Status.h) tells what a result means.
KORVANE_CONTROL_EXPORT int Camera_Set_ISP_Reg_Api(_Device_Point_* device, unsigned address, unsigned value);
KORVANE_CONTROL_EXPORT int Camera_Get_ISP_Reg_Api(_Device_Point_* device, unsigned address, std::uint8_t* value);
KORVANE_CONTROL_EXPORT int Camera_Set_Sensor_Reg_Api(_Device_Point_* device, std::uint8_t slaveID, unsigned address, unsigned value);
KORVANE_CONTROL_EXPORT int Camera_Get_Sensor_Reg_Api(_Device_Point_* device, std::uint8_t slaveID, unsigned address,
                              std::uint16_t* value);
KORVANE_CONTROL_EXPORT int Camera_Output_GPIO_Init_Api(_Device_Point_* device, unsigned pin);
KORVANE_CONTROL_EXPORT int Camera_Input_GPIO_Init_Api(_Device_Point_* device, unsigned pin);
KORVANE_CONTROL_EXPORT int Camera_Set_Output_GPIO_Api(_Device_Point_* device, unsigned pin, unsigned level);
KORVANE_CONTROL_EXPORT int Camera_Get_Input_GPIO_Api(_Device_Point_* device, unsigned pin, std::uint8_t* level);
// 4096-byte user pieces 0 to 2 of the flash. On chips whose user piece 2
// is flash piece 0 (SPCA2620, 2085, 2092, 2281), that piece also holds the
// firmware image header: Camera_Flash_W_Api refuses to write it
// (Header_Piece_Refused, -7; the flash untouched), since erasing it leaves
// the module on its boot code.
// Camera_Flash_W_Over_Firmware_Header_Api writes it all the same, for a
// caller that restores that piece on purpose.
KORVANE_CONTROL_EXPORT int Camera_Flash_R_Api(_Device_Point_* device, int piece, std::uint8_t* buffer);
KORVANE_CONTROL_EXPORT int Camera_Flash_W_Api(_Device_Point_* device, int piece, std::uint8_t* buffer);
KORVANE_CONTROL_EXPORT int Camera_Flash_W_Over_Firmware_Header_Api(_Device_Point_* device, int piece, std::uint8_t* buffer);
// The 16-byte identification block.
KORVANE_CONTROL_EXPORT int Camera_Get_ExID_Api(_Device_Point_* device, std::uint8_t* buffer);
KORVANE_CONTROL_EXPORT int Camera_Set_ExID_Api(_Device_Point_* device, std::uint8_t* buffer);

// Writes a firmware image into the record's camera (progress in percent
// through progress, which may be null, and on standard error). The image
// must be of an accepted form (FW_Support_Device). Models that need it are
// first switched into a state that takes a download and found again, by
// their identity (Module_Identity) after they re-enumerated: the camera
// list is then built anew and this record is pointed at the camera found
// again; other records made before must be renewed (Module_Handle) before
// they are used again. 0, or a failure of Camera_Status: Verify_Failed (also a null
// record or a failed state register read), Image_Does_Not_Fit,
// Flash_Transfer_Failed, No_Flash, Unsupported_Image, Camera_Not_Back,
// No_Chip, Download_Refused.
KORVANE_CONTROL_EXPORT int Camera_Updata(_Device_Point_* device, const unsigned char* image, unsigned int length, float* progress);

// Sets the library's log stream; null switches logging off.
KORVANE_CONTROL_EXPORT void SetLog(FILE* stream);

// The library's log stream (null when logging is off).
KORVANE_CONTROL_EXPORT FILE* Camera_Log_Stream();

#endif
