#include "Extension_Unit_Class/Chip_Detection.h"

#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

template <typename Protocol>
constexpr Chip_Test Test_Of(const char* announcedName)
{
    return {&Protocol::Detection, &Protocol::Read_Id_Registers, announcedName};
}

const Chip_Test CHIP_DETECTION_ORDER[CHIP_TEST_COUNT] = {
    Test_Of<Extension_Unit_SPCA2650_Protocol>("QLVR_56_2"),
    Test_Of<Extension_Unit_SPCA2281_Protocol>("QLV_3M_1"),
    Test_Of<Extension_Unit_SPCA2085_Protocol>("QLV_1080P_2"),
    Test_Of<Extension_Unit_SPCA2620_Protocol>("QLV_8M_1"),
    Test_Of<Extension_Unit_SPCA2282_Protocol>("QLVR_SOC_550_0"),
};

std::uint32_t Chip_Test_Code(const Chip_Detection_Table& detection, const Chip_Id_Registers& read)
{
    Chip_Id_Registers seen = read;
    if (!detection.readsAllThree) {
        seen.a = 0;
        seen.b = 0;
    }
    return Match_Chip_Id(detection.rules, detection.ruleCount, seen);
}

Chip_Detection Detect_Chip(const Chip_Id_Reader& read)
{
    for (std::size_t test = 0; test < CHIP_TEST_COUNT; ++test) {
        const std::uint32_t chipCode = Chip_Test_Code(CHIP_DETECTION_ORDER[test].detection(), read(test));
        if (chipCode != 0)
            return {test, chipCode, CHIP_DETECTION_ORDER[test].announcedName};
    }
    return {CHIP_TEST_COUNT, 0, nullptr};
}
