// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_PROBLEM_H
#define VELLUMO_LOADER_PROBLEM_H

#include <exception>
#include <span>
#include <string>
#include <vector>

namespace vellumo::loader {

// Why an operation has failed. A program turns it into its own terms: an exit status, an HTTP
// status, advice that names an option or a button of its own.
enum class Reason {
    // The share path.
    kBadSharePath,   // not the form of one, or it leaves its share
    kUnknownShare,   // the server has no such share
    kUnknownUser,    // the server knows no such account, whose home is meant
    kShareSettings,  // the list of shares cannot be read
    kUnmappable,     // the platform refuses the path for another reason

    // The document.
    kShareAlone,       // a share instead of a document in one
    kMissing,          // no file lies there
    kUnreachable,      // it cannot be looked at
    kFolder,           // a directory
    kNotRegular,       // a link, a pipe, a device
    kNoType,           // its name has no extension
    kUnsupportedType,  // no converter takes its type
    kUnreadable,       // the process may not read it
    kEmpty,            // it holds nothing

    // The server and its pool.
    kNoRights,        // the process cannot become root
    kNoScratchShare,  // there is no share for scratch files
    kNoEngine,        // there is no client of a container engine
    kNoContainer,     // no container is registered
    kOneContainer,    // the only container never takes work of low priority

    // The state file.
    kStateFileLocked,      // its lock is not free within the time limit
    kStateFileUnopenable,  // it cannot be opened
    kStateFileDamaged,     // its content is not a JSON object
    kStateFileUnwritable,  // it cannot be written to
    kNoFactoryDefault,     // the factory default cannot be copied onto it

    // The conversion.
    kTimeLimit,      // the tool reached its time limit
    kToolFailed,     // the tool made no usable product
    kNotPrepared,    // the tool was not started
    kUnknownResult,  // the library's result has no known meaning
    kNoProcess,      // no worker process can be started
    kWorkerDied,     // the worker process ended without a result
    kInterrupted,    // stopped on request
    kLeftQueued,     // stopped on request; the job stays queued until its turn, then it is dropped
    kAbandoned,     // the same, but its processes may end with this program, and the job then stays
    kFailedBefore,  // it failed before, and the document has not changed since

    // What is kept.
    kNotKept,          // the conversion succeeded, and yet nothing is kept
    kNowhereToKeep,    // the directory for what is kept cannot be made
    kIndexUnopenable,  // the index of the cache cannot be opened
    kIndexUnreadable,  // the index of the cache cannot be read
};

struct ReasonEntry {
    Reason reason;
    const char* name;  // for logs and for programs to compare, such as "time-limit"; never changes
};

// Every reason, each once.
std::span<const ReasonEntry> Reasons();

// The name of `reason`.
const char* NameOf(Reason reason);

// A failure, told to a person.
struct Problem {
    Reason reason;
    std::string what;  // what failed, and for which path
    std::string why;
    std::string next;  // what an administrator can do, whatever program is in use; may be empty
    std::vector<std::string> toolOutput = {};  // the conversion tool's last lines, usually none
};

// Ends an operation with a problem.
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
