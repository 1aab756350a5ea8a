#ifndef KORVANE_EXTENSION_UNIT_CAMERA_STATUS_H
#define KORVANE_EXTENSION_UNIT_CAMERA_STATUS_H

#include "Extension_Unit_Class/KorvaneControlExport.h"

// The status codes of the camera control channel: 0 for success, a
// negative value for a failure. Every function of the channel returns a
// plain int holding one of these.
//
// A few values carry more than one meaning: each meaning has its own name
// below, and names that share a value say so. A caller that needs the
// meaning of a value asks Camera_Status_Message with the kind of
// operation that returned it.

namespace Camera_Status {

constexpr int Success = 0;

// -1: the channel's general failure.
constexpr int Bad_Argument = -1;        // a null record, protocol or buffer, or no camera list
constexpr int Unknown_Pin = -1;         // the GPIO pin does not exist; nothing sent
constexpr int Transfer_Failed = -1;     // an extension-unit query failed (register and GPIO access)
constexpr int Verify_Failed = -1;       // a downloaded piece read back differs; header blanked, chip reset
constexpr int Reset_Failed = -1;        // a register write of the chip's restart failed
constexpr int Chip_Not_Recognised = -1; // chip detection found no known controller chip

constexpr int Image_Does_Not_Fit = -2; // the image header does not fit this chip

// -3: the flash layer could not move a piece.
constexpr int Flash_Transfer_Failed = -3; // an extension-unit transfer of the flash layer failed
constexpr int Piece_Length_Unusable = -3; // the chip's piece length cannot make up a piece or the image area

constexpr int No_Flash = -4;          // no flash identified, or a part that may not be written
constexpr int Unsupported_Image = -5; // the image is of a form that is not written
constexpr int Camera_Not_Back = -6;   // the camera did not reappear after its mode change

// -7: a piece that may not be used, and every operation of the null protocol.
constexpr int Piece_Out_Of_Range = -7;    // user piece index above 2; nothing sent
constexpr int Header_Piece_Refused = -7;  // the user piece holds the firmware header; nothing sent
constexpr int No_Chip = -7;               // the camera is served by the null protocol
constexpr int No_Chip_Output_Init = 7;    // the null protocol's output pin set-up: positive, unlike its siblings

constexpr int Download_Refused = -8; // the chip's download state register refuses a download

} // namespace Camera_Status

// The kinds of operation whose results Camera_Status_Message explains.
enum class Camera_Operation
{
    Camera_List,     // Camera_Count, Camera_Reset, Camera_Get_Camera_String and the information queries
    Chip_Detection,  // Extension_Unit_Base_Class::initControl
    Register,        // ISP and sensor register reads and writes, the chip's restart (reset)
    Gpio,            // the GPIO pin operations
    Flash_Piece,     // flash and ISP memory pieces, the identification block, loading the flash command set
    Firmware_Update, // Camera_Updata, Download_Firmware, Set_Rom_Code
};

// A short English text of what code means as a result of that kind of
// operation; "an unknown status" for a value such an operation never gives.
KORVANE_CONTROL_EXPORT const char* Camera_Status_Message(Camera_Operation operation, int code);

#endif
