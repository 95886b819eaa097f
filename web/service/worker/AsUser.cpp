// SPDX-License-Identifier: Apache-2.0
#include "worker/AsUser.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>

#include "loader/documents/ActingUser.h"
#include "support/ChildProcess.h"

namespace vellumo::web::worker {
namespace {

using support::Descriptor;

constexpr std::chrono::seconds kLimit{20};

bool WriteAll(const Descriptor& file, const std::string& content) {
    size_t written = 0;
    while (written < content.size()) {
        const ssize_t count = support::Uninterrupted(
            [&] { return write(file.Get(), content.data() + written, content.size() - written); });
        if (count < 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    return true;
}

std::optional<std::string> ContentOf(const Descriptor& file) {
    struct stat status {};
    if (fstat(file.Get(), &status) != 0) {
        return std::nullopt;
    }
    std::string content(static_cast<size_t>(status.st_size), '\0');
    const ssize_t count = pread(file.Get(), content.data(), content.size(), 0);
    return count == status.st_size ? std::optional(content) : std::nullopt;
}

// Only what an unprivileged process may do to itself: from the effective ids there is no way back.
bool StayForGood() {
    const uid_t user = geteuid();
    const gid_t group = getegid();
    return user != 0 && setresgid(group, group, group) == 0 && setresuid(user, user, user) == 0;
}

[[noreturn]] void BeUser(const std::string& user, const std::function<std::string()>& body,
                         const Descriptor& result) {
    int status = EXIT_FAILURE;
    try {
        const loader::ActingUser acting(user);
        if (acting && StayForGood() && WriteAll(result, body())) {
            status = EXIT_SUCCESS;
        }
        _exit(status);  // before `acting` would go back
    } catch (const std::exception&) {
        _exit(EXIT_FAILURE);
    }
}

}  // namespace

std::optional<std::string> AsUser(const std::string& user,
                                  const std::function<std::string()>& body) {
    const Descriptor result(memfd_create("result", MFD_CLOEXEC));
    const pid_t child = result ? fork() : -1;
    if (child < 0) {
        return std::nullopt;
    }
    if (child == 0) {
        BeUser(user, body, result);
    }
    if (!support::EndsWithin(child, kLimit)) {
        kill(child, SIGKILL);
    }
    int status = 0;
    const bool isGood = support::WaitForEnd(child, status) && WIFEXITED(status) &&
                        WEXITSTATUS(status) == EXIT_SUCCESS;
    return isGood ? ContentOf(result) : std::nullopt;
}

Descriptor FileWith(const std::string& content) {
    Descriptor file(memfd_create("answer", MFD_CLOEXEC));
    return file && WriteAll(file, content) ? std::move(file) : Descriptor();
}

Identity Identity::Now() {
    Identity now;
    getresuid(&now.realUser, &now.effectiveUser, &now.savedUser);
    getresgid(&now.realGroup, &now.effectiveGroup, &now.savedGroup);
    now.groups.resize(static_cast<size_t>(getgroups(0, nullptr)));
    const int count = getgroups(static_cast<int>(now.groups.size()), now.groups.data());
    now.groups.resize(static_cast<size_t>(count));
    return now;
}

}  // namespace vellumo::web::worker
