// korvane-calibrate: a calibration from a folder of rendered views, the
// target's print, and a clear refusal with status 1 of every bad source.
#include <chrono>
#include <csignal>
#include <cstdio>
#include <thread>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <opencv2/aruco/dictionary.hpp>
#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

#include "CoverageMap.h"
#include "VideoSource.h"
#include "ViewSource.h"
#include "calibration/RenderedViews.h"
#include "camera/StereoCamera.h"
#include "support/ChildProcess.h"
#include "support/TempDir.h"
#include "support/VirtualDisplay.h"

using korvane::calibration::CalibrationTarget;
using namespace korvane::test;
using namespace std::chrono_literals;

namespace {

const CalibrationTarget kCharuco = CalibrationTarget::charuco({8, 6}, 40.0, 30.0, cv::aruco::DICT_4X4_50);
const std::vector<std::string> kCharucoOptions = {"--target", "charuco", "--squares", "8x6", "--square", "40",
                                                  "--marker", "30", "--dictionary", "0"};

struct ToolRun
{
    int status = -1;
    std::string output;
};

ToolRun calibrate(std::vector<std::string> arguments, std::chrono::seconds timeout = 60s,
                  const std::map<std::string, std::string>& environment = {})
{
    arguments.insert(arguments.begin(), KORVANE_CALIBRATE_TOOL);
    std::map<std::string, std::string> withoutDisplay = environment;
    withoutDisplay["DISPLAY"] = "";
    ToolRun run;
    run.output = runProgram(arguments, withoutDisplay, run.status, timeout, StandardError::Collected);
    return run;
}

void writeFrames(const TempDir& dir, const std::vector<cv::Mat>& frames)
{
    for (size_t i = 0; i < frames.size(); ++i)
        ASSERT_TRUE(cv::imwrite(dir.file("view_" + std::to_string(100 + i) + ".png"), frames[i]));
}

std::vector<std::string> withCharuco(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), kCharucoOptions.begin(), kCharucoOptions.end());
    return arguments;
}

} // namespace

TEST(CalibrateTool, AFolderOfViewsGivesACalibrationTheKitLoadsAndAReport)
{
    TempDir views, out;
    writeFrames(views, renderedViews(kCharuco, {1856, 800}, 12, 5));
    const std::string file = out.file("calibration.yml");
    const ToolRun run = calibrate(withCharuco({"--output", file, "--report", out.file("report"), views.path()}), 300s);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("RMS reprojection error: left"), std::string::npos) << run.output;
    StereoCamera camera(97);
    EXPECT_TRUE(camera.loadCalibParams(file));
    for (const char* name : {"summary.txt", "coverage_left.png", "coverage_right.png", "rectified.png"})
        EXPECT_TRUE(std::filesystem::exists(out.file(std::string("report/") + name))) << name;
    EXPECT_EQ(cv::imread(out.file("report/rectified.png")).size(), cv::Size(1280, 480));
}

TEST(CalibrateTool, PrintsTheTargetAtAStatedSize)
{
    TempDir out;
    const ToolRun run = calibrate(withCharuco({"--print-target", out.file("target.png")}));
    ASSERT_EQ(run.status, 0) << run.output;
    const cv::Mat print = cv::imread(out.file("target.png"), cv::IMREAD_GRAYSCALE);
    EXPECT_EQ(print.size(), kCharuco.print(200).size());
    EXPECT_NE(run.output.find("each square measures 40.00 mm"), std::string::npos) << run.output;
}

