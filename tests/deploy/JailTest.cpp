// SPDX-License-Identifier: Apache-2.0
// What a fork of the office can do that a document has taken over, and what it cannot.
#include "Jail.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/bpf.h>
#include <linux/keyctl.h>
#include <linux/landlock.h>
#include <poll.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include "Process.h"
#include "Pulse.h"
#include "Room.h"
#include "Settings.h"
#include "Shell.h"
#include "jail/users.h"
#include "support/Descriptor.h"

namespace vellumo::office {
namespace {

namespace fs = std::filesystem;
using support::Descriptor;
using test::ChildProcess;
using testing::AnyOf;

constexpr size_t kSpace = 65536;
constexpr char kContent[] = "private";

// Tests that run at the same time have different users, because the end of a room removes
// everything of its user.
uid_t FirstUser() {
    constexpr unsigned kBlock = 20000;
    return users_block(kBlock + static_cast<unsigned>(getpid()) % 10000);
}

// Where the kernel has no Landlock, only users and the call filter separate.
bool HasLandlock() {
    return syscall(SYS_landlock_create_ruleset, nullptr, 0, LANDLOCK_CREATE_RULESET_VERSION) > 0;
}

#define SKIP_WITHOUT_LANDLOCK() \
    if (!HasLandlock())         \
    GTEST_SKIP() << "this kernel has no Landlock"

// The error of a system call with this result; 0 when it has succeeded.
int ErrorOf(long result) {
    return result == -1 ? errno : 0;
}

int ErrorOfOpening(const std::string& path, int flags) {
    constexpr mode_t kMode = 0600;
    const Descriptor file(open(path.c_str(), flags | O_CLOEXEC, kMode));
    return file ? 0 : errno;
}

int ErrorOfReading(const std::string& path) {
    return ErrorOfOpening(path, O_RDONLY);
}

int ErrorOfMaking(const std::string& path) {
    return ErrorOfOpening(path, O_WRONLY | O_CREAT);
}

void Write(const std::string& path, mode_t mode) {
    std::ofstream(path) << kContent;
    if (chmod(path.c_str(), mode) != 0) {
        throw std::runtime_error("cannot write " + path);
    }
}

MATCHER(IsRefused, "") {
    return arg == EPERM || arg == EACCES;
}

class Jail : public testing::Test {
protected:
    Jail() : _folder(testing::TempDir() + "vellumo-jail.XXXXXX") {
        if (mkdtemp(_folder.data()) == nullptr) {
            throw std::runtime_error("cannot make " + _folder);
        }
        fs::permissions(_folder, fs::perms{0755});
        fs::create_directory(Profile());
        _home = std::make_unique<Home>(_folder, FirstUser());
        _room = std::make_unique<Room>(*_home);
    }
    ~Jail() override {
        _room.reset();
        _home.reset();
        std::error_code ignored;
        fs::remove_all(_folder, ignored);
    }

    std::string Profile() const { return _folder + "/profile"; }
    std::string Outside(const std::string& name) const { return _folder + '/' + name; }
    std::string Inside(const std::string& name) const { return _room->Path() + '/' + name; }
    Home& TheHome() { return *_home; }
    const Room& TheRoom() const { return *_room; }
    void RemoveRoom() { _room.reset(); }

    // Returns what `body` returns in a jail, or minus the number of the signal that ends it there.
    template <typename Body>
    int InJail(Body body) const {
        return Start([&body] { return static_cast<int>(body()); }).Wait();
    }

    // A child process in a jail that runs `body`.
    ChildProcess Start(const std::function<int()>& body) const {
        return ChildProcess([this, &body] {
            EnterJail(*_room, Profile(), kSpace);
            return body();
        });
    }

