#include "ViewerArguments.h"

#include <cstdlib>
#include <vector>

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
    std::vector<const char*> positional(argv + next, argv + argc);
    const std::size_t count = positional.size();
    if (count >= 1)
        deviceNode = std::atoi(positional[0]);
    if (count >= 3)
        frameSize = cv::Size(std::atoi(positional[1]), std::atoi(positional[2]));
    if (count >= 4)
        frameRate = std::atoi(positional[3]);
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
