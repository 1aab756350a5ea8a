#include "GuidedCapture.h"

#include <algorithm>
#include <cstdio>

using korvane::calibration::CalibrationTarget;
using korvane::calibration::TargetDetector;

namespace {

std::string percent(double fraction)
{
    return std::to_string(static_cast<int>(fraction * 100.0 + 0.5)) + " %";
}

} // namespace

GuidedCapture::GuidedCapture(const CalibrationTarget& target, cv::Size rawSize, const Settings& settings)
    : m_target(target),
      m_detector(target),
      m_rawSize(rawSize),
      m_settings(settings),
      m_left({rawSize.width / 2, rawSize.height}),
      m_right({rawSize.width / 2, rawSize.height})
{
}

GuidedCapture::Step GuidedCapture::offer(const cv::Mat& frame)
{
    TargetDetector::PairCorners pair;
    std::string why;
    if (frame.size() != m_rawSize)
        return judge(frame, nullptr, "a frame of another size than the first");
    const bool found = m_detector.detectPair(frame, pair, why);
    return judge(frame, found ? &pair : nullptr, why);
}

bool GuidedCapture::still(const TargetDetector::PairCorners& pair)
{
    m_recent.push_back(pair);
    while (static_cast<int>(m_recent.size()) > m_settings.stillFrames)
        m_recent.pop_front();
    if (static_cast<int>(m_recent.size()) < m_settings.stillFrames)
        return false;
    const double limit = m_settings.stillFraction * m_rawSize.width / 2.0;
    for (const auto& earlier : m_recent) {
        const double motion = ViewQuality::motion(earlier, pair);
        if (motion < 0.0 || motion > limit)
            return false;
    }
    return true;
}

double GuidedCapture::edgeWidth(const cv::Mat& frame, const TargetDetector::PairCorners& pair) const
{
    const int half = frame.cols / 2;
    return std::max(ViewQuality::edgeWidth(frame(cv::Rect(0, 0, half, frame.rows)), pair.left),
                    ViewQuality::edgeWidth(frame(cv::Rect(half, 0, half, frame.rows)), pair.right));
}

GuidedCapture::Step GuidedCapture::judge(const cv::Mat& frame, const TargetDetector::PairCorners* pair,
                                         const std::string& why)
{
    Step step;
    if (pair != nullptr)
        step.pair = *pair;
    if (pair == nullptr) {
        m_recent.clear();
        step.verdict = Verdict::NotInBothEyes;
        step.status = why;
        step.hint = "show the whole board to both eyes";
    } else if (!still(*pair)) {
        step.verdict = Verdict::Moving;
        step.status = "the board is moving";
        step.hint = "hold the board still";
    } else if (const double width = edgeWidth(frame, *pair); width > m_settings.sharpEdgeWidth) {
        char text[96];
        std::snprintf(text, sizeof text, "the view is blurred (edges %.1f px wide)", width);
        step.verdict = Verdict::Blurred;
        step.status = text;
        step.hint = "hold the board still, or add light";
    } else {
        const int tilt = static_cast<int>(ViewQuality::tiltOf(m_target, *pair));
        const int added = std::max(m_left.newCells(pair->left), m_right.newCells(pair->right));
        if (added < m_settings.newCells && m_tilts[static_cast<size_t>(tilt)] > 0) {
            step.verdict = Verdict::NoNewCoverage;
            step.status = "this view adds no coverage";
        } else {
            m_left.add(pair->left);
            m_right.add(pair->right);
            ++m_tilts[static_cast<size_t>(tilt)];
            m_views.push_back({frame.clone(), *pair});
            // The next view needs a new still pose.
            m_recent.clear();
            step.verdict = Verdict::Kept;
            step.status = "kept view " + std::to_string(m_views.size()) + " of " +
                          std::to_string(m_settings.wantedViews);
        }
        step.hint = hint();
    }
    ++m_verdicts[static_cast<size_t>(step.verdict)];
    return step;
}

std::string GuidedCapture::hint() const
{
    if (done())
        return "done";
    const auto towards = [](const std::string& direction) {
        if (direction == "edges")
            return std::string("move it towards the edges of the view");
        return "move it to the " + direction;
    };
    const std::string direction = m_left.emptiestDirection();
    const double covered = (m_left.fraction() + m_right.fraction()) / 2.0;
    if (covered < 0.5 && !direction.empty())
        return towards(direction);
    if (m_tilts[static_cast<size_t>(ViewQuality::Tilt::TurnedAboutColumns)] == 0 ||
        m_tilts[static_cast<size_t>(ViewQuality::Tilt::TurnedAboutRows)] == 0)
        return "tilt the board";
    if (!direction.empty())
        return towards(direction);
    return "move it nearer or further, or turn it";
}

std::string GuidedCapture::tally() const
{
    const auto count = [&](Verdict v) { return std::to_string(m_verdicts[static_cast<size_t>(v)]); };
    int frames = 0;
    for (int n : m_verdicts)
        frames += n;
    return std::to_string(frames) + " frames: " + count(Verdict::Kept) + " kept, " + count(Verdict::NotInBothEyes) +
           " without the target in both eyes, " + count(Verdict::Moving) + " moving, " + count(Verdict::Blurred) +
           " blurred, " + count(Verdict::NoNewCoverage) + " adding no coverage; coverage left " +
           percent(m_left.fraction()) + ", right " + percent(m_right.fraction());
}