    // The error of a system call in a jail.
    template <typename... Arguments>
    int ErrorInJail(long call, Arguments... arguments) const {
        return InJail([&] { return ErrorOf(syscall(call, arguments...)); });
    }

private:
    std::string _folder;
    std::unique_ptr<Home> _home;
    std::unique_ptr<Room> _room;
};

// With users of their own for the rooms.
class JailOfRoot : public Jail {
protected:
    void SetUp() override {
        if (!test::IsRoot()) {
            GTEST_SKIP() << "the tests do not run as root";
        }
        if (!TheHome().HasUsers()) {
            GTEST_SKIP() << "this root cannot become other users";
        }
    }
};

TEST_F(Jail, ReadsAndWritesInTheRoom) {
    EXPECT_EQ(InJail([this] {
                  fs::create_directory(Inside("folder"));
                  std::ofstream(Inside("new")) << kContent;
                  fs::rename(Inside("new"), Inside("folder/file"));
                  std::string read;
                  std::ifstream(Inside("folder/file")) >> read;
                  return read == kContent && fs::remove_all(Inside("folder")) == 2 ? 0 : 1;
              }),
              0);
}

TEST_F(Jail, HasThreads) {
    EXPECT_EQ(InJail([] {
                  int result = 0;
                  std::thread([&result] { result = 42; }).join();
                  return result;
              }),
              42);
}

TEST_F(Jail, ReadsTheSystemsFonts) {
    const std::string fonts = "/usr/share/fonts";
    if (!fs::exists(fonts)) {
        GTEST_SKIP() << "there are no fonts";
    }
    EXPECT_EQ(InJail([&] {
                  for (const auto& entry : fs::recursive_directory_iterator(fonts)) {
                      if (entry.is_regular_file()) {
                          return ErrorOfReading(entry.path());
                      }
                  }
                  return ENOENT;
              }),
              0);
}

TEST_F(Jail, ReadsTheOfficesSettings) {
    Write(Profile() + "/settings", 0444);
    EXPECT_EQ(InJail([this] { return ErrorOfReading(Profile() + "/settings"); }), 0);
}

TEST_F(Jail, CanEndItselfByASignal) {
    EXPECT_EQ(InJail([] { return kill(getpid(), SIGKILL); }), -SIGKILL);
}

TEST_F(Jail, ReadsNoFileOfAnotherRoom) {
    const Room other(TheHome());
    Write(other.Path() + "/file", 0644);
    EXPECT_EQ(InJail([&] { return ErrorOfReading(other.Path() + "/file"); }), EACCES);
}

TEST_F(JailOfRoot, ReadsNoFileOfAnotherRoomThatItFindsOpen) {
    // Without Landlock's help: it looks from inside the place, which it may read.
    const Room other(TheHome());
    const Descriptor folder(open(other.Path().c_str(), O_PATH | O_CLOEXEC));
    Write(other.Path() + "/file", 0600);
    EXPECT_EQ(InJail([&] { return ErrorOf(openat(folder.Get(), "file", O_RDONLY)); }), EACCES);
}

TEST_F(JailOfRoot, ReadsNothingThatOnlyRootMayRead) {
    Write(Profile() + "/secret", 0600);
    EXPECT_EQ(InJail([this] { return ErrorOfReading(Profile() + "/secret"); }), EACCES);
}

TEST_F(Jail, ReadsNothingThatEverybodyMayReadButTheSystemsFiles) {
    SKIP_WITHOUT_LANDLOCK();
    Write(Outside("open"), 0644);
    EXPECT_EQ(InJail([this] { return ErrorOfReading(Outside("open")); }), EACCES);
}

TEST_F(Jail, WritesNothingWhereEverybodyMayWrite) {
    SKIP_WITHOUT_LANDLOCK();
    const std::string name = "/vellumo-jail-" + std::to_string(getpid());
    for (const char* place : {"/tmp", "/dev/shm", "/var/tmp"}) {
        EXPECT_EQ(InJail([&] { return ErrorOfMaking(place + name); }), EACCES) << place;
        EXPECT_EQ(InJail([&] { return ErrorOf(mkdir((place + name).c_str(), 0700)); }), EACCES)
            << place;
        EXPECT_EQ(InJail([&] { return ErrorOf(symlink("x", (place + name).c_str())); }), EACCES)
            << place;
    }
}

TEST_F(Jail, WritesToNoFileThatEverybodyMayWrite) {
    SKIP_WITHOUT_LANDLOCK();
    Write(Outside("open"), 0666);
    EXPECT_EQ(InJail([this] { return ErrorOfOpening(Outside("open"), O_WRONLY); }), EACCES);
}

TEST_F(Jail, EmptiesNoFileThatEverybodyMayWrite) {
    SKIP_WITHOUT_LANDLOCK();
    Write(Outside("open"), 0666);
    EXPECT_EQ(InJail([this] { return ErrorOf(truncate(Outside("open").c_str(), 0)); }), EACCES);
}

TEST_F(Jail, MakesNothingBesideTheRoom) {
    EXPECT_THAT(InJail([this] { return ErrorOfMaking(TheHome().Path() + "/file"); }), IsRefused());
    EXPECT_THAT(InJail([this] { return ErrorOf(mkdir((TheHome().Path() + "/x").c_str(), 0700)); }),
                IsRefused());
}

TEST_F(Jail, ListsNoRooms) {
    EXPECT_THAT(InJail([this] { return ErrorOfOpening(TheHome().Path(), O_RDONLY | O_DIRECTORY); }),
                IsRefused());
}

TEST_F(Jail, ChangesNothingOfTheOfficesSettings) {
    Write(Profile() + "/settings", 0444);
    EXPECT_THAT(InJail([this] { return ErrorOfMaking(Profile() + "/file"); }), IsRefused());
    EXPECT_THAT(InJail([this] {
                    return ErrorOf(
                        rename((Profile() + "/settings").c_str(), (Profile() + "/other").c_str()));
                }),
                IsRefused());
    EXPECT_THAT(InJail([this] { return ErrorOf(unlink((Profile() + "/settings").c_str())); }),
                IsRefused());
}

TEST_F(JailOfRoot, LeavesNothingInSharedDirectories) {
    // As where there is no Landlock.
    const std::string name = "/vellumo-jail-" + std::to_string(getpid());
    const uid_t owner = TheRoom().Owner();
    for (const std::string place : {"/tmp", "/dev/shm"}) {
        fs::create_directories(place + name + "/folder");
        Write(place + name + "/folder/file", 0600);
        Write(place + name + "-file", 0600);
        fs::create_symlink(Profile(), place + name + "-link");
        Write(place + name + "-others", 0600);
        for (const char* part : {"", "/folder", "/folder/file", "-file", "-link"}) {
            ASSERT_EQ(lchown((place + name + part).c_str(), owner, owner), 0) << place << part;
        }
    }
    RemoveRoom();
    for (const std::string place : {"/tmp", "/dev/shm"}) {
        for (const char* part : {"", "-file", "-link"}) {
            EXPECT_FALSE(fs::exists(fs::symlink_status(place + name + part))) << place << part;
        }
        EXPECT_TRUE(fs::remove(place + name + "-others")) << place;
    }
    EXPECT_TRUE(fs::exists(Profile()));
}

TEST_F(Jail, StartsNoProgram) {
    EXPECT_EQ(InJail([] {
                  char program[] = "/usr/bin/true";
                  char* words[] = {program, nullptr};
                  execve(program, words, nullptr);
                  return errno;
              }),
              EPERM);
}

TEST_F(Jail, StartsNoProgramThatItHasOpen) {
    EXPECT_EQ(InJail([] {
                  char program[] = "/usr/bin/true";
                  char* words[] = {program, nullptr};
                  const Descriptor file(open(program, O_RDONLY | O_CLOEXEC));
                  fexecve(file.Get(), words, words + 1);
                  return errno;
              }),
              EPERM);
}

TEST_F(Jail, StartsNoProcess) {
    EXPECT_EQ(InJail([] {
                  const pid_t child = fork();
                  if (child == 0) {
                      _exit(0);
                  }
                  return ErrorOf(child);
              }),
              EPERM);
    // The kernel would start one for each of these.
    EXPECT_EQ(ErrorInJail(SYS_clone3, nullptr, 0), ENOSYS);
#ifdef SYS_vfork
    EXPECT_EQ(InJail([] {
                  const long child = syscall(SYS_clone, SIGCHLD, 0, 0, 0, 0);
                  if (child == 0) {
                      _exit(0);
                  }
                  return ErrorOf(child);
              }),
              EPERM);
#endif
}

TEST_F(Jail, OpensNoSocketOfAnyKind) {
    for (const int family : {AF_UNIX, AF_INET, AF_INET6, AF_NETLINK, AF_PACKET, AF_VSOCK, AF_ALG}) {
        for (const int type : {SOCK_STREAM, SOCK_DGRAM, SOCK_RAW, SOCK_SEQPACKET}) {
            EXPECT_EQ(InJail([&] { return ErrorOf(socket(family, type, 0)); }), EPERM)
                << family << ' ' << type;
        }
    }
}

TEST_F(Jail, MakesNoPairOfSockets) {
    int ends[2];
    EXPECT_EQ(InJail([&] { return ErrorOf(socketpair(AF_UNIX, SOCK_STREAM, 0, ends)); }), EPERM);
}

TEST_F(Jail, SendsNoSignalToItsParent) {
    const pid_t parent = getpid();
    // The kernel permits one of them within a session, whoever sends it.
    for (const int signal : {0, SIGCONT}) {
        EXPECT_EQ(InJail([&] { return ErrorOf(kill(parent, signal)); }), EPERM);
        EXPECT_EQ(ErrorInJail(SYS_tgkill, parent, parent, signal), EPERM);
        EXPECT_EQ(ErrorInJail(SYS_tkill, parent, signal), EPERM);
    }
}

TEST_F(Jail, SendsNoSignalToOthersOfItsUser) {
    const ChildProcess other = Start([] { return poll(nullptr, 0, -1); });
    EXPECT_EQ(InJail([&] { return ErrorOf(kill(other.Id(), 0)); }), EPERM);
    EXPECT_EQ(InJail([] { return ErrorOf(kill(-1, 0)); }), EPERM);
    EXPECT_EQ(InJail([] { return ErrorOf(kill(0, 0)); }), EPERM);
}

TEST_F(Jail, SendsNoSignalByAHandle) {
    EXPECT_EQ(ErrorInJail(SYS_pidfd_open, getpid(), 0), EPERM);
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
    ASSERT_TRUE(handle);
    EXPECT_EQ(ErrorInJail(SYS_pidfd_send_signal, handle.Get(), 0, nullptr, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_pidfd_getfd, handle.Get(), STDERR_FILENO, 0), EPERM);
}

TEST_F(Jail, SendsNoSignalThroughAFile) {
    // A file can send its owner a signal when it becomes readable.
    const ChildProcess other = Start([] { return poll(nullptr, 0, -1); });
    for (const int command : {F_SETOWN, F_SETOWN_EX, F_SETSIG, F_SETLEASE, F_NOTIFY}) {
        EXPECT_EQ(InJail([&] {
                      f_owner_ex owner{F_OWNER_PID, other.Id()};
                      const support::Pipe pipe = support::MakePipe();
                      return command == F_SETOWN_EX
                                 ? ErrorOf(fcntl(pipe.reading.Get(), command, &owner))
                                 : ErrorOf(fcntl(pipe.reading.Get(), command, other.Id()));
                  }),
                  EPERM)
            << command;
    }
}

TEST_F(Jail, TracesNoProcess) {
    EXPECT_EQ(ErrorInJail(SYS_ptrace, PTRACE_SEIZE, getpid(), nullptr, nullptr), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_ptrace, PTRACE_TRACEME, 0, nullptr, nullptr), EPERM);
}

TEST_F(Jail, ReadsNoMemoryOfItsParent) {
    char here[8];
    iovec place{here, sizeof here};
    const pid_t parent = getpid();
    EXPECT_EQ(ErrorInJail(SYS_process_vm_readv, parent, &place, 1, &place, 1, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_process_vm_writev, parent, &place, 1, &place, 1, 0), EPERM);
    for (const char* name : {"mem", "maps", "environ", "fd/0", "root/etc/passwd"}) {
        const std::string path = "/proc/" + std::to_string(parent) + '/' + name;
        EXPECT_EQ(InJail([&] { return ErrorOfReading(path); }), EACCES) << name;
    }
}

TEST_F(Jail, EntersAndMakesNoNamespace) {
    for (const int kind : {CLONE_NEWUSER, CLONE_NEWNS, CLONE_NEWNET, CLONE_NEWPID}) {
        EXPECT_EQ(InJail([&] { return ErrorOf(unshare(kind)); }), EPERM) << kind;
    }
    const Descriptor space(open("/proc/self/ns/user", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(InJail([&] { return ErrorOf(setns(space.Get(), 0)); }), EPERM);
}

TEST_F(Jail, MountsNothing) {
    // Nothing of this would do harm if it were permitted.
    const std::string place = Inside("nowhere");
    EXPECT_EQ(InJail([&] { return ErrorOf(mount("none", place.c_str(), "tmpfs", 0, nullptr)); }),
              EPERM);
    EXPECT_EQ(InJail([&] { return ErrorOf(umount2(place.c_str(), MNT_DETACH)); }), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_fsopen, "tmpfs", 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_open_tree, AT_FDCWD, "/", 1), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_pivot_root, place.c_str(), place.c_str()), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_chroot, "."), EPERM);
}

