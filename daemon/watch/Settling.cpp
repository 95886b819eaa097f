// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/Settling.h"

#include <algorithm>
#include <iterator>

#include "daemon/watch/Roots.h"

namespace vellumo::watch {
namespace {

using Kind = Change::Kind;
using std::chrono::milliseconds;

std::string FolderOf(const std::string& path) {
    return path.substr(0, std::max<size_t>(path.rfind('/'), 1));
}

}  // namespace

Settling::Settling(const std::vector<std::string>& roots)
    : Settling(roots, Limits(), std::chrono::steady_clock::now) {}

Settling::Settling(const std::vector<std::string>& roots, const Limits& limits, Clock clock)
    : _roots(roots), _limits(limits), _clock(std::move(clock)) {}

void Settling::Add(const Change& change) {
    if (_roots.RootOf(change.path).empty()) {
        return;
    }
    const Time now = _clock();
    if (change.kind == Kind::kMoved) {
        AddMove(change, now);
    } else {
        Put(change.path, change.kind, change.isFolder, now);
    }
}

// `first`: when the first change was seen for which this one stands.
void Settling::Put(const std::string& path, Kind kind, bool isFolder, Time first) {
    if (kind == Kind::kRescan) {
        PutRescan(path, first);
        return;
    }
    auto known = _entries.find(path);
    if (known != _entries.end()) {
        first = std::min(first, known->second.first);
        Remove(known);
    } else if (_entries.size() - _folders >= _limits.files || IsTooLong(path)) {
        PutRescan(_roots.RootOf(path) == path ? path : FolderOf(path), first);
        return;
    }
    Insert(path, {kind, isFolder, first, {}});
}

void Settling::PutRescan(const std::string& folder, Time first) {
    const std::string root(_roots.RootOf(folder));
    // A root always has a place, so that nothing is lost; there are only a few.
    const bool isFull = _folders >= _limits.folders || IsTooLong(folder);
    std::string told = isFull ? root : folder;
    for (std::string above = folder; IsWithin(above, root); above = FolderOf(above)) {
        const auto entry = _entries.find(above);
        if (entry != _entries.end() && entry->second.kind == Kind::kRescan) {
            told = above;
            first = std::min(first, entry->second.first);
            Remove(entry);
        }
        if (above.size() <= 1) {
            break;
        }
    }
    first = std::min(first, RemoveWithin(told, Within::kRescans));
    Insert(told, {Kind::kRescan, false, first, {}});
}

bool Settling::IsTooLong(const std::string& path) const {
    return _bytes + path.size() > _limits.bytes;
}

void Settling::Insert(const std::string& path, Entry entry) {
    const bool isRescan = entry.kind == Kind::kRescan;
    const auto longest = isRescan ? _limits.longestRescan : _limits.longest;
    entry.due = std::min(_clock() + _limits.settle, entry.first + longest);
    const auto [at, isNew] = _entries.insert_or_assign(path, entry);
    _order.insert({entry.due, &at->first});
    _folders += isRescan ? 1U : 0U;
    _bytes += path.size();
}

Settling::Entries::iterator Settling::Remove(Entries::iterator entry) {
    _order.erase({entry->second.due, &entry->first});
    _folders -= entry->second.kind == Kind::kRescan ? 1U : 0U;
    _bytes -= entry->first.size();
    return _entries.erase(entry);
}

// Removes the entries of `folder` and below it; returns when the first of their changes was seen.
Settling::Time Settling::RemoveWithin(const std::string& folder, Within which) {
    Time first = Time::max();
    for (auto at = _entries.lower_bound(folder);
         at != _entries.end() && at->first.starts_with(folder);) {
        const bool isMeant = which == Within::kAll || at->second.kind == Kind::kRescan;
        if (!isMeant || !IsWithin(at->first, folder)) {
            ++at;
            continue;
        }
        first = std::min(first, at->second.first);
        at = Remove(at);
    }
    return first;
}

void Settling::AddMove(const Change& change, Time now) {
    const auto earlier = EarlierMove(change);
    if (earlier != _moves.end()) {
        earlier->change.path = change.path;
    } else if (_moves.size() < _limits.moves) {
        const auto next = PlaceOf(change);
        _moves.insert(next, {change, next == _moves.end() ? now + _limits.move : next->due});
    }
    if (earlier != _moves.end() && earlier->change.path == earlier->change.from) {
        _moves.erase(earlier);
    }
    // The rescan of a moved folder finds what has changed in it.
    const Time first = std::min(now, RemoveWithin(change.from, Within::kAll));
    Put(change.path, change.isFolder ? Kind::kRescan : Kind::kChanged, false, first);
}

// The waiting move that `change` goes on with. Of folders, only the last one: a later move may lead
// into the folder under the name that it had between the two.
Settling::Moves::iterator Settling::EarlierMove(const Change& change) {
    const auto begin =
        change.isFolder && !_moves.empty() ? std::prev(_moves.end()) : _moves.begin();
    return std::find_if(begin, _moves.end(), [&](const Move& move) {
        return move.change.path == change.from && move.change.isFolder == change.isFolder;
    });
}

// Where among the moves `change` belongs: at the end. But a watch that tells the present path of a
// renamed folder may have told moves in it by that path already; these come after the folder's.
Settling::Moves::iterator Settling::PlaceOf(const Change& change) {
    if (!change.isFolder) {
        return _moves.end();
    }
    return std::find_if(_moves.begin(), _moves.end(), [&](const Move& move) {
        return IsWithin(move.change.from, change.path) || IsWithin(move.change.path, change.path);
    });
}

Changes Settling::TakeSettled(size_t most) {
    const Time now = _clock();
    Changes settled;
    const bool movesAreDue = !_moves.empty() && _moves.front().due <= now;
    while (movesAreDue && settled.size() < most && !_moves.empty()) {
        settled.push_back(std::move(_moves.front().change));
        _moves.pop_front();
    }
    while (settled.size() < most && !_order.empty() && _order.begin()->first <= now) {
        const auto entry = _entries.find(*_order.begin()->second);
        settled.push_back({entry->second.kind, entry->first, "", entry->second.isFolder});
        Remove(entry);
    }
    return settled;
}

Changes Settling::TakeMoves() {
    Changes moves;
    for (Move& move : std::exchange(_moves, {})) {
        moves.push_back(std::move(move.change));
    }
    return moves;
}

Changes Settling::TakeMovesIf(const std::function<bool(const std::string&)>& isMeant) {
    const bool hasOne = std::any_of(_moves.begin(), _moves.end(),
                                    [&](const Move& move) { return isMeant(move.change.path); });
    return hasOne ? TakeMoves() : Changes();
}

std::optional<milliseconds> Settling::UntilNext() const {
    if (Waiting() == 0) {
        return std::nullopt;
    }
    Time next = _moves.empty() ? Time::max() : _moves.front().due;
    if (!_order.empty()) {
        next = std::min(next, _order.begin()->first);
    }
    // Rounded up: a caller that sleeps so long finds something.
    return std::max(std::chrono::ceil<milliseconds>(next - _clock()), milliseconds(0));
}

}  // namespace vellumo::watch
