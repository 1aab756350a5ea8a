#include <gtest/gtest.h>

#include "support/TestEnvironment.h"

int main(int argc, char** argv)
{
    korvane::test::prepareEnvironment();
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
