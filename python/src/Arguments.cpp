#include "Arguments.h"

#include <string>

namespace py = pybind11;

namespace korvane::python {

namespace {

std::string typeName(const py::handle& value) { return py::str(py::type::handle_of(value).attr("__name__")); }

int wholeNumber(const py::handle& item, const char* what)
{
    if (!PyLong_Check(item.ptr()) || PyBool_Check(item.ptr()))
        throw py::type_error(std::string(what) + " must be a pair of integers (width, height); got a " +
                             typeName(item) + " in it");
    const long value = item.cast<long>();
    if (value < 1 || value > 1'000'000)
        throw py::value_error(std::string(what) + ": width and height must be from 1 to 1000000, got " +
                              std::to_string(value));
    return static_cast<int>(value);
}

} // namespace

cv::Size Arguments::size(const py::handle& value, const char* what)
{
    if (!PySequence_Check(value.ptr()) || py::isinstance<py::str>(value) || py::isinstance<py::bytes>(value))
        throw py::type_error(std::string(what) + " must be a pair of integers (width, height), not a " +
                             typeName(value));
    const auto items = py::reinterpret_borrow<py::sequence>(value);
    if (items.size() != 2)
        throw py::value_error(std::string(what) + " must hold two numbers (width, height), got " +
                              std::to_string(items.size()));
    return cv::Size(wholeNumber(items[0], what), wholeNumber(items[1], what));
}

py::tuple Arguments::sizeTuple(const cv::Size& size) { return py::make_tuple(size.width, size.height); }

std::string Arguments::path(const py::handle& value)
{
    const py::object text = py::module_::import("os").attr("fspath")(value);
    if (!py::isinstance<py::str>(text))
        throw py::type_error("a path must be text, not bytes");
    return text.cast<std::string>();
}

} // namespace korvane::python
