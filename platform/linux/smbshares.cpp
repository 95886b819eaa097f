// SPDX-License-Identifier: Apache-2.0
#include "smbshares.h"

#include <string_view>
#include <utility>

namespace NAVO::platform {
namespace {

constexpr const char* kHomes = "homes";
constexpr std::string_view kUserVariables = "SUu";

// Returns `path` without trailing slashes, except for "/" itself; nothing when it is not absolute.
std::optional<std::string> DirectoryPath(std::string path) {
    if (!path.starts_with('/')) {
        return std::nullopt;
    }
    while (path.size() > 1 && path.back() == '/') {
        path.pop_back();
    }
    return path;
}

std::optional<std::string> SharePath(const SmbConf& configuration,
                                     const SmbConf::Section& section) {
    const std::string path = section.Text("path");
    const bool isHomes = &section == configuration.Find(kHomes);
    return DirectoryPath(isHomes ? path.substr(0, path.find('%')) : path);
}

// Returns `pattern` with %S, %U and %u replaced by `user` and %% by %; nothing when it contains
// another variable.
std::optional<std::string> ExpandHome(const std::string& pattern, const std::string& user) {
    std::string home;
    for (size_t at = 0; at < pattern.size(); ++at) {
        if (pattern[at] != '%') {
            home += pattern[at];
            continue;
        }
        const std::string_view variable = std::string_view(pattern).substr(++at, 1);
        if (variable == "%") {
            home += '%';
        } else if (!variable.empty() && kUserVariables.find(variable) != std::string_view::npos) {
            home += user;
        } else {
            return std::nullopt;
        }
    }
    return home;
}

}  // namespace

std::optional<Share> FindShare(const SmbConf& configuration, const std::string& name) {
    const SmbConf::Section* section = configuration.Find(name);
    if (section == nullptr || section == configuration.Find("global") ||
        section == configuration.Find("printers")) {
        return std::nullopt;
    }
    auto path = SharePath(configuration, *section);
    if (!path) {
        return std::nullopt;
    }
    return Share{section->Name(), std::move(*path), section->IsTrue("navo:scale volume")};
}

std::vector<Share> AllShares(const SmbConf& configuration) {
    std::vector<Share> shares;
    for (const auto& [key, section] : configuration.Sections()) {
        if (auto share = FindShare(configuration, key)) {
            shares.push_back(std::move(*share));
        }
    }
    return shares;
}

std::optional<std::string> FindHome(const SmbConf& configuration, const std::string& user,
                                    const std::string& accountHome) {
    const SmbConf::Section* homes = configuration.Find(kHomes);
    const std::string pattern = homes == nullptr ? std::string() : homes->Text("path");
    if (pattern.empty()) {
        return DirectoryPath(accountHome);
    }
    auto home = ExpandHome(pattern, user);
    return home ? DirectoryPath(std::move(*home)) : std::nullopt;
}

}  // namespace NAVO::platform
