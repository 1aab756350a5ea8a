// Feeds arbitrary identification register bytes to every chip's id decision
// and to the detection order: each must give a known chip code or 0, agree
// with its chip's rules, and the order must stop at the first test that
// gives a code, whatever the bytes.
//
// Input: three bytes (id, 0x2051, 0x20D9) per read, taken in turn; the
// detection order's tests read from the same stream, one set each.
#include "Extension_Unit_Class/Chip_Detection.h"
#include "Extension_Unit_Class/Chip_Registry.h"
#include "Extension_Unit_Class/Extension_Unit_Base_Class.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2085_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2281_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2282_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2620_Protocol.h"
#include "Extension_Unit_Class/Extension_Unit_SPCA2650_Protocol.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <vector>

namespace {

constexpr std::uint32_t kKnownCodes[] = {CHIP_SPCA2620, CHIP_SPCA2281, CHIP_SPCA2085,
                                         CHIP_SPCA2092, CHIP_SPCA2650, CHIP_SPCA2282};
const char* const kAnnouncedNames[] = {"QLVR_56_2", "QLV_3M_1", "QLV_1080P_2", "QLV_8M_1", "QLVR_SOC_550_0"};
constexpr std::size_t CHIP_TEST_COUNT = std::size(kAnnouncedNames);

struct Chip_Decision
{
    const Chip_Detection_Table& (*detection)();
    std::uint32_t (*decide)(const Chip_Id_Registers&);
};

const Chip_Decision kChips[] = {
    {&Extension_Unit_SPCA2085_Protocol::Detection, &Extension_Unit_SPCA2085_Protocol::Chip_Code_For},
    {&Extension_Unit_SPCA2281_Protocol::Detection, &Extension_Unit_SPCA2281_Protocol::Chip_Code_For},
    {&Extension_Unit_SPCA2282_Protocol::Detection, &Extension_Unit_SPCA2282_Protocol::Chip_Code_For},
    {&Extension_Unit_SPCA2620_Protocol::Detection, &Extension_Unit_SPCA2620_Protocol::Chip_Code_For},
    {&Extension_Unit_SPCA2650_Protocol::Detection, &Extension_Unit_SPCA2650_Protocol::Chip_Code_For},
};

void Check(bool rule)
{
    if (!rule)
        __builtin_trap();
}

bool Known_Or_None(std::uint32_t code)
{
    return code == 0 || std::find(std::begin(kKnownCodes), std::end(kKnownCodes), code) != std::end(kKnownCodes);
}

bool Byte_Matches(int wanted, std::uint8_t value) { return wanted == CHIP_ID_ANY || wanted == value; }

// The code is that of the first rule the registers match, or 0 when none does.
void Check_First_Rule(const Chip_Detection_Table& detection, const Chip_Id_Registers& seen, std::uint32_t code)
{
    for (std::size_t i = 0; i < detection.ruleCount; ++i) {
        const Chip_Id_Rule& rule = detection.rules[i];
        if (Byte_Matches(rule.id, seen.id) && Byte_Matches(rule.a, seen.a) && Byte_Matches(rule.b, seen.b)) {
            Check(code == rule.chipCode);
            return;
        }
    }
    Check(code == 0);
}

class Register_Stream
{
public:
    Register_Stream(const std::uint8_t* data, std::size_t size) : m_data(data), m_size(size) {}

    Chip_Id_Registers Next()
    {
        std::uint8_t bytes[3] = {0, 0, 0};
        const std::size_t taken = m_size < 3 ? m_size : 3;
        std::memcpy(bytes, m_data, taken);
        m_data += taken;
        m_size -= taken;
        return {bytes[0], bytes[1], bytes[2]};
    }

private:
    const std::uint8_t* m_data;
    std::size_t m_size;
};

void Check_Chip_Decisions(const Chip_Id_Registers& read)
{
    for (const Chip_Decision& chip : kChips) {
        const Chip_Detection_Table& detection = chip.detection();
        Check(detection.rules != nullptr && detection.ruleCount > 0);
        const std::uint32_t own = chip.decide(read);
        Check(Known_Or_None(own));
        Check_First_Rule(detection, read, own);

        const std::uint32_t tested = Chip_Test_Code(detection, read);
        Check(Known_Or_None(tested));
        Chip_Id_Registers seen = read;
        if (!detection.readsAllThree)
            seen = {read.id, 0, 0};
        Check(tested == chip.decide(seen));
        Check_First_Rule(detection, seen, tested);
    }
}

void Check_Detection_Order(Register_Stream& stream)
{
    std::vector<Chip_Id_Registers> reads;
    const Chip_Detection found = Detect_Chip([&](std::size_t test) {
        Check(test == reads.size() && test < CHIP_TEST_COUNT);
        reads.push_back(stream.Next());
        return reads.back();
    });
    Check(Known_Or_None(found.chipCode));
    Check(found.test <= CHIP_TEST_COUNT);
    Check((found.test == CHIP_TEST_COUNT) == (found.chipCode == 0));
    Check(reads.size() == (found.chipCode == 0 ? CHIP_TEST_COUNT : found.test + 1));
    for (std::size_t test = 0; test < reads.size(); ++test) {
        const std::uint32_t code = Chip_Test_Code(*Chip_Detection_Order()[test]->detection, reads[test]);
        Check(test == found.test ? code == found.chipCode : code == 0);
    }
    if (found.chipCode == 0) {
        Check(found.announcedName == nullptr);
    } else {
        Check(found.announcedName != nullptr && std::strcmp(found.announcedName, kAnnouncedNames[found.test]) == 0);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Register_Stream stream(data, size);
    Check_Chip_Decisions(stream.Next());
    Check_Detection_Order(stream);
    return 0;
}
