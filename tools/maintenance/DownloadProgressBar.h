#ifndef KORVANE_TOOLS_MAINTENANCE_DOWNLOADPROGRESSBAR_H
#define KORVANE_TOOLS_MAINTENANCE_DOWNLOADPROGRESSBAR_H

#include <ostream>
#include <string>

#include "ChipCatalog.h"

namespace korvane::maintenance {

// The percentage of a "DownLoad Schedule %f %" line (line end removed);
// false for any other line.
bool parseScheduleLine(const std::string& line, float& percent);

// Draws a firmware download's progress bar, with its phase, from the text
// the download prints on its standard error. On a terminal the bar is
// redrawn in place; elsewhere one line is printed per phase.
class DownloadProgressBar
{
public:
    DownloadProgressBar(std::ostream& out, const Download_Progress_Plan& plan, bool terminal);

    // Draws the bar at 0 percent, preparing.
    void start();
    // Takes the next piece of the download's output; returns what was not
    // progress, whole lines only, for passing on.
    std::string feed(const std::string& text);
    // Ends the bar's line.
    void finish();

    float percent() const { return m_percent; }

private:
    void show(float percent);
    std::string barText(float percent, const std::string& phase) const;

    std::ostream& m_out;
    Download_Progress_Plan m_plan;
    bool m_terminal;
    std::string m_pending; // an unfinished line
    float m_percent = 0.0f;
    std::string m_phase;
    std::string m_drawn;
};

} // namespace korvane::maintenance

#endif
