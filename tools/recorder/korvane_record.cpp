// Records what a camera delivers (the untouched side-by-side frames) to a
// lossless FFV1/Matroska file that StereoCamera::openVideo plays back.
#include <climits>
#include <csignal>
#include <cstdio>
#include <string>

#include <opencv2/core/utils/logger.hpp>
#include <opencv2/videoio.hpp>

#include "ToolOptions.h"
#include "VideoSource.h"

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

const char* const kProgram = "korvane-record";
const char* const kUsage = "Usage: korvane-record (--device N | --source FILE_OR_PIPELINE) --out FILE.mkv\n"
                           "                      [--frames K] [--fps F] [--size WxH]\n"
                           "Records the side-by-side frames of a camera losslessly (FFV1 in Matroska).\n"
                           "  --device N     video device number (/dev/videoN)\n"
                           "  --source S     a video file, image sequence or GStreamer pipeline instead\n"
                           "  --frames K     frames to record (default 300, 0 = until Ctrl-C)\n"
                           "  --fps F        frame rate written into the file (default: the source's, else 30)\n"
                           "  --size WxH     ask the device for this frame size (e.g. 1856x800)\n"
                           "Exit status: 0 done, 1 the source or the file failed, 2 bad arguments.\n";

bool takeOption(int argc, char** argv, int& index, Options& o, std::string& error)
{
    const std::string option = argv[index];
    const bool known = option == "--device" || option == "--source" || option == "--out" || option == "--frames" ||
                       option == "--fps" || option == "--size";
    if (!known) {
        error = unknownArgument(option);
        return false;
    }
    const char* value = nullptr;
    if (!takeValue(argc, argv, index, value, error))
        return false;
    if (option == "--device")
        return readWholeNumber(option, value, 0, INT_MAX, o.device, error);
    if (option == "--frames")
        return readWholeNumber(option, value, 0, INT_MAX, o.frames, error);
    if (option == "--fps")
        return readNonNegative(option, value, o.fps, error);
    if (option == "--size")
        return readSize(option, value, o.width, o.height, error);
    if (option == "--source")
        o.source = value;
    else
        o.out = value;
    return true;
}

bool parse(int argc, char** argv, Options& o, std::string& error)
{
    for (int i = 1; i < argc; ++i)
        if (!takeOption(argc, argv, i, o, error))
            return false;
    if ((o.device >= 0) == !o.source.empty()) {
        error = "give either --device N or --source FILE_OR_PIPELINE";
        return false;
    }
    if (o.out.empty()) {
        error = "give --out FILE.mkv, the file to record to";
        return false;
    }
    return true;
}


cv::VideoCapture openSource(const Options& o)
{
    if (!o.source.empty())
        return isVideoPipeline(o.source) ? cv::VideoCapture(o.source, cv::CAP_GSTREAMER) : cv::VideoCapture(o.source);
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
    const auto parseArguments = [&](std::string& error) { return parse(argc, argv, o, error); };
    if (const auto status = helpOrBadArguments(argc, argv, parseArguments, kProgram, kUsage))
        return *status;
    const std::string problem = o.source.empty() ? "" : videoSourceProblem(o.source);
    if (!problem.empty()) {
        std::fprintf(stderr, "%s: cannot open the source '%s': %s\n", kProgram, o.source.c_str(), problem.c_str());
        return 1;
    }
    // The video library's own reports of a source it cannot open stay out of
    // the way of the one line said here.
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
    cv::VideoCapture capture = openSource(o);
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_ERROR);
    if (!capture.isOpened()) {
        const std::string what = o.source.empty() ? "/dev/video" + std::to_string(o.device) : "'" + o.source + "'";
        std::fprintf(stderr, "%s: cannot open the source %s\n", kProgram, what.c_str());
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
