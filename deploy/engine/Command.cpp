// SPDX-License-Identifier: Apache-2.0
#include "Command.h"

#include <cctype>
#include <string_view>

#include "Failure.h"
#include "support/ChildProcess.h"
#include "vellumo/Constants.h"

namespace vellumo::engine {
namespace {

bool IsContainerName(const std::string& name) {
    static constexpr std::string_view kInside =
        "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789_.-";
    return !name.empty() && name.find_first_not_of(kInside) == std::string::npos &&
           std::isalnum(static_cast<unsigned char>(name.front())) != 0;
}

// The file name in an argument S or A=S, where S is the path of a file directly in the source
// directory; empty for every other argument.
std::string DocumentIn(const std::string& argument) {
    const std::string directory = NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR;
    const size_t at = argument.find(directory);
    if (at == std::string::npos || (at > 0 && argument[at - 1] != '=')) {
        return "";
    }
    std::string name = argument.substr(at + directory.size());
    const bool isFileName = name.find('/') == std::string::npos && name != "." && name != "..";
    return isFileName ? name : "";
}

std::string FindDocument(const std::vector<std::string>& arguments) {
    std::string document;
    for (const std::string& argument : arguments) {
        const std::string name = DocumentIn(argument);
        if (name.empty() || name == document) {
            continue;
        }
        if (!document.empty()) {
            throw Failure(kEngineFailed, "the command names more than one document, " + document +
                                             " first; run it once for each document");
        }
        document = name;
    }
    return document;
}

}  // namespace

void CheckContainerName(const std::string& name) {
    if (!IsContainerName(name)) {
        throw Failure(kEngineFailed, '"' + name +
                                         "\" is no container name: letters, digits, _ . and -, "
                                         "the first a letter or digit; see --help");
    }
}

Command ParseCommand(const std::vector<std::string>& words) {
    if (words.size() < 3) {
        throw Failure(kEngineFailed, "exec needs a container's name and a command; see --help");
    }
    CheckContainerName(words[1]);
    Command command{words[1], {words.begin() + 2, words.end()}, ""};
    command.document = FindDocument(command.arguments);
    return command;
}

products ProductsOf(const Command& command) {
    using NAVO::VELLUMO::SZF_COVERT_SOURCE_DIR;
    using NAVO::VELLUMO::SZF_COVERT_TARGET_DIR;
    products names{};
    std::vector<std::string> arguments = command.arguments;
    const std::vector<char*> words = support::ArgumentVector(arguments);
    products_find(static_cast<int>(arguments.size()), words.data(), SZF_COVERT_SOURCE_DIR,
                  SZF_COVERT_TARGET_DIR, &names);
    return names;
}

}  // namespace vellumo::engine
