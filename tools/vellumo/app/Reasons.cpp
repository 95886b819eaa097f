// SPDX-License-Identifier: Apache-2.0
#include "app/Reasons.h"

#include <algorithm>
#include <iterator>

namespace vellumo::cli {
namespace {

using loader::Reason;

constexpr ReasonMeaning kMeanings[] = {
    {Reason::kBadSharePath, ExitCode::kBadInput, nullptr},
    {Reason::kUnknownShare, ExitCode::kBadInput, nullptr},
    {Reason::kUnknownUser, ExitCode::kBadInput,
     "Name the owner of the home folder with --user NAME; 'getent passwd' lists the accounts."},
    {Reason::kShareSettings, ExitCode::kBadInput, nullptr},
    {Reason::kUnmappable, ExitCode::kBadInput,
     "Check the names of the share and, for a home folder, of the user (--user)."},
    {Reason::kShareAlone, ExitCode::kBadInput,
     "Name a document in it, as in /docs/report.docx, or convert all its documents with -r."},
    {Reason::kMissing, ExitCode::kBadInput, nullptr},
    {Reason::kUnreachable, ExitCode::kBadInput, nullptr},
    {Reason::kOutsideShare, ExitCode::kBadInput, nullptr},
    {Reason::kLinkInPath, ExitCode::kBadInput, nullptr},
    {Reason::kFolder, ExitCode::kBadInput, "Convert all documents in it with -r."},
    {Reason::kNotRegular, ExitCode::kBadInput, nullptr},
    {Reason::kNoType, ExitCode::kUnsupportedType, nullptr},
    {Reason::kUnsupportedType, ExitCode::kUnsupportedType,
     "'vellumo pdf --help' lists the types that can be converted."},
    {Reason::kUnreadable, ExitCode::kBadInput,
     "Ask its owner for permission, or run the command as a user who has it."},
    {Reason::kEmpty, ExitCode::kBadInput, nullptr},

    {Reason::kShareUnavailable, ExitCode::kDenied, nullptr},
    {Reason::kUserInvalid, ExitCode::kDenied, nullptr},
    {Reason::kUserNotValid, ExitCode::kDenied, nullptr},
    {Reason::kHostRefused, ExitCode::kDenied, nullptr},
    {Reason::kVetoed, ExitCode::kDenied, nullptr},
    {Reason::kDenied, ExitCode::kDenied, nullptr},

    {Reason::kNoRights, ExitCode::kNotPrepared,
     "Run the command with sudo, or in a device view, where you are root."},
    {Reason::kNoScratchShare, ExitCode::kNotPrepared, nullptr},
    {Reason::kNoEngine, ExitCode::kNotPrepared,
     "Install the client of a container engine there, or run the command in a device view."},
    {Reason::kNoContainer, ExitCode::kPool, "Start the converter containers: vellumo pool up"},
    {Reason::kOneContainer, ExitCode::kPool,
     "Start a second container with 'vellumo pool up', or convert whole documents only."},

    {Reason::kStateFileLocked, ExitCode::kStateFile, nullptr},
    {Reason::kStateFileUnopenable, ExitCode::kStateFile,
     "Run the command as root, on a server (or in a device view) where the package is installed."},
    {Reason::kStateFileDamaged, ExitCode::kStateFile,
     "'vellumo pool reset' restores the factory default; 'vellumo pool up' registers the "
     "containers again."},
    {Reason::kStateFileUnwritable, ExitCode::kStateFile, nullptr},
    {Reason::kNoFactoryDefault, ExitCode::kStateFile, nullptr},

    {Reason::kTimeLimit, ExitCode::kTimeLimit,
     "Convert fewer pages, as in 'vellumo pdf --pages 1-10'."},
    {Reason::kToolFailed, ExitCode::kToolFailed, nullptr},
    {Reason::kEngineFailed, ExitCode::kToolFailed, nullptr},
    {Reason::kNotPrepared, ExitCode::kNotPrepared,
     "The system log has the reason: journalctl -t vellumo."},
    {Reason::kUnknownResult, ExitCode::kFailed,
     "The system log may say more: journalctl -t vellumo."},
    {Reason::kNoProcess, ExitCode::kFailed, nullptr},
    {Reason::kWorkerDied, ExitCode::kFailed,
     "If 'vellumo pool' shows a container in use though nothing runs, 'vellumo pool up' corrects "
     "that."},
    {Reason::kInterrupted, ExitCode::kInterrupted, nullptr},
    {Reason::kLeftQueued, ExitCode::kInterrupted,
     "The job stays queued and is dropped when its turn comes; 'vellumo pool' lists the jobs."},
    {Reason::kAbandoned, ExitCode::kInterrupted,
     "If 'vellumo pool' still lists the job after a while, 'vellumo pool up' drops it."},
    {Reason::kFailedBefore, ExitCode::kToolFailed,
     "'vellumo why' tells more. Try it again with --refresh."},

    {Reason::kNotKept, ExitCode::kFailed,
     "Try again in a moment. If it fails again, the system log has the reason: journalctl -t "
     "vellumo."},
    {Reason::kNowhereToKeep, ExitCode::kOutput,
     "Check that the volume has free space, is not read-only, and has a root folder to which only "
     "root may write, or a sticky one; or write a PDF elsewhere with 'vellumo pdf --no-cache -o'."},
    {Reason::kIndexUnopenable, ExitCode::kDatabase,
     "The system log has the reason: journalctl -t vellumo. A damaged index may be removed: the "
     "products themselves are still found."},
    {Reason::kIndexUnreadable, ExitCode::kDatabase, nullptr},

    {Reason::kSettingsUnreadable, ExitCode::kSettings, nullptr},
    {Reason::kSettingsUnsafe, ExitCode::kSettings, nullptr},
    {Reason::kSettingsDamaged, ExitCode::kSettings, nullptr},
    {Reason::kSettingsUnwritable, ExitCode::kSettings, nullptr},
    {Reason::kUnknownSetting, ExitCode::kSettings,
     "'vellumo settings' lists the settings; 'vellumo settings unset NAME' removes one."},
    {Reason::kBadSetting, ExitCode::kSettings, nullptr},
    {Reason::kFailuresUnusable, ExitCode::kDatabase, nullptr},
    {Reason::kQueueUnreadable, ExitCode::kDatabase,
     "The system log has the error of the database: journalctl -t vellumo"},
};

}  // namespace

std::span<const ReasonMeaning> ReasonMeanings() {
    return kMeanings;
}

Problem InOwnTerms(const loader::Problem& problem) {
    const auto* meaning = std::find_if(
        std::begin(kMeanings), std::end(kMeanings),
        [&problem](const ReasonMeaning& entry) { return entry.reason == problem.reason; });
    return {meaning->code, problem.what, problem.why,
            meaning->next == nullptr ? problem.next : meaning->next, problem.toolOutput};
}

}  // namespace vellumo::cli
