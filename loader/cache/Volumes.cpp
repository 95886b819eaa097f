// SPDX-License-Identifier: Apache-2.0
#include "loader/cache/Volumes.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>

#include "support/Directory.h"

namespace vellumo::loader {
namespace {

constexpr const char* kAboveElsewhere = "/var/lib";
constexpr const char* kElsewhere = "/var/lib/navo";

bool IsVolume(const std::string& name) {
    return name.starts_with("volume") && name.size() > 6 &&
           std::all_of(name.begin() + 6, name.end(), [](unsigned char c) { return isdigit(c); });
}

}  // namespace

std::vector<std::string> Volumes() {
    std::vector<std::string> volumes;
    for (const std::string& name : support::NamesIn(support::OpenDirectory("/"))) {
        if (IsVolume(name)) {
            volumes.push_back('/' + name);
        }
    }
    return volumes;
}

std::vector<std::string> FoldersOfProducts() {
    std::vector<std::string> folders = Volumes();
    folders.emplace_back(access(kElsewhere, F_OK) == 0 ? kElsewhere : kAboveElsewhere);
    return folders;
}

}  // namespace vellumo::loader
