#include "FileBindings.h"

#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <pybind11/numpy.h>

#include "Arguments.h"
#include "MatArray.h"
#include "camera/PointCloudFile.h"

namespace py = pybind11;
using namespace pybind11::literals;

namespace korvane::python {

namespace {

// Checks an (N, 3) array of the given kind and size; `rows` -1 takes any N.
void checkTriples(const py::array& array, const char* what, char kind, py::ssize_t itemSize, const char* dtype,
                  py::ssize_t rows)
{
    if (array.dtype().kind() != kind || array.itemsize() != itemSize)
        throw py::type_error(std::string(what) + " must be a " + dtype + " array, got " +
                             array.dtype().attr("name").cast<std::string>());
    if (array.ndim() != 2 || array.shape(1) != 3)
        throw py::value_error(std::string(what) + " must have shape (N, 3), got " +
                              std::string(py::str(array.attr("shape"))));
    if (rows >= 0 && array.shape(0) != rows)
        throw py::value_error(std::string(what) + " must have as many rows as points (" + std::to_string(rows) +
                              "), got " + std::to_string(array.shape(0)));
}

void writePly(const py::object& path, const py::array& points, const py::object& colours, bool ascii)
{
    checkTriples(points, "points", 'f', 4, "float32", -1);
    const auto n = points.shape(0);
    const auto format = ascii ? korvane::PlyFormat::Ascii : korvane::PlyFormat::BinaryLittleEndian;
    const std::string file = Arguments::path(path);
    const auto p = points.unchecked<float, 2>();
    bool ok = false;
    if (colours.is_none()) {
        std::vector<cv::Vec3f> cloud(static_cast<std::size_t>(n));
        for (py::ssize_t i = 0; i < n; ++i)
            cloud[i] = {p(i, 0), p(i, 1), p(i, 2)};
        ok = korvane::writePly(file, cloud, format);
    } else {
        if (!py::isinstance<py::array>(colours))
            throw py::type_error("colours must be a uint8 NumPy array or None");
        const auto colourArray = py::reinterpret_borrow<py::array>(colours);
        checkTriples(colourArray, "colours", 'u', 1, "uint8", n);
        const auto c = colourArray.unchecked<std::uint8_t, 2>();
        std::vector<PCL> cloud(static_cast<std::size_t>(n));
        for (py::ssize_t i = 0; i < n; ++i)
            cloud[i] = {{p(i, 0), p(i, 1), p(i, 2)}, {c(i, 0), c(i, 1), c(i, 2)}};
        ok = korvane::writePly(file, cloud, format);
    }
    if (!ok)
        throw std::runtime_error("cannot write the point cloud " + file);
}

void writeImage(const py::object& path, const py::array& image)
{
    const std::string file = Arguments::path(path);
    const cv::Mat mat = MatArray::view(image, "image");
    bool ok = false;
    try {
        ok = cv::imwrite(file, mat);
    } catch (const cv::Exception& e) {
        throw std::runtime_error("cannot write the image " + file + ": " + e.err);
    }
    if (!ok)
        throw std::runtime_error("cannot write the image " + file);
}

py::array readImage(const py::object& path)
{
    const std::string file = Arguments::path(path);
    cv::Mat image = cv::imread(file, cv::IMREAD_UNCHANGED);
    if (image.empty())
        throw std::runtime_error("cannot read the image " + file);
    return MatArray::toArray(std::move(image));
}

} // namespace

void FileBindings::define(py::module_& module)
{
    module.def("write_ply", &writePly, "path"_a, "points"_a, "colours"_a = py::none(), "ascii"_a = false,
               "Writes a point cloud as PLY: points (N, 3) float32 metres, colours (N, 3) uint8 B, G, R or None. "
               "TypeError for another dtype, ValueError for another shape, RuntimeError when it cannot write.");
    module.def("write_image", &writeImage, "path"_a, "image"_a,
               "Writes an image file (format by extension; colour arrays are B, G, R). RuntimeError when it cannot.");
    module.def("read_image", &readImage, "path"_a,
               "Reads an image file as it is stored (colour as B, G, R; TIFF depth as float32). RuntimeError when "
               "it cannot.");
    module.def(
        "_owned_address", [](const py::capsule& owner) { return MatArray::ownedAddress(owner); }, "owner"_a,
        "For tests: the pixel address of the matrix a frame array's base capsule owns.");
}

} // namespace korvane::python
