#include "ModuleHandle.h"

#include <algorithm>
#include <cstring>
#include <thread>

#include "Extension_Unit_Class/Extension_Unit_Functions.h"
#include "Extension_Unit_Class/Video_Node_Access.h"
#include "camera/ModuleIdentification.h"

namespace korvane::maintenance {

namespace {

constexpr const char kVideoPrefix[] = "/dev/video";

} // namespace

ModuleHandle::ModuleHandle(_Device_Point_* device, const info_camera_os& information)
    : m_device(device), m_information(information)
{
    m_information.device[sizeof m_information.device - 1] = '\0';
}

ModuleHandle::~ModuleHandle() { Camera_Device_Point_UnInit(&m_device); }

std::vector<std::unique_ptr<ModuleHandle>> ModuleHandle::openAll()
{
    std::vector<std::unique_ptr<ModuleHandle>> modules;
    int count = 0;
    if (Camera_Count(&count) != 0)
        return modules;
    for (int index = 0; index < count; ++index)
        if (auto module = openIndex(index))
            modules.push_back(std::move(module));
    return modules;
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

std::unique_ptr<ModuleHandle> ModuleHandle::waitForIdentification(const std::string& identification, int rounds,
                                                                  std::chrono::milliseconds pause)
{
    for (int round = 0; round < rounds; ++round) {
        if (round > 0)
            std::this_thread::sleep_for(pause);
        Camera_UnInit();
        for (auto& module : openAll())
            if (module->identification() == identification)
                return std::move(module);
    }
    return nullptr;
}

std::string ModuleHandle::devicePath() const { return m_information.device; }

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

std::string ModuleHandle::model() const
{
    const char* name = m_device->p_device ? This_is(m_device->p_device) : nullptr;
    return name ? name : "UNKNOW";
}

std::string ModuleHandle::identification() const { return moduleIdentification(m_device, m_information); }

std::string ModuleHandle::serialNumber() const
{
    info_camera_String strings{};
    Camera_Get_Info_String_Api(m_device, &strings);
    strings.iSerialNumber[sizeof strings.iSerialNumber - 1] = '\0';
    return strings.iSerialNumber;
}

std::unique_ptr<ModuleHandle> ModuleHandle::openIndex(int index)
{
    _Device_Point_* device = Camera_Device_Point_Init(index);
    if (!device)
        return nullptr;
    info_camera_os information{};
    if (!device->p_device || Camera_Get_information_Api(device, &information) != 0) {
        Camera_Device_Point_UnInit(&device);
        return nullptr;
    }
    return std::unique_ptr<ModuleHandle>(new ModuleHandle(device, information));
}

} // namespace korvane::maintenance
