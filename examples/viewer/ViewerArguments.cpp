#include "ViewerArguments.h"

#include <climits>

#include "ToolOptions.h"

namespace {

// The positional arguments, in their order.
const char* const kPositionalNames[] = {"deviceNode", "width", "height", "fps"};
constexpr int kPositionalCount = 4;

} // namespace

bool ViewerArguments::parse(int argc, const char* const* argv, std::string& error)
{
    int next = 1;
    // Options come before the positional arguments; a lone "-" or a negative
    // number is positional.
    while (next < argc && std::string(argv[next]).rfind("--", 0) == 0) {
        const std::string option = argv[next];
        if (option == "--help" || option == "-h") {
            help = true;
            return true;
        }
        if (option == "--video") {
            if (next + 1 >= argc || std::string(argv[next + 1]).empty()) {
                error = "--video needs a source";
                return false;
            }
            videoSource = argv[next + 1];
            next += 2;
        } else if (option.rfind("--video=", 0) == 0 && option.size() > 8) {
            videoSource = option.substr(8);
            next += 1;
        } else {
            error = "unknown option " + option;
            return false;
        }
    }
    return readPositional(argc - next, argv + next, error);
}

bool ViewerArguments::readPositional(int count, const char* const* words, std::string& error)
{
    if (count > kPositionalCount) {
        error = unknownArgument(words[kPositionalCount]);
        return false;
    }
    int numbers[kPositionalCount] = {deviceNode, frameSize.width, frameSize.height, frameRate};
    for (int i = 0; i < count; ++i)
        if (!readWholeNumber(kPositionalNames[i], words[i], INT_MIN, INT_MAX, numbers[i], error))
            return false;
    if (count >= 1)
        deviceNode = numbers[0];
    // A lone width is ignored.
    if (count >= 3)
        frameSize = cv::Size(numbers[1], numbers[2]);
    if (count >= 4)
        frameRate = numbers[3];
    return true;
}

const char* ViewerArguments::usage()
{
    return "usage: korvane_viewer [--video SOURCE] [deviceNode [width height [fps]]]\n"
           "  Shows the left and right views of the camera on /dev/video<deviceNode>\n"
           "  (default 0, 1856 800, 30) until Escape is pressed in the window.\n"
           "  --video SOURCE  play a side-by-side video file or image sequence\n"
           "                  (e.g. frames/frame_%04d.png) as the camera's stream\n";
}
