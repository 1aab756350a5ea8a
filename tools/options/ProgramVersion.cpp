#include "ProgramVersion.h"

#include <cstdio>
#include <cstring>

#include "camera/KorvaneVersion.h"

std::optional<int> versionIfAsked(int argc, char** argv, const char* program)
{
    if (argc != 2 || std::strcmp(argv[1], "--version") != 0)
        return std::nullopt;
    std::printf("%s %s\n", program, KORVANE_VERSION);
    return 0;
}
