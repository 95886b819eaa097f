// SPDX-License-Identifier: Apache-2.0
#include "config/BootRecord.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>
#include <fstream>
#include <string>

#include "common/JsonAccess.h"
#include "config/Leases.h"
#include "config/StateMembers.h"
#include "support/Descriptor.h"
#include "support/Directory.h"
#include "support/PrivateFile.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::leases {
namespace {

using vellumo::support::Descriptor;

constexpr const char* kBootId = "/proc/sys/kernel/random/boot_id";

std::string Record() {
    return Folder() + "boot";
}

std::string LineOf(const std::string& path) {
    std::ifstream file(path);
    std::string line;
    std::getline(file, line);
    return line;
}

bool Sync(const std::string& path) {
    const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return file && fsync(file.Get()) == 0;
}

void SetRecord(const std::string& boot) {
    const std::string part = Record() + ".new";
    vellumo::support::EnsurePrivateFile(part);
    std::ofstream file(part, std::ios::trunc);
    file << boot << '\n';
    file.close();
    if (file.good() && Sync(part) && rename(part.c_str(), Record().c_str()) == 0) {
        Sync(Folder());
    }
}

void RemoveHeld(Json::Value& state) {
    for (const char* member : {kRunningFiles, kRunningQueue}) {
        if (json::HasMember(state, member)) {
            state[member] = Json::Value(Json::objectValue);
        }
    }
    if (json::Member(state, kWaitingQueue).isArray()) {
        for (Json::Value& jobs : state[kWaitingQueue]) {
            jobs = Json::Value(Json::objectValue);
        }
    }
    for (const std::string& name : ContainerNames(state)) {
        if (json::HasMember(state[name], kUsing)) {
            state[name][kUsing] = 0;
        }
    }
}

void EndLeases() {
    for (const char* kind : {kMark, kWaiting, kSlot, kScratch}) {
        for (Left& left : TakeOverAll(kind)) {
            left.lease.End();
        }
    }
}

// When the server started, by the clock as it is now.
time_t TimeOfBoot() {
    timespec now{};
    timespec sinceBoot{};
    clock_gettime(CLOCK_REALTIME, &now);
    clock_gettime(CLOCK_BOOTTIME, &sinceBoot);
    return now.tv_sec - sinceBoot.tv_sec;
}

// A file that is newer may be of a program that runs now.
void RemoveOlderFiles(const std::string& directory, time_t moment) {
    const Descriptor folder = vellumo::support::OpenDirectory(directory);
    for (const std::string& name : vellumo::support::NamesIn(folder)) {
        struct stat status {};
        if (fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode) && status.st_ctim.tv_sec < moment) {
            unlinkat(folder.Get(), name.c_str(), 0);
        }
    }
}

void RemoveScratchFiles() {
    std::string volume;
    if (VolumePathGet(SZF_DOCKER_DIR, volume)) {
        for (const char* directory : {SZF_COVERT_SOURCE_DIR, SZF_COVERT_TARGET_DIR}) {
            RemoveOlderFiles(volume + SZF_DOCKER_DIR + directory, TimeOfBoot());
        }
    }
}

// Saves durably before the new start is recorded: a second power cut must not bring back what is
// removed now.
void Heal(const std::string& boot) {
    ConfigManager manager(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    if (!manager.LockW() || LineOf(Record()) == boot) {
        return;
    }
    if (manager.Load()) {
        RemoveHeld(manager.config);
        if (!manager.Save() || !Sync(SZF_CONFIG_PATH)) {
            return;
        }
    }
    RemoveScratchFiles();
    EndLeases();
    SetRecord(boot);
}

}  // namespace

void HealAfterBoot() {
    const std::string boot = LineOf(kBootId);
    const std::string recorded = LineOf(Record());
    if (boot.empty() || boot == recorded) {
        return;
    }
    if (recorded.empty()) {
        SetRecord(boot);
    } else {
        Heal(boot);
    }
}

}  // namespace NAVO::VELLUMO::leases
