#ifndef KORVANE_EMULATOR_VIRTUAL_TESTBED_H
#define KORVANE_EMULATOR_VIRTUAL_TESTBED_H

#include "camera/GuardedMutex.h"
#include "emulator/IoctlNode.h"
#include "emulator/ModuleConfig.h"
#include "emulator/VirtualModule.h"

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

typedef struct _UMockdevTestbed UMockdevTestbed;

namespace korvane::emulator {

// An emulated device tree (umockdev) holding virtual modules. Programs in
// this process, and children started with its environment, see the modules
// through libudev, open, VIDIOC_QUERYCAP and UVCIOC_CTRL_QUERY.
//
// Needs libumockdev-preload in LD_PRELOAD. Create it before other threads
// start: it sets UMOCKDEV_DIR in the environment.
class VirtualTestbed
{
public:
    // Throws std::runtime_error when the preload library is missing.
    VirtualTestbed();
    ~VirtualTestbed();
    VirtualTestbed(const VirtualTestbed&) = delete;
    VirtualTestbed& operator=(const VirtualTestbed&) = delete;

    // Adds a module and plugs it in. Throws std::invalid_argument for an
    // unknown chip or flash part.
    VirtualModule& Add_Module(const ModuleConfig& config);

    // Takes a module off the bus, or puts it back with its chip restarted.
    void Unplug(VirtualModule& module);
    void Replug(VirtualModule& module);
    bool Is_Plugged(const VirtualModule& module);
    // Waits until the module is (or is not) on the bus; false after the time-out.
    bool Wait_Until_Plugged(const VirtualModule& module, bool plugged, std::chrono::milliseconds timeout);
    // Waits until the module has been plugged in that many times in all
    // (its first appearance counts); false after the time-out.
    bool Wait_Until_Plugged_Times(const VirtualModule& module, int times, std::chrono::milliseconds timeout);

    // A module whose chip is told to restart leaves the bus and comes back
    // after this delay (default 1 s); with no delay it stays away until Replug.
    void Set_Restart_Delay(std::optional<std::chrono::milliseconds> delay);

    // The next time the module comes onto the bus, its video nodes start at that number.
    void Move_On_Reappearance(VirtualModule& module, int videoNumber);

    // The directory that stands in for / (its sys and dev).
    std::string Root_Dir() const;

private:
    struct Slot
    {
        std::unique_ptr<VirtualModule> module;
        bool plugged = false;
        int timesPlugged = 0;
        std::optional<int> nextVideoNumber;
        std::vector<IoctlNode*> liveNodes;
    };

    Slot& Slot_Of(const VirtualModule& module) KORVANE_REQUIRES(m_mutex);
    void Plug(Slot& slot) KORVANE_REQUIRES(m_mutex);
    void Take_Off_Bus(Slot& slot) KORVANE_REQUIRES(m_mutex);
    void On_Restart_Request(Slot& slot);
    void Restart_Worker();

    // Owned reference, set in the constructor. The calls that change the
    // device tree are made in Plug and Take_Off_Bus, which require m_mutex.
    UMockdevTestbed* m_testbed;
    GuardedMutex m_mutex; // guards m_testbed calls, m_slots, m_nodes, m_pendingRestarts, m_restartDelay, m_stopping
    std::condition_variable m_changed;
    // The slots' contents too; reached through Slot_Of and the slot pointers
    // of m_pendingRestarts, with m_mutex held.
    std::vector<std::unique_ptr<Slot>> m_slots KORVANE_GUARDED_BY(m_mutex);
    // Every node handler made; retired ones are kept for descriptors still connected to them.
    std::vector<std::unique_ptr<IoctlNode>> m_nodes KORVANE_GUARDED_BY(m_mutex);
    std::deque<Slot*> m_pendingRestarts KORVANE_GUARDED_BY(m_mutex);
    std::optional<std::chrono::milliseconds> m_restartDelay KORVANE_GUARDED_BY(m_mutex) =
        std::chrono::milliseconds(1000);
    bool m_stopping KORVANE_GUARDED_BY(m_mutex) = false;
    std::thread m_restartThread;
};

} // namespace korvane::emulator

#endif
