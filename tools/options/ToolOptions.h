#ifndef KORVANE_TOOLS_TOOLOPTIONS_H
#define KORVANE_TOOLS_TOOLOPTIONS_H

// What the small command-line tools share around their own option parsing:
// the help and bad-argument exits and whole-text number values.

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <optional>

// --help or -h alone prints the usage text on stdout and ends with 0;
// arguments `parse` rejects print it on stderr and end with 2. Empty when
// the tool goes on with its parsed options.
inline std::optional<int> helpOrBadArguments(int argc, char** argv, const std::function<bool()>& parse,
                                             const char* usage)
{
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(usage, stdout);
        return 0;
    }
    if (!parse()) {
        std::fputs(usage, stderr);
        return 2;
    }
    return std::nullopt;
}

// A whole text that is a number, zero or more.
inline bool readNonNegative(const char* text, double& value)
{
    char* end = nullptr;
    errno = 0;
    value = std::strtod(text, &end);
    return errno == 0 && end != text && *end == '\0' && value >= 0;
}

// A whole text that is a decimal whole number from 0 to 1000000000; `value`
// is left as it was otherwise.
inline bool readCount(const char* text, int& value)
{
    char* end = nullptr;
    errno = 0;
    const long v = std::strtol(text, &end, 10);
    if (errno != 0 || end == text || *end != '\0' || v < 0 || v > 1000000000)
        return false;
    value = static_cast<int>(v);
    return true;
}

#endif
