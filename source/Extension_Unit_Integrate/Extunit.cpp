#include "Extension_Unit_Class/Extunit.h"

#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Chip_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_UNKNOW_Protocol.h"
#include "Extension_Unit_Class/camera_api.h"

#include <cstdio>
#include <memory>

namespace {

void Log_Protocol_Match(const char* name)
{
    if (FILE* log = Camera_Log_Stream())
        std::fprintf(log, "\r\n\t\t Protocol mate %s\r\n", name);
}

// The protocol the chip registry gives a detected chip; it keeps the control
// object. A code no registered chip has gets the null protocol and the control object is dropped.
std::unique_ptr<Extension_Unit_Base_Protocol> Make_Protocol(std::unique_ptr<Extension_Unit_Base_Class> extUnit)
{
    const Chip_Description* chip = Chip_Description_For_Code(extUnit->Get_Pair_Chip());
    if (!chip)
        return std::make_unique<Extension_Unit_UNKNOW_Protocol>();
    std::unique_ptr<Extension_Unit_Chip_Protocol> protocol = chip->make(extUnit.get(), *chip);
    protocol->Own_Extension_Unit(std::move(extUnit));
    return protocol;
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
