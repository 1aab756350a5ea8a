#ifndef KORVANE_EXTENSION_UNIT_CHIP_DESCRIPTION_H
#define KORVANE_EXTENSION_UNIT_CHIP_DESCRIPTION_H

// Everything the library and its tools know of one controller chip, in one
// place: its names, its test in the detection order, how its protocol is
// made, how an update reaches it, and its table (unit, pieces, user-data
// piece map, image types, firmware area and progress divisor). Each chip's
// own source file defines its description once; the chip registry lists them.

#include "Extension_Unit_Class/Extension_Unit_Chip_Table.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

class Extension_Unit_Base_Class;
class Extension_Unit_Chip_Protocol;
struct Chip_Description;

// How Camera_Updata brings a chip to its download.
enum class Chip_Update_Path
{
    Mode_Change,           // state register check, mode change, then find the camera again
    Mode_Change_Boot_Code, // mode change, then the boot-code path
    Boot_Code,             // the chip starts its ROM boot code, then find the camera again
    Direct,                // download at once
};

// Builds the chip's protocol on a control object it does not own.
using Chip_Protocol_Maker = std::unique_ptr<Extension_Unit_Chip_Protocol> (*)(Extension_Unit_Base_Class* extUnit,
                                                                              const Chip_Description& description);

constexpr std::size_t CHIP_OTHER_MODEL_COUNT = 4;

struct Chip_Description
{
    const char* model;         // the model name its protocol reports (This_is)
    const char* chip;          // "SPCA2620", ...
    std::uint32_t chipCode;    // the ChipType detection gives it
    const Extension_Unit_Chip_Table* table;
    // Its own chip test, null for a chip that only other chips' tests recognise.
    const Chip_Detection_Table* detection;
    int detectionPlace;        // where its test runs in the detection order, lowest first
    const char* announcedName; // announced when its test recognises a chip (the test's, not the chip's)
    Chip_Protocol_Maker make;
    Chip_Update_Path updatePath;
    // Further model names of the same family that are updated the same way; null entries unused.
    const char* otherModels[CHIP_OTHER_MODEL_COUNT];
};

// The maker of a chip whose protocol has a class of its own.
template <typename Protocol>
std::unique_ptr<Extension_Unit_Chip_Protocol> Make_Chip_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                 const Chip_Description&)
{
    return std::make_unique<Protocol>(extUnit);
}

// The maker of a chip that is its table alone: the shared protocol, named by the description's model.
std::unique_ptr<Extension_Unit_Chip_Protocol> Make_Table_Protocol(Extension_Unit_Base_Class* extUnit,
                                                                  const Chip_Description& description);

// The flash piece under a user piece index that holds the firmware image
// header: writing it back after a download would break the new firmware.
bool Is_Firmware_Header_Piece(const Chip_Description& description, std::uint32_t flashPiece);

// The flash pieces that hold the chip's user data, in user piece index
// order; the list ends before an index that reaches the firmware header.
std::vector<std::uint32_t> User_Data_Flash_Pieces(const Chip_Description& description);

// True when the chip's firmware download erases and rewrites a flash piece
// that holds user data.
bool Download_Rewrites_User_Data(const Chip_Description& description);

// True when the model name is the chip's own or one of its family's.
bool Names_Model(const Chip_Description& description, const char* model);

#endif