TEST(CalibrateTool, BadArgumentsEndWithStatusTwo)
{
    for (const std::vector<std::string>& arguments :
         {std::vector<std::string>{}, {"--target", "circles", "dir"}, {"--square", "0", "dir"},
          {"--marker", "50", "dir"}, {"--video", "a.avi", "dir"}, {"--squares", "2x2", "dir"},
          {"--force", "dir"}, {"--flash", "--max-rms", "-1", "dir"}, {"--flash", "--device", "x", "dir"},
          {"--guided", "dir"}, {"--video", "a.avi", "--guided", "--every", "2"}, {"--device", "0", "--views", "0"}}) {
        const ToolRun run = calibrate(arguments);
        EXPECT_EQ(run.status, 2) << run.output;
        EXPECT_EQ(run.output.rfind("korvane-calibrate: ", 0), 0u) << run.output;
    }
}

// Each bad source is named in one line; nothing is written.
TEST(CalibrateTool, BadSourcesAreRefusedWithAReason)
{
    TempDir empty, mixed, blank, few, oneEye, out;
    const std::vector<cv::Mat> three = renderedViews(kCharuco, {928, 400}, 3, 9);
    writeFrames(few, three);
    std::vector<cv::Mat> leftOnly;
    for (const cv::Mat& frame : three) {
        leftOnly.push_back(frame.clone());
        leftOnly.back()(cv::Rect(464, 0, 464, 400)).setTo(cv::Scalar::all(90));
    }
    writeFrames(oneEye, leftOnly);
    writeFrames(mixed, {three[0], cv::Mat(800, 1856, CV_8UC3, cv::Scalar::all(90))});
    writeFrames(blank, std::vector<cv::Mat>(3, cv::Mat(400, 928, CV_8UC3, cv::Scalar::all(90))));
    const std::string file = out.file("calibration.yml");
    const struct
    {
        std::vector<std::string> arguments;
        std::string says;
    } cases[] = {
        {{empty.path()}, "no images"},
        {{mixed.path()}, "the images are of mixed sizes"},
        {{blank.path()}, "is in both eyes of none of the 3 frames (view_100.png: no target found in either eye)"},
        {withCharuco({oneEye.path()}), "(view_100.png: target found in the left eye only)"},
        {{"--target", "chessboard", "--corners", "9x6", few.path()}, "is in both eyes of none"},
        {withCharuco({few.path()}), "too few views"},
        {{"--video", out.file("missing.avi")}, "cannot open the video"},
        {{"--video", out.file("missing.avi"), "--guided"}, "cannot open the video"},
        {{"--device", "63", "--no-window"}, "cannot capture from the module at /dev/video63"},
    };
    for (const auto& c : cases) {
        std::vector<std::string> arguments = c.arguments;
        arguments.insert(arguments.begin(), {"--output", file, "--report", out.file("report")});
        const ToolRun run = calibrate(arguments, 120s);
        EXPECT_EQ(run.status, 1) << run.output;
        EXPECT_NE(run.output.find(c.says), std::string::npos) << run.output;
        EXPECT_FALSE(std::filesystem::exists(file)) << run.output;
    }
}

TEST(CoverageMap, CountsTheCellsOfTheCircleThatCornersFell)
{
    CoverageMap map({464, 400});
    EXPECT_EQ(map.fraction(), 0.0);
    map.add({{232.0f, 200.0f}});
    const double one = map.fraction();
    EXPECT_GT(one, 0.0);
    map.add({{232.0f, 200.0f}, {5000.0f, 5000.0f}, {-3.0f, 10.0f}});
    EXPECT_EQ(map.fraction(), one);
    std::vector<cv::Point2f> everywhere;
    for (float y = 0.5f; y < 400.0f; y += 4.0f)
        for (float x = 0.5f; x < 464.0f; x += 4.0f)
            everywhere.emplace_back(x, y);
    map.add(everywhere);
    EXPECT_EQ(map.fraction(), 1.0);
    EXPECT_EQ(map.image({everywhere}, {}).size(), cv::Size(464, 400));
}

