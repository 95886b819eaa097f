// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <map>
#include <sstream>

#include "HelpText.h"
#include "Manual.h"
#include "Process.h"
#include "StateFile.h"
#include "Tool.h"

using namespace vellumo::test;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::PrintToString;
using vellumo::cli::ExitCodes;

namespace {

const std::string kManual = std::string(VELLUMO_TOOL_SOURCES) + "/vellumo.1";
const std::string kCompletion = std::string(VELLUMO_TOOL_SOURCES) + "/completion/vellumo.bash";

// The manual tells of these in its description, once for all.
const Options kOfEveryCommand{"-h", "--help", "--json"};

bool HaveOneInCommon(const Options& some, const Options& others) {
    return std::any_of(some.begin(), some.end(),
                       [&](const std::string& option) { return others.contains(option); });
}

// A command's own options, each with all its spellings.
std::vector<Options> OptionsOf(const Words& command) {
    std::vector<Options> options;
    for (const std::string& line : BlockOf(Help(command), "Options:")) {
        std::istringstream names(line.substr(0, line.find(' ')));
        Options spellings;
        for (std::string name; std::getline(names, name, ',');) {
            spellings.insert(name);
        }
        if (!HaveOneInCommon(spellings, kOfEveryCommand)) {
            options.push_back(spellings);
        }
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
         {"pdf", "thumbnail", "why", "failures", "cache", "path", "check", "pool", "status",
          "doctor", "index", "link", "queue", "record", "settings"}) {
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

TEST_F(DocumentationTest, TheManualTellsOfEachCommandItsOptionsAndNoOther) {
    const Manual manual(ReadFile(kManual));
    for (const Words& command : AllCommands()) {
        const std::string name = Joined(command);
        const Options told = manual.Of(name);
        Options known = kOfEveryCommand;
        for (const Options& spellings : OptionsOf(command)) {
            EXPECT_TRUE(HaveOneInCommon(spellings, told))
                << "not told of vellumo " << name << ": " << PrintToString(spellings);
            known.insert(spellings.begin(), spellings.end());
        }
        EXPECT_THAT(known, IsSupersetOf(told)) << "told of vellumo " << name;
    }
}

TEST_F(DocumentationTest, TheManualsSectionsNameNoOptionOfAnotherCommand) {
    const Manual manual(ReadFile(kManual));
    std::map<std::string, Options> known;  // of each command and all of its subcommands
    for (const Words& command : AllCommands()) {
        for (const Options& spellings : OptionsOf(command)) {
            known[command.empty() ? "" : command[0]].insert(spellings.begin(), spellings.end());
        }
    }
    EXPECT_THAT(manual.InSectionOf("pdf"), Contains("--pages")) << "nothing was found";
    for (const auto& [command, options] : known) {
        EXPECT_THAT(options, IsSupersetOf(manual.InSectionOf(command))) << "vellumo " << command;
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
    for (const Words& command : AllCommands()) {
        Words words = command;
        words.emplace_back("-");
        const Words completions = Completions(words);
        const Options offered(completions.begin(), completions.end());
        EXPECT_THAT(offered, IsSupersetOf({"--help", "--json"})) << "vellumo " << Joined(command);
        for (const Options& spellings : OptionsOf(command)) {
            EXPECT_TRUE(HaveOneInCommon(spellings, offered))
                << "vellumo " << Joined(command) << " " << PrintToString(spellings);
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

TEST_F(DocumentationTest, CompletionOffersTheNamesOfSettings) {
    EXPECT_THAT(Completions({"settings", "get", "pause"}), ElementsAre("pauseCpu", "pauseIo"));
}

TEST_F(DocumentationTest, CompletionKnowsTheValuesOfOptions) {
    EXPECT_THAT(Completions({"pdf", "--progress", ""}), ElementsAre("auto", "plain", "none"));
    EXPECT_THAT(Completions({"pdf", "--user", "roo"}), Contains("root"));
}
