// The example viewer: its arguments, and the program itself on a virtual
// X display (Xvfb) with a synthetic video source and a virtual module.
#include <array>
#include <csignal>
#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include <gtest/gtest.h>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "support/ChildProcess.h"
#include "support/VirtualDisplay.h"
#include "support/TestWatchdog.h"
#include "DeviceTestSupport.h"
#include "ViewerArguments.h"
#include "emulator/synthetic/SyntheticStereoModule.h"

using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

const std::string kTitle = "KorvaneCamera_Left-Right";

// How far the best placement of frame on the screen is from an exact copy:
// the mean absolute difference per channel there (255 when it does not fit).
double bestMatchDifference(const cv::Mat& screen, const cv::Mat& frame)
{
    if (screen.empty() || screen.cols < frame.cols || screen.rows < frame.rows)
        return 255.0;
    cv::Mat score;
    cv::matchTemplate(screen, frame, score, cv::TM_SQDIFF);
    cv::Point best;
    cv::minMaxLoc(score, nullptr, nullptr, &best);
    cv::Mat difference;
    cv::absdiff(screen(cv::Rect(best, frame.size())), frame, difference);
    const cv::Scalar mean = cv::mean(difference);
    return (mean[0] + mean[1] + mean[2]) / 3.0;
}

// A dbus-launch first in PATH that leaves a mark when anything starts it.
std::string pathWithMarkingDbusLaunch(const std::string& directory, const std::string& mark)
{
    const std::string bin = directory + "/bin";
    std::filesystem::create_directories(bin);
    {
        std::ofstream script(bin + "/dbus-launch");
        script << "#!/bin/sh\necho \"$@\" >> '" << mark << "'\nexit 1\n";
    }
    std::filesystem::permissions(bin + "/dbus-launch", std::filesystem::perms::owner_all);
    const char* path = std::getenv("PATH");
    return bin + ":" + (path ? path : "/usr/bin:/bin");
}

using Viewer = DeviceTest;

TEST_F(Viewer, ShowsBothViewsOfASyntheticSourceAndEndsOnEscape)
{
    // The module's flash says position 5; the frames come from a sequence.
    korvane::emulator::VirtualModule& module = addModule(0);
    const std::string calibration = work().file("factory.yml");
    writeCalibrationFile(calibration, 9, 5);
    loadCalibrationBlock(module, readFile(calibration));
    std::filesystem::create_directory(work().file("frames"));
    korvane::synthetic::SyntheticStereoModule synthetic(cv::Size(928, 400));
    std::vector<cv::Mat> frames;
    for (int i = 0; i < 2; ++i) {
        frames.push_back(synthetic.renderFrame(i));
        ASSERT_EQ(frames.back().size(), cv::Size(928, 400));
        char name[64];
        std::snprintf(name, sizeof name, "frames/frame_%04d.png", i);
        ASSERT_TRUE(cv::imwrite(work().file(name), frames.back()));
    }

    std::filesystem::create_directory(work().file("screen"));
    VirtualDisplay display(work().file("screen"));
    ASSERT_TRUE(display.ready()) << "Xvfb did not start";

    const std::string dbusLaunched = work().file("dbus-launch-started");
    std::map<std::string, std::string> environment =
        VirtualDisplay::programEnvironment(display.name(), work().file("viewer"));
    environment["PATH"] = pathWithMarkingDbusLaunch(work().file("viewer"), dbusLaunched);
    ChildProcess viewer({KORVANE_VIEWER, "--video", work().file("frames/frame_%04d.png"), "0", "928", "400", "30"},
                        environment, StandardError::Collected);
    ASSERT_TRUE(viewer.started());
    ASSERT_TRUE(viewer.waitFor("Device Position Number:5\n", 20s))
        << "the viewer did not print the module's position within 20 s\n" << viewer.output();

    const std::string window = display.findWindow(kTitle, 20s);
    ASSERT_FALSE(window.empty()) << "no window titled " << kTitle << " within 20 s\n" << viewer.output();
    EXPECT_FALSE(std::filesystem::exists(dbusLaunched))
        << "the viewer started dbus-launch: " << readFile(dbusLaunched);

    // The window shows the frame's left and right halves side by side, that
    // is the frame itself; the sequence alternates between two frames.
    double difference = 255.0;
    const WaitingFor waitingForFrame("the screen to show a frame of the source");
    for (auto deadline = std::chrono::steady_clock::now() + 15s; difference > 2.0 && std::chrono::steady_clock::now() < deadline;) {
        std::this_thread::sleep_for(300ms);
        const cv::Mat screen = display.screenshot();
        for (const cv::Mat& frame : frames)
            difference = std::min(difference, bestMatchDifference(screen, frame));
    }
    EXPECT_LE(difference, 2.0) << "the screen did not show a frame of the source within 15 s";
    cv::Mat otherHalves;
    cv::hconcat(frames[0](cv::Rect(464, 0, 464, 400)), frames[0](cv::Rect(0, 0, 464, 400)), otherHalves);
    EXPECT_GT(bestMatchDifference(display.screenshot(), otherHalves), 2.0) << "left and right are not swapped";

    EXPECT_TRUE(display.pressUntil(window, "Escape", [&] { return viewer.waitFor("Stop get frame done.\n", 2s); }))
        << "the viewer did not stop on Escape\n" << viewer.output();
    EXPECT_EQ(viewer.finish(15s), 0) << viewer.output();
    const std::string& out = viewer.output();
    const std::size_t joined = out.find("[StereoCamera][INFO] Stop get frame done.\n");
    const std::size_t released = out.find("[KorvaneCameraSDK][INFO] Korvane camera resource has released.\n");
    ASSERT_NE(joined, std::string::npos) << out;
    EXPECT_NE(released, std::string::npos) << out;
    EXPECT_LT(joined, released) << "the worker is joined before the camera goes";
}

