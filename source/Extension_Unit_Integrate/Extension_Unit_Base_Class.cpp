#include "Extension_Unit_Class/Extension_Unit_Base_Class.h"

#include "Extension_Unit_Class/Camera_Status.h"
#include "Extension_Unit_Class/Chip_Detection.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>
#include <vector>

#include <unistd.h>

namespace {

constexpr std::uint16_t kFirstUnit = 3;
constexpr std::uint16_t kSecondUnit = 4;

void Announce(const char* name)
{
    FILE* log = Camera_Log_Stream();
    if (!log)
        return;
    char format[256];
    std::snprintf(format, sizeof format, "%s%s", "\r\n[%s]=", "*****************\t%s\t*******************");
    char quoted[64];
    std::snprintf(quoted, sizeof quoted, "\"%s\"", name);
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::fprintf(log, format, quoted, name);
#pragma GCC diagnostic pop
}

} // namespace

Extension_Unit_Base_Class::Extension_Unit_Base_Class(int fd)
    : ChipType(0), FrameWorkVersion(0), dev_fd(fd), m_ownsDescriptor(false)
{
}

Extension_Unit_Base_Class::~Extension_Unit_Base_Class()
{
    if (m_ownsDescriptor && dev_fd >= 0)
        close(dev_fd);
    dev_fd = 0;
}

void Extension_Unit_Base_Class::Own_Descriptor() { m_ownsDescriptor = true; }

void Extension_Unit_Base_Class::init()
{
    EXT_UNIT1.set_V4L2(dev_fd, kFirstUnit);
    EXT_UNIT2.set_V4L2(dev_fd, kSecondUnit);
}

int Extension_Unit_Base_Class::initControl()
{
    const std::vector<const Chip_Description*> order = Chip_Detection_Order();
    const Chip_Detection found =
        Detect_Chip([this, &order](std::size_t test) { return Read_Chip_Test_Registers(this, *order[test]); });
    if (found.chipCode == 0)
        return Camera_Status::Chip_Not_Recognised;
    ChipType = found.chipCode;
    Announce(found.announcedName);
    return 0;
}

std::uint32_t Extension_Unit_Base_Class::Get_Pair_Chip() { return ChipType; }

ExtUnit& Extension_Unit_Base_Class::Unit(std::uint16_t unitId)
{
    return unitId == kFirstUnit ? EXT_UNIT1 : EXT_UNIT2;
}
