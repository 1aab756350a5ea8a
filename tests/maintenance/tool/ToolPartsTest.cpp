// The tool's parts that decide on text and numbers alone: number and option
// parsing, the chip catalogue, flash part names and the download progress bar.
#include <sstream>

#include <gtest/gtest.h>

#include "ChipCatalog.h"
#include "CommandLine.h"
#include "DownloadProgressBar.h"
#include "Extension_Unit_Class/Firmware_Form.h"
#include "Extension_Unit_Class/Serial_Flash_Identification.h"
#include "Extension_Unit_Class/Serial_Flash_Part_Name.h"
#include "GpioCommands.h"
#include "NumberArgument.h"
#include "PrintableText.h"

namespace korvane::maintenance {
namespace {

TEST(NumberArgument, DecimalAndHex)
{
    std::uint64_t value = 7;
    EXPECT_TRUE(parseNumber("0", 0xFF, value));
    EXPECT_EQ(value, 0u);
    EXPECT_TRUE(parseNumber("255", 0xFF, value));
    EXPECT_EQ(value, 255u);
    EXPECT_TRUE(parseNumber("0x2041", 0xFFFF, value));
    EXPECT_EQ(value, 0x2041u);
    EXPECT_TRUE(parseNumber("0XabCD", 0xFFFF, value));
    EXPECT_EQ(value, 0xABCDu);
    EXPECT_TRUE(parseNumber("0xFFFFFFFFFFFFFFFF", UINT64_MAX, value));
    EXPECT_EQ(value, UINT64_MAX);
}

TEST(NumberArgument, AnythingElseIsRefusedAndLeavesTheValue)
{
    std::uint64_t value = 7;
    for (const char* text : {"", "0x", "256", "0x100", "-1", "+1", " 1", "1 ", "12ab", "0x1g", "1.5", "0b1",
                             "99999999999999999999"})
        EXPECT_FALSE(parseNumber(text, 0xFF, value)) << text;
    EXPECT_FALSE(parseNumber("2", 1, value));
    EXPECT_EQ(value, 7u);
}

TEST(CommandLine, OptionsStandAnywhereAmongTheArguments)
{
    CommandLine line;
    std::string error;
    ASSERT_TRUE(line.parse({"a", "--device", "0x2", "--force", "b", "--wait=5", "--", "--c"},
                           {{"--force"}, {"--wait"}}, error))
        << error;
    EXPECT_EQ(line.device(), 2);
    EXPECT_TRUE(line.flag("--force"));
    EXPECT_FALSE(line.help());
    EXPECT_EQ(line.value("--wait", "30"), "5");
    EXPECT_EQ(line.arguments(), (std::vector<std::string>{"a", "b", "--c"}));
}

TEST(CommandLine, DefaultsAndHelp)
{
    CommandLine line;
    std::string error;
    ASSERT_TRUE(line.parse({"-h", "-"}, {}, error));
    EXPECT_TRUE(line.help());
    EXPECT_EQ(line.device(), 0);
    EXPECT_FALSE(line.flag("--force"));
    EXPECT_EQ(line.value("--wait", "30"), "30");
    EXPECT_EQ(line.arguments(), std::vector<std::string>{"-"}) << "a lone dash is an argument";
}

TEST(CommandLine, RefusalsNameTheProblem)
{
    const std::vector<std::pair<std::vector<std::string>, std::string>> cases = {
        {{"--force"}, "unknown option --force"},
        {{"--device"}, "option --device needs a value"},
        {{"--device", "-1"}, "bad device number '-1'"},
        {{"--device=65536"}, "bad device number '65536'"},
        {{"--wait"}, "option --wait needs a value"},
    };
    for (const auto& [words, message] : cases) {
        CommandLine line;
        std::string error;
        EXPECT_FALSE(line.parse(words, {{}, {"--wait"}}, error));
        EXPECT_EQ(error, message);
    }
}

TEST(ChipCatalog, ModelsAndTheImagesTheirChipsTake)
{
    const ChipFacts* chip2620 = chipFactsFor("QLV_8M_1");
    ASSERT_NE(chip2620, nullptr);
    EXPECT_STREQ(chip2620->chip, "SPCA2620");
    EXPECT_TRUE(chipTakesImageType(*chip2620, SPCA_2610));
    EXPECT_FALSE(chipTakesImageType(*chip2620, SPCA_2085));
    EXPECT_FALSE(chipTakesImageType(*chip2620, 0));
    EXPECT_EQ(chip2620->firmwareArea, 0x10000u);

    const ChipFacts* chip2282 = chipFactsFor("QLVR_1080p_3D");
    ASSERT_NE(chip2282, nullptr);
    EXPECT_TRUE(chipTakesImageType(*chip2282, FIRMWARE_VARIANT_1 | SPCA_2650));
    EXPECT_FALSE(chipTakesImageType(*chip2282, FIRMWARE_VARIANT_SIZE_MISFIT | SPCA_2650));

    EXPECT_EQ(chipFactsFor("UNKNOW"), nullptr);
    EXPECT_EQ(chipsTakingImageType(SPCA_2085), "SPCA2085 or SPCA2092");
    EXPECT_EQ(chipsTakingImageType(SPCA_2610), "SPCA2620");
    EXPECT_EQ(chipsTakingImageType(SPCA_2089), "");
}

TEST(ChipCatalog, EveryPlanCountsOneHundredPercent)
{
    for (const char* model : {"QLV_8M_1", "QLV_1080P_1", "QLV_1080P_2", "QLV_3M_1", "QLVR_56_2", "QLVR_1080p_3D"}) {
        const ChipFacts* facts = chipFactsFor(model);
        ASSERT_NE(facts, nullptr) << model;
        const Download_Progress_Plan& plan = facts->plan;
        const int steps = plan.preparingSteps + plan.sectors + 2 * plan.pieces + 1;
        EXPECT_FLOAT_EQ(steps / plan.stepsPerPercent, 100.0f) << model;
        EXPECT_EQ(static_cast<std::uint32_t>(plan.sectors) * 4096, facts->firmwareArea) << model;
    }
}

TEST(ChipCatalog, TheLargestFirmwareAreaIsThatOfTheLargestChip)
{
    EXPECT_EQ(largestFirmwareArea(), chipFactsFor("QLVR_56_2")->firmwareArea);
    EXPECT_EQ(largestFirmwareArea(), 0xC0000u);
}

TEST(PrintableText, EscapesEveryByteOutsidePrintableAscii)
{
    EXPECT_EQ(printableText("KV0001 Stereo-Cam_1.0 (x)"), "KV0001 Stereo-Cam_1.0 (x)");
    EXPECT_EQ(printableText("a\x1b[2Jb\nc\td\x7f"), "a\\x1b[2Jb\\x0ac\\x09d\\x7f");
    EXPECT_EQ(printableText(std::string("nul\0end", 7)), "nul\\x00end");
    EXPECT_EQ(printableText("caf\xc3\xa9"), "caf\\xc3\\xa9");
    EXPECT_EQ(printableText("back\\slash \\x1b"), "back\\\\slash \\\\x1b") << "an escape cannot be forged";
    EXPECT_EQ(printableText(""), "");
}

TEST(FlashPartName, NamesWithoutTheirPrefix)
{
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(SF_MX25L512)), "MX25L512");
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(SF_AMICA25LS512)), "AMICA25LS512");
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(SF_W25X40CLSNIG)), "W25X40CLSNIG");
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(SF_UNDEFINED)), "unknown");
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(-1)), "unknown");
    EXPECT_EQ(std::string(Serial_Flash_Part_Name(SF_AMICA25LS512 + 1)), "unknown");
}

