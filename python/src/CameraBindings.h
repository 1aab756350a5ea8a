#ifndef KORVANE_PYTHON_CAMERABINDINGS_H
#define KORVANE_PYTHON_CAMERABINDINGS_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// korvane.StereoCamera and korvane.KorvaneCamera.
class CameraBindings
{
public:
    static void define(pybind11::module_& module);

private:
    static void defineStereoCamera(pybind11::module_& module);
    static void defineKorvaneCamera(pybind11::module_& module);
};

} // namespace korvane::python

#endif
