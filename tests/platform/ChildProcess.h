// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_CHILDPROCESS_H
#define NAVO_TESTS_CHILDPROCESS_H

#include <sys/types.h>

#include <functional>
#include <string>

namespace navo::test {

// A pipe through which processes tell each other something.
class Channel {
public:
    Channel();
    ~Channel();
    Channel(const Channel&) = delete;
    Channel& operator=(const Channel&) = delete;

    void Send(int value) const;
    // Blocks until a value comes.
    int Receive() const;

private:
    int _ends[2] = {-1, -1};
};

// Another process: runs `body` and exits with its result. Killed at the end if it still runs.
class ChildProcess {
public:
    explicit ChildProcess(const std::function<int()>& body);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t Id() const { return _id; }

    // Waits for the end; the exit status, or -1 when a signal ended it.
    int Wait();

    // Ends it with `signal` and waits until it has ended.
    void Kill(int signal);

private:
    pid_t _id;
};

// Another process that holds the lock on `path` from the constructor on.
class LockHolder {
public:
    LockHolder(std::string path, bool exclusive);

    // Gives the lock back `delayMs` after this call, which does not wait for it.
    void ReleaseAfter(int delayMs) const { _release.Send(delayMs); }

    // Dies without giving anything back.
    void Kill(int signal) { _process.Kill(signal); }

private:
    int Hold() const;

    std::string _path;
    bool _exclusive;
    Channel _ready;
    Channel _release;
    ChildProcess _process;
};

}  // namespace navo::test

#endif
