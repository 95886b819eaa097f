// SPDX-License-Identifier: Apache-2.0
#include "loader/pool/DocumentWork.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "loader/pool/EngineClient.h"
#include "loader/pool/PoolState.h"
#include "loader/pool/StateFileVisit.h"
#include "support/Directory.h"
#include "vellumo/Constants.h"
#include "vellumo/utils.h"

namespace vellumo::loader {
namespace {

namespace core = NAVO::VELLUMO;

constexpr int kLockSecs = 1;

// The library's marks are the document's path and one of these.
constexpr std::pair<const char*, const char*> kMarks[] = {{":origin", "pdf"},
                                                          {":thumbnail", "thumbnail"}};

using File = std::pair<dev_t, ino_t>;

std::vector<File> FilesOf(const Document& document) {
    std::vector<File> files;
    for (const std::string& path :
         {document.realPath, StreamPath(document, core::SZK_THUMB_PDF_TYPE)}) {
        struct stat status {};
        if (!path.empty() && lstat(path.c_str(), &status) == 0) {
            files.emplace_back(status.st_dev, status.st_ino);
        }
    }
    return files;
}

// The names of the scratch sources that are links to one of `files`.
std::vector<std::string> ScratchNames(const std::vector<File>& files) {
    std::vector<std::string> names;
    std::string volume;
    if (!core::VolumePathGet(core::SZF_DOCKER_DIR, volume)) {
        return names;
    }
    const support::Descriptor directory =
        support::OpenDirectory(volume + core::SZF_DOCKER_DIR + core::SZF_COVERT_SOURCE_DIR);
    for (const std::string& name : support::NamesIn(directory)) {
        struct stat status {};
        if (fstatat(directory.Get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 &&
            std::find(files.begin(), files.end(), File(status.st_dev, status.st_ino)) !=
                files.end()) {
            names.push_back(name);
        }
    }
    return names;
}

bool NamesAny(const std::string& job, const std::vector<std::string>& names) {
    return std::any_of(names.begin(), names.end(), [&job](const std::string& name) {
        return job.find(name) != std::string::npos;
    });
}

std::string ContainerOf(const std::vector<std::string>& names) {
    for (const RunningCommand& running : RunningCommands()) {
        if (NamesAny(running.command, names)) {
            return running.container;
        }
    }
    return "";
}

std::vector<DocumentJob> JobsOf(const PoolState& pool, const std::vector<std::string>& names) {
    std::vector<DocumentJob> jobs;
    for (const std::string& job : pool.running) {
        if (NamesAny(job, names)) {
            jobs.push_back({true, "", ContainerOf(names)});
        }
    }
    for (size_t priority = 0; priority < pool.waiting.size(); ++priority) {
        for (const std::string& job : pool.waiting.at(priority)) {
            if (NamesAny(job, names)) {
                using Priority = core::ContainerPoolManager::Priority;
                jobs.push_back({false, pool.Obstacle(static_cast<Priority>(priority)), ""});
            }
        }
    }
    return jobs;
}

}  // namespace

DocumentWork WorkOn(const Document& document) {
    DocumentWork work;
    PoolState pool;
    {
        StateFileVisit visit(StateFileVisit::Purpose::kRead, "cannot read who works on it",
                             kLockSecs);
        visit.RequireSound();
        pool = PoolState::Of(visit.Document());
        const Json::Value& marks = visit.Document()["runningFiles"];
        for (const auto& [suffix, product] : kMarks) {
            if (marks.isObject() && marks.isMember(document.realPath + suffix)) {
                work.making.emplace_back(product);
            }
        }
    }
    const std::vector<std::string> names = ScratchNames(FilesOf(document));
    if (!names.empty()) {
        work.jobs = JobsOf(pool, names);
    }
    return work;
}

}  // namespace vellumo::loader
