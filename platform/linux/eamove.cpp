// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <navo/ea.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "fail.h"
#include "streamfolders.h"
#include "streamtree.h"
#include "support/Directory.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::NamesIn;
using vellumo::support::OpenDirectory;

constexpr int kFlags = 1;  // the only value of NAVOEAMove's flags

bool Exists(const std::string& path) {
    struct stat status {};
    return lstat(path.c_str(), &status) == 0;
}

// Nothing in a tree is ever replaced. Returns false, with errno, on failure.
bool Rename(const std::string& from, const std::string& to) {
    return renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0;
}

// The folder in the tree for the folder at `path`, which is outside the tree.
StreamDirectory FolderFor(const std::string& path) {
    return PlaceFor(path + "/file");
}

// The names of the directories of streams that may move along with one file: those of its former
// name, of another identity than the file that has this name now.
std::vector<StreamDirectory> KeptOf(const std::string& from, const std::string& to) {
    StreamDirectory place = PlaceFor(from);
    if (const auto identity = IdentityOf(AT_FDCWD, to.c_str())) {
        place.identity = *identity;
        return {place};
    }
    const auto other = IdentityOf(AT_FDCWD, from.c_str());
    std::vector<StreamDirectory> kept;
    for (const std::string& name : NamesIn(OpenDirectory(place.Parent()))) {
        const auto found = ParseName(place, name);
        if (found && found->key == place.key && found->identity != other) {
            kept.push_back(*found);
        }
    }
    return kept;
}

bool MoveFile(const std::string& from, const std::string& to) {
    StreamDirectory target = PlaceFor(to);
    for (const StreamDirectory& kept : KeptOf(from, to)) {
        if (!Exists(kept.Path())) {
            continue;
        }
        target.identity = kept.identity;
        const Descriptor folder = OpenOrMakeFolder(target);
        // EEXIST: it has been converted there already.
        if (!folder || (!Rename(kept.Path(), target.Path()) && errno != EEXIST)) {
            return false;
        }
        RemoveOthers(folder, target);
        RemoveEmptyFolders(kept);
    }
    return true;
}

// Moves the directories of streams in one folder, as far as their files are in the other now.
bool MoveStreams(const StreamDirectory& from, const StreamDirectory& to,
                 const std::vector<std::string>& names) {
    std::set<std::string> keys;
    for (const std::string& name : names) {
        if (const auto found = ParseName(from, name)) {
            keys.insert(found->key);
        }
    }
    if (keys.empty()) {
        return true;
    }
    const auto present = NamesOfFilesIn(to.FileFolder(), keys);
    return present && std::all_of(present->begin(), present->end(), [&](const std::string& name) {
               const std::string source = from.Parent() + '/' + name;
               return !Exists(source) ||
                      (OpenOrMakeFolder(to) && Rename(source, to.Parent() + '/' + name)) ||
                      errno == EEXIST;
           });
}

// Moves what belongs to the folder `to` and the folders in it; `from` has files of its own, or
// `to` had some before.
bool Merge(const StreamDirectory& from, const StreamDirectory& to) {
    std::vector<std::pair<StreamDirectory, StreamDirectory>> waiting{{from, to}};
    for (size_t i = 0; i < waiting.size(); ++i) {
        const auto [source, target] = waiting[i];
        const std::vector<std::string> names = NamesIn(OpenDirectory(source.Parent()));
        if (!MoveStreams(source, target, names)) {
            return false;
        }
        for (const std::string& name : names) {
            if (!IsStreamDirectoryName(name)) {
                waiting.emplace_back(source, target);
                waiting.back().first.folders.push_back(FolderOutside(name));
                waiting.back().second.folders.push_back(FolderOutside(name));
            }
        }
    }
    for (; !waiting.empty(); waiting.pop_back()) {
        rmdir(waiting.back().first.Parent().c_str());  // fails where something remains
    }
    RemoveEmptyFolders(from);
    return true;
}

bool MoveFolder(const std::string& from, const std::string& to) {
    const StreamDirectory source = FolderFor(from);
    const StreamDirectory target = FolderFor(to);
    if (!Exists(source.Parent())) {
        return true;
    }
    // A folder that has the name now may have streams there too.
    if (!Exists(from) && OpenOrMakeFolder(PlaceFor(to)) &&
        Rename(source.Parent(), target.Parent())) {
        RemoveEmptyFolders(source);
        return true;
    }
    return Merge(source, target);
}

bool Move(const std::string& from, const std::string& to) {
    if (Exists(from) && !Exists(to)) {
        return true;  // it was moved back
    }
    return MoveFile(from, to) && MoveFolder(from, to);
}

}  // namespace
}  // namespace NAVO::platform

int NAVOEAMove(int flags, const char* from, const char* to) {
    using NAVO::platform::Fail;
    using NAVO::platform::PlaceFor;
    const NAVO::platform::SuccessKeepsErrno success;
    if (flags != NAVO::platform::kFlags || !NAVO::platform::IsFilePath(from) ||
        !NAVO::platform::IsFilePath(to)) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    const std::string tree = PlaceFor(from).tree;
    if (tree != PlaceFor(to).tree || std::string(to).starts_with(std::string(from) + '/')) {
        return 0;
    }
    if (!NAVO::platform::IsUsable(tree)) {
        return Fail(NAVO_ERR_NO_PERMISSION);
    }
    for (int i = 0; i < NAVO::platform::kTries; ++i) {
        if (NAVO::platform::Move(from, to)) {
            return 0;
        }
        if (errno != ENOENT) {
            break;
        }
    }
    return Fail(NAVO_ERR_IO);
}
