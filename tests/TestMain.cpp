// The main() of every test program: gtest's own, less the tests whose shared
// files are not beside this checkout.

#include "SharedFiles.h"

#include <gtest/gtest.h>

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    QoTest::leaveOutTestsWithoutSharedFiles();
    return RUN_ALL_TESTS();
}
