#include "Extension_Unit_Class/camera_api.h"

namespace {
// The library's log stream; the control channel is called from one thread at a time.
FILE* g_logStream = nullptr;
} // namespace

void SetLog(FILE* stream) { g_logStream = stream; }

FILE* Camera_Log_Stream() { return g_logStream; }
