// SPDX-License-Identifier: Apache-2.0
#include "Worker.h"

#include <gtest/gtest.h>

#include <csignal>

namespace vellumo::test {
namespace {

Worker Start(const char* program, const std::vector<std::string>& arguments) {
    std::vector<std::string> command{program};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return Worker(command);
}

}  // namespace

Worker PoolWorker(const std::vector<std::string>& arguments) {
    return Start(VELLUMO_POOL_WORKER, arguments);
}

Worker QueueWorker(const std::vector<std::string>& arguments) {
    return Start(VELLUMO_QUEUE_WORKER, arguments);
}

void RunTogether(std::vector<Worker>& workers) {
    for (Worker& worker : workers) {
        EXPECT_EQ(worker.ReadLine(), "ready");
    }
    for (const Worker& worker : workers) {
        worker.Signal(SIGUSR1);
    }
    ExpectGoodEnds(workers);
}

void ExpectGoodEnds(std::vector<Worker>& workers) {
    for (Worker& worker : workers) {
        EXPECT_EQ(worker.Wait(), 0);
    }
}

}  // namespace vellumo::test
