// SPDX-License-Identifier: Apache-2.0
#include "converter/ScratchFiles.h"

#include <fcntl.h>
#include <navo/exec.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <iomanip>
#include <set>
#include <sstream>
#include <vector>

#include "common/JsonAccess.h"
#include "common/KeptErrno.h"
#include "common/Log.h"
#include "common/RunAs.h"
#include "config/Leases.h"
#include "config/StateMembers.h"
#include "support/Directory.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

using leases::Fields;
using vellumo::support::Lease;

using vellumo::support::Descriptor;

constexpr const char* kSource = "Converter";
constexpr const char* kCreating = "creating ";  // before the time

thread_local Lease* current = nullptr;

// Once more when a signal ended the program: afterwards nobody could tell the directory's name.
bool RemoveTree(const std::string& directory) {
    const auto remove = [&directory] {
        return NLIBCExec("/usr/bin/rm", "-rf", directory.c_str(), nullptr, nullptr) >= 0;
    };
    errno = 0;
    return remove() || (errno == EINTR && remove());
}

void RemoveEADir(const path::Path& file) {
    // Either absolute or, when it is unknown, "": rm must never get any other path.
    const std::string directory = file.GetEAPathWithType("", "");
    if (directory.empty()) {
        return;
    }
    // Root created it, so only root can be sure to remove it.
    const RunAsRoot root(kSource, 194);
    if (!root || !RemoveTree(directory)) {
        log::Error(kSource, 194, "remove eadir failed");
    }
}

// The clock of the times of files.
timespec Now() {
    timespec now{};
    clock_gettime(CLOCK_REALTIME_COARSE, &now);
    return now;
}

std::string Text(const timespec& time) {
    std::ostringstream text;
    text << std::setfill('0') << std::setw(20) << time.tv_sec << std::setw(9) << time.tv_nsec;
    return text.str();
}

// Whether a process has announced files and not yet said which.
bool IsCreating(const Fields& fields) {
    return !fields.empty() && fields.back().starts_with(kCreating);
}

// All files that leases name, and kCreating if a living process is about to name others.
std::set<std::string> NamedIn(const std::vector<leases::Left>& left,
                              const std::vector<Fields>& held) {
    std::set<std::string> named;
    for (const leases::Left& scratch : left) {
        named.insert(scratch.fields.begin(), scratch.fields.end());
    }
    for (const Fields& fields : held) {
        named.insert(fields.begin(), fields.end());
        if (IsCreating(fields)) {
            named.insert(kCreating);
        }
    }
    return named;
}

// Removes the files that a process created and did not live to name: the empty ones that no lease
// names and that are not older than its announcement.
void RemoveUnnamed(const std::string& directory, const std::string& announcement,
                   const std::set<std::string>& named) {
    const Descriptor folder = vellumo::support::OpenDirectory(directory);
    for (const std::string& name : vellumo::support::NamesIn(folder)) {
        struct stat status {};
        if (!named.contains(directory + name) &&
            fstatat(folder.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(status.st_mode) && status.st_size == 0 && status.st_nlink == 1 &&
            kCreating + Text(status.st_ctim) >= announcement) {
            unlinkat(folder.Get(), name.c_str(), 0);
        }
    }
}

Json::Value CurrentState() {
    ConfigManager manager(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    manager.LockR();
    manager.Load();
    return manager.config;
}

// Whether a running job of the state file has the file in its command.
bool IsInUse(const Json::Value& state, const std::string& file) {
    if (!file.starts_with('/')) {
        return false;
    }
    const std::string name = file.substr(file.rfind('/') + 1);
    const Json::Value& running = json::Member(state, kRunningQueue);
    const std::vector<std::string> keys =
        running.isObject() ? running.getMemberNames() : std::vector<std::string>();
    return std::any_of(keys.begin(), keys.end(),
                       [&](const std::string& key) { return key.find(name) != std::string::npos; });
}

void RemoveLeft(const std::string& file) {
    path::Path scratch;
    scratch.SetData("realPath", file, true);
    if (file.find(SZF_COVERT_SOURCE_DIR) != std::string::npos) {
        RemoveScratchSource(scratch);
    } else if (file.find(SZF_COVERT_TARGET_DIR) != std::string::npos) {
        RemoveScratchTarget(file);
    }
}

}  // namespace

ScratchLease::ScratchLease() : _isOutermost(current == nullptr) {
    if (_isOutermost) {
        _lease = leases::TakeNew(leases::kScratch);
        current = &_lease;
    }
}

ScratchLease::~ScratchLease() {
    if (_isOutermost) {
        current = nullptr;
        const KeptErrno errors;
        _lease.End();
    }
}

void ScratchLease::Announce() {
    if (current != nullptr) {
        leases::AddFields(*current, {kCreating + Text(Now())});
    }
}

void ScratchLease::Note(const path::Path& source, const path::Path& target) {
    if (current != nullptr) {
        leases::AddFields(*current, {source.GetRealPath(""), target.GetRealPath("")});
    }
}

void RemoveScratchSource(const path::Path& source) {
    RemoveEADir(source);
    RemoveFileDropCache(source.GetRealPath(""));
}

// An engine that is killed while it brings the product out of its jail leaves a part of it.
void RemoveScratchTarget(const std::string& target) {
    RemoveFileDropCache(target);
    const size_t name = target.rfind('/') + 1;
    const std::string part = target.substr(0, name) + '.' + target.substr(name) + ".part";
    unlink(part.c_str());
}

// Of a job that is no longer in the running queue, nothing runs any more.
void RemoveLeftScratchFiles(const std::vector<std::string>& directories) {
    const KeptErrno errors;
    if (!leases::AnyLeft(leases::kScratch)) {
        return;
    }
    const std::vector<Fields> held = leases::FieldsOfHeld(leases::kScratch);
    std::vector<leases::Left> left = leases::TakeOverAll(leases::kScratch);
    const std::set<std::string> named = NamedIn(left, held);
    const Json::Value state = CurrentState();
    for (leases::Left& scratch : left) {
        const auto isInUse = [&](const std::string& file) { return IsInUse(state, file); };
        const bool diedCreating = IsCreating(scratch.fields);
        if (std::any_of(scratch.fields.begin(), scratch.fields.end(), isInUse) ||
            (diedCreating && named.contains(kCreating))) {
            continue;
        }
        std::for_each(scratch.fields.begin(), scratch.fields.end(), RemoveLeft);
        if (diedCreating) {
            for (const std::string& directory : directories) {
                RemoveUnnamed(directory, scratch.fields.back(), named);
            }
        }
        scratch.lease.End();
    }
}

}  // namespace NAVO::VELLUMO::converter
