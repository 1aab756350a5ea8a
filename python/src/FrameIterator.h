#ifndef KORVANE_PYTHON_FRAMEITERATOR_H
#define KORVANE_PYTHON_FRAMEITERATOR_H

#include <pybind11/pybind11.h>

namespace korvane::python {

// What StereoCamera.frames() returns: (left, right, stamp) of each raw pair
// from get_stereo_frame, until it returns None (capture stopped).
class FrameIterator
{
public:
    explicit FrameIterator(pybind11::object camera) : m_camera(std::move(camera)) {}

    pybind11::object next();

    static void define(pybind11::module_& module);

private:
    pybind11::object m_camera;
};

} // namespace korvane::python

#endif
