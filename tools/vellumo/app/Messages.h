// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_MESSAGES_H
#define VELLUMO_TOOLS_MESSAGES_H

#include <json/value.h>

#include <exception>
#include <ostream>
#include <string>
#include <vector>

#include "app/ExitCode.h"

namespace vellumo::cli {

// What a person is told about a failure.
struct Problem {
    ExitCode code;
    std::string what;                     // what failed, on which path
    std::string why;                      // the reason
    std::string next;                     // what to do about it; may be empty
    std::vector<std::string> toolOutput;  // what the conversion tool said last, as a rule nothing
};

// Ends a step of a command with a problem.
class Failure : public std::exception {
public:
    explicit Failure(Problem problem) : _problem(std::move(problem)) {}
    const char* what() const noexcept override { return _problem.why.c_str(); }
    const Problem& Reason() const { return _problem; }

private:
    Problem _problem;
};

// `text` with every control character as \xNN: names of files and the words of tools may hold
// anything, and must not steer a terminal.
std::string Printable(const std::string& text);

// `problem` in lines for people.
void Print(std::ostream& out, const Problem& problem);

// The members "kind", "what", "why", "next" and, when there is any, "toolOutput".
Json::Value ToJson(const Problem& problem);

// `document` as text in plain ASCII, with line ends; valid JSON whatever bytes its texts hold.
std::string JsonText(const Json::Value& document);

// `values` as a JSON array, also when there are none.
Json::Value JsonArray(const std::vector<std::string>& values);

}  // namespace vellumo::cli

#endif
