#ifndef KORVANE_TESTS_CAPTURESTREAM_H
#define KORVANE_TESTS_CAPTURESTREAM_H

#include <string>

namespace korvane::test {

// Redirects a file descriptor (1 or 2) into a temporary file until text()
// or destruction, so that a test sees exactly the bytes written to it,
// through C stdio and C++ streams alike.
class CaptureStream
{
public:
    explicit CaptureStream(int fd);
    ~CaptureStream();
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

    // Ends the capture and returns what was written.
    std::string text();

private:
    void restore();

    int m_fd;
    int m_saved = -1;
    int m_file = -1;
    std::string m_text;
};

// Captures standard output or standard error around a call.
template <typename F>
std::string stdoutOf(F&& f)
{
    CaptureStream capture(1);
    f();
    return capture.text();
}

template <typename F>
std::string stderrOf(F&& f)
{
    CaptureStream capture(2);
    f();
    return capture.text();
}

} // namespace korvane::test

#endif
