#ifndef KORVANE_EMULATOR_MODULE_SYSFS_H
#define KORVANE_EMULATOR_MODULE_SYSFS_H

#include "emulator/ModuleConfig.h"

#include <string>
#include <vector>

namespace korvane::emulator {

// Where a module's devices live in the emulated sysfs and how umockdev is
// told about them.
class ModuleSysfs
{
public:
    explicit ModuleSysfs(const ModuleConfig& config);

    // The umockdev description of the USB device, its video interface and
    // its video nodes, parents first.
    std::string Description() const;
    // The devices' /sys paths, parents first.
    std::vector<std::string> Device_Paths() const;

private:
    std::string Usb_Path() const;
    std::string Interface_Path() const;
    std::string Node_Path(const VideoNodeConfig& node) const;

    const ModuleConfig& m_config;
};

} // namespace korvane::emulator

#endif
