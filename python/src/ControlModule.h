#ifndef KORVANE_PYTHON_CONTROLMODULE_H
#define KORVANE_PYTHON_CONTROLMODULE_H

#include <cstdint>
#include <exception>
#include <memory>
#include <string>

#include <pybind11/pybind11.h>

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Module_Handle.h"
#include "ModuleHandle.h"

namespace korvane::python {

// korvane.Module: one module on the control channel (registers, GPIO, the
// serial flash's user pieces, identification). The kit keeps one camera
// list per process and each enumeration replaces it, which leaves the
// handles taken from the old list pointing at nothing: every enumeration
// made from Python counts a new generation, and a module of an older one
// raises RuntimeError instead of touching freed memory.
class ControlModule
{
public:
    // The module at that index of the present list (enumerated first when
    // there is none, or another was made since); IndexError when there is none.
    static ControlModule open(int index);
    // Every readable module of a fresh enumeration, as info records.
    static pybind11::list listModules();
    // Marks every module made so far as stale (the list is being replaced).
    static void newGeneration() { ++s_generation; }

    pybind11::dict info() const;
    std::string identification() const;
    int readRegister(unsigned address) const;
    void writeRegister(unsigned address, unsigned value) const;
    int readSensorRegister(unsigned address, unsigned slave) const;
    void writeSensorRegister(unsigned address, unsigned value, unsigned slave) const;
    void gpioOutput(unsigned pin) const;
    void gpioInput(unsigned pin) const;
    void setGpio(unsigned pin, unsigned level) const;
    int getGpio(unsigned pin) const;
    pybind11::bytes readUserPiece(int piece) const;
    pybind11::bytes readCalibrationBlock() const;
    pybind11::bytes readIdentificationBlock() const;
    // Writes a calibration file into the calibration block: refuses text
    // that is not one (ValueError), saves the block as it was to `backup`
    // first, then writes and reads it back.
    void writeCalibrationBlock(const std::string& text, const std::string& backup) const;
    // Downloads a firmware image; progress(phase, percent) is called with the GIL
    // while it runs. Other modules opened before are stale afterwards.
    // Where the chip's download rewrites the user data, backs them up to a
    // new file in backupDirectory (the maintenance tool's default when
    // empty) first and writes them back afterwards, unless discardUserData;
    // returns the backup's path, or None when none was taken.
    pybind11::object updateFirmware(const std::string& image, const pybind11::object& progress,
                                    const std::string& backupDirectory, bool discardUserData) const;

    static void define(pybind11::module_& module);

private:
    ControlModule(std::shared_ptr<maintenance::ModuleHandle> handle, std::uint64_t generation)
        : m_handle(std::move(handle)), m_generation(generation)
    {
    }

    // The handle's record, or RuntimeError when the list was replaced since.
    _Device_Point_* device() const;
    // "<what> failed: <the kit's message> (<status>)".
    static std::string failureText(int status, Camera_Operation operation, const std::string& what);
    // Raises RuntimeError with that text when status is not success.
    static void check(int status, Camera_Operation operation, const std::string& what);
    static pybind11::dict infoOf(const Module_Handle& handle);
    // ValueError for a sensor address, value or bus address out of range.
    static void checkSensorArguments(unsigned address, unsigned value, unsigned slave);
    // Why text is not a calibration file the kit loads; empty when it is.
    static std::string calibrationProblem(const std::string& text);

    // Runs the download off the GIL, calling progress(phase, percent).
    // An exception of progress is kept in failure, for after the download.
    int download(const std::string& image, const pybind11::object& progress, std::exception_ptr& failure) const;
    // After a download: this module's handle on the list made anew.
    void findAgain() const;

    mutable std::shared_ptr<maintenance::ModuleHandle> m_handle;
    mutable std::uint64_t m_generation;
    static std::uint64_t s_generation;
    static std::uint64_t s_listed; // the generation of the list this module enumerated last
};

} // namespace korvane::python

#endif
