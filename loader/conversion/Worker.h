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

// What one conversion came to.
struct WorkerReport {
    int result;           // of the library's service
    std::string product;  // in the scratch directory; "" when there is none
};

// One conversion in a process of its own: the library blocks for as long as a conversion takes,
// and changes niceness and ids of its process.
//
// The worker heeds no interrupting signal, so that it always gives its slot back; whoever wants it
// to end ends its tool. It is bound to this object by a connection: it keeps the product in the
// scratch directory while the connection stands, for this side to take away, and then removes what
// was not taken. So nothing is left behind however this side ends.
class Worker {
public:
    // Starts converting `document`. Throws Failure when no process can be started.
    Worker(const Document& document, const Assignment& assignment);
    // Dismisses it.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    pid_t Process() const { return _process; }

    // Readable as soon as there is a report, or never will be one.
    int Connection() const { return _connection.Get(); }

    // Blocks until then. Null when the worker died without a report.
    std::optional<WorkerReport> Receive() const;

    // The last lines that its tool wrote to its standard error.
    std::vector<std::string> ToolOutput() const;

    // Lets it end, and waits for that. Before it has reported, that is the end of the conversion.
    // Returns its wait status, 0 when it was dismissed before.
    int Dismiss();

    // Hands it over to a process in the background, which ends its tool as soon as there is one.
    // The worker then drops its request when its turn has come.
    void LeaveToBackground();

private:
    void Start(const Document& document, const Assignment& assignment);

    support::Descriptor _connection;
    support::Descriptor _toolOutput;  // none when no file can be had for it
    pid_t _process = 0;
};

}  // namespace vellumo::loader

#endif
