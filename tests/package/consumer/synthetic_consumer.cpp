#include <cstdio>

#include <emulator/synthetic/SyntheticStereoModule.h>

// Renders one half-size frame of the installed synthetic module.
int main()
{
    const korvane::synthetic::SyntheticStereoModule module(korvane::kHalfModuleFrame);
    const cv::Mat frame = module.renderFrame(0);
    const bool ok = frame.size() == korvane::kHalfModuleFrame && frame.type() == CV_8UC3 &&
                    cv::countNonZero(frame.reshape(1)) > 0;
    std::printf("%s\n", ok ? "synthetic consumer ok" : "synthetic consumer failed");
    return ok ? 0 : 1;
}
