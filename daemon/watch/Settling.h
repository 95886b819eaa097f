// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_WATCH_SETTLING_H
#define VELLUMO_WATCH_SETTLING_H

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "daemon/watch/Change.h"
#include "daemon/watch/Roots.h"

namespace vellumo::watch {

// Holds changes back until nothing has happened at their paths for a while, so that a document that
// is still being written is not converted again and again.
//
// Of several changes at one path the last one remains. A rescan of a folder stands for those of the
// folders in it. A move is told after a shorter time, together with all later ones, in the order of
// the moves: the disk shows only where they end. Of a file or folder that moves several times, one
// move remains. After a move the new path is told once more,
// as kChanged or kRescan, because what the move's event said may be out of date.
//
// Memory is bounded: when there are too many entries, a new one becomes a rescan of its folder, and
// when there are too many folders, of the root.
//
// One thread uses an object.
class Settling {
public:
    using Time = std::chrono::steady_clock::time_point;
    using Clock = std::function<Time()>;

    struct Limits {
        std::chrono::milliseconds settle = std::chrono::seconds(10);
        // A path at which something happens all the time is told after this time.
        std::chrono::milliseconds longest = std::chrono::minutes(5);
        std::chrono::milliseconds longestRescan = std::chrono::minutes(1);
        std::chrono::milliseconds move = std::chrono::seconds(1);
        size_t files = 20000;
        size_t folders = 1000;
        size_t moves = 1000;
        size_t bytes = 8 * 1024 * 1024;  // of all paths together
    };

    // `roots`: the folders that are told when there are too many others.
    explicit Settling(const std::vector<std::string>& roots);
    Settling(const std::vector<std::string>& roots, const Limits& limits, Clock clock);

    // Leaves out a change outside the roots.
    void Add(const Change& change);

    // Returns changes that have settled, `most` at most, moves first.
    Changes TakeSettled(size_t most = 1000);

    // Returns all moves, settled or not. The other changes stay.
    Changes TakeMoves();

    // The same if one of them leads to a path that `isMeant`, else nothing.
    Changes TakeMovesIf(const std::function<bool(const std::string&)>& isMeant);

    // The time until the next change has settled; 0 when there is one. Nothing when no change
    // waits.
    std::optional<std::chrono::milliseconds> UntilNext() const;

    // How many changes wait.
    size_t Waiting() const { return _entries.size() + _moves.size(); }

private:
    struct Entry {
        Change::Kind kind;
        bool isFolder;
        Time first;
        Time due;
    };
    using Entries = std::map<std::string, Entry>;
    struct Move {
        Change change;
        Time due;
    };
    using Moves = std::deque<Move>;

    enum class Within { kAll, kRescans };

    void Put(const std::string& path, Change::Kind kind, bool isFolder, Time first);
    void PutRescan(const std::string& folder, Time first);
    void Insert(const std::string& path, Entry entry);
    Entries::iterator Remove(Entries::iterator entry);
    Time RemoveWithin(const std::string& folder, Within which);
    void AddMove(const Change& change, Time now);
    Moves::iterator EarlierMove(const Change& change);
    Moves::iterator PlaceOf(const Change& change);
    bool IsTooLong(const std::string& path) const;

    Roots _roots;
    Limits _limits;
    Clock _clock;
    Entries _entries;
    std::set<std::pair<Time, const std::string*>> _order;  // of the entries; their paths
    Moves _moves;
    size_t _folders = 0;  // entries that are rescans
    size_t _bytes = 0;    // of the paths of the entries
};

}  // namespace vellumo::watch

#endif