TEST_F(Jail, HasNoMemoryOrQueuesThatOutliveIt) {
    constexpr int kPrivate = 0;
    constexpr int kCreate = 01000 | 0600;
    EXPECT_EQ(ErrorInJail(SYS_shmget, kPrivate, 4096, kCreate), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_semget, kPrivate, 1, kCreate), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_msgget, kPrivate, kCreate), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_mq_open, "vellumo", O_RDWR | O_CREAT, 0600, nullptr), EPERM);
}

TEST_F(Jail, KeepsNoKeys) {
    EXPECT_EQ(ErrorInJail(SYS_keyctl, KEYCTL_GET_KEYRING_ID, KEY_SPEC_USER_KEYRING, 1), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_add_key, "user", "vellumo", "x", 1, KEY_SPEC_USER_KEYRING), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_request_key, "user", "vellumo", nullptr, 0), EPERM);
}

TEST_F(Jail, ReachesNoRareKernelInterface) {
    char parameters[256] = {};
    EXPECT_EQ(ErrorInJail(SYS_io_uring_setup, 1, parameters), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_bpf, BPF_MAP_CREATE, parameters, sizeof parameters), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_userfaultfd, O_CLOEXEC | 1), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_perf_event_open, parameters, 0, -1, -1, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_inotify_init1, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_fanotify_init, 0, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_name_to_handle_at, AT_FDCWD, ".", parameters, parameters, 0), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_open_by_handle_at, 0, parameters, 0), EPERM);
}

