#include "ModuleHandle.h"

#include <algorithm>
#include <cstring>

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Video_Node_Access.h"

namespace korvane::maintenance {

namespace {

constexpr const char kVideoPrefix[] = "/dev/video";

} // namespace

ModuleHandle::ModuleHandle(std::unique_ptr<Module_Handle> module) : m_module(std::move(module)) {}

std::vector<std::unique_ptr<ModuleHandle>> ModuleHandle::openAll()
{
    std::vector<std::unique_ptr<ModuleHandle>> modules;
    for (auto& module : Module_Handle::Open_All())
        modules.push_back(std::unique_ptr<ModuleHandle>(new ModuleHandle(std::move(module))));
    return modules;
}

std::unique_ptr<ModuleHandle> ModuleHandle::open(int index)
{
    std::unique_ptr<Module_Handle> module = Module_Handle::Open(index);
    return module ? std::unique_ptr<ModuleHandle>(new ModuleHandle(std::move(module))) : nullptr;
}

std::unique_ptr<ModuleHandle> ModuleHandle::openByNode(int node, std::string& error)
{
    const std::string wanted = kVideoPrefix + std::to_string(node);
    auto modules = openAll();
    for (auto& module : modules)
        if (module->devicePath() == wanted)
            return std::move(module);
    const std::vector<std::string> denied = deniedNodes();
    if (std::find(denied.begin(), denied.end(), wanted) != denied.end())
        error = Video_Node_Access::Denied_Message(wanted);
    else
        error = modules.empty() ? "no module is attached" : "no module on " + wanted;
    return nullptr;
}

std::vector<std::string> ModuleHandle::deniedNodes() { return Video_Node_Access::Denied_Nodes(); }

std::unique_ptr<ModuleHandle> ModuleHandle::findAgain(const Module_Identity& identity, int rounds,
                                                      std::chrono::milliseconds pause)
{
    std::unique_ptr<Module_Handle> module;
    if (Module_Handle::Find_Again(identity, rounds, pause, module) != Camera_Status::Success)
        return nullptr;
    return std::unique_ptr<ModuleHandle>(new ModuleHandle(std::move(module)));
}

std::string ModuleHandle::devicePath() const { return m_module->Device_Path(); }

int ModuleHandle::deviceNode() const
{
    const std::string path = devicePath();
    const std::size_t prefix = std::strlen(kVideoPrefix);
    if (path.compare(0, prefix, kVideoPrefix) != 0 || path.size() == prefix)
        return -1;
    int node = 0;
    for (std::size_t i = prefix; i < path.size(); ++i) {
        if (path[i] < '0' || path[i] > '9' || node > 100000)
            return -1;
        node = node * 10 + (path[i] - '0');
    }
    return node;
}

std::string ModuleHandle::model() const { return m_module->Model(); }

std::string ModuleHandle::identification() const { return m_module->Identification(); }

std::string ModuleHandle::serialNumber() const { return m_module->Strings().iSerialNumber; }

} // namespace korvane::maintenance
