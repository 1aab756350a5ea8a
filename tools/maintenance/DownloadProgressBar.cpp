#include "DownloadProgressBar.h"

#include <cmath>
#include <cstdio>
#include <cstring>

namespace korvane::maintenance {

namespace {

constexpr char kSchedulePrefix[] = "DownLoad Schedule ";
constexpr char kScheduleSuffix[] = " %";
constexpr int kBarWidth = 30;

} // namespace

bool parseScheduleLine(const std::string& line, float& percent)
{
    const std::size_t prefix = std::strlen(kSchedulePrefix);
    const std::size_t suffix = std::strlen(kScheduleSuffix);
    if (line.size() <= prefix + suffix || line.compare(0, prefix, kSchedulePrefix) != 0 ||
        line.compare(line.size() - suffix, suffix, kScheduleSuffix) != 0)
        return false;
    const std::string number = line.substr(prefix, line.size() - prefix - suffix);
    char* end = nullptr;
    const float value = std::strtof(number.c_str(), &end);
    if (end != number.c_str() + number.size() || !std::isfinite(value))
        return false;
    percent = value;
    return true;
}

DownloadProgressBar::DownloadProgressBar(std::ostream& out, const Download_Progress_Plan& plan, bool terminal)
    : m_out(out), m_plan(plan), m_terminal(terminal)
{
}

void DownloadProgressBar::start() { show(0.0f); }

std::string DownloadProgressBar::feed(const std::string& text)
{
    m_pending += text;
    std::string passed;
    std::size_t lineEnd;
    while ((lineEnd = m_pending.find('\n')) != std::string::npos) {
        std::string line = m_pending.substr(0, lineEnd);
        m_pending.erase(0, lineEnd + 1);
        if (!line.empty() && line.back() == '\r')
            line.pop_back();
        float percent = 0.0f;
        if (parseScheduleLine(line, percent))
            show(percent);
        else if (!line.empty())
            passed += line + "\n";
    }
    return passed;
}

void DownloadProgressBar::finish()
{
    if (m_terminal && !m_drawn.empty())
        m_out << "\n";
    m_out.flush();
    m_drawn.clear();
}

void DownloadProgressBar::show(float percent)
{
    m_percent = percent;
    const std::string phase = Download_Phase_At_Percent(m_plan, percent);
    const std::string text = barText(percent, phase);
    if (m_terminal && text != m_drawn) {
        // Padding clears what a longer phase name left on the line.
        m_out << "\r" << text << std::string(m_drawn.size() > text.size() ? m_drawn.size() - text.size() : 0, ' ')
              << std::flush;
    } else if (!m_terminal && phase != m_phase) {
        m_out << text << "\n" << std::flush;
    }
    m_drawn = text;
    m_phase = phase;
}

std::string DownloadProgressBar::barText(float percent, const std::string& phase) const
{
    const float bounded = std::fmin(std::fmax(percent, 0.0f), 100.0f);
    const int filled = static_cast<int>(bounded * kBarWidth / 100.0f);
    char number[16];
    std::snprintf(number, sizeof number, "%5.1f%%", static_cast<double>(bounded));
    return "[" + std::string(filled, '#') + std::string(kBarWidth - filled, '-') + "] " + number + " " + phase;
}

} // namespace korvane::maintenance
