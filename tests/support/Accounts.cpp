// SPDX-License-Identifier: Apache-2.0
#include "Accounts.h"

#include <sched.h>
#include <sys/mount.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

const std::string kEtc = "/etc/";
constexpr const char* kContents = "/device/accounts/";

std::string HostContent(const char* file) {
    std::ifstream content(kEtc + file);
    return {std::istreambuf_iterator<char>(content), {}};
}

// Mounts that are made from now on are seen by this process and its children alone, even where the
// device view is no view but the machine itself.
bool HasMountsOfItsOwn() {
    return std::getenv("VELLUMO_DEVICE") != nullptr && unshare(CLONE_NEWNS) == 0 &&
           mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
}

std::string Line(const TestAccount& account) {
    return account.name + ":x:" + std::to_string(account.uid) + ":" + std::to_string(account.gid) +
           "::/nowhere:/usr/sbin/nologin\n";
}

std::string Line(const TestGroup& group) {
    std::string line = group.name + ":x:" + std::to_string(group.gid) + ":";
    for (const std::string& member : group.members) {
        line += (line.back() == ':' ? "" : ",") + member;
    }
    return line + "\n";
}

template <typename Entry>
std::string Lines(const std::vector<Entry>& entries) {
    std::string lines;
    for (const Entry& entry : entries) {
        lines += Line(entry);
    }
    return lines;
}

}  // namespace

Accounts::Accounts(const std::vector<TestAccount>& accounts, const std::vector<TestGroup>& groups) {
    if (!HasMountsOfItsOwn()) {
        return;
    }
    std::error_code error;  // ignored: then the next calls fail
    fs::create_directories(kContents, error);
    const std::string passwd = HostContent("passwd") + Lines(accounts);
    const std::string group = HostContent("group") + Lines(groups);
    _isInstalled = Covers("nsswitch.conf", "passwd: files\ngroup: files\n") &&
                   Covers("passwd", passwd) && Covers("group", group);
}

bool Accounts::Covers(const char* file, const std::string& content) {
    const std::string source = std::string(kContents) + file;
    const std::string target = kEtc + file;
    std::ofstream(source) << content;
    if (mount(source.c_str(), target.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        return false;
    }
    _covered.push_back(target);
    return true;
}

Accounts::~Accounts() {
    for (const std::string& path : _covered) {
        umount2(path.c_str(), MNT_DETACH);
    }
}

std::vector<TestAccount> SomeAccounts() {
    return {{"ann", 1001, 1001},
            {"bob", 1002, 1002},
            {"carl", 1003, 1003},
            {"dora", 1004, 1999},
            {kDomainUser, 1005, 1005}};
}

std::vector<TestGroup> SomeGroups() {
    std::vector<TestGroup> groups = {{"ann", 1001, {}},
                                     {"bob", 1002, {}},
                                     {"carl", 1003, {}},
                                     {"CORP\\domain users", 1005, {}},
                                     {"staff2", 1900, {"ann", "carl"}}};
    for (gid_t number = 1; number <= 100; ++number) {
        groups.push_back({"g" + std::to_string(number), 2000 + number, {"carl"}});
    }
    return groups;
}

}  // namespace vellumo::test
