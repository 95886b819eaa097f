// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEVICE_H
#define VELLUMO_TESTS_DEVICE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

// The device view that a test runs in: the server's fixed locations, all of them the test's own.
namespace vellumo::test {

inline constexpr const char* kSourceDir = "/volume1/docker/@tmp/Vellumo/@tmp/source/";
inline constexpr const char* kTargetDir = "/volume1/docker/@tmp/Vellumo/@tmp/target/";

void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);
bool Exists(const std::string& path);
void MakeDirectory(const std::string& path);

// Names in a directory, sorted; none when it is missing.
std::vector<std::string> Names(const std::string& directory);

// What lies in the scratch directories: "source/NAME" and "target/NAME". The platform's own
// directory beside the scratch sources, .navoea, stays when it was made once; in its place there is
// what lies in it, be it an empty directory: "source/.navoea/NAME".
std::vector<std::string> ScratchFiles();

// What is played in place of a converter, as the next calls of /usr/local/bin/docker see it.
struct Script {
    int exitStatus = 0;
    int productSize = 100;    // bytes that the tool writes to its product; -1: it writes none
    int sleepMs = 0;          // how long the tool takes
    int signal = 0;           // the signal that ends the docker client, 0 for none
    bool keepSource = false;  // copies the source, as the tool sees it, to /device/seen-source
    bool isHeld = false;      // the tool goes on only when it is told to, or after a minute
};
void PlayTool(const Script& script);

// Lets one tool go on that is held, or is the next to be.
void LetToolEnd();

// Puts the embedded engine in the scripted tools' place: commands run the real converters.
void UseEmbeddedEngine();

// The same, and notes its commands for DockerCalls.
void UseNotedEngine();

// The argument vectors that /usr/local/bin/docker has received, in order.
std::vector<std::vector<std::string>> DockerCalls();

// Whether so many tools have been called; waits for it.
bool ToolsAreCalled(size_t count = 1);

// Whether `condition` comes true; looks again and again until `limit`.
bool ComesTrue(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

// Whether two commands were ever in one container at the same time.
bool ContainersEverOverlapped();

// Makes the device fresh: nothing on its volumes but the folders of its shares, no settings, texts
// or transfer log, containers navo1 and navo2 in the state file, the scripted tools. The share
// `kept` stays as it is.
void PrepareFreshDevice(const std::string& kept = "");

// A test on a fresh device, with no messages in the system log yet.
class DeviceTest : public ::testing::Test {
protected:
    explicit DeviceTest(const std::string& kept = "");
};

// Takes other effective ids; the real and saved ones stay root's.
bool SetEffectiveUser(uid_t user);
bool SetEffectiveGroup(gid_t group);

// Whether the test runs as real root, with other users to be.
bool HasOtherUsers();

}  // namespace vellumo::test

#endif