TEST_F(Viewer, WithoutAModuleEndsWithStatusOne)
{
    int status = -1;
    std::string out = runProgram({KORVANE_VIEWER}, {{"DISPLAY", ""}}, status, 40s);
    EXPECT_EQ(status, 1) << out;
    EXPECT_NE(out.find("Cannot detect any korvane camera!\n"), std::string::npos) << out;
    EXPECT_EQ(out.find("Device Position Number:"), std::string::npos) << out;

    out = runProgram({KORVANE_VIEWER, "--video", work().file("none/frame_%04d.png")}, {{"DISPLAY", ""}}, status, 40s);
    EXPECT_EQ(status, 1) << "a source that cannot be opened: " << out;
}

TEST_F(Viewer, ADeviceNumberThatIsNoNumberIsRefusedWithUsage)
{
    addModule(0);
    int status = -1;
    const std::string output =
        runProgram({KORVANE_VIEWER, "abc"}, {{"DISPLAY", ""}}, status, 30s, StandardError::Collected);
    EXPECT_EQ(status, 2) << output;
    EXPECT_EQ(output.substr(0, output.find('\n')), "korvane_viewer: deviceNode needs a whole number, not 'abc'");
    EXPECT_NE(output.find("usage: korvane_viewer"), std::string::npos) << output;
}

// Without a display the window toolkit would abort the viewer at its first window.
TEST_F(Viewer, WithoutADisplayItSaysSoAndEndsWithStatusTwo)
{
    addModule(0);
    std::filesystem::create_directory(work().file("frames"));
    korvane::synthetic::SyntheticStereoModule synthetic(cv::Size(928, 400));
    ASSERT_TRUE(cv::imwrite(work().file("frames/frame_0000.png"), synthetic.renderFrame(0)));
    int status = -1;
    const std::string output =
        runProgram({KORVANE_VIEWER, "--video", work().file("frames/frame_%04d.png"), "0", "928", "400"},
                   {{"DISPLAY", ""}, {"WAYLAND_DISPLAY", ""}}, status, 40s, StandardError::Collected);
    EXPECT_EQ(status, 2) << output;
    EXPECT_NE(output.find("korvane_viewer: the views need a display, and DISPLAY and WAYLAND_DISPLAY are empty\n"),
              std::string::npos)
        << output;
    EXPECT_EQ(output.find("Device Position Number:"), std::string::npos) << "nothing started: " << output;
}

