// SPDX-License-Identifier: Apache-2.0
#include "daemon/watch/TreeScan.h"

#include <fcntl.h>

#include <algorithm>
#include <climits>
#include <iterator>
#include <sstream>

#include "daemon/watch/Roots.h"
#include "loader/documents/FolderRules.h"

namespace vellumo::watch {
namespace {

constexpr size_t kNames = 10000;  // of subfolders that are kept for one folder; a few MiB at most
constexpr const char* kHeader = "vellumo-scan 1";
constexpr const char* kTop = "top ";
constexpr const char* kAt = "at ";

// The order in which the scan takes folders: a folder, then all in it by their names, then the next
// one. A slash counts as less than any other byte.
bool ComesBefore(const std::string& one, const std::string& other) {
    return std::lexicographical_compare(
        one.begin(), one.end(), other.begin(), other.end(), [](unsigned char a, unsigned char b) {
            return (a == '/' ? 0 : int{a}) < (b == '/' ? 0 : int{b});
        });
}

// Names may have line breaks, which end a line of a checkpoint.
std::string OnOneLine(const std::string& path) {
    std::string line;
    for (const char c : path) {
        if (c == '\n') {
            line += "%n";
        } else {
            line.append(c == '%' ? "%%" : std::string(1, c));
        }
    }
    return line;
}

std::string FromLine(std::string_view line) {
    std::string path;
    for (size_t i = 0; i < line.size(); ++i) {
        if (line[i] != '%' || i + 1 == line.size()) {
            path += line[i];
        } else {
            path += line[++i] == 'n' ? '\n' : '%';
        }
    }
    return path;
}

// Sorts the tops, and removes those that lie in another.
std::vector<std::string> Ordered(std::vector<std::string> tops) {
    std::sort(tops.begin(), tops.end(), ComesBefore);
    std::vector<std::string> ordered;
    for (std::string& top : tops) {
        if (ordered.empty() || !IsWithin(top, ordered.back())) {
            ordered.push_back(std::move(top));
        }
    }
    return ordered;
}

// The entry of `folder` on the way to `path`, which lies below it.
std::string StepTowards(const std::string& folder, const std::string& path) {
    const size_t begin = folder.ends_with('/') ? folder.size() : folder.size() + 1;
    return path.substr(begin, path.find('/', begin) - begin);
}

}  // namespace

TreeScan::TreeScan(std::vector<std::string> tops) : _tops(Ordered(std::move(tops))) {}

std::optional<TreeScan> TreeScan::Continue(const std::string& checkpoint) {
    std::istringstream text(checkpoint);
    std::vector<std::string> tops;
    std::optional<std::string> at;
    std::string line;
    if (!std::getline(text, line) || line != kHeader) {
        return std::nullopt;
    }
    while (!at && std::getline(text, line) && !text.eof()) {
        if (line.starts_with(kTop)) {
            tops.push_back(FromLine(line.substr(std::string_view(kTop).size())));
        } else if (line.starts_with(kAt)) {
            at = FromLine(line.substr(std::string_view(kAt).size()));
        }
    }
    if (!at || tops.empty()) {  // the last line is the last one that is written
        return std::nullopt;
    }
    TreeScan scan(std::move(tops));
    scan._start = *at;
    scan._end = *at;
    return scan;
}

std::string TreeScan::Checkpoint() const {
    std::string text = std::string(kHeader) + '\n';
    for (const std::string& top : _tops) {
        text += kTop + OnOneLine(top) + '\n';
    }
    return text + kAt + OnOneLine(_folder.empty() ? _start : _folder) + '\n';
}

void TreeScan::GoRoundAgain() {
    _end = _folder.empty() ? _start : _folder;  // before the first step, it is to begin there
    _isSecondRound = false;
}

bool TreeScan::Step(size_t entries, std::vector<File>& found) {
    FolderListing::Entry entry;
    for (size_t i = 0; i < entries; ++i) {
        if (_listing && _listing->Next(entry)) {
            Examine(entry, found);
            continue;
        }
        _listing.reset();
        if (!OpenNext()) {
            _folder.clear();
            return false;
        }
        i += _levels.size();  // a folder is opened step by step from its top
    }
    return true;
}

// Goes on to the next folder. Returns false at the end.
bool TreeScan::OpenNext() {
    if (_levels.empty()) {
        return OpenNextTop();
    }
    Level& level = _levels.back();
    if (!level.names.empty()) {
        const std::string name = level.names.extract(level.names.begin()).value();
        level.from = name + '\0';  // the next name that there can be
        Open(EntryPath(level.folder, name));
    } else if (level.hasMore) {
        level.hasMore = false;
        _withFiles = false;
        _listing.emplace(OpenBelow(TopOf(level.folder), level.folder));
    } else {
        _levels.pop_back();
    }
    return true;
}

bool TreeScan::OpenNextTop() {
    if (_nextTop < _tops.size()) {
        Open(_tops[_nextTop++]);
        return true;
    }
    if (_end.empty() || _isSecondRound) {
        return false;
    }
    _isSecondRound = true;
    _start.clear();
    _nextTop = 0;
    return true;
}

void TreeScan::Open(const std::string& folder) {
    if (_isSecondRound && !ComesBefore(folder, _end)) {
        _levels.clear();
        _nextTop = _tops.size();
        return;
    }
    const bool isOnTheWay = folder != _start && IsWithin(_start, folder);
    if (folder.size() >= PATH_MAX || (ComesBefore(folder, _start) && !isOnTheWay)) {
        return;
    }
    _levels.push_back({folder, {}, isOnTheWay ? StepTowards(folder, _start) : "", false});
    _withFiles = !isOnTheWay;
    _folder = isOnTheWay ? _start : folder;
    _listing.emplace(OpenBelow(TopOf(folder), folder));
}

void TreeScan::Examine(const FolderListing::Entry& entry, std::vector<File>& found) {
    using Type = FolderListing::Entry::Type;
    if (entry.type == Type::kOther || loader::IsPassedOver(entry.name)) {
        return;
    }
    if (entry.type == Type::kFolder) {
        AddFolder(entry.name);
    } else if (_withFiles && loader::IsConvertible(entry.name)) {
        AddFile(entry.name, found);
    }
}

void TreeScan::AddFolder(const std::string& name) {
    Level& level = _levels.back();
    if (name < level.from) {
        return;
    }
    level.names.insert(name);
    if (level.names.size() > kNames) {
        level.names.erase(std::prev(level.names.end()));
        level.hasMore = true;
    }
}

void TreeScan::AddFile(const std::string& name, std::vector<File>& found) const {
    File file{EntryPath(_levels.back().folder, name), {}};
    constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT;
    if (file.path.size() < PATH_MAX &&
        fstatat(_listing->Folder(), name.c_str(), &file.status, kFlags) == 0 &&
        S_ISREG(file.status.st_mode)) {
        found.push_back(std::move(file));
    }
}

const std::string& TreeScan::TopOf(const std::string& folder) const {
    return *std::find_if(_tops.begin(), _tops.end(),
                         [&](const std::string& top) { return IsWithin(folder, top); });
}

}  // namespace vellumo::watch
