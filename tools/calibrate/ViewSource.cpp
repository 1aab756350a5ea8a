#include "ViewSource.h"

#include <algorithm>
#include <filesystem>

#include <opencv2/imgcodecs.hpp>

#include "LiveFrames.h"

namespace {

bool isImageName(const std::filesystem::path& path)
{
    std::string extension = path.extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(), ::tolower);
    return extension == ".png" || extension == ".jpg" || extension == ".jpeg" || extension == ".bmp" ||
           extension == ".tif" || extension == ".tiff" || extension == ".ppm";
}

std::string sizeText(cv::Size size)
{
    return std::to_string(size.width) + "x" + std::to_string(size.height);
}

} // namespace

bool ViewSource::fromFolder(const std::string& folder, std::vector<Frame>& frames, std::string& error)
{
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec)) {
        error = "'" + folder + "' is not a folder";
        return false;
    }
    std::vector<std::filesystem::path> paths;
    for (const auto& entry : std::filesystem::directory_iterator(folder, ec))
        if (entry.is_regular_file() && isImageName(entry.path()))
            paths.push_back(entry.path());
    std::sort(paths.begin(), paths.end());
    for (const auto& path : paths) {
        cv::Mat image = cv::imread(path.string(), cv::IMREAD_COLOR);
        if (image.empty()) {
            error = "cannot read the image " + path.string();
            return false;
        }
        frames.push_back({path.filename().string(), image});
    }
    if (frames.empty()) {
        error = "no images (.png, .jpg, .bmp, .tif, .ppm) in " + folder;
        return false;
    }
    cv::Size size;
    return commonSize(frames, size, error);
}

bool ViewSource::fromVideo(const std::string& source, int every, std::vector<Frame>& frames, std::string& error)
{
    const std::unique_ptr<LiveFrames> capture = LiveFrames::video(source, error);
    if (!capture)
        return false;
    cv::Mat image;
    for (int index = 0; static_cast<int>(frames.size()) < kMostFrames && capture->next(image); ++index)
        if (index % every == 0)
            frames.push_back({"frame " + std::to_string(index), image.clone()});
    if (frames.empty()) {
        error = "no frames in the video " + source;
        return false;
    }
    cv::Size size;
    return commonSize(frames, size, error);
}

bool ViewSource::commonSize(const std::vector<Frame>& frames, cv::Size& size, std::string& error)
{
    if (frames.empty()) {
        error = "no frames";
        return false;
    }
    size = frames.front().image.size();
    for (const Frame& frame : frames)
        if (frame.image.size() != size) {
            error = "the images are of mixed sizes: " + frames.front().name + " is " + sizeText(size) + ", " +
                    frame.name + " is " + sizeText(frame.image.size());
            return false;
        }
    if (size.width % 2 != 0 || size.width < 4) {
        error = "the images are " + sizeText(size) + ", not side-by-side pairs of an even width";
        return false;
    }
    return true;
}
