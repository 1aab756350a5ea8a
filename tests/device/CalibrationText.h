#ifndef KORVANE_TESTS_DEVICE_CALIBRATIONTEXT_H
#define KORVANE_TESTS_DEVICE_CALIBRATIONTEXT_H

#include <sstream>
#include <string>

namespace korvane::test {

// A calibration file's text without the lines of one top-level key.
inline std::string withoutKey(const std::string& text, const std::string& key)
{
    std::istringstream lines(text);
    std::string out;
    std::string line;
    bool skipping = false;
    while (std::getline(lines, line)) {
        if (!line.empty() && line[0] != ' ')
            skipping = line.rfind(key + ":", 0) == 0;
        if (!skipping)
            out += line + "\n";
    }
    return out;
}

} // namespace korvane::test

#endif
