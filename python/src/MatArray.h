#ifndef KORVANE_PYTHON_MATARRAY_H
#define KORVANE_PYTHON_MATARRAY_H

#include <cstdint>

#include <opencv2/core.hpp>
#include <pybind11/numpy.h>

namespace korvane::python {

// NumPy arrays over OpenCV matrices, both ways, without copying pixels.
class MatArray
{
public:
    // The name of the capsule that owns a matrix behind an array.
    static constexpr const char* kCapsuleName = "korvane.Mat";

    // An array over mat's pixels: mat is moved to the heap and owned by a
    // capsule that is the array's base, freed with the array. Shape rows x
    // cols (x channels when more than one).
    static pybind11::array toArray(cv::Mat&& mat);

    // A matrix header over the array's memory (no copy): 2-D, or 3-D with
    // at most 4 channels in the last axis, rows and pixels may be strided
    // but each pixel's channels must be packed. Raises TypeError for a
    // dtype OpenCV has no type for, ValueError for another layout. `what`
    // names the argument in messages.
    static cv::Mat view(const pybind11::array& array, const char* what);

    // The address of the pixels of the matrix a capsule of toArray owns.
    static std::uintptr_t ownedAddress(const pybind11::capsule& owner);

private:
    static pybind11::dtype dtypeOf(int depth);
    static int depthOf(const pybind11::dtype& dtype, const char* what);
};

} // namespace korvane::python

#endif
