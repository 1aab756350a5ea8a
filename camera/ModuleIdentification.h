#ifndef KORVANE_CAMERA_MODULEIDENTIFICATION_H
#define KORVANE_CAMERA_MODULEIDENTIFICATION_H

#include <string>

struct _Device_Point_;
struct _info_camera_os_;

// A module's identification string: bcdDevice, bcdDevice again, vid and the
// USB serial number, in decimal without padding ("256-256-1234-A1").
std::string moduleIdentification(_Device_Point_* device, const _info_camera_os_& info);

#endif
