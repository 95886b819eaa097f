// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <json/value.h>
#include <json/writer.h>
#include <navo/lock.h>
#include <navo/xferlog.h>
#include <sys/stat.h>

#include <array>
#include <ctime>
#include <string>

#include "casefold.h"
#include "directory.h"
#include "fail.h"
#include "support/Descriptor.h"

namespace NAVO::platform {
namespace {

using vellumo::support::Descriptor;
using vellumo::support::Uninterrupted;

constexpr const char* kLogDirectory = "/var/log/navo";
constexpr const char* kLogFile = "/var/log/navo/transfer.log";
constexpr mode_t kDirectoryMode = 0755;
constexpr mode_t kFileMode = 0640;  // not for all users: the log tells who reads what
constexpr int kLockSeconds = 5;

std::string Now() {
    const std::time_t now = std::time(nullptr);
    std::tm parts{};
    std::array<char, 32> text{};
    (void)std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", gmtime_r(&now, &parts));
    return text.data();
}

// JsonCpp does not check UTF-8: it would swallow the bytes that follow an incomplete character.
Json::Value Text(const char* text) {
    return ValidUtf8(text == nullptr ? "" : text);
}

std::string Line(const Json::Value& entry) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    return Json::writeString(builder, entry) + "\n";
}

// Taking the lock would create the file too, but with another mode, so this creates it first.
bool MakeLog() {
    if (!EnsureDirectory(kLogDirectory, {kDirectoryMode})) {
        return false;
    }
    const int flags = O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC;
    const Descriptor made(Uninterrupted([=] { return open(kLogFile, flags, kFileMode); }));
    return made || errno == EEXIST;
}

// The log, open and under its exclusive lock.
class LockedLog {
public:
    LockedLog() { NLIBCFileLockTimeByFile(kLogFile, 1, kLockSeconds, &_file); }
    ~LockedLog() {
        if (_file >= 0) {
            const int error = errno;
            NLIBCFileUnlockByFile(_file);
            errno = error;
        }
    }
    LockedLog(const LockedLog&) = delete;
    LockedLog& operator=(const LockedLog&) = delete;

    // Whether the lock is held; if not, the last error is set.
    explicit operator bool() const { return _file >= 0; }

    // Returns false, with errno, on failure; the log is then as it was.
    bool Append(const std::string& line) const {
        struct stat before {};
        if (fstat(_file, &before) != 0 || fcntl(_file, F_SETFL, O_APPEND) != 0) {
            return false;
        }
        if (!S_ISREG(before.st_mode)) {  // a pipe would not keep the entry
            errno = EINVAL;
            return false;
        }
        const ssize_t written =
            Uninterrupted([&] { return write(_file, line.data(), line.size()); });
        if (written == static_cast<ssize_t>(line.size())) {
            return true;
        }
        const int error = written < 0 ? errno : ENOSPC;
        // If the truncation fails too, the first error is the one to report.
        [[maybe_unused]] const int truncated = written > 0 ? ftruncate(_file, before.st_size) : 0;
        errno = error;
        return false;
    }

private:
    int _file = -1;
};

}  // namespace
}  // namespace NAVO::platform

int NAVOLogNOSFMXferLog(const char* remoteAddress, const char* user, const char* action,
                        int64_t size, const char* fileName, int reserved) {
    using NAVO::platform::Fail;
    using NAVO::platform::Text;
    const NAVO::platform::SuccessKeepsErrno success;
    if (reserved != 0) {
        return Fail(NAVO_ERR_BAD_PARAMETERS, EINVAL);
    }
    Json::Value entry(Json::objectValue);
    entry["time"] = NAVO::platform::Now();
    entry["ip"] = Text(remoteAddress);
    entry["user"] = Text(user);
    entry["action"] = Text(action);
    entry["size"] = Json::Int64{size};
    entry["file"] = Text(fileName);
    if (!NAVO::platform::MakeLog()) {
        return Fail(NAVO_ERR_OPEN_FAILED);
    }
    const NAVO::platform::LockedLog log;
    if (!log) {
        return -1;
    }
    return log.Append(NAVO::platform::Line(entry)) ? 0 : Fail(NAVO_ERR_IO);
}
