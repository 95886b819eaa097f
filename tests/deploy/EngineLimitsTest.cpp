// SPDX-License-Identifier: Apache-2.0
// What a command run by the engine may take and ask of the kernel, and what is left when it wants
// more.
#include "Shell.h"

namespace vellumo::test {
namespace {

using testing::AnyOf;
using testing::EndsWith;
using testing::HasSubstr;

class EngineLimits : public ShellTest {
protected:
    // Runs `script` in a view. It finds
    //   pause            the command line of a pause that no other script makes
    //   groups LINE      the control groups of the process that has this command line, as groups_of
    //                    prints them; waits for the process
    //   next_is_good     tells when the next command does not work
    Said Try(const std::string& script) const {
        return InView(R"sh(
            pause="sleep 98.$$"
            groups() { await pgrep -xf "$1"; groups_of $(pgrep -xf "$1"); }
            next_is_good() { [ "$(tool echo good)" = good ] || echo 'the next is not good'; }
            )sh" + script);
    }

    bool HasControlGroups() const {
        return !Try("docker exec navo1 $pause & groups \"$pause\"; kill $!; wait").text.empty();
    }
};

#define SKIP_WITHOUT_CONTROL_GROUPS() \
    if (!HasControlGroups())          \
    GTEST_SKIP() << "no control groups can be made here"

TEST_F(EngineLimits, EndACommandThatTakesTooMuchMemory) {
    // Killed in a control group, refused the memory else.
    EXPECT_THAT(Try("tool python3 -c 'bytearray(1 << 31); print(1)' 2>/dev/null; echo $?; "
                    "tool python3 -c 'bytearray(1 << 30); print(2)'; next_is_good")
                    .text,
                AnyOf("137\n2\n", "1\n2\n"));
}

TEST_F(EngineLimits, CountTheMemoryOfAllProcessesTogether) {
    SKIP_WITHOUT_CONTROL_GROUPS();
    // Each goes on until the other has come to its end.
    const Said said = Try(R"sh(
        take='import os, time
x = bytearray(1 << 30)
deadline = time.monotonic() + 60
while not os.path.exists("/tmp/ended") and time.monotonic() < deadline: time.sleep(0.02)'
        tool bash -c 'python3 -c "$0" & python3 -c "$0" & wait -n; one=$?; touch /tmp/ended
            wait -n; echo $((one + $?))' "$take" 2>/dev/null; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "137\n"));
}

TEST_F(EngineLimits, CountWhatLiesInMemoryFileSystems) {
    SKIP_WITHOUT_CONTROL_GROUPS();
    EXPECT_THAT(Try("tool sh -c 'head -c 700M /dev/zero >/tmp/x; "
                    "  python3 -c \"bytearray(1 << 30)\"' 2>/dev/null; echo $?; next_is_good"),
                Says(0, "137\n"));
}

TEST_F(EngineLimits, StopAProcessBomb) {
    SKIP_WITHOUT_CONTROL_GROUPS();
    const Said said = Try(R"sh(
        tool python3 -c '
import os, time
count = 0
try:
    while count < 400:
        if os.fork() == 0:
            time.sleep(60)
        count += 1
except OSError as error:
    print(count > 200, error.strerror)
'; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "True Resource temporarily unavailable\n"));
}

TEST_F(EngineLimits, StopAFileThatGrowsAndGrows) {
    EXPECT_THAT(Try("tool dd if=/dev/zero of=$target/x bs=1M count=800 2>/dev/null; echo $?; "
                    "ls -A $T; tool sh -c 'ulimit -c'; next_is_good"),
                Says(0, "153\n0\n"));
}

// A command that fails because there is no space gets the same status as at the limit for one file.
TEST_F(EngineLimits, StopFilesThatGrowInNumber) {
    EXPECT_THAT(Try("tool sh -c 'for i in 1 2; do head -c 500M /dev/zero >$0/$i; done' $target "
                    "  2>/dev/null; echo $?; ls -A $T; next_is_good"),
                Says(0, "153\n"));
    EXPECT_THAT(Try("tool python3 -c 'for i in range(20001): open(\"'$target'/%d\" % i, \"w\")' "
                    "  2>/dev/null; echo $?; ls -A $T; next_is_good"),
                Says(0, "153\n"));
}

TEST_F(EngineLimits, CountFilesThatACommandHasRemovedAndStillHasOpen) {
    EXPECT_THAT(Try(R"sh(tool bash -c '
            for i in 4 5; do eval "exec $i>$0/x"; rm $0/x; fallocate -l 500M /proc/self/fd/$i && echo fits
            done' $target 2>/dev/null; next_is_good)sh"),
                Says(0, "fits\n"));
}

TEST_F(EngineLimits, LeaveNoControlGroupBehind) {
    SKIP_WITHOUT_CONTROL_GROUPS();
    const Said said = Try(R"sh(
        begin() {
            docker exec navo1 $pause & engine=$!
            groups "$pause" >$folder/groups; [ -s $folder/groups ] || echo not found
        }
        begin; kill $engine; wait; groups_left $folder/groups

        begin; kill -KILL $engine; wait $engine 2>/dev/null
        # Another engine may be the next one and remove them.
        removed() { tool true; ! groups_left $folder/groups; }; await removed)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_F(EngineLimits, AreNotTakenAwayByAnotherEngineThatSweeps) {
    SKIP_WITHOUT_CONTROL_GROUPS();
    // Each begins with a sweep, while others have made their groups and are not in them yet.
    const Said said = Try(R"sh(
        for n in {10..25}; do docker exec navo1 $pause$n & engines="$engines $!"; done
        for n in {10..25}; do [ -n "$(groups "$pause$n")" ] || echo $n has none; done
        kill $engines; wait)sh");
    EXPECT_THAT(said, Says(0, ""));
}

// Calls that an ordinary program could make, each with the error that it gets here.
TEST_F(EngineLimits, RefuseSystemCallsThatNoConverterNeeds) {
    const Said said = Try(R"sh(
        tool python3 -c '
import ctypes, errno
libc = ctypes.CDLL(None, use_errno=True)
pair = (ctypes.c_int * 2)()
NEW_USER, CHILD = 0x10000000, 17
calls = {"unshare": (272, NEW_USER), "clone": (56, NEW_USER | CHILD, 0, 0, 0, 0),
         "clone3": (435, 0, 0), "setns": (308, -1, 0), "ptrace": (101, 0, 0, 0, 0),
         "process_vm_readv": (310, 1, 0, 0, 0, 0, 0), "pidfd_getfd": (438, -1, 0, 0),
         "keyctl": (250, 0, -3, 0), "add_key": (248, 0, 0, 0, 0, 0), "bpf": (321, 0, 0, 0),
         "perf_event_open": (298, 0, 0, -1, -1, 0), "io_uring_setup": (425, 1, 0),
         "open_by_handle_at": (304, -1, 0, 0), "userfaultfd": (323, 1), "fsopen": (430, 0, 0),
         "shmget": (29, 0, 4096, 0o600),
         "socket (vsock)": (41, 40, 1, 0), "socket (cipher)": (41, 38, 5, 0),
         "socket (packet)": (41, 17, 3, 0), "socket (netlink)": (41, 16, 3, 0),
         "socket (IPv4)": (41, 2, 1, 0), "socket (IPv6)": (41, 10, 1, 0),
         "socketpair (vsock)": (53, 40, 1, 0, pair), "socketpair (IPv4)": (53, 2, 1, 0, pair),
         "socketpair (TIPC)": (53, 30, 5, 0, pair)}
for name, call in calls.items():
    result = libc.syscall(*call)
    print(name, errno.errorcode.get(ctypes.get_errno()) if result < 0 else "works")
import socket
socket.socketpair(), socket.socket(socket.AF_UNIX)
' 2>&1)sh");
    EXPECT_THAT(said,
                Says(0,
                     "unshare EPERM\nclone EPERM\nclone3 ENOSYS\nsetns EPERM\nptrace EPERM\n"
                     "process_vm_readv EPERM\npidfd_getfd EPERM\nkeyctl EPERM\nadd_key EPERM\n"
                     "bpf EPERM\nperf_event_open EPERM\nio_uring_setup EPERM\n"
                     "open_by_handle_at EPERM\nuserfaultfd EPERM\nfsopen EPERM\n"
                     "shmget EPERM\n"
                     "socket (vsock) EAFNOSUPPORT\nsocket (cipher) EAFNOSUPPORT\n"
                     "socket (packet) EAFNOSUPPORT\nsocket (netlink) EAFNOSUPPORT\n"
                     "socket (IPv4) EAFNOSUPPORT\nsocket (IPv6) EAFNOSUPPORT\n"
                     "socketpair (vsock) EAFNOSUPPORT\nsocketpair (IPv4) EAFNOSUPPORT\n"
                     "socketpair (TIPC) EAFNOSUPPORT\n"));
}

TEST_F(EngineLimits, HoldForAnOrdinaryUserToo) {
    SKIP_WITHOUT_ORDINARY_USER();
    const Said said = InViewOfOrdinaryUser(R"sh(
        tool python3 -c "bytearray(1 << 31)" 2>&1 | tail -1
        tool python3 -c "bytearray(1 << 30)" && echo enough
        tool unshare --user true)sh");
    EXPECT_THAT(said.text, testing::AllOf(HasSubstr("MemoryError\nenough\n"),
                                          EndsWith("Operation not permitted\n")));
}

TEST_F(EngineLimits, CountFilesThatACommandHidesFromAnOrdinaryUser) {
    SKIP_WITHOUT_ORDINARY_USER();
    const Said said = InViewOfOrdinaryUser(R"sh(
        tool bash -c 'mkdir $0/a; exec 3>$0/a/1 4>$0/a/2; chmod 0 $0/a
            for i in 3 4; do fallocate -l 500M /proc/self/fd/$i && echo fits; done
            false' $target 2>/dev/null; echo $?; ls -A $T)sh");
    EXPECT_THAT(said, Says(0, "fits\n1\n"));
}

}  // namespace
}  // namespace vellumo::test
