#include "KitMessages.h"

#include <iostream>
#include <sstream>

#include <pybind11/pybind11.h>

namespace korvane::python {

namespace {

// OpenCV's own log lines ("[ WARN:0@...] global ...") are not the kit's.
bool fromOpenCv(const std::string& line) { return line.rfind("[", 0) == 0 && line.find("] global ") != std::string::npos; }

// Joins the kit's captured lines with "; "; OpenCV's go on to the stream.
std::string kitLines(const std::string& text)
{
    std::istringstream lines(text);
    std::string line;
    std::string joined;
    while (std::getline(lines, line)) {
        if (fromOpenCv(line))
            std::cerr << line << '\n';
        else if (!line.empty())
            joined += (joined.empty() ? "" : "; ") + line;
    }
    return joined;
}

} // namespace

void KitMessages::check(const std::function<bool()>& call, const std::string& failure)
{
    std::ostringstream captured;
    std::streambuf* previous = std::cerr.rdbuf(captured.rdbuf());
    bool ok = false;
    try {
        ok = call();
    } catch (...) {
        std::cerr.rdbuf(previous);
        throw;
    }
    std::cerr.rdbuf(previous);
    if (ok) {
        std::cerr << captured.str(); // warnings of a call that worked go where they were going
        return;
    }
    const std::string said = kitLines(captured.str());
    throw std::runtime_error(said.empty() ? failure : failure + ": " + said);
}

} // namespace korvane::python
