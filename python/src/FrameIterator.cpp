#include "FrameIterator.h"

namespace py = pybind11;

namespace korvane::python {

py::object FrameIterator::next()
{
    if (m_camera.is_none())
        throw py::stop_iteration();
    py::object frame = m_camera.attr("get_stereo_frame")();
    if (frame.is_none()) {
        m_camera = py::none(); // ended for good, as iterators do
        throw py::stop_iteration();
    }
    return frame;
}

void FrameIterator::define(py::module_& module)
{
    py::class_<FrameIterator>(module, "FrameIterator", "Raw pairs (left, right, stamp) until capture stops.")
        .def("__iter__", [](py::object self) { return self; })
        .def("__next__", &FrameIterator::next);
}

} // namespace korvane::python
