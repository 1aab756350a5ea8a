#ifndef KORVANE_TOOLS_PROGRAMVERSION_H
#define KORVANE_TOOLS_PROGRAMVERSION_H

#include <optional>

// --version alone prints "<program> <kit version>" on stdout; the program
// then ends with the status returned. Empty for any other command line.
std::optional<int> versionIfAsked(int argc, char** argv, const char* program);

#endif
