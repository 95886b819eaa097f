// SPDX-License-Identifier: Apache-2.0
#include "Shell.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "Process.h"

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

constexpr unsigned kOrdinary = 65534;

constexpr const char* kCommon = R"sh(
exec 2>&1
device=)sh" VELLUMO_DEVICE_LAUNCHER R"sh( engine=)sh" VELLUMO_ENGINE R"sh(
nobody='setpriv --reuid=65534 --regid=65534 --clear-groups'
await() {
    for i in {1..500}; do "$@" >/dev/null && return; sleep 0.02; done
    echo "waited in vain for: $*"; exit 99
}
export -f await
groups_of() {
    find /sys/fs/cgroup -path '*/vellumo-engine-*/cgroup.procs' -exec grep -lx "$1" {} + 2>/dev/null |
        sed 's:/cgroup.procs$::' | xargs -r stat -c '%d:%i'
}
groups_left() { find /sys/fs/cgroup -name 'vellumo-engine-*' -printf '%D:%i\n' 2>/dev/null | grep -xFf "$1"; }
)sh";

constexpr const char* kInView = R"sh(
PATH=/usr/local/bin:$PATH
source=/Vellumo/@tmp/source target=/Vellumo/@tmp/target
S=/volume1/docker/@tmp$source T=/volume1/docker/@tmp$target
mkdir -p "$S" "$T"
container=navo1
tool() { docker exec $container timeout --kill-after=5 ${limit:-120} "$@"; }
)sh";

}  // namespace

void PrintTo(const Said& said, std::ostream* stream) {
    *stream << "status " << said.status << " and\n" << said.text;
}

Shell::Shell() : _folder(testing::TempDir() + "vellumo-deploy.XXXXXX") {
    if (mkdtemp(_folder.data()) == nullptr) {
        throw std::runtime_error("cannot make " + _folder);
    }
    // Other users' tests enter it, and run what has been built.
    fs::permissions(_folder, fs::perms{0755});
}

Shell::~Shell() {
    RunProgram({"chmod", "-R", "u+rwX", _folder});
    std::error_code error;
    fs::remove_all(_folder, error);
}

Said Shell::OnHost(const std::string& script) const {
    const Finished finished = RunProgram({"bash", "-c", "folder=" + _folder + kCommon + script});
    return {finished.status, finished.output};
}

Said Shell::InView(const std::string& script) const {
    const Finished finished = RunProgram(ViewOf("root", script));
    return {finished.status, finished.output};
}

Said Shell::InViewOfOrdinaryUser(const std::string& script) const {
    const std::string root = _folder + "/ordinary";
    fs::create_directory(root);
    if (chown(root.c_str(), kOrdinary, kOrdinary) != 0) {
        throw std::runtime_error("cannot give " + root + " away");
    }
    const std::string id = std::to_string(kOrdinary);
    std::vector<std::string> words{"setpriv", "--reuid=" + id, "--regid=" + id, "--clear-groups"};
    for (const std::string& word : ViewOf("ordinary", script)) {
        words.push_back(word);
    }
    const Finished finished = RunProgram(words);
    return {finished.status, finished.output};
}

std::string Shell::MissingForOrdinaryUser() const {
    if (!IsRoot()) {
        return "the other tests run as an ordinary user already";
    }
    if (OnHost("$nobody test -x $device -a -x $engine").status != 0) {
        return "an ordinary user cannot reach the source or build tree";
    }
    if (OnHost("$nobody unshare --user true").status != 0) {
        return "ordinary users have no namespaces on this machine";
    }
    return "";
}

std::vector<std::string> Shell::ViewOf(const std::string& root, const std::string& script) const {
    return {VELLUMO_DEVICE_LAUNCHER,
            "--root",
            _folder + "/" + root,
            "--engine",
            VELLUMO_ENGINE,
            "--log",
            "none",
            "--",
            "bash",
            "-c",
            "folder=" + _folder + kCommon + kInView + script};
}

bool IsRoot() {
    return geteuid() == 0;
}

std::string FirstMissing(const std::vector<std::string>& programs) {
    for (const std::string& program : programs) {
        if (RunProgram({"bash", "-c", "type -P " + program}).status != 0) {
            return program;
        }
    }
    return "";
}

}  // namespace vellumo::test
