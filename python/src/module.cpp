// The extension of the Python package korvane.
#include <pybind11/pybind11.h>

#include "CameraBindings.h"
#include "ControlModule.h"
#include "DisplayBindings.h"
#include "SharedReaderBindings.h"
#include "FileBindings.h"
#include "SyntheticBindings.h"
#include "camera/KorvaneVersion.h"

PYBIND11_MODULE(_korvane, module)
{
    module.doc() = "Stereo fisheye camera modules: capture, rectification, disparity, depth, point clouds.";
    module.attr("__version__") = KORVANE_VERSION;
    korvane::python::CameraBindings::define(module);
    korvane::python::FileBindings::define(module);
    korvane::python::SyntheticBindings::define(module);
    korvane::python::ControlModule::define(module);
    korvane::python::DisplayBindings::define(module);
    korvane::python::SharedReaderBindings::define(module);
}
