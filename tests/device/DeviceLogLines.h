#ifndef KORVANE_TESTS_DEVICE_DEVICELOGLINES_H
#define KORVANE_TESTS_DEVICE_DEVICELOGLINES_H

#include <string>

namespace korvane::test {

// Lines of the device camera's log, as printed with their colours.
inline std::string errorLine(const std::string& text)
{
    return "\033[1m\033[31m[KorvaneCameraSDK][ERROR] " + text + "\033[0m";
}
inline std::string warningLine(const std::string& text)
{
    return "\033[1m\033[33m[KorvaneCameraSDK][WARNING] " + text + "\033[0m";
}
inline std::string infoLine(const std::string& text) { return "\033[32m[KorvaneCameraSDK][INFO] " + text + "\033[0m"; }

const std::string kLoaded = infoLine("Load camera flash parameters OK!\n");
const std::string kCannotGet = errorLine("This camera cannot get internal parameters!\n") +
                               errorLine("You should flash the calibration parameters or load it from disk.\n");
const std::string kReleased = infoLine("Korvane camera resource has released.\n");

} // namespace korvane::test

#endif
