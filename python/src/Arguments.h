#ifndef KORVANE_PYTHON_ARGUMENTS_H
#define KORVANE_PYTHON_ARGUMENTS_H

#include <string>

#include <opencv2/core/types.hpp>
#include <pybind11/pybind11.h>

namespace korvane::python {

// Arguments as Python gives them: image sizes as (width, height) pairs,
// paths as str or os.PathLike.
class Arguments
{
public:
    // Raises TypeError when value is not a pair of integers, ValueError when
    // it does not hold two or either is outside 1 to 1000000. `what` names
    // the argument in messages.
    static cv::Size size(const pybind11::handle& value, const char* what);
    static pybind11::tuple sizeTuple(const cv::Size& size);
    // os.fspath(value) as text; TypeError for anything else.
    static std::string path(const pybind11::handle& value);
};

} // namespace korvane::python

#endif
