// SPDX-License-Identifier: Apache-2.0
#include "pool/Engine.h"

#include <sstream>

#include "app/Messages.h"
#include "pool/DockerEngine.h"
#include "pool/EmbeddedEngine.h"

namespace vellumo::cli {
namespace {

constexpr auto kVersionLimit = std::chrono::seconds(10);

}  // namespace

std::vector<std::string> FirstWords(const support::Answer& answer) {
    std::vector<std::string> words;
    std::istringstream lines(answer.status == 0 ? answer.output : "");
    for (std::string line; std::getline(lines, line);) {
        words.push_back(line.substr(0, line.find(' ')));
    }
    return words;
}

FoundEngine FindEngine() {
    const support::Answer answer = loader::AskEngine({"--version"}, kVersionLimit);
    if (answer.status != 0) {
        return {nullptr, answer.output};
    }
    if (answer.output.starts_with("vellumo-engine")) {
        return {std::make_unique<EmbeddedEngine>(), answer.output};
    }
    return {std::make_unique<DockerEngine>(), answer.output};
}

std::unique_ptr<Engine> RequireEngine(const std::string& what) {
    FoundEngine found = FindEngine();
    if (!found.engine) {
        throw Failure({ExitCode::kPool,
                       what,
                       std::string(loader::kEngineClient) + " does not answer: " + found.version,
                       "Start the container engine, or install vellumo-engine there.",
                       {}});
    }
    return std::move(found.engine);
}

}  // namespace vellumo::cli
