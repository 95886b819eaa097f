// SPDX-License-Identifier: Apache-2.0
#include <sstream>

#include "Process.h"
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using vellumo::cli::ExitCodes;

namespace {

const std::string kManual = std::string(VELLUMO_TOOL_SOURCES) + "/vellumo.1";
const std::string kCompletion = std::string(VELLUMO_TOOL_SOURCES) + "/completion/vellumo.bash";

std::string Help(std::vector<std::string> command) {
    command.emplace_back("--help");
    const Outcome outcome = RunTool(command);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

// The long options in a text.
std::vector<std::string> OptionsIn(const std::string& text) {
    std::vector<std::string> options;
    for (size_t at = text.find("--"); at != std::string::npos; at = text.find("--", at + 2)) {
        const size_t end = text.find_first_not_of("abcdefghijklmnopqrstuvwxyz-", at + 2);
        options.push_back(text.substr(at, end - at));
    }
    return options;
}

// What bash offers after `line`, of which the last word (may be empty) is to be completed.
std::vector<std::string> Completions(const std::vector<std::string>& words) {
    std::string script = "PATH=$(dirname " VELLUMO_TOOL "):$PATH; source " + kCompletion +
                         "; compopt() { :; }; COMP_WORDS=(vellumo";
    for (const std::string& word : words) {
        script += " '" + word + "'";
    }
    script += "); COMP_CWORD=" + std::to_string(words.size()) +
              "; _vellumo; printf '%s\\n' \"${COMPREPLY[@]}\"";
    std::istringstream lines(RunProgram({"bash", "-euc", script}).output);
    std::vector<std::string> completions;
    for (std::string line; std::getline(lines, line);) {
        completions.push_back(line);
    }
    return completions;
}

class DocumentationTest : public ToolTest {};

}  // namespace

TEST_F(DocumentationTest, EveryCommandTeachesByExamples) {
    for (const char* command :
         {"pdf", "thumbnail", "cache", "path", "check", "pool", "queue", "record"}) {
        EXPECT_THAT(Help({command}), AllOf(HasSubstr("Usage: vellumo "), HasSubstr("Examples:"),
                                           HasSubstr(std::string("  vellumo ") + command)));
    }
    EXPECT_THAT(Help({}), AllOf(HasSubstr("First steps"), HasSubstr("vellumo pdf")));
}

TEST_F(DocumentationTest, PdfHelpListsEveryTypeOnce) {
    const std::string help = Help({"pdf"});
    std::istringstream words(help.substr(help.find("Document types: ") + 16));
    const std::vector<std::string> types{std::istream_iterator<std::string>(words), {}};
    EXPECT_EQ(types.size(), 56U);
    EXPECT_THAT(types, IsSupersetOf({"pdf", "docx", "xlsx", "odp", "sxd", "epub"}));
}

TEST_F(DocumentationTest, HelpPrintsTheTableOfExitCodes) {
    const std::string help = Help({});
    for (const auto& entry : ExitCodes()) {
        EXPECT_THAT(help, HasSubstr(" " + std::to_string(static_cast<int>(entry.code)) + "  " +
                                    entry.meaning + "\n"));
    }
}

TEST_F(DocumentationTest, TheManualPrintsTheTableOfExitCodes) {
    const std::string manual = ReadFile(kManual);
    std::string expected;
    for (const auto& entry : ExitCodes()) {
        expected +=
            ".It " + std::to_string(static_cast<int>(entry.code)) + "\n" + entry.meaning + "\n";
    }
    EXPECT_THAT(manual, HasSubstr(expected + ".El\n"));
}

TEST_F(DocumentationTest, TheManualTellsEveryOption) {
    const std::string manual = ReadFile(kManual);
    for (const std::vector<std::string>& command : {std::vector<std::string>{},
                                                    {"pdf"},
                                                    {"thumbnail"},
                                                    {"cache"},
                                                    {"cache", "list"},
                                                    {"cache", "size"},
                                                    {"cache", "clean"},
                                                    {"cache", "remove"},
                                                    {"cache", "collect"},
                                                    {"path"},
                                                    {"check"},
                                                    {"pool"},
                                                    {"pool", "remove"},
                                                    {"pool", "status"},
                                                    {"pool", "up"},
                                                    {"pool", "down"},
                                                    {"pool", "doctor"},
                                                    {"pool", "reset"},
                                                    {"queue", "list"},
                                                    {"queue", "add"},
                                                    {"queue", "has"},
                                                    {"record", "create"},
                                                    {"record", "update"}}) {
        for (const std::string& option : OptionsIn(Help(command))) {
            EXPECT_THAT(manual, HasSubstr("Fl -" + option.substr(2))) << option;
        }
    }
}

TEST_F(DocumentationTest, TheManualIsWellFormed) {
    if (RunProgram({"mandoc", "-h", "-Tlint"}).status == 127) {
        GTEST_SKIP() << "skipped: mandoc is not installed";
    }
    const Finished lint = RunProgram({"mandoc", "-Tlint", "-W", "warning", kManual});
    EXPECT_EQ(lint.status, 0) << lint.output;
    EXPECT_EQ(lint.output, "");
}

TEST_F(DocumentationTest, TellsItsVersion) {
    EXPECT_THAT(RunTool({"--version"}).out, testing::MatchesRegex("vellumo [0-9.]+\n"));
}

TEST_F(DocumentationTest, WithoutACommandSaysWhatToDo) {
    const Outcome outcome = RunTool({});
    ExpectStatus(outcome, ExitCode::kUsage);
    EXPECT_THAT(outcome.err, HasSubstr("vellumo --help"));
}

TEST_F(DocumentationTest, AnUnknownCommandIsNamed) {
    const Outcome outcome = RunTool({"convert", "/docs/a.docx"});
    ExpectStatus(outcome, ExitCode::kUsage);
    EXPECT_THAT(outcome.err, HasSubstr("there is no command 'convert'"));
}

TEST_F(DocumentationTest, CompletionOffersCommands) {
    EXPECT_THAT(Completions({"p"}), ElementsAre("pdf", "path", "pool"));
    EXPECT_THAT(Completions({"pool", "re"}), ElementsAre("remove", "reset"));
    EXPECT_THAT(Completions({"queue", ""}), IsSupersetOf({"list", "add", "next", "done", "has"}));
    EXPECT_THAT(Completions({"record", ""}), IsSupersetOf({"create", "show", "update", "delete"}));
}

TEST_F(DocumentationTest, CompletionOffersEveryOptionOfACommand) {
    for (const std::vector<std::string>& command : {std::vector<std::string>{"pdf"},
                                                    {"thumbnail"},
                                                    {"cache", "list"},
                                                    {"cache", "size"},
                                                    {"cache", "clean"},
                                                    {"cache", "remove"},
                                                    {"cache", "collect"},
                                                    {"path"},
                                                    {"check"},
                                                    {"pool", "list"},
                                                    {"pool", "add"},
                                                    {"pool", "remove"},
                                                    {"pool", "status"},
                                                    {"pool", "up"},
                                                    {"pool", "down"},
                                                    {"pool", "doctor"},
                                                    {"pool", "reset"},
                                                    {"queue", "list"},
                                                    {"queue", "add"},
                                                    {"queue", "next"},
                                                    {"queue", "done"},
                                                    {"queue", "has"},
                                                    {"record", "create"},
                                                    {"record", "show"},
                                                    {"record", "update"},
                                                    {"record", "delete"}}) {
        std::vector<std::string> words = command;
        words.emplace_back("-");
        const std::vector<std::string> completions = Completions(words);
        const std::string help = Help(command);
        for (const std::string& option : OptionsIn(help.substr(0, help.find("Examples:")))) {
            EXPECT_THAT(completions, Contains(option)) << command.back();
        }
    }
}

TEST_F(DocumentationTest, CompletionOffersContainersToRemove) {
    WriteState(R"({"navo1":{"using":0},"navo_b":{"using":0},"waitingQueue":[]})");
    EXPECT_THAT(Completions({"pool", "remove", "n"}), ElementsAre("navo1", "navo_b"));
}

TEST_F(DocumentationTest, CompletionOffersTasksThatAreQueued) {
    RunTool({"queue", "add", "/docs/a", "/docs/b"});
    EXPECT_THAT(Completions({"queue", "done", ""}), IsSupersetOf({"1", "2"}));
}

TEST_F(DocumentationTest, CompletionKnowsTheValuesOfOptions) {
    EXPECT_THAT(Completions({"pdf", "--progress", ""}), ElementsAre("auto", "plain", "none"));
    EXPECT_THAT(Completions({"pdf", "--user", "roo"}), Contains("root"));
}
