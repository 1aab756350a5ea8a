#ifndef KORVANE_TOOLS_MAINTENANCE_STANDARDERRORPIPE_H
#define KORVANE_TOOLS_MAINTENANCE_STANDARDERRORPIPE_H

#include <functional>
#include <string>
#include <thread>

namespace korvane::maintenance {

// Sends what this process writes on descriptor 2 through a pipe to a reader
// thread, which hands each piece to the consumer, until stop(). The
// consumer runs on the reader thread; what it returns is written to the
// original standard error.
class StandardErrorPipe
{
public:
    using Consumer = std::function<std::string(const std::string&)>;

    explicit StandardErrorPipe(Consumer consumer);
    ~StandardErrorPipe();
    StandardErrorPipe(const StandardErrorPipe&) = delete;
    StandardErrorPipe& operator=(const StandardErrorPipe&) = delete;

    // False when the pipe could not be set up: standard error then stays as it was.
    bool started() const { return m_saved >= 0; }
    // Puts standard error back and waits until the reader has taken everything.
    void stop();

private:
    void readUntilClosed(int readEnd);

    Consumer m_consumer;
    int m_saved = -1; // the original descriptor 2
    std::thread m_reader;
};

} // namespace korvane::maintenance

#endif
