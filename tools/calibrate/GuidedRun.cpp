#include "GuidedRun.h"

#include <csignal>
#include <cstdio>

#include <unistd.h>

#include "GuidedWindow.h"

namespace {

volatile std::sig_atomic_t g_interrupted = 0;

void onInterrupt(int)
{
    g_interrupted = 1;
}

// Ctrl-C ends the capture, keeping its views, while this lives; a second
// one ends the program as usual.
class InterruptCatcher
{
public:
    InterruptCatcher()
    {
        g_interrupted = 0;
        struct sigaction action = {};
        action.sa_handler = onInterrupt;
        action.sa_flags = SA_RESETHAND;
        sigemptyset(&action.sa_mask);
        sigaction(SIGINT, &action, &m_previous);
    }
    ~InterruptCatcher() { sigaction(SIGINT, &m_previous, nullptr); }
    bool caught() const { return g_interrupted != 0; }

private:
    struct sigaction m_previous = {};
};

void printProgress(const GuidedCapture& capture, const GuidedCapture::Step& step, bool onTerminal)
{
    if (onTerminal) {
        std::printf("\r\033[Kviews %zu of %d: %s; next: %s", capture.views().size(), capture.wantedViews(),
                    step.status.c_str(), step.hint.c_str());
        std::fflush(stdout);
    } else if (step.verdict == GuidedCapture::Verdict::Kept) {
        std::printf("%s; next: %s\n", step.status.c_str(), step.hint.c_str());
        std::fflush(stdout);
    }
}

} // namespace

bool GuidedRun::run(LiveFrames& frames, const korvane::calibration::CalibrationTarget& target,
                    const GuidedCapture::Settings& settings, bool window, GuidedRun& result, std::string& error)
{
    cv::Mat frame;
    if (!frames.next(frame)) {
        error = "no frames from " + frames.name();
        return false;
    }
    result.rawSize = frame.size();
    GuidedCapture capture(target, frame.size(), settings);
    GuidedWindow shown;
    std::string why;
    if (window && !shown.open(why)) {
        std::printf("no window: %s; progress is shown here\n", why.c_str());
        window = false;
    }
    const bool onTerminal = isatty(STDOUT_FILENO) != 0;
    std::printf("guided capture from %s: hold the board still in view of both eyes; %s\n", frames.name().c_str(),
                window ? "Escape in the window ends it" : "Ctrl-C ends it");
    std::fflush(stdout);
    const InterruptCatcher interrupt;
    do {
        const GuidedCapture::Step step = capture.offer(frame);
        if (window && !shown.show(GuidedWindow::compose(frame, capture, step)))
            result.stoppedBy = "Escape";
        else if (interrupt.caught())
            result.stoppedBy = "Ctrl-C";
        printProgress(capture, step, onTerminal);
    } while (result.stoppedBy.empty() && !capture.done() && frames.next(frame));
    if (onTerminal)
        std::printf("\n");
    std::printf("%s%s\n", result.stoppedBy.empty() ? "" : ("stopped by " + result.stoppedBy + " after ").c_str(),
                capture.tally().c_str());
    result.views = capture.views();
    return true;
}
