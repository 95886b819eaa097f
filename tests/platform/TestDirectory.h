// SPDX-License-Identifier: Apache-2.0
#ifndef NAVO_TESTS_TESTDIRECTORY_H
#define NAVO_TESTS_TESTDIRECTORY_H

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

namespace navo::test {

// A directory that a test owns, where everybody may write; kept when the test fails.
class TestDirectory {
public:
    explicit TestDirectory(const std::string& above = "/tmp");
    ~TestDirectory();
    TestDirectory(const TestDirectory&) = delete;
    TestDirectory& operator=(const TestDirectory&) = delete;

    const std::string& Path() const { return _path; }
    std::string operator/(const std::string& name) const { return _path + "/" + name; }

private:
    std::string _path;
};

// A test with a directory of its own.
class DirectoryTest : public testing::Test {
protected:
    std::string At(const std::string& name) const { return directory / name; }

    const TestDirectory directory;
};

void WriteFile(const std::string& path, const std::string& content, mode_t mode = 0644);
std::string ReadFile(const std::string& path);

// What lies at `path`, links not followed; all zero when nothing does.
struct stat StatusOf(const std::string& path);
bool Exists(const std::string& path);
mode_t PermissionsOf(const std::string& path);

// Acts as somebody who is not root for as long as it lives, where root can do so.
class OrdinaryUser {
public:
    OrdinaryUser();
    ~OrdinaryUser();
    OrdinaryUser(const OrdinaryUser&) = delete;
    OrdinaryUser& operator=(const OrdinaryUser&) = delete;

    // False when the process is root and cannot be anybody else, as in a view of an ordinary user.
    explicit operator bool() const;

private:
    uid_t _user;
    gid_t _group;
};

// Sets the umask for as long as it lives.
class Umask {
public:
    explicit Umask(mode_t mask) : _before(umask(mask)) {}
    ~Umask() { umask(_before); }
    Umask(const Umask&) = delete;
    Umask& operator=(const Umask&) = delete;

private:
    mode_t _before;
};

}  // namespace navo::test

#endif
