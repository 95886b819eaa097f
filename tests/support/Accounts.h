// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_ACCOUNTS_H
#define VELLUMO_TESTS_ACCOUNTS_H

#include <sys/types.h>

#include <string>
#include <vector>

// Accounts that exist in a device view alone, beside the machine's own.
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

// The view's /etc is its own, with links to the machine's files. While this lives, three of the
// links are files: passwd and group with further lines, nsswitch.conf that asks for no more.
class Accounts {
public:
    Accounts(const std::vector<TestAccount>& accounts, const std::vector<TestGroup>& groups);
    ~Accounts();
    Accounts(const Accounts&) = delete;
    Accounts& operator=(const Accounts&) = delete;

    // Whether they are there; false where /etc is not a view's own, and then nothing is touched.
    explicit operator bool() const { return _isInstalled; }

private:
    bool _isInstalled;
};

// Accounts for every way of being allowed: ann (1001, in staff2), bob (1002), carl (1003, in g1 to
// g100 and in staff2), dora (1004, whose one group 1999 has no name), and of a domain CORP\eve
// (1005).
inline constexpr const char* kDomainUser = "CORP\\eve";
std::vector<TestAccount> SomeAccounts();
std::vector<TestGroup> SomeGroups();

}  // namespace vellumo::test

#endif
