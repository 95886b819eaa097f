// SPDX-License-Identifier: Apache-2.0
#include "support/Descriptor.h"

#include <fcntl.h>
#include <gmock/gmock.h>

#include <cerrno>

namespace vellumo::support {
namespace {

bool IsOpen(int descriptor) {
    return fcntl(descriptor, F_GETFD) >= 0;
}

Descriptor OpenNull() {
    return Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC));
}

TEST(Descriptor, IsClosedAtItsEnd) {
    int number = -1;
    {
        const Descriptor file = OpenNull();
        number = file.Get();
        ASSERT_TRUE(IsOpen(number));
    }
    EXPECT_FALSE(IsOpen(number));
}

TEST(Descriptor, LeavesErrnoAloneWhenItCloses) {
    const int notOpen = 1'000'000;
    errno = ENOSPC;
    { const Descriptor file(notOpen); }  // closing it fails with EBADF
    EXPECT_EQ(errno, ENOSPC);
}

TEST(Descriptor, ClosesWhatItHeldWhenAnotherIsMovedIn) {
    Descriptor held = OpenNull();
    const int before = held.Get();
    Descriptor other = OpenNull();
    const int after = other.Get();
    held = std::move(other);
    EXPECT_FALSE(IsOpen(before));
    EXPECT_EQ(held.Get(), after);
    EXPECT_TRUE(IsOpen(after));
}

TEST(Descriptor, IsTheCallersToCloseOnceReleased) {
    Descriptor file = OpenNull();
    const int number = file.Release();
    EXPECT_FALSE(file);
    file.Close();
    EXPECT_TRUE(IsOpen(number));
    close(number);
}

TEST(Uninterrupted, RepeatsACallWhileSignalsInterruptIt) {
    int calls = 0;
    const int result = Uninterrupted([&calls] {
        errno = EINTR;
        return ++calls < 3 ? -1 : 7;
    });
    EXPECT_EQ(result, 7);
    EXPECT_EQ(calls, 3);
}

TEST(Uninterrupted, GivesUpForEveryOtherError) {
    int calls = 0;
    const int result = Uninterrupted([&calls] {
        errno = EIO;
        ++calls;
        return -1;
    });
    EXPECT_EQ(result, -1);
    EXPECT_EQ(calls, 1);
}

}  // namespace
}  // namespace vellumo::support