TEST_F(Jail, TypesNothingIntoATerminal) {
    EXPECT_EQ(InJail([] { return ErrorOf(ioctl(STDIN_FILENO, TIOCSTI, "x")); }), EPERM);
}

TEST_F(JailOfRoot, IsNotRootAndDoesNotBecomeItAgain) {
    EXPECT_EQ(InJail([this] { return getuid() == TheRoom().Owner() ? 0 : 1; }), 0);
    EXPECT_EQ(InJail([] { return getgroups(0, nullptr); }), 0);
    EXPECT_EQ(InJail([] { return ErrorOf(setuid(0)); }), EPERM);
    EXPECT_EQ(InJail([] { return ErrorOf(setresuid(0, 0, 0)); }), EPERM);
    EXPECT_EQ(InJail([] { return ErrorOf(setgid(0)); }), EPERM);
    EXPECT_EQ(ErrorInJail(SYS_setfsuid, 0), EPERM);
}

TEST_F(Jail, HasNoCapabilities) {
    EXPECT_EQ(InJail([] {
                  std::ifstream status("/proc/self/status");
                  std::string word;
                  while (status >> word && word != "CapEff:") {
                  }
                  status >> word;
                  return word.find_first_not_of('0') == std::string::npos ? 0 : 1;
              }),
              0);
}

