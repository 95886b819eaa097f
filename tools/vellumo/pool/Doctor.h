// SPDX-License-Identifier: Apache-2.0
#ifndef VELLUMO_TOOLS_DOCTOR_H
#define VELLUMO_TOOLS_DOCTOR_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "app/Command.h"
#include "app/Messages.h"
#include "pool/Engine.h"

namespace vellumo::cli {

// The result of one check.
struct Finding {
    std::string subject;
    bool sound;
    std::string detail;  // what was found, or what is wrong
    std::string remedy;  // what to do about it; "" if it is sound
};

// Prints it as lines for people, and writes them out at once.
void Print(const Finding& finding);

// An array of objects with the members "subject", "ok", "detail" and "remedy".
Json::Value ToJson(const std::vector<Finding>& findings);

// vellumo pool doctor: checks everything that a conversion needs, and converts a small document
// with every tool, through the pool like every conversion.
class Doctor {
public:
    // `tell` is called with each finding at once.
    explicit Doctor(std::function<void(const Finding&)> tell) : _tell(std::move(tell)) {}

    // Runs the checks, and stops where a failure makes the later ones pointless. Blocks until the
    // tools have been tested; an interrupt ends the tests and becomes a finding.
    void Examine();

    const std::vector<Finding>& Findings() const { return _findings; }

private:
    struct Canary;

    std::unique_ptr<Engine> CheckEngine();
    void Add(Finding finding);
    void AddProblem(const std::string& subject, const Problem& problem);
    bool Check(const std::string& subject, const std::string& detail,
               const std::function<void()>& check);
    bool CheckServerAndPool();
    bool CheckPoolSize();
    void CheckContainers(const Engine& engine);
    void CheckCounts(const Engine& engine);
    void CheckTools();
    void TryTool(const Canary& canary, const std::string& folder);
    static void Convert(const Canary& canary, const std::string& folder);

    std::function<void(const Finding&)> _tell;
    std::vector<Finding> _findings;
};

// Runs the doctor and prints its findings unless `json`. Ends with kPool if a check fails.
CommandResult ExaminePool(bool json);

}  // namespace vellumo::cli

#endif
