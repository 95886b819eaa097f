// SPDX-License-Identifier: Apache-2.0
#include <fcntl.h>
#include <gtest/gtest.h>
#include <navo/exec.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "Outcome.h"
#include "TestDirectory.h"

namespace navo::test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr Failure ExecFailure(int error) {
    return {NAVO_ERR_EXEC_FAILED, error, "exec.cpp"};
}

// Lets a descriptor of this process lead to a file for as long as it lives.
class Redirected {
public:
    Redirected(int descriptor, const std::string& file)
        : _descriptor(descriptor), _before(fcntl(descriptor, F_DUPFD_CLOEXEC, 100)) {
        const int opened = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
        EXPECT_EQ(dup2(opened, descriptor), descriptor);
        close(opened);
    }
    ~Redirected() {
        dup2(_before, _descriptor);
        close(_before);
    }
    Redirected(const Redirected&) = delete;
    Redirected& operator=(const Redirected&) = delete;

private:
    int _descriptor;
    int _before;
};

// Sets what a signal does in this process for as long as it lives.
class Disposition {
public:
    Disposition(int signal, void (*handler)(int), int flags = 0) : _signal(signal) {
        struct sigaction action {};
        action.sa_handler = handler;
        action.sa_flags = flags;
        EXPECT_EQ(sigaction(signal, &action, &_before), 0);
    }
    ~Disposition() { sigaction(_signal, &_before, nullptr); }
    Disposition(const Disposition&) = delete;
    Disposition& operator=(const Disposition&) = delete;

private:
    int _signal;
    struct sigaction _before {};
};

struct sigaction Present(int signal) {
    struct sigaction action {};
    sigaction(signal, nullptr, &action);
    return action;
}

// Blocks a signal in this thread for as long as it lives.
class Blocked {
public:
    explicit Blocked(int signal) {
        sigset_t set;
        sigemptyset(&set);
        sigaddset(&set, signal);
        pthread_sigmask(SIG_BLOCK, &set, &_before);
    }
    ~Blocked() { pthread_sigmask(SIG_SETMASK, &_before, nullptr); }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

private:
    sigset_t _before{};
};

// Interrupts this process every millisecond for as long as it lives.
class Alarms {
public:
    Alarms() : _disposition(SIGALRM, [](int) {}) { Every(1000); }
    ~Alarms() { Every(0); }
    Alarms(const Alarms&) = delete;
    Alarms& operator=(const Alarms&) = delete;

private:
    static void Every(int microseconds) {
        const itimerval interval{{0, microseconds}, {0, microseconds}};
        EXPECT_EQ(setitimer(ITIMER_REAL, &interval, nullptr), 0);
    }

    Disposition _disposition;
};

int Execv(std::vector<std::string> elements, int wait = 1) {
    std::vector<char*> argv;
    argv.reserve(elements.size() + 1);
    for (std::string& element : elements) {
        argv.push_back(element.data());
    }
    argv.push_back(nullptr);
    return NLIBCExecv(argv.front(), argv.data(), wait);
}

int Shell(const std::string& script, const std::string& argument = "", int wait = 1) {
    return Execv({"/bin/sh", "-c", script, "sh", argument}, wait);
}

// Whether no child of this process is left, not even a zombie.
bool HasNoChild() {
    siginfo_t info{};
    return waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT) != 0 && errno == ECHILD;
}

// Runs programs until all that were not waited for have ended and left; false after 10 seconds.
bool Collected() {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!HasNoChild()) {
        if (Clock::now() > deadline) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_EQ(Shell("exit 0"), 0);
    }
    return true;
}

class ExecTest : public DirectoryTest {
protected:
    // A set of signals from a copy of /proc/PID/status; all of them when it is not there.
    unsigned long SignalsIn(const std::string& field) const {
        const std::string status = ReadFile(output);
        const size_t found = status.find(field);
        return found == std::string::npos
                   ? ~0UL
                   : std::stoul(status.substr(found + field.size()), nullptr, 16);
    }

    const std::string output = At("output");

    // For a shell: waits until the file "go" is there, but not for ever.
    const std::string awaitGo =
        "for i in $(seq 1000); do [ -e '" + At("go") + "' ] && break; sleep 0.02; done";
};

