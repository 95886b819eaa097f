// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_LOADER_WORKER_H
#define VELLUMO_LOADER_WORKER_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "loader/conversion/Assignment.h"
#include "support/Descriptor.h"

namespace vellumo::loader {

// The outcome of one conversion.
struct WorkerReport {
    int result;           // what the library's service returned
    std::string product;  // its path in the scratch directory; "" when there is none
};

// One conversion in its own worker process, because the library blocks until the conversion ends
// and changes the niceness and the ids of its process.
//
// The worker ignores SIGINT, SIGTERM, SIGHUP and SIGQUIT, so that it always frees its container; to
// end a conversion, end its tool. A connection binds the worker to this object: while it is open,
// the worker keeps the product in the scratch directory for the owner of this object to take. When
// it closes, the worker removes what was not taken. So nothing stays behind, however this side
// ends.
class Worker {
public:
    // Starts converting `document`. Throws Failure when no process can be started.
    Worker(const Document& document, const Assignment& assignment);
    // Calls Dismiss().
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    pid_t Process() const { return _process; }

    // A file descriptor that becomes readable when the worker has reported or died.
    int Connection() const { return _connection.Get(); }

    // Waits for the report and returns it; null if the worker dies without one.
    std::optional<WorkerReport> Receive() const;

    // The last lines, at most 5, that the worker and its tool wrote to their standard output and
    // error; empty when there is no file to collect them.
    std::vector<std::string> ToolOutput() const;

    // Closes the connection and waits for the worker to end; if it has not reported yet, that means
    // until the conversion ends. Returns its wait status; 0 if it was dismissed before.
    int Dismiss();

    // Hands the worker over to a process in the background, which ends the tool as soon as one
    // runs. So the worker drops its job when its turn comes.
    void LeaveToBackground();

private:
    void Start(const Document& document, const Assignment& assignment);

    support::Descriptor _connection;
    support::Descriptor _toolOutput;  // empty when no temporary file could be created
    pid_t _process = 0;
};

}  // namespace vellumo::loader

#endif
