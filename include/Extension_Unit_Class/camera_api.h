#ifndef KORVANE_EXTENSION_UNIT_CAMERA_API_H
#define KORVANE_EXTENSION_UNIT_CAMERA_API_H

// The flat API of the camera control channel.

#include <cstdio>

// Sets the library's log stream; null switches logging off.
void SetLog(FILE* stream);

// The library's log stream (null when logging is off).
FILE* Camera_Log_Stream();

#endif
