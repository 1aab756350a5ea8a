#ifndef KORVANE_CAMERA_SYSTEMLOG_H
#define KORVANE_CAMERA_SYSTEMLOG_H

#include <string>
#include "camera/KorvaneCameraExport.h"

// Levelled, coloured, printf-style console log of one named component.
// Every message goes to standard output as: colour sequence, "[name]",
// level label, the caller's text (which carries its own line end), "\033[0m".
// Level gates: errors at 0 and above, information and warnings at 1 and
// above, the three debug kinds at 2 and above; -1 silences everything.
class KORVANE_CAMERA_EXPORT SystemLog
{
public:
    explicit SystemLog(std::string name);

    void setLogLevel(int level);

    void runTimeError(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void runTimeInfo(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void runTimeWarning(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void debugTimeWarning(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void debugTimeInfo(const char* format, ...) __attribute__((format(printf, 2, 3)));
    void debugTimeError(const char* format, ...) __attribute__((format(printf, 2, 3)));

    // Sets the save switch. No operation writes log lines to a file; the
    // switch and the file name are kept for callers.
    void saveLog();
    // Sets the save switch and the file name to name + ".log".
    void saveLogToFile(std::string name);

    int level() const { return m_level; }
    bool saveSwitch() const { return m_save; }
    const std::string& tag() const { return m_tag; }
    const std::string& fileName() const { return m_fileName; }

private:
    int m_level = 0;
    bool m_save = false;
    std::string m_tag;
    std::string m_fileName;
};

#endif
