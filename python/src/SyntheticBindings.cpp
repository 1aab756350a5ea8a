#include "SyntheticBindings.h"

#include <string>

#include "Arguments.h"
#include "MatArray.h"
#include "camera/ModuleFrameSize.h"
#include "emulator/synthetic/SyntheticSetWriter.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

namespace {

using korvane::synthetic::SyntheticSetWriter;
using korvane::synthetic::SyntheticStereoModule;

void checkIndex(int index)
{
    if (index < 0)
        throw py::value_error("frame index must be 0 or more, got " + std::to_string(index));
}

void checkFieldOfView(double degrees)
{
    if (!(degrees >= 60.0 && degrees <= 140.0))
        throw py::value_error("hfov must be from 60 to 140 degrees, got " + std::to_string(degrees));
}

std::unique_ptr<SyntheticStereoModule> makeModule(const py::object& size)
{
    const cv::Size raw = Arguments::size(size, "size");
    if (raw.width % 2 != 0)
        throw py::value_error("size: the width must be even (two eyes side by side), got " + std::to_string(raw.width));
    return std::make_unique<SyntheticStereoModule>(raw);
}

py::array renderFrame(const SyntheticStereoModule& module, int index)
{
    checkIndex(index);
    cv::Mat frame;
    {
        py::gil_scoped_release release;
        frame = module.renderFrame(index);
    }
    return MatArray::toArray(std::move(frame));
}

py::array renderEye(const SyntheticStereoModule& module, int index, bool right)
{
    checkIndex(index);
    cv::Mat eye;
    {
        py::gil_scoped_release release;
        eye = module.renderEye(index, right);
    }
    return MatArray::toArray(std::move(eye));
}

py::array renderDepth(const SyntheticStereoModule& module, int index, const py::object& rectSize, double hfov)
{
    checkIndex(index);
    checkFieldOfView(hfov);
    const cv::Size size = Arguments::size(rectSize, "rect_size");
    cv::Mat depth;
    {
        py::gil_scoped_release release;
        depth = module.renderDepth(index, size, hfov);
    }
    return MatArray::toArray(std::move(depth));
}

// Writes the set; progress(frames written) runs with the GIL, and a signal
// (Ctrl-C) stops the writing between frames.
void writeSet(const py::object& directory, const py::object& size, const py::object& rectSize, double hfov,
              int frames, const py::object& progress)
{
    SyntheticSetWriter::Options options;
    options.rawSize = Arguments::size(size, "size");
    options.rectifiedSize = Arguments::size(rectSize, "rect_size");
    checkFieldOfView(hfov);
    options.hFovDegrees = hfov;
    if (frames < 1)
        throw py::value_error("frames must be 1 or more, got " + std::to_string(frames));
    options.frameCount = frames;
    if (!korvane::isModuleFrameSize(options.rawSize))
        throw py::value_error("size must be (1856, 800) or (928, 400)");
    const std::string path = Arguments::path(directory);
    SyntheticSetWriter writer(options);
    writer.onProgress([&progress](int written) {
        py::gil_scoped_acquire acquire;
        if (PyErr_CheckSignals() != 0)
            throw py::error_already_set();
        if (!progress.is_none())
            progress(written);
    });
    std::string error;
    bool ok = false;
    {
        py::gil_scoped_release release;
        ok = writer.write(path, error);
    }
    if (!ok)
        throw std::runtime_error("cannot write the synthetic set into " + path + ": " + error);
}

} // namespace

void SyntheticBindings::define(py::module_& module)
{
    py::module_ synthetic = module.def_submodule("synthetic", "The synthetic stereo module: frames of a known scene.");
    py::class_<SyntheticStereoModule>(synthetic, "Module", R"doc(
A stereo fisheye module made of arithmetic: side-by-side frames of a known
scene and their ground-truth depth. Frames are a pure function of their
index, FRAME_RATE per second of scene time.)doc")
        .def(py::init(&makeModule), "size"_a = py::make_tuple(1856, 800),
             "size: the side-by-side frame (width, height), width even; (1856, 800) or (928, 400) as a module.")
        .def_readonly_static("FRAME_RATE", &SyntheticStereoModule::kFrameRate)
        .def_property_readonly("size", [](const SyntheticStereoModule& m) { return Arguments::sizeTuple(m.rawSize()); })
        .def("render_frame", &renderFrame, "index"_a, "Side-by-side H x W x 3 uint8 frame (B, G, R), left eye left.")
        .def("render_eye", &renderEye, "index"_a, "right"_a = false, "One eye's H x W x 3 uint8 image.")
        .def("render_depth", &renderDepth, "index"_a, "rect_size"_a = py::make_tuple(640, 480), "hfov"_a = 90.0,
             "Ground-truth depth (float32 metres) of the left eye's perspective view of size rect_size and "
             "horizontal field of view hfov degrees.");
    synthetic.def("write_set", &writeSet, "directory"_a, "size"_a = py::make_tuple(1856, 800),
                  "rect_size"_a = py::make_tuple(640, 480), "hfov"_a = 90.0, "frames"_a = 60,
                  "progress"_a = py::none(), R"doc(
Writes the files to run the kit on the synthetic module into directory:
calibration.yml, config.yml, frames/frame_%04d.png (open the pattern with
open_video), depth/depth_%04d.tiff (ground truth, float32 metres) and
manifest.yml. progress(n) is called after each frame. RuntimeError when it
cannot write; Ctrl-C stops it between frames.)doc");
}

} // namespace korvane::python
