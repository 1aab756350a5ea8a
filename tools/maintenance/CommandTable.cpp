#include "CommandTable.h"

#include <cctype>
#include <iomanip>

#include "CalibrationCommands.h"
#include "CalibrationWriteCommand.h"
#include "FirmwareCommand.h"
#include "GpioCommands.h"
#include "ModuleCommands.h"
#include "RegisterCommands.h"
#include "RestoreCommand.h"

namespace korvane::maintenance {

namespace {

constexpr int kNameColumn = 14;

const char kExitCodes[] =
    "Exit status: 0 success; 1 the operation failed on the module; 2 usage error;\n"
    "3 no such module; 4 input refused before the module was touched; 5 the user\n"
    "data could not be restored after a firmware download (the backup is kept).\n";

} // namespace

const std::vector<Command>& commandTable()
{
    static const std::vector<Command> commands = {
        {"list", "", "list the modules: node, chip, model, vid:pid, serial, flash part",
         "Lists every module on the machine; --device is not used.\n", {}, 0, runList},
        {"info", "", "show one module's identification and whether its flash holds a calibration",
         "Prints the identification string (bcdDevice-bcdDevice-vid-serial), model, chip,\n"
         "node, serial number and flash part, and whether the calibration block in flash\n"
         "is a valid calibration file.\n",
         {}, 0, runInfo},
        {"isp-read", "ADDR", "read an 8-bit ISP register", "ADDR is 0 to 0xFFFF.\n", {}, 1, runIspRead},
        {"isp-write", "ADDR VALUE", "write an 8-bit ISP register", "ADDR is 0 to 0xFFFF, VALUE 0 to 0xFF.\n", {},
         2, runIspWrite},
        {"sensor-read", "SLAVE ADDR", "read a 16-bit image sensor register",
         "SLAVE is 0 to 0xFF (the chip does not use it), ADDR 0 to 0xFFFF.\n", {}, 2, runSensorRead},
        {"sensor-write", "SLAVE ADDR VALUE", "write a 16-bit image sensor register",
         "SLAVE is 0 to 0xFF (the chip does not use it), ADDR and VALUE 0 to 0xFFFF.\n", {}, 3, runSensorWrite},
        {"gpio-get", "PIN", "make a GPIO pin an input and read its level",
         "PIN is 0 to 11, 128, 129, or above 255.\n", {}, 1, runGpioGet},
        {"gpio-set", "PIN LEVEL", "make a GPIO pin an output and drive it",
         "PIN is 0 to 11, 128, 129, or above 255; LEVEL is 0 or 1.\n", {}, 2, runGpioSet},
        {"calib-save", "FILE", "save the module's 4096-byte calibration block to a file",
         "Writes the block exactly as it is in flash (the calibration file, then zero bytes).\n", {}, 1,
         runCalibSave},
        {"calib-write", "FILE", "write a calibration file to the module's flash, with backup and verify",
         "FILE must be a complete calibration file of at most 4096 bytes; anything else is\n"
         "refused before the module is touched. The module's user data is backed up first;\n"
         "the block is then written and read back.\n",
         {}, 1, runCalibWrite},
        {"firmware", "IMAGE [--wait SECONDS]", "download a firmware image, keeping the module's user data",
         "An image the module's chip does not take is refused before the module is touched.\n"
         "The module's user data is backed up first. Where the download rewrites the user\n"
         "data, the tool waits for the module to come back (--wait, default 30 s), writes\n"
         "the user data back and verifies it.\n",
         {{}, {"--wait"}}, 1, runFirmware},
        {"restore", "BACKUP [--force]", "write a user-data backup back to its module, with verify",
         "A backup taken from another module is refused unless --force is given. The\n"
         "module's present user data is backed up first.\n",
         {{"--force"}, {}}, 1, runRestore},
    };
    return commands;
}

const Command* findCommand(const std::string& name)
{
    for (const Command& command : commandTable())
        if (name == command.name)
            return &command;
    return nullptr;
}

void printToolHelp(std::ostream& out)
{
    out << "Usage: korvane-maintenance <command> [--device N] [options] [arguments]\n"
           "Services camera modules: --device N picks /dev/videoN (default 0).\n"
           "Numbers are decimal or 0x hex.\n\nCommands:\n";
    for (const Command& command : commandTable())
        out << "  " << std::left << std::setw(kNameColumn) << command.name << command.summary << "\n";
    out << "\nkorvane-maintenance <command> --help tells more.\n" << kExitCodes;
}

void printCommandHelp(const Command& command, std::ostream& out)
{
    out << "Usage: korvane-maintenance " << command.name << " [--device N]";
    if (*command.usage)
        out << " " << command.usage;
    std::string summary = command.summary;
    summary[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(summary[0])));
    out << "\n" << summary << ".\n" << command.details << kExitCodes;
}

} // namespace korvane::maintenance
