#ifndef KORVANE_FUZZ_FUZZCAMERA_H
#define KORVANE_FUZZ_FUZZCAMERA_H

#include <cstddef>
#include <cstdint>
#include <string>

#include "camera/StereoCamera.h"

namespace korvane::fuzz {

// One camera for the whole run, on a device number no machine has.
StereoCamera& camera();

// Holds the fuzzer's bytes in an anonymous in-memory file and names it by a
// /proc path, so the loaders read them as a file without touching the disk.
// The loader recognises YAML, XML and JSON by their content.
class MemoryFile
{
public:
    MemoryFile(const uint8_t* data, size_t size);
    ~MemoryFile();
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;
    const std::string& path() const { return m_path; }

private:
    int m_fd = -1;
    std::string m_path;
};

} // namespace korvane::fuzz

#endif
