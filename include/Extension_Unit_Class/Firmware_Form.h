#ifndef KORVANE_EXTENSION_UNIT_FIRMWARE_FORM_H
#define KORVANE_EXTENSION_UNIT_FIRMWARE_FORM_H

// Recognition and acceptance of firmware images, decided on the image's
// bytes alone. Bytes beyond the given length are never read: a mark that
// would lie beyond the end is simply absent.

#include "Extension_Unit_Class/ISP_TYPE.h"

#include <cstdint>
#include "Extension_Unit_Class/KorvaneControlExport.h"

// Variants in the second byte of a FirmwareType value.
constexpr std::int32_t FIRMWARE_VARIANT_1 = 0x100;
constexpr std::int32_t FIRMWARE_VARIANT_SIZE_MISFIT = 0xFF00;
// FirmwareType of an image of no known form.
constexpr std::int32_t FIRMWARE_UNKNOWN_FORM = -1;

// Layout of the large (CY or 0x95 0x27 marked) image.
constexpr std::uint32_t FIRMWARE_LARGE_MARK_OFFSET = 0x100;
constexpr std::uint32_t FIRMWARE_LARGE_WORD_OFFSET = 0x30000;
constexpr std::uint32_t FIRMWARE_LARGE_MIN_LENGTH = 0x34001;
constexpr std::uint32_t FIRMWARE_MEDIUM_MIN_LENGTH = 0x31801;
constexpr std::uint32_t FIRMWARE_LARGE_WORD = 0xCC33AA55;
constexpr std::uint32_t FIRMWARE_LARGE_WORD_1 = 0xCC330201;
// The KUN-marked image.
constexpr std::uint32_t FIRMWARE_KUN_MARK_OFFSET = 0x2000;
constexpr std::uint32_t FIRMWARE_KUN_TAIL_OFFSET = 0xFFFE;

// The form of an image: low byte an ISP_TYPE, second byte a variant
// (0, 1, or 0xFF when the size does not fit); -1 for no known form.
KORVANE_CONTROL_EXPORT std::int32_t FirmwareType(const unsigned char* image, unsigned int length);

// 1 when the image may be written, -5 otherwise; acceptAll accepts every
// image. The third argument is not consulted.
KORVANE_CONTROL_EXPORT int FW_Support_Device(unsigned char* image, unsigned int length, unsigned int reserved, bool acceptAll);

#endif
