#include "PointCloudFile.h"

#include <cstdio>
#include <cstring>
#include <fstream>

namespace korvane {

namespace {

std::string header(size_t count, PlyFormat format, bool colour)
{
    std::string text = "ply\nformat ";
    text += format == PlyFormat::Ascii ? "ascii" : "binary_little_endian";
    text += " 1.0\ncomment written by the Korvane stereo camera kit\nelement vertex " +
            std::to_string(count) + "\nproperty float x\nproperty float y\nproperty float z\n";
    if (colour)
        text += "property uchar red\nproperty uchar green\nproperty uchar blue\n";
    return text + "end_header\n";
}

void putFloat(std::string& out, float value)
{
    // Little-endian on every machine the kit builds for (x86-64, arm64).
    char bytes[sizeof value];
    std::memcpy(bytes, &value, sizeof value);
    out.append(bytes, sizeof value);
}

void putVertex(std::string& out, const cv::Vec3f& p, const cv::Vec3b* bgr, PlyFormat format)
{
    if (format == PlyFormat::Ascii) {
        char line[128];
        int n = std::snprintf(line, sizeof line, "%.9g %.9g %.9g", p[0], p[1], p[2]);
        if (bgr)
            n += std::snprintf(line + n, sizeof line - n, " %d %d %d", (*bgr)[2], (*bgr)[1], (*bgr)[0]);
        out.append(line, static_cast<size_t>(n));
        out += '\n';
        return;
    }
    for (int i = 0; i < 3; ++i)
        putFloat(out, p[i]);
    if (bgr) {
        out += static_cast<char>((*bgr)[2]);
        out += static_cast<char>((*bgr)[1]);
        out += static_cast<char>((*bgr)[0]);
    }
}

// Writes to a temporary name, then renames: a failed write leaves no
// truncated file behind.
bool writeAll(const std::string& path, const std::string& bytes)
{
    const std::string temporary = path + ".part";
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out)
            return false;
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            std::remove(temporary.c_str());
            return false;
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

} // namespace

bool writePly(const std::string& path, const std::vector<PCL>& points, PlyFormat format)
{
    std::string bytes = header(points.size(), format, true);
    bytes.reserve(bytes.size() + points.size() * 15);
    for (const PCL& p : points)
        putVertex(bytes, p.position, &p.color, format);
    return writeAll(path, bytes);
}

bool writePly(const std::string& path, const std::vector<cv::Vec3f>& points, PlyFormat format)
{
    std::string bytes = header(points.size(), format, false);
    bytes.reserve(bytes.size() + points.size() * 12);
    for (const cv::Vec3f& p : points)
        putVertex(bytes, p, nullptr, format);
    return writeAll(path, bytes);
}

} // namespace korvane