TEST(ViewSource, FramesOfMixedOrOddSizesAreNamed)
{
    std::vector<ViewSource::Frame> frames = {{"a.png", cv::Mat(400, 928, CV_8UC3)}, {"b.png", cv::Mat(800, 1856, CV_8UC3)}};
    cv::Size size;
    std::string error;
    EXPECT_FALSE(ViewSource::commonSize(frames, size, error));
    EXPECT_EQ(error, "the images are of mixed sizes: a.png is 928x400, b.png is 1856x800");
    frames = {{"c.png", cv::Mat(400, 927, CV_8UC3)}};
    EXPECT_FALSE(ViewSource::commonSize(frames, size, error));
    frames = {{"d.png", cv::Mat(400, 928, CV_8UC3)}};
    EXPECT_TRUE(ViewSource::commonSize(frames, size, error));
    EXPECT_EQ(size, cv::Size(928, 400));
}

#ifdef KORVANE_VIRTUAL_MODULE_LAUNCHER
// --flash writes through the maintenance tool's guarded write (backup,
// write, read back), only within the limits unless forced; with no module
// the calibration is kept and the status says it was not flashed.
TEST(CalibrateTool, FlashesOnlyAGoodEnoughCalibrationThroughTheGuardedWrite)
{
    TempDir views, out, backups;
    writeFrames(views, renderedViews(kCharuco, {1856, 800}, 12, 5));
    const std::string file = out.file("calibration.yml");
    const std::map<std::string, std::string> environment = {{"KORVANE_BACKUP_DIR", backups.path()}};
    const auto underModule = [&](std::vector<std::string> arguments) {
        arguments = withCharuco(arguments);
        arguments.insert(arguments.begin(), {KORVANE_VIRTUAL_MODULE_LAUNCHER, "--module",
                                             "chip=2620,video=0,serial=KV0042", "--", KORVANE_CALIBRATE_TOOL});
        ToolRun run;
        std::map<std::string, std::string> withoutDisplay = environment;
        withoutDisplay["DISPLAY"] = "";
        run.output = runProgram(arguments, withoutDisplay, run.status, 300s, StandardError::Collected);
        return run;
    };
    const std::vector<std::string> common = {"--output", file, "--report", out.file("report"), "--flash"};

    std::vector<std::string> arguments = common;
    arguments.push_back(views.path());
    const ToolRun flashed = underModule(arguments);
    ASSERT_EQ(flashed.status, 0) << flashed.output;
    EXPECT_NE(flashed.output.find("User data backed up to " + backups.path()), std::string::npos) << flashed.output;
    EXPECT_NE(flashed.output.find("written to /dev/video0 and verified"), std::string::npos) << flashed.output;

    arguments = common;
    arguments.insert(arguments.end(), {"--max-epipolar", "0.0001", views.path()});
    const ToolRun refused = underModule(arguments);
    EXPECT_EQ(refused.status, 3) << refused.output;
    EXPECT_NE(refused.output.find("korvane-calibrate: not flashed: pair RMS error"), std::string::npos)
        << refused.output;
    EXPECT_EQ(refused.output.find("User data backed up"), std::string::npos) << refused.output;
    EXPECT_TRUE(std::filesystem::exists(file));

    arguments = common;
    arguments.insert(arguments.end(), {"--max-epipolar", "0.0001", "--force", "--device", "4", views.path()});
    const ToolRun noModule = calibrate(withCharuco(arguments), 300s, environment);
    EXPECT_EQ(noModule.status, 3) << noModule.output;
    EXPECT_NE(noModule.output.find("forced"), std::string::npos) << noModule.output;
    EXPECT_NE(noModule.output.find("korvane-calibrate: not flashed: the write to the module failed"),
              std::string::npos)
        << noModule.output;
}
#endif

