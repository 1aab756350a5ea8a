#include "MatrixFileValues.h"

#include <cmath>
#include <cstdlib>
#include <limits>

namespace korvane {

namespace {

bool readIntField(const cv::FileNode& node, int& value)
{
    if (!node.isInt())
        return false;
    value = static_cast<int>(node);
    return true;
}

bool isNumber(const cv::FileNode& node) { return node.isInt() || node.isReal(); }

} // namespace

NodeStatus readMatrixNode(const cv::FileNode& node, cv::Mat& out, std::string& why)
{
    out.release();
    if (node.empty() || node.isNone())
        return NodeStatus::Absent;
    if (!node.isMap()) {
        why = "not a matrix";
        return NodeStatus::Malformed;
    }
    int rows = 0;
    int cols = 0;
    const cv::FileNode data = node["data"];
    if (!readIntField(node["rows"], rows) || !readIntField(node["cols"], cols) ||
        !node["dt"].isString() || !node["sizes"].empty() ||
        !(data.isSeq() || isNumber(data))) {
        why = "not a matrix with rows, cols, dt and data";
        return NodeStatus::Malformed;
    }
    const std::string dt = node["dt"];
    if (dt.size() != 1 || std::string("ucwsifd").find(dt[0]) == std::string::npos) {
        why = "element type \"" + dt + "\" is not a single-channel number type";
        return NodeStatus::Malformed;
    }
    // Bound the allocation by what the file holds before the library reads it.
    if (rows < 0 || cols < 0 ||
        static_cast<long long>(rows) * cols != static_cast<long long>(data.size())) {
        why = "data does not hold rows x cols numbers";
        return NodeStatus::Malformed;
    }
    // A single element may come as a plain number rather than a sequence (XML).
    bool allNumbers = isNumber(data);
    if (data.isSeq()) {
        allNumbers = true;
        for (const cv::FileNode element : data)
            allNumbers = allNumbers && isNumber(element);
    }
    if (!allNumbers) {
        why = "data holds something that is not a number";
        return NodeStatus::Malformed;
    }
    cv::Mat raw;
    node >> raw;
    raw.convertTo(out, CV_64F);
    return NodeStatus::Present;
}

bool elementToDouble(const cv::Mat& m, int index, double& value)
{
    if (m.empty() || m.type() != CV_64F || index < 0 || static_cast<size_t>(index) >= m.total())
        return false;
    const double v = m.at<double>(index / m.cols, index % m.cols);
    if (!std::isfinite(v))
        return false;
    value = v;
    return true;
}

bool elementToInt(const cv::Mat& m, int index, int& value)
{
    double v = 0.0;
    if (!elementToDouble(m, index, v))
        return false;
    const double truncated = std::trunc(v);
    if (truncated < std::numeric_limits<int>::min() || truncated > std::numeric_limits<int>::max())
        return false;
    value = static_cast<int>(truncated);
    return true;
}

cv::Mat scalarMatrix(double value)
{
    return (cv::Mat_<double>(1, 1) << value);
}

cv::Mat sizeMatrix(cv::Size size)
{
    return (cv::Mat_<double>(1, 2) << size.width, size.height);
}

void syncFileSystem()
{
    // The result is of no use: saving reports no error once the storage exists.
    if (std::system("sync") != 0)
        return;
}

} // namespace korvane