TEST(GpioPins, TheChipsPins)
{
    for (std::uint64_t pin : {0u, 6u, 7u, 11u, 128u, 129u, 256u, 0xFFFFFFFFu})
        EXPECT_TRUE(gpioPinExists(pin)) << pin;
    for (std::uint64_t pin : {12, 127, 130, 255})
        EXPECT_FALSE(gpioPinExists(pin)) << pin;
}

TEST(DownloadProgress, ScheduleLines)
{
    float percent = -1.0f;
    EXPECT_TRUE(parseScheduleLine("DownLoad Schedule 0.680272 %", percent));
    EXPECT_FLOAT_EQ(percent, 0.680272f);
    EXPECT_TRUE(parseScheduleLine("DownLoad Schedule 100.000000 %", percent));
    EXPECT_FLOAT_EQ(percent, 100.0f);
    for (const char* line : {"", "DownLoad Schedule  %", "DownLoad Schedule x %", "DownLoad Schedule 5",
                             "Download Schedule 5 %", "DownLoad Schedule 5 %%", "DownLoad Schedule nan %"})
        EXPECT_FALSE(parseScheduleLine(line, percent)) << line;
}

TEST(DownloadProgress, PhasesOfThe2620Download)
{
    const Download_Progress_Plan& plan = chipFactsFor("QLV_8M_1")->plan;
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 1)), "preparing");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 2)), "preparing");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 3)), "erasing");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 18)), "erasing");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 19)), "writing and verifying");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 144)), "writing and verifying");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 145)), "header");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 146)), "header");
    EXPECT_EQ(std::string(Download_Phase_At_Step(plan, 147)), "restarting");
}

