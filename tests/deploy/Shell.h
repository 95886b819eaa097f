// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_SHELL_H
#define VELLUMO_TESTS_DEPLOY_SHELL_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vellumo::test {

// The result of a script.
struct Said {
    int status;
    std::string text;  // standard output and standard error together
};
void PrintTo(const Said& said, std::ostream* stream);

// Runs scripts with a folder of their own, which the destructor removes.
//
// Scripts are in bash. They can use $folder, $device (vellumo-device), $engine, $nobody (a prefix
// that runs a command as an ordinary user), `await`, which repeats a command until it succeeds and
// ends the script after a time limit, `groups_of PID`, which prints a line for each control group
// of an engine's that has the process in it, and `groups_left FILE`, which prints those of such
// lines whose groups are still there (another engine may have taken the name of one that is gone).
class Shell {
public:
    Shell();
    ~Shell();
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // Runs `script` on the host.
    Said OnHost(const std::string& script) const;

    // Runs `script` in a device view over $folder/root, with the engine and without /dev/log. The
    // script can also use $source and $target, the tools' paths of the scratch directories; $S and
    // $T, their paths on the host; and `tool`, which runs a command as the core does, in $container
    // and with the time limit $limit if that is set.
    Said InView(const std::string& script) const;

    // The same as an ordinary user, in a view over $folder/ordinary. Needs root.
    Said InViewOfOrdinaryUser(const std::string& script) const;

    // The reason why such a view is not possible; empty if it is.
    std::string MissingForOrdinaryUser() const;

    const std::string& Folder() const { return _folder; }

private:
    std::vector<std::string> ViewOf(const std::string& root, const std::string& script) const;

    std::string _folder;
};

// A test with its own Shell.
class ShellTest : public testing::Test, protected Shell {};

bool IsRoot();

// Skips the test, with a message, when one of the programs is missing.
#define SKIP_WITHOUT(...)                                                          \
    if (const std::string missing = FirstMissing({__VA_ARGS__}); !missing.empty()) \
    GTEST_SKIP() << missing << " is not installed"

// Skips the test, with a message, when a view of an ordinary user is not possible.
#define SKIP_WITHOUT_ORDINARY_USER()                                            \
    if (const std::string missing = MissingForOrdinaryUser(); !missing.empty()) \
    GTEST_SKIP() << missing

std::string FirstMissing(const std::vector<std::string>& programs);

MATCHER_P2(Says, status, text, "") {
    return arg.status == status && arg.text == text;
}

}  // namespace vellumo::test

#endif
