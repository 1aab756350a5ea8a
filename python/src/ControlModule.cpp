#include "ControlModule.h"

#include "Arguments.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <sstream>
#include <thread>
#include <vector>

#include <opencv2/core/persistence.hpp>

#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/camera_api.h"
#include "UserDataGuard.h"
#include "camera/CalibrationFormat.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

std::uint64_t ControlModule::s_generation = 0;
std::uint64_t ControlModule::s_listed = ~std::uint64_t{0};

namespace {

constexpr int kUserPieces = 3;
constexpr std::size_t kPieceBytes = 4096;
constexpr std::size_t kIdentificationBytes = 16;
constexpr int kCalibrationPiece = 0;
constexpr int kFindRounds = 100; // a module back within 10 s after its restart
constexpr std::chrono::milliseconds kFindPause{100};
constexpr std::chrono::seconds kRestoreWait{10}; // for the restarted module, before its user data go back

// A firmware image given as bytes or as a path (str or os.PathLike), read
// by Python's own open so that a missing file raises FileNotFoundError.
std::string firmwareBytes(const py::object& image)
{
    if (py::isinstance<py::bytes>(image))
        return image.cast<std::string>();
    const std::string path = Arguments::path(image);
    py::object file = py::module_::import("builtins").attr("open")(path, "rb");
    py::bytes content = file.attr("read")();
    file.attr("close")();
    return content;
}

std::string hex(unsigned value)
{
    char text[16];
    std::snprintf(text, sizeof text, "0x%x", value);
    return text;
}

} // namespace

py::dict ControlModule::infoOf(const Module_Handle& handle)
{
    const info_camera_os& os = handle.Information();
    const info_camera_String& strings = handle.Strings();
    Extension_Unit_Base_Protocol* protocol = handle.Device()->p_device;
    return py::dict("node"_a = handle.Device_Path(), "chip"_a = handle.Chip_Name(), "model"_a = handle.Model(),
                    "vid"_a = os.vid, "pid"_a = os.pid, "bcd_device"_a = os.bcdDevice,
                    "serial"_a = std::string(strings.iSerialNumber),
                    "manufacturer"_a = std::string(strings.iManufacturer), "product"_a = std::string(strings.iProduct),
                    "flash_part"_a = handle.Flash_Part_Name(),
                    "flash_part_id"_a = protocol ? protocol->Read_Flash_type() : 0,
                    "identity"_a = handle.Identity().Text(), "identification"_a = handle.Identification());
}

ControlModule ControlModule::open(int index)
{
    if (s_listed != s_generation) { // no list of ours yet, or replaced since
        newGeneration();
        Camera_Init();
        s_listed = s_generation;
    }
    std::unique_ptr<maintenance::ModuleHandle> handle = maintenance::ModuleHandle::open(index);
    if (!handle)
        throw py::index_error("no module at index " + std::to_string(index));
    return ControlModule(std::move(handle), s_generation);
}

py::list ControlModule::listModules()
{
    newGeneration();
    py::list records;
    for (const auto& handle : Module_Handle::Open_All())
        records.append(infoOf(*handle));
    s_listed = s_generation;
    return records;
}

_Device_Point_* ControlModule::device() const
{
    if (m_generation != s_generation)
        throw std::runtime_error("the module list was enumerated again since this module was opened: open it again");
    return m_handle->device();
}

std::string ControlModule::failureText(int status, Camera_Operation operation, const std::string& what)
{
    return what + " failed: " + Camera_Status_Message(operation, status) + " (" + std::to_string(status) + ")";
}

void ControlModule::check(int status, Camera_Operation operation, const std::string& what)
{
    if (status != Camera_Status::Success)
        throw std::runtime_error(failureText(status, operation, what));
}

py::dict ControlModule::info() const
{
    device();
    return infoOf(m_handle->handle());
}

std::string ControlModule::identification() const
{
    device();
    return m_handle->identification();
}

int ControlModule::readRegister(unsigned address) const
{
    std::uint8_t value = 0;
    check(Camera_Get_ISP_Reg_Api(device(), address, &value), Camera_Operation::Register,
          "reading register " + hex(address));
    return value;
}

void ControlModule::writeRegister(unsigned address, unsigned value) const
{
    if (value > 0xff)
        throw py::value_error("a register holds one byte (0 to 255), got " + std::to_string(value));
    check(Camera_Set_ISP_Reg_Api(device(), address, value), Camera_Operation::Register,
          "writing register " + hex(address));
}

