// SPDX-License-Identifier: Apache-2.0
#include "loader/settings/SettingsFile.h"

#include <json/reader.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <memory>

#include "support/Descriptor.h"
#include "support/Directory.h"
#include "support/FileCopy.h"
#include "support/TemporaryFile.h"
#include "vellumo/Constants.h"

namespace vellumo::loader {
namespace {

constexpr mode_t kNewMode = 0644;
constexpr mode_t kModeBits = 07777;
constexpr mode_t kOthersWrite = S_IWGRP | S_IWOTH;
constexpr const char* kUntilThen =
    "Until then the defaults are used, and nothing is removed from the cache.";
constexpr off_t kMostBytes = off_t{1} << 20;

const std::string& File() {
    static const std::string file = NAVO::VELLUMO::SZF_INDEX_CONFIG;
    return file;
}

[[noreturn]] void RefuseToRead(Reason reason, const std::string& why, const std::string& next) {
    throw Failure({reason, "cannot read the settings", why, next});
}

[[noreturn]] void FailToWrite(int error) {
    throw Failure({Reason::kSettingsUnwritable,
                   "cannot write the settings",
                   File() + ": " + std::strerror(error),
                   "Check the free space and the permissions of its folder.",
                   {}});
}

void CheckStatus(const struct stat& status) {
    const std::string defaults = std::string(". ") + kUntilThen;
    if (status.st_uid != 0) {
        RefuseToRead(Reason::kSettingsUnsafe,
                     File() + " belongs to the user " + std::to_string(status.st_uid),
                     "Look at it, then: chown root " + File() + defaults);
    }
    if ((status.st_mode & kOthersWrite) != 0) {
        RefuseToRead(Reason::kSettingsUnsafe, "others than root may write to " + File(),
                     "Look at it, then: chmod go-w " + File() + defaults);
    }
    if (status.st_size > kMostBytes) {
        RefuseToRead(Reason::kSettingsDamaged, File() + " is larger than 1 MiB",
                     "Correct it" + defaults);
    }
}

std::string ReadAll(const support::Descriptor& file, off_t size) {
    std::string text = support::ReadTail(file, static_cast<size_t>(size));
    text.resize(std::min(text.size(), static_cast<size_t>(kMostBytes)));
    return text;
}

bool WriteAll(const support::Descriptor& file, const std::string& text) {
    size_t written = 0;
    while (written < text.size()) {
        const ssize_t count = support::Uninterrupted(
            [&] { return write(file.Get(), text.data() + written, text.size() - written); });
        if (count < 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

// A file that is removed unless it is renamed.
class NewFile {
public:
    explicit NewFile(const std::string& target) : _target(target), _path(target + ".XXXXXX") {
        _file = support::MakeTemporaryFile(_path);
    }
    ~NewFile() {
        if (_file && !_isRenamed) {
            unlink(_path.c_str());
        }
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    bool Fill(const std::string& text, mode_t mode) {
        return _file && WriteAll(_file, text) && fchmod(_file.Get(), mode) == 0 &&
               fsync(_file.Get()) == 0;
    }

    bool TakePlace() {
        _isRenamed = rename(_path.c_str(), _target.c_str()) == 0;
        return _isRenamed;
    }

private:
    std::string _target;
    std::string _path;
    support::Descriptor _file;
    bool _isRenamed = false;
};

// "* Line 3, Column 5\n  Missing ',' or '}' ..." on one line, as far as the first error goes.
std::string FirstError(const std::string& errors) {
    std::string text = errors.substr(0, errors.find("\n* "));
    text.erase(0, text.find_first_not_of("* "));
    while (!text.empty() && text.back() == '\n') {
        text.pop_back();
    }
    const size_t line = text.find("\n  ");
    return line == std::string::npos ? text : text.replace(line, 3, ": ");
}

// Returns the parser's message; "" when `text` is JSON.
std::string Parse(const std::string& text, Json::Value& value) {
    Json::CharReaderBuilder builder;
    builder["collectComments"] = false;
    builder["allowTrailingCommas"] = false;
    builder["failIfExtra"] = true;
    builder["rejectDupKeys"] = true;
    const std::unique_ptr<Json::CharReader> reader(builder.newCharReader());
    std::string errors;
    try {
        const bool done = reader->parse(text.data(), text.data() + text.size(), &value, &errors);
        return done ? "" : FirstError(errors);
    } catch (const Json::Exception& error) {  // nested too deeply
        return error.what();
    }
}

}  // namespace

std::optional<std::string> ReadSettingsFile() {
    const support::Descriptor file = support::OpenRegularFile(File());
    struct stat status {};
    if (!file && errno == ENOENT) {
        return std::nullopt;
    }
    if (!file || fstat(file.Get(), &status) != 0) {
        const std::string why = std::strerror(errno);
        RefuseToRead(Reason::kSettingsUnreadable, File() + ": " + why,
                     std::string("Make it readable. ") + kUntilThen);
    }
    CheckStatus(status);
    return ReadAll(file, status.st_size);
}

void WriteSettingsFile(const std::string& text) {
    std::error_code ignored;  // a path that is no link stays as it is
    const std::string target = std::filesystem::weakly_canonical(File(), ignored);
    const std::string path = target.empty() ? File() : target;
    struct stat status {};
    const bool exists = stat(path.c_str(), &status) == 0;
    NewFile file(path);
    if (!file.Fill(text, exists ? status.st_mode & kModeBits : kNewMode) || !file.TakePlace()) {
        FailToWrite(errno);
    }
    const support::Descriptor folder =
        support::OpenDirectory(std::filesystem::path(path).parent_path());
    if (folder) {
        fsync(folder.Get());
    }
}

Json::Value ParseSettings(const std::string& text) {
    Json::Value value;
    const std::string error = Parse(text, value);
    if (error.empty() && value.isObject()) {
        return value;
    }
    RefuseToRead(Reason::kSettingsDamaged,
                 File() + ": " + (error.empty() ? "it is not a JSON object" : error),
                 std::string("Correct it. ") + kUntilThen);
}

}  // namespace vellumo::loader
