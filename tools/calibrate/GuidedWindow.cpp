#include "GuidedWindow.h"

#include <opencv2/highgui.hpp>
#include <opencv2/imgproc.hpp>

#include "WindowDisplay.h"

namespace {

const cv::Scalar kFound(80, 220, 80);
const cv::Scalar kText(235, 235, 235);

void writeLine(cv::Mat& picture, const std::string& text, int line, const cv::Scalar& colour)
{
    cv::putText(picture, text, {12, 24 + 26 * line}, cv::FONT_HERSHEY_SIMPLEX, 0.6, colour, 1, cv::LINE_AA);
}

} // namespace

GuidedWindow::~GuidedWindow()
{
    if (m_open)
        cv::destroyWindow(kTitle);
}

cv::Mat GuidedWindow::compose(const cv::Mat& frame, const GuidedCapture& capture, const GuidedCapture::Step& step)
{
    cv::Mat eyes;
    if (frame.channels() == 1)
        cv::cvtColor(frame, eyes, cv::COLOR_GRAY2BGR);
    else
        eyes = frame.clone();
    const float half = static_cast<float>(frame.cols / 2);
    const int radius = std::max(2, frame.cols / 400);
    for (size_t i = 0; i < step.pair.ids.size(); ++i) {
        cv::circle(eyes, step.pair.left[i], radius, kFound, cv::FILLED, cv::LINE_AA);
        cv::circle(eyes, step.pair.right[i] + cv::Point2f(half, 0.0f), radius, kFound, cv::FILLED, cv::LINE_AA);
    }
    const double scale = std::min(1.0, static_cast<double>(kWidestPicture) / eyes.cols);
    if (scale < 1.0)
        cv::resize(eyes, eyes, cv::Size(), scale, scale, cv::INTER_AREA);

    // Below the eyes: the two coverage maps, then the text.
    std::vector<std::vector<cv::Point2f>> left, right;
    for (const GuidedCapture::View& view : capture.views()) {
        left.push_back(view.pair.left);
        right.push_back(view.pair.right);
    }
    cv::Mat maps;
    cv::hconcat(capture.coverage(false).image(left, {}), capture.coverage(true).image(right, {}), maps);
    const int mapHeight = std::max(1, eyes.rows / 3);
    cv::resize(maps, maps, {maps.cols * mapHeight / maps.rows, mapHeight}, 0.0, 0.0, cv::INTER_AREA);
    cv::Mat band(mapHeight, eyes.cols, CV_8UC3, cv::Scalar::all(20));
    const int mapsWidth = std::min(maps.cols, eyes.cols / 2);
    maps(cv::Rect(0, 0, mapsWidth, mapHeight)).copyTo(band(cv::Rect(0, 0, mapsWidth, mapHeight)));
    cv::Mat text = band(cv::Rect(mapsWidth, 0, eyes.cols - mapsWidth, mapHeight));
    writeLine(text, "views " + std::to_string(capture.views().size()) + " of " +
                        std::to_string(capture.wantedViews()), 0, kText);
    writeLine(text, step.status, 1, step.verdict == GuidedCapture::Verdict::Kept ? kFound : kText);
    writeLine(text, "next: " + step.hint, 2, kText);
    writeLine(text, "Escape ends", 3, cv::Scalar::all(150));
    cv::Mat picture;
    cv::vconcat(eyes, band, picture);
    return picture;
}

bool GuidedWindow::open(std::string& error)
{
    if (!windowDisplayNamed()) {
        error = std::string("no display: ") + kNoWindowDisplay;
        return false;
    }
    try {
        cv::namedWindow(kTitle, cv::WINDOW_AUTOSIZE);
    } catch (const cv::Exception& e) {
        error = "the window cannot be opened: " + e.msg;
        return false;
    }
    m_open = true;
    return true;
}

bool GuidedWindow::show(const cv::Mat& picture)
{
    if (!m_open)
        return false;
    cv::imshow(kTitle, picture);
    const int key = cv::waitKey(1);
    if (key == kEscape || key == 'q')
        return false;
    // Closed by its frame's button (-1 where the toolkit cannot tell).
    return cv::getWindowProperty(kTitle, cv::WND_PROP_VISIBLE) != 0.0;
}
