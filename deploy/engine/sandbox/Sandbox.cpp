// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Sandbox.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <utility>

#include "Failure.h"
#include "Files.h"
#include "sandbox/Limits.h"
#include "sandbox/SystemCallFilter.h"
#include "vellumo/Constants.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;
using Words = std::vector<std::string>;

constexpr const char* kBubblewrap = "/usr/bin/bwrap";
constexpr uintmax_t kProducts = uintmax_t{768} << 20U;  // bytes that a command may leave

void Append(Words& words, const Words& more) {
    words.insert(words.end(), more.begin(), more.end());
}

Words Isolation() {
    Words words{"--cap-drop", "ALL"};
    for (const char* option : {"--unshare-ipc", "--unshare-pid", "--unshare-net", "--unshare-uts",
                               "--unshare-cgroup-try", "--new-session", "--die-with-parent"}) {
        words.emplace_back(option);
    }
    if (geteuid() != 0) {
        Append(words, {"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    return words;
}

// What bubblewrap makes on the way to a mount point only root may enter; these are for all.
Words Directories() {
    Words words;
    for (const char* directory :
         {"/usr", "/usr/local", "/usr/local/share", "/etc", "/opt", "/opt/vellumo", "/var",
          "/var/cache", "/var/lib", "/Vellumo", "/Vellumo/@tmp"}) {
        Append(words, {"--dir", directory});
    }
    return words;
}

// The system's own programs. Of what a server adds to /usr only fonts: every mount costs time, and
// the server's settings are there too.
Words Programs() {
    Words words;
    for (const fs::path name : {"bin", "sbin", "lib", "lib32", "lib64", "libx32"}) {
        const fs::path link = "/" / name;
        Append(words, {"--ro-bind-try", "/usr" / name, "/usr" / name});
        if (fs::is_symlink(link)) {
            Append(words, {"--symlink", fs::read_symlink(link), link});
        } else {
            Append(words, {"--ro-bind-try", link, link});
        }
    }
    for (const char* path : {"/usr/libexec", "/usr/share", "/usr/local/share/fonts"}) {
        Append(words, {"--ro-bind-try", path, path});
    }
    return words;
}

// What the system's programs read outside of /usr.
Words SystemSettings() {
    Words words;
    for (const char* path :
         {"/etc/alternatives", "/etc/fonts", "/etc/ghostscript", "/etc/ld.so.cache",
          "/etc/libreoffice", "/etc/localtime", "/etc/papersize", "/var/cache/fontconfig",
          "/var/lib/ghostscript", "/var/lib/libreoffice"}) {
        Append(words, {"--ro-bind-try", path, path});
    }
    for (const fs::directory_entry& entry : fs::directory_iterator("/etc")) {
        if (entry.path().filename().string().starts_with("java-")) {
            Append(words, {"--ro-bind", entry.path(), entry.path()});
        }
    }
    return words;
}

Words OwnSettings(const std::string& data) {
    Words words;
    Append(words, {"--ro-bind", data + "/etc/passwd", "/etc/passwd"});
    Append(words, {"--ro-bind", data + "/etc/group", "/etc/group"});
    Append(words, {"--ro-bind", data + "/etc/ImageMagick", "/etc/ImageMagick-6"});
    Append(words, {"--ro-bind", data + "/etc/ImageMagick", "/etc/ImageMagick-7"});
    Append(words, {"--ro-bind", data + "/bin", "/opt/vellumo/bin"});
    Append(words, {"--ro-bind", data + "/lib", "/opt/vellumo/lib"});
    Append(words, {"--ro-bind", data + "/profile", "/opt/vellumo/profile"});
    Append(words, {"--ro-bind", data + "/warm", "/opt/vellumo/warm"});
    return words;
}

// Memory that may be written to is bounded (bytes).
Words Memory() {
    Words words{"--proc", "/proc", "--dev", "/dev"};
    Append(words, {"--perms", "1777", "--size", "134217728", "--tmpfs", "/dev/shm"});
    Append(words, {"--perms", "1777", "--size", "805306368", "--tmpfs", "/tmp"});
    Append(words, {"--perms", "0777", "--dir", "/tmp/home"});
    return words;
}

Words ScratchPlaces(const PrivateScratch& scratch) {
    return {"--ro-bind", scratch.Source(), NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR,
            "--bind",    scratch.Target(), NAVO::VELLUMO::SZF_COVERT_TARGET_DIR};
}

// Rooms and socket have the same names inside and outside, so that a request that names a room is
// understood on both sides.
Words WarmPlaces(const WarmPlace& place) {
    Words words;
    fs::path directory = "/";
    for (const fs::path& name : fs::path(place.Rooms()).parent_path().relative_path()) {
        directory /= name;
        Append(words, {"--dir", directory});
    }
    Append(words, {"--bind", place.Rooms(), place.Rooms(), "--bind", place.Run(), place.Run()});
    return words;
}

Words Environment() {
    Words words{"--clearenv", "--chdir", "/tmp"};
    Append(words, {"--setenv", "PATH", "/opt/vellumo/bin:/usr/bin:/bin"});
    Append(words, {"--setenv", "HOME", "/tmp/home"});
    Append(words, {"--setenv", "LANG", "C.UTF-8"});
    Append(words, {"--setenv", "QT_QPA_PLATFORM", "offscreen"});
    // Qt's browser engine has a sandbox of its own, which cannot be set up inside this one.
    Append(words, {"--setenv", "QTWEBENGINE_DISABLE_SANDBOX", "1"});
    return words;
}

Words KeepersEnvironment(const WarmPlace& place) {
    Words words{"--setenv", "VELLUMO_ROOMS", place.Rooms()};
    Append(words, {"--setenv", "VELLUMO_OFFICE_SOCKET", place.Socket()});
    for (const char* variable :
         {"VELLUMO_OFFICE_DOCUMENTS", "VELLUMO_OFFICE_IDLE", "VELLUMO_OFFICE_DEADLINE",
          "VELLUMO_OFFICE_MEMORY", "VELLUMO_OFFICE_SPACE"}) {
        if (const char* value = std::getenv(variable)) {
            Append(words, {"--setenv", variable, value});
        }
    }
    if (!place.HasNobody()) {
        Append(words, {"--setenv", "VELLUMO_OFFICE_UID", "0", "--setenv", "VELLUMO_TOOL_UID", "0"});
    }
    return words;
}

// The keeper reads and removes what belongs to the office, hands it a room, becomes it, ends it.
Words KeepersPowers(bool hasNobody) {
    Words words;
    for (const char* power :
         {"CAP_SETUID", "CAP_SETGID", "CAP_KILL", "CAP_CHOWN", "CAP_DAC_OVERRIDE"}) {
        if (hasNobody) {
            Append(words, {"--cap-add", power});
        }
    }
    return words;
}

// What starts the command in the sandbox. A root without capabilities still owns what is root's,
// nobody does not.
Words Starter(bool asNobody) {
    Words words;
    if (asNobody) {
        Append(words, {"--cap-add", "CAP_SETUID", "--cap-add", "CAP_SETGID"});
    }
    Append(words, {"--", "setpriv", "--no-new-privs"});
    if (asNobody) {
        const std::string id = std::to_string(kNobody);
        Append(words, {"--reuid=" + id, "--regid=" + id, "--clear-groups", "--inh-caps=-all"});
    }
    words.emplace_back("--");
    return words;
}

// bubblewrap reports the command's exit status only if it came to start it.
bool WasStarted(const Ending& ending) {
    return ending.reports.find("\"exit-code\"") != std::string::npos;
}

// Runs bubblewrap with what every sandbox has, and `own`, which ends with the command.
int RunBubblewrap(const Words& own, ChildProcess& child, std::function<bool()> mayGoOn = nullptr) {
    if (access(kBubblewrap, X_OK) != 0) {
        throw Failure(kEngineFailed, "bubblewrap is missing; install the package bubblewrap");
    }
    const SystemCallFilter filter;
    const Limits limits;
    Words words{kBubblewrap, "--json-status-fd", std::to_string(kReportsDescriptor), "--seccomp",
                std::to_string(kPassedDescriptor)};
    for (const Words& part : {Isolation(), Directories(), Programs(), SystemSettings(),
                              OwnSettings(FindData()), Memory(), Environment(), own}) {
        Append(words, part);
    }
    const Ending ending = child.Run({.argv = words,
                                     .prepare = [&limits] { limits.Enter(); },
                                     .passed = filter.Get(),
                                     .mayGoOn = std::move(mayGoOn)});
    if (ending.status < kKilled && !WasStarted(ending)) {
        throw Failure(kEngineFailed,
                      "the command was not started, see above; if namespaces are not permitted "
                      "here, allow them for this machine or container");
    }
    return ending.status;
}

// Nothing may be written to but memory and what has been bound for that.
Words Sealing() {
    return {"--remount-ro", "/dev", "--remount-ro", "/"};
}

}  // namespace

int RunInSandbox(const Words& command, const PrivateScratch& scratch, ChildProcess& child) {
    Words own = ScratchPlaces(scratch);
    for (const Words& part : {Sealing(), Starter(scratch.GiveToNobody()), command}) {
        Append(own, part);
    }
    return RunBubblewrap(own, child, [&] { return scratch.SizeOfTarget() <= kProducts; });
}

void KeepOfficeWarm(const WarmPlace& place, ChildProcess& child) {
    Words own = WarmPlaces(place);
    for (const Words& part :
         {Sealing(), KeepersEnvironment(place), KeepersPowers(place.HasNobody()), Starter(false),
          Words{"/opt/vellumo/warm/keep-office"}}) {
        Append(own, part);
    }
    RunBubblewrap(own, child);
}

}  // namespace vellumo::engine
