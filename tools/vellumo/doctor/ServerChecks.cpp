// SPDX-License-Identifier: Apache-2.0
#include "doctor/ServerChecks.h"

#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <map>

#include "app/Reasons.h"
#include "loader/Text.h"
#include "loader/cache/CacheIndex.h"
#include "loader/cache/Collection.h"
#include "loader/cache/Volumes.h"
#include "loader/daemon/DaemonClient.h"
#include "loader/pool/Readiness.h"
#include "loader/settings/Settings.h"
#include "vellumo/Constants.h"
#include "vellumo/TaskDB.h"

namespace vellumo::cli {
namespace {

namespace core = NAVO::VELLUMO;

constexpr auto kAnswerLimit = std::chrono::seconds(10);
constexpr int64_t kMebibyte = int64_t{1} << 20;
// The databases grow by no more in a night.
constexpr int64_t kStateBytes = 64 * kMebibyte;
constexpr mode_t kPermissions = 07777;
constexpr mode_t kOthers = 077;

std::string InMebibytes(int64_t bytes) {
    return std::to_string(bytes / kMebibyte) + " MiB";
}

// The bytes that are free at `path`; nothing where that cannot be told.
std::optional<int64_t> FreeAt(const std::string& path) {
    struct statvfs space {};
    if (statvfs(path.c_str(), &space) != 0) {
        return std::nullopt;
    }
    return static_cast<int64_t>(space.f_bavail * space.f_frsize);
}

// All that is free where products are kept; a file system that is mounted twice counts once.
int64_t FreeForProducts() {
    std::map<dev_t, int64_t> free;
    for (const std::string& folder : loader::FoldersOfProducts()) {
        struct stat status {};
        if (stat(folder.c_str(), &status) == 0) {
            free[status.st_dev] = FreeAt(folder).value_or(0);
        }
    }
    int64_t bytes = 0;
    for (const auto& [device, atDevice] : free) {
        bytes += atDevice;
    }
    return bytes;
}

Finding Failed(const std::string& subject, const Problem& problem) {
    return {subject, false, problem.why, problem.next};
}

}  // namespace

Finding CheckRootRights() {
    if (const auto problem = ProblemOf([] { loader::CheckRights(""); })) {
        return Failed("rights", *problem);
    }
    return {"rights", true, "the rights of root are available", ""};
}

Finding CheckSettings() {
    const loader::Settings settings = loader::Settings::Read();
    if (settings.Problems().empty()) {
        return {"settings", true, core::SZF_INDEX_CONFIG, ""};
    }
    const Problem problem = InOwnTerms(settings.Problems().front());
    return {"settings", false, problem.what + ": " + problem.why,
            problem.next.empty() ? "'vellumo settings' shows all that is wrong." : problem.next};
}

Finding CheckStateFolder() {
    const std::string file = core::SZF_CONFIG_PATH;
    const std::string folder = file.substr(0, file.rfind('/'));
    struct stat status {};
    if (stat(folder.c_str(), &status) != 0) {
        return {"state folder", false, folder + ": " + std::strerror(errno),
                "'systemd-tmpfiles --create vellumo.conf' makes it."};
    }
    if (status.st_uid != 0 || (status.st_mode & kPermissions & kOthers) != 0) {
        return {"state folder", false, "others than root may enter " + folder,
                "chown root " + folder + " && chmod 700 " + folder};
    }
    const int64_t free = FreeAt(folder).value_or(0);
    if (free < kStateBytes) {
        return {"state folder", false, "only " + InMebibytes(free) + " are free for " + folder,
                "Free some space there: without it, neither the state nor the databases can be "
                "written."};
    }
    return {"state folder", true, folder + ", " + InMebibytes(free) + " free", ""};
}

Finding CheckQueue() {
    core::TaskDB queue;
    std::vector<core::TaskDB::Task> tasks;
    if (!queue.OpenDB() || !queue.GetTasks(tasks, 0)) {
        return {"queue", false, std::string(core::SZF_THUMB_DB_PATH) + " cannot be opened or read",
                "'vellumo queue' shows the reason. If the file is damaged, move it away: the next "
                "program that opens it makes a new one."};
    }
    return {"queue", true, loader::Count(tasks.size(), "task") + " in it", ""};
}

Finding CheckCacheSpace() {
    int64_t used = 0;
    const auto problem =
        ProblemOf([&] { used = loader::CacheIndex("cannot measure the cache").Totals().bytes; });
    if (problem) {
        return Failed("cache", *problem);
    }
    const auto known = loader::LimitOf(loader::Settings::Read());
    if (!known) {
        return {"cache", false,
                "the limit of the cache is not known, and nothing is removed from it: " +
                    InMebibytes(used) + " used",
                "'vellumo settings' shows what to correct."};
    }
    const int64_t limit = *known;
    const int64_t free = FreeForProducts();
    const std::string sizes = InMebibytes(used) + " of " + InMebibytes(limit) + " used, " +
                              InMebibytes(free) + " free on the volumes";
    if (limit - used > free) {
        return {"cache", false,
                "the setting cacheLimit allows more than there is room for: " + sizes,
                "Free some space, or lower the limit: vellumo settings set cacheLimit " +
                    std::to_string((used + free / 2) / kMebibyte) + "M"};
    }
    return {"cache", true, sizes, ""};
}

Finding CheckDaemon() {
    if (loader::AskDaemon("status", kAnswerLimit)) {
        return {"daemon", true, "it runs, and answers", ""};
    }
    const bool isDown = errno == ENOENT || errno == ECONNREFUSED;
    return {"daemon", false,
            isDown ? "it does not run, so nothing is converted ahead of time"
                   : std::string("it does not answer: ") + std::strerror(errno),
            isDown ? "systemctl enable --now navovellumod"
                   : "'systemctl status navovellumod' shows its messages."};
}

}  // namespace vellumo::cli
