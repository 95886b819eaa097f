// SPDX-License-Identifier: Apache-2.0
#include "support/ChildProcess.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "support/TemporaryFile.h"

namespace vellumo::support {
namespace {

using std::chrono::milliseconds;

pid_t StartShell(const std::string& script, const Surroundings& surroundings) {
    std::vector<std::string> words{"sh", "-c", script};
    pid_t child = -1;
    EXPECT_EQ(Start("/bin/sh", ArgumentVector(words).data(), surroundings, child), 0);
    return child;
}

// What `script` writes to its standard output.
std::string OutputOf(const std::string& script, bool keepsSignals = false) {
    const Descriptor output = OpenNamelessFile();
    const pid_t child = StartShell(script, {output.Get(), Surroundings::kNothing, keepsSignals});
    int status = -1;
    EXPECT_TRUE(WaitForEnd(child, status));
    return ReadTail(output, 65536);
}

TEST(ChildProcess, HasNothingOpenButTheStandardThree) {
    const Descriptor leaking(fcntl(STDERR_FILENO, F_DUPFD, 50));
    EXPECT_EQ(OutputOf("for f in /proc/self/fd/*; do [ -e $f ] && echo ${f##*/}; done"),
              "0\n1\n2\n");
}

TEST(ChildProcess, ReadsNothing) {
    EXPECT_EQ(OutputOf("wc -c"), "0\n");
}

TEST(ChildProcess, HasTheSignalsAtTheirDefaults) {
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    EXPECT_EQ(OutputOf("kill -USR1 $$; echo alive"), "");
    std::signal(SIGUSR1, before);
}

TEST(ChildProcess, KeepsTheCallersSignalsWhenToldSo) {
    const auto before = std::signal(SIGUSR1, SIG_IGN);
    EXPECT_EQ(OutputOf("kill -USR1 $$; echo alive", true), "alive\n");
    std::signal(SIGUSR1, before);
}

TEST(ChildProcess, SaysWhyItCannotBeStarted) {
    std::vector<std::string> words{"missing"};
    pid_t child = -1;
    EXPECT_EQ(Start("/nowhere/missing", ArgumentVector(words).data(), {}, child), ENOENT);
}

TEST(ChildProcess, IsWaitedForUntilItEnds) {
    int status = -1;
    ASSERT_TRUE(WaitForEnd(StartShell("exit 7", {}), status));
    EXPECT_EQ(WEXITSTATUS(status), 7);
}

TEST(ChildProcess, CannotBeWaitedForTwice) {
    const pid_t child = StartShell("true", {});
    int status = -1;
    ASSERT_TRUE(WaitForEnd(child, status));
    EXPECT_FALSE(WaitForEnd(child, status));
    EXPECT_EQ(errno, ECHILD);
}

TEST(ChildProcess, EndsWithinALimitOrDoesNot) {
    Pipe pipe = MakePipe();
    ASSERT_TRUE(pipe.writing);
    // It lives for as long as somebody holds its standard output's other end.
    const pid_t child = StartShell("trap '' PIPE; while echo; do sleep 0.01; done",
                                   {pipe.writing.Get(), Surroundings::kNothing, false});
    EXPECT_FALSE(EndsWithin(child, milliseconds(50)));
    pipe.reading.Close();
    EXPECT_TRUE(EndsWithin(child, milliseconds(30'000)));
    int status = -1;
    WaitForEnd(child, status);
}

}  // namespace
}  // namespace vellumo::support
