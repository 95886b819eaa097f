// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_ACCOUNTS_H
#define VELLUMO_TESTS_ACCOUNTS_H

#include <sys/types.h>

#include <string>
#include <vector>

// Accounts that exist only in a device view, in addition to the machine's own.
namespace vellumo::test {

struct TestAccount {
    std::string name;
    uid_t uid;
    gid_t gid;
};

struct TestGroup {
    std::string name;
    gid_t gid;
    std::vector<std::string> members;
};

// While this object lives, this process and its children see files of the tests' own at three
// places in /etc: passwd and group with additional lines, and an nsswitch.conf that reads only
// these files.
class Accounts {
public:
    Accounts(const std::vector<TestAccount>& accounts, const std::vector<TestGroup>& groups);
    ~Accounts();
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    // Whether the accounts exist: false outside a device view and where the process may not mount.
    explicit operator bool() const { return _isInstalled; }

private:
    bool Covers(const char* file, const std::string& content);

    std::vector<std::string> _covered;
    bool _isInstalled = false;
};

// Accounts for every kind of permission: ann (1001, in staff2), bob (1002), carl (1003, in g1 to
// g100 and in staff2), dora (1004, whose only group 1999 has no name), and the domain user CORP\eve
// (1005).
inline constexpr const char* kDomainUser = "CORP\\eve";
std::vector<TestAccount> SomeAccounts();
std::vector<TestGroup> SomeGroups();

}  // namespace vellumo::test

#endif
