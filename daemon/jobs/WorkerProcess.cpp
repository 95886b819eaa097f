// SPDX-License-Identifier: Apache-2.0
#include "jobs/WorkerProcess.h"

#include <linux/ioprio.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <fstream>
#include <string>

namespace vellumo::daemon {
namespace {

constexpr int kNiceness = 10;

}  // namespace

void MakeBackground(pid_t process) {
    setpriority(PRIO_PROCESS, static_cast<id_t>(process), kNiceness);
    syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, process, IOPRIO_PRIO_VALUE(IOPRIO_CLASS_IDLE, 0));
}

int64_t MemoryOf(pid_t process) {
    std::ifstream file("/proc/" + std::to_string(process) + "/statm");
    int64_t size = 0;
    int64_t resident = 0;
    return file >> size >> resident ? resident * sysconf(_SC_PAGESIZE) : 0;
}

}  // namespace vellumo::daemon
