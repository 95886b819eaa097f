// SPDX-License-Identifier: Apache-2.0
#include "loader/failures/ToolsFingerprint.h"

#include <sys/stat.h>
#include <unistd.h>

#include <chrono>

#include "Device.h"
#include "StateFile.h"

namespace vellumo::loader {
namespace {

using namespace vellumo::test;

class ToolsFingerprintTest : public DeviceTest {};

TEST_F(ToolsFingerprintTest, ChangesWithTheImageOfTheContainers) {
    ChangeTools("sha256:1");
    EXPECT_EQ(FindToolsFingerprint(), "image sha256:1");
    ChangeTools("sha256:2");
    EXPECT_EQ(FindToolsFingerprint(), "image sha256:2");
}

TEST_F(ToolsFingerprintTest, IsUnknownWhereTheEngineTellsNothing) {
    ChangeTools("Error: no such object: navo1");
    EXPECT_EQ(FindToolsFingerprint(), "");
}

TEST_F(ToolsFingerprintTest, IsUnknownWithoutContainers) {
    WriteState("{}");
    EXPECT_EQ(FindToolsFingerprint(), "");
}

TEST_F(ToolsFingerprintTest, IsOfTheProgramsWithTheEmbeddedEngine) {
    UseEmbeddedEngine();
    const auto begin = std::chrono::steady_clock::now();
    const std::string fingerprint = FindToolsFingerprint();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(1));
    EXPECT_THAT(fingerprint, testing::MatchesRegex("programs [0-9a-f]{16}"));
    EXPECT_EQ(FindToolsFingerprint(), fingerprint);
}

TEST_F(ToolsFingerprintTest, DoesNotHangWithTheEngine) {
    unlink("/device/bin/docker");
    WriteFile("/device/bin/docker", "#!/bin/sh\nexec sleep 60\n");
    ASSERT_EQ(chmod("/device/bin/docker", 0755), 0);
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(FindToolsFingerprint(), "");
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
}

}  // namespace
}  // namespace vellumo::loader
