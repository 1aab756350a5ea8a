#ifndef KORVANE_TESTS_DEVICE_DEVICETESTSUPPORT_H
#define KORVANE_TESTS_DEVICE_DEVICETESTSUPPORT_H

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "emulator/VirtualModuleTest.h"
#include "support/TempDir.h"

namespace korvane::test {

// Flash address of the calibration block (flat-API piece 0) on the 2620 chip.
constexpr std::uint32_t kCalibrationPieceAddress = 15 * 4096;

// A test on its own virtual device tree, run inside a fresh working
// directory (where the device camera makes its temporary file), with the
// control channel's camera list gone before and after.
class DeviceTest : public korvane::emulator::VirtualModuleTest
{
protected:
    void SetUp() override;
    void TearDown() override;

    // A 2620 module on /dev/video<videoNumber>.
    korvane::emulator::VirtualModule& addModule(int videoNumber);
    korvane::emulator::VirtualModule& addModule(const korvane::emulator::ModuleConfig& config);

    // Lets other users reach the virtual modules added so far: the device
    // tree's directories, and every video node for reading and writing.
    void shareModulesWithOtherUsers();
    // Takes away the permission to open /dev/video<videoNumber>, from every
    // user but root.
    void denyNode(int videoNumber);

    // The scratch directory that is also the working directory.
    const TempDir& work() const { return *m_work; }
    // Names in the working directory that start with "calib.".
    std::vector<std::string> temporaryCalibrationFiles() const;

private:
    std::unique_ptr<TempDir> m_work;
    std::string m_previousDirectory;
};

// Fills the module's calibration block as the factory does: the bytes, then
// zero bytes up to 4096.
void loadCalibrationBlock(korvane::emulator::VirtualModule& module, const std::string& bytes);
// The module's 4096-byte calibration block as it is in its flash.
std::vector<std::uint8_t> calibrationBlock(korvane::emulator::VirtualModule& module);

// Writes the kit's sample calibration with the given serial and position
// numbers to path through the stereo camera's own writer.
void writeCalibrationFile(const std::string& path, int serialNumber, int positionNumber);

// Path of the sample calibration shipped with the kit.
std::string sampleCalibrationPath();

// Descriptors of this process open on video nodes.
std::size_t openVideoNodes();

// A command line that runs command as the unprivileged user nobody when
// this process is root (through setpriv), else as it is.
std::vector<std::string> asUnprivilegedUser(std::vector<std::string> command);

} // namespace korvane::test

#endif