int ControlModule::readSensorRegister(unsigned address, unsigned slave) const
{
    checkSensorArguments(address, 0, slave);
    std::uint16_t value = 0;
    check(Camera_Get_Sensor_Reg_Api(device(), static_cast<std::uint8_t>(slave), address, &value),
          Camera_Operation::Register, "reading sensor register " + hex(address));
    return value;
}

void ControlModule::writeSensorRegister(unsigned address, unsigned value, unsigned slave) const
{
    checkSensorArguments(address, value, slave);
    check(Camera_Set_Sensor_Reg_Api(device(), static_cast<std::uint8_t>(slave), address, value),
          Camera_Operation::Register, "writing sensor register " + hex(address));
}

void ControlModule::checkSensorArguments(unsigned address, unsigned value, unsigned slave)
{
    if (address > 0xffff)
        throw py::value_error("a sensor register address is 16 bits (0 to 0xffff), got " + hex(address));
    if (value > 0xffff)
        throw py::value_error("a sensor register holds 16 bits (0 to 65535), got " + std::to_string(value));
    if (slave > 0xff)
        throw py::value_error("a sensor's bus address is one byte (0 to 255), got " + std::to_string(slave));
}

void ControlModule::gpioOutput(unsigned pin) const
{
    check(Camera_Output_GPIO_Init_Api(device(), pin), Camera_Operation::Gpio,
          "making GPIO pin " + std::to_string(pin) + " an output");
}

void ControlModule::gpioInput(unsigned pin) const
{
    check(Camera_Input_GPIO_Init_Api(device(), pin), Camera_Operation::Gpio,
          "making GPIO pin " + std::to_string(pin) + " an input");
}

void ControlModule::setGpio(unsigned pin, unsigned level) const
{
    if (level > 1)
        throw py::value_error("a GPIO level is 0 or 1, got " + std::to_string(level));
    check(Camera_Set_Output_GPIO_Api(device(), pin, level), Camera_Operation::Gpio,
          "setting GPIO pin " + std::to_string(pin));
}

int ControlModule::getGpio(unsigned pin) const
{
    std::uint8_t level = 0;
    check(Camera_Get_Input_GPIO_Api(device(), pin, &level), Camera_Operation::Gpio,
          "reading GPIO pin " + std::to_string(pin));
    return level;
}

py::bytes ControlModule::readUserPiece(int piece) const
{
    if (piece < 0 || piece >= kUserPieces)
        throw py::value_error("user pieces are 0 to " + std::to_string(kUserPieces - 1) + ", got " +
                              std::to_string(piece));
    std::vector<std::uint8_t> buffer(kPieceBytes, 0);
    check(Camera_Flash_R_Api(device(), piece, buffer.data()), Camera_Operation::Flash_Piece,
          "reading user piece " + std::to_string(piece));
    return py::bytes(reinterpret_cast<const char*>(buffer.data()), buffer.size());
}

py::bytes ControlModule::readCalibrationBlock() const
{
    static_assert(korvane::CalibrationFormat::kBlockSize == kPieceBytes, "the calibration block is one piece");
    return readUserPiece(kCalibrationPiece);
}

py::bytes ControlModule::readIdentificationBlock() const
{
    std::vector<std::uint8_t> buffer(kIdentificationBytes, 0);
    check(Camera_Get_ExID_Api(device(), buffer.data()), Camera_Operation::Flash_Piece,
          "reading the identification block");
    return py::bytes(reinterpret_cast<const char*>(buffer.data()), buffer.size());
}

std::string ControlModule::calibrationProblem(const std::string& text)
{
    if (text.size() > korvane::CalibrationFormat::kBlockSize)
        return "it is " + std::to_string(text.size()) + " bytes, more than the block's " +
               std::to_string(korvane::CalibrationFormat::kBlockSize);
    if (text.find('\0') != std::string::npos)
        return "it holds a zero byte";
    try {
        cv::FileStorage file(text, cv::FileStorage::READ | cv::FileStorage::MEMORY);
        if (!file.isOpened())
            return "it is not a settings file";
        for (const auto* entry : korvane::CalibrationFormat::readOrder()) {
            cv::Mat value;
            if (!file[entry->key].empty())
                file[entry->key] >> value;
            if (value.empty() || !entry->fits(value))
                return std::string("key ") + entry->key + " is missing or of the wrong shape";
        }
    } catch (const cv::Exception& e) {
        return "it does not parse: " + e.msg;
    }
    return {};
}

