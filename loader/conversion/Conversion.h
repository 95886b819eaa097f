// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_CONVERSION_H
#define VELLUMO_LOADER_CONVERSION_H

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "loader/Problem.h"
#include "loader/conversion/Assignment.h"
#include "loader/conversion/Watch.h"
#include "loader/conversion/Worker.h"
#include "loader/failures/DocumentIdentity.h"

namespace vellumo::loader {

// One conversion of a document in a worker process, from its preparation to its product or the
// reason why there is none. It always converts: ask KeptProducts first whether a fresh product is
// kept already. Remembers a failure, and forgets it after a success (see FailureMemory).
//
// Use one object per conversion; a process may run several conversions, also at once. The process
// must be able to become root and must not have other threads, since it forks.
class Conversion {
public:
    // `document` and the pages of `assignment` are not owned and outlive the object.
    Conversion(const Document& document, const Assignment& assignment);

    // Converts, and returns the product's path. A kept product lies in the cache; another
    // one lies in the scratch directory, and the caller moves it away while this object lives.
    //
    // Blocks until the conversion ends or `stops` stops it, and calls `listener` meanwhile. Throws
    // Failure when there is no product. Products of an earlier version of the document are removed
    // in either case.
    std::string Run(StopRequests& stops, Listener& listener);

    // The parts of Run(), for a program that runs several conversions: Start() each, and then,
    // until it has ended, wait with WaitForNews() and Look(). `listener` outlives the object.
    // Throws Failure when the conversion cannot be started.
    void Start(Listener& listener);

    // The product's path, as Run() returns it; null while the conversion goes on. Throws Failure
    // when it has ended without a product.
    std::optional<std::string> Look();

    // Whether it probably needs a container no more: its only tool has ended, and what is left is
    // to store the product. If the document was replaced meanwhile, the tool runs once more. May
    // stay false until the end.
    bool HasLeftPool();

    // Passes on a request to stop. Look() tells when the conversion has stopped.
    void Stop() { _watch->Stop(); }

    // The worker process, while the conversion goes on.
    pid_t Process() const { return _worker->Process(); }

    // A file descriptor that becomes readable when the conversion has ended.
    int WaitOn() const { return _worker->Connection(); }

private:
    std::string What() const { return "cannot convert " + _document.sharePath; }
    void MakeReadyToKeep() const;
    void RemoveFailureMark() const;
    std::string OutcomeOf(const Ending& ending);
    void Remember(const Problem& problem) const;
    void Forget() const;
    std::string Product(const WorkerReport& report) const;
    Problem WhyNoProduct(int result) const;

    const Document& _document;
    Assignment _assignment;
    std::optional<DocumentIdentity> _identity;  // when the conversion began
    std::optional<Worker> _worker;
    std::optional<Watch> _watch;
};

// How the product of `assignment` is called in the memory of failures; null for one that is not
// kept.
const char* ProductOf(const Assignment& assignment);

// Waits until one of the `running` conversions may have ended, a stop is requested or the
// descriptor `also` is readable, for at most `limit`. Returns whether a stop is requested.
bool WaitForNews(const std::vector<const Conversion*>& running, StopRequests& stops,
                 std::chrono::milliseconds limit = Watch::kLookAfter, int also = -1);

}  // namespace vellumo::loader

#endif
