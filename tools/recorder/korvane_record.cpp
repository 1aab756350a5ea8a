// Records what a camera delivers (the untouched side-by-side frames) to a
// lossless FFV1/Matroska file that StereoCamera::openVideo plays back.
#include <csignal>
#include <cstdio>
#include <string>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

#include "ToolOptions.h"

namespace {

volatile std::sig_atomic_t g_stop = 0;

void onSignal(int) { g_stop = 1; }

struct Options
{
    int device = -1;
    std::string source;
    std::string out;
    int frames = 300;  // 0: until Ctrl-C
    double fps = 0.0;  // 0: the source's own rate
    int width = 0;
    int height = 0;
};

const char* const kUsage = "Usage: korvane-record (--device N | --source FILE_OR_PIPELINE) --out FILE.mkv\n"
                           "                      [--frames K] [--fps F] [--size WxH]\n"
                           "Records the side-by-side frames of a camera losslessly (FFV1 in Matroska).\n"
                           "  --device N     video device number (/dev/videoN)\n"
                           "  --source S     a video file, image sequence or GStreamer pipeline instead\n"
                           "  --frames K     frames to record (default 300, 0 = until Ctrl-C)\n"
                           "  --fps F        frame rate written into the file (default: the source's, else 30)\n"
                           "  --size WxH     ask the device for this frame size (e.g. 1856x800)\n"
                           "Exit status: 0 done, 1 the source or the file failed, 2 bad arguments.\n";

bool parse(int argc, char** argv, Options& o)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (i + 1 >= argc)
            return false;
        const char* value = argv[++i];
        double number = 0;
        if (arg == "--device" && readNonNegative(value, number))
            o.device = static_cast<int>(number);
        else if (arg == "--source")
            o.source = value;
        else if (arg == "--out")
            o.out = value;
        else if (arg == "--frames" && readNonNegative(value, number))
            o.frames = static_cast<int>(number);
        else if (arg == "--fps" && readNonNegative(value, number))
            o.fps = number;
        else if (arg == "--size" && std::sscanf(value, "%dx%d", &o.width, &o.height) == 2)
            continue;
        else
            return false;
    }
    return !o.out.empty() && ((o.device >= 0) != !o.source.empty());
}

cv::VideoCapture openSource(const Options& o)
{
    if (!o.source.empty())
        return o.source.find(" ! ") != std::string::npos ? cv::VideoCapture(o.source, cv::CAP_GSTREAMER)
                                                          : cv::VideoCapture(o.source);
    cv::VideoCapture capture(o.device, cv::CAP_ANY);
    if (o.width > 0 && o.height > 0) {
        capture.set(cv::CAP_PROP_FRAME_WIDTH, o.width);
        capture.set(cv::CAP_PROP_FRAME_HEIGHT, o.height);
    }
    return capture;
}

} // namespace

int main(int argc, char** argv)
{
    Options o;
    if (const auto status = helpOrBadArguments(argc, argv, [&] { return parse(argc, argv, o); }, kUsage))
        return *status;
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
    cv::VideoCapture capture = openSource(o);
    if (!capture.isOpened()) {
        std::fprintf(stderr, "Cannot open the source\n");
        return 1;
    }
    const double own = capture.get(cv::CAP_PROP_FPS);
    const double fps = o.fps > 0 ? o.fps : (own > 0 && own <= 1000 ? own : 30.0);
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);

    cv::VideoWriter writer;
    cv::Mat frame;
    int written = 0;
    while (!g_stop && (o.frames == 0 || written < o.frames)) {
        if (!capture.read(frame) || frame.empty())
            break;
        if (!writer.isOpened() &&
            !writer.open(o.out, cv::CAP_FFMPEG, cv::VideoWriter::fourcc('F', 'F', 'V', '1'), fps,
                         frame.size(), frame.channels() == 3)) {
            std::fprintf(stderr, "Cannot write %s (needs a .mkv or .avi name)\n", o.out.c_str());
            return 1;
        }
        writer.write(frame);
        ++written;
        std::fprintf(stderr, "\rRecorded %d frame(s)", written);
    }
    std::fprintf(stderr, "\n");
    if (written == 0) {
        std::fprintf(stderr, "The source delivered no frame\n");
        return 1;
    }
    std::printf("Wrote %d frame(s) of %dx%d at %.2f fps to %s\n", written, frame.cols, frame.rows, fps,
                o.out.c_str());
    return 0;
}
