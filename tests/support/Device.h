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

// The device view in which a test runs: it has the server's fixed paths, for this test alone.
namespace vellumo::test {

inline constexpr const char* kSourceDir = "/volume1/docker/@tmp/Vellumo/@tmp/source/";
inline constexpr const char* kTargetDir = "/volume1/docker/@tmp/Vellumo/@tmp/target/";

void WriteFile(const std::string& path, const std::string& content);
std::string ReadFile(const std::string& path);
bool Exists(const std::string& path);
void MakeDirectory(const std::string& path);

// The names in a directory, sorted; none when it is missing.
std::vector<std::string> Names(const std::string& directory);

// The extended-attribute directory of a document, and the path of a stream in it. They need not
// exist, and change when another file gets the document's name.
std::string EADirectoryOf(const std::string& document);
std::string StreamOf(const std::string& document, const std::string& stream);
void MakeEADirectory(const std::string& document);

// The entries of the scratch directories, as "source/NAME" and "target/NAME", and what is kept of
// scratch sources, as "streams/NAME".
std::vector<std::string> ScratchFiles();

// The behaviour of the scripted tool in the next calls of /usr/local/bin/docker.
struct Script {
    int exitStatus = 0;
    int productSize = 100;    // size of the product in bytes; -1: the tool writes no product
    int sleepMs = 0;          // how long the tool takes, in milliseconds
    int signal = 0;           // the signal that ends the docker client, 0 for none
    bool keepSource = false;  // copies the source, as the tool sees it, to /device/seen-source
    bool isHeld = false;      // the tool waits for LetToolEnd(), for at most a minute
};
void PlayTool(const Script& script);

// From now on, documents that begin with the line
//     tool: ID BEHAVIOUR MILLISECONDS
// tell the scripted tool what to do: to take that time and then, if the behaviour is "ok", to write
// a product with the content of its source. "fail": to write nothing; "kill": to kill the worker
// process that has called it. Each call is noted. The embedded engine converts other documents.
void PlayToolsOfDocuments();

// The beginning or the end of a call that a document has told the tool.
struct ToolNote {
    int64_t milliseconds = 0;  // of the steady clock
    bool isEnd = false;
    std::string container;
    pid_t process = 0;
    std::string kind;  // "pdf", "page" (a PDF of the first page) or "picture"
    std::string id;    // of the document
};
std::vector<ToolNote> ToolNotes();

// Lets one held tool continue: one that waits now, or the next one that is held.
void LetToolEnd();

// The containers are of another image from now on: "sha256:2". One without "sha256:" is an engine's
// answer that tells nothing.
void ChangeTools(const std::string& image);

// Replaces the scripted tools by the embedded engine: commands run the real converters.
void UseEmbeddedEngine();

// The same, and records the commands for DockerCalls().
void UseNotedEngine();

// The argument vectors that /usr/local/bin/docker has received, in order.
std::vector<std::vector<std::string>> DockerCalls();

// Waits until `condition` is true, which it checks repeatedly; false if it is not true within
// `limit`.
bool ComesTrue(const std::function<bool()>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

// Makes looks into the container find a command that runs there without a client, or none.
void LetContainerRunACommand(const std::string& container, bool runs);

// How often somebody has looked into a container.
size_t LooksIntoContainers();

// Waits until at least `count` tools have been called; false if they are not within `limit`.
bool ToolsAreCalled(size_t count = 1, std::chrono::milliseconds limit = std::chrono::seconds(20));

// Whether two commands ever ran in one container at the same time.
bool ContainersEverOverlapped();

// Resets the device: its volumes contain only the folders of its shares; there are no settings,
// texts or transfer log; the state file has the containers navo1 and navo2; the scripted tools are
// installed. The folder `kept` on volume1 is not changed.
void PrepareFreshDevice(const std::string& kept = "");

// A test on a fresh device with an empty system log.
class DeviceTest : public ::testing::Test {
protected:
    explicit DeviceTest(const std::string& kept = "");
};

// Sets the effective id; the real and saved ids stay root's. False on failure.
bool SetEffectiveUser(uid_t user);
bool SetEffectiveGroup(gid_t group);

// Whether the test runs as the real root, which can become other users.
bool HasOtherUsers();

}  // namespace vellumo::test

#endif
