#include "emulator/UmockdevPreload.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>

#include <unistd.h>

namespace korvane::emulator {

namespace {

constexpr const char* kPreloadLibrary = "libumockdev-preload.so.0";

// The path of the AddressSanitizer runtime mapped into this process, if any.
std::string Loaded_Asan_Runtime()
{
    std::ifstream maps("/proc/self/maps");
    std::string line;
    while (std::getline(maps, line)) {
        const auto slash = line.find('/');
        if (slash != std::string::npos && line.find("libasan.so", slash) != std::string::npos)
            return line.substr(slash);
    }
    return {};
}

} // namespace

bool Umockdev_Preloaded()
{
    const char* preload = std::getenv("LD_PRELOAD");
    return preload && std::strstr(preload, "libumockdev-preload");
}

std::string Preload_With_Umockdev(const char* currentPreload)
{
    std::string preload;
    const std::string asan = Loaded_Asan_Runtime();
    if (!asan.empty())
        preload = asan + ":";
    preload += kPreloadLibrary;
    if (currentPreload && *currentPreload)
        preload += std::string(":") + currentPreload;
    return preload;
}

void Ensure_Umockdev_Preload(char** argv)
{
    if (Umockdev_Preloaded())
        return;
    const std::string preload = Preload_With_Umockdev(std::getenv("LD_PRELOAD"));
    setenv("LD_PRELOAD", preload.c_str(), 1);
    execv("/proc/self/exe", argv);
    std::fprintf(stderr, "cannot run %s again with %s: %s\n", argv[0], kPreloadLibrary, std::strerror(errno));
}

} // namespace korvane::emulator
