#ifndef KORVANE_PYTHON_FILEBINDINGS_H
#define KORVANE_PYTHON_FILEBINDINGS_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// Module-level functions: PLY export, image files, and the no-copy hook.
class FileBindings
{
public:
    static void define(pybind11::module_& module);
};

} // namespace korvane::python

#endif
