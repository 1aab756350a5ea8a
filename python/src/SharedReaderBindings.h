#ifndef KORVANE_PYTHON_SHAREDREADERBINDINGS_H
#define KORVANE_PYTHON_SHAREDREADERBINDINGS_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// korvane.SharedFrameReader: the left images a capturing process publishes
// in shared memory (start_capture(share_memory=True)).
class SharedReaderBindings
{
public:
    static void define(pybind11::module_& module);
};

} // namespace korvane::python

#endif
