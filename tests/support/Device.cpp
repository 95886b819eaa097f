// SPDX-License-Identifier: Apache-2.0
#include "Device.h"

#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <thread>

#include "StateFile.h"
#include "SyslogSink.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

constexpr const char* kDocker = "/device/bin/docker";
constexpr const char* kScript = "/device/tool-script";
constexpr const char* kCalls = "/device/docker-calls";
constexpr const char* kMayEnd = "/device/tool-may-end";
constexpr const char* kOverlap = "/device/overlap";
constexpr const char* kLooks = "/device/docker-looks";
constexpr const char* kImage = "/device/tools-image";
constexpr const char* kToolEngine = "/device/tool-engine";
constexpr const char* kToolNotes = "/device/tool-notes";
constexpr const char* kStreamsOfSources = "/volume1/@navoea/docker/@@tmp/Vellumo/@@tmp/source";
constexpr size_t kPathSize = 4096;

constexpr std::chrono::milliseconds kLook{20};

constexpr const char* kShares =
    "[global]\n"
    "[docs]\n  path = /volume1/docs\n"
    "[archive]\n  path = /volume2/archive\n  navo:scale volume = yes\n"
    "[docker]\n  path = /volume1/docker\n"
    "[homes]\n  path = /volume1/homes/%S\n";

void Empty(const std::string& directory, const std::string& kept = "") {
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        if (entry.path().filename() != kept) {
            fs::remove_all(entry.path(), error);
        }
    }
}

void InstallDocker(const char* program) {
    fs::remove(kDocker);
    fs::create_symlink(program, kDocker);
}

void InstallScriptedDocker() {
    InstallDocker(VELLUMO_FAKE_DOCKER);
    for (const char* trace : {kScript, kCalls, kMayEnd, kOverlap, kLooks, kImage, kToolEngine,
                              kToolNotes, "/device/seen-source"}) {
        fs::remove(trace);
    }
    for (const std::string& name : Names("/device")) {
        if (name.starts_with("busy-") || name.starts_with("runs-")) {
            fs::remove("/device/" + name);  // of a killed tool
        }
    }
}

}  // namespace

void WriteFile(const std::string& path, const std::string& content) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << content;
    ASSERT_TRUE(file.flush().good()) << "cannot write " << path;
}

std::string ReadFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream content;
    content << file.rdbuf();  // throws nothing when the file is of a process that ends meanwhile
    return content.str();
}

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

void MakeDirectory(const std::string& path) {
    fs::create_directories(path);
}