TEST_F(Jail, GivesNothingAway) {
    EXPECT_EQ(InJail([this] {
                  std::ofstream(Inside("file")) << kContent;
                  return ErrorOf(chown(Inside("file").c_str(), 0, 0));
              }),
              EPERM);
}

TEST_F(Jail, RaisesNoLimit) {
    for (const auto kind : {RLIMIT_FSIZE, RLIMIT_CORE}) {
        EXPECT_EQ(InJail([&] {
                      const rlimit limit{RLIM_INFINITY, RLIM_INFINITY};
                      return ErrorOf(setrlimit(kind, &limit));
                  }),
                  EPERM)
            << kind;
    }
}

TEST_F(Jail, ChangesNoLimitOfItsParent) {
    const rlimit limit{0, 0};
    EXPECT_EQ(ErrorInJail(SYS_prlimit64, getpid(), RLIMIT_CORE, &limit, nullptr), EPERM);
}

TEST_F(Jail, WritesNoFileLargerThanItsSpace) {
    const auto write = [this](off_t size) {
        return InJail([&] { return ErrorOf(truncate(Inside("file").c_str(), size)); });
    };
    ASSERT_EQ(InJail([this] { return ErrorOfMaking(Inside("file")); }), 0);
    EXPECT_EQ(write(kSpace), 0);
    EXPECT_EQ(write(kSpace + 1), -SIGXFSZ);
}

