// SPDX-License-Identifier: Apache-2.0
#include "front/StaticFiles.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <optional>
#include <stdexcept>

#include "support/Directory.h"

namespace vellumo::web::front {
namespace {

const std::map<std::string, std::string>& Types() {
    static const std::map<std::string, std::string> types{{"html", "text/html; charset=utf-8"},
                                                          {"css", "text/css; charset=utf-8"},
                                                          {"js", "text/javascript; charset=utf-8"},
                                                          {"svg", "image/svg+xml"},
                                                          {"png", "image/png"}};
    return types;
}

std::optional<StaticFiles::File> Open(const support::Descriptor& directory,
                                      const std::string& name) {
    const auto type = Types().find(name.substr(name.rfind('.') + 1));
    StaticFiles::File file;
    file.content = support::Descriptor(
        openat(directory.Get(), name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat status {};
    if (type == Types().end() || !file.content || fstat(file.content.Get(), &status) != 0 ||
        !S_ISREG(status.st_mode)) {
        return std::nullopt;
    }
    file.size = static_cast<uint64_t>(status.st_size);
    file.type = type->second;
    file.tag = '"' + std::to_string(status.st_mtim.tv_sec) + '.' +
               std::to_string(status.st_mtim.tv_nsec) + '-' + std::to_string(file.size) + '"';
    return file;
}

}  // namespace

StaticFiles::StaticFiles(const support::Descriptor& directory) {
    for (const std::string& name : support::NamesIn(directory)) {
        if (auto file = Open(directory, name)) {
            _files.emplace('/' + name, std::move(*file));
        }
    }
    if (Find("/") == nullptr) {
        throw std::runtime_error("the directory of the page has no index.html");
    }
}

const StaticFiles::File* StaticFiles::Find(const std::string& path) const {
    const auto found = _files.find(path == "/" ? "/index.html" : path);
    return found == _files.end() ? nullptr : &found->second;
}

}  // namespace vellumo::web::front
