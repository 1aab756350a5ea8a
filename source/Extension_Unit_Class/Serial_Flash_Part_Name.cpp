#include "Extension_Unit_Class/Serial_Flash_Part_Name.h"

#include <iterator>

#include "Extension_Unit_Class/Serial_Flash_Identification.h"

namespace {

// Indexed by SerialFlashPart; the enumerator names without their "SF_".
const char* const kPartNames[] = {
    "UNDEFINED", "MX25L512", "GD25Q512", "FM25F005", "FM25F01", "MD25D512", "MD25D10", "MX25L1006E",
    "GT25F512", "PM25LQ512", "W25X05CL", "MK25D40", "ZB25D16", "MK25D16", "GD25D10B", "BY25Q512", "GD25D05",
    "IS25LQ040B", "IS25LQ512", "MX25V1006F", "W25X10CL", "MK25D80", "MK25D40BT", "T25S80XZ", "P25Q40H",
    "T25S80PW", "P25Q05H", "P25Q10H", "MX25L4006E", "PM25WQ080", "PM25LQ080", "GD25LQ128", "GD25LQ80",
    "W25Q80BW", "GD25Q16C", "GD25Q20C", "LE25U20AMB", "BG25Q40A", "GD25Q40C", "BH25D40A", "GD25D20C",
    "MX25L2006E", "MX25V2033FM1L", "P25Q21H", "FM25W04", "FM25Q04", "FM25W02", "MX25V2035F", "W25X40CLSNIG",
    "W25X20CLSNIG", "MX25U3235F", "XT25F01", "XT25F01C_D", "BH25D05", "BH25D10B", "MX25V8035F", "MX25L6406E",
    "FH25V08", "P25Q80H", "GD25Q80CTIG", "EN25Q80C", "MX25V4035F", "MX25L5121E", "MX25L1021E", "KH25L5121E",
    "KH25L1021E", "SST25VF512", "PM25LD512", "PM25LD256", "PM25LV512", "AT25F512B", "AT25SF041", "EN25F05",
    "EN25F40", "EN25F10A", "EN25F20A", "EN25Q40A", "AMICA25LS512",
};

static_assert(std::size(kPartNames) == SF_AMICA25LS512 + 1, "one name per flash part");

} // namespace

const char* Serial_Flash_Part_Name(int part)
{
    if (part <= SF_UNDEFINED || part > SF_AMICA25LS512)
        return "unknown";
    return kPartNames[part];
}
