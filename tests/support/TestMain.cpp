#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Multiprocess.h"

int main(int argc, char** argv) {
    const int childResult = multiprocess::runAsChild(argc, argv);
    if (childResult >= 0) {
        return childResult;
    }
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
