#include "DeviceTestSupport.h"

#include <filesystem>
#include <stdexcept>

#include <unistd.h>

#include "Extension_Unit_Class/camera_api.h"
#include "camera/StereoCamera.h"

using korvane::emulator::ChipModel;
using korvane::emulator::ModuleConfig;
using korvane::emulator::VirtualModule;

namespace korvane::test {

namespace {

// A device number no machine here has: the stereo camera stays closed.
constexpr int kAbsentDevice = 97;

} // namespace

void DeviceTest::SetUp()
{
    VirtualModuleTest::SetUp();
    Camera_UnInit();
    SetLog(nullptr);
    m_previousDirectory = std::filesystem::current_path().string();
    m_work = std::make_unique<TempDir>();
    std::filesystem::current_path(m_work->path());
}

void DeviceTest::TearDown()
{
    std::filesystem::current_path(m_previousDirectory);
    m_work.reset();
    Camera_UnInit();
    SetLog(nullptr);
    VirtualModuleTest::TearDown();
}

void DeviceTest::shareModulesWithOtherUsers()
{
    namespace fs = std::filesystem;
    const fs::path root = Testbed().Root_Dir();
    fs::permissions(root, fs::perms::owner_all | fs::perms::group_read | fs::perms::group_exec |
                              fs::perms::others_read | fs::perms::others_exec);
    // A node's handler listens on a socket of the same name under ioctl/.
    for (const char* directory : {"dev", "ioctl/dev"})
        for (const auto& entry : fs::directory_iterator(root / directory))
            fs::permissions(entry.path(), fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                                              fs::perms::group_write | fs::perms::others_read |
                                              fs::perms::others_write);
}

void DeviceTest::denyNode(int videoNumber)
{
    const std::string node = Testbed().Root_Dir() + "/dev/video" + std::to_string(videoNumber);
    std::filesystem::permissions(node, std::filesystem::perms::none);
}

VirtualModule& DeviceTest::addModule(int videoNumber) { return Add_Camera("2620", videoNumber); }

VirtualModule& DeviceTest::addModule(const ModuleConfig& config) { return Testbed().Add_Module(config); }

std::vector<std::string> DeviceTest::temporaryCalibrationFiles() const
{
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_work->path())) {
        const std::string name = entry.path().filename().string();
        if (name.rfind("calib.", 0) == 0)
            names.push_back(name);
    }
    return names;
}

void loadCalibrationBlock(VirtualModule& module, const std::string& bytes)
{
    module.With_Chip([&](ChipModel& chip) {
        std::vector<std::uint8_t> block(bytes.begin(), bytes.end());
        if (block.size() < 4096)
            block.resize(4096, 0);
        chip.Flash().Load(kCalibrationPieceAddress, block);
        return 0;
    });
}

std::vector<std::uint8_t> calibrationBlock(VirtualModule& module)
{
    std::vector<std::uint8_t> block(4096);
    module.With_Chip([&](ChipModel& chip) {
        chip.Flash().Read(kCalibrationPieceAddress, block.data(), block.size());
        return 0;
    });
    return block;
}

void writeCalibrationFile(const std::string& path, int serialNumber, int positionNumber)
{
    StereoCamera camera(kAbsentDevice);
    if (!camera.loadCalibParams(sampleCalibrationPath()))
        throw std::runtime_error("the sample calibration does not load");
    camera.setSerialNumber(serialNumber);
    camera.setPosNumber(positionNumber);
    if (!camera.saveCalibParams(path))
        throw std::runtime_error("cannot write " + path);
}

std::string sampleCalibrationPath() { return std::string(KORVANE_SOURCE_DIR) + "/data/sample_calibration.yml"; }

std::vector<std::string> asUnprivilegedUser(std::vector<std::string> command)
{
    if (geteuid() != 0)
        return command;
    const std::vector<std::string> nobody = {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"};
    command.insert(command.begin(), nobody.begin(), nobody.end());
    return command;
}

std::size_t openVideoNodes()
{
    std::size_t count = 0;
    for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
        std::error_code error;
        const std::string target = std::filesystem::read_symlink(entry.path(), error).string();
        count += target.find("/dev/video") != std::string::npos;
    }
    return count;
}

} // namespace korvane::test
