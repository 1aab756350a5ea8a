#ifndef KORVANE_TOOLS_MAINTENANCE_MODULEHANDLE_H
#define KORVANE_TOOLS_MAINTENANCE_MODULEHANDLE_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "Extension_Unit_Class/Module_Handle.h"
#include "Extension_Unit_Class/Module_Identity.h"
#include "Extension_Unit_Class/camera_api.h"

namespace korvane::maintenance {

// One module reached through the control channel's flat API, as the tool
// names and uses it; the control library's Module_Handle underneath keeps
// the access record and the module's identity. Handles borrow from the
// process's camera list: making one with findAgain() rebuilds that list,
// so every handle made before must be gone by then.
class ModuleHandle
{
public:
    // Every module on the camera list, enumerated afresh, in list order.
    static std::vector<std::unique_ptr<ModuleHandle>> openAll();
    // The module at that index of the present camera list, or null.
    static std::unique_ptr<ModuleHandle> open(int index);
    // The module on /dev/video<node>; null, with the reason in error, when
    // there is none (or when this user may not open the node).
    static std::unique_ptr<ModuleHandle> openByNode(int node, std::string& error);
    // The video nodes the last enumeration could not open for want of permission.
    static std::vector<std::string> deniedNodes();
    // The module with that identity, building the camera list anew up to
    // rounds times with pause between; null when it did not come.
    static std::unique_ptr<ModuleHandle> findAgain(const Module_Identity& identity, int rounds,
                                                   std::chrono::milliseconds pause);

    ModuleHandle(const ModuleHandle&) = delete;
    ModuleHandle& operator=(const ModuleHandle&) = delete;

    _Device_Point_* device() const { return m_module->Device(); }
    const Module_Handle& handle() const { return *m_module; }
    const info_camera_os& information() const { return m_module->Information(); }
    // What finds this module again after it re-enumerates.
    const Module_Identity& identity() const { return m_module->Identity(); }
    // "/dev/videoN".
    std::string devicePath() const;
    // N of /dev/videoN, or -1.
    int deviceNode() const;
    // The chip protocol's model name ("UNKNOW" when no chip was recognised).
    std::string model() const;
    // "bcdDevice-bcdDevice-vid-serial", as the identification operation gives it.
    std::string identification() const;
    std::string serialNumber() const;

private:
    explicit ModuleHandle(std::unique_ptr<Module_Handle> module);

    std::unique_ptr<Module_Handle> m_module;
};

} // namespace korvane::maintenance

#endif
