#ifndef KORVANE_PYTHON_SYNTHETICBINDINGS_H
#define KORVANE_PYTHON_SYNTHETICBINDINGS_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// korvane.synthetic: the synthetic stereo module and its set writer.
class SyntheticBindings
{
public:
    static void define(pybind11::module_& module);
};

} // namespace korvane::python

#endif
