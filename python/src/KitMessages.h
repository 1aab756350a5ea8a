#ifndef KORVANE_PYTHON_KITMESSAGES_H
#define KORVANE_PYTHON_KITMESSAGES_H

#include <functional>
#include <string>

namespace korvane::python {

// Turns a kit call that returns false into a RuntimeError that carries what
// the kit said about it on the standard error stream (which the kit writes
// its file messages to); the text is taken off the stream meanwhile.
class KitMessages
{
public:
    // Runs call; when it returns false raises RuntimeError with `failure`,
    // then the kit's lines, if any, after a colon.
    static void check(const std::function<bool()>& call, const std::string& failure);
};

} // namespace korvane::python

#endif