TEST_F(Viewer, BadOptionIsRefusedWithUsage)
{
    ChildProcess child({KORVANE_VIEWER, "--bogus"}, {{"DISPLAY", ""}}, StandardError::Collected);
    EXPECT_EQ(child.finish(30s), 2);
    EXPECT_NE(child.output().find("unknown option --bogus"), std::string::npos) << child.output();
    EXPECT_NE(child.output().find("usage: korvane_viewer"), std::string::npos) << child.output();
}

ViewerArguments parsed(std::vector<const char*> args, bool expectOk = true)
{
    args.insert(args.begin(), "korvane_viewer");
    ViewerArguments arguments;
    std::string error;
    EXPECT_EQ(arguments.parse(static_cast<int>(args.size()), args.data(), error), expectOk) << error;
    return arguments;
}

TEST(ViewerArgumentsTest, NoArgumentsGiveTheModuleDefaults)
{
    const ViewerArguments a = parsed({});
    EXPECT_EQ(a.deviceNode, 0);
    EXPECT_EQ(a.frameSize, cv::Size(1856, 800));
    EXPECT_EQ(a.frameRate, 30);
    EXPECT_TRUE(a.videoSource.empty());
}

TEST(ViewerArgumentsTest, ALoneWidthIsIgnored)
{
    const ViewerArguments a = parsed({"2", "928"});
    EXPECT_EQ(a.deviceNode, 2);
    EXPECT_EQ(a.frameSize, cv::Size(1856, 800));
    EXPECT_EQ(a.frameRate, 30);
}

TEST(ViewerArgumentsTest, AllPositionalArguments)
{
    const ViewerArguments sized = parsed({"1", "928", "400"});
    EXPECT_EQ(sized.frameSize, cv::Size(928, 400));
    EXPECT_EQ(sized.frameRate, 30);
    const ViewerArguments all = parsed({"3", "928", "400", "15"});
    EXPECT_EQ(all.deviceNode, 3);
    EXPECT_EQ(all.frameRate, 15);
    EXPECT_EQ(parsed({"-1"}).deviceNode, -1) << "any decimal whole number is taken";
}

// What is no decimal whole number is refused, named, rather than read as 0.
TEST(ViewerArgumentsTest, ArgumentsThatAreNoNumbersAreRefused)
{
    const std::vector<std::pair<std::vector<const char*>, std::string>> cases = {
        {{"abc"}, "deviceNode needs a whole number, not 'abc'"},
        {{"0x1"}, "deviceNode needs a whole number, not '0x1'"},
        {{""}, "deviceNode needs a whole number, not ''"},
        {{"1", "wide"}, "width needs a whole number, not 'wide'"},
        {{"1", "928", "4OO"}, "height needs a whole number, not '4OO'"},
        {{"1", "928", "400", "30fps"}, "fps needs a whole number, not '30fps'"},
        {{"1", "928", "400", "30", "5"}, "unexpected argument '5'"},
    };
    for (const auto& [args, message] : cases) {
        std::vector<const char*> line = args;
        line.insert(line.begin(), "korvane_viewer");
        ViewerArguments arguments;
        std::string error;
        EXPECT_FALSE(arguments.parse(static_cast<int>(line.size()), line.data(), error)) << message;
        EXPECT_EQ(error, message);
    }
}

TEST(ViewerArgumentsTest, VideoSourceComesBeforeThePositionalArguments)
{
    const ViewerArguments a = parsed({"--video", "seq/frame_%04d.png", "4", "928", "400"});
    EXPECT_EQ(a.videoSource, "seq/frame_%04d.png");
    EXPECT_EQ(a.deviceNode, 4);
    EXPECT_EQ(a.frameSize, cv::Size(928, 400));
    EXPECT_EQ(parsed({"--video=clip.avi"}).videoSource, "clip.avi");
    parsed({"--video"}, false);
    parsed({"--video", ""}, false);
    parsed({"--size", "1"}, false);
    EXPECT_TRUE(parsed({"--help"}).help);
}

} // namespace