TEST_F(Jail, HasNoFilesInMemoryThatNobodyCounts) {
    EXPECT_EQ(InJail([] { return ErrorOf(memfd_create("x", 0)); }), EPERM);
}

TEST_F(Jail, UsesNoMemoryThatNobodyCounts) {
    constexpr size_t kSize = 32 << 20;
    for (const int kind : {MAP_PRIVATE, MAP_SHARED}) {
        const test::Channel ready;
        const ChildProcess child = Start([&] {
            void* const memory = mmap(nullptr, kSize, PROT_READ | PROT_WRITE,
                                      kind | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
            ready.Send(memory != MAP_FAILED);
            return poll(nullptr, 0, -1);
        });
        ASSERT_EQ(ready.Receive(), 1);
        EXPECT_GE(MemoryOf(child.Id()), kSize) << kind;
    }
}

TEST_F(Jail, EndsWithItsParent) {
    const test::Channel ids;
    ChildProcess parent([&] {
        const ChildProcess child = Start([&] {
            ids.Send(getpid());
            return poll(nullptr, 0, -1);
        });
        return poll(nullptr, 0, -1);
    });
    const int child = ids.Receive();
    const Descriptor handle(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    ASSERT_TRUE(handle);
    parent.Signal(SIGKILL);
    pollfd end{handle.Get(), POLLIN, 0};
    constexpr int kPatience = 10000;  // ms
    EXPECT_EQ(poll(&end, 1, kPatience), 1);
    syscall(SYS_pidfd_send_signal, handle.Get(), SIGKILL, nullptr, 0);  // if it has not ended
}

}  // namespace
}  // namespace vellumo::office
