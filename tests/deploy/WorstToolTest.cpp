// SPDX-License-Identifier: Apache-2.0
// A tool that its document has taken over and that does its worst. These tests run with the
// embedded engine and with a container; in both, the tool is a shell with the programs of a
// converter.
#include <unistd.h>

#include "WarmOffice.h"

namespace vellumo::test {
namespace {

// Another user's document and product, which anybody may read who gets at them.
constexpr const char* kOthers = R"sh(
others() {
    echo '%PDF- secret' >$S/other.pdf; chown 54321 $S/other.pdf; chmod 744 $S/other.pdf
    echo '%PDF- secret' >$T/other.pdf; chmod 744 $T/other.pdf
}
others
)sh";

TEST_P(WorstTool, ReadsNoDocumentAndNoProductOfOthers) {
    const Said said = Obey(kOthers + std::string(R"sh(
        # The words must not be in the document itself.
        order a 'cat "${1#A=}" | grep -c own
            w=sec; w=${w}ret
            cat /Vellumo/@tmp/*/other.pdf /proc/[0-9]*/root/Vellumo/@tmp/*/other.pdf
            grep -rls $w /Vellumo /tmp /dev/shm /run /var /home /root /opt /volume1
            grep -ls $w /proc/[0-9]*/environ /proc/[0-9]*/fd/* /proc/[0-9]*/mem
            ls /tmp/vellumo-rooms /tmp/vellumo-office-*/room*'
        cut_page x.pdf a.pdf 2>/dev/null; ls $T)sh"));
    EXPECT_THAT(said, Says(0, "1\nother.pdf\n"));
}

TEST_P(WorstTool, ChangesNothingButItsOwnProduct) {
    const Said said = Obey(kOthers + std::string(R"sh(
        order a 'echo mine >"$5"
            for path in "${1#A=}" /Vellumo/@tmp/*/other.pdf /opt/vellumo/bin/* /etc/passwd \
                /tmp/vellumo-rooms /proc/sys/vm/swappiness /proc/sys/kernel/core_pattern; do
                (echo x >>"$path"; rm -f "$path"; mv "$path" "$path.x"; ln -sf /etc/passwd "$path"
                    chmod 777 "$path") && echo "$path"
            done
            echo x >/Vellumo/@tmp/source/new; echo x >"${5%/*}/../in/new"; echo x >/Vellumo/new
            touch /opt/vellumo/new /usr/new /run/new /var/new && echo new
            ln -s /etc/passwd "${5%/*}/x.link"; mkfifo "${5%/*}/x.pipe"
            echo forged >"${5%/*}/other.pdf"; echo forged >"${5%/*}/x1.pdf"; true'
        before=$(stat -c '%n %a %u %s %Y %Z' $S/*.pdf $T/other.pdf)
        cut_page x.pdf a.pdf 2>/dev/null; echo $?; ls -A $S $T; cat $T/x.pdf
        [ "$before" = "$(stat -c '%n %a %u %s %Y %Z' $S/*.pdf $T/other.pdf)" ] || echo changed
        rm $T/*; next_is_good)sh"));
    EXPECT_EQ(said.status, 0);
    EXPECT_THAT(said.text, testing::MatchesRegex("0\n[^\n]*:\na.pdf\nother.pdf\n\n[^\n]*:\n"
                                                 "other.pdf\nx.pdf\nmine\n"));
}

TEST_P(WorstTool, LeavesNothingThatRuns) {
    const Said said = Obey(R"sh(
        order a 'setsid sh -c "(trap \"\" TERM HUP INT; sleep 98765) & sleep 98765 &"
            (setsid sleep 98765 & setsid setsid sleep 98765 &)
            for i in 1 2 3 4 5 6 7 8; do (while :; do (:) & done) & done; sleep 0.3'
        cut_page x.pdf a.pdf >/dev/null 2>&1; echo $?; [ -z "$(processes sleep)" ] || echo still there
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, "0\n"));
}

// The command's own process is stopped with it, and its user's processes cannot stop the one that
// ends them.
TEST_P(WorstTool, LeavesNothingThatRunsWhenItsTimeIsOver) {
    const Said said = Obey(R"sh(
        order a 'trap "" TERM HUP INT
            (while :; do kill -STOP -1; kill -KILL -1; setsid sleep 98765 & done) &
            setsid sh -c "trap \"\" TERM; while :; do sleep 98765 & wait; done" & sleep 98765'
        limit=1 cut_page x.pdf a.pdf >/dev/null 2>&1; [ $? != 0 ] || echo succeeded
        [ -z "$(processes sleep)" ] || echo still there
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WorstTool, SendsNoSignalToOthers) {
    const Said said = Obey(R"sh(
        keeper=$(keeper_process)
        order a 'for signal in STOP KILL; do
                for process in /proc/[0-9]*; do
                    [ ${process#/proc/} = $$ ] || kill -$signal ${process#/proc/}
                done
                kill -$signal $PPID
            done'
        cut_page x.pdf a.pdf >/dev/null 2>&1
        [ "$(keeper_process)" = $keeper ] || echo another office
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WorstTool, LeavesNothingInTheWay) {
    const Said said = Obey(R"sh(
        order a 'for place in /tmp /dev/shm "$HOME" "${5%/*}"; do
                cd $place || continue
                touch vellumo-room-x .hidden; mkdir vellumo-rooms vellumo-rooms/0 vellumo-office-x
                (exec 9<vellumo-office-x; flock 9; setsid sleep 98765 &)
                mkfifo pipe; ln -s / link; mkdir closed && touch closed/x && chmod 0 closed
                /usr/bin/python3 -c "import os
for i in range(1200): os.mkdir(\"d\"), os.chdir(\"d\")"
            done; chmod 0 "$HOME" "${5%/*}"; true'
        cut_page x.pdf a.pdf >/dev/null 2>&1; echo $?; next_is_good)sh");
    EXPECT_THAT(said, Says(0, "0\n"));
}

TEST_P(WorstTool, FillsNoSpaceOfTheNextOne) {
    // Files that are open but have no name count too.
    const Said said = Obey(R"sh(
        order a 'for place in /tmp /dev/shm "$HOME" "${5%/*}"; do
                exec 7>$place/x && rm $place/x && cat /dev/zero >&7
                exec 8<&7; cat /dev/zero >$place/y
            done; setsid sleep 98765 & false'
        cut_page x.pdf a.pdf >/dev/null 2>&1; [ $? != 0 ] || echo succeeded
        next_is_good)sh");
    EXPECT_THAT(said, Says(0, ""));
}

TEST_P(WorstTool, SharesItsUserWithNobody) {
    if (geteuid() != 0) {
        GTEST_SKIP() << "an ordinary user's view has root alone";
    }
    const Said said = Obey(R"sh(
        order a 'id -u; sleep 98765'
        cut_page x.pdf a.pdf >$folder/one 2>&1 & await grep -qs . $folder/one
        cut_page y.pdf a.pdf >$folder/two 2>&1 & await grep -qs . $folder/two
        awk '/^Uid/ {print $2}' /proc/$(spare_process)/status >$folder/fork
        sort -u $folder/one $folder/two $folder/fork | grep -c '^1[89]........$'
        for process in $(processes sleep); do kill -KILL $process; done; wait)sh");
    EXPECT_THAT(said, Says(0, "3\n"));
}

// A family of sockets that is refused in one call must not be had by another.
TEST_P(WorstTool, MakesNoSocketButToItself) {
    const Said said = Obey(R"sh(
        order a '/usr/bin/python3 - <<"END"
import ctypes
libc = ctypes.CDLL(None)
pair = (ctypes.c_int * 2)()
AF_UNIX = 1
made = [family for family in range(64)
        if any(libc.socket(family, kind, 0) >= 0 or libc.socketpair(family, kind, 0, pair) == 0
               for kind in (1, 2, 3, 5))]
rings = [call for call in (425, 426, 427) if libc.syscall(call, 1, 0) >= 0]
print(made == [AF_UNIX], rings)
END'
        cut_page x.pdf a.pdf)sh");
    EXPECT_THAT(said, Says(0, "True []\n"));
}

TEST_P(WorstTool, HasNoCapabilitiesAndGetsNone) {
    const Said said = Obey(R"sh(
        order a 'grep -e ^Cap[IPEA] -e NoNew -e Seccomp: /proc/self/status | cut -f2 | tr "\n" " "
            unshare -U true; unshare -m true; mount -t tmpfs x "$HOME"; su -c true; true'
        cut_page x.pdf a.pdf 2>/dev/null)sh");
    EXPECT_THAT(
        said, Says(0, "0000000000000000 0000000000000000 0000000000000000 0000000000000000 1 2 "));
}

}  // namespace
}  // namespace vellumo::test