namespace {

// A recording of a board moved from pose to pose and held still at each
// for three frames, as a user would: frame_0000.png on.
int writeHeldPoses(const TempDir& dir, const std::vector<korvane::synthetic::TargetPose>& poses)
{
    const korvane::synthetic::SyntheticTarget rendered = syntheticTarget(kCharuco);
    int index = 0;
    for (const auto& pose : poses) {
        const cv::Mat still = rendered.render(pose, {928, 400});
        // On its way: the board half a square off.
        const korvane::synthetic::TargetPose moving(pose.centre() + pose.across() * 0.02,
                                                    cv::Matx33d(pose.across()[0], pose.down()[0], pose.normal()[0],
                                                                pose.across()[1], pose.down()[1], pose.normal()[1],
                                                                pose.across()[2], pose.down()[2], pose.normal()[2]));
        std::vector<cv::Mat> frames = {rendered.render(moving, {928, 400}), still.clone(), still.clone(),
                                       still.clone()};
        for (cv::Mat& frame : frames) {
            korvane::synthetic::SyntheticTarget::degrade(frame, kBlurSigma, kNoiseSigma, 500 + index);
            char name[32];
            std::snprintf(name, sizeof name, "frame_%04d.png", index++);
            EXPECT_TRUE(cv::imwrite(dir.file(name), frame));
        }
    }
    return index;
}

// count copies of one frame of the board straight ahead: a long steady
// recording.
void writeSteadyRecording(const TempDir& dir, int count)
{
    const cv::Mat frame =
        syntheticTarget(kCharuco).render(korvane::synthetic::TargetPose::facing({0.0, 0.0, 0.3}, {0, 0, 0}),
                                         {928, 400});
    ASSERT_TRUE(cv::imwrite(dir.file("frame_0000.png"), frame));
    for (int i = 1; i < count; ++i) {
        char name[32];
        std::snprintf(name, sizeof name, "frame_%04d.png", i);
        std::filesystem::copy_file(dir.file("frame_0000.png"), dir.file(name));
    }
}

size_t filesIn(const std::string& folder)
{
    std::error_code ec;
    size_t count = 0;
    for (auto it = std::filesystem::directory_iterator(folder, ec); !ec && it != std::filesystem::directory_iterator();
         ++it)
        ++count;
    return count;
}

} // namespace

TEST(CalibrateTool, AGuidedCaptureKeepsStillViewsThatAddCoverageAndCalibratesFromThem)
{
    TempDir frames, out;
    writeHeldPoses(frames, korvane::synthetic::TargetPose::varied(14, 31));
    const ToolRun run = calibrate(withCharuco({"--video", frames.file("frame_%04d.png"), "--guided", "--views", "6",
                                               "--output", out.file("calibration.yml"), "--report",
                                               out.file("report")}),
                                  300s);
    ASSERT_EQ(run.status, 0) << run.output;
    EXPECT_NE(run.output.find("no window: no display"), std::string::npos) << run.output;
    EXPECT_NE(run.output.find("kept view 6 of 6; next: done"), std::string::npos) << run.output;
    // Each pose's first frame is on the move; nothing is kept from those.
    EXPECT_NE(run.output.find(" moving, "), std::string::npos) << run.output;
    EXPECT_EQ(run.output.find(" 0 moving, "), std::string::npos) << run.output;
    EXPECT_EQ(filesIn(out.file("report/views")), 6u);
    EXPECT_TRUE(std::filesystem::exists(out.file("calibration.yml")));
    const std::string html = readFile(out.file("report/summary.html"));
    EXPECT_NE(html.find("<img src=\"rectified.png\""), std::string::npos);
    EXPECT_NE(html.find("RMS reprojection error: left"), std::string::npos);
    // The kept views calibrate again as a folder.
    const ToolRun again = calibrate(withCharuco({"--output", out.file("again.yml"), "--report", out.file("again"),
                                                 out.file("report/views")}),
                                    300s);
    EXPECT_EQ(again.status, 0) << again.output;
}

