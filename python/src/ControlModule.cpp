#include "ControlModule.h"

#include <cstdio>
#include <vector>

#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/camera_api.h"
#include "camera/CalibrationFormat.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

std::uint64_t ControlModule::s_generation = 0;

namespace {

constexpr int kUserPieces = 3;
constexpr std::size_t kPieceBytes = 4096;
constexpr std::size_t kIdentificationBytes = 16;
constexpr int kCalibrationPiece = 0;

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
    const char* model = protocol ? protocol->This_is() : nullptr;
    return py::dict("node"_a = handle.Device_Path(), "model"_a = model ? model : "unknown", "vid"_a = os.vid,
                    "pid"_a = os.pid, "bcd_device"_a = os.bcdDevice, "serial"_a = std::string(strings.iSerialNumber),
                    "manufacturer"_a = std::string(strings.iManufacturer), "product"_a = std::string(strings.iProduct),
                    "flash_part"_a = protocol ? protocol->Read_Flash_type() : 0,
                    "identity"_a = handle.Identity().Text(), "identification"_a = handle.Identification());
}

ControlModule ControlModule::open(int index)
{
    newGeneration();
    Camera_Init();
    std::unique_ptr<Module_Handle> handle = Module_Handle::Open(index);
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
    return records;
}

_Device_Point_* ControlModule::device() const
{
    if (m_generation != s_generation)
        throw std::runtime_error("the module list was enumerated again since this module was opened: open it again");
    return m_handle->Device();
}

void ControlModule::check(int status, Camera_Operation operation, const std::string& what)
{
    if (status != Camera_Status::Success)
        throw std::runtime_error(what + " failed: " + Camera_Status_Message(operation, status) + " (" +
                                 std::to_string(status) + ")");
}

py::dict ControlModule::info() const
{
    device();
    return infoOf(*m_handle);
}

std::string ControlModule::identification() const
{
    device();
    return m_handle->Identification();
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

void ControlModule::define(py::module_& module)
{
    module.def("list_modules", &ControlModule::listModules, R"doc(
Enumerates the modules on the control channel afresh: a list of dicts with
node, model, vid, pid, bcd_device, serial, manufacturer, product,
flash_part (the fitted part's number, 0 when none matches), identity and
identification. Modules opened before become stale.)doc");
    py::class_<ControlModule>(module, "Module", R"doc(
One module on the control channel. Made by korvane.Module.open(index) from a
fresh enumeration; any later enumeration (list_modules, another open, a
KorvaneCamera) makes it stale, and it then raises RuntimeError. Failures
raise RuntimeError with the kit's explanation of the status code. Calls
keep the GIL: the control channel serves one caller at a time.)doc")
        .def_static("open", &ControlModule::open, "index"_a = 0, "The module at that index; IndexError when none.")
        .def_property_readonly("info", &ControlModule::info, "The module's record, as list_modules gives it.")
        .def("identification", &ControlModule::identification,
             "The identification string: bcdDevice-bcdDevice-vid-serial.")
        .def("read_register", &ControlModule::readRegister, "address"_a, "One byte of the chip's register.")
        .def("write_register", &ControlModule::writeRegister, "address"_a, "value"_a,
             "Writes one byte (0 to 255; else ValueError).")
        .def("gpio_output", &ControlModule::gpioOutput, "pin"_a, "Makes a GPIO pin an output.")
        .def("gpio_input", &ControlModule::gpioInput, "pin"_a, "Makes a GPIO pin an input.")
        .def("set_gpio", &ControlModule::setGpio, "pin"_a, "level"_a, "Drives an output pin to 0 or 1.")
        .def("get_gpio", &ControlModule::getGpio, "pin"_a, "The level (0 or 1) of an input pin.")
        .def("read_user_piece", &ControlModule::readUserPiece, "piece"_a,
             "A 4096-byte user piece (0 to 2) of the serial flash.")
        .def("read_calibration_block", &ControlModule::readCalibrationBlock,
             "The 4096-byte calibration block (user piece 0): a calibration file, then zero bytes.")
        .def("read_identification_block", &ControlModule::readIdentificationBlock,
             "The 16-byte identification block.");
}

} // namespace korvane::python
