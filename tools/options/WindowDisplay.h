#ifndef KORVANE_TOOLS_WINDOWDISPLAY_H
#define KORVANE_TOOLS_WINDOWDISPLAY_H

// True when the session names a display that windows can go to (DISPLAY or
// WAYLAND_DISPLAY is set and not empty). Without one the window toolkit
// aborts the program at its first window call.
bool windowDisplayNamed();

// Why no window can be shown when windowDisplayNamed() is false.
constexpr const char* kNoWindowDisplay = "DISPLAY and WAYLAND_DISPLAY are empty";

#endif
