#include "SharedReaderBindings.h"

#include <chrono>
#include <memory>
#include <string>

#include "Arguments.h"
#include "MatArray.h"
#include "camera/SharedFrameReader.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

namespace {

using korvane::SharedFrameReader;

constexpr std::chrono::milliseconds kSlice{20};

std::unique_ptr<SharedFrameReader> attach(int position, const py::object& size)
{
    auto reader = std::make_unique<SharedFrameReader>();
    const bool ok = size.is_none() ? reader->attach(position)
                                   : reader->attach(position, Arguments::size(size, "size"));
    if (!ok)
        throw std::runtime_error("cannot attach to the shared memory of position " + std::to_string(position) +
                                 ": " + reader->error());
    return reader;
}

// Waits up to timeout seconds in slices, without the GIL, checking signals.
py::object read(SharedFrameReader& reader, double timeout)
{
    if (!reader.attached())
        throw std::runtime_error("the reader is detached");
    const auto until = std::chrono::steady_clock::now() + std::chrono::duration<double>(timeout);
    cv::Mat image;
    bool got = false;
    bool interrupted = false;
    {
        py::gil_scoped_release release;
        while (!got && std::chrono::steady_clock::now() < until) {
            got = reader.read(image, kSlice);
            py::gil_scoped_acquire acquire;
            if (!got && PyErr_CheckSignals() != 0) {
                interrupted = true;
                break;
            }
        }
    }
    if (interrupted)
        throw py::error_already_set();
    if (!got)
        return py::none();
    return MatArray::toArray(std::move(image));
}

} // namespace

void SharedReaderBindings::define(py::module_& module)
{
    py::class_<SharedFrameReader>(module, "SharedFrameReader", R"doc(
Reads the left images that a capturing process publishes in shared memory
for a mounting position (start_capture(share_memory=True)).)doc")
        .def(py::init(&attach), "position"_a, "size"_a = py::none(), R"doc(
Attaches to the position's segment; size (width, height) of the left image
when the segment is not of a module's size. RuntimeError when there is no
segment or its size does not fit.)doc")
        .def("read", &read, "timeout"_a = 1.0, R"doc(
The next left image (H x W x 3 uint8, B, G, R), marking the segment empty;
None when none came within timeout seconds. Waits without the GIL; Ctrl-C
interrupts it.)doc")
        .def("detach", &SharedFrameReader::detach, "Detaches from the segment.")
        .def_property_readonly("attached", &SharedFrameReader::attached, "Whether a segment is attached.")
        .def_property_readonly(
            "image_size", [](const SharedFrameReader& r) { return Arguments::sizeTuple(r.imageSize()); },
            "The left image's size (width, height).");
}

} // namespace korvane::python
