// SPDX-License-Identifier: Apache-2.0
#include "loader/Problem.h"

#include <algorithm>
#include <iterator>

namespace vellumo::loader {
namespace {

constexpr ReasonEntry kReasons[] = {
    {Reason::kBadSharePath, "bad-share-path"},
    {Reason::kUnknownShare, "unknown-share"},
    {Reason::kUnknownUser, "unknown-user"},
    {Reason::kShareSettings, "share-settings"},
    {Reason::kUnmappable, "unmappable"},
    {Reason::kShareAlone, "share-alone"},
    {Reason::kMissing, "missing"},
    {Reason::kUnreachable, "unreachable"},
    {Reason::kOutsideShare, "outside-share"},
    {Reason::kLinkInPath, "link-in-path"},
    {Reason::kFolder, "folder"},
    {Reason::kNotRegular, "not-regular"},
    {Reason::kNoType, "no-type"},
    {Reason::kUnsupportedType, "unsupported-type"},
    {Reason::kUnreadable, "unreadable"},
    {Reason::kEmpty, "empty"},
    {Reason::kShareUnavailable, "share-unavailable"},
    {Reason::kUserInvalid, "user-invalid"},
    {Reason::kUserNotValid, "user-not-valid"},
    {Reason::kHostRefused, "host-refused"},
    {Reason::kVetoed, "vetoed"},
    {Reason::kDenied, "denied"},
    {Reason::kNoRights, "no-rights"},
    {Reason::kNoScratchShare, "no-scratch-share"},
    {Reason::kNoEngine, "no-engine"},
    {Reason::kNoContainer, "no-container"},
    {Reason::kOneContainer, "one-container"},
    {Reason::kStateFileLocked, "state-file-locked"},
    {Reason::kStateFileUnopenable, "state-file-unopenable"},
    {Reason::kStateFileDamaged, "state-file-damaged"},
    {Reason::kStateFileUnwritable, "state-file-unwritable"},
    {Reason::kNoFactoryDefault, "no-factory-default"},
    {Reason::kTimeLimit, "time-limit"},
    {Reason::kToolFailed, "tool-failed"},
    {Reason::kEngineFailed, "engine-failed"},
    {Reason::kNotPrepared, "not-prepared"},
    {Reason::kUnknownResult, "unknown-result"},
    {Reason::kNoProcess, "no-process"},
    {Reason::kWorkerDied, "worker-died"},
    {Reason::kInterrupted, "interrupted"},
    {Reason::kLeftQueued, "left-queued"},
    {Reason::kAbandoned, "abandoned"},
    {Reason::kFailedBefore, "failed-before"},
    {Reason::kNotKept, "not-kept"},
    {Reason::kNowhereToKeep, "nowhere-to-keep"},
    {Reason::kIndexUnopenable, "index-unopenable"},
    {Reason::kIndexUnreadable, "index-unreadable"},
    {Reason::kSettingsUnreadable, "settings-unreadable"},
    {Reason::kSettingsUnsafe, "settings-unsafe"},
    {Reason::kSettingsDamaged, "settings-damaged"},
    {Reason::kSettingsUnwritable, "settings-unwritable"},
    {Reason::kUnknownSetting, "unknown-setting"},
    {Reason::kBadSetting, "bad-setting"},
    {Reason::kFailuresUnusable, "failures-unusable"},
    {Reason::kQueueUnreadable, "queue-unreadable"},
};

}  // namespace

std::span<const ReasonEntry> Reasons() {
    return kReasons;
}

const char* NameOf(Reason reason) {
    return std::find_if(std::begin(kReasons), std::end(kReasons),
                        [reason](const ReasonEntry& entry) { return entry.reason == reason; })
        ->name;
}

}  // namespace vellumo::loader
