// The tests' entry: an Xvfb a test started goes when every test has run.
#include <gtest/gtest.h>

#include "support/TestDisplay.h"

int main(int argc, char** argv)
{
    testing::InitGoogleTest(&argc, argv);
    const int status = RUN_ALL_TESTS();
    kel::gui::test::StopOwnDisplay();
    return status;
}
