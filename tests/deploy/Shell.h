// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TESTS_DEPLOY_SHELL_H
#define VELLUMO_TESTS_DEPLOY_SHELL_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace vellumo::test {

// What a script had to say.
struct Said {
    int status;
    std::string text;  // standard output and error together
};
void PrintTo(const Said& said, std::ostream* stream);

// A folder of its own, removed at the end, and a shell to work in.
//
// Scripts are bash's. They find $folder, $device (vellumo-device), $engine, $nobody (what to put in
// front of a command to run it as an ordinary user) and `await`, which repeats a command until it
// succeeds and gives the script up after a while.
class Shell {
public:
    Shell();
    ~Shell();
    Shell(const Shell&) = delete;
    Shell& operator=(const Shell&) = delete;

    // Runs `script` on the host.
    Said OnHost(const std::string& script) const;

    // Runs `script` in a device view over $folder/root, with the engine and without /dev/log. It
    // finds $source and $target, the scratch directories as the tools see them, $S and $T, the
    // same on the host, and `tool`, which runs a command as the core does in $container, with the
    // time limit $limit if that is set.
    Said InView(const std::string& script) const;

    // The same as an ordinary user, in a view over $folder/ordinary. Needs root.
    Said InViewOfOrdinaryUser(const std::string& script) const;

    // Why there can be no such view; empty if there can.
    std::string MissingForOrdinaryUser() const;

    const std::string& Folder() const { return _folder; }

private:
    std::vector<std::string> ViewOf(const std::string& root, const std::string& script) const;

    std::string _folder;
};

// A test with a shell of its own.
class ShellTest : public testing::Test, protected Shell {};

bool IsRoot();

// Skips the test, saying why, when one of the programs is missing.
#define SKIP_WITHOUT(...)                                                          \
    if (const std::string missing = FirstMissing({__VA_ARGS__}); !missing.empty()) \
    GTEST_SKIP() << missing << " is not installed"

// Skips the test, saying why, when no view of an ordinary user can be had beside root's.
#define SKIP_WITHOUT_ORDINARY_USER()                                            \
    if (const std::string missing = MissingForOrdinaryUser(); !missing.empty()) \
    GTEST_SKIP() << missing

std::string FirstMissing(const std::vector<std::string>& programs);

MATCHER_P2(Says, status, text, "") {
    return arg.status == status && arg.text == text;
}

}  // namespace vellumo::test

#endif