// The download's standard error text for steps first .. last of the 2620.
std::string scheduleText(int first, int last)
{
    std::string text;
    for (int step = first; step <= last; ++step) {
        char line[64];
        std::snprintf(line, sizeof line, "DownLoad Schedule %f %%\r\n", static_cast<double>(step / 1.47f));
        text += line;
    }
    return text;
}

TEST(DownloadProgress, OneLinePerPhaseWhenNotATerminal)
{
    std::ostringstream out;
    DownloadProgressBar bar(out, chipFactsFor("QLV_8M_1")->plan, false);
    bar.start();
    const std::string text = scheduleText(1, 147);
    std::string passed;
    // Pieces cut anywhere, with another line among them.
    const std::size_t lineEnd = text.find("\r\n", 2000) + 2;
    passed += bar.feed(text.substr(0, 100));
    passed += bar.feed(text.substr(100, lineEnd - 100) + "a transfer note\r\n");
    passed += bar.feed(text.substr(lineEnd));
    bar.finish();
    EXPECT_EQ(passed, "a transfer note\n");
    EXPECT_FLOAT_EQ(bar.percent(), 100.0f);
    EXPECT_EQ(out.str(), "[------------------------------]   0.0% preparing\n"
                         "[------------------------------]   2.0% erasing\n"
                         "[###---------------------------]  12.9% writing and verifying\n"
                         "[#############################-]  98.6% header\n"
                         "[##############################] 100.0% restarting\n");
}

TEST(DownloadProgress, RedrawnInPlaceOnATerminal)
{
    std::ostringstream out;
    DownloadProgressBar bar(out, chipFactsFor("QLV_8M_1")->plan, true);
    bar.start();
    bar.feed(scheduleText(1, 3));
    bar.finish();
    EXPECT_EQ(out.str(), "\r[------------------------------]   0.0% preparing"
                         "\r[------------------------------]   0.7% preparing"
                         "\r[------------------------------]   1.4% preparing"
                         "\r[------------------------------]   2.0% erasing  \n");
}

TEST(DownloadProgress, ADownloadThatStopsEarlyKeepsWhereItWas)
{
    std::ostringstream out;
    DownloadProgressBar bar(out, chipFactsFor("QLV_8M_1")->plan, false);
    bar.start();
    bar.feed(scheduleText(1, 40) + "DownLoad Schedule 27.9");
    bar.finish();
    EXPECT_NEAR(bar.percent(), 40 / 1.47f, 1e-4);
    EXPECT_EQ(out.str().find("header"), std::string::npos);
}

} // namespace
} // namespace korvane::maintenance
