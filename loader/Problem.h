// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_PROBLEM_H
#define VELLUMO_LOADER_PROBLEM_H

#include <exception>
#include <span>
#include <string>
#include <vector>

namespace vellumo::loader {

// Why an operation failed. Each program translates a reason into its own terms: an exit status, an
// HTTP status, advice that names one of its options or buttons.
enum class Reason {
    // The share path.
    kBadSharePath,   // malformed, or it leaves its share
    kUnknownShare,   // the server has no such share
    kUnknownUser,    // a home folder is meant, and the server knows no such account
    kShareSettings,  // the list of shares cannot be read
    kUnmappable,     // the platform refuses the path for another reason

    // The document.
    kShareAlone,       // the path names a share, not a document in it
    kMissing,          // there is no such file
    kUnreachable,      // the file's status cannot be read
    kOutsideShare,     // a symbolic link on the way leads out of the share
    kLinkInPath,       // a symbolic link is on the way, and the share follows none
    kFolder,           // it is a directory
    kNotRegular,       // it is a symbolic link, a pipe or a device
    kNoType,           // its name has no extension
    kUnsupportedType,  // no converter takes its type
    kUnreadable,       // the process may not read it
    kEmpty,            // it has no content

    // Who may read the document.
    kShareUnavailable,  // the share is switched off
    kUserInvalid,       // the share's list of users to refuse names the user
    kUserNotValid,      // the share's list of users to admit does not name the user
    kHostRefused,       // the share's lists of hosts refuse the host that asks
    kVetoed,            // the share hides a component of the path
    kDenied,            // the kernel does not let the user read the file

    // The server and its pool.
    kNoRights,        // the process cannot become root
    kNoScratchShare,  // the server has no share for scratch files
    kNoEngine,        // no container engine's client is installed
    kNoContainer,     // no container is registered
    kOneContainer,    // one container alone never takes work of low priority

    // The state file.
    kStateFileLocked,      // its lock is not free within the time limit
    kStateFileUnopenable,  // it cannot be opened
    kStateFileDamaged,     // its content is not a JSON object
    kStateFileUnwritable,  // it cannot be written
    kNoFactoryDefault,     // the factory default cannot be copied over it

    // The conversion.
    kTimeLimit,      // the tool reached its time limit
    kToolFailed,     // the tool made no usable product
    kEngineFailed,   // the tool was not run, or not to its end: the engine or a container is down
    kNotPrepared,    // the tool was not started
    kUnknownResult,  // the library returned a result that this code does not know
    kNoProcess,      // no worker process can be started
    kWorkerDied,     // the worker process ended without a result
    kInterrupted,    // stopped on request
    kLeftQueued,     // stopped on request; the job stays queued, and is dropped when its turn comes
    kAbandoned,      // the same, but its processes may end with this program: the job then stays
    kFailedBefore,   // it failed before, and the document has not changed since

    // The cache.
    kNotKept,          // the conversion succeeded, but its product is not in the cache
    kNowhereToKeep,    // the directory for the products cannot be created
    kIndexUnopenable,  // the index of the cache cannot be opened
    kIndexUnreadable,  // the index of the cache cannot be read

    // The settings.
    kSettingsUnreadable,  // the file cannot be read
    kSettingsUnsafe,      // others than root own it or may write to it
    kSettingsDamaged,     // it is not a JSON object
    kSettingsUnwritable,  // it cannot be replaced
    kUnknownSetting,      // there is no setting of that name
    kBadSetting,          // its value is of another kind

    // Other databases.
    kFailuresUnusable,  // the memory of failures cannot be opened, read or written
    kQueueUnreadable,   // the queue of tasks cannot be read
};

struct ReasonEntry {
    Reason reason;
    const char* name;  // such as "time-limit"; for logs and for programs to compare; never changes
};

// All reasons, each once.
std::span<const ReasonEntry> Reasons();

// The name of `reason`.
const char* NameOf(Reason reason);

// A failure, described for people.
struct Problem {
    Reason reason;
    std::string what;  // what failed, and for which path
    std::string why;
    std::string next;  // what an administrator can do, whichever program runs; may be empty
    std::vector<std::string> toolOutput = {};  // the conversion tool's last lines; usually empty
};

// Thrown when an operation fails.
class Failure : public std::exception {
public:
    explicit Failure(Problem problem) : _problem(std::move(problem)) {}
    const char* what() const noexcept override { return _problem.why.c_str(); }
    const Problem& Details() const { return _problem; }

private:
    Problem _problem;
};

}  // namespace vellumo::loader

#endif