std::vector<std::string> Names(const std::string& directory) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(directory, error)) {
        names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::string StreamOf(const std::string& document, const std::string& stream) {
    std::array<char, kPathSize> path{};
    EXPECT_EQ(NAVOEAPath(0, document.c_str(), stream.c_str(), path.data(), path.size(), 0), 0)
        << document;
    return path.data();
}

std::string EADirectoryOf(const std::string& document) {
    return StreamOf(document, "");
}

void MakeEADirectory(const std::string& document) {
    ASSERT_EQ(NAVOEAMKDir(1, EADirectoryOf(document).c_str()), 0) << document;
}

std::vector<std::string> ScratchFiles() {
    std::vector<std::string> files;
    for (const std::string& name : Names(kSourceDir)) {
        files.push_back("source/" + name);
    }
    for (const std::string& name : Names(kStreamsOfSources)) {
        files.push_back("streams/" + name);
    }
    for (const std::string& name : Names(kTargetDir)) {
        files.push_back("target/" + name);
    }
    return files;
}

void PlayTool(const Script& script) {
    std::ostringstream text;
    text << script.exitStatus << ' ' << script.productSize << ' ' << script.sleepMs << ' '
         << script.signal << ' ' << script.keepSource << ' ' << script.isHeld << '\n';
    WriteFile(kScript, text.str());
}

void PlayToolsOfDocuments() {
    WriteFile(kToolEngine, VELLUMO_ENGINE "\n");
}

std::vector<ToolNote> ToolNotes() {
    std::vector<ToolNote> notes;
    std::istringstream lines(ReadFile(kToolNotes));
    std::string what;
    for (ToolNote note; lines >> note.milliseconds >> what >> note.container >> note.process >>
                        note.kind >> note.id;) {
        note.isEnd = what == "end";
        notes.push_back(note);
    }
    return notes;
}

void LetToolEnd() {
    WriteFile(kMayEnd, "");
}

void UseEmbeddedEngine() {
    InstallDocker(VELLUMO_ENGINE);
}

void UseNotedEngine() {
    fs::remove(kDocker);
    WriteFile(kDocker, std::string("#!/bin/sh\n") +
                           "IFS=$(printf '\\037')\n"
                           "printf '%s\\n' \"docker${IFS}$*\" >>" +
                           kCalls +
                           "\n"
                           "exec '" VELLUMO_ENGINE "' \"$@\"\n");
    fs::permissions(kDocker, fs::perms(0755));
}

void ChangeTools(const std::string& image) {
    WriteFile(kImage, image + '\n');
}

std::vector<std::vector<std::string>> DockerCalls() {
    std::vector<std::vector<std::string>> calls;
    std::istringstream lines(ReadFile(kCalls));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream elements(line);
        calls.emplace_back();
        for (std::string element; std::getline(elements, element, '\x1f');) {
            calls.back().push_back(element);
        }
    }
    return calls;
}

bool ToolsAreCalled(size_t count, std::chrono::milliseconds limit) {
    return ComesTrue([=] { return DockerCalls().size() >= count; }, limit);
}

bool ComesTrue(const std::function<bool()>& condition, std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end) {
            return false;
        }
        std::this_thread::sleep_for(kLook);
    }
    return true;
}

void LetContainerRunACommand(const std::string& container, bool runs) {
    const std::string mark = "/device/runs-" + container;
    if (runs) {
        WriteFile(mark, "");
    } else {
        fs::remove(mark);
    }
}

size_t LooksIntoContainers() {
    const std::string looks = ReadFile(kLooks);
    return static_cast<size_t>(std::count(looks.begin(), looks.end(), '\n'));
}

bool ContainersEverOverlapped() {
    return Exists(kOverlap);
}

bool SetEffectiveUser(uid_t user) {
    return setresuid(static_cast<uid_t>(-1), user, static_cast<uid_t>(-1)) == 0;
}

bool SetEffectiveGroup(gid_t group) {
    return setresgid(static_cast<gid_t>(-1), group, static_cast<gid_t>(-1)) == 0;
}

bool HasOtherUsers() {
    // In a user namespace with root alone, root cannot become another user.
    return geteuid() == 0 && SetEffectiveUser(65534) && SetEffectiveUser(0);
}

void PrepareFreshDevice(const std::string& kept) {
    Empty("/volume1", kept);
    Empty("/volume2");
    chmod("/volume1", 0755);
    Empty("/usr/navo");
    Empty("/var/log/navo");
    Empty("/var/packages/Vellumo/etc/leases");
    unlink("/var/packages/Vellumo/etc/index.json");
    for (const char* directory : {"/volume1/docs", "/volume1/docker", "/volume1/homes/ann",
                                  "/volume2/archive", "/var/packages/Vellumo/etc",
                                  "/var/packages/Vellumo/target/conf", "/usr/navo/etc/strings"}) {
        MakeDirectory(directory);
    }
    WriteFile("/etc/samba/smb.conf", kShares);
    WriteState(R"({"navo1":{"using":0,"used":0},"navo2":{"using":0,"used":0}})");
    InstallScriptedDocker();
    PlayTool({});
}

DeviceTest::DeviceTest(const std::string& kept) {
    PrepareFreshDevice(kept);
    SyslogSink::Get().Clear();
    errno = 0;
}

}  // namespace vellumo::test
