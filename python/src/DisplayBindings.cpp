#include "DisplayBindings.h"

#include <cstdlib>
#include <string>

#include <opencv2/highgui.hpp>
#include <pybind11/numpy.h>

#include "MatArray.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

namespace {

bool hasDisplay()
{
    const char* x11 = std::getenv("DISPLAY");
    const char* wayland = std::getenv("WAYLAND_DISPLAY");
    return (x11 && *x11) || (wayland && *wayland);
}

void requireDisplay()
{
    if (!hasDisplay())
        throw std::runtime_error("no display: neither DISPLAY nor WAYLAND_DISPLAY is set");
}

void showImage(const std::string& window, const py::array& image)
{
    requireDisplay();
    const cv::Mat view = MatArray::view(image, "image");
    cv::imshow(window, view);
}

int waitKey(int delayMs)
{
    requireDisplay();
    if (delayMs < 1)
        throw py::value_error("delay_ms must be 1 or more (a live view never waits for ever), got " +
                              std::to_string(delayMs));
    py::gil_scoped_release release;
    return cv::waitKey(delayMs);
}

} // namespace

void DisplayBindings::define(py::module_& module)
{
    module.def("has_display", &hasDisplay, "Whether a display is named (DISPLAY or WAYLAND_DISPLAY).");
    module.def("show_image", &showImage, "window"_a, "image"_a,
               "Shows an image (B, G, R) in a window of that name; RuntimeError without a display.");
    module.def("wait_key", &waitKey, "delay_ms"_a = 1,
               "Lets the windows draw for delay_ms (1 or more) without the GIL; the key pressed, or -1.");
    module.def(
        "close_windows", [] { cv::destroyAllWindows(); }, "Closes every window show_image opened.");
}

} // namespace korvane::python
