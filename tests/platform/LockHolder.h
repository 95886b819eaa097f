// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_LOCKHOLDER_H
#define NAVO_TESTS_LOCKHOLDER_H

#include <string>

#include "Process.h"

namespace navo::test {

// Another process that holds the lock on `path` from the constructor on.
class LockHolder {
public:
    LockHolder(std::string path, bool exclusive);

    // Gives the lock back soon after this call, which does not wait for it.
    void Release() const { _release.Send(1); }

    // Dies without giving anything back.
    void Kill();

private:
    int Hold() const;

    std::string _path;
    bool _exclusive;
    vellumo::test::Channel _ready;
    vellumo::test::Channel _release;
    vellumo::test::ChildProcess _process;
};

}  // namespace navo::test

#endif
