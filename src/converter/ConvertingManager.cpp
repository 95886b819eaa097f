// SPDX-License-Identifier: Apache-2.0
#include "converter/ConvertingManager.h"

#include <unistd.h>

#include <utility>

#include "common/JsonAccess.h"
#include "vellumo/Constants.h"

namespace NAVO::VELLUMO::converter {
namespace {

constexpr const char* kRunningFiles = "runningFiles";

Json::Value& RunningFilesForChange(Json::Value& root) {
    return json::AsObject(json::AsObject(root)[kRunningFiles]);
}

}  // namespace

ConvertingManager::ConvertingManager(std::string key)
    : _key(std::move(key)), _config(SZF_CONFIG_PATH, LOCK_TIMEOUT_SECS) {}

ConvertingManager::~ConvertingManager() {
    if (_inserted) {
        const ConfigWriter writer(_config);
        RunningFilesForChange(_config.config).removeMember(_key);
    }
}

bool ConvertingManager::IsMarked() {
    return json::HasMember(json::Member(_config.config, kRunningFiles), _key);
}

bool ConvertingManager::Insert() {
    _config.LockR();
    _config.Load();
    if (!IsMarked()) {
        const ConfigWriter writer(_config);
        RunningFilesForChange(_config.config)[_key] = Json::Value(Json::objectValue);
        _inserted = true;
    }
    _config.Unlock();
    return _inserted;
}

void ConvertingManager::WaitUntilGone() {
    while (true) {
        _config.LockR();
        _config.Load();
        const bool marked = IsMarked();
        _config.Unlock();
        if (!marked) {
            return;
        }
        usleep(static_cast<useconds_t>(USLEEP_TIME));
    }
}

}  // namespace NAVO::VELLUMO::converter
