// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_WATCHED_H
#define VELLUMO_TESTS_WATCHED_H

#include <functional>
#include <memory>
#include <ostream>
#include <string>

#include "Device.h"
#include "daemon/watch/TreeWatch.h"
#include "daemon/watch/Watching.h"

namespace vellumo::watch {

// How a failed test shows a change.
void PrintTo(const Change& change, std::ostream* stream);

}  // namespace vellumo::watch

namespace vellumo::test {

// The folder that the tests watch.
inline constexpr const char* kDocs = "/volume1/docs";

// Changes, as a test expects them.
watch::Change Changed(const std::string& path);
watch::Change Gone(const std::string& path, bool isFolder = false);
watch::Change Moved(const std::string& from, const std::string& path, bool isFolder = false);
watch::Change Rescan(const std::string& path);

// Collects what a Watching or a TreeWatch finds, as its caller would: sleeps in poll() and takes.
template <typename Watch>
class Collector {
public:
    explicit Collector(Watch& watch) : _watch(watch) {}

    // Takes until `condition` is true of all changes so far; false if it is not within `limit`.
    bool Until(const std::function<bool(const watch::Changes&)>& condition,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

    // Whether `change` is told.
    bool Finds(const watch::Change& change,
               std::chrono::milliseconds limit = std::chrono::seconds(20));

    // Takes for so long, whatever comes.
    void For(std::chrono::milliseconds time);

    watch::Changes changes;

private:
    Watch& _watch;
};

// Pace that does not make tests wait.
watch::ScanWatch::Pace Quick();

}  // namespace vellumo::test

#endif
