#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "support/ChildProcess.h"

using namespace korvane::test;

namespace {

// KORVANE_VERSIONED_PROGRAMS: "path|path|...", every program the kit installs.
std::vector<std::string> programs()
{
    std::vector<std::string> paths;
    std::stringstream list(KORVANE_VERSIONED_PROGRAMS);
    for (std::string path; std::getline(list, path, '|');)
        if (!path.empty())
            paths.push_back(path);
    return paths;
}

std::string fileName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

} // namespace

TEST(ProgramVersion, EveryProgramShowsItsNameAndTheProjectVersion)
{
    const std::vector<std::string> paths = programs();
    ASSERT_GE(paths.size(), 6u);
    for (const std::string& path : paths) {
        int status = -1;
        const std::string out = runProgram({path, "--version"}, {}, status);
        EXPECT_EQ(status, 0) << path;
        EXPECT_EQ(out, fileName(path) + " " + KORVANE_EXPECTED_VERSION + "\n") << path;
    }
}

TEST(ProgramVersion, VersionAmongOtherArgumentsIsNotTakenForTheVersionRequest)
{
    for (const std::string& path : programs()) {
        int status = -1;
        const std::string out = runProgram({path, "--version", "--version"}, {}, status);
        EXPECT_EQ(out.find(std::string(" ") + KORVANE_EXPECTED_VERSION + "\n"), std::string::npos) << path;
    }
}
