// SPDX-License-Identifier: Apache-2.0
#include "Watched.h"

#include <poll.h>

#include <algorithm>

namespace vellumo::watch {

void PrintTo(const Change& change, std::ostream* stream) {
    constexpr std::array<const char*, 4> kKinds{"changed", "gone", "moved", "rescan"};
    *stream << kKinds.at(static_cast<size_t>(change.kind)) << ' ';
    if (!change.from.empty()) {
        *stream << change.from << " to ";
    }
    *stream << change.path << (change.isFolder ? " (folder)" : "");
}

}  // namespace vellumo::watch

namespace vellumo::test {

using watch::Change;
using watch::Changes;
using Kind = watch::Change::Kind;

Change Changed(const std::string& path) {
    return {Kind::kChanged, path};
}

Change Gone(const std::string& path, bool isFolder) {
    return {Kind::kGone, path, "", isFolder};
}

Change Moved(const std::string& from, const std::string& path, bool isFolder) {
    return {Kind::kMoved, path, from, isFolder};
}

Change Rescan(const std::string& path) {
    return {Kind::kRescan, path};
}

template <typename Watch>
bool Collector<Watch>::Until(const std::function<bool(const Changes&)>& condition,
                             std::chrono::milliseconds limit) {
    const auto end = std::chrono::steady_clock::now() + limit;
    while (!condition(changes)) {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            end - std::chrono::steady_clock::now());
        pollfd waiting{_watch.Descriptor(), POLLIN, 0};
        if (left.count() <= 0 || poll(&waiting, 1, static_cast<int>(left.count())) == 0) {
            return condition(changes);
        }
        const Changes found = _watch.Take();
        changes.insert(changes.end(), found.begin(), found.end());
    }
    return true;
}

template <typename Watch>
bool Collector<Watch>::Finds(const Change& change, std::chrono::milliseconds limit) {
    return Until(
        [&](const Changes& all) { return std::find(all.begin(), all.end(), change) != all.end(); },
        limit);
}

template <typename Watch>
void Collector<Watch>::For(std::chrono::milliseconds time) {
    static_cast<void>(Until([](const Changes&) { return false; }, time));
}

template class Collector<watch::Watching>;
template class Collector<watch::TreeWatch>;

watch::ScanWatch::Pace Quick() {
    using std::chrono::milliseconds;
    return {milliseconds(50), std::chrono::hours(24), milliseconds(1), milliseconds(1),
            milliseconds(5)};
}

}  // namespace vellumo::test
