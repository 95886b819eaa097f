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

// What the doctor has found out about one thing.
struct Finding {
    std::string subject;
    bool sound;
    std::string detail;  // how it is, or what is wrong
    std::string remedy;  // what to do about it; "" for what is sound
};

// vellumo pool doctor: looks at everything that a conversion needs, and converts a small document
// of its own with every tool, by the road that every conversion takes.
class Doctor {
public:
    // `tell` is called with each finding as soon as it is made.
    explicit Doctor(std::function<void(const Finding&)> tell) : _tell(std::move(tell)) {}

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
    void CheckCounts();
    void CheckTools();
    void TryTool(const Canary& canary, const std::string& folder);
    static void Convert(const Canary& canary, const std::string& folder);

    std::function<void(const Finding&)> _tell;
    std::vector<Finding> _findings;
};

// Runs the doctor and prints what he finds, unless `json`.
CommandResult ExaminePool(bool json);

}  // namespace vellumo::cli

#endif
