// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Limits.h"

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <string>

#include "Failure.h"
#include "sandbox/ControlGroups.h"
#include "support/Descriptor.h"

namespace vellumo::engine {
namespace {

using support::Descriptor;

constexpr rlim_t kMebibyte = rlim_t{1} << 20U;
constexpr rlim_t kMemory = 1536 * kMebibyte;
constexpr rlim_t kFile = 768 * kMebibyte;
constexpr rlim_t kProcesses = 256;
// Without a control group the kernel counts the processes of a user, who may have many sandboxes.
constexpr rlim_t kProcessesOfUser = 2048;

constexpr const char* kPrefix = "vellumo-engine-";

struct Setting {
    const char* file;
    std::string value;
    bool isOptional;  // some kernels do not have the file
};

bool Write(const std::string& path, const std::string& text) {
    const Descriptor file(open(path.c_str(), O_WRONLY | O_CLOEXEC));
    return file && write(file.Get(), text.data(), text.size()) == static_cast<ssize_t>(text.size());
}

std::vector<Setting> SettingsFor(const GroupPlace& place) {
    const std::string memory = std::to_string(kMemory);
    std::vector<Setting> settings;
    if (place.unified) {
        settings = {{"memory.max", memory, false}, {"memory.swap.max", "0", true}};
    } else if (place.memory) {
        settings = {{"memory.limit_in_bytes", memory, false},
                    {"memory.memsw.limit_in_bytes", memory, true}};
    }
    if (place.processes) {
        settings.push_back({"pids.max", std::to_string(kProcesses), false});
    }
    return settings;
}

void RemoveGroup(const std::string& path) {
    // Fails while a process in the group is still ending; a later engine removes the group then.
    static_cast<void>(rmdir(path.c_str()));
}

// Returns null when this process may not create a group there.
std::unique_ptr<LockedDirectory> MakeGroup(const GroupPlace& place) {
    std::unique_ptr<LockedDirectory> group;
    try {
        group = std::make_unique<LockedDirectory>(place.directory, kPrefix, RemoveGroup);
    } catch (const Failure&) {
        return nullptr;
    }
    for (const Setting& setting : SettingsFor(place)) {
        if (!Write(group->Path() + '/' + setting.file, setting.value) && !setting.isOptional) {
            return nullptr;
        }
    }
    return group;
}

void Bound(__rlimit_resource what, rlim_t most) {
    rlimit limit{};
    getrlimit(what, &limit);
    limit.rlim_max = std::min(limit.rlim_max, most);
    limit.rlim_cur = std::min(limit.rlim_cur, most);
    setrlimit(what, &limit);
}

// When the whole machine runs out of memory, the kernel kills a sandbox's process before any of the
// server's.
void OfferToMemoryLimit() {
    static_cast<void>(Write("/proc/self/oom_score_adj", "500"));
}

}  // namespace

Limits::Limits() {
    for (const GroupPlace& place : FindGroupPlaces()) {
        if (std::unique_ptr<LockedDirectory> directory = MakeGroup(place)) {
            _groups.push_back({std::move(directory), place.memory, place.processes});
        }
    }
}

void Limits::Enter() const {
    OfferToMemoryLimit();
    bool memory = false;
    bool processes = false;
    for (const Group& group : _groups) {
        if (Write(group.directory->Path() + "/cgroup.procs", "0")) {
            memory = memory || group.memory;
            processes = processes || group.processes;
        }
    }
    if (!memory) {
        Bound(RLIMIT_DATA, kMemory);
    }
    if (!processes) {
        Bound(RLIMIT_NPROC, kProcessesOfUser);
    }
    Bound(RLIMIT_FSIZE, kFile);
    Bound(RLIMIT_CORE, 0);
}

}  // namespace vellumo::engine
