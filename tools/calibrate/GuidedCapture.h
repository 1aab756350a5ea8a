#ifndef KORVANE_TOOLS_CALIBRATE_GUIDEDCAPTURE_H
#define KORVANE_TOOLS_CALIBRATE_GUIDEDCAPTURE_H

#include <array>
#include <deque>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "CoverageMap.h"
#include "ViewQuality.h"
#include "camera/calibration/CalibrationTarget.h"
#include "camera/calibration/TargetDetector.h"

// Picks calibration views out of a live stream of side-by-side frames: a
// frame is kept only when the target is in both eyes, has been still for a
// few frames, is sharp, and adds coverage of either fisheye circle or a
// turn of the board not yet seen. It says why a frame was not kept and
// what the user should do next.
class GuidedCapture
{
public:
    struct Settings
    {
        int wantedViews = 25;
        // Frames in a row the corners must stay within stillPixels.
        int stillFrames = 3;
        // Corner motion counted as still, pixels per pixel of eye width
        // (1.5 px on a 928-pixel eye).
        double stillFraction = 1.5 / 928.0;
        // Widest edge counted as sharp, pixels.
        double sharpEdgeWidth = 3.0;
        // Cells of a coverage map a view must add, unless it shows a new turn.
        int newCells = 2;
    };

    enum class Verdict { NotInBothEyes, Moving, Blurred, NoNewCoverage, Kept };
    static constexpr int kVerdicts = 5;

    // What became of one frame.
    struct Step
    {
        Verdict verdict = Verdict::NotInBothEyes;
        std::string status; // what was seen
        std::string hint;   // what to do next
        korvane::calibration::TargetDetector::PairCorners pair; // empty when not in both eyes
    };

    struct View
    {
        cv::Mat frame;
        korvane::calibration::TargetDetector::PairCorners pair;
    };

    GuidedCapture(const korvane::calibration::CalibrationTarget& target, cv::Size rawSize, const Settings& settings);

    // Looks for the target in a frame of the stream and judges it. A frame
    // of another size than the first is not in both eyes.
    Step offer(const cv::Mat& frame);
    // The judgement alone, on corners found elsewhere (none: `why` says
    // why not).
    Step judge(const cv::Mat& frame, const korvane::calibration::TargetDetector::PairCorners* pair,
               const std::string& why);

    bool done() const { return static_cast<int>(m_views.size()) >= m_settings.wantedViews; }
    int wantedViews() const { return m_settings.wantedViews; }
    const std::vector<View>& views() const { return m_views; }
    const CoverageMap& coverage(bool right) const { return right ? m_right : m_left; }
    // What to do next for better views.
    std::string hint() const;
    // How many frames got each verdict, as a line.
    std::string tally() const;

private:
    bool still(const korvane::calibration::TargetDetector::PairCorners& pair);
    double edgeWidth(const cv::Mat& frame, const korvane::calibration::TargetDetector::PairCorners& pair) const;

    korvane::calibration::CalibrationTarget m_target;
    korvane::calibration::TargetDetector m_detector;
    cv::Size m_rawSize;
    Settings m_settings;
    CoverageMap m_left;
    CoverageMap m_right;
    std::vector<View> m_views;
    // The corners of the last frames in a row that showed the target.
    std::deque<korvane::calibration::TargetDetector::PairCorners> m_recent;
    // Kept views by ViewQuality::Tilt.
    std::array<int, 3> m_tilts{};
    std::array<int, kVerdicts> m_verdicts{};
};

#endif
