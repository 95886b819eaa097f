// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ControlGroups.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

// A hierarchy of control groups, and the path of this process's group in it.
struct Hierarchy {
    std::vector<std::string> controllers;  // empty for the unified hierarchy
    std::string path;
};

struct Mount {
    std::string root;  // the path of the group that is mounted
    std::string point;
    std::string type;
    std::vector<std::string> options;
};

std::vector<std::string> Split(const std::string& text, char separator) {
    std::vector<std::string> parts;
    std::istringstream input(text);
    for (std::string part; std::getline(input, part, separator);) {
        parts.push_back(part);
    }
    return parts;
}

bool Has(const std::vector<std::string>& names, const std::string& name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

// Lines are NUMBER:CONTROLLERS:PATH.
std::vector<Hierarchy> OwnHierarchies() {
    std::vector<Hierarchy> hierarchies;
    std::ifstream file("/proc/self/cgroup");
    for (std::string line; std::getline(file, line);) {
        const size_t first = line.find(':');
        const size_t second = line.find(':', first + 1);
        if (second != std::string::npos) {
            hierarchies.push_back(
                {Split(line.substr(first + 1, second - first - 1), ','), line.substr(second + 1)});
        }
    }
    return hierarchies;
}

// Lines are ID PARENT DEVICE ROOT POINT OPTIONS [TAG…] - TYPE SOURCE OPTIONS.
std::vector<Mount> GroupMounts() {
    std::vector<Mount> mounts;
    std::ifstream file("/proc/self/mountinfo");
    for (std::string line; std::getline(file, line);) {
        const std::vector<std::string> fields = Split(line, ' ');
        const auto dash = std::find(fields.begin(), fields.end(), "-");
        if (dash - fields.begin() >= 6 && fields.end() - dash == 4 &&
            dash[1].starts_with("cgroup")) {
            mounts.push_back({fields[3], fields[4], dash[1], Split(dash[3], ',')});
        }
    }
    return mounts;
}

bool IsMountOf(const Mount& mount, const Hierarchy& hierarchy) {
    return hierarchy.controllers.empty()
               ? mount.type == "cgroup2"
               : mount.type == "cgroup" && Has(mount.options, hierarchy.controllers.front());
}

// The directory of this process's group; empty when the mount does not contain that group.
fs::path OwnDirectory(const Hierarchy& hierarchy, const Mount& mount) {
    const fs::path below = fs::path(hierarchy.path).lexically_relative(mount.root);
    return below.empty() || *below.begin() == ".." ? "" : (mount.point / below).lexically_normal();
}

bool PassesLimitsOn(const fs::path& directory) {
    std::ifstream file(directory / "cgroup.subtree_control");
    std::string line;
    std::getline(file, line);
    const std::vector<std::string> controllers = Split(line, ' ');
    return Has(controllers, "memory") && Has(controllers, "pids");
}

// In the unified hierarchy a group either contains processes or passes controllers on to the groups
// in it. So this process's own group is not suitable, but a group above it may be.
fs::path Passing(fs::path directory, const fs::path& top) {
    while (!PassesLimitsOn(directory)) {
        if (directory == top || directory == directory.parent_path()) {
            return "";
        }
        directory = directory.parent_path();
    }
    return directory;
}

GroupPlace PlaceIn(const Hierarchy& hierarchy, const Mount& mount) {
    const bool unified = hierarchy.controllers.empty();
    fs::path directory = OwnDirectory(hierarchy, mount);
    if (unified && !directory.empty()) {
        directory = Passing(directory, mount.point);
    }
    const bool found = !directory.empty();
    return {directory / "", unified, found && (unified || Has(hierarchy.controllers, "memory")),
            found && (unified || Has(hierarchy.controllers, "pids"))};
}

}  // namespace

std::vector<GroupPlace> FindGroupPlaces() {
    std::vector<GroupPlace> places;
    const std::vector<Mount> mounts = GroupMounts();
    for (const Hierarchy& hierarchy : OwnHierarchies()) {
        const auto mount = std::find_if(mounts.begin(), mounts.end(), [&](const Mount& candidate) {
            return IsMountOf(candidate, hierarchy);
        });
        if (mount == mounts.end()) {
            continue;
        }
        const GroupPlace place = PlaceIn(hierarchy, *mount);
        if (place.memory || place.processes) {
            places.push_back(place);
        }
    }
    return places;
}

}  // namespace vellumo::engine
