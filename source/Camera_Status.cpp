#include "Extension_Unit_Class/Camera_Status.h"

#include <algorithm>
#include <iterator>

namespace {

using namespace Camera_Status;

struct Status_Text
{
    int code;
    const char* message;
};

// Meanings told by more than one kind of operation.
constexpr char kSuccess[] = "success";
constexpr char kMissingArgument[] = "an argument is missing";
constexpr char kNoChip[] = "no chip protocol serves the camera";
constexpr char kFlashTransferFailed[] = "a transfer to the module failed, or the chip's piece length cannot be used";
constexpr char kNoFlash[] = "no flash that may be written was identified on the module";
constexpr char kUnknownStatus[] = "an unknown status";

const Status_Text kCameraListTexts[] = {
    {Success, kSuccess},
    {Bad_Argument, "there is no camera list, or an argument is missing"},
};

const Status_Text kChipDetectionTexts[] = {
    {Success, kSuccess},
    {Chip_Not_Recognised, "no known controller chip answered"},
};

// A register result is the or of its transfer results, so -1 is a failed transfer.
const Status_Text kRegisterTexts[] = {
    {Success, kSuccess},
    {Transfer_Failed, "a transfer to the module failed, or an argument is missing"},
    {No_Chip, kNoChip},
};

const Status_Text kGpioTexts[] = {
    {Success, kSuccess},
    {Unknown_Pin, "the pin does not exist, a transfer to the module failed, or an argument is missing"},
    {No_Chip, kNoChip},
    {No_Chip_Output_Init, "no chip protocol serves the camera (its output pin set-up answers +7)"},
};

const Status_Text kFlashPieceTexts[] = {
    {Success, kSuccess},
    {Bad_Argument, kMissingArgument},
    {Flash_Transfer_Failed, kFlashTransferFailed},
    {No_Flash, kNoFlash},
    {Piece_Out_Of_Range,
     "the piece is out of range or holds the firmware header, or no chip protocol serves the camera"},
};

// -1 is mostly the read-back difference; the state register read of a mode change gives it too.
const Status_Text kFirmwareUpdateTexts[] = {
    {Success, kSuccess},
    {Verify_Failed, "the flash read back differs (the image header was blanked and the module starts its boot "
                    "code), or a register transfer failed, or an argument is missing"},
    {Image_Does_Not_Fit, "the image does not fit the chip"},
    {Flash_Transfer_Failed, kFlashTransferFailed},
    {No_Flash, kNoFlash},
    {Unsupported_Image, "the image is of a form the module does not take"},
    {Camera_Not_Back, "the module did not come back after switching to its boot code or download mode"},
    {No_Chip, kNoChip},
    {Download_Refused, "the chip refuses a download in its present state"},
};

template <std::size_t N>
const char* Message_In(const Status_Text (&texts)[N], int code)
{
    const auto found = std::find_if(std::begin(texts), std::end(texts),
                                    [code](const Status_Text& text) { return text.code == code; });
    return found == std::end(texts) ? kUnknownStatus : found->message;
}

} // namespace

const char* Camera_Status_Message(Camera_Operation operation, int code)
{
    switch (operation) {
    case Camera_Operation::Camera_List:
        return Message_In(kCameraListTexts, code);
    case Camera_Operation::Chip_Detection:
        return Message_In(kChipDetectionTexts, code);
    case Camera_Operation::Register:
        return Message_In(kRegisterTexts, code);
    case Camera_Operation::Gpio:
        return Message_In(kGpioTexts, code);
    case Camera_Operation::Flash_Piece:
        return Message_In(kFlashPieceTexts, code);
    case Camera_Operation::Firmware_Update:
        return Message_In(kFirmwareUpdateTexts, code);
    }
    return kUnknownStatus;
}
