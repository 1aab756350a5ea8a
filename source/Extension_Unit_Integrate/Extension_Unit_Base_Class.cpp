#include "Extension_Unit_Class/Extension_Unit_Base_Class.h"

#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"
#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>

#include <unistd.h>

namespace {

constexpr std::uint16_t kFirstUnit = 3;
constexpr std::uint16_t kSecondUnit = 4;

// A chip test and the model name announced when it succeeds.
struct Chip_Test
{
    int (*This_Is_Me)(Extension_Unit_Base_Class*);
    const char* announcedName;
};

// Tried in this order; the first that recognises the chip wins. The name
// announced is the test's, which need not match the chip code it set.
const Chip_Test kChipTests[] = {
    {&Extension_Unit_SPCA2650_Protocol::This_Is_Me, "QLVR_56_2"},
    {&Extension_Unit_SPCA2281_Protocol::This_Is_Me, "QLV_3M_1"},
    {&Extension_Unit_SPCA2085_Protocol::This_Is_Me, "QLV_1080P_2"},
    {&Extension_Unit_SPCA2620_Protocol::This_Is_Me, "QLV_8M_1"},
    {&Extension_Unit_SPCA2282_Protocol::This_Is_Me, "QLVR_SOC_550_0"},
};

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
    for (const Chip_Test& test : kChipTests) {
        if (test.This_Is_Me(this)) {
            Announce(test.announcedName);
            return 0;
        }
    }
    return -1;
}

std::uint32_t Extension_Unit_Base_Class::Get_Pair_Chip() { return ChipType; }

ExtUnit& Extension_Unit_Base_Class::Unit(std::uint16_t unitId)
{
    return unitId == kFirstUnit ? EXT_UNIT1 : EXT_UNIT2;
}
