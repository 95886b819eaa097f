// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_ONDEVICE_H
#define NAVO_TESTS_ONDEVICE_H

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

#include "TestDirectory.h"

namespace navo::test {

inline constexpr const char* kSmbConf = "/etc/samba/smb.conf";

// A test that writes the server's own configuration, and so runs in a device view alone.
class OnDeviceTest : public testing::Test {
protected:
    void SetUp() override {
        const char* device = std::getenv("VELLUMO_DEVICE");
        if (device == nullptr) {
            GTEST_SKIP() << "needs a device view: run it by deploy/device/vellumo-device";
        }
        if (StatusOf(std::string(device) + "/samba").st_ino != StatusOf("/etc/samba").st_ino) {
            GTEST_SKIP() << "/etc/samba is not the device's own";
        }
    }
};

}  // namespace navo::test

#endif
