#include "ToolOptions.h"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "ProgramVersion.h"
#include "camera/ModuleFrameSize.h"

namespace {

// How a whole number from min to max is asked for.
std::string wholeNumberWanted(long min, long max)
{
    if (min == 1 && max >= INT_MAX)
        return "a positive whole number";
    if (min == 0 && max >= INT_MAX)
        return "a whole number, 0 or more";
    if (min <= INT_MIN && max >= INT_MAX)
        return "a whole number";
    return "a whole number from " + std::to_string(min) + " to " + std::to_string(max);
}

// A decimal whole number making up the whole text.
bool parseLong(const char* text, long& value)
{
    char* end = nullptr;
    errno = 0;
    value = std::strtol(text, &end, 10);
    return errno == 0 && end != text && *end == '\0';
}

} // namespace

std::optional<int> helpOrBadArguments(int argc, char** argv, const std::function<bool(std::string& error)>& parse,
                                      const char* program, const char* usage)
{
    if (const std::optional<int> status = versionIfAsked(argc, argv, program))
        return status;
    if (argc == 2 && (std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0)) {
        std::fputs(usage, stdout);
        return 0;
    }
    std::string error;
    if (!parse(error)) {
        std::fprintf(stderr, "%s: %s\n", program, error.c_str());
        std::fputs(usage, stderr);
        return kBadArgumentsStatus;
    }
    return std::nullopt;
}

std::string unknownArgument(const std::string& word)
{
    const bool option = word.size() > 1 && word[0] == '-';
    return std::string(option ? "unknown option '" : "unexpected argument '") + word + "'";
}

std::string badValue(const std::string& option, const std::string& what, const std::string& text)
{
    return option + " needs " + what + ", not '" + text + "'";
}

bool takeValue(int argc, char** argv, int& index, const char*& value, std::string& error)
{
    if (index + 1 >= argc) {
        error = std::string(argv[index]) + " needs a value";
        return false;
    }
    value = argv[++index];
    return true;
}

bool readWholeNumber(const std::string& option, const char* text, long min, long max, int& value,
                     std::string& error)
{
    long number = 0;
    // Leading blanks are not part of a number here.
    const bool plain = !std::isspace(static_cast<unsigned char>(*text));
    if (!plain || !parseLong(text, number) || number < min || number > max || number < INT_MIN || number > INT_MAX) {
        error = badValue(option, wholeNumberWanted(min, max), text);
        return false;
    }
    value = static_cast<int>(number);
    return true;
}

bool readNonNegative(const std::string& option, const char* text, double& value, std::string& error)
{
    char* end = nullptr;
    errno = 0;
    const double number = std::strtod(text, &end);
    if (errno != 0 || end == text || *end != '\0' || !(number >= 0)) {
        error = badValue(option, "a number, 0 or more", text);
        return false;
    }
    value = number;
    return true;
}

bool readSize(const std::string& option, const char* text, int& width, int& height, std::string& error)
{
    const char* x = std::strchr(text, 'x');
    long w = 0;
    long h = 0;
    const std::string first = x ? std::string(text, x) : std::string();
    const bool read = x && std::isdigit(static_cast<unsigned char>(*text)) &&
                      std::isdigit(static_cast<unsigned char>(x[1])) && parseLong(first.c_str(), w) &&
                      parseLong(x + 1, h) && w > 0 && h > 0 && w <= INT_MAX && h <= INT_MAX;
    if (!read) {
        error = badValue(option, "WIDTHxHEIGHT in positive whole numbers", text);
        return false;
    }
    width = static_cast<int>(w);
    height = static_cast<int>(h);
    return true;
}

bool readModuleSize(const std::string& option, const char* text, const cv::Size& first, cv::Size& size,
                    std::string& error)
{
    cv::Size read;
    if (readSize(option, text, read.width, read.height, error) && korvane::isModuleFrameSize(read)) {
        size = read;
        return true;
    }
    const cv::Size& second = first == korvane::kFullModuleFrame ? korvane::kHalfModuleFrame : korvane::kFullModuleFrame;
    const auto name = [](const cv::Size& s) { return std::to_string(s.width) + "x" + std::to_string(s.height); };
    error = badValue(option, name(first) + " or " + name(second), text);
    return false;
}
