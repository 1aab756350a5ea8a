#ifndef KORVANE_EXTENSION_UNIT_BASE_CLASS_H
#define KORVANE_EXTENSION_UNIT_BASE_CLASS_H

// The control object of one video device: its two extension-unit channels
// (units 3 and 4 on the same descriptor) and the detected chip code.

#include "Extension_Unit_Class/ext_unit.h"

#include <cstdint>

// Chip codes set by detection.
constexpr std::uint32_t CHIP_SPCA2620 = 256;
constexpr std::uint32_t CHIP_SPCA2281 = 257;
constexpr std::uint32_t CHIP_SPCA2085 = 258;
constexpr std::uint32_t CHIP_SPCA2092 = 259;
constexpr std::uint32_t CHIP_SPCA2650 = 261;
constexpr std::uint32_t CHIP_SPCA2282 = 262;

class Extension_Unit_Base_Class
{
public:
    explicit Extension_Unit_Base_Class(int fd);

    // Binds EXT_UNIT1 to unit 3 and EXT_UNIT2 to unit 4 on dev_fd.
    virtual void init();
    // Runs the chip tests in order; 0 and ChipType set when one recognises the chip, else -1.
    virtual int initControl();
    virtual std::uint32_t Get_Pair_Chip();
    virtual ~Extension_Unit_Base_Class();

    // The channel of the given extension-unit id (3 or 4).
    ExtUnit& Unit(std::uint16_t unitId);
    // From now on the descriptor belongs to this object and is closed with it.
    void Own_Descriptor();

    ExtUnit EXT_UNIT1;
    ExtUnit EXT_UNIT2;
    std::uint32_t ChipType;
    std::uint32_t FrameWorkVersion;
    int dev_fd;

private:
    bool m_ownsDescriptor;
};

#endif
