// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_WORKER_H
#define VELLUMO_TESTS_WORKER_H

#include <sys/types.h>

#include <string>
#include <vector>

namespace vellumo::test {

// A running pool_worker, or another program; killed at the end when it has not ended before.
class Worker {
public:
    explicit Worker(const std::vector<std::string>& arguments);
    Worker(const std::string& program, const std::vector<std::string>& arguments);
    ~Worker();
    Worker(Worker&& other) noexcept;
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;
    Worker& operator=(Worker&&) = delete;

    // Blocks until the worker has written a line to its standard output.
    std::string ReadLine();

    // Blocks until it has ended; its exit status, or minus the signal that ended it.
    int Wait();

    void Kill(int signal);

private:
    pid_t _process = -1;
    int _output = -1;
};

}  // namespace vellumo::test

#endif
