#include "Extension_Unit_Class/Extunit.h"

#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2092_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_UNKNOW_Protocol.h"
#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>
#include <memory>

namespace {

template <typename Protocol>
std::unique_ptr<Extension_Unit_Chip_Protocol> Make(Extension_Unit_Base_Class* extUnit)
{
    return std::make_unique<Protocol>(extUnit);
}

// The protocol class of each chip code.
struct Chip_Protocol_Maker
{
    std::uint32_t chipCode;
    std::unique_ptr<Extension_Unit_Chip_Protocol> (*make)(Extension_Unit_Base_Class*);
};

const Chip_Protocol_Maker kMakers[] = {
    {CHIP_SPCA2620, &Make<Extension_Unit_SPCA2620_Protocol>},
    {CHIP_SPCA2281, &Make<Extension_Unit_SPCA2281_Protocol>},
    {CHIP_SPCA2085, &Make<Extension_Unit_SPCA2085_Protocol>},
    {CHIP_SPCA2092, &Make<Extension_Unit_SPCA2092_Protocol>},
    {CHIP_SPCA2650, &Make<Extension_Unit_SPCA2650_Protocol>},
    {CHIP_SPCA2282, &Make<Extension_Unit_SPCA2282_Protocol>},
};

void Log_Protocol_Match(const char* name)
{
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\r\n\t\t Protocol mate %s\r\n", name);
}

// The protocol for a detected chip; it keeps the control object. A code
// without a protocol class gets the null protocol and the control object is dropped.
std::unique_ptr<Extension_Unit_Base_Protocol> Make_Protocol(std::unique_ptr<Extension_Unit_Base_Class> extUnit)
{
    const std::uint32_t chipCode = extUnit->Get_Pair_Chip();
    for (const Chip_Protocol_Maker& maker : kMakers) {
        if (maker.chipCode == chipCode) {
            std::unique_ptr<Extension_Unit_Chip_Protocol> protocol = maker.make(extUnit.get());
            protocol->Own_Extension_Unit(std::move(extUnit));
            return protocol;
        }
    }
    return std::make_unique<Extension_Unit_UNKNOW_Protocol>();
}

} // namespace

Extension_Unit_Base_Protocol* Get_Extension_Unit(int fd)
{
    auto extUnit = std::make_unique<Extension_Unit_Base_Class>(fd);
    extUnit->init();
    if (extUnit->initControl() != 0) {
        Log_Protocol_Match("unknown error");
        return nullptr;
    }
    std::unique_ptr<Extension_Unit_Base_Protocol> protocol = Make_Protocol(std::move(extUnit));
    Log_Protocol_Match(protocol->This_is());
    return protocol.release();
}

void Delete_Extension_Unit(Extension_Unit_Base_Protocol* protocol) { delete protocol; }

bool Keep_Descriptor(Extension_Unit_Base_Protocol* protocol)
{
    auto* chip = dynamic_cast<Extension_Unit_Chip_Protocol*>(protocol);
    if (!chip || !chip->pExtUnit)
        return false;
    chip->pExtUnit->Own_Descriptor();
    return true;
}
