// SPDX-License-Identifier: Apache-2.0
#include "converter/ConvertingManager.h"

#include <unistd.h>

#include <utility>

#include "common/JsonAccess.h"
#include "config/Leases.h"
#include "config/StateChange.h"
#include "config/StateMembers.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO::converter {
namespace {

Json::Value& RunningFilesForChange(Json::Value& root) {
    return json::AsObject(json::AsObject(root)[kRunningFiles]);
}

// Removes the marks of processes that have died; tells those who wait for one of them why it goes.
void RemoveLeftMarks(Json::Value& root, StateChange& change) {
    for (leases::Left& left : leases::TakeOverAll(leases::kMark)) {
        if (!left.fields.empty()) {
            RunningFilesForChange(root).removeMember(left.fields.front());
        }
        leases::NoteDeath(left.lease);
        change.End(std::move(left.lease));
    }
}

}  // namespace

ConvertingManager::ConvertingManager(std::string key)
    : _key(std::move(key)), _config(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS) {}

ConvertingManager::~ConvertingManager() {
    if (_inserted) {
        StateChange change(_config);
        RunningFilesForChange(_config.config).removeMember(_key);
        change.End(std::move(_lease));
    }
}

bool ConvertingManager::IsMarked() const {
    return json::HasMember(json::Member(_config.config, kRunningFiles), _key);
}

// A mark that has appeared since the first check is of a process that lives, or has no lease.
bool ConvertingManager::IsSetByOther() const {
    return IsMarked() && leases::IsHeld(leases::kMark, _key);
}

void ConvertingManager::Set(bool alsoRemovesLeft) {
    StateChange change(_config);
    if (IsSetByOther()) {
        return;
    }
    _lease = leases::Take(leases::kMark, {_key});
    RunningFilesForChange(_config.config)[_key] = Json::Value(Json::objectValue);
    _inserted = true;
    if (alsoRemovesLeft) {
        RemoveLeftMarks(_config.config, change);
    }
}

bool ConvertingManager::Insert() {
    leases::Prepare();
    const bool anyLeft = leases::AnyLeft(leases::kMark);
    _config.LockR();
    _config.Load();
    if (!IsMarked() || leases::IsLeft(leases::kMark, _key)) {
        Set(anyLeft);
    }
    _config.Unlock();
    return _inserted;
}

bool ConvertingManager::WaitUntilGone() {
    leases::Sight holder;
    while (true) {
        _config.LockR();
        _config.Load();
        const bool marked = IsMarked();
        const bool isFree = marked ? leases::IsLeft(leases::kMark, _key) : holder.WasLeft();
        if (isFree) {
            Set(false);
        }
        _config.Unlock();
        if (_inserted || (!marked && !isFree)) {
            return _inserted;
        }
        holder = leases::Sight(leases::kMark, _key);
        usleep(static_cast<useconds_t>(USLEEP_TIME));
    }
}

}  // namespace NAVO::VELLUMO::converter
