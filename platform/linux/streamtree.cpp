// SPDX-License-Identifier: Apache-2.0
#include "streamtree.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <charconv>
#include <cinttypes>
#include <cstdio>

#include "components.h"
#include "support/Directory.h"

namespace NAVO::platform {
namespace {

constexpr std::string_view kTreeName = "/@navoea";
constexpr std::string_view kVolume = "volume";
constexpr size_t kKeyLength = 16;
constexpr int kHexadecimal = 16;
constexpr uint64_t kNanoseconds = 1000000000;

bool IsVolume(std::string_view name) {
    return name.size() > kVolume.size() && name.starts_with(kVolume) &&
           std::all_of(name.begin() + kVolume.size(), name.end(),
                       [](unsigned char c) { return c >= '0' && c <= '9'; });
}

std::string TreeOf(const std::string& volume) {
    return '/' + volume + std::string(kTreeName);
}

bool IsKey(std::string_view text) {
    return text.size() == kKeyLength &&
           text.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<uint64_t> Number(std::string_view text) {
    uint64_t number = 0;
    const auto [end, error] =
        std::from_chars(text.data(), text.data() + text.size(), number, kHexadecimal);
    const bool isWhole = error == std::errc() && end == text.data() + text.size();
    return isWhole ? std::optional(number) : std::nullopt;
}

// The part of `path` below the tree, and the tree; nothing when it is not in a tree.
std::optional<StreamDirectory> InTree(std::string_view path, std::string_view& rest) {
    const size_t end = path.find('/', 1);
    const std::string_view first = path.substr(0, end).substr(path.empty() ? 0 : 1);
    const std::string tree =
        IsVolume(first) ? TreeOf(std::string(first)) : std::string(kTreeElsewhere);
    if (!path.starts_with(tree) || path.substr(tree.size(), 1) != "/") {
        return std::nullopt;
    }
    rest = path.substr(tree.size() + 1);
    return StreamDirectory{tree, {}, "", {}};
}

}  // namespace

std::optional<FileIdentity> IdentityOf(int directory, const char* name) {
    constexpr int kFlags = AT_SYMLINK_NOFOLLOW | AT_EMPTY_PATH;
    struct statx status {};
    if (statx(directory, name, kFlags, STATX_INO | STATX_BTIME, &status) != 0) {
        return std::nullopt;
    }
    FileIdentity identity{status.stx_ino, 0};
    if ((status.stx_mask & STATX_BTIME) != 0) {
        identity.birth = static_cast<uint64_t>(status.stx_btime.tv_sec) * kNanoseconds +
                         status.stx_btime.tv_nsec;
    }
    return identity;
}

std::optional<FileIdentity> IdentityOf(int file) {
    return IdentityOf(file, "");
}

std::string StreamDirectory::Name() const {
    std::array<char, 1 + kKeyLength + 2 * (1 + kKeyLength) + 1> name{};
    (void)std::snprintf(name.data(), name.size(), "@%s-%" PRIx64 "-%" PRIx64, key.c_str(),
                        identity.inode, identity.birth);
    return name.data();
}

std::string StreamDirectory::Parent() const {
    std::string path = tree;
    for (const std::string& folder : folders) {
        path.append("/").append(FolderInTree(folder));
    }
    return path;
}

std::string StreamDirectory::FileFolder() const {
    std::string path = tree == kTreeElsewhere ? "" : tree.substr(0, tree.size() - kTreeName.size());
    for (const std::string& folder : folders) {
        path.append("/").append(folder);
    }
    return path.empty() ? "/" : path;
}

StreamDirectory PlaceFor(std::string_view file) {
    StreamDirectory place;
    place.folders = ComponentsOf(file);
    place.key = NameKey(place.folders.back());
    place.folders.pop_back();
    place.tree = kTreeElsewhere;
    if (!place.folders.empty() && IsVolume(place.folders.front())) {
        place.tree = TreeOf(place.folders.front());
        place.folders.erase(place.folders.begin());
    }
    return place;
}

std::optional<StreamDirectory> ParseName(const StreamDirectory& folder, std::string_view name) {
    const size_t inode = name.find('-');
    const size_t birth = name.find('-', std::min(inode, name.size() - 1) + 1);
    if (!IsStreamDirectoryName(name) || birth == std::string_view::npos ||
        !IsKey(name.substr(1, inode - 1))) {
        return std::nullopt;
    }
    const auto inodeNumber = Number(name.substr(inode + 1, birth - inode - 1));
    const auto birthTime = Number(name.substr(birth + 1));
    if (!inodeNumber || !birthTime) {
        return std::nullopt;
    }
    StreamDirectory found = folder;
    found.key = name.substr(1, inode - 1);
    found.identity = {*inodeNumber, *birthTime};
    return found;
}

std::optional<StreamDirectory> ParseStreamDirectory(const char* path) {
    std::string_view rest;
    auto folder = path != nullptr ? InTree(path, rest) : std::nullopt;
    if (!folder) {
        return std::nullopt;
    }
    std::vector<std::string> components = ComponentsOf(rest);
    if (components.empty()) {
        return std::nullopt;
    }
    const std::string name = components.back();
    components.pop_back();
    for (const std::string& component : components) {
        if (component == ".." || IsStreamDirectoryName(component)) {
            return std::nullopt;
        }
        folder->folders.push_back(FolderOutside(component));
    }
    const auto found = ParseName(*folder, name);
    return found && found->Path() == path ? found : std::nullopt;
}

bool IsStreamDirectoryName(std::string_view text) {
    return text.starts_with('@') && !text.starts_with("@@");
}

std::string FolderInTree(const std::string& name) {
    return name.starts_with('@') ? '@' + name : name;
}

std::string FolderOutside(const std::string& name) {
    return name.starts_with("@@") ? name.substr(1) : name;
}

std::vector<std::string> AllTrees() {
    std::vector<std::string> trees{std::string(kTreeElsewhere)};
    for (const std::string& name :
         vellumo::support::NamesIn(vellumo::support::OpenDirectory("/"))) {
        if (IsVolume(name)) {
            trees.push_back(TreeOf(name));
        }
    }
    std::sort(trees.begin(), trees.end());
    return trees;
}

std::string NameKey(std::string_view name) {
    static const boost::uuids::name_generator_sha1 kHash{boost::uuids::ns::url()};
    std::string key = to_string(kHash(std::string(name)));
    key.erase(std::remove(key.begin(), key.end(), '-'), key.end());
    return key.substr(0, kKeyLength);
}

}  // namespace NAVO::platform