// Whether a file comes into being within 10 seconds.
bool Appears(const std::string& path) {
    const auto deadline = Clock::now() + std::chrono::seconds(10);
    while (!Exists(path) && Clock::now() < deadline) {
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return Exists(path);
}

TEST_F(ExecTest, GivesTheExitStatus) {
    for (const int status : {0, 1, 124, 255}) {
        ExpectSuccess([=] { return Shell("exit " + std::to_string(status)); }, status);
        ExpectSuccess(
            [=] {
                const std::string script = "exit " + std::to_string(status);
                return NLIBCExecl("/bin/sh", 187, "-c", script.c_str(), nullptr);
            },
            status);
        ExpectSuccess(
            [=] {
                const std::string script = "exit " + std::to_string(status);
                return NLIBCExec("/bin/sh", "-c", script.c_str(), nullptr, nullptr);
            },
            status);
    }
}

TEST_F(ExecTest, PassesArgumentsAsTheyStand) {
    const std::string odd = "a b; $(exit 3) * 'q' \t\n\x80\xff";
    const std::string script = "printf '%s|' \"$0\" \"$@\" > '" + output + "'";
    ASSERT_EQ(Execv({"/bin/sh", "-c", script, "zero", odd, "", "-x"}), 0);
    EXPECT_EQ(ReadFile(output), "zero|" + odd + "||-x|");
}

TEST_F(ExecTest, ExeclPassesItsListWithTheNameOfTheProgramInFront) {
    ASSERT_EQ(NLIBCExecl("/bin/cp", 187, "/proc/self/cmdline", output.c_str(), nullptr), 0);
    EXPECT_EQ(ReadFile(output),
              std::string("/bin/cp\0/proc/self/cmdline\0", 27) + output + std::string(1, '\0'));
}

TEST_F(ExecTest, ExecEndsItsListAtTheFirstNull) {
    const std::string script = "printf '%s|' \"$@\" > '" + output + "'";
    ASSERT_EQ(NLIBCExec("/bin/sh", "-c", script.c_str(), "zero", "one"), 0);
    EXPECT_EQ(ReadFile(output), "one|");
    ASSERT_EQ(NLIBCExec("/bin/sh", "-c", script.c_str(), nullptr, "one"), 0);
    EXPECT_EQ(ReadFile(output), "|");
}

TEST_F(ExecTest, RunsAProgramWithoutArguments) {
    ExpectSuccess([] { return NLIBCExecl("/bin/true", 187, nullptr); }, 0);
    ExpectSuccess([] { return NLIBCExec("/bin/false", nullptr, nullptr, nullptr, nullptr); }, 1);
}

TEST_F(ExecTest, TellsWhyAProgramDidNotStart) {
    WriteFile(At("data"), "no program", 0644);
    WriteFile(At("broken"), "no program", 0755);
    ExpectFailure([] { return Execv({"/no/such/program"}); }, -1, ExecFailure(ENOENT));
    ExpectFailure([&] { return Execv({At("data")}); }, -1, ExecFailure(EACCES));
    ExpectFailure([&] { return Execv({At("broken")}); }, -1, ExecFailure(ENOEXEC));
    ExpectFailure([&] { return Execv({directory.Path()}, 0); }, -1, ExecFailure(EACCES));
    ExpectFailure([] { return NLIBCExecl("/no/such/program", 187, nullptr); }, -1,
                  ExecFailure(ENOENT));
    ExpectFailure([] { return NLIBCExec("/no/such/program", "a", nullptr, nullptr, nullptr); }, -1,
                  ExecFailure(ENOENT));
    EXPECT_TRUE(HasNoChild());
}

TEST_F(ExecTest, SearchesNoPath) {
    ExpectFailure([] { return Execv({"true"}); }, -1, ExecFailure(EINVAL));
    ExpectFailure([] { return NLIBCExecl("true", 187, nullptr); }, -1, ExecFailure(EINVAL));
    ExpectFailure([] { return NLIBCExec("./true", nullptr, nullptr, nullptr, nullptr); }, -1,
                  ExecFailure(EINVAL));
}

TEST_F(ExecTest, RefusesNoProgram) {
    char* const none[] = {nullptr};
    ExpectFailure([&] { return NLIBCExecv(nullptr, none, 1); }, -1, ExecFailure(EINVAL));
    ExpectFailure([&] { return NLIBCExecv("/bin/true", none, 1); }, -1, ExecFailure(EINVAL));
    ExpectFailure([] { return NLIBCExecv("/bin/true", nullptr, 1); }, -1, ExecFailure(EINVAL));
    ExpectFailure([] { return NLIBCExecl(nullptr, 187, "a", nullptr); }, -1, ExecFailure(EINVAL));
    ExpectFailure([] { return NLIBCExec(nullptr, nullptr, nullptr, nullptr, nullptr); }, -1,
                  ExecFailure(EINVAL));
}

TEST_F(ExecTest, ExeclServesOnlyTheQuietWay) {
    for (const int options : {0, 1, 186, 188, -1}) {
        ExpectFailure([=] { return NLIBCExecl("/bin/true", options, nullptr); }, -1,
                      {NAVO_ERR_BAD_PARAMETERS, EINVAL, "exec.cpp"});
    }
}

TEST_F(ExecTest, CountsAProgramThatASignalEndedAsFailed) {
    ExpectFailure([] { return Shell("kill -KILL $$"); }, -1, ExecFailure(EINTR));
    ExpectFailure([] { return NLIBCExecl("/bin/sh", 187, "-c", "kill -TERM $$", nullptr); }, -1,
                  ExecFailure(EINTR));
    ExpectFailure([] { return NLIBCExec("/bin/sh", "-c", "kill -SEGV $$", nullptr, nullptr); }, -1,
                  ExecFailure(EINTR));
}

TEST_F(ExecTest, ThrowsStandardOutputAway) {
    {
        const Redirected standardOutput(STDOUT_FILENO, output);
        EXPECT_EQ(Shell("echo text"), 0);
        EXPECT_EQ(NLIBCExecl("/bin/echo", 187, "text", nullptr), 0);
        EXPECT_EQ(NLIBCExec("/bin/echo", "text", nullptr, nullptr, nullptr), 0);
    }
    EXPECT_EQ(ReadFile(output), "");
}

TEST_F(ExecTest, LetsAllButExeclWriteToStandardError) {
    {
        const Redirected standardError(STDERR_FILENO, output);
        EXPECT_EQ(Shell("echo v >&2"), 0);
        EXPECT_EQ(NLIBCExecl("/bin/sh", 187, "-c", "echo l >&2", nullptr), 0);
        EXPECT_EQ(NLIBCExec("/bin/sh", "-c", "echo plain >&2", nullptr, nullptr), 0);
    }
    EXPECT_EQ(ReadFile(output), "v\nplain\n");
}

TEST_F(ExecTest, GivesNoInput) {
    const int zero = open("/dev/zero", O_RDONLY | O_CLOEXEC);
    const int before = dup(STDIN_FILENO);
    dup2(zero, STDIN_FILENO);
    close(zero);
    EXPECT_EQ(Shell("readlink /proc/self/fd/0 > \"$1\"", output), 0);
    dup2(before, STDIN_FILENO);
    close(before);
    EXPECT_EQ(ReadFile(output), "/dev/null\n");
}

TEST_F(ExecTest, PassesOnNoOtherDescriptor) {
    const int low = dup(STDERR_FILENO);
    const int high = dup2(STDERR_FILENO, 200);
    EXPECT_EQ(Shell("ls /proc/self/fd > \"$1\"", output), 0);
    close(low);
    close(high);
    EXPECT_EQ(ReadFile(output), "0\n1\n2\n3\n") << "3 is ls's own, for the directory";
}

TEST_F(ExecTest, StartsWithSignalsAtTheirDefaultsAndUnblocked) {
    const Disposition pipes(SIGPIPE, SIG_IGN);
    const Disposition ends(SIGTERM, SIG_IGN);
    const Disposition realTime(SIGRTMIN + 3, SIG_IGN);
    const Blocked interrupts(SIGINT);
    const Blocked user(SIGUSR1);
    // Not by a shell, which puts some of it right itself.
    ASSERT_EQ(NLIBCExecl("/bin/cp", 187, "/proc/self/status", output.c_str(), nullptr), 0);
    // The C library keeps the first two real-time signals for itself.
    constexpr unsigned long kOthers = ~0x180000000UL;
    EXPECT_EQ(SignalsIn("SigBlk:") & kOthers, 0U) << "blocked";
    EXPECT_EQ(SignalsIn("SigIgn:") & kOthers, 0U) << "ignored";
}

TEST_F(ExecTest, WaitsThroughSignals) {
    const Alarms alarms;
    ExpectSuccess([] { return Shell("sleep 0.2; exit 5"); }, 5);
}

// How a loader may have set SIGCHLD so that the system throws exit statuses away.
struct LostStatus {
    const char* name;
    void (*handler)(int);
    int flags;
};

class ExecWithLostStatusTest : public ExecTest, public testing::WithParamInterface<LostStatus> {
protected:
    static void ExpectStillSet() {
        EXPECT_EQ(Present(SIGCHLD).sa_handler, GetParam().handler);
        EXPECT_EQ(Present(SIGCHLD).sa_flags & SA_NOCLDWAIT, GetParam().flags);
    }

    const Disposition disposition{SIGCHLD, GetParam().handler, GetParam().flags};
};

TEST_P(ExecWithLostStatusTest, GivesTheExitStatusAllTheSame) {
    ExpectSuccess([] { return Shell("exit 7"); }, 7);
    ExpectStillSet();
}

TEST_P(ExecWithLostStatusTest, RestoresTheDispositionAfterAFailure) {
    ExpectFailure([] { return Execv({"/no/such/program"}); }, -1, ExecFailure(ENOENT));
    ExpectStillSet();
}

TEST_P(ExecWithLostStatusTest, GivesEachOfSeveralThreadsItsOwn) {
    constexpr int kThreads = 4;
    constexpr int kRuns = 15;
    std::vector<int> wrong(kThreads, 0);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&wrong, i] {
            for (int run = 0; run < kRuns; ++run) {
                const int status = i * kRuns + run;
                wrong[static_cast<size_t>(i)] +=
                    Shell("exit " + std::to_string(status)) == status ? 0 : 1;
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(wrong, std::vector<int>(kThreads, 0)) << "runs with a wrong status, by thread";
    ExpectStillSet();
}

INSTANTIATE_TEST_SUITE_P(Ways, ExecWithLostStatusTest,
                         testing::Values(LostStatus{"Ignored", SIG_IGN, 0},
                                         LostStatus{"NoZombies", SIG_DFL, SA_NOCLDWAIT},
                                         LostStatus{"HandledWithoutZombies", [](int) {},
                                                    SA_NOCLDWAIT}),
                         [](const auto& instance) { return instance.param.name; });

TEST_F(ExecTest, LeavesAHandlerForChildrenAlone) {
    const Disposition handled(SIGCHLD, [](int) {});
    const auto handler = Present(SIGCHLD).sa_handler;
    ExpectSuccess([] { return Shell("exit 7"); }, 7);
    EXPECT_EQ(Present(SIGCHLD).sa_handler, handler);
}

TEST_F(ExecTest, LeavesAHandlerThatCameMeanwhileAlone) {
    const Disposition ignored(SIGCHLD, SIG_IGN);
    std::optional<Disposition> handled;
    std::thread other([&] {
        EXPECT_TRUE(Appears(output)) << "the program does not run";
        handled.emplace(SIGCHLD, [](int) {});
        WriteFile(At("go"), "");
    });
    EXPECT_EQ(Shell(": >\"$1\"; " + awaitGo + "; exit 7", output), 7);
    other.join();
    EXPECT_NE(Present(SIGCHLD).sa_handler, SIG_IGN);
    EXPECT_NE(Present(SIGCHLD).sa_handler, SIG_DFL);
}

TEST_F(ExecTest, DoesNotWaitWhenToldNotTo) {
    const std::string script = awaitGo + "; echo done >\"$1\"";
    ExpectSuccess([&] { return Shell(script, output, 0); }, 0);
    EXPECT_FALSE(Exists(output)) << "it waited until the program gave up waiting for this test";
    WriteFile(At("go"), "");
    EXPECT_TRUE(Collected());
    EXPECT_EQ(ReadFile(output), "done\n");
}

TEST_F(ExecTest, LeavesNoZombieForEver) {
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Shell("echo done > \"$1\"", output, 0), 0);
    }
    EXPECT_TRUE(Collected()) << "an ended program is still there";
    EXPECT_EQ(ReadFile(output), "done\n");
}

}  // namespace
}  // namespace navo::test
