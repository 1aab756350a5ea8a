// Camera_Status_Message: every status an operation gives has a text of its
// own, and the named codes keep the numbers the API returns.
#include "Extension_Unit_Class/Camera_Status.h"

#include <gtest/gtest.h>

#include <set>
#include <string>
#include <vector>

namespace {

using namespace Camera_Status;

struct Operation_Statuses
{
    const char* name;
    Camera_Operation operation;
    std::vector<int> codes;
};

// The statuses each kind of operation gives.
const std::vector<Operation_Statuses> kOperations = {
    {"camera list", Camera_Operation::Camera_List, {Success, Bad_Argument}},
    {"chip detection", Camera_Operation::Chip_Detection, {Success, Chip_Not_Recognised}},
    {"register", Camera_Operation::Register, {Success, Transfer_Failed, No_Chip}},
    {"GPIO", Camera_Operation::Gpio, {Success, Unknown_Pin, No_Chip, No_Chip_Output_Init}},
    {"flash piece",
     Camera_Operation::Flash_Piece,
     {Success, Bad_Argument, Flash_Transfer_Failed, No_Flash, Piece_Out_Of_Range}},
    {"firmware update",
     Camera_Operation::Firmware_Update,
     {Success, Verify_Failed, Image_Does_Not_Fit, Flash_Transfer_Failed, No_Flash, Unsupported_Image,
      Camera_Not_Back, No_Chip, Download_Refused}},
};

const std::string kUnknown = Camera_Status_Message(Camera_Operation::Register, 12345);

TEST(CameraStatus, EveryStatusOfAnOperationHasADistinctNonEmptyText)
{
    for (const Operation_Statuses& operation : kOperations) {
        std::set<std::string> texts;
        for (int code : operation.codes) {
            const char* text = Camera_Status_Message(operation.operation, code);
            ASSERT_NE(text, nullptr) << operation.name << " " << code;
            EXPECT_STRNE(text, "") << operation.name << " " << code;
            EXPECT_NE(text, kUnknown) << operation.name << " " << code;
            texts.insert(text);
        }
        EXPECT_EQ(texts.size(), operation.codes.size()) << operation.name;
    }
}

TEST(CameraStatus, AValueAnOperationNeverGivesIsUnknown)
{
    EXPECT_FALSE(kUnknown.empty());
    EXPECT_EQ(Camera_Status_Message(Camera_Operation::Register, Unsupported_Image), kUnknown);
    EXPECT_EQ(Camera_Status_Message(Camera_Operation::Camera_List, No_Chip), kUnknown);
    EXPECT_EQ(Camera_Status_Message(Camera_Operation::Firmware_Update, No_Chip_Output_Init), kUnknown);
    EXPECT_EQ(Camera_Status_Message(static_cast<Camera_Operation>(99), Success), kUnknown);
}

TEST(CameraStatus, OneMeaningReadsTheSameWhereverItIsGiven)
{
    EXPECT_STREQ(Camera_Status_Message(Camera_Operation::Flash_Piece, Flash_Transfer_Failed),
                 Camera_Status_Message(Camera_Operation::Firmware_Update, Flash_Transfer_Failed));
    EXPECT_STREQ(Camera_Status_Message(Camera_Operation::Flash_Piece, No_Flash),
                 Camera_Status_Message(Camera_Operation::Firmware_Update, No_Flash));
    EXPECT_STREQ(Camera_Status_Message(Camera_Operation::Register, No_Chip),
                 Camera_Status_Message(Camera_Operation::Gpio, No_Chip));
    EXPECT_STREQ(Camera_Status_Message(Camera_Operation::Register, No_Chip),
                 Camera_Status_Message(Camera_Operation::Firmware_Update, No_Chip));
}

// The numbers are the API's: clients and older tools compare against them.
TEST(CameraStatus, TheNamedCodesKeepTheApiNumbers)
{
    EXPECT_EQ(Success, 0);
    for (int code : {Bad_Argument, Unknown_Pin, Transfer_Failed, Verify_Failed, Reset_Failed, Chip_Not_Recognised})
        EXPECT_EQ(code, -1);
    EXPECT_EQ(Image_Does_Not_Fit, -2);
    EXPECT_EQ(Flash_Transfer_Failed, -3);
    EXPECT_EQ(Piece_Length_Unusable, -3);
    EXPECT_EQ(No_Flash, -4);
    EXPECT_EQ(Unsupported_Image, -5);
    EXPECT_EQ(Camera_Not_Back, -6);
    EXPECT_EQ(Piece_Out_Of_Range, -7);
    EXPECT_EQ(Header_Piece_Refused, -7);
    EXPECT_EQ(No_Chip, -7);
    EXPECT_EQ(No_Chip_Output_Init, 7);
    EXPECT_EQ(Download_Refused, -8);
}

} // namespace
