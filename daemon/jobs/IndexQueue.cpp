// SPDX-License-Identifier: Apache-2.0
#include "jobs/IndexQueue.h"

#include <fcntl.h>
#include <json/reader.h>
#include <json/value.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <memory>

#include "app/Log.h"
#include "vellumo/Constants.h"

namespace vellumo::daemon {
namespace {

namespace core = NAVO::VELLUMO;

constexpr size_t kReadSize = 65536;
constexpr size_t kLongestLine = 65536;  // a path of 4096 bytes, each written as \u0000

// A program that has opened the queue before it was renamed may still append a line.
constexpr auto kForLatecomers = std::chrono::seconds(5);

bool Exists(const char* path) {
    return access(path, F_OK) == 0;
}

// Whether nobody but root decides what is in the file.
bool IsRoots(const support::Descriptor& file) {
    struct stat status {};
    return fstat(file.Get(), &status) == 0 && S_ISREG(status.st_mode) && status.st_uid == 0 &&
           (status.st_mode & (S_IWGRP | S_IWOTH)) == 0;
}

}  // namespace

std::optional<std::string> PathInLine(const std::string& line) {
    std::string path = line;
    if (line.starts_with('{')) {
        Json::Value value;
        const std::unique_ptr<Json::CharReader> reader(Json::CharReaderBuilder().newCharReader());
        if (!reader->parse(line.data(), line.data() + line.size(), &value, nullptr) ||
            !value.isObject() || !value["path"].isString()) {
            return std::nullopt;
        }
        path = value["path"].asString();
    }
    while (path.size() > 1 && path.ends_with('/')) {
        path.pop_back();
    }
    const bool isPath = path.starts_with('/') && path.find('\0') == std::string::npos;
    return isPath ? std::optional(path) : std::nullopt;
}

std::vector<std::string> IndexQueue::Take(size_t count) {
    std::vector<std::string> paths;
    if (!Begin()) {
        return paths;
    }
    while (paths.size() < count) {
        const auto line = NextLine();
        if (!line) {
            break;
        }
        const auto path = PathInLine(*line);
        if (path && _open.insert(*path).second) {
            paths.push_back(*path);
        }
    }
    EndIfDone();
    return paths;
}

void IndexQueue::Finish(const std::string& path) {
    _open.erase(path);  // Take() ends the file
}

bool IndexQueue::Begin() {
    if (_file) {
        return true;
    }
    if (!Exists(core::SZF_INDEX_QUEUE_WORKING) &&
        rename(core::SZF_INDEX_QUEUE, core::SZF_INDEX_QUEUE_WORKING) != 0) {
        return false;
    }
    return Open();
}

bool IndexQueue::Open() {
    support::Descriptor file(
        open(core::SZF_INDEX_QUEUE_WORKING, O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
    if (file && IsRoots(file)) {
        _file = std::move(file);
        _lastLine = Clock::now();
        return true;
    }
    if (!_isRefused) {
        LogWarning(std::string(core::SZF_INDEX_QUEUE_WORKING) +
                   ": not read, because it is no file of root's, or others may write to it. "
                   "Look at it and remove it.");
        _isRefused = true;
    }
    return false;
}

// A line without its end is read when it has got that, or when nothing more comes.
std::optional<std::string> IndexQueue::NextLine() {
    size_t end = _read.find('\n');
    while (end == std::string::npos && _read.size() < kLongestLine) {
        std::array<char, kReadSize> bytes{};
        const ssize_t length = read(_file.Get(), bytes.data(), bytes.size());
        if (length <= 0) {
            break;
        }
        _lastLine = Clock::now();
        _read.append(bytes.data(), static_cast<size_t>(length));
        end = _read.find('\n');
    }
    if (end == std::string::npos) {
        if (_read.empty() || Clock::now() - _lastLine < kForLatecomers) {
            return std::nullopt;
        }
        end = _read.size();
    }
    std::string line = _read.substr(0, end);
    _read.erase(0, end + 1);
    return line;
}

void IndexQueue::EndIfDone() {
    if (_open.empty() && _read.empty() && Clock::now() - _lastLine >= kForLatecomers) {
        unlink(core::SZF_INDEX_QUEUE_WORKING);
        _file.Close();
    }
}

}  // namespace vellumo::daemon
