// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Interior.h"

#include <filesystem>

#include "Files.h"

namespace vellumo::engine {
namespace {

namespace fs = std::filesystem;

// bubblewrap creates the parent directories of a mount point with access for root alone. These
// directories are created explicitly, so that every user may enter them.
constexpr const char* kDirectories[] = {
    "/usr", "/usr/local", "/usr/local/share", "/etc",     "/opt",         "/opt/vellumo",
    "/var", "/var/cache", "/var/lib",         "/Vellumo", "/Vellumo/@tmp"};

// The directories of the system's own programs: links to /usr, or real directories.
constexpr const char* kPrograms[] = {"bin", "sbin", "lib", "lib32", "lib64", "libx32"};

// The files that these programs read. Of the server's additions in /usr/local, only fonts: every
// mount costs time, and the server's settings are in there too.
constexpr const char* kReadByPrograms[] = {
    "/usr/libexec",        "/usr/share",       "/usr/local/share/fonts", "/etc/alternatives",
    "/etc/fonts",          "/etc/ghostscript", "/etc/ld.so.cache",       "/etc/libreoffice",
    "/etc/localtime",      "/etc/papersize",   "/var/cache/fontconfig",  "/var/lib/ghostscript",
    "/var/lib/libreoffice"};

struct Place {
    const char* outside;  // relative to the engine's own files
    const char* inside;
};

constexpr Place kOwn[] = {{"/etc/passwd", "/etc/passwd"},
                          {"/etc/group", "/etc/group"},
                          {"/etc/ImageMagick", "/etc/ImageMagick-6"},
                          {"/etc/ImageMagick", "/etc/ImageMagick-7"},
                          {"/bin", "/opt/vellumo/bin"},
                          {"/lib", "/opt/vellumo/lib"},
                          {"/office", "/opt/vellumo/office"},
                          {"/profile", "/opt/vellumo/profile"},
                          {"/warm", "/opt/vellumo/warm"},
                          {"/warm-up", "/opt/vellumo/warm-up"}};

struct Variable {
    const char* name;
    const char* value;
};

// Qt's browser engine has its own sandbox, which cannot be set up inside this one.
constexpr Variable kEnvironment[] = {{"PATH", "/opt/vellumo/bin:/usr/bin:/bin"},
                                     {"HOME", "/tmp/home"},
                                     {"LANG", "C.UTF-8"},
                                     {"QT_QPA_PLATFORM", "offscreen"},
                                     {"QTWEBENGINE_DISABLE_SANDBOX", "1"}};

void AddDirectories(Words& words) {
    for (const char* directory : kDirectories) {
        Append(words, {"--dir", directory});
    }
}

void AddPrograms(Words& words) {
    for (const fs::path name : kPrograms) {
        const fs::path link = "/" / name;
        Append(words, {"--ro-bind-try", "/usr" / name, "/usr" / name});
        if (fs::is_symlink(link)) {
            Append(words, {"--symlink", fs::read_symlink(link), link});
        } else {
            Append(words, {"--ro-bind-try", link, link});
        }
    }
}

void AddWhatProgramsRead(Words& words) {
    for (const char* path : kReadByPrograms) {
        Append(words, {"--ro-bind-try", path, path});
    }
    for (const fs::directory_entry& entry : fs::directory_iterator("/etc")) {
        if (entry.path().filename().string().starts_with("java-")) {
            Append(words, {"--ro-bind", entry.path(), entry.path()});
        }
    }
}

void AddOwn(Words& words) {
    const std::string data = FindData();
    for (const Place& place : kOwn) {
        Append(words, {"--ro-bind", data + place.outside, place.inside});
    }
}

// The writable memory file systems have a size limit (bytes).
void AddMemory(Words& words) {
    Append(words, {"--proc", "/proc", "--dev", "/dev"});
    Append(words, {"--perms", "1777", "--size", "134217728", "--tmpfs", "/dev/shm"});
    Append(words, {"--perms", "1777", "--size", "805306368", "--tmpfs", "/tmp"});
    Append(words, {"--perms", "0777", "--dir", "/tmp/home"});
}

void AddEnvironment(Words& words) {
    Append(words, {"--clearenv", "--chdir", "/tmp"});
    for (const Variable& variable : kEnvironment) {
        Append(words, {"--setenv", variable.name, variable.value});
    }
}

}  // namespace

Words Interior() {
    Words words;
    AddDirectories(words);
    AddPrograms(words);
    AddWhatProgramsRead(words);
    AddOwn(words);
    AddMemory(words);
    AddEnvironment(words);
    return words;
}

}  // namespace vellumo::engine
