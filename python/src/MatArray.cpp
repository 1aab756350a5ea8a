#include "MatArray.h"

#include <string>
#include <vector>

namespace py = pybind11;

namespace korvane::python {

namespace {

void freeOwnedMat(PyObject* capsule)
{
    delete static_cast<cv::Mat*>(PyCapsule_GetPointer(capsule, MatArray::kCapsuleName));
}

} // namespace

py::dtype MatArray::dtypeOf(int depth)
{
    switch (depth) {
    case CV_8U: return py::dtype::of<std::uint8_t>();
    case CV_8S: return py::dtype::of<std::int8_t>();
    case CV_16U: return py::dtype::of<std::uint16_t>();
    case CV_16S: return py::dtype::of<std::int16_t>();
    case CV_32S: return py::dtype::of<std::int32_t>();
    case CV_32F: return py::dtype::of<float>();
    case CV_64F: return py::dtype::of<double>();
    default: throw py::type_error("a matrix of an element type NumPy cannot hold");
    }
}

int MatArray::depthOf(const py::dtype& dtype, const char* what)
{
    const char kind = dtype.kind();
    const auto size = dtype.itemsize();
    if (kind == 'u' && size == 1) return CV_8U;
    if (kind == 'i' && size == 1) return CV_8S;
    if (kind == 'u' && size == 2) return CV_16U;
    if (kind == 'i' && size == 2) return CV_16S;
    if (kind == 'i' && size == 4) return CV_32S;
    if (kind == 'f' && size == 4) return CV_32F;
    if (kind == 'f' && size == 8) return CV_64F;
    throw py::type_error(std::string(what) + ": arrays of dtype " + dtype.attr("name").cast<std::string>() +
                         " are not supported (use uint8, int8, uint16, int16, int32, float32 or float64)");
}

py::array MatArray::toArray(cv::Mat&& mat)
{
    auto* owned = new cv::Mat(std::move(mat));
    py::capsule owner(owned, kCapsuleName, &freeOwnedMat);
    std::vector<py::ssize_t> shape{owned->rows, owned->cols};
    std::vector<py::ssize_t> strides{static_cast<py::ssize_t>(owned->step[0]),
                                     static_cast<py::ssize_t>(owned->elemSize())};
    if (owned->channels() > 1) {
        shape.push_back(owned->channels());
        strides.push_back(static_cast<py::ssize_t>(owned->elemSize1()));
    }
    return py::array(dtypeOf(owned->depth()), shape, strides, owned->data, owner);
}

cv::Mat MatArray::view(const py::array& array, const char* what)
{
    const int depth = depthOf(array.dtype(), what);
    const auto dims = array.ndim();
    if (dims != 2 && dims != 3)
        throw py::value_error(std::string(what) + ": expected a 2-D or 3-D array, got " + std::to_string(dims) +
                              " dimensions");
    const int channels = dims == 3 ? static_cast<int>(array.shape(2)) : 1;
    if (channels < 1 || channels > 4)
        throw py::value_error(std::string(what) + ": the last axis holds 1 to 4 channels, got " +
                              std::to_string(channels));
    const auto item = array.itemsize();
    if ((dims == 3 && array.strides(2) != item) || array.strides(1) != item * channels || array.strides(0) < 0)
        throw py::value_error(std::string(what) + ": each row's pixels must be packed (use numpy.ascontiguousarray)");
    return cv::Mat(static_cast<int>(array.shape(0)), static_cast<int>(array.shape(1)), CV_MAKETYPE(depth, channels),
                   const_cast<void*>(array.data()), static_cast<std::size_t>(array.strides(0)));
}

std::uintptr_t MatArray::ownedAddress(const py::capsule& owner)
{
    const auto* mat = static_cast<const cv::Mat*>(PyCapsule_GetPointer(owner.ptr(), kCapsuleName));
    if (!mat) {
        PyErr_Clear();
        throw py::type_error("not a capsule that owns a korvane matrix");
    }
    return reinterpret_cast<std::uintptr_t>(mat->data);
}

} // namespace korvane::python
