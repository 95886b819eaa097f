// SPDX-License-Identifier: Apache-2.0
#include "OpenTree.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <filesystem>
#include <set>
#include <string>
#include <system_error>

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

// The topmost folder above `path` that other users may not enter; empty if they may enter all.
fs::path ClosedFolderAbove(const fs::path& path) {
    fs::path folder = path.root_path();
    for (const fs::path& name : path.parent_path().relative_path()) {
        folder /= name;
        if ((fs::status(folder).permissions() & fs::perms::others_exec) == fs::perms::none) {
            return folder;
        }
    }
    return {};
}

// A folder that stays open while another file system is mounted over a folder above it.
class Tree {
public:
    explicit Tree(const char* path)
        : _path(path), _file(open(path, O_PATH | O_DIRECTORY | O_CLOEXEC)) {}
    ~Tree() { close(_file); }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;

    const fs::path& Path() const { return _path; }

    bool IsAtItsPath() const {
        struct stat held {};
        struct stat present {};
        return fstat(_file, &held) == 0 && stat(_path.c_str(), &present) == 0 &&
               held.st_dev == present.st_dev && held.st_ino == present.st_ino;
    }

    void BringToItsPath() const {
        fs::create_directories(_path);
        const std::string held = "/proc/self/fd/" + std::to_string(_file);
        if (mount(held.c_str(), _path.c_str(), nullptr, MS_BIND | MS_REC, nullptr) != 0) {
            throw fs::filesystem_error("cannot mount", _path, {errno, std::system_category()});
        }
    }

private:
    fs::path _path;
    int _file;
};

bool HaveMountsOfOurOwn() {
    return unshare(CLONE_NEWNS) == 0 &&
           mount(nullptr, "/", nullptr, MS_REC | MS_SLAVE, nullptr) == 0;
}

bool Cover(const fs::path& folder) {
    return mount("tmpfs", folder.c_str(), "tmpfs", MS_NOSUID | MS_NODEV, "mode=0755") == 0;
}

// While this object lives, new folders are open to all users.
class OpenUmask {
public:
    OpenUmask() : _before(umask(022)) {}
    ~OpenUmask() { umask(_before); }
    OpenUmask(const OpenUmask&) = delete;
    OpenUmask& operator=(const OpenUmask&) = delete;

private:
    mode_t _before;
};

}  // namespace

void OpenTreeToOtherUsers() {
    std::set<fs::path> closed;
    for (const char* tree : {VELLUMO_SOURCE_TREE, VELLUMO_BUILD_TREE}) {
        closed.insert(ClosedFolderAbove(tree));
    }
    closed.erase("");
    if (closed.empty() || geteuid() != 0 || !HaveMountsOfOurOwn()) {
        return;
    }
    // Opened after the change of the mount namespace: a folder of another namespace cannot be
    // mounted here.
    const std::array<Tree, 2> trees{Tree(VELLUMO_SOURCE_TREE), Tree(VELLUMO_BUILD_TREE)};
    if (!std::all_of(closed.begin(), closed.end(), Cover)) {
        return;
    }
    const OpenUmask mask;
    for (const Tree& tree : trees) {
        if (!tree.IsAtItsPath()) {
            tree.BringToItsPath();
        }
    }
}

}  // namespace vellumo::test