TEST(CalibrateTool, CtrlCEndsAGuidedCaptureAndSaysWhatItHad)
{
    TempDir frames, out;
    writeSteadyRecording(frames, 3000);
    ChildProcess tool({KORVANE_CALIBRATE_TOOL, "--video", frames.file("frame_%04d.png"), "--guided", "--no-window",
                       "--report", out.file("report"), "--output", out.file("calibration.yml")},
                      {{"DISPLAY", ""}}, StandardError::Collected);
    ASSERT_TRUE(tool.started());
    ASSERT_TRUE(tool.waitFor("kept view 1 of 25", 60s)) << tool.output();
    tool.signal(SIGINT);
    EXPECT_EQ(tool.finish(60s), 1) << tool.output();
    EXPECT_NE(tool.output().find("stopped by Ctrl-C after "), std::string::npos) << tool.output();
    EXPECT_NE(tool.output().find("too few views"), std::string::npos) << tool.output();
    EXPECT_EQ(filesIn(out.file("report/views")), 1u);
    EXPECT_FALSE(std::filesystem::exists(out.file("calibration.yml")));
}

TEST(CalibrateTool, AGuidedCaptureShowsAWindowThatEscapeEnds)
{
    TempDir frames, out, screen;
    writeSteadyRecording(frames, 3000);
    VirtualDisplay display(screen.path());
    ASSERT_TRUE(display.ready()) << "Xvfb did not start";
    ChildProcess tool({KORVANE_CALIBRATE_TOOL, "--video", frames.file("frame_%04d.png"), "--guided", "--report",
                       out.file("report"), "--output", out.file("calibration.yml")},
                      VirtualDisplay::programEnvironment(display.name(), out.file("toolkit")),
                      StandardError::Collected);
    ASSERT_TRUE(tool.started());
    ASSERT_TRUE(tool.waitFor("Escape in the window ends it", 30s)) << tool.output();
    const std::string window = display.findWindow("korvane-calibrate", 20s);
    ASSERT_FALSE(window.empty()) << "no window titled korvane-calibrate within 20 s\n" << tool.output();
    // The window shows the corners found, in green.
    int green = 0;
    for (auto deadline = std::chrono::steady_clock::now() + 15s; green < 100 && std::chrono::steady_clock::now() < deadline;) {
        const cv::Mat shot = display.screenshot();
        cv::Mat mask;
        if (!shot.empty())
            cv::inRange(shot, cv::Scalar(70, 210, 70), cv::Scalar(90, 230, 90), mask);
        green = mask.empty() ? 0 : cv::countNonZero(mask);
        if (green < 100)
            std::this_thread::sleep_for(300ms);
    }
    EXPECT_GE(green, 100) << "the screen shows no corners";
    EXPECT_TRUE(display.pressUntil(window, "Escape", [&] { return tool.waitFor("stopped by Escape after ", 3s); }))
        << tool.output();
    EXPECT_EQ(tool.finish(60s), 1) << tool.output();
    EXPECT_NE(tool.output().find("too few views"), std::string::npos) << tool.output();
}

TEST(VideoSource, AMissingFileOrSequenceIsNamedBeforeTheVideoLibraryTries)
{
    TempDir dir;
    EXPECT_EQ(videoSourceProblem(dir.file("none.avi")), "No such file or directory");
    EXPECT_EQ(videoSourceProblem(dir.path()), "it is not a regular file");
    EXPECT_EQ(videoSourceProblem(dir.file("frame_%04d.png")), "no image of the sequence is there");
    writeSteadyRecording(dir, 1);
    EXPECT_EQ(videoSourceProblem(dir.file("frame_%04d.png")), "");
    EXPECT_EQ(videoSourceProblem(dir.file("frame_0000.png")), "");
    // Pipelines and patterns the check does not read are left to the library.
    EXPECT_EQ(videoSourceProblem("videotestsrc ! appsink"), "");
    EXPECT_EQ(videoSourceProblem(dir.file("%s_%d.png")), "");
    EXPECT_TRUE(isVideoPipeline("videotestsrc ! appsink"));
    EXPECT_FALSE(isVideoPipeline(dir.file("a.avi")));
}
