// SPDX-License-Identifier: Apache-2.0
#include "Accounts.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace vellumo::test {
namespace {

namespace fs = std::filesystem;

constexpr std::array<const char*, 3> kFiles = {"passwd", "group", "nsswitch.conf"};
constexpr const char* kEtc = "/etc/";
constexpr const char* kHostEtc = "/.host-etc/";  // the targets of the view's links

bool IsViewsLink(const char* file) {
    std::error_code error;
    return fs::read_symlink(std::string(kEtc) + file, error) == std::string(kHostEtc) + file;
}

std::string HostContent(const char* file) {
    std::ifstream content(std::string(kHostEtc) + file);
    return {std::istreambuf_iterator<char>(content), {}};
}

// Renames a new file to the path, which replaces the link itself, not its target.
void Replace(const char* file, const std::string& content) {
    const std::string path = std::string(kEtc) + file;
    std::ofstream(path + ".new") << content;
    fs::rename(path + ".new", path);
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

Accounts::Accounts(const std::vector<TestAccount>& accounts, const std::vector<TestGroup>& groups)
    : _isInstalled(std::all_of(kFiles.begin(), kFiles.end(), IsViewsLink)) {
    if (_isInstalled) {
        Replace("nsswitch.conf", "passwd: files\ngroup: files\n");
        Replace("passwd", HostContent("passwd") + Lines(accounts));
        Replace("group", HostContent("group") + Lines(groups));
    }
}

Accounts::~Accounts() {
    if (!_isInstalled) {
        return;
    }
    for (const char* file : kFiles) {
        const std::string path = std::string(kEtc) + file;
        std::error_code error;  // ignored: the view ends soon, with all these files
        fs::create_symlink(std::string(kHostEtc) + file, path + ".new", error);
        fs::rename(path + ".new", path, error);
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
