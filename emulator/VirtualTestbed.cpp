#include "emulator/VirtualTestbed.h"

#include "emulator/ModuleSysfs.h"
#include "emulator/UmockdevPreload.h"

#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <umockdev.h>

namespace korvane::emulator {

namespace {

std::string Take_Error(GError* error)
{
    std::string message = error ? error->message : "unknown error";
    if (error)
        g_error_free(error);
    return message;
}

} // namespace

VirtualTestbed::VirtualTestbed()
{
    if (!Umockdev_Preloaded())
        throw std::runtime_error("the virtual modules need libumockdev-preload.so.0 in LD_PRELOAD");
    m_testbed = umockdev_testbed_new();
    m_restartThread = std::thread(&VirtualTestbed::Restart_Worker, this);
}

VirtualTestbed::~VirtualTestbed()
{
    {
        GuardedMutex::Lock lock(m_mutex);
        m_stopping = true;
    }
    m_changed.notify_all();
    m_restartThread.join();
    g_object_unref(m_testbed);
}

std::string VirtualTestbed::Root_Dir() const
{
    gchar* root = umockdev_testbed_get_root_dir(m_testbed);
    std::string path = root;
    g_free(root);
    return path;
}

VirtualModule& VirtualTestbed::Add_Module(const ModuleConfig& config)
{
    auto slot = std::make_unique<Slot>();
    slot->module = std::make_unique<VirtualModule>(config);
    Slot* added = slot.get();
    added->module->Set_Restart_Listener([this, added] { On_Restart_Request(*added); });
    GuardedMutex::Lock lock(m_mutex);
    m_slots.push_back(std::move(slot));
    Plug(*added);
    return *added->module;
}

VirtualTestbed::Slot& VirtualTestbed::Slot_Of(const VirtualModule& module)
{
    for (auto& slot : m_slots)
        if (slot->module.get() == &module)
            return *slot;
    throw std::invalid_argument("module of another testbed");
}

// Handlers are attached before the devices appear, so that a client reacting
// to the add event never meets a node without them.
void VirtualTestbed::Plug(Slot& slot)
{
    VirtualModule& module = *slot.module;
    if (slot.nextVideoNumber) {
        module.Renumber(*slot.nextVideoNumber);
        slot.nextVideoNumber.reset();
    }
    for (const VideoNodeConfig& node : module.Config().nodes) {
        m_nodes.push_back(std::make_unique<IoctlNode>(module, node));
        IoctlNode& handler = *m_nodes.back();
        GError* error = nullptr;
        if (!umockdev_testbed_attach_ioctl(m_testbed, handler.Path().c_str(), handler.Handler(), &error))
            throw std::runtime_error("cannot attach " + handler.Path() + ": " + Take_Error(error));
        slot.liveNodes.push_back(&handler);
    }
    const ModuleSysfs sysfs(module.Config());
    GError* error = nullptr;
    if (!umockdev_testbed_add_from_string(m_testbed, sysfs.Description().c_str(), &error))
        throw std::runtime_error("cannot add a module: " + Take_Error(error));
    for (const std::string& path : sysfs.Device_Paths())
        umockdev_testbed_uevent(m_testbed, path.c_str(), "add");
    slot.plugged = true;
    ++slot.timesPlugged;
    m_changed.notify_all();
}

// Children go first, each announced before it goes: removing a parent
// leaves its children's nodes behind.
void VirtualTestbed::Take_Off_Bus(Slot& slot)
{
    if (!slot.plugged)
        return;
    const std::vector<std::string> paths = ModuleSysfs(slot.module->Config()).Device_Paths();
    for (auto path = paths.rbegin(); path != paths.rend(); ++path) {
        umockdev_testbed_uevent(m_testbed, path->c_str(), "remove");
        umockdev_testbed_remove_device(m_testbed, path->c_str());
    }
    for (IoctlNode* node : slot.liveNodes) {
        node->Retire();
        umockdev_testbed_detach_ioctl(m_testbed, node->Path().c_str(), nullptr);
    }
    slot.liveNodes.clear();
    slot.plugged = false;
    m_changed.notify_all();
}

void VirtualTestbed::Unplug(VirtualModule& module)
{
    GuardedMutex::Lock lock(m_mutex);
    Take_Off_Bus(Slot_Of(module));
}

void VirtualTestbed::Replug(VirtualModule& module)
{
    GuardedMutex::Lock lock(m_mutex);
    Slot& slot = Slot_Of(module);
    if (slot.plugged)
        return;
    module.Restart_Chip();
    Plug(slot);
}

void VirtualTestbed::Move_On_Reappearance(VirtualModule& module, int videoNumber)
{
    GuardedMutex::Lock lock(m_mutex);
    Slot_Of(module).nextVideoNumber = videoNumber;
}

bool VirtualTestbed::Is_Plugged(const VirtualModule& module)
{
    GuardedMutex::Lock lock(m_mutex);
    return Slot_Of(module).plugged;
}

bool VirtualTestbed::Wait_Until_Plugged(const VirtualModule& module, bool plugged,
                                        std::chrono::milliseconds timeout)
{
    GuardedMutex::Lock lock(m_mutex);
    const Slot& slot = Slot_Of(module);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (slot.plugged != plugged)
        if (m_changed.wait_until(lock.unique(), deadline) == std::cv_status::timeout)
            return slot.plugged == plugged;
    return true;
}

bool VirtualTestbed::Wait_Until_Plugged_Times(const VirtualModule& module, int times,
                                              std::chrono::milliseconds timeout)
{
    GuardedMutex::Lock lock(m_mutex);
    const Slot& slot = Slot_Of(module);
    const auto deadline = std::chrono::steady_clock::now() + timeout;
    while (slot.timesPlugged < times)
        if (m_changed.wait_until(lock.unique(), deadline) == std::cv_status::timeout)
            return slot.timesPlugged >= times;
    return true;
}

void VirtualTestbed::Set_Restart_Delay(std::optional<std::chrono::milliseconds> delay)
{
    GuardedMutex::Lock lock(m_mutex);
    m_restartDelay = delay;
}

// On the handler thread, which must not touch the device tree itself.
void VirtualTestbed::On_Restart_Request(Slot& slot)
{
    {
        GuardedMutex::Lock lock(m_mutex);
        m_pendingRestarts.push_back(&slot);
    }
    m_changed.notify_all();
}

void VirtualTestbed::Restart_Worker()
{
    GuardedMutex::Lock lock(m_mutex);
    for (;;) {
        while (!m_stopping && m_pendingRestarts.empty())
            m_changed.wait(lock.unique());
        if (m_stopping)
            return;
        Slot& slot = *m_pendingRestarts.front();
        m_pendingRestarts.pop_front();
        Take_Off_Bus(slot);
        if (!m_restartDelay)
            continue;
        // Away for the delay, unless the testbed stops meanwhile.
        const auto comeBack = std::chrono::steady_clock::now() + *m_restartDelay;
        while (!m_stopping)
            if (m_changed.wait_until(lock.unique(), comeBack) == std::cv_status::timeout)
                break;
        if (m_stopping)
            return;
        if (!slot.plugged) {
            slot.module->Restart_Chip();
            Plug(slot);
        }
    }
}

} // namespace korvane::emulator
