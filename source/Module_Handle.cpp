#include "Extension_Unit_Class/Module_Handle.h"

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Download_Progress.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Protocol.h"
#include "Extension_Unit_Class/Serial_Flash_Part_Name.h"

#include <thread>

Module_Handle::Module_Handle(_Device_Point_* device, const info_camera_os& information,
                             const info_camera_String& strings)
    : m_device(device), m_information(information), m_strings(strings)
{
    m_information.device[sizeof m_information.device - 1] = '\0';
    m_information.location[sizeof m_information.location - 1] = '\0';
    m_strings.iSerialNumber[sizeof m_strings.iSerialNumber - 1] = '\0';
    m_identity = Module_Identity::Of(m_information, m_strings);
    const char* model = device->p_device ? device->p_device->This_is() : nullptr;
    m_model = model && *model ? model : "UNKNOW";
}

Module_Handle::~Module_Handle() { Camera_Device_Point_UnInit(&m_device); }

std::unique_ptr<Module_Handle> Module_Handle::Open(int index)
{
    _Device_Point_* device = Camera_Device_Point_Init(index);
    if (!device)
        return nullptr;
    info_camera_os information{};
    info_camera_String strings{};
    if (!device->p_device || Camera_Get_information_Api(device, &information) != 0 ||
        Camera_Get_Info_String_Api(device, &strings) != 0) {
        Camera_Device_Point_UnInit(&device);
        return nullptr;
    }
    return std::unique_ptr<Module_Handle>(new Module_Handle(device, information, strings));
}

std::vector<std::unique_ptr<Module_Handle>> Module_Handle::Open_All()
{
    std::vector<std::unique_ptr<Module_Handle>> modules;
    const int count = Camera_Init();
    for (int index = 0; index < count; ++index)
        if (auto module = Open(index))
            modules.push_back(std::move(module));
    return modules;
}

int Module_Handle::Find_Again(const Module_Identity& identity, int rounds, std::chrono::milliseconds pause,
                              std::unique_ptr<Module_Handle>& found)
{
    found.reset();
    for (int round = 0; round < rounds; ++round) {
        if (round > 0)
            std::this_thread::sleep_for(pause);
        Camera_UnInit();
        for (auto& module : Open_All())
            if (module->Identity().Is_Same_Module(identity)) {
                found = std::move(module);
                return Camera_Status::Success;
            }
    }
    return Camera_Status::Camera_Not_Back;
}

std::string Module_Handle::Identification() const
{
    return Module_Identity::Identification_Text(m_information, m_strings);
}

void Module_Handle::Refresh(_Device_Point_& record) const
{
    record.u_index = m_device->u_index;
    record.p_device = m_device->p_device;
}

std::string Module_Handle::Model() const { return m_model; }

std::string Module_Handle::Chip_Name() const
{
    const Chip_Description* chip = Chip_Description_For_Model(Model());
    return chip ? chip->chip : "unknown";
}

std::string Module_Handle::Flash_Part_Name() const
{
    Extension_Unit_Base_Protocol* protocol = m_device->p_device;
    return Serial_Flash_Part_Name(protocol ? protocol->Read_Flash_type() : 0);
}

std::string Module_Handle::Download_Phase(float percent) const
{
    const Chip_Description* chip = Chip_Description_For_Model(Model());
    return chip ? Download_Phase_At_Percent(Download_Progress_Plan_Of(*chip->table), percent) : "";
}

bool Module_Handle::Download_Rewrites_User_Data() const
{
    const Chip_Description* chip = Chip_Description_For_Model(Model());
    return chip && ::Download_Rewrites_User_Data(*chip);
}

bool Module_Handle::User_Data_Layout(const std::string& model, std::vector<std::uint32_t>& flashPieces,
                                     bool& downloadRewritesThem)
{
    const Chip_Description* chip = Chip_Description_For_Model(model);
    if (!chip)
        return false;
    flashPieces = User_Data_Flash_Pieces(*chip);
    downloadRewritesThem = ::Download_Rewrites_User_Data(*chip);
    return true;
}
