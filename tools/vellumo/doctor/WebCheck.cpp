// SPDX-License-Identifier: Apache-2.0
#include <chrono>
#include <sstream>

#include "doctor/ServerChecks.h"
#include "loader/daemon/WebClient.h"
#include "support/Program.h"

namespace vellumo::cli {
namespace {

constexpr auto kCheckLimit = std::chrono::seconds(60);
constexpr auto kAnswerLimit = std::chrono::seconds(10);

// Its first line that is no hint, without the program's name.
std::string FirstProblemIn(const std::string& output) {
    const std::string name = "vellumo-web: ";
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(name) && !line.starts_with(name + "hint: ")) {
            return line.substr(name.size());
        }
    }
    return output.empty() ? "'vellumo-web --check' fails" : output;
}

}  // namespace

std::optional<Finding> CheckWebService() {
    const auto program = loader::WebProgram();
    if (!program) {
        return std::nullopt;
    }
    const support::Answer check = support::Ask(*program, {"--check"}, kCheckLimit);
    if (check.status != 0) {
        return Finding{"web service", false, FirstProblemIn(check.output),
                       "Mend that; 'vellumo-web --check' shows all that is wrong."};
    }
    const std::string socket = loader::WebStatusSocket();
    if (socket == "none") {
        return Finding{"web service", true, "its settings are sound", ""};
    }
    if (!loader::AskWebService(socket, kAnswerLimit)) {
        return Finding{"web service", false, "it is installed, and does not run",
                       "systemctl enable --now vellumo-web"};
    }
    return Finding{"web service", true, "its settings are sound, and it runs", ""};
}

}  // namespace vellumo::cli
