#ifndef KORVANE_TESTS_SUPPORT_VIRTUALDISPLAY_H
#define KORVANE_TESTS_SUPPORT_VIRTUALDISPLAY_H

#include <chrono>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include <opencv2/core.hpp>

#include "support/ChildProcess.h"

namespace korvane::test {

// An Xvfb server with its screen kept in a file, so a test can look at it,
// and xdotool to find windows and press keys on it.
class VirtualDisplay
{
public:
    explicit VirtualDisplay(const std::string& directory);
    // Asked to end, the server removes its lock and socket files.
    ~VirtualDisplay();

    bool ready() const { return !m_display.empty(); }
    const std::string& name() const { return m_display; }

    // Runs xdotool on this display; its output, status in status.
    std::string xdotool(std::vector<std::string> args, int& status) const;

    // The id of the window whose title is exactly `title`, waiting up to
    // `within` for it to appear; empty when none does.
    std::string findWindow(const std::string& title, std::chrono::seconds within) const;
    // Focuses the window and presses key, up to five times, until `done`
    // says the program reacted; done's answer.
    bool pressUntil(const std::string& window, const std::string& key, const std::function<bool()>& done) const;

    // The screen as an 8-bit BGR image (empty when it cannot be read).
    cv::Mat screenshot() const;

    // What a window program run on this display under the umockdev preload
    // needs besides DISPLAY; directory holds its runtime files.
    static std::map<std::string, std::string> programEnvironment(const std::string& display,
                                                                 const std::string& directory);

private:
    static std::map<std::string, std::string> withDisplay(const std::string& display);

    std::string m_directory;
    ChildProcess m_server;
    std::string m_display;
};

} // namespace korvane::test

#endif
