// Runs a program against virtual modules, for development without a module:
//   korvane-virtual-module [--module OPTIONS]... [--webcam N]... -- PROGRAM [ARGS...]

#include "emulator/ChipProfile.h"
#include "emulator/FlashPart.h"
#include "emulator/ModuleOptions.h"
#include "emulator/QueryFormat.h"
#include "emulator/UmockdevPreload.h"
#include "emulator/VirtualTestbed.h"
#include "tools/options/ProgramVersion.h"

#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fstream>
#include <string>
#include <vector>

#include <spawn.h>
#include <sys/wait.h>

extern char** environ;

namespace {

using namespace korvane::emulator;

struct Launch
{
    std::vector<ModuleConfig> modules;
    std::optional<std::chrono::milliseconds> restartDelay = std::chrono::milliseconds(1000);
    std::string queryLog;
    std::vector<char*> program;
};

void Print_Usage(FILE* out)
{
    std::fprintf(out,
                 "usage: korvane-virtual-module [options] -- PROGRAM [ARGS...]\n"
                 "Runs PROGRAM with virtual camera modules on emulated /dev/videoN nodes.\n\n"
                 "  --module OPTIONS     add a module; OPTIONS are key=value pairs separated by commas:\n"
                 "                       chip (see below; empty for a webcam), video, meta (metadata node),\n"
                 "                       vid, pid (hex), bcd, serial, manufacturer, product, bus, dev,\n"
                 "                       flash (part name), piece (the piece length the chip reports,\n"
                 "                       1..65536; 65536 reads as 0), firmware=FILE (flash contents from\n"
                 "                       address 0), and faults: fail=N or fail=SS:N (query N, counted\n"
                 "                       from 0, of any selector or of selector SS in hex fails with\n"
                 "                       EIO), power-loss=N (the power fails after N queries; the module\n"
                 "                       comes back after the restart delay with what its flash holds),\n"
                 "                       stuck=ADDR[:BITS] (hex: flash bits programming cannot clear,\n"
                 "                       a read-back difference). Default: --module chip=2620,video=0\n"
                 "  --webcam N           add an ordinary webcam on /dev/videoN\n"
                 "  --restart-delay MS   a module told to restart comes back after MS ms (default 1000);\n"
                 "                       'never' keeps it away (a module that never reappears)\n"
                 "  --query-log FILE     write every extension-unit query to FILE at the end\n"
                 "  --help               show this text\n\nchips:");
    for (const ChipProfile& chip : Chip_Profiles())
        std::fprintf(out, " %s", chip.name);
    std::fprintf(out, "\nflash parts:");
    for (const FlashPart& part : Flash_Parts())
        std::fprintf(out, " %s", part.name);
    std::fprintf(out, "\n");
}

// Throws std::invalid_argument on a bad command line.
Launch Parse_Arguments(int argc, char** argv)
{
    Launch launch;
    int i = 1;
    for (; i < argc && std::strcmp(argv[i], "--") != 0; ++i) {
        const std::string option = argv[i];
        if (i + 1 >= argc)
            throw std::invalid_argument("missing value after " + option);
        const std::string value = argv[++i];
        if (option == "--module")
            launch.modules.push_back(Parse_Module_Options(value));
        else if (option == "--webcam")
            launch.modules.push_back(Plain_Webcam(std::stoi(value)));
        else if (option == "--restart-delay" && value == "never")
            launch.restartDelay.reset();
        else if (option == "--restart-delay")
            launch.restartDelay = std::chrono::milliseconds(std::stoi(value));
        else if (option == "--query-log")
            launch.queryLog = value;
        else
            throw std::invalid_argument("unknown option " + option);
    }
    for (++i; i < argc; ++i)
        launch.program.push_back(argv[i]);
    if (launch.program.empty())
        throw std::invalid_argument("no program given after --");
    launch.program.push_back(nullptr);
    if (launch.modules.empty())
        launch.modules.push_back(Camera_Module("2620", 0));
    return launch;
}

bool Wants_Help(int argc, char** argv)
{
    return argc < 2 || std::strcmp(argv[1], "--help") == 0 || std::strcmp(argv[1], "-h") == 0;
}

// Starts the program with this process's environment (LD_PRELOAD and
// UMOCKDEV_DIR included) and an empty signal mask; returns its exit status.
int Run_Program(const Launch& launch)
{
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_setsigmask(&attributes, &none);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    pid_t child = 0;
    const int error = posix_spawnp(&child, launch.program[0], nullptr, &attributes, launch.program.data(), environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        std::fprintf(stderr, "korvane-virtual-module: cannot start %s: %s\n", launch.program[0], std::strerror(error));
        return 127;
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

void Write_Query_Log(const std::string& path, const std::vector<VirtualModule*>& modules)
{
    std::ofstream out(path);
    for (VirtualModule* module : modules)
        for (const QueryRecord& record : module->Queries())
            out << Format_Query(record) << '\n';
}

} // namespace

int main(int argc, char** argv)
{
    if (const std::optional<int> status = versionIfAsked(argc, argv, "korvane-virtual-module"))
        return *status;
    if (Wants_Help(argc, argv)) {
        Print_Usage(argc < 2 ? stderr : stdout);
        return argc < 2 ? 2 : 0;
    }
    Launch launch;
    try {
        launch = Parse_Arguments(argc, argv);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "korvane-virtual-module: %s\n", error.what());
        return 2;
    }
    Ensure_Umockdev_Preload(argv);

    // Blocked before the testbed's thread starts, so that it cannot take the
    // child's SIGCHLD; interrupts go to the program, and the testbed is
    // cleaned up after it ends.
    sigset_t blocked;
    sigemptyset(&blocked);
    sigaddset(&blocked, SIGCHLD);
    sigaddset(&blocked, SIGINT);
    sigaddset(&blocked, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &blocked, nullptr);

    try {
        VirtualTestbed testbed;
        testbed.Set_Restart_Delay(launch.restartDelay);
        std::vector<VirtualModule*> modules;
        for (const ModuleConfig& config : launch.modules)
            modules.push_back(&testbed.Add_Module(config));
        const int status = Run_Program(launch);
        if (!launch.queryLog.empty())
            Write_Query_Log(launch.queryLog, modules);
        return status;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "korvane-virtual-module: %s\n", error.what());
        return 2;
    }
}
