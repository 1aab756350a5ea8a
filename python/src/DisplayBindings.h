#ifndef KORVANE_PYTHON_DISPLAYBINDINGS_H
#define KORVANE_PYTHON_DISPLAYBINDINGS_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// Windows for live views: OpenCV's own, so that Python needs no other GUI
// package to show what a camera sees.
class DisplayBindings
{
public:
    static void define(pybind11::module_& module);
};

} // namespace korvane::python

#endif
