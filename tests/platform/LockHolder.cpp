// SPDX-License-Identifier: Apache-2.0
#include "LockHolder.h"

#include <gtest/gtest.h>
#include <navo/lock.h>

#include <csignal>
#include <utility>

namespace navo::test {

LockHolder::LockHolder(std::string path, bool exclusive)
    : _path(std::move(path)), _exclusive(exclusive), _process([this] { return Hold(); }) {
    EXPECT_EQ(_ready.Receive(), 1) << "the other process did not get the lock on " << _path;
}

void LockHolder::Kill() {
    _process.Signal(SIGKILL);
    EXPECT_EQ(_process.Wait(), -SIGKILL);
}

int LockHolder::Hold() const {
    int descriptor = -1;
    _ready.Send(NLIBCFileLockTimeByFile(_path.c_str(), _exclusive ? 1 : 0, 5, &descriptor));
    _release.Receive();
    return NLIBCFileUnlockByFile(descriptor);
}

}  // namespace navo::test
