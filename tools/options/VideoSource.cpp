#include "VideoSource.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <regex>

#include <sys/stat.h>

namespace {

// The video library looks for a sequence's first image at these indices.
constexpr int kFirstIndices = 5;

std::string fileProblem(const std::string& path)
{
    struct stat info {};
    if (stat(path.c_str(), &info) != 0)
        return std::strerror(errno);
    return S_ISREG(info.st_mode) ? "" : "it is not a regular file";
}

} // namespace

bool isVideoPipeline(const std::string& source)
{
    return source.find(" ! ") != std::string::npos;
}

std::string videoSourceProblem(const std::string& source)
{
    if (isVideoPipeline(source))
        return "";
    if (source.find('%') == std::string::npos)
        return fileProblem(source);
    static const std::regex kOneIndex("[^%]*%0?[0-9]?d[^%]*");
    if (!std::regex_match(source, kOneIndex))
        return "";
    for (int index = 0; index < kFirstIndices; ++index) {
        char path[4096];
        std::snprintf(path, sizeof path, source.c_str(), index);
        if (fileProblem(path).empty())
            return "";
    }
    return "no image of the sequence is there";
}
