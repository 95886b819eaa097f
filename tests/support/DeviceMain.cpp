// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>

#include "DeviceView.h"
#include "OpenTree.h"

int main(int argc, char** argv) {
    const bool listing = std::any_of(argv, argv + argc, [](const char* argument) {
        return std::strcmp(argument, "--gtest_list_tests") == 0;
    });
    if (!listing) {
        vellumo::test::EnterDeviceView(argc, argv);
        vellumo::test::OpenTreeToOtherUsers();
    }
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
