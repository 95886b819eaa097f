// SPDX-License-Identifier: Apache-2.0
// The completions for zsh and fish. What the words are is a matter of the one for bash
// (DocumentationTest).
#include <filesystem>

#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace {

namespace fs = std::filesystem;

const std::string kShare = "/device/share";
const std::string kZsh = kShare + "/zsh/vendor-completions";
const std::string kFish = kShare + "/fish/vendor_completions.d/vellumo.fish";

bool IsInstalled(const std::string& shell) {
    return RunProgram({shell, "-c", "true"}).status == 0;
}

// The three files where they lie after an installation.
class CompletionTest : public ToolTest {
protected:
    CompletionTest() {
        Install("vellumo.bash", kShare + "/bash-completion/completions/vellumo");
        Install("_vellumo", kZsh + "/_vellumo");
        Install("vellumo.fish", kFish);
    }

    // What zsh offers after `words`.
    static std::string InZsh(const std::string& words, int current) {
        return RunProgram({"zsh", "-f", "-c",
                           "fpath=(" + kZsh +
                               " $fpath); autoload -Uz +X _vellumo; "
                               "compadd() { print -l -- ${(P)2} }; _files() { print FILES }; "
                               "words=(" +
                               words + "); CURRENT=" + std::to_string(current) + "; _vellumo"})
            .output;
    }

    static std::string InFish(const std::string& line) {
        return RunProgram({"fish", "--no-config", "-c",
                           "source " + kFish + "; complete -C '" + line + "'"})
            .output;
    }

private:
    static void Install(const std::string& name, const std::string& place) {
        fs::create_directories(fs::path(place).parent_path());
        fs::copy_file(VELLUMO_TOOL_SOURCES "/completion/" + name, place,
                      fs::copy_options::overwrite_existing);
    }
};

}  // namespace

TEST_F(CompletionTest, ZshTakesItsWordsFromTheTableForBash) {
    if (!IsInstalled("zsh")) {
        GTEST_SKIP() << "skipped: zsh is not installed";
    }
    EXPECT_THAT(InZsh("vellumo ''", 2), AllOf(HasSubstr("pdf\n"), HasSubstr("doctor\n")));
    EXPECT_THAT(InZsh("vellumo pool ''", 3), AllOf(HasSubstr("doctor\n"), Not(HasSubstr("pdf"))));
    EXPECT_EQ(InZsh("vellumo pdf --output ''", 4), "FILES\n");
}

TEST_F(CompletionTest, ZshFindsItForTheCommand) {
    if (!IsInstalled("zsh")) {
        GTEST_SKIP() << "skipped: zsh is not installed";
    }
    EXPECT_EQ(RunProgram({"zsh", "-f", "-c",
                          "fpath=(" + kZsh +
                              " $fpath); autoload -Uz compinit; compinit -u -D; "
                              "print $_comps[vellumo]"})
                  .output,
              "_vellumo\n");
}

TEST_F(CompletionTest, FishTakesItsWordsFromTheTableForBash) {
    if (!IsInstalled("fish")) {
        GTEST_SKIP() << "skipped: fish is not installed";
    }
    EXPECT_EQ(InFish("vellumo pool re"), "remove\nreset\n");
    EXPECT_THAT(InFish("vellumo pdf --"),
                AllOf(HasSubstr("--pages\n"), Not(HasSubstr("--metrics"))));
    EXPECT_THAT(InFish("vellumo pdf --output /device/sh"), HasSubstr("/device/share/"));
    EXPECT_THAT(InFish("vellumo pdf /device/sh"), Not(HasSubstr("/device/share/")));
}
