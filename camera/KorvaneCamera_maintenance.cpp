// Maintenance operations on a module through the flat control-channel API:
// calibration block to file, firmware update, calibration file to flash and
// the identification string.
#include "KorvaneCamera.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Module_Handle.h"
#include "Extension_Unit_Class/camera_api.h"

namespace {

// The modules of one call, one per list index (null where an index has no
// readable module), released together however the call ends. Each keeps
// the information read before any operation, so that a firmware update,
// which rebuilds the camera list, does not make a later index look like the
// module just updated.
std::vector<std::unique_ptr<Module_Handle>> openEveryIndex(int count)
{
    std::vector<std::unique_ptr<Module_Handle>> modules;
    for (int i = 0; i < count; ++i)
        modules.push_back(Module_Handle::Open(i));
    return modules;
}

// A descriptor on the module's video node, held for the length of one operation.
class NodeDescriptor
{
public:
    explicit NodeDescriptor(const char* path) : m_fd(open(path, O_RDWR | O_NONBLOCK)) {}
    ~NodeDescriptor()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    NodeDescriptor(const NodeDescriptor&) = delete;
    NodeDescriptor& operator=(const NodeDescriptor&) = delete;

private:
    int m_fd;
};

struct FileCloser
{
    void operator()(FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<FILE, FileCloser>;

// Length of an open file, or -1.
long fileLength(FILE* file)
{
    if (std::fseek(file, 0, SEEK_END) != 0)
        return -1;
    const long size = std::ftell(file);
    if (std::fseek(file, 0, SEEK_SET) != 0)
        return -1;
    return size;
}

// The control channel's download, with the progress in percent. An image
// beyond the channel's 32-bit length fits no chip.
int downloadFirmware(_Device_Point_* handle, std::uint8_t* image, std::size_t size, float* progress)
{
    if (size > 0xFFFFFFFFu)
        return Camera_Status::Image_Does_Not_Fit;
    return Camera_Updata(handle, image, static_cast<unsigned int>(size), progress);
}

// Operation 0. False when the output file cannot be created.
bool flashToFile(_Device_Point_* handle, const std::string& path)
{
    std::vector<std::uint8_t> block(korvane::CalibrationFormat::kBlockSize, 0);
    if (Camera_Flash_R_Api(handle, 0, block.data()) != 0)
        return true; // nothing is written; the caller finds no file to load
    File file(std::fopen(path.c_str(), "wb+"));
    if (!file) {
        std::printf("Open %s failed\n", path.c_str());
        return false;
    }
    std::fwrite(block.data(), 1, block.size(), file.get());
    std::fflush(file.get());
    file.reset();
    sync();
    return true;
}

// Operation 2. False when the image cannot be opened or read.
bool updateFirmware(_Device_Point_* handle, const std::string& path)
{
    File file(std::fopen(path.c_str(), "rb"));
    const long size = file ? fileLength(file.get()) : -1;
    if (size < 0) {
        std::printf("Open firmware file: %s failed\n", path.c_str());
        return false;
    }
    std::vector<std::uint8_t> image(static_cast<std::size_t>(size), 0);
    if (std::fread(image.data(), 1, image.size(), file.get()) != image.size()) {
        std::printf("Open firmware file: %s failed\n", path.c_str());
        return false;
    }
    std::printf("Binary file : [%s] %lu bytes (%.1f KB) has been read\n", path.c_str(),
                static_cast<unsigned long>(size), static_cast<double>(size) / 1024.0);
    file.reset();

    float progress = 0.0f;
    std::printf("Start Updating Firmware ...\n");
    std::fflush(stdout);
    const int result = downloadFirmware(handle, image.data(), image.size(), &progress);
    if (result == 0 && progress == 100.0f)
        std::printf("done!");
    else
        std::printf("failed!\n");
    std::fflush(stdout);
    return true;
}

// Operation 3. False when the file cannot be opened or read, or is longer
// than the block.
bool calibrationToFlash(_Device_Point_* handle, const std::string& path)
{
    File file(std::fopen(path.c_str(), "rb"));
    const long size = file ? fileLength(file.get()) : -1;
    if (size < 0) {
        std::printf("Open %s failed\n", path.c_str());
        return false;
    }
    if (static_cast<unsigned long>(size) > korvane::CalibrationFormat::kBlockSize) {
        std::printf("Calibration file: [%s] %lu bytes does not fit the %zu-byte flash block\n", path.c_str(),
                    static_cast<unsigned long>(size), korvane::CalibrationFormat::kBlockSize);
        return false;
    }
    std::vector<std::uint8_t> block(korvane::CalibrationFormat::kBlockSize, 0);
    if (std::fread(block.data(), 1, static_cast<std::size_t>(size), file.get()) != static_cast<std::size_t>(size)) {
        std::printf("Open %s failed\n", path.c_str());
        return false;
    }
    std::printf("Binary file: [%s] %lu bytes (%.1f KB) has been loaded.\n", path.c_str(),
                static_cast<unsigned long>(size), static_cast<double>(size) / 1024.0);
    file.reset();

    std::printf("Start Updating CalibParams ...\n");
    std::fflush(stdout);
    if (Camera_Flash_W_Api(handle, 0, block.data()) == 0)
        std::printf("done!\n");
    else
        std::printf("failed!\n");
    std::fflush(stdout);
    return true;
}

} // namespace

int cameraSpecailOprations(int deviceNode, std::string& path, int op)
{
    int count = 0;
    if (Camera_Count(&count) != 0 || count < 1) {
        std::printf("Cannot detect any korvane camera!\n");
        std::fflush(stdout);
        return 0;
    }
    const auto modules = openEveryIndex(count);
    const std::string wanted = "/dev/video" + std::to_string(deviceNode);
    for (const auto& module : modules) {
        if (!module || wanted != module->Device_Path())
            continue;
        _Device_Point_* handle = module->Device();
        NodeDescriptor node(wanted.c_str());
        bool finished = true;
        switch (op) {
        case kFlashToFile:
            finished = flashToFile(handle, path);
            break;
        case kFirmwareUpdate:
            finished = updateFirmware(handle, path);
            break;
        case kCalibrationToFlash:
            finished = calibrationToFlash(handle, path);
            break;
        case kIdentification:
            path = module->Identification();
            break;
        default: // 1 is reserved; other codes do nothing
            break;
        }
        std::fflush(stdout);
        if (!finished)
            return 0;
    }
    return 1;
}
