#ifndef KORVANE_CAMERA_STORAGETEXT_H
#define KORVANE_CAMERA_STORAGETEXT_H

// Internal: a look at a settings file before the storage parser reads it in
// this process. The video library's parser crashes or loops for ever on some
// malformed input, so a file is refused when it holds bytes no YAML, XML or
// JSON text holds, or when a trial parse by the program korvane-storage-check
// faults or loops past a limit of processor time. The parse runs in a
// program of its own, started with posix_spawn, so that a process with
// threads never forks.
// Not installed.

#include <cstddef>
#include <string>

namespace korvane {

enum class StorageText {
    Unreadable, // could not be read; the parser reports it in its own way
    Text,       // may go to the parser
    Refused     // NUL bytes, too large, or the trial parse faulted or hung
};

// Largest file accepted, far above any configuration or calibration file.
constexpr size_t kMaxStorageFileBytes = 16u << 20;

// Decision on the bytes alone.
StorageText classifyStorageBytes(const std::string& bytes);

// Processor time a trial parse may use: a fixed part (1000 ms unless set),
// and a part per MiB of text, both far above what the parser needs. It is
// processor time, not time on the clock, so that a loaded machine does not
// refuse good files. A parse that blocks (on a pipe, say) uses none and is
// ended by the clock, kTrialParseBlockedMilliseconds after that limit.
constexpr int kTrialParseMillisecondsPerMiB = 250;
constexpr int kTrialParseBlockedMilliseconds = 30000;
void setTrialParseBaseMilliseconds(int milliseconds);

// Path of the trial parser program, or "" when it is not found. Compiled
// apart for the shared library and for the kit's own statically linked
// programs (StorageCheckPlace.cpp), which look in different places.
constexpr const char* kStorageCheckName = "korvane-storage-check";
std::string storageCheckProgram();

// Reads the file as the parser will see it (decompressed when the name ends
// in ".gz"), classifies the bytes, then has the trial parser read it once.
StorageText inspectStorageFile(const std::string& fileName);

// Has korvane-storage-check parse the file and visit every node; true when
// it ended normally within the limit of processor time (a parse error is
// normal). Without that program (a broken installation) true, said once on
// standard error.
bool trialParseSucceeds(const std::string& fileName, int milliseconds);
bool trialParseSucceeds(const std::string& fileName, int milliseconds, int blockedMilliseconds);

} // namespace korvane

#endif
