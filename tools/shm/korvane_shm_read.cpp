// Reads the left images a capturing process publishes in shared memory for
// one mounting position, and saves or shows them.
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/stat.h>

#include <opencv2/highgui.hpp>
#include <opencv2/imgcodecs.hpp>

#include "ToolOptions.h"
#include "WindowDisplay.h"
#include "camera/SharedFrameReader.h"

namespace {

struct Options
{
    int position = -1;
    int count = 1;          // 0: until interrupted
    int timeoutMs = 2000;
    std::string outDir;
    bool show = false;
};

const char* const kUsage = "Usage: korvane-shm-read --position N [--count K] [--timeout-ms MS] [--out DIR] [--show]\n"
                           "Reads the left images that a capturing process publishes in the shared-memory\n"
                           "segment of position N (key 9000 + N).\n"
                           "  --count K        images to read (default 1, 0 = until Escape or a time-out)\n"
                           "  --timeout-ms MS  how long to wait for each image (default 2000)\n"
                           "  --out DIR        save them as DIR/left_<i>.png\n"
                           "  --show           show them in a window\n"
                           "Exit status: 0 done, 1 no segment or no image in time, 2 bad arguments.\n";

constexpr long kLargestNumber = 1000000000;

bool takeOption(int argc, char** argv, int& index, Options& o, std::string& error)
{
    const std::string option = argv[index];
    if (option == "--show") {
        o.show = true;
        return true;
    }
    const bool known = option == "--position" || option == "--count" || option == "--timeout-ms" || option == "--out";
    if (!known) {
        error = unknownArgument(option);
        return false;
    }
    const char* value = nullptr;
    if (!takeValue(argc, argv, index, value, error))
        return false;
    if (option == "--position")
        return readWholeNumber(option, value, 0, kLargestNumber, o.position, error);
    if (option == "--count")
        return readWholeNumber(option, value, 0, kLargestNumber, o.count, error);
    if (option == "--timeout-ms")
        return readWholeNumber(option, value, 0, kLargestNumber, o.timeoutMs, error);
    o.outDir = value;
    return true;
}

bool parse(int argc, char** argv, Options& o, std::string& error)
{
    for (int i = 1; i < argc; ++i)
        if (!takeOption(argc, argv, i, o, error))
            return false;
    if (o.position < 0) {
        error = "give --position N, the position whose images to read";
        return false;
    }
    if (o.show && !windowDisplayNamed()) {
        error = std::string("--show needs a display, and ") + kNoWindowDisplay;
        return false;
    }
    return true;
}

} // namespace

int main(int argc, char** argv)
{
    Options o;
    const auto parseArguments = [&](std::string& error) { return parse(argc, argv, o, error); };
    if (const auto status = helpOrBadArguments(argc, argv, parseArguments, "korvane-shm-read", kUsage))
        return *status;
    if (!o.outDir.empty() && mkdir(o.outDir.c_str(), 0755) != 0 && errno != EEXIST) {
        std::fprintf(stderr, "Cannot create %s: %s\n", o.outDir.c_str(), std::strerror(errno));
        return 1;
    }
    korvane::SharedFrameReader reader;
    if (!reader.attach(o.position)) {
        std::fprintf(stderr, "Position %d: %s\n", o.position, reader.error().c_str());
        return 1;
    }
    cv::Mat image;
    int taken = 0;
    for (int i = 0; o.count == 0 || i < o.count; ++i) {
        if (!reader.read(image, std::chrono::milliseconds(o.timeoutMs))) {
            std::fprintf(stderr, "Position %d: %s\n", o.position, reader.error().c_str());
            return 1;
        }
        ++taken;
        if (!o.outDir.empty()) {
            const std::string file = o.outDir + "/left_" + std::to_string(i) + ".png";
            if (!cv::imwrite(file, image)) {
                std::fprintf(stderr, "Cannot write %s\n", file.c_str());
                return 1;
            }
        }
        if (o.show) {
            cv::imshow("Position " + std::to_string(o.position), image);
            if ((cv::waitKey(1) & 0xff) == 27)
                break;
        }
    }
    std::printf("Read %d image(s) of %dx%d from position %d\n", taken, reader.imageSize().width,
                reader.imageSize().height, o.position);
    return 0;
}
