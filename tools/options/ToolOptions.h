#ifndef KORVANE_TOOLS_TOOLOPTIONS_H
#define KORVANE_TOOLS_TOOLOPTIONS_H

// What the command-line programs share around their own option parsing: the
// help and bad-argument exits, and value readers whose refusals name the
// option and the text it was given.

#include <functional>
#include <optional>
#include <string>

#include <opencv2/core/types.hpp>

// The exit status of a program given bad arguments.
constexpr int kBadArgumentsStatus = 2;

// --version alone prints the program's name and the kit's version on
// stdout and ends with 0. --help or -h alone prints the usage text on stdout and ends with 0; when
// `parse` refuses the arguments, "<program>: <its error>" and the usage go
// to stderr and the program ends with 2. Empty when it goes on with its
// parsed options.
std::optional<int> helpOrBadArguments(int argc, char** argv, const std::function<bool(std::string& error)>& parse,
                                      const char* program, const char* usage);

// "unknown option '<word>'", or "unexpected argument '<word>'" for a word
// that is no option.
std::string unknownArgument(const std::string& word);

// "<option> needs <what>, not '<text>'".
std::string badValue(const std::string& option, const std::string& what, const std::string& text);

// The value after an option at argv[index], moving index onto it; false,
// with "<option> needs a value" in error, when the option ends the line.
bool takeValue(int argc, char** argv, int& index, const char*& value, std::string& error);

// A whole text that is a decimal whole number from min to max; value is
// left as it was otherwise and error names the option and the text.
bool readWholeNumber(const std::string& option, const char* text, long min, long max, int& value,
                     std::string& error);

// A whole text that is a number, zero or more.
bool readNonNegative(const std::string& option, const char* text, double& value, std::string& error);

// "WIDTHxHEIGHT", both positive whole numbers.
bool readSize(const std::string& option, const char* text, int& width, int& height, std::string& error);

// A whole text WxH that is one of a module's two frame sizes; a refusal
// names `first` before the other one ("<option> needs 928x400 or 1856x800").
bool readModuleSize(const std::string& option, const char* text, const cv::Size& first, cv::Size& size,
                    std::string& error);

#endif
