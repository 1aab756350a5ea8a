#ifndef KORVANE_EMULATOR_IOCTL_NODE_H
#define KORVANE_EMULATOR_IOCTL_NODE_H

#include "emulator/ModuleConfig.h"
#include "emulator/VirtualModule.h"

#include <atomic>
#include <string>

typedef struct _UMockdevIoctlBase UMockdevIoctlBase;
typedef struct _UMockdevIoctlClient UMockdevIoctlClient;

namespace korvane::emulator {

// The ioctl handler of one emulated /dev/videoN node: answers
// VIDIOC_QUERYCAP and, on a capture node, UVCIOC_CTRL_QUERY from its
// module. Runs on the testbed's handler thread.
class IoctlNode
{
public:
    IoctlNode(VirtualModule& module, const VideoNodeConfig& node);
    ~IoctlNode();
    IoctlNode(const IoctlNode&) = delete;
    IoctlNode& operator=(const IoctlNode&) = delete;

    UMockdevIoctlBase* Handler() const { return m_handler; }
    const std::string& Path() const { return m_path; }
    // After the module left: descriptors still connected get ENODEV.
    void Retire() { m_retired = true; }

private:
    static int On_Ioctl(UMockdevIoctlBase* handler, UMockdevIoctlClient* client, void* self);
    bool Handle(UMockdevIoctlClient* client);
    void Answer_Capability(UMockdevIoctlClient* client);
    void Answer_Extension_Unit(UMockdevIoctlClient* client);

    VirtualModule& m_module;
    VideoNodeConfig m_node;
    std::string m_path;
    UMockdevIoctlBase* m_handler; // owned reference
    std::atomic<bool> m_retired{false};
};

} // namespace korvane::emulator

#endif
