// SPDX-License-Identifier: Apache-2.0
#include "HelpText.h"

#include <sstream>

#include "Tool.h"

namespace vellumo::test {

std::string Help(Words command) {
    command.emplace_back("--help");
    const Outcome outcome = RunTool(command);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.err, "");
    return outcome.out;
}

Words BlockOf(const std::string& help, const std::string& title) {
    Words entries;
    std::istringstream lines(help);
    std::string line;
    while (std::getline(lines, line) && line != title) {
    }
    while (std::getline(lines, line) && !line.empty()) {
        if (line[2] != ' ') {
            entries.push_back(line.substr(2));
        }
    }
    return entries;
}

Words SubcommandsOf(const Words& command) {
    Words subcommands;
    for (const std::string& line : BlockOf(Help(command), "Commands:")) {
        subcommands.push_back(line.substr(0, line.find(' ')));
    }
    return subcommands;
}

std::string Joined(const Words& words) {
    std::string joined;
    for (const std::string& word : words) {
        joined += (joined.empty() ? "" : " ") + word;
    }
    return joined;
}

std::vector<Words> AllCommands() {
    std::vector<Words> commands{{}};
    for (const std::string& command : SubcommandsOf({})) {
        commands.push_back({command});
        for (const std::string& subcommand : SubcommandsOf({command})) {
            commands.push_back({command, subcommand});
        }
    }
    EXPECT_THAT(commands, testing::IsSupersetOf({Words{"pdf"}, Words{"record", "update"}}));
    return commands;
}

}  // namespace vellumo::test
