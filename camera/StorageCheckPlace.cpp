#include "StorageText.h"

#include <dlfcn.h>
#include <unistd.h>

// Where the trial parser korvane-storage-check is. The shared library finds
// it from its own place: next to it in the build tree, under libexec when
// installed. The kit's own programs, which hold this code themselves, look
// under libexec from their bin directory, then where the build put it.
// KORVANE_STORAGE_CHECK_FROM_HERE is the way from the directory of the file
// that holds this code to the parser's installed directory.

namespace korvane {

namespace {

bool isExecutable(const std::string& path) { return access(path.c_str(), X_OK) == 0; }

std::string directoryOfThisCode()
{
    Dl_info info{};
    if (dladdr(reinterpret_cast<void*>(&storageCheckProgram), &info) == 0 || !info.dli_fname)
        return {};
    const std::string file = info.dli_fname;
    const size_t slash = file.rfind('/');
    return slash == std::string::npos ? "." : file.substr(0, slash);
}

} // namespace

std::string storageCheckProgram()
{
    const std::string directory = directoryOfThisCode();
    if (!directory.empty())
        for (const std::string& candidate :
             {directory + "/" + kStorageCheckName,
              directory + "/" + KORVANE_STORAGE_CHECK_FROM_HERE + "/" + kStorageCheckName})
            if (isExecutable(candidate))
                return candidate;
#ifdef KORVANE_STORAGE_CHECK_BUILD_PATH
    if (isExecutable(KORVANE_STORAGE_CHECK_BUILD_PATH))
        return KORVANE_STORAGE_CHECK_BUILD_PATH;
#endif
    return {};
}

} // namespace korvane
