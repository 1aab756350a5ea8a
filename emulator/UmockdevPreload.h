#ifndef KORVANE_EMULATOR_UMOCKDEV_PRELOAD_H
#define KORVANE_EMULATOR_UMOCKDEV_PRELOAD_H

#include <string>

namespace korvane::emulator {

// True when libumockdev-preload is in LD_PRELOAD.
bool Umockdev_Preloaded();

// LD_PRELOAD with the umockdev preload library added to the given value;
// a loaded AddressSanitizer runtime is put first, as it must be.
std::string Preload_With_Umockdev(const char* currentPreload);

// Runs this program again through /proc/self/exe with the preload library,
// unless it is loaded already. Returns only when it is (or when the
// re-execution failed, which is reported on standard error).
void Ensure_Umockdev_Preload(char** argv);

} // namespace korvane::emulator

#endif
