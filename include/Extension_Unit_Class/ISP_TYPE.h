#ifndef KORVANE_EXTENSION_UNIT_ISP_TYPE_H
#define KORVANE_EXTENSION_UNIT_ISP_TYPE_H

#include <cstdint>

// Chip type numbers used by firmware identification.
enum ISP_TYPE : std::int32_t
{
    SPCA_UNKNOWNIC = 100,
    SPCA_AllIC = 101,
    SPCA_2000BC = 102,
    SPCA_2000D = 103,
    SPCA_2080 = 104,
    SPCA_2088 = 105,
    SPCA_2082 = 106,
    SPCA_2085 = 107,
    SPCA_2089 = 108,
    SPCA_2610 = 109,
    SPCA_2650 = 110,
    SPCA_2720 = 111,
    SPCA_2110 = 112,
    SPCA_2120 = 113,
    SPCA_2282 = 114,
};

#endif
