// SPDX-License-Identifier: Apache-2.0
#include "ChildProcess.h"

#include <gtest/gtest.h>
#include <navo/lock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>
#include <utility>

namespace navo::test {

Channel::Channel() {
    EXPECT_EQ(pipe(_ends), 0);
}

Channel::~Channel() {
    close(_ends[0]);
    close(_ends[1]);
}

void Channel::Send(int value) const {
    EXPECT_EQ(write(_ends[1], &value, sizeof value), static_cast<ssize_t>(sizeof value));
}

int Channel::Receive() const {
    int value = -1;
    EXPECT_EQ(read(_ends[0], &value, sizeof value), static_cast<ssize_t>(sizeof value));
    return value;
}

ChildProcess::ChildProcess(const std::function<int()>& body) : _id(fork()) {
    EXPECT_GE(_id, 0) << "cannot fork";
    if (_id == 0) {
        _exit(body());
    }
}

ChildProcess::~ChildProcess() {
    if (_id > 0) {
        Kill(SIGKILL);
    }
}

int ChildProcess::Wait() {
    int status = 0;
    EXPECT_EQ(waitpid(std::exchange(_id, -1), &status, 0) > 0, true) << "no such child";
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

void ChildProcess::Kill(int signal) {
    EXPECT_EQ(kill(_id, signal), 0);
    Wait();
}

LockHolder::LockHolder(std::string path, bool exclusive)
    : _path(std::move(path)), _exclusive(exclusive), _process([this] { return Hold(); }) {
    EXPECT_EQ(_ready.Receive(), 1) << "the other process did not get the lock on " << _path;
}

int LockHolder::Hold() const {
    int descriptor = -1;
    _ready.Send(NLIBCFileLockTimeByFile(_path.c_str(), _exclusive ? 1 : 0, 5, &descriptor));
    std::this_thread::sleep_for(std::chrono::milliseconds(_release.Receive()));
    return NLIBCFileUnlockByFile(descriptor);
}

}  // namespace navo::test
