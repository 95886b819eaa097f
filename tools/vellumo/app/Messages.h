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

// A failure, described for people.
struct Problem {
    ExitCode code;
    std::string what;                     // what failed, on which path
    std::string why;                      // the reason
    std::string next;                     // what to do about it; may be empty
    std::vector<std::string> toolOutput;  // the conversion tool's last lines; usually empty
};

// Thrown when a step of a command fails.
class Failure : public std::exception {
public:
    explicit Failure(Problem problem) : _problem(std::move(problem)) {}
    const char* what() const noexcept override { return _problem.why.c_str(); }
    const Problem& Reason() const { return _problem; }

private:
    Problem _problem;
};

// `text` with every control character written as \xNN: file names and the output of tools may
// contain anything, and must not control the terminal.
std::string Printable(const std::string& text);

// Prints `problem` as lines for people.
void Print(std::ostream& out, const Problem& problem);

// An object with the members "kind", "what", "why", "next" and, if the tool wrote any,
// "toolOutput".
Json::Value ToJson(const Problem& problem);

// Prints `document` as indented ASCII text; valid JSON, whatever bytes its strings contain. Does
// not build the text in memory: the results of a large folder take tens of megabytes.
void PrintJson(std::ostream& out, const Json::Value& document);

// `values` as a JSON array; an empty array when there are none.
Json::Value JsonArray(const std::vector<std::string>& values);

}  // namespace vellumo::cli

#endif