void ControlModule::writeCalibrationBlock(const std::string& text, const std::string& backup) const
{
    const std::string problem = calibrationProblem(text);
    if (!problem.empty())
        throw py::value_error("not a calibration file the kit loads: " + problem + "; nothing written");
    const std::string before = readCalibrationBlock();
    {
        std::ofstream out(backup, std::ios::binary | std::ios::trunc);
        out.write(before.data(), static_cast<std::streamsize>(before.size()));
        out.flush();
        if (!out)
            throw std::runtime_error("cannot write the backup " + backup + "; nothing written");
    }
    std::vector<std::uint8_t> block(kPieceBytes, 0);
    std::copy(text.begin(), text.end(), block.begin());
    check(Camera_Flash_W_Api(device(), kCalibrationPiece, block.data()), Camera_Operation::Flash_Piece,
          "writing the calibration block (the block as it was is in " + backup + ")");
    const std::string after = readCalibrationBlock();
    if (after.compare(0, std::string::npos, reinterpret_cast<const char*>(block.data()), block.size()) != 0)
        throw std::runtime_error("the calibration block reads back otherwise than written; the block as it was "
                                 "is in " + backup);
}

py::object ControlModule::updateFirmware(const std::string& image, const py::object& progress,
                                         const std::string& backupDirectory, bool discardUserData) const
{
    device();
    const bool keepUserData = m_handle->handle().Download_Rewrites_User_Data() && !discardUserData;
    maintenance::UserDataGuard guard(backupDirectory.empty() ? maintenance::UserDataBackup::defaultDirectory()
                                                             : backupDirectory);
    std::ostringstream said;
    if (keepUserData && !guard.takeBackup(*m_handle, said))
        throw std::runtime_error("nothing written: " + said.str());
    std::exception_ptr failure; // of progress, raised once the user data are back
    const int status = download(image, progress, failure);
    if (status == Camera_Status::Success && keepUserData) {
        bool restored = false;
        {
            py::gil_scoped_release release;
            restored = guard.restoreAfterDownload(kRestoreWait, said);
        }
        if (!restored)
            throw std::runtime_error("the firmware was written but the user data were not written back: " +
                                     said.str());
    }
    if (status == Camera_Status::Success)
        findAgain();
    if (failure)
        std::rethrow_exception(failure);
    if (status != Camera_Status::Success) {
        std::string message = failureText(status, Camera_Operation::Firmware_Update, "the firmware update");
        if (keepUserData)
            message += "; the user data as they were are in " + guard.backupPath() + ": " +
                       maintenance::UserDataGuard::restoreCommand(m_handle->deviceNode(), guard.backupPath());
        throw std::runtime_error(message);
    }
    if (!progress.is_none())
        progress(m_handle->handle().Download_Phase(100.0f), 100.0f);
    return keepUserData ? py::object(py::str(guard.backupPath())) : py::object(py::none());
}

int ControlModule::download(const std::string& image, const py::object& progress,
                            std::exception_ptr& failure) const
{
    _Device_Point_* record = device();
    const Module_Handle& handle = m_handle->handle();
    float reported = 0.0f; // written by the download, read here between slices
    std::atomic<bool> done{false};
    int status = 0;
    newGeneration();            // the download enumerates the modules afresh
    {
        py::gil_scoped_release release;
        std::thread download([&] {
            std::vector<unsigned char> bytes(image.begin(), image.end());
            status = Camera_Updata(record, bytes.data(), static_cast<unsigned>(bytes.size()), &reported);
            done = true;
        });
        float shown = -1.0f;
        while (!done) {
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            float now = 0.0f;
            __atomic_load(&reported, &now, __ATOMIC_RELAXED);
            if (progress.is_none() || failure || now == shown || now >= 100.0f)
                continue;
            shown = now;
            const std::string phase = handle.Download_Phase(now);
            py::gil_scoped_acquire acquire;
            try {
                progress(phase, now);
            } catch (...) {
                failure = std::current_exception();
            }
        }
        download.join();
    }
    return status;
}

void ControlModule::findAgain() const
{
    std::unique_ptr<maintenance::ModuleHandle> found;
    const Module_Identity identity = m_handle->identity();
    {
        py::gil_scoped_release release;
        found = maintenance::ModuleHandle::findAgain(identity, kFindRounds, kFindPause);
    }
    if (!found)
        throw std::runtime_error("the firmware was written but the module did not come back as " + identity.Text());
    newGeneration();
    m_handle = std::move(found);
    m_generation = s_generation;
}

