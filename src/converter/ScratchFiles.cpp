// SPDX-License-Identifier: Apache-2.0
#include "converter/ScratchFiles.h"

#include <navo/exec.h>

#include <algorithm>
#include <vector>

#include "common/JsonAccess.h"
#include "common/KeptErrno.h"
#include "common/Log.h"
#include "common/RunAs.h"
#include "config/Leases.h"
#include "config/StateMembers.h"
#include "vellumo/ConfigManager.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace NAVO::VELLUMO::converter {
namespace {

using leases::Fields;
using vellumo::support::Lease;

constexpr const char* kSource = "Converter";

thread_local Lease* current = nullptr;

void RemoveEADir(const path::Path& file) {
    // Either absolute or, when it is unknown, "": rm must never get any other path.
    const std::string directory = file.GetEAPathWithType("", "");
    if (directory.empty()) {
        return;
    }
    // Root created it, so only root can be sure to remove it.
    const RunAsRoot root(kSource, 194);
    if (!root || NLIBCExec("/usr/bin/rm", "-rf", directory.c_str(), nullptr, nullptr) < 0) {
        log::Error(kSource, 194, "remove eadir failed");
    }
}

// Whether a running job of the state file has the file in its command.
bool IsInUse(const Json::Value& state, const std::string& file) {
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
        RemoveFileDropCache(file);
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

void ScratchLease::Note(const path::Path& source, const path::Path& target) {
    for (const path::Path* file : {&source, &target}) {
        const std::string name = file->GetRealPath("");
        if (current != nullptr && !name.empty()) {
            leases::AddField(*current, name);
        }
    }
}

void RemoveScratchSource(const path::Path& source) {
    RemoveEADir(source);
    RemoveFileDropCache(source.GetRealPath(""));
}

// Of a job that is no longer in the running queue, nothing runs any more.
void RemoveLeftScratchFiles() {
    const KeptErrno errors;
    std::vector<leases::Left> left = leases::TakeOverAll(leases::kScratch);
    if (left.empty()) {
        return;
    }
    ConfigManager state(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS);
    state.LockR();
    state.Load();
    state.Unlock();
    for (leases::Left& scratch : left) {
        const auto isInUse = [&](const std::string& file) { return IsInUse(state.config, file); };
        if (std::any_of(scratch.fields.begin(), scratch.fields.end(), isInUse)) {
            continue;
        }
        std::for_each(scratch.fields.begin(), scratch.fields.end(), RemoveLeft);
        scratch.lease.End();
    }
}

}  // namespace NAVO::VELLUMO::converter
