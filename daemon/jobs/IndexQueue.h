// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_DAEMON_INDEXQUEUE_H
#define VELLUMO_DAEMON_INDEXQUEUE_H

#include <chrono>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/Descriptor.h"

namespace vellumo::daemon {

// The indexing queue: a file (SZF_INDEX_QUEUE) to which other programs append documents and
// folders, one a line, as a real path or, for any name, as a JSON object {"path": "..."}. A line
// is short work for a script: echo /volume1/docs/new >>queue.
//
// The daemon renames the file (to SZF_INDEX_QUEUE_WORKING), works on it, and removes it when all
// of its lines are done. A daemon that starts goes on with a file that another one has left, from
// its beginning: what is done already is fresh. Only a file that root owns and nobody else may
// write to is read.
class IndexQueue {
public:
    // At most `count` paths that are next.
    std::vector<std::string> Take(size_t count);

    // The work on a path that Take() has returned has ended.
    void Finish(const std::string& path);

private:
    using Clock = std::chrono::steady_clock;

    bool Begin();
    bool Open();
    std::optional<std::string> NextLine();
    void EndIfDone();

    support::Descriptor _file;
    std::string _read;  // and not taken yet
    std::set<std::string> _open;
    Clock::time_point _lastLine;
    bool _isRefused = false;  // has been told
};

// The path that a line names; nothing for a line without an absolute path.
std::optional<std::string> PathInLine(const std::string& line);

}  // namespace vellumo::daemon

#endif