void ControlModule::define(py::module_& module)
{
    module.def("list_modules", &ControlModule::listModules, R"doc(
Enumerates the modules on the control channel afresh: a list of dicts with
node ("/dev/video0"), chip ("SPCA2620"), model (the name its protocol
reports), vid, pid, bcd_device, serial, manufacturer, product, flash_part
(the fitted serial flash, "MX25L512"; "unknown" when none matches),
flash_part_id (its number, 0 when none matches), identity and
identification. Modules opened before become stale.)doc");
    py::class_<ControlModule>(module, "Module", R"doc(
One module on the control channel, made by korvane.Module.open(index) on the
present module list (enumerated first when there is none). Any later
enumeration (list_modules, a KorvaneCamera, another module's firmware
update) makes it stale, and it then raises RuntimeError. Failures
raise RuntimeError with the kit's explanation of the status code. Calls
keep the GIL: the control channel serves one caller at a time.)doc")
        .def_static("open", &ControlModule::open, "index"_a = 0, "The module at that index; IndexError when none.")
        .def_property_readonly("info", &ControlModule::info, "The module's record, as list_modules gives it.")
        .def("identification", &ControlModule::identification,
             "The identification string: bcdDevice-bcdDevice-vid-serial.")
        .def("read_register", &ControlModule::readRegister, "address"_a, "One byte of the chip's register.")
        .def("write_register", &ControlModule::writeRegister, "address"_a, "value"_a,
             "Writes one byte (0 to 255; else ValueError).")
        .def("read_sensor_register", &ControlModule::readSensorRegister, "address"_a, "slave"_a = 0,
             "A 16-bit register of the image sensor, through the chip (slave: the sensor's bus address, "
             "which the chips here choose themselves).")
        .def("write_sensor_register", &ControlModule::writeSensorRegister, "address"_a, "value"_a, "slave"_a = 0,
             "Writes a 16-bit sensor register (0 to 65535; else ValueError).")
        .def("gpio_output", &ControlModule::gpioOutput, "pin"_a, "Makes a GPIO pin an output.")
        .def("gpio_input", &ControlModule::gpioInput, "pin"_a, "Makes a GPIO pin an input.")
        .def("set_gpio", &ControlModule::setGpio, "pin"_a, "level"_a, "Drives an output pin to 0 or 1.")
        .def("get_gpio", &ControlModule::getGpio, "pin"_a, "The level (0 or 1) of an input pin.")
        .def("read_user_piece", &ControlModule::readUserPiece, "piece"_a,
             "A 4096-byte user piece (0 to 2) of the serial flash.")
        .def("read_calibration_block", &ControlModule::readCalibrationBlock,
             "The 4096-byte calibration block (user piece 0): a calibration file, then zero bytes.")
        .def("read_identification_block", &ControlModule::readIdentificationBlock,
             "The 16-byte identification block.")
        .def("write_calibration_block",
             [](const ControlModule& m, const py::bytes& text, const py::object& backup) {
                 m.writeCalibrationBlock(text, Arguments::path(backup));
             },
             "text"_a, "backup"_a, R"doc(
Writes a calibration file (bytes, at most 4096) into the calibration block,
followed by zero bytes. ValueError, writing nothing, when the text is not a
calibration file the kit loads; the block as it was is saved to backup
first (RuntimeError, writing nothing, when that fails); RuntimeError when
the write fails or the block reads back otherwise.)doc")
        .def("update_firmware",
             [](const ControlModule& m, const py::object& image, const py::object& progress,
                const py::object& backupDirectory, bool discardUserData) {
                 return m.updateFirmware(firmwareBytes(image), progress,
                                         backupDirectory.is_none() ? "" : Arguments::path(backupDirectory),
                                         discardUserData);
             },
             "image"_a, "progress"_a = py::none(), "backup_dir"_a = py::none(), "discard_user_data"_a = false,
             R"doc(
Downloads a firmware image (a file's path, or its bytes) into the module,
calling progress(phase, percent) as it goes (from this thread, with the
GIL): phase is "preparing", "erasing", "writing and verifying", "header" or
"restarting", percent a float from 0 to 100. OSError when the file cannot
be read. On a chip whose download rewrites the flash that holds the user
data (the calibration among them), they are first saved to a new file in
backup_dir (korvane-maintenance's backup folder when None: $KORVANE_BACKUP_DIR,
else $XDG_STATE_HOME/korvane/backups, else ~/.local/state/korvane/backups),
and written back and verified once the module has restarted, as
korvane-maintenance firmware does; the backup's path is returned (None when
the chip's download leaves the user data alone, or discard_user_data=True).
RuntimeError, with nothing written, when the backup cannot be made; when
the download or the write-back fails, the message names the backup and the
command that restores it. Blocks until done and is not
interrupted by Ctrl-C (a half-written firmware leaves the module on its boot
code). RuntimeError with the kit's explanation when it fails. Other modules
opened before are stale afterwards; this one follows the module.)doc");
}

} // namespace korvane::python
